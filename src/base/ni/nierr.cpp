#include "base/ni/nierr.h"

#include <cstdio>

#include "base/dptrc/err.h"

namespace {

struct Row {
    int rc;
    const KEL_CHAR* name;
    const KEL_CHAR* text;  ///< The first %s is the subject; only a router knows the others.
};

constexpr const KEL_CHAR* FOR_CALLER =
    "internal error\n(this retcode should be handled by caller of NI-layer)";

#define NI_ROW(code, text) \
    { code, #code, text }

constexpr Row ROWS[] = {
    NI_ROW(NI_OK, ""),
    NI_ROW(NIEINTERN, "internal error"),
    NI_ROW(NIEHOST_UNKNOWN, "hostname '%s' unknown"),
    NI_ROW(NIESERV_UNKNOWN, "service '%s' unknown"),
    NI_ROW(NIESERV_USED, "service '%s' in use"),
    NI_ROW(NIETIMEOUT, "timeout occured"),
    NI_ROW(NIECONN_BROKEN, "connection to partner '%s' broken"),
    NI_ROW(NIETOO_SMALL, FOR_CALLER),
    NI_ROW(NIEINVAL, FOR_CALLER),
    NI_ROW(NIECONN_REFUSED, "partner '%s' not reached"),
    NI_ROW(NIEPING, FOR_CALLER),
    NI_ROW(NIECONN_PENDING, "timeout while pending for route completion"),
    NI_ROW(NIEVERSION, "invalid client version"),
    NI_ROW(NIENOFREEPORT, "no free connect port found within range"),
    NI_ROW(NIEMYHOST_VERIFY, "verify own hostname '%s' failed"),
    NI_ROW(NIEVSL_FAILURE, "VSL processing failed:\n%s"),
    NI_ROW(NIEOPCODE, "Opcode received"),
    NI_ROW(NIEQUE_FULL, "Queue overflow"),
    NI_ROW(NIETOO_BIG, "Network packet too big"),
    NI_ROW(NIEACCEPT, "Accepted handle pending"),
    NI_ROW(NIEPASSED, "Handle passed to other process"),
    NI_ROW(NIENO_ANSWER, ""),
    NI_ROW(NIECALL, "Unexpected function call"),
    NI_ROW(NIEACLDENY, ""),
    NI_ROW(NIEACLLOAD, ""),
    NI_ROW(NIESSL_ERROR, ""),
    NI_ROW(NIESSL_CONN_CLOSED, ""),
    NI_ROW(NIESSL_BAD_SSSL_HDL, ""),
    NI_ROW(NIESSL_BAD_AUTH_TYPE, ""),
    NI_ROW(NIESSL_PEER_INFO_FAILED, ""),
    NI_ROW(NIESSL_NO_CLIENT_CERT, ""),
    NI_ROW(NIESSL_NO_SERVER_CERT, ""),
    NI_ROW(NIESSL_NO_SSL3_REQUEST, ""),
    NI_ROW(NIESSL_SERVER_CERT_MISMATCH, ""),
    NI_ROW(NIESSL_PSE_ERROR, ""),
    NI_ROW(NIESSL_CRED_NOT_FOUND, ""),
    NI_ROW(NIESSL_BAD_TARGET_NAME, ""),
    NI_ROW(NIESSL_BAD_MATCH_TYPE, ""),
    NI_ROW(NIESSL_BAD_MATCH_VALUE, ""),
    NI_ROW(NIEROUT_HOST_UNKNOWN, "hostname '%s' unknown"),
    NI_ROW(NIEROUT_SERV_UNKNOWN, "service '%s' unknown"),
    NI_ROW(NIEROUT_CONN_REFUSED, "partner '%s' not reached"),
    NI_ROW(NIEROUT_INTERN, "internal error"),
    NI_ROW(NIEROUT_PERM_DENIED, "%s: route permission denied (%s to %s, %s)"),
    NI_ROW(NIEROUT_CONN_BROKEN, "connection to %s, %s broken"),
    NI_ROW(NIEROUT_VERSION, "invalid client version"),
    NI_ROW(NIEROUT_CANCELED, "route canceled by administator"),
    NI_ROW(NIEROUT_SHUTDOWN, "router shutdown"),
    NI_ROW(NIEROUT_INFO_DENIED, "info access denied (%s to %s, %s)"),
    NI_ROW(NIEROUT_OVERFLOW, "maximum number of clients reached"),
    NI_ROW(NIEROUT_MODE_DENIED, "talkmode Native2 not allowed"),
    NI_ROW(NIEROUT_NOCLIENT, "invalid client requested"),
    NI_ROW(NIEROUT_EXTERN, ""),
    NI_ROW(NIEROUT_VSL_FAILURE, "VSL processing failed:\n%s"),
};

const Row* find(int rc) noexcept {
    for (const Row& row : ROWS)
        if (row.rc == rc) return &row;
    return nullptr;
}

/** An error line with the place of the failure. */
void traceFailure(KELRETURN rc, const NiCause& cause, const KEL_CHAR* text) noexcept {
    if (ct_level < 1) return;
    const DpHold hold(1);
    CTrcSaveLocation(cause.module, cause.line);
    if (*cause.detail)
        DpTrcErr(tf, "%s: %s", cause.function, cause.detail);
    else
        DpTrcErr(tf, "%s: %s (%s)", cause.function, NiErrStr(rc), text);
}

}  // namespace

const KEL_CHAR* NiErrStr(KELRETURN rc) noexcept {
    const Row* row = find(rc);
    return row ? row->name : "*** ERROR ***";
}

KELRETURN NiErrSet(KELRETURN rc, const NiCause& cause) noexcept {
    const Row* row = find(rc);
    KEL_CHAR subject[NI_HOST_MAX + NI_SERV_MAX];
    NiSecStr(cause.subject, subject);
    KEL_CHAR text[sizeof subject + 80];
    std::snprintf(text, sizeof text, row ? row->text : "*** ERROR ***", subject, "", "", "");
    const bool system = cause.socket && cause.socket->lastError != 0;
    ErrSetSys(NI_COMPONENT, NI_VERSION, cause.module, cause.line, system ? ERR_LOG_ENTRY : ERR_NO_LOG, text,
              rc, *cause.detail ? "%s: %s" : "%s", system ? cause.socket->lastCall : "",
              system ? cause.socket->lastError : 0, cause.function, cause.detail);
    traceFailure(rc, cause, text);
    return rc;
}

KELRETURN NiErrSet(KELRETURN rc) noexcept {
    return NiErrSet(rc, {.function = __func__, .line = __LINE__, .module = __FILE__});
}

KELRETURN NiISystemError(SI_RC rc, bool connecting) noexcept {
    switch (rc) {
        case SI_OK:
            return NI_OK;
        case SI_EPORT_INUSE:
            return NIESERV_USED;
        case SI_EADDR_NAVAIL:
            return connecting ? NIECONN_REFUSED : NIEMYHOST_VERIFY;
        case SI_ECONN_REFUSE:
            return NIECONN_REFUSED;
        case SI_ECONN_BROKEN:
            return connecting ? NIECONN_REFUSED : NIECONN_BROKEN;
        case SI_ETIMEOUT:
            return connecting ? NIECONN_REFUSED : NIETIMEOUT;
        case SI_EMFILE:
            return NIEINVAL;
        default:
            return NIEINTERN;
    }
}
