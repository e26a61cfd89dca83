// Signs of life of a gateway connection.

#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpicreg.h"

CM_RETCODE STIPing(CONV_PROTO& conv, CPIC_INT timeout) noexcept {
    // An answer that is owed tells as much, and a message that was cut can't be followed by a ping.
    if (conv.interrupted_call != CPIC_NO_FUNCTION || !conv.unsent.empty()) return CM_OK;
    if (conv.nicheck >= static_cast<unsigned>(STInitGlobals().cpic_no_nicheck)) {
        CPIC_ERRSET(GW_DISCONNECTED, "%u pings without an answer", conv.nicheck);
        return CM_UNSUCCESSFUL;
    }
    const KELRETURN rc = NiCheckEx(conv.gw_socket, timeout, true, &conv.nicheck_written);
    if (rc == NIETIMEOUT) return CM_KEL_TIMEOUT_RETRY;
    if (rc != NI_OK) return STIConnectionLost(conv);
    ++conv.nicheck;
    return CM_OK;
}

void STIPingIfDue(CONV_PROTO& conv) noexcept {
    const CPIC_GLOBALS& globals = STInitGlobals();
    if (!globals.cpic_ping) return;
    const std::time_t now = std::time(nullptr);
    if (now - conv.last_send < globals.cpic_ping_period) return;
    conv.last_send = now;
    const ErrKeeper keeper;
    const KELRETURN rc = NiCheckEx(conv.gw_socket, globals.cpic_ping_timeout, true, &conv.nicheck_written);
    if (rc != NI_OK) return;  // what is wrong with the line shows when it is read
    // Without replies to be counted a ping only keeps the line open.
    if (globals.cpic_ping_reply != 0 && ++conv.nicheck > static_cast<unsigned>(globals.cpic_no_nicheck))
        conv.gw_conn_lost = true;
}
