// The accessors of values: they check, look up the row of the field's type in the matrix, and run its cell.

#include <algorithm>
#include <cstring>

#include "data/zorfieldcells_number.h"
#include "data/zorfieldfailure.h"
#include "data/zorfieldmatrix.h"
#include "data/zorrecord.h"
#include "error/zorliterals.h"

using zorcells::numberName;

namespace {

const ZorFieldRow& rowOf(const ZorFieldSlot& slot) noexcept {
    return zorFieldRow(slot.field.type);
}

void store(unsigned* resultLength, size_t length) noexcept {
    if (resultLength != nullptr) *resultLength = static_cast<unsigned>(length);
}

void markWritten(const ZorFieldSlot& slot) noexcept {
    if (slot.active != nullptr) *slot.active = true;
}

void checkBuffer(unsigned length) {
    if (length > zorLongestValue) throw ZorInvalidParameterException("buffer length is too large");
}

void checkValue(unsigned length) {
    if (length > zorLongestValue) throw ZorInvalidParameterException("value length is too large");
}

void readChars(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    checkBuffer(length);
    std::memset(buffer, ' ', length);
    const ZorTextReader read = rowOf(slot).readText;
    if (read == nullptr) throwReadFailure(slot.field, zorTypeName(ZORTYPE_CHAR));
    ZorTextScratch scratch;
    const std::string_view text = read(slot, scratch);
    store(resultLength, text.size());
    if (text.size() > length) throwBufferFailure(ZORTYPE_CHAR, length, text.size());
    std::memcpy(buffer, text.data(), text.size());
}

void readTerminated(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    const ZorTextReader read = rowOf(slot).readText;
    if (read == nullptr) throwReadFailure(slot.field, zorTypeName(ZORTYPE_STRING));
    ZorTextScratch scratch;
    const std::string_view text = read(slot, scratch);
    store(resultLength, text.size());
    if (text.size() >= length) throwBufferFailure(ZORTYPE_STRING, length, text.size() + 1);
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = 0;
}

void readNum(const ZorFieldSlot& slot, KEL_CHAR* buffer, unsigned length, unsigned* resultLength) {
    checkBuffer(length);
    const ZorTextReader read = rowOf(slot).readDigits;
    if (read == nullptr) throwReadFailure(slot.field, zorTypeName(ZORTYPE_NUM));
    ZorTextScratch scratch;
    const std::string_view digits = read(slot, scratch);
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

/** Reads a number of the caller's; the failure names its type. */
template <class T>
void readNumber(const ZorFieldSlot& slot, T* value) {
    const ZorNumberReader<T> read = rowOf(slot).template reader<T>();
    if (read == nullptr) throwReadFailure(slot.field, numberName<T>);
    read(slot, *value);
}

/** Writes a number of the caller's; the failure is that of its column. */
template <class T>
void writeNumber(const ZorFieldSlot& slot, T value) {
    const ZorNumberWriter<T> write = rowOf(slot).template writer<T>();
    if (write == nullptr && std::is_integral_v<T>) throwWriteFailure(slot.field, numberName<T>);
    if (write == nullptr) throwReadFailure(slot.field, numberName<T>);
    write(slot, value);
    markWritten(slot);
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
            return readFixed(slot, ZORTYPE_DATE, buffer, sizeof(ZOR_DATE), resultLength);
        case ZORTYPE_TIME:
            return readFixed(slot, ZORTYPE_TIME, buffer, sizeof(ZOR_TIME), resultLength);
        default:
            throwReadFailure(slot.field, zorTypeName(requested));
    }
}

void ZorRecord::getValue(unsigned index, KEL_string& out) {
    const ZorFieldSlot slot = access(index, &out);
    out.clear();
    ZorTextScratch scratch;
    if (const ZorTextReader read = rowOf(slot).readForm) out = read(slot, scratch);
}

void ZorRecord::setValue(unsigned index, const KEL_CHAR* value, unsigned length, ZORTYPE source) {
    const ZorFieldSlot slot = access(index, value);
    if (source == ZORTYPE_DATE) {
        if (slot.field.type != ZORTYPE_DATE) throwWriteFailure(slot.field, "ZOR_DATE");
        length = sizeof(ZOR_DATE);
    } else if (source == ZORTYPE_TIME) {
        if (slot.field.type != ZORTYPE_TIME) throwWriteFailure(slot.field, "ZOR_TIME");
        length = sizeof(ZOR_TIME);
    }
    const ZorTextWriter write = rowOf(slot).writeText;
    if (write == nullptr) return markWritten(slot);
    // These cells read no more of the value than the field has room for.
    const bool bounded = slot.field.type == ZORTYPE_CHAR || slot.field.type == ZORTYPE_DATE ||
                         slot.field.type == ZORTYPE_TIME || slot.field.type == ZORTYPE_BYTE;
    if (!bounded) checkValue(length);
    write(slot, {value, length}, source);
    markWritten(slot);
}

void ZorRecord::getValue(unsigned index, KEL_RAW* buffer, unsigned length, ZORTYPE requested,
                         unsigned* resultLength) {
    const ZorFieldSlot slot = access(index, buffer);
    const ZorBytesReader read = rowOf(slot).readBytes;
    if (read == nullptr) throwReadFailure(slot.field, "KEL_RAW");
    const std::span<const KEL_RAW> value = read(slot);
    store(resultLength, value.size());
    if (value.size() > length) throwBufferFailure(requested, length, value.size());
    if (!value.empty()) std::memcpy(buffer, value.data(), value.size());
}

void ZorRecord::setValue(unsigned index, const KEL_RAW* value, unsigned length, ZORTYPE source) {
    const ZorFieldSlot slot = access(index, value);
    const ZorBytesWriter write = rowOf(slot).writeBytes;
    if (write == nullptr) throwReadFailure(slot.field, zorTypeName(source));
    if (slot.field.type == ZORTYPE_STRING || slot.field.type == ZORTYPE_XSTRING) checkValue(length);
    write(slot, {value, length}, source);
    markWritten(slot);
}

void ZorRecord::getValue(unsigned index, ZOR_INT* value) {
    readNumber(access(index, value), value);
}

void ZorRecord::getValue(unsigned index, ZOR_INT1* value) {
    readNumber(access(index, value), value);
}

void ZorRecord::getValue(unsigned index, ZOR_INT2* value) {
    readNumber(access(index, value), value);
}

void ZorRecord::getValue(unsigned index, ZOR_INT8* value) {
    readNumber(access(index, value), value);
}

void ZorRecord::getValue(unsigned index, ZOR_FLOAT* value) {
    readNumber(access(index, value), value);
}

void ZorRecord::getValue(unsigned index, ZOR_DECF16* value) {
    const ZorFieldSlot slot = access(index, value);
    initDecfloatLib();
    readNumber(slot, value);
}

void ZorRecord::getValue(unsigned index, ZOR_DECF34* value) {
    const ZorFieldSlot slot = access(index, value);
    initDecfloatLib();
    readNumber(slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT value) {
    writeNumber(access(index, this), value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT1 value) {
    writeNumber(access(index, this), value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT2 value) {
    writeNumber(access(index, this), value);
}

void ZorRecord::setValue(unsigned index, ZOR_INT8 value) {
    writeNumber(access(index, this), value);
}

void ZorRecord::setValue(unsigned index, ZOR_FLOAT value) {
    writeNumber(access(index, this), value);
}

void ZorRecord::setValue(unsigned index, ZOR_DECF16 value) {
    const ZorFieldSlot slot = access(index, this);
    initDecfloatLib();
    writeNumber(slot, value);
}

void ZorRecord::setValue(unsigned index, ZOR_DECF34 value) {
    const ZorFieldSlot slot = access(index, this);
    initDecfloatLib();
    writeNumber(slot, value);
}
