// Reading and writing fields as text: one switch over the field types for each direction and form.

#include <algorithm>
#include <cstring>

#include "data/zorconversion.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "data/zorrecord.h"
#include "error/zorliterals.h"

namespace {

constexpr unsigned dateLength = sizeof(ZOR_DATE);
constexpr unsigned timeLength = sizeof(ZOR_TIME);

// A length from a negative number is a caller's mistake, and no buffer has that many characters.
constexpr unsigned longestText = 0x7FFFFFFF;

std::string_view contentOf(const ZorFieldSlot& slot) noexcept {
    return {reinterpret_cast<const KEL_CHAR*>(slot.addr), slot.field.length1};
}

std::span<KEL_RAW> bytesOf(const ZorFieldSlot& slot) noexcept {
    return {slot.addr, slot.field.length1};
}

template <class T>
std::span<const KEL_RAW> childBytes(const ZorFieldSlot& slot) noexcept {
    const T* child = loadChild<T>(slot.addr);
    if (child == nullptr) return {};
    return {reinterpret_cast<const KEL_RAW*>(child->data()), child->size()};
}

std::string_view stringOf(const ZorFieldSlot& slot) noexcept {
    const auto* child = loadChild<ZorString>(slot.addr);
    return child != nullptr ? std::string_view(*child) : std::string_view("");
}

/** Copies text into a field and fills the rest with blanks; what is too long is cut. */
void putPadded(const ZorFieldSlot& slot, std::string_view text) noexcept {
    const size_t length = std::min<size_t>(text.size(), slot.field.length1);
    std::memcpy(slot.addr, text.data(), length);
    std::memset(slot.addr + length, ' ', slot.field.length1 - length);
}

/** Place for a rendered value: on the stack unless the value is long. */
struct TextScratch {
    KEL_CHAR small[maxDoubleText];
    KEL_string large;
};

std::string_view renderBcd(const ZorFieldSlot& slot, TextScratch& scratch) {
    std::span<KEL_CHAR> out(scratch.small);
    if (const size_t needed = maxBcdText(slot.field.length1); needed > out.size()) {
        scratch.large.resize(needed);
        out = scratch.large;
    }
    unsigned length = 0;
    int position = -1;
    if (RawBcdToString(bytesOf(slot), slot.field.decimals, out, length, position) != ZOR_CONV_OK)
        throwRenderFailure(slot.field, bytesOf(slot), position);
    return {out.data(), length};
}

std::string_view renderHex(std::span<const KEL_RAW> bytes, TextScratch& scratch) {
    if (bytes.size() * 2 <= sizeof scratch.small) return {scratch.small, Hex::encode(bytes, scratch.small)};
    Hex::encode(bytes, scratch.large);
    return scratch.large;
}

std::string_view renderNumber(ZOR_INT8 value, TextScratch& scratch) noexcept {
    return {scratch.small, numberToString(scratch.small, value)};
}

/** The text of a field as it stands in a text buffer: dates and times as their digits. */
std::string_view render(const ZorFieldSlot& slot, TextScratch& scratch, std::string_view wanted) {
    switch (slot.field.type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
        case ZORTYPE_NUM:
            return trimmedEnd(contentOf(slot));
        case ZORTYPE_BCD:
            return renderBcd(slot, scratch);
        case ZORTYPE_BYTE:
            return renderHex(bytesOf(slot), scratch);
        case ZORTYPE_FLOAT:
            return {scratch.small, doubleToString(scratch.small, loadScalar<ZOR_FLOAT>(slot))};
        case ZORTYPE_INT:
            return renderNumber(loadScalar<ZOR_INT>(slot), scratch);
        case ZORTYPE_INT2:
            return renderNumber(loadScalar<ZOR_INT2>(slot), scratch);
        case ZORTYPE_INT1:
            return renderNumber(loadScalar<ZOR_INT1>(slot), scratch);
        case ZORTYPE_INT8:
            return renderNumber(loadScalar<ZOR_INT8>(slot), scratch);
        case ZORTYPE_STRING:
            return stringOf(slot);
        case ZORTYPE_XSTRING:
            return renderHex(childBytes<ZorXString>(slot), scratch);
        default:
            throwReadFailure(slot.field, wanted);
    }
}

/** Puts a separator behind each of two positions of a date or time. */
void separate(KEL_string& text, KEL_CHAR separator, size_t first, size_t second) {
    if (text.size() <= second) return;
    text.insert(second, 1, separator);
    text.insert(first, 1, separator);
}

void store(unsigned* resultLength, size_t length) noexcept {
    if (resultLength != nullptr) *resultLength = static_cast<unsigned>(length);
}

void readChars(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    if (length > longestText) throw ZorInvalidParameterException("buffer length is too large");
    std::memset(buffer, ' ', length);
    TextScratch scratch;
    const std::string_view text = render(slot, scratch, zorTypeName(ZORTYPE_CHAR));
    store(resultLength, text.size());
    if (text.size() > length) throwBufferFailure(ZORTYPE_CHAR, length, text.size());
    std::memcpy(buffer, text.data(), text.size());
}

void readTerminated(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    TextScratch scratch;
    const std::string_view text = render(slot, scratch, zorTypeName(ZORTYPE_STRING));
    store(resultLength, text.size());
    if (text.size() >= length) throwBufferFailure(ZORTYPE_STRING, length, text.size() + 1);
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = 0;
}

/** The digits of a character field or string, without leading zeros. */
std::string_view digitsOf(const ZorFieldSlot& slot, std::string_view content) {
    std::string_view digits = content;
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    if (digits.find_first_not_of("0123456789") != digits.npos)
        throwValueFailure(slot.field, slot.field.type, content, zorTypeName(ZORTYPE_NUM));
    return digits;
}

std::string_view renderDigits(const ZorFieldSlot& slot, TextScratch& scratch) {
    constexpr std::string_view wanted = "ZORTYPE_NUM";
    switch (slot.field.type) {
        case ZORTYPE_INT:
        case ZORTYPE_INT2:
        case ZORTYPE_INT1:
        case ZORTYPE_INT8:
            return render(slot, scratch, wanted);
        case ZORTYPE_CHAR:
        case ZORTYPE_NUM:
            return digitsOf(slot, trimmedEnd(contentOf(slot)));
        case ZORTYPE_STRING:
            return digitsOf(slot, stringOf(slot));
        default:
            throwReadFailure(slot.field, wanted);
    }
}

void readNum(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    if (length > longestText) throw ZorInvalidParameterException("buffer length is too large");
    TextScratch scratch;
    const std::string_view digits = renderDigits(slot, scratch);
    store(resultLength, digits.size());
    if (digits.size() > length) throwBufferFailure(ZORTYPE_NUM, length, digits.size());
    std::memset(buffer, '0', length - digits.size());
    std::memcpy(buffer + length - digits.size(), digits.data(), digits.size());
    store(resultLength, length);
}

/** Copies a date or time, which has a width of its own that the buffer is known to have. */
void readFixed(const ZorFieldSlot& slot, ZORTYPE type, KEL_CHAR* buffer, unsigned width,
               unsigned* resultLength) {
    if (slot.field.type != type) throwReadFailure(slot.field, zorTypeName(type));
    const unsigned length = std::min(width, slot.field.length1);
    std::memcpy(buffer, slot.addr, length);
    store(resultLength, length);
}

/** Parts of a date or time that is written with separators. */
struct Part {
    unsigned from;
    unsigned length;
};
constexpr Part dateParts[] = {{0, 4}, {5, 2}, {8, 2}};
constexpr Part timeParts[] = {{0, 2}, {3, 2}, {6, 2}};

/** Writes a date or time: the plain digits, or the parts between two separators of any kind. */
void writeFixed(const ZorFieldSlot& slot, std::string_view value, unsigned width, const Part (&parts)[3]) {
    KEL_CHAR digits[dateLength];
    if (value.size() == width) {
        value.copy(digits, width);
    } else if (value.size() == width + 2) {
        KEL_CHAR* at = digits;
        for (const Part& part : parts)
            at += value.copy(at, part.length, part.from);
    } else {
        throwTextFailure(slot.field, value.size() > longestText ? std::string_view() : value, -1);
    }
    std::memcpy(slot.addr, digits, std::min(width, slot.field.length1));
}

void writeBcd(const ZorFieldSlot& slot, std::string_view value) {
    int position = -1;
    if (StringToRawBcd(value, bytesOf(slot), slot.field.decimals, position) == ZOR_CONV_OK) return;
    fillSlot(slot);
    throwTextFailure(slot.field, value, position);
}

void writeByte(const ZorFieldSlot& slot, std::string_view value) {
    ZorXString bytes;
    int position = -1;
    value = value.substr(0, size_t{slot.field.length1} * 2);
    if (Hex::decode(value, bytes, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    std::fill(std::copy(bytes.begin(), bytes.end(), slot.addr), slot.addr + slot.field.length1, KEL_RAW{});
}

void writeNum(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source) {
    std::string_view digits = trimmedEnd(value);
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    fillSlot(slot);
    if (digits.size() > slot.field.length1)
        throwValueFailure(slot.field, source, value,
                          "ZORTYPE_NUM with the field length " + std::to_string(slot.field.length1));
    if (digits.find_first_not_of("0123456789") != digits.npos)
        throwValueFailure(slot.field, source, value, zorTypeName(ZORTYPE_NUM));
    std::memcpy(slot.addr + slot.field.length1 - digits.size(), digits.data(), digits.size());
}

void writeFloat(const ZorFieldSlot& slot, std::string_view value) {
    ZOR_FLOAT number = 0;
    int position = -1;
    if (charsToDouble(value, number, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    storeScalar(slot, number);
}

template <class T>
void writeInteger(const ZorFieldSlot& slot, std::string_view value) {
    ZOR_INT8 number = 0;
    int position = -1;
    if (stringToNumber(value, sizeof(T), number, position) != ZOR_CONV_OK)
        throwTextFailure(slot.field, value, position);
    storeScalar(slot, static_cast<T>(number));
}

void writeXString(ZorRecord& record, unsigned index, const ZorFieldSlot& slot, std::string_view value) {
    ZorXString bytes;
    int position = -1;
    if (Hex::decode(value, bytes, position) != ZOR_CONV_OK) throwTextFailure(slot.field, value, position);
    ZorXString* child = nullptr;
    record.getValue(index, &child, true);
    child->swap(bytes);
}

void writeString(ZorRecord& record, unsigned index, std::string_view value) {
    ZorString* child = nullptr;
    record.getValue(index, &child, true);
    child->assign(value);
}

}  // namespace

void ZorRecord::getValue(unsigned index, KEL_CHAR* buffer, unsigned length, ZORTYPE requested,
                         unsigned* resultLength) {
    const ZorFieldSlot slot = access(index, buffer);
    switch (requested) {
        case ZORTYPE_CHAR:
            return readChars(slot, buffer, length, resultLength);
        case ZORTYPE_STRING:
            return readTerminated(slot, buffer, length, resultLength);
        case ZORTYPE_NUM:
            return readNum(slot, buffer, length, resultLength);
        case ZORTYPE_DATE:
            return readFixed(slot, ZORTYPE_DATE, buffer, dateLength, resultLength);
        case ZORTYPE_TIME:
            return readFixed(slot, ZORTYPE_TIME, buffer, timeLength, resultLength);
        default:
            throwReadFailure(slot.field, zorTypeName(requested));
    }
}

void ZorRecord::getValue(unsigned index, KEL_string& out) {
    const ZorFieldSlot slot = access(index, &out);
    out.clear();
    switch (slot.field.type) {
        case ZORTYPE_DATE:
            out = contentOf(slot);
            return separate(out, '-', 4, 6);
        case ZORTYPE_TIME:
            out = contentOf(slot);
            return separate(out, ':', 2, 4);
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
            throw ZorTypeConversionException(
                "ZorRecord::getCharsFieldValue was invoked for ZORTYPE_STRUCTURE");
        case ZORTYPE_CHAR:
        case ZORTYPE_NUM:
        case ZORTYPE_BCD:
        case ZORTYPE_BYTE:
        case ZORTYPE_FLOAT:
        case ZORTYPE_INT:
        case ZORTYPE_INT2:
        case ZORTYPE_INT1:
        case ZORTYPE_INT8:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
        case ZORTYPE_STRING:
        case ZORTYPE_XSTRING: {
            TextScratch scratch;
            out = render(slot, scratch, zorTypeName(ZORTYPE_CHAR));
            return;
        }
        default:
            return;
    }
}

void ZorRecord::setValue(unsigned index, const KEL_CHAR* value, unsigned length, ZORTYPE source) {
    const ZorFieldSlot slot = access(index, value);
    if (source == ZORTYPE_DATE) {
        if (slot.field.type != ZORTYPE_DATE) throwWriteFailure(slot.field, "ZOR_DATE");
        length = dateLength;
    } else if (source == ZORTYPE_TIME) {
        if (slot.field.type != ZORTYPE_TIME) throwWriteFailure(slot.field, "ZOR_TIME");
        length = timeLength;
    }
    // These cells read no more of the value than the field has room for.
    const bool bounded = slot.field.type == ZORTYPE_CHAR || slot.field.type == ZORTYPE_DATE ||
                         slot.field.type == ZORTYPE_TIME || slot.field.type == ZORTYPE_BYTE;
    if (length > longestText && !bounded) throw ZorInvalidParameterException("value length is too large");
    const std::string_view text(value, length);
    switch (slot.field.type) {
        case ZORTYPE_CHAR:
            putPadded(slot, text);
            break;
        case ZORTYPE_DATE:
            writeFixed(slot, text, dateLength, dateParts);
            break;
        case ZORTYPE_TIME:
            writeFixed(slot, text, timeLength, timeParts);
            break;
        case ZORTYPE_BCD:
            writeBcd(slot, text);
            break;
        case ZORTYPE_BYTE:
            writeByte(slot, text);
            break;
        case ZORTYPE_NUM:
            writeNum(slot, text, source);
            break;
        case ZORTYPE_FLOAT:
            writeFloat(slot, text);
            break;
        case ZORTYPE_INT:
            writeInteger<ZOR_INT>(slot, text);
            break;
        case ZORTYPE_INT2:
            writeInteger<ZOR_INT2>(slot, text);
            break;
        case ZORTYPE_INT1:
            writeInteger<ZOR_INT1>(slot, text);
            break;
        case ZORTYPE_INT8:
            writeInteger<ZOR_INT8>(slot, text);
            break;
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
            throwTextFailure(slot.field, text, -1);
        case ZORTYPE_STRING:
            writeString(*this, index, text);
            break;
        case ZORTYPE_XSTRING:
            writeXString(*this, index, slot, text);
            break;
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
            throwReadFailure(slot.field, "KEL_CHAR*");
        default:
            return;
    }
    if (slot.active != nullptr) *slot.active = true;
}
