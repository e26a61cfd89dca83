#include "server/zorserver.h"

#include "data/zorfunction.h"
#include "trace/zortrace.h"
#include "trace/zortracefunctions.h"

void ZorServer::init() {
    (void)ZorServerFunctions::get();
    setMaker([]() -> std::unique_ptr<ZorCallServer> { return std::make_unique<ZorServer>(); });
}

ZOR_RC ZorServer::dispatch(ZorConnection& conn, const std::string& funcName, ZOR_ERROR_INFO* errorInfo) {
    ZOR_ERROR_INFO local;
    ZOR_ERROR_INFO& info = errorInfo != nullptr ? *errorInfo : local;
    const ZorFunctionStub stub = stubFor(conn, funcName);
    info = {};
    raise(invokeServerImp(stub, conn, info), info);
    return ZOR_OK;
}

ZorFunctionStub ZorServer::stubFor(ZorConnection& conn, std::string_view funcName) {
    const auto lookUp = [&] {
        return ZorServerFunctions::get().getFunctionStub(conn.control.sysid.view(), funcName,
                                                         conn.getTraceLevel());
    };
    auto stub = lookUp();
    if (!stub) {
        askProvider(conn, funcName);
        stub = lookUp();
    }
    if (!stub) throw ZorServerNotFoundException(funcName);
    return *std::move(stub);
}

void ZorServer::askProvider(ZorConnection& conn, std::string_view funcName) {
    const ZorGenericFunction generic = ZorServerFunctions::get().getGenericFunctionStub();
    if (generic.imp == nullptr || generic.provider == nullptr) return;
    ZOR_ATTRIBUTES attributes;
    conn.getZorAttributes(attributes);
    const KEL_string name(funcName);
    const KEL_string sysId(conn.control.sysid.view());
    ZOR_FUNCTION_DESC_HANDLE description = nullptr;
    const ZOR_RC rc =
        conn.runFunction([&] { return generic.provider(name.c_str(), attributes, &description); });
    conn.checkStillOpen();
    if (rc != ZOR_OK || description == nullptr) return;
    ZorServerFunctions::get().setFunctionStub(
        sysId, ZorMetaDataStatics::functionMetaDataFromHandle(description), generic.imp);
}

ZOR_RC ZorServer::invokeServerImp(const ZorFunctionStub& stub, ZorConnection& conn,
                                  ZOR_ERROR_INFO& errorInfo) {
    ZorFunction call(*stub.meta);
    call.setTraceLevel(conn.getTraceLevel());
    if (conn.control.useClassException) {
        call.enableClassException(conn.handle());
        conn.control.useClassException = false;
    }
    call.zorDeserialize(conn);
    call.deactivateUnrequestedParameters(conn.control.kernel_rel.view());
    const ZOR_RC rc = run(stub, conn, call, errorInfo);
    conn.checkStillOpen();
    if (rc == ZOR_UBIX_CLASS_EXCEPTION) {
        if (call.getClassException() == nullptr) return ZOR_UBIX_EXCEPTION;
        throw ZorSerializationException("Function " + call.getName() +
                                        " raised a class exception, which this library can't send");
    }
    if (rc != ZOR_OK) return rc;
    conn.answer(call);
    if (conn.getTraceLevel() > 0) ZorTraceObject(call);
    return ZOR_OK;
}

ZOR_RC ZorServer::run(const ZorFunctionStub& stub, ZorConnection& conn, ZorFunction& call,
                      ZOR_ERROR_INFO& errorInfo) {
    if (stub.system != nullptr) return stub.system(conn, call);
    const bool traced = conn.getTraceLevel() > 0;
    if (traced) {
        ZorTraceObject(call);
        ZorTraceWrite("Invoking server function implementation (user function)");
    }
    const auto container = reinterpret_cast<ZOR_FUNCTION_HANDLE>(call.toHandle());
    const ZOR_RC rc = conn.runFunction([&] { return stub.imp(conn.handle(), container, &errorInfo); });
    if (traced) ZorTraceWrite("Server function implementation returned %d", rc);
    return rc;
}

void ZorServer::raise(ZOR_RC rc, const ZOR_ERROR_INFO& errorInfo) {
    const KEL_string key = zorTextOf(errorInfo.key);
    const KEL_string message = zorTextOf(errorInfo.message);
    switch (rc) {
        case ZOR_OK:
            return;
        case ZOR_UBIX_RUNTIME_FAILURE:
        case ZOR_EXTERNAL_FAILURE:
            throw ZorUBIXBaseException(rc, EXTERNAL_APPLICATION_FAILURE, key, message,
                                       ZorUBIXMessageFields::of(errorInfo));
        case ZOR_UBIX_MESSAGE:
            throw ZorUBIXMessageException(EXTERNAL_APPLICATION_FAILURE, key, message,
                                          ZorUBIXMessageFields::of(errorInfo));
        case ZOR_UBIX_EXCEPTION:
            throw ZorUBIXException(EXTERNAL_APPLICATION_FAILURE, key, message,
                                   ZorUBIXMessageFields::of(errorInfo));
        case ZOR_UBIX_CLASS_EXCEPTION:
            throw ZorUBIXClassException(key, message);
        default:
            throw ZorBaseException(rc, errorInfo.group, key, message);
    }
}
