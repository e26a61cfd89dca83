/** @file The list of named, typed fields that descriptions of all kinds consist of. */
#pragma once

#include <kelzor/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "error/zorexception.h"
#include "meta/zorabstractmetadata.h"
#include "meta/zormetadatastatics.h"
#include "meta/zornameindex.h"

/** What fields of records and parameters of functions have in common. Lengths are in bytes. */
struct ZorFieldTypeBase {
    KEL_string name;
    ZORTYPE type = ZORTYPE_CHAR;
    unsigned decimals = 0;
    unsigned length1 = 0;                          ///< With 1-byte characters.
    unsigned length2 = 0;                          ///< With 2-byte characters.
    ZorMetaDataRef<ZorAbstractMetaData> typeDesc;  ///< Of a structure, a table's rows, an object's class.
    void* extendedMeta = nullptr;                  ///< The caller's.
};

/**
 * Name, origin and fields. F is the record of a field, derived from ZorFieldTypeBase.
 *
 * Access by index doesn't test the index: callers who take one from outside run `checkIndex` first.
 * Access by name throws ZorInvalidParameterException for an unknown one; the empty name is index 0.
 */
template <class F>
class ZorMetaDataBase : public ZorAbstractMetaData {
  public:
    const KEL_string& getName() const noexcept { return name; }
    /** Where the description came from; "custom" for one that a caller built. */
    const KEL_string& getOrigin() const noexcept { return origin; }
    /** Renames an open description. */
    void setName(std::string_view newName) {
        checkLockState();
        name = newName;
    }

    unsigned getFieldCount() const noexcept { return static_cast<unsigned>(fields.size()); }
    unsigned getIndex(std::string_view fieldName) const;
    /** As `getIndex`, with ZorNameIndex::notFound for an unknown name. */
    unsigned findIndex(std::string_view fieldName) const noexcept {
        return fieldName.empty() ? 0 : indexMap.find(fieldName);
    }
    /** What finds the index of a name; it stays where it is as long as the description does. */
    const ZorNameIndex& getNameIndex() const noexcept { return indexMap; }
    /** True if there is such a field; stores its index. The empty name is index 0 where there is a field. */
    bool hasField(std::string_view fieldName, unsigned* index = nullptr) const noexcept;

    const F& operator[](unsigned index) const noexcept { return fields[index]; }
    /** All fields, one behind the other; they stay where they are once the description is locked. */
    const F* getFields() const noexcept { return fields.data(); }
    const F& operator[](std::string_view fieldName) const { return fields[getCheckedIndex(fieldName)]; }

    const KEL_string& getName(unsigned index) const noexcept { return fields[index].name; }
    ZORTYPE getType(unsigned index) const noexcept { return fields[index].type; }
    ZORTYPE getType(std::string_view fieldName) const { return (*this)[fieldName].type; }
    unsigned getDecimals(unsigned index) const noexcept { return fields[index].decimals; }
    unsigned getDecimals(std::string_view fieldName) const { return (*this)[fieldName].decimals; }
    /** Length with 1-byte characters. */
    unsigned getByteLength(unsigned index) const noexcept { return fields[index].length1; }
    unsigned getByteLength(std::string_view fieldName) const { return (*this)[fieldName].length1; }
    /** Length with 2-byte characters. */
    unsigned getUnicodeByteLength(unsigned index) const noexcept { return fields[index].length2; }
    unsigned getUnicodeByteLength(std::string_view fieldName) const { return (*this)[fieldName].length2; }
    void* getExtendedMetaData(unsigned index) const noexcept { return fields[index].extendedMeta; }
    /** The description behind a field, of whatever kind; null for none and for a sentinel. */
    ZorAbstractMetaData* getMetaData(unsigned index) const noexcept { return fields[index].typeDesc.get(); }
    /** The record description behind a field; null for none, a sentinel, and another kind. */
    ZorRecordMetaData* getRecordMetaData(unsigned index) const noexcept;
    /** The class description behind a field; null for none, a sentinel, and another kind. */
    ZorClassMetaData* getClassMetaData(unsigned index) const noexcept;

    /** Throws ZorInvalidParameterException "index does not exist". */
    void checkIndex(unsigned index) const {
        if (index >= fields.size()) throw ZorInvalidParameterException("index does not exist");
    }
    /** Throws ZorIllegalStateException on a locked description. */
    void checkLockState() const {
        if (locked)
            throw ZorIllegalStateException(
                "The operation is forbidden because the instance is already locked");
    }
    /** False once a field came without a second length: then all second lengths and offsets are derived. */
    bool isUnicodeEnabled() const noexcept { return unicodeEnabled; }

  protected:
    ZorMetaDataBase(std::string_view name, std::string_view origin, unsigned reserve)
        : name(name), origin(origin) {
        fields.reserve(reserve);
        indexMap.reserve(reserve);
    }

    /** A field that has passed the rules, and the state of `unicodeEnabled` that goes with it. */
    struct Candidate {
        F field;
        bool unicode;
    };

    /** Checks name, lengths and state for a new field and builds it. Changes nothing. */
    Candidate prepareField(std::string_view fieldName, ZORTYPE type, unsigned nucLength, unsigned ucLength,
                           unsigned decimals, ZorAbstractMetaData* typeDesc, void* extended) const;

    /** Appends a checked field; on a lack of memory nothing has changed. */
    void append(Candidate&& candidate);

    /** Appends a field without any rule; on a lack of memory nothing has changed. */
    void append(F&& field);

    bool equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const override = 0;

    /** Compares what both kinds of field have in common, the descriptions behind them included. */
    static bool equalFields(const F& one, const F& other, ZorComparedPairs& compared);

    /** Prepares the locking of the record descriptions behind the fields. */
    void prepareNested(ZorLockPlan& plan) const;

    KEL_string name;
    std::vector<F> fields;
    ZorNameIndex indexMap;
    bool unicodeEnabled = true;
    KEL_string origin;

  private:
    unsigned getCheckedIndex(std::string_view fieldName) const {
        const unsigned index = getIndex(fieldName);
        checkIndex(index);
        return index;
    }
    /** Second length of a field; throws where it contradicts the lengths so far. Updates `unicode`. */
    unsigned settleUnicodeLength(ZORTYPE type, unsigned nucLength, unsigned ucLength, bool& unicode) const;
};
