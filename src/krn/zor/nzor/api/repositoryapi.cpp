// Exported functions of the family "Repository cache".

#include <kelzor/repository.h>

#include "api/foundhandle.h"
#include "api/frame.h"
#include "repository/zorrepository.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

/** A repository's identifier as a caller gives it; NULL is the empty one. */
struct RepositoryId {
    explicit RepositoryId(const KEL_UC* id) noexcept : text(id != nullptr ? id : "") {}
    ZorRepository& operator*() const { return ZorRepository::getRepository(text); }
    const KEL_UC* text;
};

/** Level source: the level of the destination that is named like the repository. */
struct RepositoryLevel {
    const RepositoryId& id;
    static constexpr unsigned threshold = callThreshold;
    unsigned operator()() const noexcept { return ZorConfig::getDestinationTraceLevel(id.text); }
};

auto nameChecks(const KEL_UC* name, const KEL_UC* label) {
    return checks(Required{name, label}, NonEmpty{name, label});
}

/** Refuses where the cache has another description than the one that was to be added. */
template <class T>
void requireSame(const T& given, const T& cached, const KEL_UC* kind, const RepositoryId& id) {
    if (&given == &cached) return;
    throw ZorInvalidParameterException("The " + KEL_string(kind) + " meta data " + given.getName() +
                                       " is already stored in the cache " + id.text);
}

}  // namespace

ZOR_RC ZorAddTypeDesc(const KEL_UC* repositoryID, ZOR_TYPE_DESC_HANDLE typeHandle,
                      ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id},
                   checks(Required{typeHandle, "ZOR_TYPE_DESC_HANDLE"}), [&] {
                       const auto desc = ZorMetaDataStatics::recordMetaDataFromHandle(typeHandle);
                       // A class passes for a type elsewhere, but has a cache of its own.
                       if (desc->getMetaType() != ZOR_META_RECORD)
                           throw ZorInvalidHandleException("An invalid handle was passed to the API call");
                       const auto cached = (*id).addStructureDescToCache(*desc);
                       requireSame(*desc, *cached, "type", id);
                   });
}

ZOR_RC ZorAddFunctionDesc(const KEL_UC* repositoryID, ZOR_FUNCTION_DESC_HANDLE funcHandle,
                          ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id},
                   checks(Required{funcHandle, "ZOR_FUNCTION_DESC_HANDLE"}), [&] {
                       const auto desc = ZorMetaDataStatics::functionMetaDataFromHandle(funcHandle);
                       const auto cached = (*id).addFunctionDescToCache(*desc);
                       requireSame(*desc, *cached, "function", id);
                   });
}

ZOR_RC ZorAddClassDesc(const KEL_UC* repositoryID, ZOR_CLASS_DESC_HANDLE classHandle,
                       ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id},
                   checks(Required{classHandle, "ZOR_CLASS_DESC_HANDLE"}), [&] {
                       const auto desc = ZorMetaDataStatics::classMetaDataFromHandle(classHandle);
                       const auto cached = (*id).addClassDescToCache(*desc);
                       requireSame(*desc, *cached, "class", id);
                   });
}

ZOR_FUNCTION_DESC_HANDLE ZorGetCachedFunctionDesc(const KEL_UC* repositoryID, const KEL_UC* funcName,
                                                  ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(funcName, "Function name"),
                   [&](FrameTrace& trace) {
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetCachedFunctionDesc(%s) from repository %s", funcName,
                                         id.text);
                       const auto found = (*id).getFunctionDescFromCache(funcName);
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetCachedFunctionDesc(%s) from repository %s returned %p",
                                         funcName, id.text, static_cast<void*>(found.get()));
                       return requireFound(found, funcName);
                   });
}

ZOR_TYPE_DESC_HANDLE ZorGetCachedTypeDesc(const KEL_UC* repositoryID, const KEL_UC* typeName,
                                          ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(typeName, "Type name"),
                   [&] { return requireFound((*id).getStructureDescFromCache(typeName), typeName); });
}

ZOR_CLASS_DESC_HANDLE ZorGetCachedClassDesc(const KEL_UC* repositoryID, const KEL_UC* className,
                                            ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(className, "Class name"),
                   [&] { return requireFound((*id).getClassDescFromCache(className), className); });
}

ZOR_RC ZorRemoveFunctionDesc(const KEL_UC* repositoryID, const KEL_UC* functionName,
                             ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(functionName, "Function name"),
                   [&] { (*id).removeFunctionDescFromCache(functionName); });
}

ZOR_RC ZorRemoveTypeDesc(const KEL_UC* repositoryID, const KEL_UC* typeName, ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(typeName, "Type name"),
                   [&] { (*id).removeStructureDescFromCache(typeName); });
}

ZOR_RC ZorRemoveClassDesc(const KEL_UC* repositoryID, const KEL_UC* className, ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, nameChecks(className, "Class name"),
                   [&] { (*id).removeClassDescFromCache(className); });
}

ZOR_RC ZorClearRepository(const KEL_UC* repositoryID, ZOR_ERROR_INFO* errorInfo) {
    const RepositoryId id(repositoryID);
    return guarded(__func__, errorInfo, RepositoryLevel{id}, checks(), [&] { (*id).clearRepository(); });
}
