#include "xzor/xzorrenderer.h"

#include <algorithm>
#include <array>

#include "config/zorconfig.h"
#include "convert/sevenbit.h"
#include "convert/zorconverter.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "trace/zortracefunctions.h"

namespace {

constexpr std::string_view rowTag = "item";

/** Bytes of text that are converted at once, and of binary data that are encoded at once: whole groups of 3.
 */
constexpr size_t pieceSize = 3 * 512;

/** For each byte, whether it needs an entity. */
constexpr auto needsEntity = [] {
    std::array<bool, 256> needs{};
    for (unsigned control = 0; control < ' '; ++control)
        needs[control] = control != '\t' && control != '\n' && control != '\r';
    needs['<'] = needs['>'] = needs['&'] = true;
    return needs;
}();

std::span<const KEL_RAW> rawOf(std::string_view text) noexcept {
    return {reinterpret_cast<const KEL_RAW*>(text.data()), text.size()};
}

[[noreturn]] void throwConversionFailure(const ZorFieldTypeBase& field, std::span<const KEL_RAW> text,
                                         std::string_view what, int rc) {
    const std::string message =
        "XZorRenderer::writeCharAsIs: " + std::string(what) + ", rc=" + std::to_string(rc);
    ZorLogWrite("%s\n", message.c_str());
    if (ZorConfig::getGlobalTraceLevel() > 1 && !isSecretName(field.name))
        ZorTraceHexDump(text.data(), static_cast<unsigned>(text.size()), "%s", message.c_str());
    throw ZorCodepageConversionException(message);
}

}  // namespace

bool isXZorLine(const ZorRecordMetaData& rowType) noexcept {
    return rowType.getFieldCount() == 1 && rowType[0].name.empty();
}

void XZorRenderer::encode(ZorRecord& record, std::string_view name) {
    std::string root;
    escapeTag(name, root);
    stag(root);
    encode(record);
    etag(root);
    os.close();
}

void XZorRenderer::encode(ZorRecord& record) {
    if (record.getRecordType() == ZOR_RECORD_TABLE) return encodeRows(static_cast<ZorTable&>(record));
    if (record.getFieldCount() != 0)
        encodeFields(record, tagsOf(static_cast<const ZorRecordMetaData&>(*record.getDescriptor())));
}

void XZorRenderer::encodeFields(ZorRecord& record, const Tags& tags) {
    for (unsigned index = 0; index < tags.names.size(); ++index)
        element(record, index, tags.names[index]);
}

void XZorRenderer::encodeRows(ZorTable& table) {
    const ZorRecordMetaData& rowType = *table.getRowType();
    const bool isLine = isXZorLine(rowType);
    const Tags* const tags = isLine ? nullptr : &tagsOf(rowType);
    const ZorTable::CursorKeeper cursor(table);
    for (unsigned row = 0; row < table.getCount(); ++row) {
        table.moveTo(row);
        if (isLine) {
            element(table, 0, rowTag);
            continue;
        }
        stag(rowTag);
        encodeFields(table, *tags);
        etag(rowTag);
    }
}

void XZorRenderer::element(ZorRecord& record, unsigned index, std::string_view tag) {
    stag(tag);
    content(record, index);
    etag(tag);
}

void XZorRenderer::content(ZorRecord& record, unsigned index) {
    const ZorFieldSlot slot = record.locate(index);
    switch (slot.field.type) {
        case ZORTYPE_STRUCTURE: {
            ZorStructure* child = nullptr;
            record.getValue(index, &child, true);
            return encode(*child);
        }
        case ZORTYPE_TABLE:
            if (auto* const child = loadChild<ZorTable>(slot.addr)) encodeRows(*child);
            return;
        case ZORTYPE_BYTE:
            return writeBinary({slot.addr, slot.field.length1});
        case ZORTYPE_XSTRING:
            if (const auto* const child = loadChild<ZorXString>(slot.addr)) writeBinary(*child);
            return;
        case ZORTYPE_CHAR:
        case ZORTYPE_STRING:
        case ZORTYPE_NUM:
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
            // Nothing keeps a caller from other characters than digits in the last three.
            return writeText(slot.field, zorFieldRow(slot.field.type).readForm(slot, scratch));
        default:
            if (const ZorTextReader read = zorFieldRow(slot.field.type).readForm)
                writeCharAsIs(slot.field, read(slot, scratch));
    }
}

void XZorRenderer::stag(std::string_view tag) {
    if (++depth > xzorDeepest)
        throw ZorLumxException("XZorRenderer: elements are nested more than " + std::to_string(xzorDeepest) +
                               " deep");
    os.write('<');
    os.write(tag);
    os.write('>');
}

void XZorRenderer::etag(std::string_view tag) {
    --depth;
    os.write("</");
    os.write(tag);
    os.write('>');
}

template <class Write>
void XZorRenderer::converted(const ZorFieldTypeBase& field, std::string_view text, const Write& write) {
    const std::span<const KEL_RAW> source = rawOf(text);
    if (utf8converter.keepsSevenBit() && zorIsSevenBit(source)) return write(source);
    const KEL_RAW* in = source.data();
    const KEL_RAW* const inEnd = in + source.size();
    while (in != inEnd) {
        KEL_RAW piece[pieceSize];
        KEL_RAW* out = piece;
        const int rc = utf8converter.tryConvert(in, inEnd, out, piece + sizeof piece);
        if (rc != 0 && rc != ZorConverter::outputFull)
            throwConversionFailure(field, source, "error at codepage conversion", rc);
        if (out == piece) throwConversionFailure(field, source, "nothing was converted", rc);
        write(std::span<const KEL_RAW>(piece, out));
        if (rc == 0) return;
    }
}

void XZorRenderer::writeText(const ZorFieldTypeBase& field, std::string_view text) {
    converted(field, text, [this](std::span<const KEL_RAW> utf8) { writeEscaped(utf8); });
}

void XZorRenderer::writeEscaped(std::span<const KEL_RAW> utf8) {
    while (!utf8.empty()) {
        const auto special = std::find_if(utf8.begin(), utf8.end(), [](KEL_RAW b) { return needsEntity[b]; });
        const auto plain = static_cast<size_t>(special - utf8.begin());
        os.write(utf8.first(plain));
        if (plain == utf8.size()) return;
        const KEL_UC entity[] = {'&', '#', static_cast<KEL_UC>('0' + *special / 10),
                                 static_cast<KEL_UC>('0' + *special % 10), ';'};
        os.write(std::string_view(entity, sizeof entity));
        utf8 = utf8.subspan(plain + 1);
    }
}

void XZorRenderer::writeCharAsIs(const ZorFieldTypeBase& field, std::string_view text) {
    converted(field, text, [this](std::span<const KEL_RAW> utf8) { os.write(utf8); });
}

void XZorRenderer::writeBinary(std::span<const KEL_RAW> bytes) {
    while (!bytes.empty()) {
        const size_t piece = std::min(bytes.size(), pieceSize);
        Base64::encode(bytes.first(piece), encoded);
        os.write(encoded);
        bytes = bytes.subspan(piece);
    }
}

const XZorRenderer::Tags& XZorRenderer::tagsOf(const ZorRecordMetaData& desc) {
    for (size_t at = known.size(); at > 0; --at)
        if (known[at - 1]->desc == &desc) return *known[at - 1];
    auto tags = std::make_unique<Tags>(Tags{&desc, {}});
    tags->names.resize(desc.getFieldCount());
    for (unsigned index = 0; index < desc.getFieldCount(); ++index)
        escapeTag(desc[index].name, tags->names[index]);
    known.push_back(std::move(tags));
    return *known.back();
}
