// The end of a conversation, and the cancel of a call.

#include "base/thr/deadline.h"
#include "krn/si/cpic/cpicdata.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicgw.h"

namespace {

/** ms in which the gateway has to take what ends a conversation, so that an end comes on a dead line too. */
constexpr CPIC_INT END_TIMEOUT = 5000;
/** The same for a cancel, and for its answer: whoever cancels doesn't want to wait. */
constexpr CPIC_INT CANCEL_TIMEOUT = 1000;

/** Flush and DEALLOCATE. The code says whether the conversation is gone already. */
CM_RETCODE sayGoodbye(CONV_PROTO& conv) {
    conv.timeout = END_TIMEOUT;
    conv.timeout_initialized = true;
    if (conv.unsent.empty())
        if (const CM_RETCODE rc = STIFlushKept(conv); STIEndsConversation(rc)) return rc;
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

CM_RETCODE STISendError(CONV_PROTO& conv, APPCHDR6 header, CPIC_INT code) noexcept {
    KEL_RAW block[2 * ERR_BLOCK_MAX];
    std::size_t length = 0;
    if (ErrCpIntToNet(block, &length) != ERR_OK) length = 0;
    length = std::min(length, ERR_BLOCK_MAX);
    header.info = WITH_ERR_INFO;
    header.appc_rc = CM_DEALLOCATED_ABEND;
    header.kel_rc = code;
    header.err_len = static_cast<std::uint16_t>(length);
    return STISendToGw(conv, {CPIC_SENDERRINFO, END_TIMEOUT}, header, {}, std::span(block).first(length));
}

CM_RETCODE STDEAL(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = STIEnter(conversation_ID, CPIC_CMDEAL, "STDEAL", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    rc = sayGoodbye(*conv);
    if (!STIEndsConversation(rc)) STIDEAL(*conv);
    return STIReturn(rc == CM_KEL_TIMEOUT_RETRY ? CM_PRODUCT_SPECIFIC_ERROR : rc, return_code);
}

CM_RETCODE KEL_CMCANCEL(const KEL_RAW* conversation_ID, const CPIC_INT* cancel_type,
                        CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = STIEnter(conversation_ID, CPIC_CMCANCEL, "KEL_CMCANCEL", &conv);
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

CM_RETCODE KEL_CMSENDERRINFO(const KEL_RAW* conversation_ID, CPIC_INT code,
                             CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    CM_RETCODE rc = STIEnter(conversation_ID, CPIC_SENDERRINFO, "KEL_CMSENDERRINFO", &conv);
    if (rc == CM_OK && conv->unsent.empty()) {
        const ErrKeeper keeper;
        CPIC_ERRSET(static_cast<KEL_RC>(code), "");
        rc = STISendError(*conv, STIHeader(*conv, GW_RQ_DEALLOCATE), code);
    }
    return STIReturn(rc, return_code);
}
