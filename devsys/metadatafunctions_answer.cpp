// How the metadata functions write their answers.

#include <algorithm>

#include "devsys/call.h"
#include "devsys/metadatafunctions.h"
#include "devsys/partnerprofile.h"
#include "wire/zorid.h"

namespace zordev {

namespace {

char capitalOf(ZOR_DIRECTION direction) {
    switch (direction) {
        case ZOR_IMPORT:
            return 'I';
        case ZOR_EXPORT:
            return 'E';
        case ZOR_CHANGING:
            return 'C';
        default:
            return 'T';
    }
}

ParameterLine lineOf(const ParameterDescription& parameter, Layout layout) {
    ParameterLine line{capitalOf(parameter.direction), std::string(parameter.name)};
    const bool isRows = parameter.direction == ZOR_TABLES;
    line.letter = isRows ? 'u' : letterOf(parameter.type);
    if (parameter.structure != nullptr)
        line.typeName = isRows || parameter.type == ZORTYPE_STRUCTURE
                            ? std::string(parameter.structure->name)
                            : tableTypeName(parameter.structure, {});
    line.length = fieldLength({{}, parameter.type, parameter.length, 0, 0, parameter.structure}, layout);
    line.decimals = parameter.decimals;
    line.optional = parameter.direction != ZOR_EXPORT;
    return line;
}

// The lines of the parameters, each with what `refer` makes of its reference, and of the exceptions.
template <class Refer>
std::vector<ParameterLine> listLines(const FunctionDescription& function, Layout layout, Refer refer) {
    std::vector<ParameterLine> lines;
    for (const ParameterDescription& parameter : function.parameters) {
        lines.push_back(lineOf(parameter, layout));
        for (const ParameterReference& reference : referencesOf(function.name))
            if (reference.parameter == parameter.name) refer(lines.back(), parameter, reference);
    }
    for (const ExceptionDescription& exception : function.exceptions) {
        lines.push_back({'X', std::string(exception.name)});
        lines.back().text = exception.text;
    }
    return lines;
}

}  // namespace

std::vector<ParameterLine> listParameters(const FunctionDescription& function) {
    return listLines(
        function, Layout::narrow,
        [](ParameterLine& line, const ParameterDescription&, const ParameterReference& reference) {
            line.typeName = reference.typeName;
            line.fieldName = reference.fieldName;
            line.letter = ' ';
            if (!line.fieldName.empty()) line.length = 0;
        });
}

std::vector<ParameterLine> listResolvedParameters(const FunctionDescription& function, Layout layout) {
    return listLines(
        function, layout,
        [](ParameterLine& line, const ParameterDescription& parameter, const ParameterReference& reference) {
            // By field only where that leads to another type's name.
            if (parameter.structure == nullptr) return;
            line.typeName = reference.typeName;
            line.fieldName = reference.fieldName;
        });
}

std::string_view MetadataAnswer::given(std::string_view name) const {
    const int index = call_.find(name, 0);
    return index < 0 ? std::string_view() : call_.text(static_cast<std::size_t>(index));
}

std::vector<std::string> MetadataAnswer::givenNames(std::string_view table, std::size_t width) const {
    std::vector<std::string> names;
    ItemReader reader(call_.values[static_cast<std::size_t>(call_.find(table, 0))].value);
    for (Item item; reader.next(item) == ItemResult::item;)
        names.emplace_back(trimmed(asText(item.payload.first(width))));
    return names;
}

void MetadataAnswer::text(std::string_view name, std::string_view value) {
    if (const ParameterDescription* const parameter = wanted(name))
        call_.replyText(indexOf(*parameter), value);
}

const ParameterDescription* MetadataAnswer::wanted(std::string_view name) const {
    const int index = call_.find(name, 0);
    if (index < 0 || !call_.values[static_cast<std::size_t>(index)].requested) return nullptr;
    return &call_.function->parameters[static_cast<std::size_t>(index)];
}

std::size_t MetadataAnswer::indexOf(const ParameterDescription& parameter) const {
    return static_cast<std::size_t>(&parameter - call_.function->parameters.data());
}

std::span<Byte> MetadataAnswer::beginRecord(const ParameterDescription& parameter) {
    call_.out.text(ZORID_FieldName, parameter.name);
    return call_.out.reserve(ZORID_FieldValue, parameter.length);
}

void MetadataAnswer::beginTable(const ParameterDescription& parameter, std::size_t rows) {
    call_.replyTable(indexOf(parameter), static_cast<std::uint32_t>(rows), parameter.length);
}

std::span<Byte> MetadataAnswer::nextRow(const ParameterDescription& parameter) {
    return call_.out.reserve(ZORID_TableContent, parameter.length);
}

void MetadataAnswer::finish(const ParameterDescription& parameter, std::span<Byte> image) {
    convertRecord(call_.host.profile(), *parameter.structure, image);
}

void MetadataAnswer::replyDocument(const ParameterDescription& parameter, const XmlElement& root) {
    call_.replyXml(indexOf(parameter), writeXml(root));
}

XmlRowWriter::XmlRowWriter(XmlElement& target, const StructureDescription& layout)
    : element_(target), layout_(layout) {
    for (const FieldDescription& field : layout.fields) {
        XmlElement& child = target.children.emplace_back();
        child.name = elementName(field.name);
        if (field.type == ZORTYPE_NUM) child.text.assign(field.length, '0');
        if (field.type == ZORTYPE_INT) child.text = "0";
    }
}

XmlElement& XmlRowWriter::element(std::string_view field) {
    return *std::ranges::find(element_.children, field, &XmlElement::name);
}

void XmlRowWriter::text(std::string_view field, std::string_view value) {
    element(field).text = value;
}

void XmlRowWriter::number(std::string_view field, unsigned value) {
    XmlElement& target = element(field);
    const std::string digits = std::to_string(value);
    const std::size_t width = std::max(target.text.size(), digits.size());
    target.text = std::string(width - digits.size(), '0') + digits;
}

XmlRowWriter XmlRowWriter::row(std::string_view table) {
    XmlElement& rows = element(table);
    rows.children.emplace_back().name = "item";
    const auto field = std::ranges::find(layout_.fields, table, &FieldDescription::name);
    return {rows.children.back(), *field->structure};
}

RowWriter::RowWriter(std::span<Byte> bytes, const StructureDescription& layout)
    : bytes_(bytes), layout_(layout) {
    std::ranges::fill(bytes, Byte{0});
    for (const FieldDescription& field : layout.fields) {
        if (field.type == ZORTYPE_CHAR) storeText(bytes, field.offset, field.length, {});
        if (field.type == ZORTYPE_NUM || field.type == ZORTYPE_DATE || field.type == ZORTYPE_TIME)
            storeText(bytes, field.offset, field.length, {}, '0');
    }
}

const FieldDescription* RowWriter::find(std::string_view field) const {
    const auto found = std::ranges::find(layout_.fields, field, &FieldDescription::name);
    return found != layout_.fields.end() ? &*found : nullptr;
}

void RowWriter::text(std::string_view field, std::string_view value) {
    if (const FieldDescription* const known = find(field))
        storeText(bytes_, known->offset, known->length, value);
}

void RowWriter::number(std::string_view field, unsigned value) {
    const FieldDescription* const known = find(field);
    if (known == nullptr) return;
    if (known->type == ZORTYPE_INT) return storeLe32(bytes_, known->offset, value);
    if (known->type == ZORTYPE_BYTE) {
        for (unsigned i = known->length; i-- > 0; value >>= 8)
            bytes_[known->offset + i] = static_cast<Byte>(value);
        return;
    }
    std::string digits = std::to_string(value);
    if (digits.size() < known->length) digits.insert(0, known->length - digits.size(), '0');
    text(field, digits);
}

}  // namespace zordev
