#include "driver/cpicconnection.h"

#include <algorithm>

#include "config/zoroptions.h"
#include "trace/zortracefunctions.h"

namespace {

/** ms that the first answer of a partner may take. */
constexpr CPIC_INT CPIC_TIMEOUT = 180000;
/** ms between looks at a cancel from another thread. */
constexpr CPIC_INT CANCEL_ROUND = 1000;
/** So many messages without data in a row end a conversation. */
constexpr unsigned MOST_EMPTY_MESSAGES = 3;
constexpr CPIC_INT NO_TIMEOUT = -1;
constexpr CPIC_INT MS = 1000;
constexpr CPIC_INT LONGEST_WAIT = 2000000;  // s; in ms still a number of 32 bits

/** The core's entry in side information files. */
constexpr const KEL_CHAR* SYM_DEST = "TSLZOR";

}  // namespace

CpicConnection::CpicConnection(ZorStreamOwner* owner) : ZorBufferedStream(owner) {}

CpicConnection::~CpicConnection() {
    CpicConnection::close();
}

CM_RETCODE CpicConnection::connectAsClient(ZorOptions& options) {
    protocol = 'I';
    zorProgType = ZOR_CLIENT;
    parseConnParameters(options);
    noteTarget(options);
    CPIC_INIT_OPT opts;
    KEL_INIT_OPTIONS(&opts);
    opts.streaming = CPIC_INIT_USE_STREAMING;
    CM_RETCODE rc = KEL_STINIT4(convId.data(), SYM_DEST, options.ashost.c_str(), options.asserv.c_str(),
                                options.gwhost.c_str(), options.gwserv.c_str(), protocol, -1, vslData.get(),
                                &opts, nullptr);
    if (rc != CM_OK) throwCpicError(rc);
    deallocated = false;  // from here on a failure leaves a conversation to be closed
    const auto length = static_cast<CPIC_INT>(options.ashost.size());
    rc = STSPLN(convId.data(), options.ashost.c_str(), &length, nullptr);
    if (rc == CM_OK) rc = STALLC(convId.data(), nullptr);
    if (rc != CM_OK) throwCpicError(rc);
    owner->setConvId(convId.data());
    connected = true;
    if (options.keepalive == 1) setSoKeepaliveOption(0);
    return CM_OK;
}

/** Hands the buffer to the conversation; a client looks for a cancel while the gateway doesn't take it. */
CM_RETCODE CpicConnection::sendBlock() {
    const auto length = static_cast<CPIC_INT>(bytesInBuffer);
    const bool cancellable = zorProgType == ZOR_CLIENT && owner->isLoggedOn();
    if (zorProgType == ZOR_CLIENT)
        KEL_CMTIMEOUT2(convId.data(), cancellable ? CANCEL_ROUND : CPIC_TIMEOUT, nullptr);
    for (;;) {
        const CM_RETCODE rc = STSEND(convId.data(), streamBuffer.get(), &length, nullptr, nullptr);
        if (rc != CM_KEL_TIMEOUT_RETRY || !cancellable) return rc;
        cpicCancelIfPending();
    }
}

CM_RETCODE CpicConnection::send() {
    cpicError.clear();
    cpicCancelIfPending();
    if (bytesInBuffer != 0) {
        openDataToTrace();
        if (const CM_RETCODE rc = sendBlock(); rc != CM_OK) throwCpicError(rc);
        lastIoTime = std::time(nullptr);
        bufferPtr = streamBuffer.get();
        noteBlock(false);
    }
    resetBuffer();
    return CM_OK;
}

CM_RETCODE CpicConnection::receiveBlock() {
    constexpr CPIC_INT size = BUFFER_SIZE;
    CPIC_INT received = 0;
    const CM_RETCODE rc = STRCV(convId.data(), streamBuffer.get(), &size, &dataReceived, &received,
                                &statusReceived, nullptr, nullptr);
    allReceived = statusReceived == CM_SEND_RECEIVED;
    bytesInBuffer = static_cast<unsigned>(received);
    bytesStillFree = 0;
    bufferPtr = streamBuffer.get();
    return rc;
}

/** One wait with a limit in ms, which doesn't stay if the conversation goes on. */
CM_RETCODE CpicConnection::receiveWithin(CPIC_INT limit) {
    KEL_CMTIMEOUT2(convId.data(), limit, nullptr);
    const CM_RETCODE rc = receiveBlock();
    if (rc == CM_OK || rc == CM_KEL_TIMEOUT_RETRY || rc == CM_KEL_PING_RECEIVED)
        KEL_CMTIMEOUT2(convId.data(), NO_TIMEOUT, nullptr);
    return rc;
}

