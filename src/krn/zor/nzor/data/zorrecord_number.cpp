// Reading and writing fields as integers and floating point numbers.

#include <cmath>
#include <limits>

#include "data/zorconversion.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldslot.h"
#include "data/zorrecord.h"

namespace {

/** How a caller's integer type is named in failures. */
template <class T>
struct Integer;
template <>
struct Integer<ZOR_INT> {
    static constexpr std::string_view name = "ZOR_INT";
};
template <>
struct Integer<ZOR_INT1> {
    static constexpr std::string_view name = "ZOR_INT1";
};
template <>
struct Integer<ZOR_INT2> {
    static constexpr std::string_view name = "ZOR_INT2";
};
template <>
struct Integer<ZOR_INT8> {
    static constexpr std::string_view name = "ZOR_INT8";
};

/** Reads an integer field; what doesn't fit is cut. False for a field of another type. */
template <class T>
bool readInteger(const ZorFieldSlot& slot, T& value) noexcept {
    switch (slot.field.type) {
        case ZORTYPE_INT:
            value = static_cast<T>(loadScalar<ZOR_INT>(slot));
            return true;
        case ZORTYPE_INT2:
            value = static_cast<T>(loadScalar<ZOR_INT2>(slot));
            return true;
        case ZORTYPE_INT1:
            value = static_cast<T>(loadScalar<ZOR_INT1>(slot));
            return true;
        case ZORTYPE_INT8:
            value = static_cast<T>(loadScalar<ZOR_INT8>(slot));
            return true;
        default:
            return false;
    }
}

template <class T>
void readIntegerOnly(const ZorFieldSlot& slot, T& value) {
    if (!readInteger(slot, value)) throwReadFailure(slot.field, Integer<T>::name);
}

/** Bytes as an integer, the most significant first: of 8 bytes the low-order half. */
ZOR_INT bigEndian(const ZorFieldSlot& slot) {
    if (slot.field.length1 == 1) return slot.addr[0];
    if (slot.field.length1 != 2 && slot.field.length1 != 4 && slot.field.length1 != 8)
        throwReadFailure(slot.field, "ZOR_INT");
    KEL_UINT value = 0;
    for (unsigned at = 0; at < slot.field.length1; ++at)
        value = value << 8 | slot.addr[at];
    return slot.field.length1 == 2 ? static_cast<ZOR_INT2>(value) : static_cast<ZOR_INT>(value);
}

/** Truncates toward zero; what has no counterpart becomes the smallest integer. */
ZOR_INT truncated(ZOR_FLOAT value) noexcept {
    constexpr ZOR_FLOAT beyond = 2147483648.0;
    return value > -beyond - 1 && value < beyond ? static_cast<ZOR_INT>(value)
                                                 : std::numeric_limits<ZOR_INT>::min();
}

std::string_view contentOf(const ZorFieldSlot& slot) noexcept {
    return {reinterpret_cast<const KEL_CHAR*>(slot.addr), slot.field.length1};
}

/** Writes an integer to a field that takes it as such. False for a field of another type. */
template <class T>
bool writeInteger(const ZorFieldSlot& slot, T value) noexcept {
    switch (slot.field.type) {
        case ZORTYPE_INT:
            storeScalar(slot, static_cast<ZOR_INT>(value));
            break;
        case ZORTYPE_INT2:
            storeScalar(slot, static_cast<ZOR_INT2>(value));
            break;
        case ZORTYPE_INT1:
            storeScalar(slot, static_cast<ZOR_INT1>(value));
            break;
        case ZORTYPE_INT8:
            storeScalar(slot, static_cast<ZOR_INT8>(value));
            break;
        default:
            return false;
    }
    if (slot.active != nullptr) *slot.active = true;
    return true;
}

/** Writes an integer to a field that takes it as text. */
template <class T>
void writeIntegerText(ZorRecord& record, unsigned index, const ZorFieldSlot& slot, T value) {
    if (slot.field.type != ZORTYPE_CHAR && slot.field.type != ZORTYPE_NUM &&
        slot.field.type != ZORTYPE_STRING)
        throwWriteFailure(slot.field, Integer<T>::name);
    KEL_CHAR text[maxNumberText];
    record.setValue(index, text, numberToString(text, value), zorTypeOf<T>);
}

}  // namespace

void ZorRecord::getValue(unsigned index, ZOR_INT* value) {
    const ZorFieldSlot slot = access(index, value);
    if (readInteger(slot, *value)) [[likely]]
        return;
    switch (slot.field.type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_NUM:
            *value = leadingInteger(contentOf(slot));
            return;
        case ZORTYPE_BCD: {
            KEL_string text;
            getValue(index, text);
            *value = leadingInteger(text);
            return;
        }
        case ZORTYPE_BYTE:
            *value = bigEndian(slot);
            return;
        case ZORTYPE_FLOAT:
            *value = truncated(loadScalar<ZOR_FLOAT>(slot));
            return;
        default:
            throwReadFailure(slot.field, Integer<ZOR_INT>::name);
    }
}

void ZorRecord::getValue(unsigned index, ZOR_INT1* value) {
    readIntegerOnly(access(index, value), *value);
}

void ZorRecord::getValue(unsigned index, ZOR_INT2* value) {
    readIntegerOnly(access(index, value), *value);
}

void ZorRecord::getValue(unsigned index, ZOR_INT8* value) {
    readIntegerOnly(access(index, value), *value);
}

void ZorRecord::getValue(unsigned index, ZOR_FLOAT* value) {
    const ZorFieldSlot slot = access(index, value);
    if (slot.field.type == ZORTYPE_FLOAT) {
        *value = loadScalar<ZOR_FLOAT>(slot);
        return;
    }
    if (slot.field.type != ZORTYPE_BCD) throwReadFailure(slot.field, "ZOR_FLOAT");
    KEL_string text;
    getValue(index, text);
    ZOR_FLOAT number = 0;
    int position = -1;
    if (charsToDouble(text, number, position) != ZOR_CONV_OK) throwReadFailure(slot.field, "ZOR_FLOAT");
    *value = number;
}

void ZorRecord::setValue(unsigned index, ZOR_INT value) {
    const ZorFieldSlot slot = access(index, this);
    if (!writeInteger(slot, value)) writeIntegerText(*this, index, slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT1 value) {
    const ZorFieldSlot slot = access(index, this);
    if (!writeInteger(slot, value)) writeIntegerText(*this, index, slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT2 value) {
    const ZorFieldSlot slot = access(index, this);
    if (!writeInteger(slot, value)) writeIntegerText(*this, index, slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT8 value) {
    const ZorFieldSlot slot = access(index, this);
    if (!writeInteger(slot, value)) writeIntegerText(*this, index, slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_FLOAT value) {
    const ZorFieldSlot slot = access(index, this);
    switch (slot.field.type) {
        case ZORTYPE_FLOAT:
            storeScalar(slot, value);
            if (slot.active != nullptr) *slot.active = true;
            return;
        case ZORTYPE_CHAR:
        case ZORTYPE_BCD:
        case ZORTYPE_NUM:
        case ZORTYPE_STRING: {
            KEL_CHAR text[maxDoubleText];
            return setValue(index, text, doubleToString(text, value), ZORTYPE_FLOAT);
        }
        default:
            throwReadFailure(slot.field, "ZOR_FLOAT");
    }
}
