/** @file What all data containers have in common: typed fields that are read and written with conversion. */
#pragma once

#include <kelzor/types.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "data/zorcopyshort.h"
#include "error/zorexception.h"
#include "meta/zorclassmetadata.h"

class ZorStructure;
class ZorTable;
class ZorUbixObject;

/** Content of a field of type STRING. */
using ZorString = KEL_string;
/** Content of a field of type XSTRING. */
using ZorXString = std::vector<KEL_RAW>;

/** Kind of a data container. */
enum ZorRecordType : unsigned {
    ZOR_RECORD_PARAMETER = 0,
    ZOR_RECORD_STRUCTURE = 1,
    ZOR_RECORD_TABLE = 2,
    ZOR_RECORD_FUNCTION = 3,
    ZOR_RECORD_OBJECT = 4,
};

/** A field and the place where its value lies at the moment. */
struct ZorFieldSlot {
    const ZorFieldTypeBase& field;  ///< Part of the record's description; `length1` bytes are the value's.
    KEL_RAW* addr;                  ///< The value, or a pointer for parameters of a type held by pointer.
    bool* active;                   ///< Set when a scalar was written; null where there is no such flag.
};

/** The field type whose values have the form of a caller's number. */
template <class T>
inline constexpr ZORTYPE zorTypeOf = ZORTYPE_FLOAT;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_INT> = ZORTYPE_INT;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_INT1> = ZORTYPE_INT1;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_INT2> = ZORTYPE_INT2;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_INT8> = ZORTYPE_INT8;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_DECF16> = ZORTYPE_DECF16;
template <>
inline constexpr ZORTYPE zorTypeOf<ZOR_DECF34> = ZORTYPE_DECF34;

/**
 * A data container: a sequence of fields, by index or by name. A structure has the fields of its
 * description, a table those of its current row, a function its parameters, a parameter itself alone.
 *
 * Values convert where a field's type and the caller's differ. Unless an operation says otherwise, all
 * `getValue` and `setValue` forms throw
 * - ZorInvalidParameterException for an index that doesn't exist and for a null pointer,
 * - ZorTypeConversionException where the types or the value don't allow it,
 * - ZorIllegalStateException on a table whose cursor stands on no row,
 * and leave the field as it was. One thread at a time uses a container.
 */
class ZorRecord {
  public:
    ZorRecord& operator=(const ZorRecord&) = delete;
    virtual ~ZorRecord();

    virtual ZorRecordType getRecordType() const noexcept = 0;

    /** The description of a structure, or of a table's rows; null for none. Not a new reference. */
    virtual ZorAbstractMetaData* getDescriptor() = 0;

    /** Index of a field; ZorNameIndex::notFound for an unknown name. The empty name is index 0. */
    unsigned findIndex(std::string_view name) const noexcept {
        if (names == nullptr) return ZorNameIndex::notFound;
        return name.empty() ? 0 : names->find(name);
    }
    /** As `findIndex`. Throws ZorInvalidParameterException for an unknown name. */
    unsigned getIndex(std::string_view name) const;

    /** A field's properties; the index is below `getFieldCount`. */
    virtual const ZorFieldTypeBase& describe(unsigned index) const noexcept = 0;

    /** A field with the place of its value; the index is below `getFieldCount`. */
    virtual ZorFieldSlot locate(unsigned index) = 0;

    unsigned getFieldCount() const noexcept { return fieldCount; }
    /** Level of the calls on this container, taken over from the configuration when it was made. */
    unsigned getTraceLevel() const noexcept { return traceLevel; }
    /** A call passes its connection's level on to the container. */
    void setTraceLevel(unsigned level) noexcept { traceLevel = level; }
    /**
     * False for an address behind which no container lives (any more), as far as its bytes tell; so the
     * sanitizer may not take for granted that this is an object.
     */
    __attribute__((no_sanitize("vptr"))) bool isValid() const noexcept { return mark == liveMark; }
    /** True while the container belongs to a field or a class exception and not to a caller. */
    bool isHeld() const noexcept { return held; }
    void setHeld() noexcept { held = true; }

