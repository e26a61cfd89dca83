// Connections of automated servers: how they come by their calls, and their end.

#include <sys/random.h>

#include <cstring>

#include "config/zorconfig.h"
#include "connection/zorconnection.h"
#include "driver/cpicconnection.h"
#include "driver/tcpconnection.h"

namespace {

/** Seconds that a partner may leave between its coming and its call; then the listener waits for it. */
constexpr CPIC_INT callLimit = 30;

unsigned levelOf(const ZorOptions& options) {
    return options.trace == ZorOptions::traceNotSet ? ZorConfig::getGlobalTraceLevel() : options.trace;
}

CpicConnection& registration(ZorIOStream& driver) noexcept {
    return static_cast<CpicConnection&>(driver);
}

bool isSocket(const ZorIOStream& driver) noexcept {
    return driver.zorProgType == ZOR_TCP_SOCKET_SERVER;
}

}  // namespace

std::unique_ptr<ZorConnection> ZorConnection::makePooled(ZorCallServer& server, const ZorOptions& options) {
    std::unique_ptr<ZorConnection> made(
        new ZorConnection(ZOR_MULTI_COUNT_REGISTERED_SERVER, levelOf(options)));
    made->server = &server;
    made->pooled = true;
    return made;
}

std::unique_ptr<ZorConnection> ZorConnection::makeAccepted(ZorCallServer& server, const ZorOptions& options,
                                                           NI_HDL socket,
                                                           std::shared_ptr<TcpServer> listener) try {
    ZorOptions own = options;
    std::unique_ptr<ZorConnection> made = makePooled(server, options);
    made->setConnOptions(own, ZOR_TCP_SOCKET_SERVER);
    // Without random bytes the name is the connection's address, which no living one shares.
    if (getrandom(made->uuid.data(), made->uuid.size(), 0) != static_cast<ssize_t>(made->uuid.size())) {
        const auto address = reinterpret_cast<std::uintptr_t>(made.get());
        std::memcpy(made->uuid.data(), &address, sizeof address);
    }
    ZorStreamOwner* const owner = made.get();
    made->cpic_tcp = std::make_unique<TcpConnection>(socket, owner, std::move(listener), levelOf(options));
    return made;
} catch (...) {
    NiCloseHandle(socket);
    throw;
}

void ZorConnection::registerAtGateway(const ZorOptions& options) {
    refuseUnavailable(options);
    ZorOptions own = options;
    setConnOptions(own, ZOR_MULTI_COUNT_REGISTERED_SERVER);
    control.unresp_call = 0;
    registration(*cpic_tcp).registerAsServer_SM(own);
}

ZorConnection* ZorConnection::awaitAny(int timeout) {
    CPIC_INT received = 0;
    ZorStreamOwner* owner = nullptr;
    CpicConnection::listen_SM(&received, &owner, timeout);
    return received > 0 ? static_cast<ZorConnection*>(owner) : nullptr;
}

bool ZorConnection::acceptPartner() {
    if (isSocket(*cpic_tcp) || !registration(*cpic_tcp).isConvIdInitial()) return true;
    forgetPartner();
    // What has come is there at once; a part of it isn't waited for.
    return registration(*cpic_tcp).accept_SM(0) == CM_OK;
}

bool ZorConnection::receiveNextCall(int timeout) {
    return isSocket(*cpic_tcp) && static_cast<TcpConnection&>(*cpic_tcp).receive(timeout) == CM_OK;
}

bool ZorConnection::receiveCall() {
    if (isSocket(*cpic_tcp)) {
        if (receiveNextCall(0)) return true;
        listenAgain();
        return false;
    }
    CpicConnection& driver = registration(*cpic_tcp);
    const CM_RETCODE rc = driver.receive(callLimit);
    if (rc == CM_OK) return true;
    if (rc == CM_KEL_PING_RECEIVED) return false;  // the layers below wait on
    if (rc != CM_KEL_TIMEOUT_RETRY) throw ZorCommunicationException(driver.getErrorMsg(), rc);
    driver.reListen_SM();
    return false;
}

ZOR_RC ZorConnection::serveCall() {
    resetFailure();
    return dispatch(nullptr);
}

void ZorConnection::listenAgain() {
    if (isSocket(*cpic_tcp)) {
        cpic_tcp->reListen(nullptr);
        return;
    }
    CpicConnection& driver = registration(*cpic_tcp);
    if (control.reg_exclusiv && !driver.isConvIdInitial()) {
        driver.reListen_SM();
        return;
    }
    control.headerWritten = false;
    control.infoWritten = false;
    driver.reAccept_SM();
}

void ZorConnection::abandon(const ZorBaseException& reason) noexcept {
    if (!turn.take()) return cpic_tcp->cancel();
    try {
        if (cpic_tcp->hasTurn()) sendZorError(reason);
    } catch (...) {
        // The partner hears of the end by the closing then.
    }
    closeBroken();
    turn.finish();
}

NI_HDL ZorConnection::socket() const noexcept {
    return isSocket(*cpic_tcp) ? static_cast<const TcpConnection&>(*cpic_tcp).handle() : NI_INVALID_HDL;
}

ZorConnection::FunctionScope::FunctionScope(ZorConnection& connection)
    : connection(connection), outermost(!connection.listed) {
    if (outermost) connection.enlist();
    connection.turn.park();
}

ZorConnection::FunctionScope::~FunctionScope() {
    connection.turn.resume();
    if (outermost) connection.delist();
}
