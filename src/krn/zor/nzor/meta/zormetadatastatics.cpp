#include "meta/zormetadatastatics.h"

#include <cstdio>
#include <mutex>
#include <shared_mutex>
#include <unordered_map>

#include "error/zorexception.h"
#include "meta/zorclassmetadata.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorlockplan.h"
#include "meta/zorrecordmetadata.h"

namespace {

/** The living descriptions by address, which is their handle; true for pending ones. */
struct Book {
    std::shared_mutex cs_pending;  ///< Guards `live`; held for one operation on it only.
    std::unordered_map<const void*, bool> live;
};

/** Never destroyed: descriptions that outlive the library's statics still sign off. */
Book& book() {
    static Book* const instance = std::make_unique<Book>().release();
    return *instance;
}

[[noreturn]] void refuseHandle() {
    throw ZorInvalidHandleException("An invalid handle was passed to the API call");
}

/** The reference as one to the kind of description that it is known to be. */
template <class T>
ZorMetaDataRef<T> as(ZorMetaDataRef<ZorAbstractMetaData>&& held) noexcept {
    return ZorMetaDataRef<T>::adopt(static_cast<T*>(held.release()));
}

}  // namespace

// The sentinels' values are the numbers of the row's type; the first is also "no description".
ZorAbstractMetaData* const ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_CHAR = nullptr;
ZorAbstractMetaData* const ZorMetaDataStatics::ZOR_METADATA_ZORTYPE_BYTE =
    reinterpret_cast<ZorAbstractMetaData*>(uintptr_t{ZORTYPE_BYTE});

void ZorMetaDataStatics::enterLive(const ZorAbstractMetaData& description, bool pending) {
    Book& all = book();
    const std::lock_guard lock(all.cs_pending);
    all.live.emplace(&description, pending);
    description.refCounter.store(1, std::memory_order_relaxed);
}

void ZorMetaDataStatics::createReference(const ZorAbstractMetaData* description) {
    if (description == nullptr)
        throw ZorInvalidParameterException("The instance is 0. Unable to create a reference to 0.");
    if (description->refCounter.load(std::memory_order_relaxed) == ZorAbstractMetaData::removedMark)
        throw ZorInvalidParameterException(
            "The instance is removed. Unable to create a reference to a removed metadata instance.");
    description->refCounter.fetch_add(1, std::memory_order_relaxed);
}

