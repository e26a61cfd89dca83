#include <algorithm>
#include <cstring>

#include "base/thr/deadline.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/gw/gwcmsend.h"

namespace {

/** Sends in a row that go without an answer. */
constexpr unsigned MAX_UNANSWERED = 5;
constexpr unsigned MAX_UNANSWERED_STREAMING = 20;

/** ms in which the gateway has to take what ends a conversation, so that an end comes on a dead line too. */
constexpr CPIC_INT END_TIMEOUT = 5000;
/** The same for a cancel, and for its answer: whoever cancels doesn't want to wait. */
constexpr CPIC_INT CANCEL_TIMEOUT = 1000;

/** Finds a conversation on which a function may be called; else the code for the caller. */
CM_RETCODE enter(const KEL_RAW* conversation_ID, CPIC_FUNCTION function, const KEL_CHAR* name,
                 CONV_PROTO** conv) {
    *conv = STISearchConv(conversation_ID);
    return *conv ? STIQ7LocCheckState(**conv, function, name) : static_cast<CM_RETCODE>(CM_PARAMETER_ERROR);
}

bool blockTooLong(CPIC_INT length) {
    return length < 0 || length > CPIC_MAX_BLOCK;
}

/** The answer to a send that asked for one. */
CM_RETCODE awaitSendAnswer(CONV_PROTO& conv, REQUEST_TO_SEND_RECEIVED* rts) {
    CPIC_MESSAGE answer;
    if (const CM_RETCODE rc = STIAwaitAnswer(conv, {CPIC_CMSEND, conv.timeout}, {}, &answer); rc != CM_OK)
        return rc;
    conv.continues_send_count = 0;
    if (rts)
        *rts = static_cast<REQUEST_TO_SEND_RECEIVED>(
            GwGetNcmsend(answer.header.nparams).request_to_send_received);
    if (STIEndsConversation(answer.header.appc_rc)) STIDEAL(conv);
    return answer.header.appc_rc;
}

/** The rest of a send: what the gateway hasn't taken yet, then its answer if one was asked for. */
CM_RETCODE finishSend(CONV_PROTO& conv, REQUEST_TO_SEND_RECEIVED* rts) {
    if (const CM_RETCODE rc = STIWriteRest(conv, {CPIC_CMSEND, conv.timeout}); rc != CM_OK) return rc;
    if (conv.answer_owed) return awaitSendAnswer(conv, rts);
    conv.interrupted_call = CPIC_NO_FUNCTION;
    ++conv.continues_send_count;
    return CM_OK;
}

/** Sends a block now. Every so often the gateway has to answer, so that it isn't flooded. */
CM_RETCODE sendBlock(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    const unsigned limit = conv.streamingActive ? MAX_UNANSWERED_STREAMING : MAX_UNANSWERED;
    const bool answered = conv.answer_owed = conv.continues_send_count >= limit;
    APPCHDR6 header = STIHeader(conv, answered ? GW_RQ_SEND_DATA : GW_RQ_ASEND_DATA);
    header.info = answered ? SYNC_CPIC_FUNCTION : 0;
    header.rqtype2 =
        static_cast<std::uint8_t>(F_V_SEND_DATA | (conv.buffer_state == CPIC_BUFFER_FLUSH ? F_V_FLUSH : 0));
    header.nparams = GwPutNcmsend({.send_length = static_cast<std::int32_t>(data.size())});
    conv.localReceive = false;
    const CM_RETCODE rc = STISendToGw(conv, {CPIC_CMSEND, conv.timeout}, header, {}, data);
    return rc == CM_OK ? finishSend(conv, rts) : rc;
}

std::span<const KEL_RAW> keptBlock(const CONV_PROTO& conv) {
    return {conv.data(), conv.buffer_len};
}

/** The kept block has gone out: sends the one that came behind it. */
CM_RETCODE sendBehindKept(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    conv.buffer_state = CPIC_BUFFER_DEACT;
    return sendBlock(conv, data, rts);
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
            const CM_RETCODE rc = sendBlock(conv, keptBlock(conv), rts);
            return rc == CM_OK ? sendBehindKept(conv, data, rts) : rc;
        }
        case CPIC_BUFFER_DISABLED:
        case CPIC_BUFFER_DEACT:
        case CPIC_BUFFER_FLUSH:
            return sendBlock(conv, data, rts);
        default:
            CPIC_ERRSET(C_STATE_CHECK, "state=%s", "", "CPIC_BUFFER_DATA2");
            return CM_PROGRAM_STATE_CHECK;
    }
}

