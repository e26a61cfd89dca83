#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>
#include <set>

#include "problem.h"
#include "values.h"

namespace zortool {

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw Problem(exitData, path + ": " + why);
}

std::string typeText(const FieldType& field) {
    return std::string(ZorGetTypeAsString(field.type)).substr(sizeof "ZORTYPE_" - 1);
}

[[noreturn]] void refuseKind(const std::string& path, const FieldType& field, const char* wanted,
                             const Json& value) {
    refuse(path, "type " + typeText(field) + " takes " + wanted + ", not " + kindOf(value));
}

std::size_t characters(const std::string& utf8) {
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string shortened(const std::string& text) {
    return text.size() <= 40 ? text : text.substr(0, 37) + "...";
}

// The text in the system code page; a character that it lacks is refused rather than replaced.
std::string toCodePage(const std::string& utf8, const std::string& path) {
    std::string text = kelzor::fromUtf8(utf8);
    const std::string back = kelzor::toUtf8(text);
    if (back == utf8) return text;
    auto [at, other] = std::mismatch(utf8.begin(), utf8.end(), back.begin(), back.end());
    while (at != utf8.begin() && (*at & 0xC0) == 0x80)
        --at;
    auto end = at == utf8.end() ? at : at + 1;
    while (end != utf8.end() && (*end & 0xC0) == 0x80)
        ++end;
    refuse(path,
           "the system code page has no character '" + std::string(at, end) + "' (KEL_CODEPAGE chooses it)");
}

// Text of a value that may be given as text or as a number.
std::string textOrNumber(const Json& value, const FieldType& field, const std::string& path,
                         const char* wanted) {
    if (value.is_string()) return value.get<std::string>();
    if (auto number = numberText(value)) return *number;
    refuseKind(path, field, wanted, value);
}

bool isDigits(std::string_view text) {
    return text.find_first_not_of("0123456789") == std::string_view::npos;
}

void setCharacters(kelzor::Fields& container, unsigned index, const FieldType& field, const Json& value,
                   const std::string& path) {
    const bool number = field.type == ZORTYPE_NUM;
    const std::string utf8 =
        textOrNumber(value, field, path, number ? "digits" : "text (a flag is \"X\" or \"\")");
    if (field.type != ZORTYPE_STRING && characters(utf8) > field.length)
        refuse(path, "'" + shortened(utf8) + "' has " + std::to_string(characters(utf8)) +
                         " characters, and " + std::to_string(field.length) + " fit");
    if (number && !isDigits(utf8)) refuse(path, "'" + shortened(utf8) + "' isn't made of digits");
    container.set(index, toCodePage(utf8, path));
}

// A date or time of digits, with or without separators at their places.
void setMoment(kelzor::Fields& container, unsigned index, const FieldType& field, const Json& value,
               const std::string& path) {
    const bool date = field.type == ZORTYPE_DATE;
    const char* wanted = date ? "text such as \"2026-11-23\"" : "text such as \"10:30:00\"";
    if (!value.is_string()) refuseKind(path, field, wanted, value);
    const std::string text = value.get<std::string>();
    const std::size_t first = date ? 4 : 2, second = date ? 7 : 5, length = date ? 10 : 8;
    const char separator = date ? '-' : ':';
    std::string digits = text;
    if (text.size() == length && text[first] == separator && text[second] == separator)
        digits = text.substr(0, first) + text.substr(first + 1, 2) + text.substr(second + 1);
    const bool blank = text.find_first_not_of(' ') == std::string::npos;
    if (!blank && (digits.size() != length - 2 || !isDigits(digits)))
        refuse(path, "'" + shortened(text) + "' is no " + typeText(field) + "; it takes " + wanted);
    container.set(index, digits);
}

std::int64_t integerIn(const Json& value, const FieldType& field, const std::string& path) {
    const std::string text = textOrNumber(value, field, path, "a number");
    std::int64_t number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = end.ptr == text.data() + text.size() && !text.empty();
    if (!whole) refuse(path, "'" + shortened(text) + "' is no integer");
    if (end.ec != std::errc()) refuse(path, shortened(text) + " is beyond all integers of 64 bits");
    return number;
}

// The library cuts an integer that doesn't fit; who types one wants to know.
template <class T>
void setInteger(kelzor::Fields& container, unsigned index, const FieldType& field, const Json& value,
                const std::string& path) {
    const std::int64_t number = integerIn(value, field, path);
    if (number < std::numeric_limits<T>::min() || number > std::numeric_limits<T>::max())
        refuse(path, std::to_string(number) + " is beyond the type " + typeText(field) +
                         ", which goes from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
                         std::to_string(std::numeric_limits<T>::max()));
    container.set(index, static_cast<T>(number));
}

void setFloat(kelzor::Fields& container, unsigned index, const FieldType& field, const Json& value,
              const std::string& path) {
    const std::string text = textOrNumber(value, field, path, "a number");
    if (text == "NaN") return container.set(index, std::numeric_limits<double>::quiet_NaN());
    if (text == "Inf") return container.set(index, std::numeric_limits<double>::infinity());
    if (text == "-Inf") return container.set(index, -std::numeric_limits<double>::infinity());
    double number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    if (end.ptr != text.data() + text.size() || text.empty())
        refuse(path, "'" + shortened(text) + "' is no number");
    if (end.ec != std::errc()) refuse(path, shortened(text) + " is beyond a FLOAT");
    container.set(index, number);
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

void setBytes(kelzor::Fields& container, unsigned index, const FieldType& field, const Json& value,
              const std::string& path) {
    if (!value.is_string()) refuseKind(path, field, "text of hexadecimal digits", value);
    const std::string text = value.get<std::string>();
    const bool digits = std::all_of(text.begin(), text.end(), [](char c) { return digitValue(c) >= 0; });
    if (!digits || text.size() % 2 != 0)
        refuse(path, "'" + shortened(text) + "' isn't pairs of hexadecimal digits");
    kelzor::Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(digitValue(text[i]) << 4 | digitValue(text[i + 1])));
    if (field.type != ZORTYPE_XSTRING && bytes.size() > field.length)
        refuse(path, std::to_string(bytes.size()) + " bytes, and " + std::to_string(field.length) + " fit");
    container.set(index, bytes);
}

void setMembers(TypeCache& types, kelzor::StructureView structure, const Json& value,
                const std::string& path) {
    const std::vector<FieldType>& fields = types.fields(structure.type());
    std::vector<std::string> names;
    for (const FieldType& field : fields)
        names.push_back(kelzor::toUtf8(field.name));
    for (const auto& [name, member] : value.items()) {
        std::size_t index;
        try {
            index = findName(names, name, "field");
        } catch (const Problem& problem) {
            throw Problem(exitData, path + ": " + problem.what(), problem.hint());
        }
        fieldFromJson(types, structure, static_cast<unsigned>(index), fields[index], member,
                      path + "." + names[index]);
    }
}

void setStructure(TypeCache& types, kelzor::Fields& container, unsigned index, const FieldType& field,
                  const Json& value, const std::string& path) {
    if (!value.is_object()) refuseKind(path, field, "an object", value);
    setMembers(types, container.structure(index), value, path);
}

void setTable(TypeCache& types, kelzor::Fields& container, unsigned index, const FieldType& field,
              const Json& value, const std::string& path) {
    if (!value.is_array()) refuseKind(path, field, "an array of rows", value);
    kelzor::TableView table = container.table(index);
    if (!table) refuse(path, "nothing is known about the rows of this table");
    table.clear();
    const std::vector<FieldType>& fields = types.fields(table.rowType());
    std::size_t number = 0;
    for (const Json& row : value) {
        const std::string rowPath = path + "[" + std::to_string(number++) + "]";
        kelzor::StructureView target = table.append();
        if (row.is_object())
            setMembers(types, target, row, rowPath);
        else if (fields.size() == 1)
            fieldFromJson(types, target, 0, fields[0], row, rowPath);
        else if (!row.is_null())
            refuse(rowPath, "a row is an object, not " + kindOf(row));
    }
}

void setValue(TypeCache& types, kelzor::Fields& container, unsigned index, const FieldType& field,
              const Json& value, const std::string& path) {
    switch (field.type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_NUM:
        case ZORTYPE_STRING:
            return setCharacters(container, index, field, value, path);
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
            return setMoment(container, index, field, value, path);
        case ZORTYPE_INT1:
            return setInteger<std::uint8_t>(container, index, field, value, path);
        case ZORTYPE_INT2:
            return setInteger<std::int16_t>(container, index, field, value, path);
        case ZORTYPE_INT:
            return setInteger<std::int32_t>(container, index, field, value, path);
        case ZORTYPE_INT8:
            return setInteger<std::int64_t>(container, index, field, value, path);
        case ZORTYPE_FLOAT:
            return setFloat(container, index, field, value, path);
        case ZORTYPE_BCD:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
            return container.set(index, textOrNumber(value, field, path, "a number"));
        case ZORTYPE_STRUCTURE:
            return setStructure(types, container, index, field, value, path);
        case ZORTYPE_TABLE:
            return setTable(types, container, index, field, value, path);
        case ZORTYPE_UBIXOBJECT:
            refuse(path, "an object can't be given here");
        case ZORTYPE_BYTE:
        case ZORTYPE_XSTRING:
            return setBytes(container, index, field, value, path);
        default:
            // The library reads these and doesn't write them; what is there already may stand in a template.
            if (fieldToJson(types, container, index, field) != value)
                refuse(path, "a value of type " + typeText(field) + " can be shown and not be given");
    }
}

// Number of single changes that make one name of the other.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); i++) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j <= b.size(); j++) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) {
        return c < 0x80 ? static_cast<char>(std::toupper(c)) : static_cast<char>(c);
    });
    return text;
}

}  // namespace

