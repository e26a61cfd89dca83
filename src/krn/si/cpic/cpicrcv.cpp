// Receiving: requests, answers, and what came beyond what was asked for.

#include <algorithm>
#include <cstring>

#include "krn/si/cpic/cpicdata.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpicreg.h"
#include "krn/si/cpic/cpictrc.h"
#include "krn/si/gw/gwcmsend.h"

namespace {

/** Sends the kept block together with the request for the answer. */
CM_RETCODE sendAndRequest(CONV_PROTO& conv, CPIC_INT requested) {
    const std::span<const KEL_RAW> data = STIKeptBlock(conv);
    const auto length = static_cast<std::int32_t>(data.size());
    conv.buffer_state = CPIC_BUFFER_DATA2;
    APPCHDR6 header = STIHeader(conv, GW_RQ_KEL_SEND);
    header.info = SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR;
    header.rqtype2 = static_cast<std::uint8_t>(F_V_RECEIVE | (data.empty() ? 0 : F_V_SEND_DATA));
    header.kel_params_len = KELCMSEND_LAYOUT::length;
    header.nparams = GwPutNcmsend({.send_length = length});
    KEL_RAW params[KELCMSEND_LAYOUT::length];
    GwPutCmsend(params, {.send_length = length, .requested_length = requested});
    return STISendToGw(conv, {CPIC_CMRCV, STIWaitLimit(conv)}, header, params, data);
}

CM_RETCODE requestData(CONV_PROTO& conv, CPIC_INT requested) {
    if (conv.buffer_state == CPIC_BUFFER_DATA) return sendAndRequest(conv, requested);
    if (conv.localReceive) return CM_OK;
    APPCHDR6 header = STIHeader(conv, GW_RQ_RECEIVE);
    header.info = SYNC_CPIC_FUNCTION;
    header.rqtype2 = F_V_RECEIVE;
    header.nparams = GwPutNcmrcv({.requested_length = requested});
    return STISendToGw(conv, {CPIC_CMRCV, STIWaitLimit(conv)}, header);
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
    STINoteData(conv, true, target.first(length));
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
    conv.buffer_state = conv.emptyState();
    conv.buffer_len = 0;
}

/** Refuses an answer that announces more data than it holds. */
CM_RETCODE checkLengths(CONV_PROTO& conv, const NCMRCV& answer, CPIC_MESSAGE& message) {
    const std::size_t there = message.received + message.overflow;
    if (answer.received_length < 0 || static_cast<std::size_t>(answer.received_length) > there) {
        if (message.header.appc_rc != CM_OK) return CM_OK;  // the code counts, whatever came with it
        CPIC_ERRSET(READ_FROM_GW_FAILED, "message announces %d bytes and holds %u", answer.received_length,
                    static_cast<unsigned>(there));
        return STIConnectionLost(conv);
    }
    const auto announced = static_cast<std::size_t>(answer.received_length);
    message.received = std::min(message.received, announced);
    message.overflow = announced - message.received;
    return CM_OK;
}

/** A wait that brought nothing. With a registration behind it, one that brought a ping goes on in the set. */
CM_RETCODE nothingCame(CONV_PROTO& conv, CM_RETCODE rc) {
    const CONV_PROTO* registration = STIConvAt(conv.reg.reg_hook);
    if (rc != CM_KEL_TIMEOUT_RETRY || !conv.ping_received || !registration || !registration->reg.use_nihandle)
        return rc;
    conv.interrupted_call = CPIC_NO_FUNCTION;
    conv.buffer_state = CPIC_BUFFER_LISTEN;
    STISelSet(conv);
    return CM_KEL_PING_RECEIVED;
}

CM_RETCODE STIRCV(CONV_PROTO& conv, std::span<KEL_RAW> target, const ReceiveResult& result) {
    if (conv.local_buffer.bytes_to_read != 0) return receiveLocally(conv, target, result);
    CM_RETCODE rc = STIBeginReceive(conv, static_cast<CPIC_INT>(target.size()));
    if (rc != CM_OK) return rc;
    CPIC_MESSAGE message;
    rc = STIAwaitAnswer(conv, {CPIC_CMRCV, STIWaitLimit(conv)}, target, &message);
    if (rc != CM_OK) return nothingCame(conv, rc);
    const NCMRCV answer = GwGetNcmrcv(message.header.nparams);
    rc = checkLengths(conv, answer, message);
    if (rc != CM_OK) return rc;
    noteAnswer(conv, message.header, answer);
    STINoteData(conv, true, target.first(message.received));
    if (message.overflow == 0) return finish(conv, answer, message.received, message.header.appc_rc, result);
    conv.local_buffer = {0, message.overflow, answer, message.header.appc_rc};
    result.set(CM_INCOMPLETE_DATA_RECEIVED, message.received, CM_NO_STATUS_RECEIVED,
               CM_REQ_TO_SEND_NOT_RECEIVED);
    return CM_OK;
}

}  // namespace

CM_RETCODE STIBeginReceive(CONV_PROTO& conv, CPIC_INT requested) noexcept {
    if (conv.interrupted_call == CPIC_CMRCV) return STIWriteRest(conv, {CPIC_CMRCV, STIWaitLimit(conv)});
    if (conv.buffer_state == CPIC_BUFFER_LISTEN) return CM_OK;  // it was asked for then
    // An interrupted send comes first, and so does the answer that it may wait for.
    if (STISendInterrupted(conv))
        if (const CM_RETCODE rc = STIFinishSend(conv, nullptr); rc != CM_OK) return rc;
    return requestData(conv, requested);
}

CM_RETCODE STRCV(const KEL_RAW* conversation_ID, KEL_RAW* buffer, const CPIC_INT* requested_length,
                 DATA_RECEIVED* data_received, CPIC_INT* received_length, STATUS_RECEIVED* status_received,
                 REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept {
    const ReceiveResult result{data_received, received_length, status_received, request_to_send_received};
    result.clear();
    CONV_PROTO* conv;
    const CM_RETCODE rc = STIEnter(conversation_ID, CPIC_CMRCV, "STRCV", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    if (STIBlockTooLong(*requested_length))
        return STIReturn(STIBadArgument("STRCV", "requested_length", *requested_length), return_code);
    const std::span target(buffer, static_cast<std::size_t>(*requested_length));
    return STIReturn(STIRCV(*conv, target, result), return_code);
}
