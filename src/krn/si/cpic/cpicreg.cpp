// Registering a program, and leaving.

#include "krn/si/cpic/cpicreg.h"

#include <cstring>
#include <new>

#include "base/thr/deadline.h"
#include "krn/si/cpic/cpicconnect.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpictrc.h"

namespace {

constexpr std::size_t TPNAME_MAX = 64;
constexpr CPIC_INT HANDLE_LIMIT = 10000000;
/** ms in which the gateway has to take a word about a registration. */
constexpr CPIC_INT WORD_TIMEOUT = 5000;
/** ms for what a partner's conversation left on the line. */
constexpr CPIC_INT PENDING_TIMEOUT = 1000;

/** The id by which a registration is found: a letter for the form of the handle, and the handle. */
CONV_ID registrationId(CPIC_INT handle, bool use_nihandle) {
    KEL_CHAR text[16];
    const int length = std::snprintf(text, sizeof text, "%c%d", use_nihandle ? 'N' : 'H', handle);
    CONV_ID id = BLANK_CONV_ID;
    std::memcpy(id.data(), text, std::min(id.size(), static_cast<std::size_t>(length)));
    return id;
}

CM_RETCODE checkNames(const CPIC_REGISTER_REQUEST& request) {
    const std::size_t length = std::strlen(request.tpname);
    if (length == 0 || length > TPNAME_MAX || std::strchr(request.tpname, '*'))
        return STIBadArgument(request.function, "tpname", request.tpname);
    if (*request.gwhost == '\0') return STIBadArgument(request.function, "gwhost", "");
    if (std::strlen(request.gwhost) > CPIC_GWHOST_MAX)
        return STIBadArgument(request.function, "gwhost", static_cast<CPIC_INT>(std::strlen(request.gwhost)));
    if (*request.gwserv == '\0') return STIBadArgument(request.function, "gwserv", "");
    return CM_OK;
}

/** The handle by which the program is to know its registration. */
CM_RETCODE handleOf(const CONV_PROTO& conv, bool use_nihandle, CPIC_INT* handle) {
    *handle = conv.gw_socket;
    if (!use_nihandle && NiHdlToSock(conv.gw_socket, handle) != NI_OK) return CM_PRODUCT_SPECIFIC_ERROR;
    if (*handle > 0 && *handle < HANDLE_LIMIT) return CM_OK;
    CPIC_ERRSET(BAD_NI_HANDLE, "handle %d", *handle);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE connectRegistration(CONV_PROTO& conv, const CPIC_REGISTER_REQUEST& request) {
    KEL_CHAR host[CPIC_GWHOST_MAX + 1];
    NiSecStr(request.gwhost, host);
    conv.gwhost = host;
    conv.gwserv = request.gwserv;
    conv.reg.reg_id = request.tpname;
    conv.vsl_mode = request.vsl_data && request.vsl_data->mode != 0;
    if (conv.vsl_mode) return STIVslInit();
    STISetConvTrace(conv, -1);
    return STIConnect(conv, {.opcode = GW_REGISTER_TP,
                             .host = request.gwhost,
                             .service = request.gwserv,
                             .my_host = STInitGlobals().my_hostname,
                             .tp = request.tpname,
                             .timeout = conv.connect_timeout});
}

CM_RETCODE registerIn(CONV_PROTO& conv, const CPIC_REGISTER_REQUEST& request, CPIC_INT* handle) {
    CM_RETCODE rc = CM_PRODUCT_SPECIFIC_ERROR;
    try {
        rc = connectRegistration(conv, request);
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(std::strlen(request.gwhost)));
    }
    if (rc == CM_OK) rc = handleOf(conv, request.use_nihandle, handle);
    if (rc != CM_OK) return rc;
    conv.local_state = AFTER_REGISTER;
    conv.reg.reg_state = REG_INIT;
    conv.reg.use_nihandle = request.use_nihandle;
    conv.int_protocol = GW_PROT_REG;
    STIAssignConvId(conv, registrationId(*handle, request.use_nihandle));
    return CM_OK;
}

/** Reads off what the last partner's conversation left behind. False if the line is dead. */
bool STIReadPendingData(CONV_PROTO& registration) {
    const Deadline deadline(PENDING_TIMEOUT);
    CPIC_MESSAGE message;
    while (deadline.left() > 0) {
        const CPIC_READ read = STIAsRcvFromGw(registration, {}, 0, &message);
        if (read == CPIC_READ_TIMEOUT) return true;
        if (read != CPIC_READ_OK || message.header.rqtype == GW_RQ_KEL_CANCTP) return false;
    }
    return true;  // what comes later is told by the conversation's id
}

/** Tells the gateway that the partner's conversation is over. False if the line is dead. */
bool makeReady(CONV_PROTO& registration, const CONV_PROTO& conv) {
    if (conv.gw_conn_lost || !conv.unsent.empty()) return false;
    registration.nicheck_written = conv.nicheck_written;
    if (!STIReadPendingData(registration)) return false;
    registration.reg.reg_state = REG_INIT;
    APPCHDR6 header = STIHeader(registration, GW_RQ_KEL_UNACCPTP);
    header.info = SYNC_CPIC_FUNCTION;
    header.nparams = GwPutNcmsend({.send_length = static_cast<std::int32_t>(APPCHDR6_LAYOUT::length)});
    KEL_RAW bytes[APPCHDR6_LAYOUT::length];
    GwPutHdr(bytes, header);
    return NiWrite(registration.gw_socket, bytes, sizeof bytes, WORD_TIMEOUT) == NI_OK;
}

/** Closes the connection and frees the entry. */
void drop(CONV_PROTO& registration) {
    STISelDel(registration, true);
    registration.gw_socket = NI_INVALID_HDL;
    STIFreeConv(registration);
}

CM_RETCODE unregister(CPIC_INT handle, bool use_nihandle, const KEL_CHAR* name, CM_RETCODE* return_code) {
    CONV_PROTO* conv = STIFindRegistration(handle, use_nihandle);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    CM_RETCODE rc = STIQ7LocCheckState(*conv, CPIC_UNREGTP, name);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    STIEndRegistration(*conv);
    return STIReturn(rc, return_code);
}

}  // namespace

