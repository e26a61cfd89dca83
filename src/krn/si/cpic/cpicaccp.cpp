// Accepting partners of a registration.

#include <cstring>

#include "base/thr/deadline.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpicreg.h"
#include "krn/si/cpic/cpictrc.h"
#include "krn/si/gw/gwvsldata.h"

namespace {

constexpr CPIC_INT MS = 1000;
constexpr CPIC_INT WORD_TIMEOUT = 5000;
constexpr CPIC_INT LONGEST_WAIT_S = 2000000;  // in ms still a number of 32 bits

CM_RETCODE checkState(const CONV_PROTO& conv, const KEL_CHAR* function) {
    const GW_REG_STATE state = conv.reg.reg_state;
    if (state == REG_INIT || state == REG_WAITING) return CM_OK;
    CPIC_ERRSET(C_REG_STATE_CHECK, "", GwRegStateName(state), function);
    return CM_PROGRAM_STATE_CHECK;
}

/** Tells the gateway that a partner is welcome, unless it knows. */
CM_RETCODE offer(CONV_PROTO& registration) {
    if (registration.reg.reg_state != REG_INIT) return CM_OK;
    const CM_RETCODE rc = STISendInternal(registration, GW_RQ_KEL_ACCPTP, {CPIC_ACCPTP, WORD_TIMEOUT});
    if (rc == CM_OK) registration.reg.reg_state = REG_WAITING;
    return rc;
}

/** Whether a message is a rest of the conversation before, whose partner didn't know yet that it was over. */
bool isStale(const CONV_PROTO& registration, const APPCHDR6& header) {
    return header.rqtype != GW_RQ_KEL_REGTP && header.rqtype != GW_RQ_KEL_CANCTP &&
           header.conversation_ID != BLANK_CONV_ID && header.conversation_ID == registration.reg.last_conv;
}

CPIC_READ awaitMessage(CONV_PROTO& registration, CPIC_INT timeout, CPIC_MESSAGE* message) {
    const Deadline deadline(timeout);
    for (;;) {
        const CPIC_READ read = STIAsRcvFromGw(registration, {}, deadline.left(), message);
        if (read != CPIC_READ_OK || !isStale(registration, message->header)) return read;
    }
}

/** Nobody came in time. */
CM_RETCODE nobody(CONV_PROTO& registration, const CPIC_ACCEPT_REQUEST& request) {
    const bool pinged = registration.ping_received;
    STIPingIfDue(registration);
    if (registration.reg.use_nihandle) STISelSet(registration);
    CPIC_ERRSET(TP_NOTREGISTERED, "", request.handle, request.timeout);
    return pinged ? CM_KEL_PING_RECEIVED : CM_KEL_TIMEOUT_RETRY;
}

/** The gateway ends the registration, or says what nobody asked for. */
CM_RETCODE ended(CONV_PROTO& registration, const APPCHDR6& header) {
    CM_RETCODE rc = CM_PRODUCT_SPECIFIC_ERROR;
    if (header.rqtype == GW_RQ_KEL_CANCTP) {
        CPIC_ERRSET(header.kel_rc == GW_SHUTDOWN ? GW_SHUTDOWN : C_MANUAL_CANCELD, "");
        rc = CM_DEALLOCATED_NORMAL;
    } else {
        CPIC_ERRSET(INVALID_REQUEST, "%s", GwFuncName(header.rqtype));
    }
    registration.gw_conn_lost = true;
    STIEndRegistration(registration);
    return rc;
}

/** The parts behind the header that brings a partner. */
struct Partner {
    bool complete = false;
    std::optional<DISTRIBUTED_TRACING> dt_net;
};
Partner readPartner(const CONV_PROTO& registration, const CPIC_MESSAGE& message) {
    Partner partner;
    std::span<const KEL_RAW> rest(registration.data(), message.overflow);
    if ((message.header.info2 & VSL_INIT_PHASE) != 0) {
        if (!GwGetVslData(rest)) return partner;
        rest = rest.subspan(GW_VSL_DATA_V1_LAYOUT::length);
    }
    if ((message.header.info3 & GW_DIST_TRACE) != 0) {
        partner.dt_net = GwGetDistTrace(rest);
        if (!partner.dt_net) return partner;
    }
    partner.complete = true;
    return partner;
}

/** Takes over from the registration what the conversation of its partner has of it. */
void inherit(CONV_PROTO& conv, const CONV_PROTO& registration, const APPCHDR6& header) {
    conv.gw_socket = registration.gw_socket;
    conv.appchdr_version = registration.appchdr_version;
    conv.int_protocol = registration.int_protocol;
    conv.gwhost = registration.gwhost;
    conv.gwserv = registration.gwserv;
    conv.tp = registration.reg.reg_id;
    conv.accept_info = registration.accept_info;
    conv.accept_info2 = registration.accept_info2;
    conv.rem_code_page = registration.rem_code_page;
    conv.vsl_mode = registration.vsl_mode;
    conv.nicheck_written = registration.nicheck_written;
    conv.reg.reg_state = REG_RUNNING;
    conv.reg.reg_hook = registration.idx;
    conv.reg.select_set_ptr = registration.reg.select_set_ptr;
    conv.reg.reg_id = registration.reg.reg_id;
    conv.conn_idx = header.conn_idx;
    conv.sequence_no = header.sequence_no;
    conv.allocated = true;
    conv.local_state = AFTER_CMACCP;
    conv.streamingActive = conv.localReceive = (header.info4 & GW_WITH_STREAMING) != 0;
    if ((header.info3 & GW_WITH_CODE_PAGE) != 0) conv.rem_code_page = GwGetNcmrcv(header.nparams).code_page;
    const bool higher = header.trace_level > registration.trace_level;
    STISetConvTrace(conv, higher ? header.trace_level : registration.trace_level.load());
}

/** Partner and program have to agree on the secure network. The code is the error's, 0 if they do. */
int checkVsl(const CONV_PROTO& conv, const APPCHDR6& header) {
    const bool wanted = (header.info2 & VSL_INIT_PHASE) != 0;
    if (wanted == conv.vsl_mode) return KEL_O_K;
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, conv.gwy_conv_ID.data(), KEL_CONV_ID_LN);
    const KEL_RC code = wanted ? C_VSL_DISABLED : C_VSL_MODE_ON;
    CPIC_ERRSET(code, "", id, conv.reg.reg_id.c_str());
    return code;
}

