#include <sys/random.h>

#include <cstring>
#include <new>
#include <string_view>

#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/gw/gwcminit.h"
#include "krn/si/gw/gwcmspln.h"

namespace {

constexpr CPIC_INT NOT_GIVEN = -2;
constexpr CPIC_INT EXPORT_TRACE_NOT_GIVEN = 2;
constexpr std::size_t GW_HOST_MAX = 2048;

/** ms that a step of the opening may take: a silent gateway ends it like one that can't be reached. */
CPIC_INT openingLimit(const CONV_PROTO& conv) {
    return conv.timeout > 0 ? conv.timeout : STInitGlobals().cpic_connect_timeout;
}

/** Who is to be reached, and how. */
struct InitRequest {
    std::string_view sym_dest_name;
    std::string_view lu;
    std::string_view tp;
    const KEL_CHAR* gw_host;
    const KEL_CHAR* gw_serv;
    KEL_CHAR prot;
    const CPIC_INIT_OPT* options;
};

struct Protocol {
    KEL_CHAR character;
    std::uint8_t number;
};
constexpr Protocol PROTOCOLS[] = {{'I', 2}, {'E', 3}, {'C', 4}, {'F', 6}, {'R', 7}};

/** The numeric form of a protocol; 0 for an unknown one. */
std::uint8_t STIConvProtocol(KEL_CHAR character) {
    for (const Protocol& protocol : PROTOCOLS)
        if (protocol.character == character) return protocol.number;
    return 0;
}

CM_RETCODE badOption(const KEL_CHAR* name, CPIC_INT value) {
    STIBadArgument("STIInit", name, value);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE checkOptions(const CPIC_INIT_OPT* options) {
    if (!options) return CM_OK;
    if (options->cpic_timeout != NOT_GIVEN && options->cpic_timeout <= 0)
        return badOption("cpic_timeout", options->cpic_timeout);
    if (options->keepalive_timeout != NOT_GIVEN && options->keepalive_timeout < 0)
        return badOption("keepalive_timeout", options->keepalive_timeout);
    if (options->export_trace < 0 || options->export_trace > EXPORT_TRACE_NOT_GIVEN)
        return badOption("export_trace", options->export_trace);
    if (options->start_type < 0 || options->start_type > CPIC_INIT_REMOTE_SSH)
        return badOption("start_type", options->start_type);
    return CM_OK;
}

CM_RETCODE missing(KEL_RC code, std::string_view dest) {
    CPIC_ERRSET(code, "", std::string(dest).c_str());
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE checkRequest(const InitRequest& request) {
    if (const CM_RETCODE rc = checkOptions(request.options); rc != CM_OK) return rc;
    if (const std::size_t length = std::strlen(request.gw_host); length > GW_HOST_MAX) {
        const std::string value = std::to_string(length) + " (max: " + std::to_string(GW_HOST_MAX) + ")";
        STIBadArgument("STIInit", "gw_host", value.c_str());
        return CM_PRODUCT_SPECIFIC_ERROR;
    }
    if (*request.gw_host == '\0') return missing(C_NO_HOST_IN_SIDE_INFO, request.sym_dest_name);
    if (*request.gw_serv == '\0') return missing(C_NO_SERV_IN_SIDE_INFO, request.sym_dest_name);
    if (STIConvProtocol(request.prot) == 0) {
        const KEL_CHAR value[] = {request.prot, '\0'};
        STIBadArgument("STIConvProtocol", "protocol", value);
        return CM_PRODUCT_SPECIFIC_ERROR;
    }
    return CM_OK;
}

/** A trace record that starts a new road: both ids are drawn at random. */
DISTRIBUTED_TRACING newDistTrace() {
    DISTRIBUTED_TRACING record;
    // Without entropy the ids stay zero, which only makes the road harder to trace.
    if (getrandom(record.root_id.data(), record.root_id.size(), GRND_NONBLOCK) > 0)
        record.connection_id = record.root_id;
    return record;
}

/** Notes names for the texts of failures. */
CM_RETCODE noteNames(CONV_PROTO& conv, const InitRequest& request) {
    try {
        KEL_CHAR host[GW_HOST_MAX + 1];
        NiSecStr(request.gw_host, host);
        conv.gwhost = host;
        conv.gwserv = request.gw_serv;
        conv.lu = request.lu;
        conv.tp = request.tp;
        return CM_OK;
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(std::strlen(request.gw_host)));
        return CM_PRODUCT_SPECIFIC_ERROR;
    }
}

CM_RETCODE connectGateway(CONV_PROTO& conv, const InitRequest& request) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    GwConnection connection;
    const int rc = GwIConnect({.host = request.gw_host,
                               .service = request.gw_serv,
                               .my_host = globals.my_hostname,
                               .tp = globals.my_TP_name,
                               .timeout = globals.cpic_connect_timeout},
                              &connection);
    if (rc != KEL_O_K) return CM_PRODUCT_SPECIFIC_ERROR;
    conv.gw_socket = connection.handle;
    conv.accept_info = connection.accept_info;
    conv.accept_info2 = connection.accept_info2;
    conv.rem_code_page = connection.code_page;
    if (connection.appchdr_version == APPCHDR6_VERSION) return CM_OK;
    CPIC_ERRSET(WRONG_APPCHDR_VERSION, "client version %d, gateway version %d (%s/%s)", APPCHDR6_VERSION,
                connection.appchdr_version, conv.gwhost.c_str(), request.gw_serv);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

/** INITIALIZE_CONVERSATION: what we are, and whom we want. */
CM_RETCODE sendInit(CONV_PROTO& conv, const InitRequest& request) {
    KELCMINIT7 block{.long_LU_name = request.lu, .user = STInitGlobals().user, .long_TP_name = request.tp};
    APPCHDR6 header = STIHeader(conv, GW_RQ_INITIALIZE_CONVERSATION);
    header.info = SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR;
    header.info2 = WITH_LONG_LU_NAME;
    header.kel_params_len = KELCMINIT7_LAYOUT::length;
    header.comm_idx = static_cast<std::int16_t>(conv.idx);
    header.nparams = GwPutNcminit(
        {.sdest = request.sym_dest_name, .lu = request.lu, .tp = request.tp, .ctype = request.prot});
    if ((conv.accept_info2 & GW_ACCEPT2_ZORDEST) != 0) {
        header.info4 |= GW_WITH_ZORDEST;
        block.zordest = request.sym_dest_name;
    }
    if ((conv.accept_info & GW_ACCEPT_DIST_TRACE) != 0) {
        header.info3 |= GW_DIST_TRACE;
        block.dt_net = conv.dt_net = newDistTrace();
    }
    if (const CPIC_INIT_OPT* options = request.options) {
        block.activateStreaming = options->streaming == CPIC_INIT_USE_STREAMING;
        if ((conv.accept_info & GW_ACCEPT_EXTINITOPT) != 0) {
            header.info3 |= GW_EXTENDED_INIT_OPTIONS;
            block.options = {options->cpic_timeout, options->keepalive_timeout,
                             static_cast<std::uint8_t>(options->export_trace),
                             static_cast<std::uint8_t>(options->start_type)};
        }
    }
    KEL_RAW bytes[KELCMINIT7_LAYOUT::length];
    GwPutCminit(bytes, block);
    return STISendToGw(conv, {CPIC_CMINIT, openingLimit(conv)}, header, bytes);
}

CM_RETCODE awaitInitAnswer(CONV_PROTO& conv, CPIC_MESSAGE* answer) {
    const CPIC_INT limit = openingLimit(conv);
    const CM_RETCODE rc = STIAwaitAnswer(conv, {CPIC_CMINIT, limit}, {}, answer);
    if (rc == CM_KEL_TIMEOUT_RETRY) CPIC_ERRSET(C_TIMEOUT_BLOCK, "timeout %d msecs", limit);
    return rc;
}

/** Connect and INITIALIZE_CONVERSATION. On failure the entry may be gone already. */
CM_RETCODE STIInit(CONV_PROTO& conv, const InitRequest& request, bool* gone) {
    conv.int_protocol = STIConvProtocol(request.prot);
    CM_RETCODE rc = noteNames(conv, request);
    if (rc == CM_OK) rc = connectGateway(conv, request);
    if (rc != CM_OK) return rc;
    CPIC_MESSAGE answer;
    rc = sendInit(conv, request);
    if (rc == CM_OK) rc = awaitInitAnswer(conv, &answer);
    *gone = STIEndsConversation(rc);
    if (rc != CM_OK) return CM_PRODUCT_SPECIFIC_ERROR;
    if (answer.header.appc_rc != CM_OK) return answer.header.appc_rc;
    conv.streamingActive = (answer.header.info4 & GW_WITH_STREAMING) != 0;
    STIAssignConvId(conv, answer.header.conversation_ID);
    return CM_OK;
}

CM_RETCODE requestAllocation(CONV_PROTO& conv) {
    const CPIC_CALL call{CPIC_CMALLC, openingLimit(conv)};
    if (conv.interrupted_call == CPIC_CMALLC) return STIWriteRest(conv, call);
    APPCHDR6 header = STIHeader(conv, GW_RQ_ALLOCATE);
    header.info = SYNC_CPIC_FUNCTION;
    return STISendToGw(conv, call, header);
}

CM_RETCODE awaitAllocation(CONV_PROTO& conv, CPIC_MESSAGE* answer) {
    const CPIC_INT limit = openingLimit(conv);
    const CM_RETCODE rc = STIAwaitAnswer(conv, {CPIC_CMALLC, limit}, {}, answer);
    if (rc == CM_KEL_TIMEOUT_RETRY)
        CPIC_ERRSET(C_TIMEOUT, "timeout %d msecs", conv.lu.c_str(), conv.tp.c_str(), limit / 1000, limit);
    return rc;
}

std::string_view viewOf(const KEL_CHAR* text) {
    return text ? text : "";
}

}  // namespace

void KEL_INIT_OPTIONS(CPIC_INIT_OPT* options) noexcept {
    *options = {.cpic_timeout = NOT_GIVEN,
                .keepalive_timeout = NOT_GIVEN,
                .export_trace = EXPORT_TRACE_NOT_GIVEN,
                .start_type = CPIC_INIT_REMOTE_UNKNOWN,
                .streaming = CPIC_INIT_NO_STREAMING};
}

CM_RETCODE KEL_STINIT4(KEL_RAW* conversation_ID, const KEL_CHAR* sym_dest_name, const KEL_CHAR* lu,
                       const KEL_CHAR* tp, const KEL_CHAR* gw_host, const KEL_CHAR* gw_serv, KEL_CHAR prot,
                       const CPIC_INIT_OPT* options, CM_RETCODE* return_code) noexcept {
    ErrSetMyLocation("%s", CPIC_LOCATION);
    ErrClear();
    STInitGlobals();
    const InitRequest request{viewOf(sym_dest_name),  viewOf(lu), viewOf(tp), gw_host ? gw_host : "",
                              gw_serv ? gw_serv : "", prot,       options};
    if (const CM_RETCODE rc = checkRequest(request); rc != CM_OK) return STIReturn(rc, return_code);
    CONV_PROTO* conv = STIGetNewConv();
    if (!conv) return STIReturn(CM_PRODUCT_SPECIFIC_ERROR, return_code);
    bool gone = false;
    const CM_RETCODE rc = STIInit(*conv, request, &gone);
    if (rc == CM_OK) {
        const std::uint64_t key = conv->ext_conv_ID;
        std::memcpy(conversation_ID, &key, sizeof key);
    } else if (!gone) {
        STIDEAL(*conv);
    }
    return STIReturn(rc, return_code);
}

CM_RETCODE STSPLN(const KEL_RAW* conversation_ID, const KEL_CHAR* partner_LU_name,
                  const CPIC_INT* partner_LU_name_length, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STISearchConv(conversation_ID);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    CM_RETCODE rc = STIQ7LocCheckState(*conv, CPIC_CMSPLN, "STSPLN");
    const CPIC_INT length = *partner_LU_name_length;
    if (rc == CM_OK && (length < 0 || length > static_cast<CPIC_INT>(GW_CMSPLN_LAYOUT::long_LU_name.length)))
        rc = STIBadArgument("STSPLN", "partner_LU_name_length", length);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    const std::string_view name(partner_LU_name, static_cast<std::size_t>(length));
    APPCHDR6 header = STIHeader(*conv, GW_RQ_SET_PARTNER_LU_NAME);
    header.info = WITH_GW_KEL_PARAMS_HDR;
    header.info2 = WITH_LONG_LU_NAME;
    header.kel_params_len = GW_CMSPLN_LAYOUT::length;
    header.nparams = GwPutNcmspln(name);
    KEL_RAW block[GW_CMSPLN_LAYOUT::length];
    GwPutCmspln(block, name);
    rc = STISendToGw(*conv, {CPIC_CMSPLN, openingLimit(*conv)}, header, block);
    return STIReturn(rc, return_code);
}

CM_RETCODE STALLC(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept {
    CONV_PROTO* conv = STISearchConv(conversation_ID);
    if (!conv) return STIReturn(CM_PARAMETER_ERROR, return_code);
    CM_RETCODE rc = STIQ7LocCheckState(*conv, CPIC_CMALLC, "STALLC");
    CPIC_MESSAGE answer;
    if (rc == CM_OK) rc = requestAllocation(*conv);
    if (rc == CM_OK) rc = awaitAllocation(*conv, &answer);
    if (rc != CM_OK) return STIReturn(rc, return_code);
    rc = answer.header.appc_rc;
    if ((answer.header.info3 & GW_WITH_CODE_PAGE) != 0)
        conv->rem_code_page = GwGetNcmrcv(answer.header.nparams).code_page;
    if (STIEndsConversation(rc)) STIDEAL(*conv);
    return STIReturn(rc, return_code);
}
