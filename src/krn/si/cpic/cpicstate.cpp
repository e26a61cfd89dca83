// Which function may be called when.

#include <cstdio>
#include <cstring>

#include "krn/si/cpic/cpicconv.h"
#include "krn/si/cpic/cpicerr.h"

namespace {

const KEL_CHAR* stateName(LOCAL_CONV_STATE state) {
    constexpr const KEL_CHAR* NAMES[] = {"NONE", "AFTER_CMRCV", "AFTER_CMACCP", "AFTER_REGISTER"};
    return NAMES[state];
}

CM_RETCODE refuse(const CONV_PROTO& conv, CM_RETCODE rc, const KEL_CHAR* name, const KEL_CHAR* state) {
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, conv.gwy_conv_ID.data(), KEL_CONV_ID_LN);
    CPIC_ERRSET(C_STATE_CHECK, "called function %s in state %s", id, name, state);
    return rc;
}

/** What asks and ends may always come. */
bool alwaysPasses(CPIC_FUNCTION function) {
    return function == CPIC_CMTIMEOUT2 || function == CPIC_KEEPALIVE ||
           (function >= CPIC_CMNIHANDLE && function <= 55);
}

bool ends(CPIC_FUNCTION function) {
    return function == CPIC_CMDEAL || function == CPIC_CMCANCEL;
}

bool passesInterrupted(CPIC_FUNCTION function, CPIC_FUNCTION interrupted) {
    return function == interrupted || function == CPIC_CMRCV || ends(function) ||
           (function == CPIC_CMSEND && interrupted == CPIC_KEL_SYNC) ||
           (function == CPIC_LISTEN3 && interrupted == CPIC_CMRCV);
}

bool passesState(CPIC_FUNCTION function, LOCAL_CONV_STATE state) {
    switch (state) {
        case AFTER_CMACCP:  // an end comes before the first receive, too, or nothing would free the entry
            return function == CPIC_CMRCV || function == CPIC_CMACCP || function == CPIC_ACCPTP ||
                   function == CPIC_LISTEN3 || ends(function);
        case AFTER_REGISTER:
            return function == CPIC_ACCPTP || function == CPIC_UNACCPTP || function == CPIC_UNREGTP;
        default:
            return true;
    }
}

}  // namespace

CM_RETCODE STIQ7LocCheckState(CONV_PROTO& conv, CPIC_FUNCTION function, const KEL_CHAR* name) noexcept {
    if (alwaysPasses(function)) return CM_OK;
    const CPIC_FUNCTION interrupted = conv.interrupted_call;
    if (interrupted != CPIC_NO_FUNCTION && !passesInterrupted(function, interrupted)) {
        KEL_CHAR state[32];
        std::snprintf(state, sizeof state, "interrupted function %d", interrupted);
        return refuse(conv, CM_PRODUCT_SPECIFIC_ERROR, name, state);
    }
    if (!passesState(function, conv.local_state))
        return refuse(conv, CM_PROGRAM_STATE_CHECK, name, stateName(conv.local_state));
    if (function == CPIC_CMRCV && conv.local_state == AFTER_CMACCP) conv.local_state = AFTER_CMRCV;
    return CM_OK;
}

CM_RETCODE STIEnter(const KEL_RAW* conversation_ID, CPIC_FUNCTION function, const KEL_CHAR* name,
                    CONV_PROTO** conv) noexcept {
    *conv = STISearchConv(conversation_ID);
    return *conv ? STIQ7LocCheckState(**conv, function, name) : static_cast<CM_RETCODE>(CM_PARAMETER_ERROR);
}
