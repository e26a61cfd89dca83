// Sending: blocks that are kept, that go without an answer, and that wait for one.

#include <cstring>

#include "krn/si/cpic/cpicdata.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicgw.h"

namespace {

/** Sends in a row that go without an answer. */
constexpr unsigned MAX_UNANSWERED = 5;
constexpr unsigned MAX_UNANSWERED_STREAMING = 20;

/** Waits for an answer that brings no data; the code is the gateway's. */
CM_RETCODE awaitPlainAnswer(CONV_PROTO& conv, CPIC_FUNCTION function, CPIC_MESSAGE* answer) {
    const CM_RETCODE rc = STIAwaitAnswer(conv, {function, STIWaitLimit(conv)}, {}, answer);
    if (rc != CM_OK) return rc;
    if (STIEndsConversation(answer->header.appc_rc)) STIDEAL(conv);
    return answer->header.appc_rc;
}

CM_RETCODE awaitSync(CONV_PROTO& conv) {
    CPIC_MESSAGE answer;
    return awaitPlainAnswer(conv, CPIC_KEL_SYNC, &answer);
}

/** The gateway wants to hear that this side has come so far. */
CM_RETCODE STSYNC(CONV_PROTO& conv) {
    APPCHDR6 header = STIHeader(conv, GW_RQ_KEL_SYNC);
    header.info = SYNC_CPIC_FUNCTION;
    const CM_RETCODE rc = STISendToGw(conv, {CPIC_KEL_SYNC, STIWaitLimit(conv)}, header);
    return rc == CM_OK ? awaitSync(conv) : rc;
}

/** The answer to a send that asked for one. */
CM_RETCODE awaitSendAnswer(CONV_PROTO& conv, REQUEST_TO_SEND_RECEIVED* rts) {
    CPIC_MESSAGE answer;
    if (const CM_RETCODE rc = awaitPlainAnswer(conv, CPIC_CMSEND, &answer); rc != CM_OK) return rc;
    conv.continues_send_count = 0;
    conv.answer_owed = false;
    if (rts)
        *rts = static_cast<REQUEST_TO_SEND_RECEIVED>(
            GwGetNcmsend(answer.header.nparams).request_to_send_received);
    return (answer.header.info & CPIC_SYNC_REQ) != 0 ? STSYNC(conv) : static_cast<CM_RETCODE>(CM_OK);
}

/** The kept block has gone out: sends the one that came behind it. */
CM_RETCODE sendBehindKept(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    conv.buffer_state = CPIC_BUFFER_DEACT;
    return STISendBlock(conv, data, rts);
}

CM_RETCODE refuseState(const CONV_PROTO& conv) {
    constexpr const KEL_CHAR* NAMES[] = {"CPIC_BUFFER_DISABLED", "CPIC_BUFFER_EMPTY",  "CPIC_BUFFER_DEACT",
                                         "CPIC_BUFFER_DATA2",    "CPIC_BUFFER_FLUSH",  "CPIC_BUFFER_DATA",
                                         "CPIC_BUFFER_LISTEN",   "CPIC_BUFFER_LISTEN3"};
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, conv.gwy_conv_ID.data(), KEL_CONV_ID_LN);
    CPIC_ERRSET(C_STATE_CHECK, "state=%s", id, NAMES[conv.buffer_state]);
    return CM_PROGRAM_STATE_CHECK;
}

/** Sends a block, or keeps it for the message that follows. */
CM_RETCODE STIntSend(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    switch (conv.buffer_state) {
        case CPIC_BUFFER_EMPTY:
            if (!data.empty()) std::memcpy(conv.data(), data.data(), data.size());
            conv.buffer_len = data.size();
            conv.buffer_state = CPIC_BUFFER_DATA;
            return CM_OK;
        case CPIC_BUFFER_DATA: {
            conv.buffer_state = CPIC_BUFFER_DATA2;
            const CM_RETCODE rc = STISendBlock(conv, STIKeptBlock(conv), rts);
            return rc == CM_OK ? sendBehindKept(conv, data, rts) : rc;
        }
        case CPIC_BUFFER_DISABLED:
        case CPIC_BUFFER_DEACT:
        case CPIC_BUFFER_FLUSH:
            return STISendBlock(conv, data, rts);
        default:
            return refuseState(conv);
    }
}

