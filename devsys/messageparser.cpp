#include "devsys/messageparser.h"

#include "devsys/sessionitems.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr std::size_t MAX_NAME = 30;
constexpr std::size_t TABLE_INFO = 8;

bool goesIn(ZOR_DIRECTION direction) {
    return (direction & ZOR_IMPORT) != 0;
}
bool comesBack(ZOR_DIRECTION direction) {
    return (direction & ZOR_EXPORT) != 0;
}

// Length of the UTF-8 sequence that starts with `lead`; 0 for a byte that can't start one.
std::size_t sequenceLength(Byte lead) {
    if (lead < 0x80) return 1;
    if (lead >= 0xC2 && lead <= 0xDF) return 2;
    if (lead >= 0xE0 && lead <= 0xEF) return 3;
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

bool isUtf8(ByteSpan text) {
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text[0]);
        if (length == 0 || length > text.size() || text[0] == 0) return false;
        for (std::size_t i = 1; i < length; ++i) {
            if ((text[i] & 0xC0) != 0x80) return false;
        }
        text = text.subspan(length);
    }
    return true;
}

// A string travels as UTF-8 with a closing zero byte, or as nothing at all.
bool isString(ByteSpan payload) {
    if (payload.empty()) return true;
    return payload.size() > 1 && payload.back() == 0 && isUtf8(payload.first(payload.size() - 1));
}

bool fits(const ParameterDescription& parameter, ByteSpan payload) {
    switch (parameter.type) {
        case ZORTYPE_STRING:
            return isString(payload);
        case ZORTYPE_XSTRING:
            return true;
        default:
            return payload.size() == parameter.length;
    }
}

}  // namespace

ParseResult ParameterParser::fault(const Item& item, std::string_view expected) {
    log_.add({"parameters of " + std::string(call_.function->name), item.offset, std::string(expected),
              "item " + std::to_string(item.id) + ": " + hexText(item.payload)});
    return ParseResult::violation;
}

ParseResult ParameterParser::parse(Item item) {
    for (;;) {
        ParseResult result;
        switch (item.id) {
            case ZORID_FieldName:
                result = field(item);
                break;
            case ZORID_FieldIsSupl:
                result = requested(item);
                break;
            case ZORID_TableName:
                result = table(item);
                break;
            case ZORID_XMLData:
                result = xml(item);
                break;
            case ZORID_End:
                return end(item);
            default:
                result = fault(item, "a parameter or the end");
                break;
        }
        if (result != ParseResult::good) return result;
        if (!readItem(reader_, item, log_)) return ParseResult::violation;
    }
}

ParseResult ParameterParser::end(const Item& item) {
    if (!item.payload.empty()) return fault(item, "an end item without payload");
    if (reader_.offset() != reader_.stream().size()) return fault(item, "nothing behind the end item");
    return ParseResult::good;
}

ParseResult ParameterParser::lookUp(const Item& item, std::size_t& index) {
    const std::string_view name = asText(item.payload);
    if (name.empty() || name.size() > MAX_NAME) return fault(item, "a name of 1 to 30 characters");
    const int found = call_.find(name, hint_);
    if (found < 0) {
        unknown_ = name;
        return ParseResult::unknownParameter;
    }
    index = static_cast<std::size_t>(found);
    hint_ = index + 1;
    return ParseResult::good;
}

ParseResult ParameterParser::requested(const Item& item) {
    if (valuesStarted_) return fault(item, "no request for a result behind the first value");
    std::size_t index = 0;
    const ParseResult result = lookUp(item, index);
    if (result != ParseResult::good) return result;
    if (!comesBack(call_.function->parameters[index].direction))
        return fault(item, "a parameter that comes back");
    if (call_.values[index].requested) return fault(item, "each name once");
    call_.values[index].requested = true;
    return ParseResult::good;
}

ParseResult ParameterParser::field(const Item& name) {
    if (!valuesStarted_) hint_ = 0;
    valuesStarted_ = true;
    std::size_t index = 0;
    const ParseResult result = lookUp(name, index);
    if (result != ParseResult::good) return result;
    const ParameterDescription& parameter = call_.function->parameters[index];
    ParameterValue& value = call_.values[index];
    if (!goesIn(parameter.direction) || parameter.type == ZORTYPE_TABLE || travelsAsXml(parameter))
        return fault(name, "a field that goes in");
    if (value.supplied) return fault(name, "each parameter once");
    Item item;
    if (!readItem(reader_, item, log_)) return ParseResult::violation;
    if (item.id != ZORID_FieldValue) return fault(item, "a value behind its name");
    if (!fits(parameter, item.payload)) {
        return fault(item, "a value of " + std::to_string(parameter.length) + " bytes for " +
                               std::string(parameter.name));
    }
    value.supplied = true;
    value.value = item.payload;
    return ParseResult::good;
}