CM_RETCODE STIRegTp(const CPIC_REGISTER_REQUEST& request, CPIC_INT* handle) noexcept {
    STIBeginCall();
    *handle = 0;
    if (const CM_RETCODE rc = checkNames(request); rc != CM_OK) return rc;
    CONV_PROTO* conv = STIGetNewConv();
    if (!conv) return CM_PRODUCT_SPECIFIC_ERROR;
    const CM_RETCODE rc = registerIn(*conv, request, handle);
    if (rc == CM_OK) return CM_OK;
    *handle = 0;
    STIDEAL(*conv);
    return rc;
}

CONV_PROTO* STIFindRegistration(CPIC_INT handle, bool use_nihandle) noexcept {
    const CONV_ID id = registrationId(handle, use_nihandle);
    return STISearchConv(id.data());
}

void STIEndRegistration(CONV_PROTO& registration) noexcept {
    const ErrKeeper keeper;
    CONV_PROTO* const running = STIConvAt(registration.reg.running);
    const bool whole = !running || running->unsent.empty();
    if (running) STIFreeConv(*running);
    registration.reg.running = -1;
    if (!registration.gw_conn_lost && whole) {
        APPCHDR6 header = STIHeader(registration, GW_RQ_KEL_UNREGTP);
        header.info = SYNC_CPIC_FUNCTION;
        header.nparams = GwPutNcmsend({.send_length = static_cast<std::int32_t>(APPCHDR6_LAYOUT::length)});
        KEL_RAW bytes[APPCHDR6_LAYOUT::length];
        GwPutHdr(bytes, header);
        NiWrite(registration.gw_socket, bytes, sizeof bytes, WORD_TIMEOUT);
    }
    drop(registration);
}

void STIReturnToRegistration(CONV_PROTO& conv) noexcept {
    const ErrKeeper keeper;
    CONV_PROTO* const registration = STIConvAt(conv.reg.reg_hook);
    const bool mine = registration && registration->reg.running == conv.idx;
    if (!mine) {
        STIFreeConv(conv);
        return;
    }
    STISelDel(conv, false);  // the set knows the entry that ends here
    registration->reg.running = -1;
    registration->reg.last_conv = conv.gwy_conv_ID;
    const bool ready = makeReady(*registration, conv);
    registration->gw_conn_lost = !ready;
    STIFreeConv(conv);
    if (!ready || registration->reg.reg_from_accp) STIEndRegistration(*registration);
}

CM_RETCODE KEL_CMREGTP2(const KEL_CHAR* tpname, const KEL_CHAR* gwhost, const KEL_CHAR* gwserv,
                        CPIC_INT* handle, const CPIC_VSL_DATA* vsl_data, CM_RETCODE* return_code) noexcept {
    return STIReturn(STIRegTp({tpname, gwhost, gwserv, vsl_data, false, "KEL_CMREGTP2"}, handle),
                     return_code);
}

CM_RETCODE KEL_CMREGTP3(const KEL_CHAR* tpname, const KEL_CHAR* gwhost, const KEL_CHAR* gwserv,
                        CPIC_INT* handle, const CPIC_VSL_DATA* vsl_data, CM_RETCODE* return_code) noexcept {
    return STIReturn(STIRegTp({tpname, gwhost, gwserv, vsl_data, true, "KEL_CMREGTP3"}, handle), return_code);
}

CM_RETCODE KEL_CMUNREGTP(CPIC_INT handle, CM_RETCODE* return_code) noexcept {
    return unregister(handle, false, "KEL_CMUNREGTP", return_code);
}

CM_RETCODE KEL_CMUNREGTP3(CPIC_INT handle, CM_RETCODE* return_code) noexcept {
    return unregister(handle, true, "KEL_CMUNREGTP3", return_code);
}

void* KEL_CMREGPTR3(CPIC_INT handle) noexcept {
    const CONV_PROTO* const conv = STIFindRegistration(handle, true);
    return conv ? conv->reg.select_set_ptr : nullptr;
}

CM_RETCODE KEL_CMUNACCPTP(CPIC_INT handle, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STIFindRegistration(handle, false);
    if (!conv) conv = STIFindRegistration(handle, true);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    // A partner may be on its way; then the line lives, and the partner isn't sent back.
    if (NiPeek(conv->gw_socket, 0) == NI_OK) return STIReturn(CM_OK, return_code);
    const bool waiting = conv->reg.reg_state == REG_WAITING;
    const CM_RETCODE rc = STISendInternal(*conv, GW_RQ_KEL_UNACCPTP, {CPIC_UNACCPTP, WORD_TIMEOUT});
    if (rc == CM_OK && waiting) conv->reg.reg_state = REG_INIT;
    return STIReturn(rc, return_code);
}