std::string adviceOn(const std::vector<std::string>& names, const std::string& wanted) {
    if (names.empty()) return "There are none.";
    const auto closer = [&](const std::string& a, const std::string& b) {
        return distance(a, wanted) < distance(b, wanted);
    };
    const std::string& closest = *std::min_element(names.begin(), names.end(), closer);
    if (distance(closest, wanted) <= std::max<std::size_t>(2, wanted.size() / 3))
        return "Is it " + closest + "?";
    std::string list;
    for (std::size_t i = 0; i < std::min<std::size_t>(names.size(), 20); i++)
        list += (list.empty() ? "" : ", ") + names[i];
    return "There are: " + list + (names.size() > 20 ? ", ..." : ".");
}

std::size_t findName(const std::vector<std::string>& names, const std::string& wanted,
                     const std::string& what) {
    const auto exact = std::find(names.begin(), names.end(), wanted);
    if (exact != names.end()) return static_cast<std::size_t>(exact - names.begin());
    const std::string capitals = upper(wanted);
    for (std::size_t i = 0; i < names.size(); i++)
        if (upper(names[i]) == capitals) return i;
    throw Problem(exitData, "there is no " + what + " " + wanted, adviceOn(names, capitals));
}

void fieldFromJson(TypeCache& types, kelzor::Fields& container, unsigned index, const FieldType& field,
                   const Json& value, const std::string& path) {
    if (value.is_null()) return;
    try {
        setValue(types, container, index, field, value, path);
    } catch (const kelzor::Error& error) {
        refuse(path, kelzor::toUtf8(error.message()));
    }
}

}  // namespace zortool
