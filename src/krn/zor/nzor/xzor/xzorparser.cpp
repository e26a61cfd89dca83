#include "xzor/xzorparser.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "convert/sevenbit.h"
#include "convert/zorconverter.h"
#include "data/zorconversion.h"
#include "data/zorfieldfailure.h"
#include "data/zorstructure.h"
#include "data/zortable.h"
#include "trace/zortracefunctions.h"

namespace {

/** What a byte is within the name of a tag. */
enum TagByte : unsigned char { plain, space, closing, forbidden };

constexpr auto tagBytes = [] {
    std::array<TagByte, 256> kinds{};
    for (unsigned byte = 9; byte <= 13; ++byte)
        kinds[byte] = space;
    for (unsigned byte = 28; byte <= 32; ++byte)
        kinds[byte] = space;
    kinds['/'] = kinds['>'] = closing;
    kinds['"'] = kinds['&'] = kinds['\''] = kinds['<'] = forbidden;
    return kinds;
}();

const KEL_RAW* find(const KEL_RAW* at, const KEL_RAW* end, KEL_RAW byte) noexcept {
    const void* const found = std::memchr(at, byte, static_cast<size_t>(end - at));
    return found != nullptr ? static_cast<const KEL_RAW*>(found) : end;
}

std::string_view textOf(const KEL_RAW* from, const KEL_RAW* to) noexcept {
    return {reinterpret_cast<const KEL_UC*>(from), static_cast<size_t>(to - from)};
}

std::span<const KEL_RAW> rawOf(std::string_view text) noexcept {
    return {reinterpret_cast<const KEL_RAW*>(text.data()), text.size()};
}

int hexValue(KEL_UC c) noexcept {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool isDigit(KEL_UC c) noexcept {
    return c >= '0' && c <= '9';
}

/** A byte as the messages show it. */
std::string quoted(KEL_RAW byte) {
    return {'\'', static_cast<KEL_UC>(byte), '\''};
}

}  // namespace

// In the order of the states.
const XZorParser::Step XZorParser::steps[] = {
    &XZorParser::initial,
    &XZorParser::readingTag,
    &XZorParser::readingTagName,
    &XZorParser::finishingBeginTag,
    &XZorParser::emptyTag,
    &XZorParser::readingValue,
    &XZorParser::expectingValueEndTag,
    &XZorParser::endTag,
    &XZorParser::finishingEndTag,
    &XZorParser::finished,
};

void XZorParser::parse(std::span<const KEL_RAW> bytes) {
    const KEL_RAW* at = bytes.data();
    const KEL_RAW* const end = at + bytes.size();
    while (at != end && !unwanted) {
        const Step step = steps[state];
        at = (this->*step)(at, end);
    }
}

void XZorParser::setFinished() const {
    if (unwanted || (hierarchyLevel() == 0 && (state == INITIAL || state == FINISHED))) return;
    throw ZorXmlParserException("XZOR document incomplete for parameter " + parameterName + " (" + typeName +
                                "). Check TSL ZOR protocol traces.");
}

void XZorParser::fail(std::string_view what) const {
    throw ZorXmlParserException("Parameter " + parameterName + std::string(what));
}

void XZorParser::failInTag(std::string_view what, std::string_view before, KEL_RAW byte) const {
    constexpr size_t shownLength = 64;
    const std::string_view name(tagBuffer.data(), std::min<size_t>(tagLength, shownLength));
    fail(std::string(what) + " in \"" + std::string(before) + std::string(name) + static_cast<KEL_UC>(byte) +
         '"');
}

// --- States

const KEL_RAW* XZorParser::initial(const KEL_RAW* at, const KEL_RAW*) {
    if (*at != '<') fail(" Expecting a tag to begin with '<' instead of " + quoted(*at));
    beginTag();
    return at + 1;
}

void XZorParser::beginTag() {
    tagLength = 0;
    state = READING_TAG;
}

const KEL_RAW* XZorParser::readingTag(const KEL_RAW* at, const KEL_RAW*) {
    if (*at == '/') {
        state = ENDTAG;
        return at + 1;
    }
    if (*at == '>') failInTag(": A tag name cannot be empty, found '<>'", "<", *at);
    if (tagBytes[*at] == space) failInTag(": A tag name cannot start with " + quoted(*at), "<", *at);
    state = READING_TAGNAME;
    return at;
}

const KEL_RAW* XZorParser::readingTagName(const KEL_RAW* at, const KEL_RAW* end) {
    const KEL_RAW* const stop = std::find_if(at, end, [](KEL_RAW byte) { return tagBytes[byte] != plain; });
    appendName(at, stop);
    if (stop == end) return end;
    if (tagBytes[*stop] == forbidden)
        failInTag(": A tag name cannot start with " + quoted(*stop), "<", *stop);
    state = FINISHING_BEGIN_OR_EMPTYTAG;
    return finishingBeginTag(stop, end);
}

const KEL_RAW* XZorParser::finishingBeginTag(const KEL_RAW* at, const KEL_RAW*) {
    if (*at == '>')
        processBeginTag();
    else if (*at == '/')
        state = EMPTYTAG;
    else if (tagBytes[*at] != space)
        failInTag(": Found something between the name and '>'", "<", *at);
    return at + 1;
}

const KEL_RAW* XZorParser::emptyTag(const KEL_RAW* at, const KEL_RAW*) {
    if (*at != '>') failInTag(": Found something between '/' and '>' in empty tag", "<", *at);
    processBeginTag();
    if (!unwanted) processEndTag();
    return at + 1;
}

const KEL_RAW* XZorParser::readingValue(const KEL_RAW* at, const KEL_RAW* end) {
    const KEL_RAW* const stop = find(at, end, '<');
    if (discarded == 0) {
        if (stop == end || !valueBuffer.empty()) valueBuffer.append(textOf(at, stop));
        if (stop == end) return end;
        storeValue(valueBuffer.empty() ? textOf(at, stop) : std::string_view(valueBuffer));
        valueBuffer.clear();
    } else if (stop == end) {
        return end;
    }
    beginTag();
    state = EXPECTING_VALUE_ENDTAG;
    return stop + 1;
}

const KEL_RAW* XZorParser::expectingValueEndTag(const KEL_RAW* at, const KEL_RAW* end) {
    if (*at == '/') {
        state = ENDTAG;
        return at + 1;
    }
    // What nobody wants may hold values or elements: it isn't known which.
    if (discarded == 0) failInTag(": After a value an end tag must follow. That did not happen", "<", *at);
    return readingTag(at, end);
}

const KEL_RAW* XZorParser::endTag(const KEL_RAW* at, const KEL_RAW*) {
    if (*at == '>') failInTag(": A tag name cannot be empty, found '</>'", "</", *at);
    state = FINISHING_ENDTAG;
    return at;
}

const KEL_RAW* XZorParser::finishingEndTag(const KEL_RAW* at, const KEL_RAW* end) {
    const KEL_RAW* const stop = find(at, end, '>');
    if (stop == end) return end;
    processEndTag();
    return stop + 1;
}

const KEL_RAW* XZorParser::finished(const KEL_RAW* at, const KEL_RAW*) {
    fail(": Found " + quoted(*at) + " behind the end of the document");
}

// --- Elements

void XZorParser::processBeginTag() {
    if (hierarchyLevel() == xzorDeepest)
        fail(": Elements are nested more than " + std::to_string(xzorDeepest) + " deep");
    if (discarded != 0) return discard();
    const std::string_view name = fieldName();
    if (openCount == 0) return beginRoot(name);
    Element& parent = elements[openCount - 1];
    if (parent.kind == Element::rows) return beginRow(static_cast<ZorTable&>(*parent.record));
    beginField(parent, name);
}

void XZorParser::processEndTag() {
    if (discarded != 0) {
        --discarded;
    } else {
        if (openCount == 0) failInTag(": Found an end tag without its begin tag", "</", '>');
        const Element& ended = elements[--openCount];
        if (ended.kind == Element::rows) static_cast<ZorTable*>(ended.record)->moveToFirstRow();
    }
    state = discarded != 0 ? READING_VALUE : openCount != 0 ? INITIAL : FINISHED;
}

void XZorParser::open(ZorRecord& record, Element::Kind kind, unsigned field) {
    elements[openCount++] = {&record, field, kind};
    state = kind == Element::value ? READING_VALUE : INITIAL;
}

void XZorParser::discard() {
    ++discarded;
    state = READING_VALUE;
}

void XZorParser::beginRoot(std::string_view name) {
    parameterName = name;
    ZorRecord* const record = roots.recordOf(name);
    unwanted = record == nullptr;
    if (unwanted) return;
    if (record->getRecordType() == ZOR_RECORD_PARAMETER) {
        record->fillField(0);
        return open(*record, Element::value);
    }
    if (const auto* const desc = static_cast<const ZorRecordMetaData*>(record->getDescriptor()))
        typeName = desc->getName();
    openRecord(record);
}

void XZorParser::openRecord(ZorRecord* record) {
    if (record == nullptr) return discard();
    if (record->getRecordType() == ZOR_RECORD_TABLE) {
        static_cast<ZorTable*>(record)->removeAll();
        return open(*record, Element::rows);
    }
    static_cast<ZorStructure*>(record)->initBuffer();
    open(*record, Element::fields);
}

void XZorParser::beginRow(ZorTable& table) {
    table.createNewRows(1);
    if (isXZorLine(*table.getRowType())) return openField(table, 0);
    open(table, Element::fields);
}

void XZorParser::beginField(Element& parent, std::string_view name) {
    // Fields mostly come in their order.
    ZorRecord& record = *parent.record;
    unsigned index = parent.field;
    if (index >= record.getFieldCount() || record.getName(index) != name) index = record.findIndex(name);
    if (index >= record.getFieldCount()) return discard();
    parent.field = index + 1;
    openField(record, index);
}

void XZorParser::openField(ZorRecord& record, unsigned index) {
    switch (record.getType(index)) {
        case ZORTYPE_STRUCTURE: {
            ZorStructure* child = nullptr;
            record.getValue(index, &child, true);
            return openRecord(child);
        }
        case ZORTYPE_TABLE: {
            ZorTable* child = nullptr;
            record.getValue(index, &child, true);
            return openRecord(child);
        }
        default:
            return open(record, Element::value, index);
    }
}

// --- Names

void XZorParser::appendName(const KEL_RAW* from, const KEL_RAW* to) {
    const std::string_view part = textOf(from, to);
    if (part.size() > tagBuffer.size() - tagLength)
        failInTag(": A tag name is longer than " + std::to_string(longestTag) + " bytes", "<", *from);
    part.copy(tagBuffer.data() + tagLength, part.size());
    tagLength += static_cast<unsigned>(part.size());
}

std::string_view XZorParser::fieldName() {
    const std::string_view tag(tagBuffer.data(), tagLength);
    const bool escaped = tag.find("_-") != tag.npos;
    const bool sevenBit = zorIsSevenBit(rawOf(tag));
    if (sevenBit && !escaped) return tag.substr(0, longestName);
    // As the renderer writes them, names are 7-bit text, whatever the code page.
    fieldNameBuffer.clear();
    if (sevenBit)
        fieldNameBuffer = tag;
    else
        utf8ToCharConverter.append(fieldNameBuffer, rawOf(tag));
    // Behind the conversion: an escape stands for a byte of the own code page.
    if (escaped) unescapeTag(fieldNameBuffer);
    return std::string_view(fieldNameBuffer).substr(0, longestName);
}

void XZorParser::unescapeTag(std::string& name) const {
    size_t kept = 0;
    for (size_t at = 0; at < name.size(); ++at) {
        if (name.compare(at, 3, "_--") == 0) {
            const int high = at + 3 < name.size() ? hexValue(name[at + 3]) : -1;
            const int low = at + 4 < name.size() ? hexValue(name[at + 4]) : -1;
            if (high < 0 || low < 0)
                throw ZorXmlParserException("Illegal escape sequence \"_--" +
                                            name.substr(std::min(at + 3, name.size()), 2) +
                                            "\" in parameter " + parameterName + "\" encountered");
            name[kept++] = static_cast<KEL_UC>(high << 4 | low);
            at += 4;
        } else if (name.compare(at, 2, "_-") == 0) {
            name[kept++] = '/';
            ++at;
        } else {
            name[kept++] = name[at];
        }
    }
    name.resize(kept);
}

// --- Values

std::string_view XZorParser::unescapeValue(std::string_view utf8) {
    size_t at = utf8.find("&#");
    if (at == utf8.npos) return utf8;
    unescaped.clear();
    size_t from = 0;
    for (; at != utf8.npos; at = utf8.find("&#", at)) {
        if (utf8.size() - at < 5 || !isDigit(utf8[at + 2]) || !isDigit(utf8[at + 3]) || utf8[at + 4] != ';') {
            at += 2;  // stays as it is
            continue;
        }
        unescaped.append(utf8, from, at - from);
        unescaped += static_cast<KEL_UC>((utf8[at + 2] - '0') * 10 + (utf8[at + 3] - '0'));
        from = at += 5;
    }
    unescaped.append(utf8, from);
    return unescaped;
}

void XZorParser::storeValue(std::string_view utf8) {
    const Element& element = elements[openCount - 1];
    ZorRecord& record = *element.record;
    if (utf8.empty()) return record.fillField(element.field);
    const std::string_view text = unescapeValue(utf8);
    const ZORTYPE type = record.getType(element.field);
    if (type == ZORTYPE_BYTE || type == ZORTYPE_XSTRING) return storeBinary(record, element.field, text);
    std::string_view value = text;
    if (!utf8ToCharConverter.keepsSevenBit() || !zorIsSevenBit(rawOf(text))) {
        converted.clear();
        utf8ToCharConverter.append(converted, rawOf(text), isSecretName(record.getName(element.field)));
        value = converted;
    }
    record.setValue(element.field, value.data(),
                    static_cast<unsigned>(std::min<size_t>(value.size(), UINT_MAX)), ZORTYPE_CHAR);
}

void XZorParser::storeBinary(ZorRecord& record, unsigned index, std::string_view base64) {
    int position = -1;
    if (const ZOR_CONV_RC rc = Base64::decode(base64, decoded, position); rc != ZOR_CONV_OK) {
        ZorLogWrite("Error during Base64 decoding (rc=%d)\n", static_cast<int>(rc));
        throw ZorXmlParserException("Error during Base64 decoding");
    }
    if (decoded.empty()) return record.fillField(index);
    record.setValue(index, decoded.data(), static_cast<unsigned>(std::min<size_t>(decoded.size(), UINT_MAX)),
                    ZORTYPE_BYTE);
}
