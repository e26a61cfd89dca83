#include "devsys/call.h"

#include "devsys/partnerprofile.h"
#include "wire/zorid.h"

namespace zordev {

int Call::find(std::string_view name, std::size_t hint) const {
    const auto& parameters = function->parameters;
    if (hint < parameters.size() && parameters[hint].name == name) return static_cast<int>(hint);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        if (parameters[i].name == name) return static_cast<int>(i);
    }
    return -1;
}

std::string_view Call::text(std::size_t index) const {
    return trimmed(asText(values[index].value));
}

std::int32_t Call::integer(std::size_t index) const {
    return values[index].supplied ? static_cast<std::int32_t>(loadLe32(values[index].value, 0)) : 0;
}

void Call::reply(std::size_t index, ByteSpan value) {
    if (!values[index].requested) return;
    const ParameterDescription& parameter = function->parameters[index];
    out.text(ZORID_FieldName, parameter.name);
    const std::span<Byte> bytes = out.reserve(ZORID_FieldValue, value.size());
    std::ranges::copy(value, bytes.begin());
    if (!host.profile().convertsNumbers()) return;
    if (parameter.structure != nullptr)
        convertRecord(host.profile(), *parameter.structure, bytes);
    else
        convertNumber(host.profile(), parameter.type, bytes);
}

void Call::replyRow(const StructureDescription* structure, ByteSpan row) {
    const std::span<Byte> bytes = out.reserve(ZORID_TableContent, row.size());
    std::ranges::copy(row, bytes.begin());
    if (structure != nullptr) convertRecord(host.profile(), *structure, bytes);
}

void Call::replyText(std::size_t index, std::string_view text) {
    if (!values[index].requested) return;
    const ParameterDescription& parameter = function->parameters[index];
    out.text(ZORID_FieldName, parameter.name);
    storeText(out.reserve(ZORID_FieldValue, parameter.length), 0, parameter.length, text);
}

void Call::replyInteger(std::size_t index, std::int32_t value) {
    Byte bytes[4];
    storeLe32(bytes, 0, static_cast<std::uint32_t>(value));
    reply(index, bytes);
}

bool Call::replyTable(std::size_t index, std::uint32_t rows, std::uint32_t width) {
    if (!values[index].requested) return false;
    out.text(ZORID_TableName, function->parameters[index].name);
    const std::span<Byte> info = out.reserve(ZORID_TableInfo, 8);
    storeBe32(info, 0, width);
    storeBe32(info, 4, rows);
    return true;
}

void Call::replyXml(std::size_t index, std::string_view document, std::size_t piece) {
    if (!values[index].requested) return;
    for (; !document.empty(); document.remove_prefix(std::min(piece, document.size())))
        out.text(ZORID_XMLData, document.substr(0, piece));
    out.flag(ZORID_XMLParameter);
}

void Call::replyInitial(std::size_t index) {
    if (!values[index].requested) return;
    const ParameterDescription& parameter = function->parameters[index];
    std::vector<Byte> value(parameter.length, 0);
    switch (parameter.type) {
        case ZORTYPE_CHAR:
            value.assign(parameter.length, ' ');
            break;
        case ZORTYPE_NUM:
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
            value.assign(parameter.length, '0');
            break;
        case ZORTYPE_BCD:
            value.back() = 0x0C;
            break;
        default:
            break;
    }
    reply(index, value);
}

}  // namespace zordev