    /** @name Properties of one field, whose index must exist. */
    /** @{ */
    ZORTYPE getType(unsigned index) const { return describe(index).type; }
    unsigned getLength(unsigned index) const { return describe(index).length1; }
    unsigned getDecimals(unsigned index) const { return describe(index).decimals; }
    const KEL_string& getName(unsigned index) const { return describe(index).name; }
    /** Description of a structure field or of a table field's rows; null if there is none. */
    ZorRecordMetaData* getRecordMetaData(unsigned index) const;
    /** Description of the class that an object field refers to; null if there is none. */
    ZorClassMetaData* getClassMetaData(unsigned index) const;
    KEL_RAW* getBuffer(unsigned index) { return locate(index).addr; }
    /** @} */

    /** Throws for an index that doesn't exist, and for an existing one because the caller's pointer is null.
     */
    [[noreturn]] void refuseAccess(unsigned index) const;

    /** Gives a field its initial value; an existing child is emptied, none is made. */
    void fillField(unsigned index);

    /** @name Text
     * `length` is the number of characters of the buffer. `resultLength` may be null; it gets the
     * length of the value, also when the buffer is too small (ZorBufferTooSmallException).
     * ZORTYPE_CHAR fills up with blanks, ZORTYPE_NUM with zeros on the left, ZORTYPE_STRING terminates.
     */
    /** @{ */
    void getValue(unsigned index, KEL_CHAR* buffer, unsigned length, ZORTYPE requested,
                  unsigned* resultLength);
    /** Writes text. On failure BCD and NUM fields get their initial value. */
    void setValue(unsigned index, const KEL_CHAR* value, unsigned length, ZORTYPE source);
    /** The value as text, dates and times with separators. */
    void getValue(unsigned index, KEL_string& out);
    /** @} */

    /** @name Bytes as they stand in the record, `length` and `resultLength` in bytes. */
    /** @{ */
    void getValue(unsigned index, KEL_RAW* buffer, unsigned length, ZORTYPE requested,
                  unsigned* resultLength);
    void setValue(unsigned index, const KEL_RAW* value, unsigned length, ZORTYPE source);
    /** @} */

    /**
     * @name Numbers
     * Among integers what doesn't fit is cut to its low-order bits. Decimal floats convert exactly or fail,
     * but for doubles; ZorSystemException if the decimal library isn't there.
     */
    /** @{ */
    void getValue(unsigned index, ZOR_INT* value);
    void getValue(unsigned index, ZOR_INT1* value);
    void getValue(unsigned index, ZOR_INT2* value);
    void getValue(unsigned index, ZOR_INT8* value);
    void getValue(unsigned index, ZOR_FLOAT* value);
    void getValue(unsigned index, ZOR_DECF16* value);
    void getValue(unsigned index, ZOR_DECF34* value);
    void setValue(unsigned index, ZOR_INT value);
    void setValue(unsigned index, ZOR_INT1 value);
    void setValue(unsigned index, ZOR_INT2 value);
    void setValue(unsigned index, ZOR_INT8 value);
    void setValue(unsigned index, ZOR_FLOAT value);
    void setValue(unsigned index, ZOR_DECF16 value);
    void setValue(unsigned index, ZOR_DECF34 value);
    /**
     * Has decimal floating point loaded, which all that touches a decimal value needs. Throws
     * ZorSystemException. Any thread.
     */
    static void initDecfloatLib();
    /** @} */

    /** @name Plain values
     * The commonest access, without a call: a field that holds the caller's type in full. False, with
     * nothing done, for all else, failures included; `getValue` and `setValue` then know what it is.
     */
    /** @{ */
    template <class T>
    bool getPlain(unsigned index, T& value) const noexcept {
        const KEL_RAW* const addr = plainNumber<T>(index);
        if (addr == nullptr) return false;
        std::memcpy(&value, addr, sizeof value);
        return true;
    }
    template <class T>
    bool setPlain(unsigned index, T value) noexcept {
        KEL_RAW* const addr = plainNumber<T>(index);
        if (addr == nullptr) return false;
        std::memcpy(addr, &value, sizeof value);
        if (slots != nullptr) *slots[index].active = true;
        return true;
    }
    /** Text to a CHAR field: cut, or filled up with blanks; `value` isn't null. */
    bool setPlainText(unsigned index, const KEL_CHAR* value, unsigned length) noexcept {
        KEL_RAW* addr = nullptr;
        const ZorFieldTypeBase* const field = knownField(index, addr);
        if (field == nullptr || field->type != ZORTYPE_CHAR) return false;
        const unsigned used = length < field->length1 ? length : field->length1;
        zorCopyShort(addr, value, used);
        if (used < field->length1) std::memset(addr + used, ' ', field->length1 - used);
        if (slots != nullptr) *slots[index].active = true;
        return true;
    }
    /** @} */