CM_RETCODE CpicConnection::awaitAsClient() {
    cpicCancelIfPending();
    if (!owner->isLoggedOn()) return receiveWithin(CPIC_TIMEOUT);
    KEL_CMTIMEOUT2(convId.data(), CANCEL_ROUND, nullptr);
    CM_RETCODE rc;
    while ((rc = receiveBlock()) == CM_KEL_TIMEOUT_RETRY)
        cpicCancelIfPending();
    return rc;
}

/** One of many registrations: its server may give it up at any time. `timeout` in seconds if it is positive.
 */
CM_RETCODE CpicConnection::awaitAsPooled(CPIC_INT timeout) {
    for (CPIC_INT round = 0;;) {
        cpicCancelIfPending();
        const CM_RETCODE rc = receiveWithin(CANCEL_ROUND);
        if (rc != CM_KEL_TIMEOUT_RETRY || (timeout > 0 && ++round >= timeout)) return rc;
    }
}

/** Waits for a block as long as the role allows. */
CM_RETCODE CpicConnection::awaitBlock(CPIC_INT timeout) {
    openDataToTrace();
    if (zorProgType == ZOR_CLIENT) return awaitAsClient();
    if (zorProgType == ZOR_MULTI_COUNT_REGISTERED_SERVER) return awaitAsPooled(timeout);
    if (timeout <= 0) return receiveBlock();
    return receiveWithin(std::min(timeout, LONGEST_WAIT) * MS);
}

CM_RETCODE CpicConnection::receive(CPIC_INT timeout) {
    cpicError.clear();
    resetBuffer();
    const CM_RETCODE rc = awaitBlock(timeout);
    noteBlock(true);
    if (rc == CM_KEL_TIMEOUT_RETRY || rc == CM_KEL_PING_RECEIVED) {
        resetBuffer();
        return rc;
    }
    if (rc != CM_OK) return conversationEnded(rc);
    noteProgress();
    takeTraceRequest();
    lastIoTime = std::time(nullptr);
    return CM_OK;
}

/** Each receive without data gives the turn back to the partner, so this could go on for ever. */
void CpicConnection::noteProgress() {
    emptyMessages = allReceived && bytesInBuffer == 0 ? emptyMessages + 1 : 0;
    if (emptyMessages < MOST_EMPTY_MESSAGES) return;
    emptyMessages = 0;
    drop(CM_OK);
    cpicError = "The partner sends messages without data";
    throw ZorCommunicationException(cpicError);
}

/** A receive failed, or brought the end: then what came with it, if anything, is the partner's error. */
CM_RETCODE CpicConnection::conversationEnded(CM_RETCODE rc) {
    cpicError = KEL_CMPERR();
    drop(rc);
    if (bytesInBuffer != 0) owner->setHasErrorMsg();
    if (rc == CM_DEALLOCATED_NORMAL) {
        // The owner may read the bytes back through this stream, which is set for that.
        owner->parseErrorMsg(streamBuffer.get(), bytesInBuffer, dataReceived);
        owner->throwZorErrorMsg();
    }
    return rc;
}

CM_RETCODE CpicConnection::receiveFlush() {
    cpicError.clear();
    CM_RETCODE rc = CM_OK;
    while (!deallocated && !allReceived && rc == CM_OK) {
        rc = awaitBlock(-1);
        noteBlock(true);
        if (rc == CM_OK) continue;
        cpicError = KEL_CMPERR();
        drop(rc);
    }
    allReceived = true;
    resetBuffer();
    return rc;
}

void CpicConnection::cancel() noexcept {
    cancelState = CANCEL_PENDING;
}

void CpicConnection::cpicCancelIfPending() {
    if (cancelState.load(std::memory_order_relaxed) == CANCEL_PENDING) cpicCancel();
}

void CpicConnection::cpicCancel() {
    constexpr CPIC_INT softCancel = 1;
    // A partner of this side isn't told: its conversation ends with the registration, which follows.
    const CM_RETCODE rc = deallocated || serverMode ? static_cast<CM_RETCODE>(CM_OK)
                                                    : KEL_CMCANCEL(convId.data(), &softCancel, nullptr);
    cancelState = CANCELED;
    owner->leaveConnectionList();
    if (rc != CM_OK && rc != CM_DEALLOCATED_NORMAL) throwCpicError(rc);
    if (rc == CM_DEALLOCATED_NORMAL) drop(rc);
    throw ZorSystemException(ZOR_CANCELED, COMMUNICATION_FAILURE, "ZOR_CANCELED", "Connection was canceled.");
}