/** The repeat of an interrupted send: if it was the kept block that was held up, `data` still has to go. */
CM_RETCODE goOnSending(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    const CM_RETCODE rc = STIFinishSend(conv, rts);
    return rc == CM_OK && conv.buffer_state == CPIC_BUFFER_DATA2 ? sendBehindKept(conv, data, rts) : rc;
}

}  // namespace

CM_RETCODE STIFinishSend(CONV_PROTO& conv, REQUEST_TO_SEND_RECEIVED* rts) noexcept {
    const bool syncing = conv.interrupted_call == CPIC_KEL_SYNC;
    const CPIC_CALL call{syncing ? CPIC_KEL_SYNC : CPIC_CMSEND, STIWaitLimit(conv)};
    if (const CM_RETCODE rc = STIWriteRest(conv, call); rc != CM_OK) return rc;
    if (syncing) return awaitSync(conv);
    if (conv.answer_owed) return awaitSendAnswer(conv, rts);
    conv.interrupted_call = CPIC_NO_FUNCTION;
    ++conv.continues_send_count;
    return CM_OK;
}

CM_RETCODE STISendBlock(CONV_PROTO& conv, std::span<const KEL_RAW> data,
                        REQUEST_TO_SEND_RECEIVED* rts) noexcept {
    const unsigned limit = conv.streamingActive ? MAX_UNANSWERED_STREAMING : MAX_UNANSWERED;
    const bool answered = conv.answer_owed = conv.continues_send_count >= limit;
    APPCHDR6 header = STIHeader(conv, answered ? GW_RQ_SEND_DATA : GW_RQ_ASEND_DATA);
    header.info = answered ? SYNC_CPIC_FUNCTION : 0;
    header.rqtype2 =
        static_cast<std::uint8_t>(F_V_SEND_DATA | (conv.buffer_state == CPIC_BUFFER_FLUSH ? F_V_FLUSH : 0));
    header.nparams = GwPutNcmsend({.send_length = static_cast<std::int32_t>(data.size())});
    conv.localReceive = false;
    const CM_RETCODE rc = STISendToGw(conv, {CPIC_CMSEND, STIWaitLimit(conv)}, header, {}, data);
    return rc == CM_OK ? STIFinishSend(conv, rts) : rc;
}

CM_RETCODE STIFlushKept(CONV_PROTO& conv) noexcept {
    if (conv.buffer_state != CPIC_BUFFER_DATA) return CM_OK;
    conv.buffer_state = CPIC_BUFFER_FLUSH;
    const CM_RETCODE rc = STISendBlock(conv, STIKeptBlock(conv), nullptr);
    if (rc == CM_OK) conv.buffer_state = conv.emptyState();
    return rc;
}

CM_RETCODE STSEND(const KEL_RAW* conversation_ID, const KEL_RAW* buffer, const CPIC_INT* send_length,
                  REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept {
    if (request_to_send_received) *request_to_send_received = CM_REQ_TO_SEND_NOT_RECEIVED;
    CONV_PROTO* conv;
    const CM_RETCODE rc = STIEnter(conversation_ID, CPIC_CMSEND, "STSEND", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (STIBlockTooLong(*send_length))
        return STIReturn(STIBadArgument("STSEND", "send_length", *send_length), return_code);
    if (conv->cancel_requested) {
        CPIC_ERRSET(C_STATE_CHECK, "cancel request received", "");
        return STIReturn(CM_PROGRAM_STATE_CHECK, return_code);
    }
    const std::span data(buffer, static_cast<std::size_t>(*send_length));
    return STIReturn(STISendInterrupted(*conv) ? goOnSending(*conv, data, request_to_send_received)
                                               : STIntSend(*conv, data, request_to_send_received),
                     return_code);
}

CM_RETCODE STFLUS(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = STIEnter(conversation_ID, CPIC_CMFLUS, "STFLUS", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (conv->buffer_state == CPIC_BUFFER_DATA)
        rc = STIFlushKept(*conv);
    else if (conv->interrupted_call == CPIC_CMFLUS)
        rc = STIWriteRest(*conv, {CPIC_CMFLUS, STIWaitLimit(*conv)});
    else
        rc = STISendToGw(*conv, {CPIC_CMFLUS, STIWaitLimit(*conv)}, STIHeader(*conv, GW_RQ_FLUSH));
    if (rc == CM_OK) conv->interrupted_call = CPIC_NO_FUNCTION;
    return STIReturn(rc, return_code);
}