    /** @name Children
     * The record owns them. With `create` a child that doesn't exist yet is made; else null is given.
     * A table of elementary rows isn't made here but by `getTable`. The copying setters leave the
     * value with the caller.
     */
    /** @{ */
    void getValue(unsigned index, ZorStructure** child, bool create);
    void getValue(unsigned index, ZorTable** child, bool create);
    void getValue(unsigned index, ZorString** child, bool create);
    void getValue(unsigned index, ZorXString** child, bool create);
    void getValue(unsigned index, ZorUbixObject** child, bool create);
    void setValue(unsigned index, const ZorStructure& value);
    void setValue(unsigned index, const ZorTable& value);
    /** The object's class need not be that of the field. */
    void setValue(unsigned index, const ZorUbixObject& value);
    /** Length of a string in characters or of a byte string in bytes. */
    unsigned getStringLength(unsigned index);
    /**
     * The table in field 0, made if need be; one without row description gets rows of one field of
     * `width` bytes of the partner, whose characters have `partnerCharSize` bytes.
     */
    ZorTable* getTable(unsigned width, unsigned short partnerCharSize);
    /** @} */

    /** @name Handles: the address of this base. */
    /** @{ */
    static ZorRecord* fromHandle(DATA_CONTAINER_HANDLE handle) noexcept {
        return reinterpret_cast<ZorRecord*>(handle);
    }
    DATA_CONTAINER_HANDLE toHandle() noexcept { return reinterpret_cast<DATA_CONTAINER_HANDLE>(this); }
    /** @} */

  protected:
    /** Takes the trace level from the configuration. */
    ZorRecord() noexcept;
    explicit ZorRecord(unsigned traceLevel) noexcept : traceLevel(traceLevel) {}
    ZorRecord(const ZorRecord& other) noexcept : fieldCount(other.fieldCount), traceLevel(other.traceLevel) {}

    unsigned fieldCount = 0;
    unsigned traceLevel;
    const ZorNameIndex* names = nullptr;  ///< Of the description; null where fields have no names.
    /** @name What `locate` would find, where that is known beforehand; null where it has to look or refuse.
     */
    /** @{ */
    /** Fields that lie in one block of bytes: their descriptions and the block. */
    const ZorRecordFieldType* blockFields = nullptr;
    KEL_RAW* block = nullptr;
    /** Fields that lie apart from each other, all with a flag for writing. */
    const ZorFieldSlot* slots = nullptr;
    /** @} */

  private:
    static constexpr std::uint16_t liveMark = 0xCDAB;
    static constexpr std::uint16_t deadMark = 0xFFFF;

    /** The slot for an access: checks the index and the caller's pointer. */
    ZorFieldSlot access(unsigned index, const void* value) {
        if (index >= fieldCount || value == nullptr) [[unlikely]]
            refuseAccess(index);
        return locate(index);
    }

    template <class T>
    static bool holds(const ZorFieldTypeBase& field) noexcept {
        return field.type == zorTypeOf<T> && field.length1 >= sizeof(T);
    }

    /** A field and its place; null if it doesn't exist, or if its place isn't known without `locate`. */
    const ZorFieldTypeBase* knownField(unsigned index, KEL_RAW*& addr) const noexcept {
        if (index >= fieldCount) return nullptr;
        if (block != nullptr) {
            addr = block + blockFields[index].offset1;
            return &blockFields[index];
        }
        if (slots == nullptr) return nullptr;
        addr = slots[index].addr;
        return &slots[index].field;
    }

    /** Where a field holds a plain number; null if it doesn't, or if that isn't known without `locate`. */
    template <class T>
    KEL_RAW* plainNumber(unsigned index) const noexcept {
        KEL_RAW* addr = nullptr;
        const ZorFieldTypeBase* const field = knownField(index, addr);
        return field != nullptr && holds<T>(*field) ? addr : nullptr;
    }

    std::uint16_t mark = liveMark;
    bool held = false;  ///< A copy belongs to nobody yet.
};