/** Ends a conversation before it began; its registration goes on. */
CM_RETCODE refusePartner(CONV_PROTO& conv, const KEL_RAW* id, int code) {
    if (code != KEL_O_K) KEL_CMSENDERRINFO(id, C_VSL_ERROR, nullptr);
    if (STISearchConv(id) == &conv) STIDEAL(conv);
    return CM_DEALLOCATED_ABEND;
}

/** No entry is free for the partner, who is told so: KEL_UNACCPTP alone would pass for a sign of life. */
CM_RETCODE noEntry(CONV_PROTO& registration, const APPCHDR6& call) {
    registration.reg.reg_state = REG_INIT;
    registration.reg.last_conv = call.conversation_ID;
    const ErrKeeper keeper;
    APPCHDR6 end = STIHeader(registration, GW_RQ_DEALLOCATE);
    end.conversation_ID = call.conversation_ID;
    end.conn_idx = call.conn_idx;
    ERR_ATTR reason;
    ErrGetAttr(reason);
    if (STISendError(registration, end, reason.rc) == CM_OK)
        STISendInternal(registration, GW_RQ_KEL_UNACCPTP, {CPIC_UNACCPTP, WORD_TIMEOUT});
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE welcome(CONV_PROTO& registration, const CPIC_MESSAGE& message, KEL_RAW* conversation_ID) {
    const Partner partner = readPartner(registration, message);
    CONV_PROTO* conv = STIGetNewConv();
    if (!conv) return noEntry(registration, message.header);
    try {
        inherit(*conv, registration, message.header);
    } catch (const std::bad_alloc&) {
        STIFreeConv(*conv);
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(registration.gwhost.size()));
        return noEntry(registration, message.header);
    }
    registration.reg.reg_state = REG_RUNNING;
    registration.reg.running = conv->idx;
    conv->dt_net = partner.dt_net;
    STIAssignConvId(*conv, message.header.conversation_ID);
    const std::uint64_t key = conv->ext_conv_ID;
    KEL_RAW id[KEL_CONV_ID_LN];
    std::memcpy(id, &key, sizeof id);
    if (!partner.complete) {
        CPIC_ERRSET(INVALID_LEN, "%u bytes behind %s", static_cast<unsigned>(message.overflow),
                    GwFuncName(GW_RQ_KEL_REGTP));
        return refusePartner(*conv, id, KEL_O_K);
    }
    if (const int code = checkVsl(*conv, message.header); code != KEL_O_K)
        return refusePartner(*conv, id, code);
    std::memcpy(conversation_ID, id, sizeof id);
    return CM_OK;
}

