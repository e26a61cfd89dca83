/** @file Counting, ownership and handles of descriptions. */
#pragma once

#include <kelzor/types.h>

#include <cstdint>
#include <memory>
#include <string_view>

#include "meta/zorabstractmetadata.h"

class ZorClassMetaData;
class ZorFunctionMetaData;
class ZorRecordMetaData;
template <class T>
class ZorMetaDataRef;

/**
 * The process's book of descriptions: all that live, by address, and which of them are pending, that is,
 * owned by a caller and by no repository. All functions may be called from any thread.
 *
 * Classes that refer to each other in a circle hold each other alive until the process ends. They stay in
 * the book, so they are neither lost to a leak checker nor taken for dead.
 */
class ZorMetaDataStatics {
  public:
    ZorMetaDataStatics() = delete;

    /** @name Sentinels: stand for the row type of a table whose rows are elementary. */
    /** @{ */
    static ZorAbstractMetaData* const ZOR_METADATA_ZORTYPE_CHAR;
    static ZorAbstractMetaData* const ZOR_METADATA_ZORTYPE_BYTE;
    static bool isSentinel(const void* typeDesc) noexcept {
        const auto value = reinterpret_cast<uintptr_t>(typeDesc);
        return value == ZORTYPE_CHAR || value == ZORTYPE_BYTE;
    }
    /** @} */

    /**
     * Makes a description, open and without fields, with room for `reserve` fields. A pending one belongs
     * to a caller of the library: give the reference away with `release` and the address as handle.
     */
    template <class T>
    static ZorMetaDataRef<T> createMetaData(std::string_view name, std::string_view origin, unsigned reserve,
                                            bool pending) {
        auto made = std::make_unique<T>(name, origin, reserve);
        enterLive(*made, pending);
        return ZorMetaDataRef<T>::adopt(made.release());
    }

    /** Adds a reference. Throws ZorInvalidParameterException for null and for one that is being removed. */
    static void createReference(const ZorAbstractMetaData* description);

    /** Drops a reference; the last one deletes the description. */
    static void releaseMetaData(const ZorAbstractMetaData* description) noexcept;

    /** Makes the caller the owner. Throws ZorInvalidParameterException if he is already. */
    static void addPending(const ZorAbstractMetaData* description);

    /** Ends the caller's ownership, without touching the count. False if he wasn't the owner. */
    static bool removePending(const ZorAbstractMetaData* description) noexcept;

    /**
     * Ends the caller's ownership and drops his reference. Throws ZorIllegalStateException with `refusal`
     * if he isn't the owner.
     */
    static void destroyPending(const ZorAbstractMetaData& description, std::string_view refusal);

    /**
     * True if a record is flat: no tables, strings or byte strings, nested structures included. A layout
     * that was determined before is kept. `plan` knows the nested records that are locked with this one.
     */
    static bool checkType1(const ZorRecordMetaData& record, const ZorLockPlan& plan);

    /** @name Handles
     * A handle of a description that is gone is recognised by the book and never followed:
     * ZorInvalidParameterException "... was already removed". A living description of another kind:
     * ZorInvalidHandleException. What comes back is held: a repository that another thread clears doesn't
     * take it away before the caller is done.
     */
    /** @{ */
    /** A type description; null and sentinels come back as they are. */
    static ZorMetaDataRef<ZorRecordMetaData> getZorRecordMetaData(ZOR_TYPE_DESC_HANDLE handle);
    /** A function description; null comes back as it is. */
    static ZorMetaDataRef<ZorFunctionMetaData> getZorFunctionMetaData(ZOR_FUNCTION_DESC_HANDLE handle);
    /** A class description; null comes back as it is. */
    static ZorMetaDataRef<ZorClassMetaData> getClassMetaData(ZOR_CLASS_DESC_HANDLE handle);
    /** What a field refers to: a record or class description, null or a sentinel. */
    static ZorMetaDataRef<ZorAbstractMetaData> typeDescFromHandle(ZOR_TYPE_DESC_HANDLE handle);
    /** As getZorRecordMetaData, but null and sentinels are refused with ZorInvalidHandleException. */
    static ZorMetaDataRef<ZorRecordMetaData> recordMetaDataFromHandle(ZOR_TYPE_DESC_HANDLE handle);
    /** As getZorFunctionMetaData, but null is refused with ZorInvalidHandleException. */
    static ZorMetaDataRef<ZorFunctionMetaData> functionMetaDataFromHandle(ZOR_FUNCTION_DESC_HANDLE handle);
    /** As getClassMetaData, but null is refused with ZorInvalidHandleException. */
    static ZorMetaDataRef<ZorClassMetaData> classMetaDataFromHandle(ZOR_CLASS_DESC_HANDLE handle);
    /** The handle of a description; null for null. The reference count stays. */
    static ZOR_TYPE_DESC_HANDLE toHandle(const ZorRecordMetaData* record) noexcept;
    static ZOR_FUNCTION_DESC_HANDLE toHandle(const ZorFunctionMetaData* function) noexcept;
    static ZOR_CLASS_DESC_HANDLE toHandle(const ZorClassMetaData* classDesc) noexcept;
    /** @} */

  private:
    /** Deletes a description, and those whose last reference falls with it, one after the other. */
    static void bury(const ZorAbstractMetaData* dead) noexcept;
    static void enterLive(const ZorAbstractMetaData& description, bool pending);
    /** Takes a reference to what lives at an address; empty if nothing does. */
    static ZorMetaDataRef<ZorAbstractMetaData> hold(const void* handle);
    /** As hold, but throws if nothing lives there; `kind` names the handle's type. */
    static ZorMetaDataRef<ZorAbstractMetaData> holdLive(const void* handle, const KEL_UC* kind);
    /** As holdLive, for records and classes: a class description is a type description with more to it. */
    static ZorMetaDataRef<ZorAbstractMetaData> holdTypeDesc(ZOR_TYPE_DESC_HANDLE handle);
};

#include "meta/zormetadataref.h"  // IWYU pragma: export