CM_RETCODE CpicConnection::close() noexcept {
    CM_RETCODE rc = CM_OK;
    if (!deallocated && !isConvIdInitial()) rc = STDEAL(convId.data(), nullptr);
    forgetConversation();
    connected = false;
    if (registered) {
        const bool multi = zorProgType == ZOR_MULTI_COUNT_REGISTERED_SERVER;
        // The layers below drop a registration that fails, and may have given its number to another one.
        CM_RETCODE left = CM_PARAMETER_ERROR;
        if (ownsRegistration())
            left = multi ? KEL_CMUNREGTP3(cpicHandle, nullptr) : KEL_CMUNREGTP(cpicHandle, nullptr);
        if (left != CM_OK) rc = left;
        registered = accepted = justAccepted = false;
        cpicHandle = 0;
    }
    try {
        cpicError = rc != CM_OK ? KEL_CMPERR() : "";
    } catch (const std::bad_alloc&) {
        cpicError.clear();  // the code says enough
    }
    return rc;
}

void CpicConnection::forgetConversation() noexcept {
    deallocated = true;
    // The gateway may give the same id to somebody else, whose conversation must not be touched from here.
    convId.fill(0);
}

/** A failure ended the conversation for this side; the layers below may still have it. */
void CpicConnection::drop(CM_RETCODE rc) noexcept {
    if (!STIEndsConversation(rc)) STDEAL(convId.data(), nullptr);
    forgetConversation();
    accepted = justAccepted = false;
}

void CpicConnection::throwCpicError(CM_RETCODE rc) {
    cpicError = KEL_CMPERR();
    if (!deallocated) drop(rc);
    throw ZorCommunicationException(cpicError, rc);
}

void CpicConnection::printConvID(KEL_UC* cid, unsigned strLength) const {
    if (strLength < KEL_CONV_ID_LN + 1)
        throw ZorBufferTooSmallException("Conversation ID needs at least KEL_CONV_ID_LN + 1 characters");
    std::memcpy(cid, convId.data(), KEL_CONV_ID_LN);
    cid[KEL_CONV_ID_LN] = '\0';
}

void CpicConnection::setSoKeepaliveOption(CPIC_INT cpic_handle) noexcept {
    KEL_UC cid[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(cid, convId.data(), KEL_CONV_ID_LN);
    NI_HDL handle = NI_INVALID_HDL;
    if (cpic_handle != 0 && NiSockToHdl(cpic_handle, &handle) != NI_OK) {
        ZorLogWrite(
            "error during connection: NI handle for cpic handle %d could not be retrieved, therefore "
            "SO_KEEPALIVE could not be set",
            cpic_handle);
    } else if (cpic_handle == 0 && KEL_CMNIHANDLE(convId.data(), &handle, nullptr) != CM_OK) {
        ZorLogWrite(
            "error during connection: NI handle for convId %s could not be retrieved, therefore SO_KEEPALIVE "
            "could not be set",
            cid);
    } else if (NiSetSO_KeepAlive(handle, true) != NI_OK) {
        ZorLogWrite("error during connection: SO_KEEPALIVE for NI handle %d could not be set", handle);
    } else if (getTraceLevel() >= DUMP_LEVEL) {
        ZorTraceWrite("SO_KEEPALIVE set for convID=%s, cpic handle=%d, ni handle=%d", cid, cpic_handle,
                      handle);
    }
}

void CpicConnection::noteTarget(const ZorOptions& options) {
    target = {options.gwhost, options.gwserv, options.ashost, options.asserv, options.tpname};
}

void CpicConnection::openDataToTrace() noexcept {
    if (dataOpen || zorProgType != ZOR_CLIENT || !owner->isLoggedOn()) return;
    dataOpen = true;
    const auto cover = [](void* context, bool incoming, unsigned piece, std::span<KEL_RAW> copy) noexcept {
        static_cast<ZorStreamOwner*>(context)->coverDump(ZorStreamOwner::Dump::transport, incoming, piece,
                                                         copy);
    };
    KEL_CMDATAOPEN(convId.data(), cover, owner, nullptr);
}

void CpicConnection::traceData(bool incoming) const {
    const KEL_UC* const action = incoming ? "Receiving" : "Sending";
    const KEL_string codepage = owner->traceCodepage();
    KEL_UC cid[KEL_CONV_ID_LN + 1];
    printConvID(cid, sizeof cid);
    const auto handle = static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(owner));
    if (owner->isLoggedOn())
        ZorTraceHexDump(dumpOf(*owner, incoming).data(), bytesInBuffer,
                        "%s data for handle %llu, convID %s, codepage %s", action, handle, cid,
                        codepage.c_str());
    else  // the items of a logon carry secrets
        ZorTraceWrite("%s data for handle %llu, convID %s, codepage %s: %u bytes of the logon", action,
                      handle, cid, codepage.c_str(), bytesInBuffer);
}