void ZorMetaDataStatics::releaseMetaData(const ZorAbstractMetaData* description) noexcept {
    if (description->refCounter.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    {
        Book& all = book();
        const std::lock_guard lock(all.cs_pending);
        all.live.erase(description);
    }
    // From here on nobody gets a new reference, not even from a destructor below.
    description->refCounter.store(ZorAbstractMetaData::removedMark, std::memory_order_relaxed);
    bury(description);
}

void ZorMetaDataStatics::bury(const ZorAbstractMetaData* dead) noexcept {
    // A description releases those behind its fields while it is deleted. They wait in a list: a long chain
    // of descriptions must not become a deep chain of calls.
    thread_local const ZorAbstractMetaData* waiting = nullptr;
    thread_local bool burying = false;
    dead->nextDead = waiting;
    waiting = dead;
    if (burying) return;
    burying = true;
    while (const ZorAbstractMetaData* const next = waiting) {
        waiting = next->nextDead;
        delete next;
    }
    burying = false;
}

void ZorMetaDataStatics::addPending(const ZorAbstractMetaData* description) {
    Book& all = book();
    const std::lock_guard lock(all.cs_pending);
    bool& pending = all.live[description];
    if (pending)
        throw ZorInvalidParameterException(
            "The reference is already registered. Unable to register the reference twice.");
    pending = true;
}

bool ZorMetaDataStatics::removePending(const ZorAbstractMetaData* description) noexcept {
    Book& all = book();
    const std::lock_guard lock(all.cs_pending);
    const auto found = all.live.find(description);
    return found != all.live.end() && std::exchange(found->second, false);
}

void ZorMetaDataStatics::destroyPending(const ZorAbstractMetaData& description, std::string_view refusal) {
    if (!removePending(&description)) throw ZorIllegalStateException(refusal);
    releaseMetaData(&description);
}

bool ZorMetaDataStatics::checkType1(const ZorRecordMetaData& record, const ZorLockPlan& plan) {
    if (record.getStructureType() != STRUCTURE_TYPE_0) return record.getStructureType() == STRUCTURE_TYPE_1;
    for (unsigned i = 0; i < record.getFieldCount(); ++i) {
        switch (record.getType(i)) {
            case ZORTYPE_TABLE:
            case ZORTYPE_STRING:
            case ZORTYPE_XSTRING:
                return false;
            case ZORTYPE_STRUCTURE:
                if (const auto* nested = record.getRecordMetaData(i); nested && !plan.isFlat(*nested))
                    return false;
                break;
            default:
                break;
        }
    }
    return true;
}

ZorMetaDataRef<ZorAbstractMetaData> ZorMetaDataStatics::hold(const void* handle) {
    Book& all = book();
    const std::shared_lock lock(all.cs_pending);
    if (all.live.find(handle) == all.live.end()) return {};
    // The address of a living description is that of its base, so the way back is this one.
    auto* const description = static_cast<ZorAbstractMetaData*>(const_cast<void*>(handle));
    // At 0 it is on its way out, and only waits for this lock to leave the book.
    unsigned count = description->refCounter.load(std::memory_order_relaxed);
    while (count != 0)
        if (description->refCounter.compare_exchange_weak(count, count + 1, std::memory_order_relaxed))
            return ZorMetaDataRef<ZorAbstractMetaData>::adopt(description);
    return {};
}

ZorMetaDataRef<ZorAbstractMetaData> ZorMetaDataStatics::holdLive(const void* handle, const KEL_UC* kind) {
    if (auto held = hold(handle)) return held;
    KEL_UC text[96];
    std::snprintf(text, sizeof text, "%s handle  %p was already removed", kind, handle);
    throw ZorInvalidParameterException(text);
}

ZorMetaDataRef<ZorAbstractMetaData> ZorMetaDataStatics::holdTypeDesc(ZOR_TYPE_DESC_HANDLE handle) {
    auto held = holdLive(handle, "ZOR_TYPE_DESC_HANDLE");
    if (held->getMetaType() == ZOR_META_FUNCTION) refuseHandle();
    return held;
}

ZorMetaDataRef<ZorRecordMetaData> ZorMetaDataStatics::getZorRecordMetaData(ZOR_TYPE_DESC_HANDLE handle) {
    if (isSentinel(handle))
        return ZorMetaDataRef<ZorRecordMetaData>::adopt(reinterpret_cast<ZorRecordMetaData*>(handle));
    return as<ZorRecordMetaData>(holdTypeDesc(handle));
}

ZorMetaDataRef<ZorFunctionMetaData> ZorMetaDataStatics::getZorFunctionMetaData(
    ZOR_FUNCTION_DESC_HANDLE handle) {
    if (handle == nullptr) return {};
    auto held = holdLive(handle, "ZOR_FUNCTION_DESC_HANDLE");
    if (held->getMetaType() != ZOR_META_FUNCTION) refuseHandle();
    return as<ZorFunctionMetaData>(std::move(held));
}

ZorMetaDataRef<ZorClassMetaData> ZorMetaDataStatics::getClassMetaData(ZOR_CLASS_DESC_HANDLE handle) {
    if (handle == nullptr) return {};
    auto held = holdLive(handle, "ZOR_CLASS_DESC_HANDLE");
    if (held->getMetaType() != ZOR_META_CLASS) refuseHandle();
    return as<ZorClassMetaData>(std::move(held));
}

ZorMetaDataRef<ZorAbstractMetaData> ZorMetaDataStatics::typeDescFromHandle(ZOR_TYPE_DESC_HANDLE handle) {
    if (isSentinel(handle))
        return ZorMetaDataRef<ZorAbstractMetaData>::adopt(reinterpret_cast<ZorAbstractMetaData*>(handle));
    return holdTypeDesc(handle);
}

ZorMetaDataRef<ZorRecordMetaData> ZorMetaDataStatics::recordMetaDataFromHandle(ZOR_TYPE_DESC_HANDLE handle) {
    if (isSentinel(handle)) refuseHandle();
    return getZorRecordMetaData(handle);
}

ZorMetaDataRef<ZorFunctionMetaData> ZorMetaDataStatics::functionMetaDataFromHandle(
    ZOR_FUNCTION_DESC_HANDLE handle) {
    if (handle == nullptr) refuseHandle();
    return getZorFunctionMetaData(handle);
}

ZorMetaDataRef<ZorClassMetaData> ZorMetaDataStatics::classMetaDataFromHandle(ZOR_CLASS_DESC_HANDLE handle) {
    if (handle == nullptr) refuseHandle();
    return getClassMetaData(handle);
}

ZOR_TYPE_DESC_HANDLE ZorMetaDataStatics::toHandle(const ZorRecordMetaData* record) noexcept {
    const ZorAbstractMetaData* const base = record;
    return reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(const_cast<ZorAbstractMetaData*>(base));
}

ZOR_FUNCTION_DESC_HANDLE ZorMetaDataStatics::toHandle(const ZorFunctionMetaData* function) noexcept {
    const ZorAbstractMetaData* const base = function;
    return reinterpret_cast<ZOR_FUNCTION_DESC_HANDLE>(const_cast<ZorAbstractMetaData*>(base));
}

ZOR_CLASS_DESC_HANDLE ZorMetaDataStatics::toHandle(const ZorClassMetaData* classDesc) noexcept {
    const ZorAbstractMetaData* const base = classDesc;
    return reinterpret_cast<ZOR_CLASS_DESC_HANDLE>(const_cast<ZorAbstractMetaData*>(base));
}
