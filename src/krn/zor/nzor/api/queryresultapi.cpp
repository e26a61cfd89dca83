// Exported functions of the family "Metadata query results".

#include <kelzor/repository.h>

#include <new>

#include "api/boundedtext.h"
#include "api/frame.h"
#include "repository/repositorylookupresult.h"

using namespace zorapi;

namespace {

/** Check: something that was made before; NULL means that memory ran out. */
struct Made {
    const void* result;
    Verdict operator()() const noexcept {
        if (result != nullptr) return {};
        return {ZOR_MEMORY_INSUFFICIENT, nullptr, EXTERNAL_RUNTIME_FAILURE,
                "Not enough memory to allocate a query reqult instance.", "EXTERNAL_RUNTIME_FAILURE"};
    }
};

/** Check: the handle of a result that is to be destroyed. */
struct Destroyable {
    const void* handle;
    Verdict operator()() const noexcept {
        if (handle != nullptr) return {};
        return {ZOR_INVALID_HANDLE, nullptr, EXTERNAL_APPLICATION_FAILURE, "Query result handle is NULL",
                "EXTERNAL_APPLICATION_FAILURE"};
    }
};

RepositoryLookupResult& result(ZOR_METADATA_QUERY_RESULT_HANDLE handle) noexcept {
    return RepositoryLookupResult::fromHandle(handle);
}

RepositoryLookupResult::ElementType element(ZOR_METADATA_OBJ_TYPE type) noexcept {
    return static_cast<RepositoryLookupResult::ElementType>(type);
}

}  // namespace

ZOR_METADATA_QUERY_RESULT_HANDLE ZorCreateMetadataQueryResult(ZOR_ERROR_INFO* errorInfo) {
    auto* const made = new (std::nothrow) RepositoryLookupResult;
    return light(__func__, errorInfo, GlobalLevel{}, checks(Made{made}), [&] { return made->toHandle(); });
}

ZOR_RC ZorDestroyMetadataQueryResult(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                     ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(Destroyable{queryResultHandle}),
                 [&] { delete &result(queryResultHandle); });
}

ZOR_RC ZorDescribeMetadataQueryResult(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                      ZOR_METADATA_OBJ_TYPE type, unsigned* successful, unsigned* failed,
                                      ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{}, checks(Handle{queryResultHandle}), [&] {
        if (!RepositoryLookupResult::isKnown(element(type))) return;
        const RepositoryLookupResult& found = result(queryResultHandle);
        if (successful != nullptr) *successful = found.getSucceededCount(element(type));
        if (failed != nullptr) *failed = found.getFailedCount(element(type));
    });
}

ZOR_RC ZorGetMetadataQueryFailedEntry(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                      ZOR_METADATA_OBJ_TYPE type, unsigned index,
                                      ZOR_METADATA_QUERY_RESULT_ENTRY* entry, ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{},
                 checks(Handle{queryResultHandle}, Required{entry, "ZOR_METADATA_QUERY_RESULT_ENTRY"}), [&] {
                     const auto* const failure = result(queryResultHandle).getFailed(element(type), index);
                     if (failure == nullptr) return;
                     copyCut(entry->name, sizeof entry->name, failure->name);
                     copyCut(entry->errorMessage, sizeof entry->errorMessage, failure->errorText);
                 });
}

ZOR_RC ZorGetMetadataQuerySucceededEntry(ZOR_METADATA_QUERY_RESULT_HANDLE queryResultHandle,
                                         ZOR_METADATA_OBJ_TYPE type, unsigned index, ZOR_CHAR* succeedObj,
                                         ZOR_ERROR_INFO* errorInfo) {
    return light(__func__, errorInfo, GlobalLevel{},
                 checks(Handle{queryResultHandle}, Required{succeedObj, "ZOR_CHAR*"}), [&] {
                     const auto* const name = result(queryResultHandle).getSucceeded(element(type), index);
                     if (name != nullptr) copyCut(succeedObj, sizeof(ZOR_UBIX_NAME), *name);
                 });
}