/** The repeat of an interrupted send: if it was the kept block that was held up, `data` still has to go. */
CM_RETCODE goOnSending(CONV_PROTO& conv, std::span<const KEL_RAW> data, REQUEST_TO_SEND_RECEIVED* rts) {
    const CM_RETCODE rc = finishSend(conv, rts);
    return rc == CM_OK && conv.buffer_state == CPIC_BUFFER_DATA2 ? sendBehindKept(conv, data, rts) : rc;
}

/** Sends the kept block together with the request for the answer. */
CM_RETCODE sendAndRequest(CONV_PROTO& conv, CPIC_INT requested) {
    const std::span<const KEL_RAW> data = keptBlock(conv);
    const auto length = static_cast<std::int32_t>(data.size());
    conv.buffer_state = CPIC_BUFFER_DATA2;
    APPCHDR6 header = STIHeader(conv, GW_RQ_KEL_SEND);
    header.info = SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR;
    header.rqtype2 = static_cast<std::uint8_t>(F_V_RECEIVE | (data.empty() ? 0 : F_V_SEND_DATA));
    header.kel_params_len = KELCMSEND_LAYOUT::length;
    header.nparams = GwPutNcmsend({.send_length = length});
    KEL_RAW params[KELCMSEND_LAYOUT::length];
    GwPutCmsend(params, {.send_length = length, .requested_length = requested});
    return STISendToGw(conv, {CPIC_CMRCV, conv.timeout}, header, params, data);
}

CM_RETCODE requestData(CONV_PROTO& conv, CPIC_INT requested) {
    if (conv.buffer_state == CPIC_BUFFER_DATA) return sendAndRequest(conv, requested);
    if (conv.localReceive) return CM_OK;
    APPCHDR6 header = STIHeader(conv, GW_RQ_RECEIVE);
    header.info = SYNC_CPIC_FUNCTION;
    header.rqtype2 = F_V_RECEIVE;
    header.nparams = GwPutNcmrcv({.requested_length = requested});
    return STISendToGw(conv, {CPIC_CMRCV, conv.timeout}, header);
}

/** Where the results of a receive go. */
struct ReceiveResult {
    DATA_RECEIVED* data_received;
    CPIC_INT* received_length;
    STATUS_RECEIVED* status_received;
    REQUEST_TO_SEND_RECEIVED* request_to_send_received;

    void set(DATA_RECEIVED data, std::size_t length, STATUS_RECEIVED status,
             REQUEST_TO_SEND_RECEIVED rts) const {
        if (data_received) *data_received = data;
        if (received_length) *received_length = static_cast<CPIC_INT>(length);
        if (status_received) *status_received = status;
        if (request_to_send_received) *request_to_send_received = rts;
    }
    void clear() const { set(CM_NO_DATA_RECEIVED, 0, CM_NO_STATUS_RECEIVED, CM_REQ_TO_SEND_NOT_RECEIVED); }
    void set(const NCMRCV& answer, std::size_t length) const {
        set(static_cast<DATA_RECEIVED>(answer.data_received), length,
            static_cast<STATUS_RECEIVED>(answer.status_received),
            static_cast<REQUEST_TO_SEND_RECEIVED>(answer.request_to_send_received));
    }
};

CM_RETCODE finish(CONV_PROTO& conv, const NCMRCV& answer, std::size_t length, CM_RETCODE rc,
                  const ReceiveResult& result) {
    result.set(answer, length);
    if (STIEndsConversation(rc)) STIDEAL(conv);
    return rc;
}

/** Serves a receive from what came beyond an earlier one; what the partner said goes with the last piece. */
CM_RETCODE receiveLocally(CONV_PROTO& conv, std::span<KEL_RAW> target, const ReceiveResult& result) {
    CPIC_LOCAL_BUFFER& local = conv.local_buffer;
    const std::size_t length = std::min(target.size(), local.bytes_to_read);
    std::copy_n(conv.data() + local.offset, length, target.begin());
    local.offset += length;
    local.bytes_to_read -= length;
    if (local.bytes_to_read == 0) return finish(conv, local.last, length, local.return_code, result);
    result.set(CM_INCOMPLETE_DATA_RECEIVED, length, CM_NO_STATUS_RECEIVED, CM_REQ_TO_SEND_NOT_RECEIVED);
    return CM_OK;
}