ParseResult ParameterParser::table(const Item& name) {
    if (!valuesStarted_) hint_ = 0;
    valuesStarted_ = true;
    std::size_t index = 0;
    const ParseResult result = lookUp(name, index);
    if (result != ParseResult::good) return result;
    const ParameterDescription& parameter = call_.function->parameters[index];
    ParameterValue& value = call_.values[index];
    if (parameter.type != ZORTYPE_TABLE || travelsAsXml(parameter))
        return fault(name, "a table of flat rows");
    if (value.supplied) return fault(name, "each parameter once");
    Item item;
    if (!readItem(reader_, item, log_)) return ParseResult::violation;
    const bool delta = item.id == ZORID_DeltaRequest;
    if (delta) {
        if (item.payload.size() != 4) return fault(item, "a table id of 4 bytes");
        value.tableId = loadBe32(item.payload, 0);
        if (value.tableId == 0) return fault(item, "a table id");
        if (!readItem(reader_, item, log_)) return ParseResult::violation;
    }
    if (item.id != ZORID_TableInfo || item.payload.size() != TABLE_INFO)
        return fault(item, "table information");
    value.width = loadBe32(item.payload, 0);
    value.rows = loadBe32(item.payload, 4);
    if (parameter.length != 0 && value.width != parameter.length) {
        return fault(item, "rows of " + std::to_string(parameter.length) + " bytes");
    }
    if (delta && value.rows == 0) return fault(item, "no delta request for an empty table");
    return rows(value, item);
}

// Collects a document; at the end `item` is the one behind the data.
ParseResult ParameterParser::xmlItems(Item& item, std::string& document) {
    for (bool last = false; item.id == ZORID_XMLData;) {
        if (last || item.payload.empty() || item.payload.size() > XML_ITEM)
            return fault(item, "items of 16384 bytes, of which only the last may have fewer");
        last = item.payload.size() < XML_ITEM;
        document += asText(item.payload);
        if (!readItem(reader_, item, log_)) return ParseResult::violation;
    }
    if (item.id != ZORID_XMLParameter || !item.payload.empty())
        return fault(item, "the end of an XML parameter");
    return ParseResult::good;
}

ParseResult ParameterParser::xml(Item item) {
    valuesStarted_ = true;
    const Item first = item;
    std::string document;
    if (const ParseResult result = xmlItems(item, document); result != ParseResult::good) return result;
    XmlElement root;
    XmlFault wrong;
    if (!readXml(document, root, wrong))
        return fault(first, wrong.expected + " at byte " + std::to_string(wrong.offset) + " of the document");
    const auto& parameters = call_.function->parameters;
    std::size_t index = 0;
    while (index < parameters.size() && elementName(parameters[index].name) != root.name)
        ++index;
    if (index == parameters.size()) {
        unknown_ = root.name;
        return ParseResult::unknownParameter;
    }
    ParameterValue& value = call_.values[index];
    if (!goesIn(parameters[index].direction) || !travelsAsXml(parameters[index]))
        return fault(first, "a parameter that goes in as XML");
    if (value.supplied) return fault(first, "each parameter once");
    if (const std::string expected = checkXml(parameters[index], root); !expected.empty())
        return fault(first, expected);
    value.supplied = true;
    value.document = std::move(root);
    return ParseResult::good;
}

ParseResult ParameterParser::rows(ParameterValue& value, Item& item) {
    const std::size_t start = reader_.offset();
    for (std::uint32_t row = 0; row < value.rows; ++row) {
        if (!readItem(reader_, item, log_)) return ParseResult::violation;
        if (item.id != ZORID_TableContent || item.payload.size() != value.width) {
            return fault(item,
                         "row " + std::to_string(row) + " with " + std::to_string(value.width) + " bytes");
        }
    }
    value.supplied = true;
    value.value = reader_.stream().subspan(start, reader_.offset() - start);
    return ParseResult::good;
}

}  // namespace zordev
