#include <cmath>

#include "values.h"

namespace zortool {

namespace {

std::string hexadecimal(const kelzor::Bytes& bytes) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

bool allDigits(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

// "20261123" with dashes; what is no date, as a blank one, as it stands.
std::string dateText(const std::string& date) {
    if (date.size() != 8 || !allDigits(date)) return date;
    return date.substr(0, 4) + "-" + date.substr(4, 2) + "-" + date.substr(6);
}

std::string timeText(const std::string& time) {
    if (time.size() != 6 || !allDigits(time)) return time;
    return time.substr(0, 2) + ":" + time.substr(2, 2) + ":" + time.substr(4);
}

Json floatToJson(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "Inf" : "-Inf";
    return value;
}

Json tableToJson(TypeCache& types, const kelzor::TableView& table) {
    Json rows = Json::array();
    if (!table) return rows;
    for (const kelzor::StructureView row : table)
        rows.push_back(structureToJson(types, row));
    return rows;
}

Json objectToJson(TypeCache& types, const kelzor::ObjectView& object) {
    if (!object) return nullptr;
    Json fields = Json::object();
    unsigned index = 0;
    for (const ZOR_CLASS_ATTRIBUTE_DESC& attribute : object.type().attributes()) {
        const FieldType field{attribute.name, attribute.type, attribute.nucLength, attribute.typeDescHandle};
        fields[kelzor::toUtf8(field.name)] = fieldToJson(types, object, index++, field);
    }
    return fields;
}

}  // namespace

const std::vector<FieldType>& TypeCache::fields(kelzor::TypeView type) {
    const auto found = known_.find(type.handle());
    if (found != known_.end()) return found->second;
    std::vector<FieldType> fields;
    for (const ZOR_FIELD_DESC& field : type.fields())
        fields.push_back({field.name, field.type, field.nucLength, field.typeDescHandle});
    return known_[type.handle()] = std::move(fields);
}

Json fieldToJson(TypeCache& types, const kelzor::Fields& container, unsigned index, const FieldType& field) {
    switch (field.type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_NUM:
        case ZORTYPE_STRING:
        case ZORTYPE_BCD:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
            return kelzor::toUtf8(container.text(index));
        case ZORTYPE_DATE:
            return dateText(kelzor::toUtf8(container.text(index)));
        case ZORTYPE_TIME:
            return timeText(kelzor::toUtf8(container.text(index)));
        case ZORTYPE_INT1:
            return container.get<std::uint8_t>(index);
        case ZORTYPE_INT2:
            return container.get<std::int16_t>(index);
        case ZORTYPE_INT:
            return container.get<std::int32_t>(index);
        case ZORTYPE_INT8:
            return container.get<std::int64_t>(index);
        case ZORTYPE_FLOAT:
            return floatToJson(container.get<double>(index));
        case ZORTYPE_STRUCTURE:
            return structureToJson(types, container.structure(index));
        case ZORTYPE_TABLE:
            return tableToJson(types, container.table(index));
        case ZORTYPE_UBIXOBJECT:
            return objectToJson(types, container.object(index));
        default:
            return hexadecimal(container.bytes(index));
    }
}

Json structureToJson(TypeCache& types, const kelzor::StructureView& structure) {
    const std::vector<FieldType>& fields = types.fields(structure.type());
    // The line of a table of scalars has one field without a name.
    if (fields.size() == 1 && fields[0].name.empty()) return fieldToJson(types, structure, 0, fields[0]);
    Json object = Json::object();
    for (unsigned i = 0; i < fields.size(); i++)
        object[kelzor::toUtf8(fields[i].name)] = fieldToJson(types, structure, i, fields[i]);
    return object;
}

}  // namespace zortool
