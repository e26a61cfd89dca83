// The side of a connection that is called: waiting for partners, and what it knows of them.

#include <cstdio>
#include <cstring>

#include "connection/zorconnection.h"
#include "connection/zorconnectionuse.h"

namespace {

/** Guarded by nothing: one pointer, replaced as a whole. */
std::atomic<ZOR_ON_AUTHORIZATION_CHECK> onAuthorizationCheck{nullptr};

}  // namespace

void ZorConnection::installAuthorizationChecker(ZOR_ON_AUTHORIZATION_CHECK handler) noexcept {
    onAuthorizationCheck.store(handler);
}

void ZorConnection::authorizationCheck(const KEL_string& functionName) {
    const ZorMethodTrace trace("ZorConnection::authorizationCheck", traceLevel);
    const ZOR_ON_AUTHORIZATION_CHECK handler = onAuthorizationCheck.load();
    if (handler == nullptr) return;
    KEL_string progName(control.progname.view());
    KEL_string ticket = logonData.sso2;
    KEL_string sysId(control.sysid.view()), client(control.mandt.view()), user(control.userid.view());
    KEL_string name = functionName;
    KEL_string vslName;  // conversations aren't secured in this build
    ZOR_SECURITY_ATTRIBUTES attributes = {name.data(),     sysId.data(),   client.data(), user.data(),
                                          progName.data(), vslName.data(), ticket.data()};
    ZOR_ERROR_INFO info = {};
    const ZOR_RC rc = runFunction([&] { return handler(handle(), &attributes, &info); });
    explicit_bzero(ticket.data(), ticket.size());
    checkStillOpen();
    if (rc == ZOR_OK) return;
    throw ZorUBIXBaseException(ZOR_AUTHORIZATION_FAILURE, EXTERNAL_AUTHORIZATION_FAILURE, zorTextOf(info.key),
                               zorTextOf(info.message), ZorUBIXMessageFields::of(info));
}

void ZorConnection::connectAsServer(ZorOptions& options, ZOR_PROTOCOL_TYPE type) {
    const CM_RETCODE rc =
        type == ZOR_STARTED_SERVER ? cpic_tcp->connectAsServer(options) : cpic_tcp->registerAsServer(options);
    if (rc != 0) raiseCollectedError();
    setConnOptions(options, type);
    control.unresp_call = 0;
    ownServer = ZorCallServer::make();
    server = ownServer.get();
    server->setupAccessControl(options);
}

ZOR_RC ZorConnection::listen(int timeout) {
    if (control.zor_role != 'S' || callbackCount != 0)
        throw ZorIllegalStateException("Illegal operation on the connection");
    const ZorConnectionUse use(*this);
    resetFailure();
    try {
        const CM_RETCODE rc = cpic_tcp->listen(timeout);
        if (rc == CM_KEL_TIMEOUT_RETRY || rc == CM_KEL_PING_RECEIVED) return ZOR_RETRY;
        if (rc != 0) throw ZorCommunicationException(cpic_tcp->getErrorMsg(), rc);
        return dispatch(nullptr);
    } catch (const ZorCommunicationException& failure) {
        closeFailed(failure);
        throw;
    }
}

void ZorConnection::getServerContext(ZOR_SERVER_CONTEXT& context) const {
    context = {};
    context.type = ZOR_SYNCHRONOUS;
    context.isStateful = control.reg_exclusiv ? 1 : 0;
    if (cpic_tcp->zorProgType != ZOR_TCP_SOCKET_SERVER) {
        const std::string_view id = control.convId.view();
        id.copy(context.sessionID, sizeof context.sessionID - 1);
        return;
    }
    for (size_t i = 0; i < uuid.size(); ++i)
        std::snprintf(context.sessionID + 2 * i, 3, "%02X", uuid[i]);
}

void ZorConnection::setStateful(bool stateful) {
    if (cpic_tcp->zorProgType == ZOR_TCP_SOCKET_SERVER) return;
    if (cpic_tcp->zorProgType != ZOR_MULTI_COUNT_REGISTERED_SERVER)
        throw ZorIllegalStateException("Stateful connections available only for automatic server");
    if (control.reg_exclusiv == stateful) return;
    control.reg_exclusiv = stateful;
    server->statefulChanged(*this, stateful);
}

bool ZorConnection::keepsSession() const noexcept {
    return control.reg_exclusiv || control.unresp_call != 0 || callbackCount > 1;
}

void ZorConnection::sessionEnded() noexcept {
    control.headerWritten = false;
    control.infoWritten = false;
    explicit_bzero(logonData.sso2.data(), logonData.sso2.size());
    logonData.sso2.clear();
}

void ZorConnection::forgetPartner() noexcept {
    const ZorControl fresh;
    control.systnr.clear();
    control.sysid.clear();
    control.userid.clear();
    control.mandt.clear();
    control.lang.clear();
    control.target.clear();
    control.progname.clear();
    control.partner_ip.clear();
    control.partner_rel.clear();
    control.partner_type = fresh.partner_type;
    control.kernel_rel = control.own_rel;
    control.charset = fresh.charset;
    control.system_cp = fresh.system_cp;
    control.convId.clear();
    control.reg_exclusiv = false;
    control.useClassException = false;
    sessionEnded();
}
