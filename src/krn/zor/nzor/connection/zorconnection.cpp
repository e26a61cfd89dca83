// The list of connections: opening, closing, cancelling.

#include "connection/zorconnection.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "config/buildinfo.h"
#include "config/zorconfig.h"
#include "connection/zorconnectionuse.h"
#include "driver/cpicconnection.h"
#include "driver/tcpconnection.h"
#include "trace/zortrace.h"
#include "trace/zortracefunctions.h"

namespace {

/** The process-wide list of valid handles. The lock guards it and `listed` of every connection. */
struct ConnectionList {
    ConnectionList() { connections.reserve(100); }

    /** The connection of a handle; NULL if none has it. The handle is only compared, never followed. */
    ZorConnection* find(ZOR_CONNECTION_HANDLE handle) const noexcept {
        const auto found = std::ranges::find_if(
            connections, [handle](ZorConnection* connection) { return connection->handle() == handle; });
        return found != connections.end() ? *found : nullptr;
    }

    std::mutex cs_zor_conn;
    std::vector<ZorConnection*> connections;
};

/** Never destroyed: a thread may still call when the process ends. */
ConnectionList& list() {
    static auto* const theList = new ConnectionList;
    return *theList;
}

[[noreturn]] void throwInvalidHandle(ZOR_CONNECTION_HANDLE handle) {
    throw ZorInvalidHandleException("Invalid ZOR connection handle: " +
                                    std::to_string(reinterpret_cast<uintptr_t>(handle)));
}

std::unique_ptr<ZorIOStream> makeDriver(ZOR_PROTOCOL_TYPE type, ZorStreamOwner* owner) {
    if (type == ZOR_TCP_SOCKET_CLIENT) return std::make_unique<TcpConnection>(owner);
    return std::make_unique<CpicConnection>(owner);
}

}  // namespace

ZorConnection::ZorConnection(ZOR_PROTOCOL_TYPE type, unsigned traceLevel)
    : ZorItemStream(makeDriver(type, this)), traceLevel(traceLevel) {
    cpic_tcp->zorProgType = type;
    cpic_tcp->traceLevel = traceLevel;
    control.own_rel.assign(kelzorRelease);
    control.kernel_rel.assign(kelzorRelease);
}

ZorConnection::~ZorConnection() {
    cpic_tcp->close();
}

ZOR_CONNECTION_HANDLE ZorConnection::handle() noexcept {
    return reinterpret_cast<ZOR_CONNECTION_HANDLE>(static_cast<ZorConnectionBase*>(this));
}

ZorConnection* ZorConnection::getConnectionFromHandle(ZOR_CONNECTION_HANDLE handle) noexcept {
    if (handle == nullptr) return nullptr;
    const std::lock_guard lock(list().cs_zor_conn);
    return list().find(handle);
}

bool ZorConnection::isHandleValid(ZOR_CONNECTION_HANDLE handle) noexcept {
    return getConnectionFromHandle(handle) != nullptr;
}

ZorConnection* ZorConnection::getServerConnectionFromHandle(ZOR_CONNECTION_HANDLE handle) noexcept {
    ZorConnection* const connection = getConnectionFromHandle(handle);
    return connection != nullptr && connection->server != nullptr ? connection : nullptr;
}

unsigned ZorConnection::traceLevelOf(ZOR_CONNECTION_HANDLE handle) noexcept {
    if (handle != nullptr) {
        const std::lock_guard lock(list().cs_zor_conn);
        if (const ZorConnection* const found = list().find(handle)) return found->traceLevel;
    }
    return ZorConfig::getGlobalTraceLevel();
}

ZorConnection* ZorConnection::addConnection(std::unique_ptr<ZorConnection> connection) {
    connection->enlist();
    return connection.release();
}

void ZorConnection::enlist() {
    const std::lock_guard lock(list().cs_zor_conn);
    list().connections.push_back(this);
    listed = true;
}

void ZorConnection::delist() noexcept {
    const std::lock_guard lock(list().cs_zor_conn);
    std::erase(list().connections, this);
    listed = false;
}

void ZorConnection::unlist() noexcept {
    delist();
    ended = true;
}