/** Takes over what an answer says about the conversation. */
void noteAnswer(CONV_PROTO& conv, const APPCHDR6& header, const NCMRCV& answer) {
    conv.continues_send_count = 0;
    conv.sequence_no = header.sequence_no;
    if (conv.dt_net) conv.dt_net->sequence_nr = header.sequence_no;
    if ((header.info3 & GW_WITH_CODE_PAGE) != 0) conv.rem_code_page = answer.code_page;
    // A streaming gateway goes on until it gives the right to send.
    conv.localReceive = conv.streamingActive && answer.status_received != CM_SEND_RECEIVED;
    if (conv.buffer_state != CPIC_BUFFER_DISABLED) conv.buffer_state = CPIC_BUFFER_EMPTY;
    conv.buffer_len = 0;
}

/** All that has to go out before an answer can come. */
CM_RETCODE beginReceive(CONV_PROTO& conv, CPIC_INT requested) {
    if (conv.interrupted_call == CPIC_CMRCV) return STIWriteRest(conv, {CPIC_CMRCV, conv.timeout});
    // An interrupted send comes first, and so does the answer that it may wait for.
    if (conv.interrupted_call == CPIC_CMSEND)
        if (const CM_RETCODE rc = finishSend(conv, nullptr); rc != CM_OK) return rc;
    return requestData(conv, requested);
}

CM_RETCODE STIRCV(CONV_PROTO& conv, std::span<KEL_RAW> target, const ReceiveResult& result) {
    if (conv.local_buffer.bytes_to_read != 0) return receiveLocally(conv, target, result);
    if (const CM_RETCODE rc = beginReceive(conv, static_cast<CPIC_INT>(target.size())); rc != CM_OK)
        return rc;
    CPIC_MESSAGE message;
    if (const CM_RETCODE rc = STIAwaitAnswer(conv, {CPIC_CMRCV, conv.timeout}, target, &message); rc != CM_OK)
        return rc;
    const NCMRCV answer = GwGetNcmrcv(message.header.nparams);
    noteAnswer(conv, message.header, answer);
    if (message.overflow == 0) return finish(conv, answer, message.received, message.header.appc_rc, result);
    conv.local_buffer = {0, message.overflow, answer, message.header.appc_rc};
    result.set(CM_INCOMPLETE_DATA_RECEIVED, message.received, CM_NO_STATUS_RECEIVED,
               CM_REQ_TO_SEND_NOT_RECEIVED);
    return CM_OK;
}

CM_RETCODE flushKept(CONV_PROTO& conv) {
    if (conv.buffer_state != CPIC_BUFFER_DATA) return CM_OK;
    conv.buffer_state = CPIC_BUFFER_FLUSH;
    const CM_RETCODE rc = sendBlock(conv, keptBlock(conv), nullptr);
    if (rc == CM_OK) conv.buffer_state = CPIC_BUFFER_EMPTY;
    return rc;
}

/** Flush and DEALLOCATE. The code says whether the conversation is gone already. */
CM_RETCODE sayGoodbye(CONV_PROTO& conv) {
    conv.timeout = END_TIMEOUT;
    if (conv.unsent.empty())
        if (const CM_RETCODE rc = flushKept(conv); STIEndsConversation(rc)) return rc;
    if (conv.unsent.empty())
        return STISendToGw(conv, {CPIC_CMDEAL, END_TIMEOUT}, STIHeader(conv, GW_RQ_DEALLOCATE));
    CPIC_ERRSET(WRITE_TO_GW_FAILED, "end in the middle of a message");
    return CM_KEL_TIMEOUT_RETRY;  // nothing can follow a message that was cut
}

/** Whether a message answers the cancel, and not the call that the cancel cuts short. */
bool answersCancel(const APPCHDR6& header) {
    return header.rqtype != GW_RQ_RECEIVE && header.rqtype != GW_RQ_KEL_SEND &&
           header.rqtype != GW_RQ_SEND_DATA;
}

CM_RETCODE sendCancel(CONV_PROTO& conv) {
    if (!conv.unsent.empty()) return CM_KEL_TIMEOUT_RETRY;  // nothing can follow a message that was cut
    APPCHDR6 header = STIHeader(conv, GW_RQ_KEL_CANCEL);
    header.info = SYNC_CPIC_FUNCTION;
    header.info3 = GW_CANCEL_SOFT;
    return STISendToGw(conv, {CPIC_CMCANCEL, CANCEL_TIMEOUT}, header);
}

CM_RETCODE awaitCancelAnswer(CONV_PROTO& conv) {
    const Deadline deadline(CANCEL_TIMEOUT);
    CPIC_MESSAGE answer;
    do {
        const int left = deadline.left();
        const CPIC_READ read = left > 0 ? STIAsRcvFromGw(conv, {}, left, &answer) : CPIC_READ_TIMEOUT;
        if (read == CPIC_READ_TIMEOUT) return CM_KEL_TIMEOUT_RETRY;
        if (read != CPIC_READ_OK) {
            STIDEAL(conv);
            return CM_PRODUCT_SPECIFIC_ERROR;
        }
    } while (answer.header.appc_rc == CM_OK && !answersCancel(answer.header));
    conv.interrupted_call = CPIC_NO_FUNCTION;
    if (STIEndsConversation(answer.header.appc_rc)) STIDEAL(conv);
    return answer.header.appc_rc;
}

}  // namespace