CM_RETCODE acceptOn(CONV_PROTO& registration, const CPIC_ACCEPT_REQUEST& request, KEL_RAW* conversation_ID) {
    if (request.timeout == CPIC_ACCEPT_BY_LISTEN) {
        registration.reg.select_set_ptr = request.ptr;
        return STISelSet(registration) ? CM_OK : CM_PRODUCT_SPECIFIC_ERROR;
    }
    if (registration.gw_conn_lost) {
        CPIC_ERRSET(GW_DISCONNECTED, "%u pings without an answer", registration.nicheck);
        STIEndRegistration(registration);
        return CM_PRODUCT_SPECIFIC_ERROR;
    }
    if (request.ptr) registration.reg.select_set_ptr = request.ptr;
    // Who waits here reads alone: the set mustn't report what belongs to this wait.
    if (registration.reg.use_nihandle) STISelDel(registration, false);
    CPIC_MESSAGE message;
    const CPIC_INT seconds = std::min(request.timeout, LONGEST_WAIT_S);
    switch (awaitMessage(registration, seconds < 0 ? -1 : seconds * MS, &message)) {
        case CPIC_READ_OK:
            break;
        case CPIC_READ_TIMEOUT:
            return nobody(registration, request);
        default:
            registration.gw_conn_lost = true;
            STIEndRegistration(registration);
            return CM_PRODUCT_SPECIFIC_ERROR;
    }
    if (message.header.rqtype == GW_RQ_KEL_REGTP) return welcome(registration, message, conversation_ID);
    return ended(registration, message.header);
}

}  // namespace

CM_RETCODE STICmAccpTp(const CPIC_ACCEPT_REQUEST& request, KEL_RAW* conversation_ID) noexcept {
    CONV_PROTO* registration = STIFindRegistration(request.handle, request.use_nihandle);
    if (!registration) return CM_PARAMETER_ERROR;
    CM_RETCODE rc = checkState(*registration, request.function);
    if (rc == CM_OK) rc = offer(*registration);
    return rc == CM_OK ? acceptOn(*registration, request, conversation_ID) : rc;
}

CM_RETCODE KEL_CMACCPTP(CPIC_INT handle, CPIC_INT timeout, KEL_RAW* conversation_ID,
                        CM_RETCODE* return_code) noexcept {
    return STIReturn(STICmAccpTp({handle, timeout, false, "KEL_CMACCPTP"}, conversation_ID), return_code);
}

CM_RETCODE KEL_CMACCPTP3(CPIC_INT handle, CPIC_INT timeout, KEL_RAW* conversation_ID, void* ptr,
                         CM_RETCODE* return_code) noexcept {
    return STIReturn(STICmAccpTp({handle, timeout, true, "KEL_CMACCPTP3", ptr}, conversation_ID),
                     return_code);
}
