#include "krn/si/gw/gwconnect.h"

#include <cstdio>

#include "base/dptrc/err.h"
#include "base/thr/deadline.h"
#include "krn/si/gw/gwnames.h"

namespace {

/** Most bytes of an answer: the record and its error information. */
constexpr std::size_t ANSWER_MAX = APPC_CONN3_LAYOUT::length + ERR_BLOCK_MAX;

int fail(int code, int line, const KEL_CHAR* detail) {
    ErrSet(GW_COMPONENT, GW_VERSION, __FILE__, line, "%s", code, "%s", GwGetKelText(code), detail);
    return code;
}

/** The network layer's own report stays the current error. */
int networkCode(KELRETURN rc) {
    switch (rc) {
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

int timeUp(int code, int line, KEL_INT timeout) {
    KEL_CHAR detail[48];
    std::snprintf(detail, sizeof detail, "timeout %d msecs", timeout);
    return fail(code, line, detail);
}

int write(NI_HDL handle, std::span<const KEL_RAW> record, KEL_INT timeout) {
    const KELRETURN rc = NiWrite(handle, record.data(), static_cast<KEL_INT>(record.size()), timeout);
    if (rc == NIETIMEOUT) return timeUp(NI_WRITE_FAILED, __LINE__, timeout);
    return rc == NI_OK ? KEL_O_K : NI_WRITE_FAILED;
}

int sendRecord(const GwConnectRequest& request, NI_HDL handle) {
    APPC_CONN record{.opcode = request.opcode,
                     .tp = request.tp,
                     .lu = request.my_host,
                     .conversation_ID = request.conversation_ID,
                     .accept_info = GW_OWN_ACCEPT_INFO,
                     .accept_info2 = GW_OWN_ACCEPT_INFO2};
    KEL_USHORT port;
    if (NiHdlGetName(handle, &record.hostaddr, &port) != NI_OK) return GW_NI_ERROR;
    KEL_RAW bytes[APPC_CONN3_LAYOUT::length];
    return write(handle, std::span(bytes).first(GwPutConn(bytes, record)), request.timeout);
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
    connection->appchdr_version = answer->appchdr_version;
    connection->accept_info = answer->accept_info;
    connection->accept_info2 = answer->accept_info2;
    if ((answer->accept_info & GW_ACCEPT_CODE_PAGE) != 0) connection->code_page = answer->code_page;
    if (!answer->echo_data) return KEL_O_K;
    return write(connection->handle, bytes, request.timeout);
}

}  // namespace

int GwIConnect(const GwConnectRequest& request, GwConnection* connection) noexcept {
    *connection = {};
    if (*request.host == '\0') return fail(GW_HOST_UNKNOWN, __LINE__, "no gateway host");
    const KELRETURN connected = NiHandle(request.host, request.service, request.timeout, &connection->handle);
    if (connected != NI_OK) return networkCode(connected);
    int rc = exchange(request, connection);
    if (rc == KEL_O_K && NiHdlSetMaxValidPacketLen(connection->handle, GW_MAX_PACKET) != NI_OK)
        rc = GW_NI_ERROR;
    if (rc != KEL_O_K) {
        NiCloseHandle(connection->handle);
        *connection = {};
    }
    return rc;
}
