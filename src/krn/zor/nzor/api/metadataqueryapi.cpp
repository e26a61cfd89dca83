// Exported functions of the family "Metadata queries".

#include <kelzor/query.h>

#include <algorithm>
#include <vector>

#include "api/connectionframe.h"
#include "api/foundhandle.h"
#include "repository/repositorylookupresult.h"
#include "repository/zorrepository.h"
#include "trace/zortracefunctions.h"

using namespace zorapi;

namespace {

/** A partner of a kind that has no dictionary: this library itself, or another registered program. */
bool isNoUbixServer(const ZorConnection& connection) noexcept {
    return connection.control.partner_type == 'R' || connection.control.partner_type == 'E';
}

constexpr const KEL_UC* noUbixServer = "Connection to non-UBIX server is not supported";

/** Check: a connection to a partner that can be asked. */
struct UbixServer {
    const ZorConnection* connection;
    Verdict operator()() const noexcept {
        if (!isNoUbixServer(*connection)) return {};
        return {ZOR_NOT_SUPPORTED, nullptr, EXTERNAL_RUNTIME_FAILURE, noUbixServer};
    }
};

auto queryChecks(const KEL_UC* name, const KEL_UC* label, const ZorConnection* connection) {
    return checks(Required{name, label}, NonEmpty{name, label}, Handle{connection}, UbixServer{connection});
}

/** All connections to one system share its repository. */
ZorRepository& repositoryOf(const ZorConnection& connection) {
    return ZorRepository::getRepository(connection.control.sysid.view());
}

/** Check: a connection for a query of many names. */
struct BatchConnection {
    const ZorConnection* connection;
    Verdict operator()() const noexcept {
        if (connection == nullptr)
            return {ZOR_INVALID_HANDLE, "conn handle equals NULL is not allowed",
                    EXTERNAL_APPLICATION_FAILURE, nullptr, "EXTERNAL_APPLICATION_FAILURE"};
        if (!isNoUbixServer(*connection)) return {};
        return {ZOR_NOT_SUPPORTED, nullptr, EXTERNAL_APPLICATION_FAILURE, noUbixServer,
                "EXTERNAL_APPLICATION_FAILURE"};
    }
};

/** Check: an array of names that are all there. */
struct NameArray {
    const KEL_UC** names;
    unsigned count;
    const KEL_UC* label;
    Verdict operator()() const noexcept {
        if (count != 0 && (names == nullptr || std::count(names, names + count, nullptr) != 0))
            return {ZOR_INVALID_PARAMETER, label};
        return {};
    }
    std::vector<KEL_string> get() const {
        return count != 0 ? std::vector<KEL_string>(names, names + count) : std::vector<KEL_string>();
    }
};

unsigned long long number(ZOR_CONNECTION_HANDLE handle) noexcept {
    return reinterpret_cast<uintptr_t>(handle);
}

}  // namespace

ZOR_FUNCTION_DESC_HANDLE ZorGetFunctionDesc(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* funcName,
                                            ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   queryChecks(funcName, "Function name", connection), [&](FrameTrace& trace) {
                       // The query may close a connection that breaks; its name outlives it.
                       ZorRepository& repository = repositoryOf(*connection);
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetFunctionDesc(%s) via handle %llu", funcName,
                                         number(zorHandle));
                       const auto found = repository.getFunctionDesc(zorHandle, funcName);
                       if (trace.isOpen())
                           ZorTraceWrite("ZorGetFunctionDesc(%s) via handle %llu (SID=%s) returned %p",
                                         funcName, number(zorHandle), repository.getName().c_str(),
                                         static_cast<void*>(found.get()));
                       return requireFound(found, funcName);
                   });
}

ZOR_TYPE_DESC_HANDLE ZorGetTypeDesc(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* typeName,
                                    ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   queryChecks(typeName, "Type name", connection), [&] {
                       ZorRepository& repository = repositoryOf(*connection);
                       return requireFound(repository.getStructureDesc(zorHandle, typeName), typeName);
                   });
}

ZOR_CLASS_DESC_HANDLE ZorGetClassDesc(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC* className,
                                      ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   queryChecks(className, "Class name", connection), [&] {
                       ZorRepository& repository = repositoryOf(*connection);
                       return requireFound(repository.getClassDesc(zorHandle, className), className);
                   });
}

ZOR_RC ZorMetadataBatchQuery(ZOR_CONNECTION_HANDLE zorHandle, const KEL_UC** functionNames,
                             unsigned functionCount, const KEL_UC** typeNames, unsigned typeCount,
                             const KEL_UC** classNames, unsigned classCount,
                             ZOR_METADATA_QUERY_RESULT_HANDLE handle, ZOR_ERROR_INFO* errorInfo) {
    ZorConnection* const connection = ZorConnection::getConnectionFromHandle(zorHandle);
    const NameArray functions{functionNames, functionCount, "functionNames"};
    const NameArray types{typeNames, typeCount, "typeNames"};
    const NameArray classes{classNames, classCount, "classNames"};
    return guarded(__func__, errorInfo, ConnectionLevel{connection},
                   checks(BatchConnection{connection}, functions, types, classes), [&] {
                       RepositoryLookupResult own;
                       RepositoryLookupResult& result =
                           handle != nullptr ? RepositoryLookupResult::fromHandle(handle) : own;
                       result.clear();
                       repositoryOf(*connection)
                           .lookupMetadataInBatch({functions.get(), types.get(), classes.get()}, *connection,
                                                  result);
                       if (result.hasFailures())
                           throw ZorBaseException(ZOR_UNKNOWN_ERROR, EXTERNAL_APPLICATION_FAILURE,
                                                  "EXTERNAL_APPLICATION_FAILURE",
                                                  "See ZOR_METADATA_SET_QUERY_RESULT_HANDLE for details");
                   });
}