void ZorConnection::leaveConnectionList() noexcept {
    cancelled = true;
    unlist();
}

void ZorConnection::closeBroken() noexcept {
    unlist();
    cpic_tcp->close();
}

void ZorConnection::checkStillOpen() const {
    if (cancelled)
        throw ZorSystemException(ZOR_CANCELED, COMMUNICATION_FAILURE, zorRcName(ZOR_CANCELED),
                                 "Connection was canceled.");
    if (ended)
        throw ZorCommunicationException("The connection was closed by a function that ran during the call");
}

void ZorConnection::closeHandle(ZOR_CONNECTION_HANDLE handle) {
    ZorConnection* closing = nullptr;
    {
        const std::lock_guard lock(list().cs_zor_conn);
        closing = list().find(handle);
        if (closing == nullptr) throwInvalidHandle(handle);
        std::erase(list().connections, closing);
        closing->listed = false;
        closing->ended = true;
    }
    // The outermost use frees it: this one, or a call of this thread that has called back.
    const ZorConnectionUse use(*closing);
    if (closing->traceLevel > 0) ZorTraceObject(*closing);
    closing->cpic_tcp->close();
}

void ZorConnection::cancelHandle(ZOR_CONNECTION_HANDLE handle) {
    // The lock keeps the connection alive for this moment; the driver only takes a note.
    const std::lock_guard lock(list().cs_zor_conn);
    ZorConnection* const connection = list().find(handle);
    if (connection == nullptr || connection->control.zor_role != 'C') throwInvalidHandle(handle);
    if (!connection->inCall.cancel())
        throw ZorIllegalStateException("ZOR connection is currently not in call.");
    connection->cpic_tcp->cancel();
}

ZOR_CONNECTION_HANDLE ZorConnection::openClient(ZorOptions& options) {
    if (options.serverPort.empty()) return openNew(options, ZOR_CLIENT);
    options.lcheck = 0;  // there is no logon that a socket partner could check in full
    return openNew(options, ZOR_TCP_SOCKET_CLIENT);
}

ZOR_CONNECTION_HANDLE ZorConnection::openNew(ZorOptions& options, ZOR_PROTOCOL_TYPE type) {
    const unsigned level =
        options.trace == ZorOptions::traceNotSet ? ZorConfig::getGlobalTraceLevel() : options.trace;
    if (level > 0) ZorTraceObject(options);
    const ZorMethodTrace trace("ZorConnection::openNew", level);
    std::unique_ptr<ZorConnection> connection(new ZorConnection(type, level));
    try {
        connection->connect(options, type);
    } catch (const ZorUBIXMessageException& exception) {
        ZorLogWrite("UBIX Message during connect: %s\n", exception.getMessage().c_str());
        throw ZorLogonException(exception.getMessage());
    } catch (const ZorSystemException& exception) {
        ZorLogWrite("SYSTEM_FAILURE during connect: %s\n", exception.getMessage().c_str());
        if (exception.getKey() == "CALL_FUNCTION_SIGNON_REJECTED")
            throw ZorLogonException(exception.getKey(), exception.getMessage());
        throw;
    } catch (const ZorBaseException& exception) {
        ZorLogWrite("Error during connect: %s\n", exception.getMessage().c_str());
        throw;
    } catch (...) {
        ZorLogWrite("Unknown error during connect\n");
        throw;
    }
    if (level > 0) ZorTraceObject(*connection);
    return addConnection(std::move(connection))->handle();
}

ZorConnectionTurn::ZorConnectionTurn(ZorConnection& connection)
    : connection(connection), parked(connection.turn.isParked()) {
    if (parked && !connection.turn.resume()) throwInvalidHandle(connection.handle());
}

ZorConnectionTurn::~ZorConnectionTurn() {
    if (parked) connection.turn.park();
}

ZorConnectionUse::ZorConnectionUse(ZorConnection& connection) : connection(connection), turn(connection) {
    ++connection.users;
}

ZorConnectionUse::~ZorConnectionUse() {
    // Users are calls on one thread, one inside the other; the outermost frees what has broken.
    const bool last = --connection.users == 0;
    if (last && !connection.listed && !connection.pooled) delete &connection;
}
