// What can be asked and set at any time.

#include "krn/si/cpic/cpicconv.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicreg.h"

CM_RETCODE KEL_CMTIMEOUT2(const KEL_RAW* conversation_ID, CPIC_INT ti, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STISearchConv(conversation_ID);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    if (ti < -1) return STIReturn(STIBadArgument("KEL_CMTIMEOUT2", "ti", ti), return_code);
    conv->timeout = ti;
    conv->timeout_initialized = true;
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

CM_RETCODE KEL_CMDATAOPEN(const KEL_RAW* conversation_ID, CPIC_DATA_COVER cover, void* context,
                          CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STISearchConv(conversation_ID);
    if (conv) {
        conv->data_cover = cover;
        conv->cover_context = context;
    }
    return STIReturn(conv ? CM_OK : CM_PARAMETER_ERROR, return_code);
}

CM_RETCODE KEL_CMKEEPALIVE(const KEL_RAW* conversation_ID, CPIC_INT timeout,
                           CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv;
    const CM_RETCODE rc = STIEnter(conversation_ID, CPIC_KEEPALIVE, "KEL_CMKEEPALIVE", &conv);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    return STIReturn(STIPing(*conv, timeout), return_code);
}
