#include "driver/tcpconnection.h"

#include <algorithm>
#include <utility>

#include "base/dptrc/err.h"
#include "base/thr/deadline.h"
#include "config/zoroptions.h"
#include "trace/zortracefunctions.h"

namespace {

/** ms that each step of a connect, and the first answer of a partner, may take. */
constexpr KEL_INT CONNECT_TIMEOUT = 180000;
/** ms between looks at a cancel from another thread. */
constexpr KEL_INT CANCEL_ROUND = 1000;

/** The code's name and what the layer below has to say. */
KEL_string niText(KELRETURN rc) {
    return KEL_string(NiErrStr(rc)) + ": " + ErrPr();
}

/** Whether the partner has closed, and nothing else went wrong. */
bool orderlyEnd(KELRETURN rc) {
    return rc == NIECONN_BROKEN && *ErrGetFld(ERR_ERRNO) == '\0';
}

}  // namespace

TcpConnection::TcpConnection(ZorStreamOwner* owner) : ZorBufferedStream(owner) {
    zorProgType = ZOR_TCP_SOCKET_CLIENT;
}

TcpConnection::TcpConnection(NI_HDL handle, ZorStreamOwner* owner, std::shared_ptr<TcpServer> server,
                             unsigned level)
    : TcpConnection(owner) {
    zorProgType = ZOR_TCP_SOCKET_SERVER;
    traceLevel = level;
    this->server = std::move(server);
    niHandle = handle;
    connected = accepted = justAccepted = serverMode = true;
    deallocated = false;
}

TcpConnection::~TcpConnection() {
    TcpConnection::close();
}

CM_RETCODE TcpConnection::connectAsClient(ZorOptions& options) {
    KEL_string host = options.serverHost;
    if (!options.kelrouter.empty()) host = options.kelrouter + "/H/" + host;
    const KELRETURN rc = NiRawHandle(host.c_str(), options.serverPort.c_str(), CONNECT_TIMEOUT, &niHandle);
    if (rc != NI_OK) {
        niErrMessage = NiErrStr(rc);
        ZorLogWrite("TcpConnection::connectAsClient unable to connect: %s", niErrMessage.c_str());
        throw ZorCommunicationException(niErrMessage);
    }
    connected = true;
    deallocated = false;
    if (options.keepalive == 1 && NiSetSO_KeepAlive(niHandle, true) != NI_OK)
        ZorLogWrite("error during connection: SO_KEEPALIVE for NI handle %d could not be set", niHandle);
    return CM_OK;
}

CM_RETCODE TcpConnection::send() {
    stopIfCancelled();
    bufferPtr = streamBuffer.get();
    noteBlock(false);
    const Deadline logon(owner->isLoggedOn() || accepted ? -1 : CONNECT_TIMEOUT);
    while (bytesInBuffer != 0) {
        KEL_INT written = 0;
        const KELRETURN rc =
            NiRawWrite(niHandle, bufferPtr, static_cast<KEL_INT>(bytesInBuffer), CANCEL_ROUND, &written);
        bufferPtr += written;
        bytesInBuffer -= static_cast<unsigned>(written);
        if (rc != NI_OK && (rc != NIETIMEOUT || logon.left() == 0)) ended(rc, NiErrStr(rc));
        if (rc == NIETIMEOUT) stopIfCancelled();
    }
    resetBuffer();
    return CM_OK;
}

/** One read into the buffer. Without a limit of the caller's it goes in rounds, for the sake of a cancel. */
KELRETURN TcpConnection::readSome(KEL_INT timeout) {
    const Deadline deadline(timeout);
    const Deadline logon(owner->isLoggedOn() || accepted ? -1 : CONNECT_TIMEOUT);
    for (;;) {
        stopIfCancelled();
        KEL_INT round = deadline.left() < 0 ? CANCEL_ROUND : std::min(deadline.left(), CANCEL_ROUND);
        if (logon.left() > 0) round = std::min(round, logon.left());
        KEL_INT length = 0;
        const KELRETURN rc = NiRawRead(niHandle, streamBuffer.get(), BUFFER_SIZE, round, &length);
        bytesInBuffer = static_cast<unsigned>(length);
        if (rc != NIETIMEOUT || deadline.left() == 0 || logon.left() == 0) return rc;
    }
}

