// Calls of the partner on this connection, and the failures that they are answered with.

#include "connection/zorconnection.h"
#include "trace/zortracefunctions.h"

namespace {

std::atomic<ZorCallServer::Maker> callServerMaker{nullptr};

/** A call of the partner is being served: the count is odd, so that writers answer. */
class ServeScope {
  public:
    explicit ServeScope(unsigned short& count) noexcept : count(count) { ++count; }
    ServeScope(const ServeScope&) = delete;
    ~ServeScope() { --count; }

  private:
    unsigned short& count;
};

}  // namespace

void ZorCallServer::setMaker(Maker maker) noexcept {
    callServerMaker.store(maker);
}

std::unique_ptr<ZorCallServer> ZorCallServer::make() {
    return callServerMaker.load()();
}

void ZorConnection::serveCallback() {
    ZOR_RC rc = ZOR_OK;
    try {
        rc = dispatch(nullptr);
    } catch (const ZorUBIXException&) {
        // The partner knows; its answer to the call of this side is still to come.
    } catch (const ZorUBIXClassException&) {
        // The same.
    } catch (...) {
        if (!ended) dropOuterAnswer();
        throw;
    }
    checkStillOpen();
    if (rc != ZOR_OK) raiseCollectedError();
    // What a call within the served function failed with is no longer of interest.
    resetFailure();
}

ZOR_RC ZorConnection::dispatch(ZOR_ERROR_INFO* errorInfo) {
    control.serverFunctionName.clear();
    try {
        readUpTo(ZORGET_FUNCTIONNAME, nullptr, ZORID_FunctionName);
    } catch (...) {
        closeBroken();  // the partner would wait for the answer to a call that nobody knows
        throw;
    }
    if (zor_rc != ZOR_OK) return zor_rc;
    if (control.serverFunctionName.empty()) return ZOR_OK;
    if (traceLevel > 0)
        ZorTraceWrite("Dispatching function %s on handle %llu", control.serverFunctionName.c_str(),
                      static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(handle())));
    const ServeScope serving(callbackCount);
    return serve(errorInfo);
}

ZOR_RC ZorConnection::serve(ZOR_ERROR_INFO* errorInfo) {
    // Calls within the served function may bring further names.
    const KEL_string functionName(control.serverFunctionName.view());
    control.serverFunctionName.clear();
    try {
        if (server == nullptr) {
            ownServer = ZorCallServer::make();
            server = ownServer.get();
        }
        server->checkAccessControl(control.sysid.view());
        authorizationCheck(functionName);
        return server->dispatch(*this, functionName, errorInfo);
    } catch (const ZorUBIXClassException&) {
        throw;  // answered already
    } catch (const ZorBaseException& failure) {
        sendZorError(failure);
        throw;
    } catch (const std::bad_alloc&) {
        const ZorSystemException failure(ZOR_MEMORY_INSUFFICIENT, EXTERNAL_APPLICATION_FAILURE, {},
                                         "out of memory");
        sendZorError(failure);
        throw failure;
    }
}

void ZorConnection::sendZorError(const ZorBaseException& failure) {
    if (!isInCallbackMode() || ended) return;
    readFlush();
    writeZorCallBegin({}, ZORID_NotUsed, false);
    const ZOR_RC code = failure.getCode();
    if (code == ZOR_UBIX_MESSAGE || code == ZOR_EXTERNAL_FAILURE || code == ZOR_UBIX_EXCEPTION) {
        if (const auto* const withMessage = dynamic_cast<const ZorUBIXBaseException*>(&failure))
            writeUbixMsg(withMessage->getFields());
    }
    if (code == ZOR_UBIX_EXCEPTION) writeZorChars(ZORID_Exception, failure.getKey());
    if (code == ZOR_NOT_FOUND) writeZorChars(ZORID_SnapDump, failure.getKey());
    if (code != ZOR_UBIX_EXCEPTION) writeZorChars(ZORID_ErrorMessage, failure.getMessage());
    writeZorCallEnd();
}

void ZorConnection::writeUbixMsg(const ZorUBIXMessageFields& fields) {
    const struct {
        ZORID id;
        const KEL_string& text;
    } items[] = {
        {ZORID_SystMsgid, fields.msgId}, {ZORID_SystMsgty, fields.msgTy}, {ZORID_SystMsgno, fields.msgNo},
        {ZORID_SystMsgv1, fields.msgV1}, {ZORID_SystMsgv2, fields.msgV2}, {ZORID_SystMsgv3, fields.msgV3},
        {ZORID_SystMsgv4, fields.msgV4},
    };
    for (const auto& item : items)
        if (!item.text.empty()) writeZorChars(item.id, item.text);
}

/**
 * The failure of a callback ends the outer call, which the partner answers all the same. That answer is
 * read off, so that the connection is ready for the next call; how it turned out no longer matters.
 */
void ZorConnection::dropOuterAnswer() {
    try {
        if (readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed) == ZORID_CallBack) closeBroken();
        readFlush();
    } catch (const ZorUBIXBaseException& exception) {
        if (exception.getCode() == ZOR_CANCELED) throw;
        // Otherwise the partner ended its program over the failure.
    } catch (const ZorBaseException&) {
        closeBroken();
    }
    resetFailure();
}