CM_RETCODE STSEND(const KEL_RAW* conversation_ID, const KEL_RAW* buffer, const CPIC_INT* send_length,
                  REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept {
    if (request_to_send_received) *request_to_send_received = CM_REQ_TO_SEND_NOT_RECEIVED;
    CONV_PROTO* conv;
    const CM_RETCODE rc = enter(conversation_ID, CPIC_CMSEND, "STSEND", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (blockTooLong(*send_length))
        return STIReturn(STIBadArgument("STSEND", "send_length", *send_length), return_code);
    if (conv->cancel_requested) {
        CPIC_ERRSET(C_STATE_CHECK, "cancel request received", "");
        return STIReturn(CM_PROGRAM_STATE_CHECK, return_code);
    }
    const std::span data(buffer, static_cast<std::size_t>(*send_length));
    return STIReturn(conv->interrupted_call == CPIC_CMSEND
                         ? goOnSending(*conv, data, request_to_send_received)
                         : STIntSend(*conv, data, request_to_send_received),
                     return_code);
}

CM_RETCODE STRCV(const KEL_RAW* conversation_ID, KEL_RAW* buffer, const CPIC_INT* requested_length,
                 DATA_RECEIVED* data_received, CPIC_INT* received_length, STATUS_RECEIVED* status_received,
                 REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept {
    const ReceiveResult result{data_received, received_length, status_received, request_to_send_received};
    result.clear();
    CONV_PROTO* conv;
    const CM_RETCODE rc = enter(conversation_ID, CPIC_CMRCV, "STRCV", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (blockTooLong(*requested_length))
        return STIReturn(STIBadArgument("STRCV", "requested_length", *requested_length), return_code);
    const std::span target(buffer, static_cast<std::size_t>(*requested_length));
    return STIReturn(STIRCV(*conv, target, result), return_code);
}

CM_RETCODE STDEAL(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = enter(conversation_ID, CPIC_CMDEAL, "STDEAL", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    rc = sayGoodbye(*conv);
    if (!STIEndsConversation(rc)) STIDEAL(*conv);
    return STIReturn(rc == CM_KEL_TIMEOUT_RETRY ? CM_PRODUCT_SPECIFIC_ERROR : rc, return_code);
}

CM_RETCODE KEL_CMCANCEL(const KEL_RAW* conversation_ID, const CPIC_INT* cancel_type,
                        CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = enter(conversation_ID, CPIC_CMCANCEL, "KEL_CMCANCEL", &conv);
    if (rc == CM_OK && (*cancel_type < 0 || *cancel_type > 1))
        rc = STIBadArgument("KEL_CMCANCEL", "cancel_type", *cancel_type);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    rc = sendCancel(*conv);
    if (rc == CM_OK) rc = awaitCancelAnswer(*conv);
    if (rc != CM_KEL_TIMEOUT_RETRY) return STIReturn(rc, return_code);
    // The gateway takes nothing or says nothing: hanging up cancels too.
    STIDEAL(*conv);
    return STIReturn(CM_DEALLOCATED_NORMAL, return_code);
}

CM_RETCODE KEL_CMTIMEOUT2(const KEL_RAW* conversation_ID, CPIC_INT ti, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STISearchConv(conversation_ID);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    if (ti < -1) return STIReturn(STIBadArgument("KEL_CMTIMEOUT2", "ti", ti), return_code);
    conv->timeout = ti;
    return STIReturn(CM_OK, return_code);
}

CM_RETCODE KEL_CMNIHANDLE(const KEL_RAW* conversation_ID, NI_HDL* handle, CM_RETCODE* return_code) noexcept {
    const CONV_PROTO* conv = STISearchConv(conversation_ID);
    *handle = conv ? conv->gw_socket : NI_INVALID_HDL;
    return STIReturn(conv ? CM_OK : CM_PARAMETER_ERROR, return_code);
}

const KEL_CHAR* KEL_CMPERR() noexcept {
    if (ct_level >= 1) {
        const DpHold hold(1);
        ErrTrace(tf);
    }
    const KEL_CHAR* text = ErrPr();
    return *text ? text : "no KEL ErrInfo available";
}
