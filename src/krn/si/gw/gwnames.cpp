#include "krn/si/gw/gwnames.h"

#include <span>

#include "krn/si/gw/gwenum.h"

namespace {

constexpr const KEL_CHAR* UNKNOWN = "UNKNOWN";

struct Row {
    int code;
    const KEL_CHAR* name;
    const KEL_CHAR* text = nullptr;
};

// Each row takes its name from the enumeration.
#define GW_REQUEST(name) \
    { GW_RQ_##name, #name }
#define GW_CODE(name) \
    { name, #name }
#define GW_TEXT(name, text) \
    { name, #name, text }

constexpr Row REQUESTS[] = {
    GW_REQUEST(INITIALIZE_CONVERSATION),
    GW_REQUEST(ACCEPT_CONVERSATION),
    GW_REQUEST(ALLOCATE),
    GW_REQUEST(SEND_DATA),
    GW_REQUEST(ASEND_DATA),
    GW_REQUEST(RECEIVE),
    GW_REQUEST(ARECEIVE),
    GW_REQUEST(DEALLOCATE),
    GW_REQUEST(SET_TP_NAME),
    GW_REQUEST(SET_PARTNER_LU_NAME),
    GW_REQUEST(SET_SECURITY_PASSWORD),
    GW_REQUEST(SET_SECURITY_USER_ID),
    GW_REQUEST(SET_SECURITY_TYPE),
    GW_REQUEST(SET_CONVERSATION_TYPE),
    GW_REQUEST(EXTRACT_TP_NAME),
    GW_REQUEST(FLUSH),
    GW_REQUEST(KEL_ALLOCATE),
    GW_REQUEST(KEL_INIT),
    GW_REQUEST(KEL_SEND),
    GW_REQUEST(AKEL_SEND),
    GW_REQUEST(KEL_SYNC),
    GW_REQUEST(KEL_PING),
    GW_REQUEST(KEL_REGTP),
    GW_REQUEST(KEL_UNREGTP),
    GW_REQUEST(KEL_ACCPTP),
    GW_REQUEST(KEL_UNACCPTP),
    GW_REQUEST(KEL_CANCTP),
    GW_REQUEST(KEL_SET_UID),
    GW_REQUEST(KEL_CANCEL),
    GW_REQUEST(KEL_CANCELED),
    GW_REQUEST(KEL_STOP_STREAMING),
    GW_REQUEST(KEL_CONT_STREAMING),
};

constexpr Row APPC_CODES[] = {
    GW_CODE(CM_OK),
    GW_CODE(CM_ALLOCATE_FAILURE_NO_RETRY),
    GW_CODE(CM_ALLOCATE_FAILURE_RETRY),
    GW_CODE(CM_CONVERSATION_TYPE_MISMATCH),
    GW_CODE(CM_SECURITY_NOT_VALID),
    GW_CODE(CM_SYNC_LVL_NOT_SUPPORTED_PGM),
    GW_CODE(CM_TPN_NOT_RECOGNIZED),
    GW_CODE(CM_TP_NOT_AVAILABLE_NO_RETRY),
    GW_CODE(CM_TP_NOT_AVAILABLE_RETRY),
    GW_CODE(CM_DEALLOCATED_ABEND),
    GW_CODE(CM_DEALLOCATED_NORMAL),
    GW_CODE(CM_PARAMETER_ERROR),
    GW_CODE(CM_PRODUCT_SPECIFIC_ERROR),
    GW_CODE(CM_PROGRAM_ERROR_NO_TRUNC),
    GW_CODE(CM_PROGRAM_ERROR_PURGING),
    GW_CODE(CM_PROGRAM_ERROR_TRUNC),
    GW_CODE(CM_PROGRAM_PARAMETER_CHECK),
    GW_CODE(CM_PROGRAM_STATE_CHECK),
    GW_CODE(CM_RESOURCE_FAILURE_NO_RETRY),
    GW_CODE(CM_RESOURCE_FAILURE_RETRY),
    GW_CODE(CM_UNSUCCESSFUL),
    GW_CODE(CM_OPERATION_INCOMPLETE),
    GW_CODE(CM_SYSTEM_EVENT),
    GW_CODE(CM_KEL_TIMEOUT_RETRY),
    GW_CODE(CM_CANCEL_REQUEST),
    GW_CODE(CM_KEL_PING_RECEIVED),
};

constexpr Row KEL_CODES[] = {
    GW_CODE(KEL_O_K),
    GW_TEXT(CPIC_ERROR, "cpic error"),
    GW_TEXT(CANT_GET_MEMORY, "can't get memory"),
    GW_TEXT(NI_READ_FAILED, "connection to client broken (read)"),
    GW_TEXT(NI_WRITE_FAILED, "connection to client broken (write)"),
    GW_TEXT(INVALID_REQUEST, "invalid cpic request"),
    GW_TEXT(NOT_YET_CONNECTED, "not yet connected"),
    GW_TEXT(GW_WP_DIED, "KEL gateway workprocess died"),
    GW_TEXT(SHM_READ_FAILED, "shared memory error"),
    GW_TEXT(SHM_WRITE_FAILED, "shared memory error"),
    GW_TEXT(CONN_EXCEEDED, "max no of connections (%d) exceeded"),
    GW_TEXT(NO_MORE_WP, "max no of KEL gateway workprocess exceeded"),
    GW_TEXT(CANT_START_WORKPROCESS, "can't start KEL gateway workprocess"),
    GW_TEXT(WRONG_COMM_TYPE, "wrong protocol value %c"),
    GW_TEXT(CONNECT_FAILED, "connect failed"),
    GW_TEXT(GW_TABLE_ERROR, "%s table error"),
    GW_TEXT(GW_CONNECT_FAILED, "connect to KEL gateway failed (host %s, service %s)"),
    GW_TEXT(GW_DISCONNECTED, "disconnected from KEL gateway"),
    GW_TEXT(WRITE_TO_GW_FAILED, "write to KEL gateway failed"),
    GW_TEXT(READ_FROM_GW_FAILED, "read from KEL gateway failed"),
    GW_TEXT(INVALID_LEN, "invalid length"),
    GW_TEXT(INVALID_ENVIRONMENT, "invalid environment"),
    GW_TEXT(GW_TIMEOUT, "timeout during allocate"),
    GW_TEXT(GW_CONNECT_TO_Q7, "connect to Q7 failed"),
    GW_TEXT(SYSTEM_DISCONNECTED, "connection to CPIC client closed"),
    GW_TEXT(MEM_OVERFLOW, "memory overflow"),
    GW_TEXT(WRONG_APPCHDR_VERSION, "client with wrong appc header version rejected"),
    GW_TEXT(GW_APPC_SERVER_DOWN, "appc server not running"),
    GW_TEXT(TXCOM_TABLE_FAILED, "TXCOM table error"),
    GW_TEXT(GW_TABLE_OVERFLOW, "%s table overflow"),
    GW_TEXT(C_NO_MEM, "no memory available (%d bytes)"),
    GW_TEXT(C_NO_SIDE_INFO, "open of side info file %s failed"),
    GW_TEXT(C_TP_START, "start of TP >%-.*s< failed"),
    GW_TEXT(C_NO_INIT, "no CMINIT/CMACCP executed before"),
    GW_TEXT(C_GETLU, "getlu failed"),
    GW_TEXT(C_SIGNAL, "signal failed"),
    GW_TEXT(C_TIMEOUT, "timeout during allocate to LU %s, TP %s after %d sec"),
    GW_TEXT(C_ALLC, "allocate to LU %s, TP %s failed"),
    GW_TEXT(C_SEND, "send failed"),
    GW_TEXT(C_PREPARE, "prepare failed"),
    GW_TEXT(C_FLUSH, "flush failed"),
    GW_TEXT(C_RECEIVE, "receive failed"),
    GW_TEXT(C_NO_ARGUMENT, "arguments missing"),
    GW_TEXT(C_GET_ALLOCATE, "get_allocate/receive_allocate failed"),
    GW_TEXT(C_DEAL, "deallocate failed"),
    GW_TEXT(C_TP_END, "tp_end failed"),
    GW_TEXT(C_MAX_CONV, "max no of %d conversations exceeded"),
    GW_TEXT(C_SNAOPEN, "snaopen of LU %s failed"),
    GW_TEXT(C_SNACTL, "snactl failed"),
    GW_TEXT(C_NO_FLUSH, "no flush in IBM environment"),
    GW_TEXT(C_SNACLSE, "snaclse failed"),
    GW_TEXT(C_STATE_CHECK, "program state check for conversation %.8s"),
    GW_TEXT(C_NO_SIDE_INFO_ENTRY, "no side info entry for dest %.8s found"),
    GW_TEXT(C_NO_CONV, "no conversation found with id %.8s"),
    GW_TEXT(C_MANUAL_CANCELD, "connection canceled manually"),
    GW_TEXT(C_AUTO_CANCELD, "connection canceled automatically"),
    GW_TEXT(C_NO_PARTNER, "no partner found"),
    GW_TEXT(C_CONFIRM, "confirm failed"),
    GW_TEXT(C_CONFIRMED, "confirmed failed"),
    GW_TEXT(C_NO_HOST_IN_SIDE_INFO, "missing GWHOST in side info entry %.8s"),
    GW_TEXT(C_NO_SERV_IN_SIDE_INFO, "missing GWSERV in side info entry %.8s"),
    GW_TEXT(C_NO_PROT_IN_SIDE_INFO, "missing PROTOCOL in side info entry %.8s"),
    GW_TEXT(C_NO_LU_IN_SIDE_INFO, "missing LU in side info entry %.8s"),
    GW_TEXT(C_NO_TP_IN_SIDE_INFO, "missing TP in side info entry %.8s"),
    GW_TEXT(C_NO_GATEWAY_CONNECTION, "no connection to KEL gateway"),
    GW_TEXT(C_GETHOSTNAME, "gethostname failed"),
    GW_TEXT(C_NO_KEL_CMACCP, "no KEL_CMACCP executed before"),
    GW_TEXT(C_NO_PROGRAM_NAME_ARG, "no program name in argument list"),
    GW_TEXT(C_NO_HOST_ARG, "no host name in argument list"),
    GW_TEXT(C_NO_SERV_ARG, "no service name in argument list"),
    GW_TEXT(C_NO_CONVID_ARG, "no conversation ID in argument list"),
    GW_TEXT(C_ILLEGAL_PARAMETER, "illegal parameter value"),
    GW_TEXT(C_LU62CVCT, "LU62CVCT failed"),
    GW_TEXT(C_LU62ATTACH, "LU62ATTCH failed"),
    GW_TEXT(C_NO_CONV_TABLE, "file %s, with convert table not found"),
    GW_TEXT(C_ILL_CONV_TABLE, "file %s, illegal convert table, %s"),
    GW_TEXT(C_ILL_MOD_VALUES, "file %s, illegal parameter for convert modification, %s"),
    GW_TEXT(C_NIHOSTTOADDR, "NiHostToAddr failed"),
    GW_TEXT(C_NIADDRTOHOST, "NiAddrToHost failed"),
    GW_TEXT(C_THOST_FAILED, "read of table THOST failed"),
    GW_TEXT(INVALID_MODE, "invalid user session"),
    GW_TEXT(MAX_NO_OF_GATEWAYS, "max no of gateway's"),
    GW_TEXT(MISSING_LU_SPEC, "missing lu specification (no CMSPLN)"),
    GW_TEXT(MAX_CPIC_CLIENTS, "max no of cpic clients"),
    GW_TEXT(MISSING_TP_SPEC, "bad tp name"),
    GW_TEXT(FORK_FAILED, "fork failed"),
    GW_TEXT(BAD_NI_HANDLE, "bad ni handle"),
    GW_TEXT(REXEC_FAILED, "rexec failed"),
    GW_TEXT(TP_START_FAILED, "start of remote tp failed"),
    GW_TEXT(NI_DG_SEND_FAILED, "send of datagram failed"),
    GW_CODE(INTERNAL_ERROR),
    GW_TEXT(GW_HOST_UNKNOWN, "host unknown"),
    GW_TEXT(GW_SERVICE_UNKNOWN, "service unknown"),
    GW_TEXT(GW_NI_ERROR, "error in kel network interface"),
    GW_TEXT(GW_EXEC_FAILED, "Start of %s %s failed"),
    GW_TEXT(Q2_RESTARTED, "Q2 restarted, please logon again"),
    GW_TEXT(SYM_DEST_TOO_LONG, "Symbolic destination too long"),
    GW_TEXT(NO_MORE_SIDE_INFO_ENTRY, "no more side info entry found"),
    GW_TEXT(Q7_LOGIN_FAILED, "log on to Q7 on host %s with service %s failed"),
    GW_CODE(IMS_ERROR_PURGING),
    GW_CODE(PENDING_TERM_OUTPUT),
    GW_CODE(GW_SECURITY_ERROR),
    GW_CODE(GW_TIMEOUT_REG_PRGM),
    GW_TEXT(TP_REGISTERED, "LU %s, TP = %s on gateway %s registered"),
    GW_TEXT(TP_NOTREGISTERED, "timeout during accept for handle %d after %d sec"),
    GW_CODE(GW_NORULE_ERROR),
    GW_CODE(TP_REG_SECU_ERROR),
    GW_CODE(GW_VSL_DISABLED),
    GW_CODE(GW_VSL_REQUIRED),
    GW_CODE(GW_VSL_NAME_NOT_SET),
    GW_CODE(GW_VSL_NAME_NO_DEFAULT),
    GW_CODE(GW_VSL_PROT_NOT_SUPP),
    GW_CODE(GW_Q7_NOT_CONNECTED),
    GW_CODE(GW_VSL_REQUIRED_FOR_LU_TP),
    GW_CODE(CONV_ID_NOT_FOUND),
    GW_CODE(GW_VSL_SECURE_PORT),
    GW_CODE(GW_VSL_START_EXT_DIS),
    GW_TEXT(GW_SHUTDOWN, "gateway shutdown"),
    GW_CODE(GW_REM_PRGM_DISABLED),
    GW_CODE(GW_STOLEN_CONVID),
    GW_CODE(GW_NET_CONV_ERROR),
    GW_CODE(GW_MONITOR_DISABLED),
    GW_TEXT(GW_DUPLICATE_CVID, "duplicate conversation id %.8s from %s/%s and %s/%s received"),
    GW_CODE(GW_CONNECT_TIMEOUT),
    GW_CODE(GW_REQ_TO_DP_FAILED),
    GW_CODE(GW_CLIENT_ALREADY_DISC),
    GW_CODE(GW_NO_HOST_IN_ROUTE),
    GW_CODE(GW_ROUTE_CONNECT_DIS),
    GW_CODE(GW_CONN_IS_FREE),
    GW_CODE(GW_CONN_IS_DISC),
    GW_CODE(GW_REQBLK_ADM_ERROR),
    GW_CODE(GW_BUFINFO_ERROR),
    GW_CODE(GW_HDLINFO_ERROR),
    GW_CODE(TP_REG_NOREG_ERROR),
    GW_CODE(TP_REG_ACCESS_DENIED),
    GW_CODE(GW_PARAM_NOT_FOUND),
    GW_CODE(GW_PRXY_ACCESS_DENIED),
    GW_CODE(GW_ACCEPT_TIMEOUT),
    GW_CODE(GW_WRONG_SERVER),
    GW_CODE(GW_WRONG_LONG_ROUTE),
    GW_CODE(GW_TP_REG_NORULE_ERROR),
    GW_CODE(GW_TP_REG_CANCEL_DENIED),
    GW_CODE(TP_REG_SECU_ERRORP),
    GW_TEXT(C_NO_SIDE_INFO_GW, "open side info file %s on %s failed"),
    GW_TEXT(C_RECEIVE_WITH_PAR, "receive failed, %s"),
    GW_TEXT(C_NO_VSL_LIB_ARG, "no parameter VSL_LIB in argument list or environment"),
    GW_TEXT(C_NO_VSL_NAME_ARG, "no parameter VSL in argument list or environment"),
    GW_TEXT(C_VSL_INV_HANDLE, "invalid VSL handle, conversation id %.8s"),
    GW_TEXT(C_VSL_DISABLED, "VSL disabled for conversation %.8s, tp = %s"),
    GW_CODE(C_VSL_ERROR),
    GW_TEXT(C_VSL_MODE_ON, "VSL required (VSL_MODE=ON defined) for conversation %.8s, tp = %s"),
    GW_TEXT(C_VSL_NOT_AVAILABLE, "VSL not available (%s)"),
    GW_TEXT(C_ILLEGAL_PARAMETER2, "illegal parameter value ( function=%s / parameter=%s / value=%s )"),
    GW_TEXT(C_AREA_TOO_SMALL, "%s too small ( function=%s / (%d/%d) bytes)"),
    GW_TEXT(C_VSL_INV_STATE, "illegal VSL mode ( %s / %d )"),
    GW_TEXT(C_RETURN_CODES, "Return codes ( function=%s / CPIC-RC=%s / KEL-RC=%s )"),
    GW_TEXT(C_REG_STATE_CHECK, "Invalid register state (%s) to perform function %s"),
    GW_TEXT(C_CPICTERR, "%s / CPIC-RC=%s / KEL-RC=%s "),
    GW_TEXT(C_NO_SYMDEST, "no symbolic destination specified"),
    GW_TEXT(C_FUNCTION_NOT_SUPPORTED, "not supported with this version"),
    GW_TEXT(C_NET_CONV_ERROR, "converting to/from net format failed"),
    GW_TEXT(C_SIDEINFO_DISABLED, "usage of sideinfo file disabled with KEL_CMUSESIDEINFO"),
    GW_TEXT(C_TIMEOUT_BLOCK, "timeout during blocking read"),
    GW_TEXT(C_FAILOVER_ERROR, "failover error occured (%s)"),
    GW_TEXT(C_PROXY_ERROR, "proxy error occured (%s)"),
    GW_TEXT(C_MPI_ERROR, "memory pipe error occured (%s)"),
    GW_TEXT(C_MTX_ERROR, "mutex error occured (%s)"),
    GW_TEXT(C_CS_ERROR, "critical section error occured (%s)"),
    GW_CODE(C_SERVER_CONN_CLOSED_BY_APPL),
};

const Row* find(std::span<const Row> rows, int code) noexcept {
    for (const Row& row : rows)
        if (row.code == code) return &row;
    return nullptr;
}

const KEL_CHAR* nameOf(std::span<const Row> rows, int code) noexcept {
    const Row* row = find(rows, code);
    return row ? row->name : UNKNOWN;
}

}  // namespace

const KEL_CHAR* GwFuncName(int rqtype) noexcept {
    return nameOf(REQUESTS, rqtype);
}

const KEL_CHAR* GwGetAppcRc(int appc_rc) noexcept {
    return nameOf(APPC_CODES, appc_rc);
}

const KEL_CHAR* GwGetKelRc(int kel_rc) noexcept {
    return nameOf(KEL_CODES, kel_rc);
}

const KEL_CHAR* GwGetKelText(int kel_rc) noexcept {
    const Row* row = find(KEL_CODES, kel_rc);
    return row && row->text ? row->text : GwGetKelRc(kel_rc);
}