CM_RETCODE TcpConnection::receive(KEL_INT timeout) {
    niErrMessage.clear();
    resetBuffer();
    const KELRETURN rc = readSome(timeout);
    if (rc == NIETIMEOUT) return CM_KEL_TIMEOUT_RETRY;
    if (rc != NI_OK) ended(rc, orderlyEnd(rc) ? NiErrStr(rc) : niText(rc));
    bytesStillFree = 0;
    allReceived = bytesInBuffer < BUFFER_SIZE;
    noteBlock(true);
    takeTraceRequest();
    return CM_OK;
}

/** The connection is over. */
void TcpConnection::ended(KELRETURN rc, KEL_string text) {
    const bool orderly = orderlyEnd(rc);
    resetBuffer();
    deallocated = true;
    accepted = justAccepted = false;
    niErrMessage = std::move(text);
    throw ZorCommunicationException(niErrMessage,
                                    orderly ? static_cast<CM_RETCODE>(CM_DEALLOCATED_NORMAL) : 0);
}

CM_RETCODE TcpConnection::receiveFlush() {
    CM_RETCODE rc = CM_OK;
    while (!deallocated && !allReceived && rc == CM_OK) {
        const KELRETURN read = readSome(0);
        if (read == NIETIMEOUT) rc = CM_KEL_TIMEOUT_RETRY;
        if (read == NI_OK) allReceived = bytesInBuffer < BUFFER_SIZE;
        if (read == NI_OK || read == NIETIMEOUT) continue;
        deallocated = true;
        rc = CM_DEALLOCATED_NORMAL;
    }
    allReceived = true;
    resetBuffer();
    // Nothing more to drop is what was asked for.
    return rc == CM_KEL_TIMEOUT_RETRY ? static_cast<CM_RETCODE>(CM_OK) : rc;
}

void TcpConnection::stopIfCancelled() {
    if (cancelPending.load(std::memory_order_relaxed)) cancelNow();
}

void TcpConnection::cancelNow() {
    cancelPending = false;
    owner->leaveConnectionList();
    close();
    throw ZorSystemException(ZOR_CANCELED, COMMUNICATION_FAILURE, "ZOR_CANCELED", "Connection was canceled.");
}

CM_RETCODE TcpConnection::close() noexcept {
    if (niHandle != NI_INVALID_HDL) {
        // The listener lets go of the handle first, so that it never stands for another socket there.
        if (server) TcpListener::forget(niHandle);
        NiCloseHandle(niHandle);
    }
    niHandle = NI_INVALID_HDL;
    connected = accepted = false;
    deallocated = true;
    resetBuffer();
    return CM_OK;
}

CM_RETCODE TcpConnection::reListen(void*) {
    if (!server || deallocated) return CM_UNSUCCESSFUL;
    TcpListener::watch(niHandle, server);
    return CM_OK;
}

void TcpConnection::traceData(bool incoming) const {
    const KEL_UC* const action = incoming ? "Receiving" : "Sending";
    const KEL_string codepage = owner->traceCodepage();
    if (owner->isLoggedOn())
        ZorTraceHexDump(dumpOf(*owner, incoming).data(), bytesInBuffer,
                        "%s data for NI handle %d, codepage %s", action, niHandle, codepage.c_str());
    else  // the items of a logon carry secrets
        ZorTraceWrite("%s data for NI handle %d, codepage %s: %u bytes of the logon", action, niHandle,
                      codepage.c_str(), bytesInBuffer);
}
