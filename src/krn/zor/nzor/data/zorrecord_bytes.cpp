// Reading and writing fields as the bytes that stand in the record.

#include <algorithm>
#include <cstring>

#include "data/zorconversion.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "data/zorrecord.h"
#include "error/zorliterals.h"

namespace {

// A length from a negative number is a caller's mistake, and no buffer has that many bytes.
constexpr unsigned longestValue = 0x7FFFFFFF;

std::span<const KEL_RAW> storedBytes(const ZorFieldSlot& slot) {
    switch (slot.field.type) {
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
        case ZORTYPE_STRING:
            throwReadFailure(slot.field, "KEL_RAW");
        case ZORTYPE_XSTRING: {
            const auto* child = loadChild<ZorXString>(slot.addr);
            return child != nullptr ? std::span<const KEL_RAW>(*child) : std::span<const KEL_RAW>();
        }
        default:
            return {slot.addr, slot.field.length1};
    }
}

/** Writes a value as hexadecimal text, cut or padded with blanks. */
void putHex(const ZorFieldSlot& slot, std::span<const KEL_RAW> value) noexcept {
    const std::span<KEL_CHAR> target(reinterpret_cast<KEL_CHAR*>(slot.addr), slot.field.length1);
    const size_t length = Hex::encode(value, target);
    std::memset(slot.addr + length, ' ', slot.field.length1 - length);
}

void putPadded(const ZorFieldSlot& slot, std::span<const KEL_RAW> value) noexcept {
    const size_t length = std::min<size_t>(value.size(), slot.field.length1);
    std::memcpy(slot.addr, value.data(), length);
    std::memset(slot.addr + length, 0, slot.field.length1 - length);
}

/** Writes a value in its stored form, which has a fixed width. */
void putExact(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source) {
    if (value.size() != slot.field.length1) throwReadFailure(slot.field, zorTypeName(source));
    std::memcpy(slot.addr, value.data(), value.size());
}

}  // namespace

void ZorRecord::getValue(unsigned index, KEL_RAW* buffer, unsigned length, ZORTYPE requested,
                         unsigned* resultLength) {
    const std::span<const KEL_RAW> value = storedBytes(access(index, buffer));
    if (resultLength != nullptr) *resultLength = static_cast<unsigned>(value.size());
    if (value.size() > length) throwBufferFailure(requested, length, value.size());
    if (!value.empty()) std::memcpy(buffer, value.data(), value.size());
}

void ZorRecord::setValue(unsigned index, const KEL_RAW* value, unsigned length, ZORTYPE source) {
    const ZorFieldSlot slot = access(index, value);
    const bool held = slot.field.type == ZORTYPE_STRING || slot.field.type == ZORTYPE_XSTRING;
    if (held && length > longestValue) throw ZorInvalidParameterException("value length is too large");
    const std::span<const KEL_RAW> bytes(value, length);
    switch (slot.field.type) {
        case ZORTYPE_CHAR:
            putHex(slot, bytes);
            break;
        case ZORTYPE_BYTE:
            putPadded(slot, bytes);
            break;
        case ZORTYPE_BCD:
        case ZORTYPE_FLOAT:
        case ZORTYPE_INT:
        case ZORTYPE_INT2:
        case ZORTYPE_INT1:
        case ZORTYPE_INT8:
        case ZORTYPE_DECF16:
        case ZORTYPE_DECF34:
            putExact(slot, bytes, source);
            break;
        case ZORTYPE_STRING: {
            ZorString text;
            Hex::encode(bytes, text);
            ZorString* child = nullptr;
            getValue(index, &child, true);
            child->swap(text);
            break;
        }
        case ZORTYPE_XSTRING: {
            ZorXString* child = nullptr;
            getValue(index, &child, true);
            child->assign(bytes.begin(), bytes.end());
            break;
        }
        case ZORTYPE_TABLE:
        case ZORTYPE_STRUCTURE:
            throwWriteFailure(slot.field, "KEL_RAW*");
        default:
            throwReadFailure(slot.field, zorTypeName(source));
    }
    if (slot.active != nullptr) *slot.active = true;
}
