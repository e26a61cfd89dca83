// Exported functions of the family "Metadata queries".

#include <kelzor/query.h>

#include "api/connectionframe.h"
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

template <class T>
auto requireFound(const ZorMetaDataRef<T>& found, const KEL_UC* name) {
    if (!found)
        throw ZorBaseException(ZOR_NOT_FOUND, EXTERNAL_RUNTIME_FAILURE, zorRcName(ZOR_NOT_FOUND),
                               "Type " + KEL_string(name) + " not found");
    return ZorMetaDataStatics::toHandle(found.get());
}

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
