#include "data/zorfieldcells_bytes.h"

#include <algorithm>
#include <cstring>

#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "error/zorliterals.h"

namespace zorcells {

std::span<const KEL_RAW> stored(const ZorFieldSlot& slot) {
    return {slot.addr, slot.field.length1};
}

std::span<const KEL_RAW> child(const ZorFieldSlot& slot) {
    const auto* bytes = loadChild<ZorXString>(slot.addr);
    return bytes != nullptr ? std::span<const KEL_RAW>(*bytes) : std::span<const KEL_RAW>();
}

void hexPadded(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE) {
    const std::span<KEL_CHAR> target(reinterpret_cast<KEL_CHAR*>(slot.addr), slot.field.length1);
    const size_t length = Hex::encode(value, target);
    std::memset(slot.addr + length, ' ', slot.field.length1 - length);
}

void zeroPadded(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE) {
    const size_t length = std::min<size_t>(value.size(), slot.field.length1);
    std::memcpy(slot.addr, value.data(), length);
    std::memset(slot.addr + length, 0, slot.field.length1 - length);
}

void exact(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source) {
    if (value.size() != slot.field.length1) throwReadFailure(slot.field, zorTypeName(source));
    std::memcpy(slot.addr, value.data(), value.size());
}

void hexAssigned(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE) {
    ZorString text;
    Hex::encode(value, text);
    childMade<ZorString>(slot).swap(text);
}

void childAssigned(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE) {
    childMade<ZorXString>(slot).assign(value.begin(), value.end());
}

void noBytes(const ZorFieldSlot& slot, std::span<const KEL_RAW>, ZORTYPE) {
    throwWriteFailure(slot.field, "KEL_RAW*");
}

}  // namespace zorcells
