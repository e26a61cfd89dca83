#include "krn/si/gw/gwconnect.h"

#include <cstdio>

#include "base/dptrc/err.h"
#include "base/thr/deadline.h"
#include "krn/si/gw/gwnames.h"
#include "krn/si/gw/gwnet.h"

namespace {

/** Most bytes of an answer: the record and its error information. */
constexpr std::size_t ANSWER_MAX = APPC_CONN3_LAYOUT::length + ERR_BLOCK_MAX;

/** Level from which a connection that was made is told. */
constexpr int TRACE_LEVEL = 2;

int fail(int code, int line, const KEL_CHAR* detail) {
    ErrSet(GW_COMPONENT, GW_VERSION, __FILE__, line, "%s", code, "%s", GwGetKelText(code), detail);
    return code;
}

int timeUp(int code, int line, KEL_INT timeout) {
    KEL_CHAR detail[48];
    std::snprintf(detail, sizeof detail, "timeout %d msecs", timeout);
    return fail(code, line, detail);
}

/** The network layer's own report stays the current error, unless it says nothing of the time. */
int networkCode(KELRETURN rc, KEL_INT timeout) {
    switch (rc) {
        case NIETIMEOUT:
            return timeUp(GW_NI_ERROR, __LINE__, timeout);
        case NIEHOST_UNKNOWN:
            return GW_HOST_UNKNOWN;
        case NIESERV_UNKNOWN:
            return GW_SERVICE_UNKNOWN;
        case NIECONN_REFUSED:
            return GW_CONNECT_FAILED;
        default:
            return GW_NI_ERROR;
    }
}

int write(NI_HDL handle, std::span<const KEL_RAW> record, KEL_INT timeout) {
    const KELRETURN rc = NiWrite(handle, record.data(), static_cast<KEL_INT>(record.size()), timeout);
    if (rc == NIETIMEOUT) return timeUp(NI_WRITE_FAILED, __LINE__, timeout);
    return rc == NI_OK ? KEL_O_K : NI_WRITE_FAILED;
}

int sendRecord(const GwConnectRequest& request, NI_HDL handle) {
    const GwNetName tp(request.tp), host(request.my_host);
    if (const int rc = tp.check("tp"); rc != KEL_O_K) return rc;
    if (const int rc = host.check("lu"); rc != KEL_O_K) return rc;
    APPC_CONN record{.opcode = request.opcode,
                     .tp = tp.view(),
                     .lu = host.view(),
                     .code_page = request.code_page,
                     .conversation_ID = request.conversation_ID,
                     .accept_info = GW_OWN_ACCEPT_INFO,
                     .accept_info2 = GW_OWN_ACCEPT_INFO2,
                     .conn_idx = request.conn_idx};
    KEL_USHORT port;
    if (NiHdlGetName(handle, &record.hostaddr, &port) != NI_OK) return GW_NI_ERROR;
    KEL_RAW bytes[APPC_CONN3_LAYOUT::length];
    return write(handle, std::span(bytes).first(GwPutConn(bytes, record)), request.timeout);
}

/** A registration's names in full. */
int sendExtension(const GwConnectRequest& request, NI_HDL handle) {
    KEL_RAW bytes[APPC_CONN_EXT1_LAYOUT::length];
    GwPutConnExt(bytes, GwNetName(request.my_host).view(), GwNetName(request.tp).view());
    return write(handle, bytes, request.timeout);
}

int readAnswer(NI_HDL handle, KEL_INT timeout, std::span<KEL_RAW> buffer, std::size_t* length) {
    const Deadline deadline(timeout);
    KEL_INT read = 0;
    KELRETURN rc;
    do {
        rc = NiRead(handle, buffer.data(), static_cast<KEL_INT>(buffer.size()), deadline.left(), &read);
    } while (rc == NIEPING && deadline.left() != 0);  // pings don't prolong the wait
    if (rc == NIETIMEOUT || rc == NIEPING) return timeUp(NI_READ_FAILED, __LINE__, timeout);
    *length = static_cast<std::size_t>(read);
    if (rc == NIETOO_SMALL) return fail(INVALID_LEN, __LINE__, "Answer too long");
    return rc == NI_OK ? KEL_O_K : NI_READ_FAILED;
}

/** The gateway said no: its own words count, else the code. */
int refused(int rc, std::span<const KEL_RAW> errorInformation) {
    if (errorInformation.empty() || ErrCpNetToInt(errorInformation) != ERR_OK)
        ErrSet(GW_COMPONENT, GW_VERSION, __FILE__, __LINE__, GwGetKelText(C_RETURN_CODES), rc, "",
               "GwIConnect", GwGetAppcRc(CM_PRODUCT_SPECIFIC_ERROR), GwGetKelRc(rc));
    return rc;
}

/** What the gateway can do, and what it says of itself. */
void noteAnswer(const APPC_CONN_ANSWER& answer, GwConnection* connection) {
    connection->appchdr_version = answer.appchdr_version;
    connection->accept_info = answer.accept_info;
    connection->accept_info2 = answer.accept_info2;
    if ((answer.accept_info & GW_ACCEPT_CODE_PAGE) != 0) connection->code_page = answer.code_page;
}

int exchange(const GwConnectRequest& request, GwConnection* connection) {
    int rc = sendRecord(request, connection->handle);
    KEL_RAW buffer[ANSWER_MAX];
    std::size_t length = 0;
    if (rc == KEL_O_K) rc = readAnswer(connection->handle, request.timeout, buffer, &length);
    if (rc != KEL_O_K) return rc;
    const std::span<const KEL_RAW> bytes(buffer, length);
    const std::optional<APPC_CONN_ANSWER> answer = GwGetConn(bytes);
    if (!answer) return fail(INVALID_LEN, __LINE__, "Incomplete answer");
    if (answer->rc != 0) return refused(answer->rc, bytes.subspan(answer->length));
    noteAnswer(*answer, connection);
    if (answer->echo_data) rc = write(connection->handle, bytes, request.timeout);
    return rc == KEL_O_K && GwHasConnExt(request.opcode) ? sendExtension(request, connection->handle) : rc;
}

void traceConnection(const GwConnectRequest& request, const GwConnection& connection) {
    const DpHold hold(TRACE_LEVEL);
    KEL_CHAR host[NI_HOST_MAX];
    NiSecStr(request.host, host);
    DpTrc(tf, "GwIConnect: connected to %s / %s, header version %d\n", host, request.service,
          connection.appchdr_version);
    DpTrc(tf, "  accept_info %s, accept_info2 %s\n", GwGetAcceptInfo(connection.accept_info).text,
          GwGetAcceptInfo2(connection.accept_info2).text);
}

}  // namespace

int GwIConnect(const GwConnectRequest& request, GwConnection* connection) noexcept {
    *connection = {};
    const KEL_CHAR* host = request.host;
    KEL_CHAR address[NI_ADDR_TEXT_MAX];
    if (*host == '\0' && request.addr) {
        if (NiAddrToStr(*request.addr, address, sizeof address) != NI_OK)
            return fail(C_NIADDRTOHOST, __LINE__, "");
        host = address;
    }
    if (*host == '\0') return fail(GW_HOST_UNKNOWN, __LINE__, "no gateway host");
    const KELRETURN connected = NiHandle(host, request.service, request.timeout, &connection->handle);
    if (connected != NI_OK) return networkCode(connected, request.timeout);
    int rc = exchange(request, connection);
    if (rc == KEL_O_K && NiHdlSetMaxValidPacketLen(connection->handle, GW_MAX_PACKET) != NI_OK)
        rc = GW_NI_ERROR;
    if (rc != KEL_O_K) {
        const ErrKeeper keeper;
        NiCloseHandle(connection->handle);
        *connection = {};
    } else if (ct_level >= TRACE_LEVEL) {
        traceConnection(request, *connection);
    }
    return rc;
}
