// The opening of a conversation by a client.

#include <sys/random.h>

#include <charconv>
#include <cstring>
#include <new>
#include <string_view>

#include "krn/si/cpic/cpicconnect.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpicgw.h"
#include "krn/si/cpic/cpicside.h"
#include "krn/si/cpic/cpictrc.h"
#include "krn/si/gw/gwcminit.h"
#include "krn/si/gw/gwcmspln.h"
#include "krn/si/gw/gwnet.h"

namespace {

constexpr CPIC_INT NOT_GIVEN = -2;
constexpr CPIC_INT EXPORT_TRACE_NOT_GIVEN = 2;
constexpr CPIC_INT VSL_NOT_GIVEN = 2;

/** ms that a step of the opening may take: a silent gateway ends it like one that can't be reached. */
CPIC_INT openingLimit(const CONV_PROTO& conv) {
    return conv.timeout > 0 ? conv.timeout : conv.connect_timeout;
}

/** Who is to be reached, and how; what the side information gives is filled in. */
struct InitRequest {
    std::string sym_dest_name;
    std::string lu;
    std::string tp;
    std::string gw_host;
    std::string gw_serv;
    KEL_CHAR prot;
    CPIC_INT cpic_trace;
    const CPIC_VSL_DATA* vsl_data;
    const CPIC_INIT_OPT* options;
};

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

CM_RETCODE missing(KEL_RC code, const std::string& dest) {
    if (dest.empty())
        CPIC_ERRSET(C_NO_SYMDEST, "");
    else if (!cpic_use_sideinfo)
        CPIC_ERRSET(C_SIDEINFO_DISABLED, "");
    else
        CPIC_ERRSET(code, "", dest.c_str());
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE checkHost(const std::string& gw_host) {
    if (gw_host.size() <= CPIC_GWHOST_MAX) return CM_OK;
    KEL_CHAR value[48];
    std::snprintf(value, sizeof value, "%d (max: %d)", static_cast<int>(gw_host.size()),
                  static_cast<int>(CPIC_GWHOST_MAX));
    STIBadArgument("STIInit", "gw_host", value);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

bool isGiven(KEL_CHAR prot) {
    return prot != '\0' && prot != ' ';
}

/** Whether nothing is left that side information could tell of partner and gateway. */
bool allGiven(const InitRequest& request) {
    return !request.lu.empty() && !request.tp.empty() && !request.gw_host.empty() &&
           !request.gw_serv.empty() && isGiven(request.prot) && request.cpic_trace >= 0;
}

CPIC_INT numberOf(const CPIC_SIDE_INFO& entry, std::string_view key, CPIC_INT otherwise) {
    const auto found = entry.find(key);
    if (found == entry.end()) return otherwise;
    CPIC_INT value = 0;
    const char* const end = found->second.data() + found->second.size();
    const auto [stop, error] = std::from_chars(found->second.data(), end, value);
    return error == std::errc() && stop == end ? value : otherwise;
}

/** Settings of the conversation that only the side information has. */
void applySettings(CONV_PROTO& conv, const CPIC_SIDE_INFO& entry) {
    conv.buffering = numberOf(entry, "BUFFERING", conv.buffering ? 1 : 0) != 0;
    conv.buffer_state = conv.emptyState();
    const CPIC_INT limit = numberOf(entry, "CONNECT_TIMEOUT", conv.connect_timeout);
    if (limit > 0 || limit == -1) conv.connect_timeout = limit;
    conv.trace_raw = numberOf(entry, "TRACE_RAW", conv.trace_raw);
    conv.trace_appchdr = numberOf(entry, "TRACE_APPCHDR", conv.trace_appchdr);
    // A value that can't be read doesn't open a line without protection.
    const CPIC_INT mode = entry.contains("VSL_MODE") ? numberOf(entry, "VSL_MODE", 1) : VSL_NOT_GIVEN;
    conv.vsl_mode = mode != 0 && mode != VSL_NOT_GIVEN;
}

/** Fills in what the caller left open. */
void applySideInfo(const CPIC_SIDE_INFO& entry, InitRequest& request) {
    const auto fill = [&](std::string_view key, std::string& text) {
        if (const auto found = entry.find(key); text.empty() && found != entry.end()) text = found->second;
    };
    fill("GWHOST", request.gw_host);
    fill("GWSERV", request.gw_serv);
    fill("LU", request.lu);
    fill("TP", request.tp);
    std::string protocol;
    fill("PROTOCOL", protocol);
    if (!isGiven(request.prot) && !protocol.empty()) request.prot = protocol[0];
    if (request.cpic_trace < 0) request.cpic_trace = numberOf(entry, "CPIC_TRACE", -1);
}

void readSideInfo(CONV_PROTO& conv, InitRequest& request) {
    if (allGiven(request) || !cpic_use_sideinfo || request.sym_dest_name.empty()) return;
    CPIC_SIDE_INFO entry;
    STIReadSideInfo(STInitGlobals().side_info, request.sym_dest_name, &entry);
    applySettings(conv, entry);
    applySideInfo(entry, request);
}

CM_RETCODE checkComplete(const InitRequest& request) {
    if (request.gw_host.empty()) return missing(C_NO_HOST_IN_SIDE_INFO, request.sym_dest_name);
    if (request.gw_serv.empty()) return missing(C_NO_SERV_IN_SIDE_INFO, request.sym_dest_name);
    if (!isGiven(request.prot)) return missing(C_NO_PROT_IN_SIDE_INFO, request.sym_dest_name);
    if (GwProtocolNo(request.prot) != GW_PROT_NONE) return checkHost(request.gw_host);
    const KEL_CHAR value[] = {request.prot, '\0'};
    STIBadArgument("STIConvProtocol", "protocol", value);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

/**
 * A partner that is given as a route is its last hop. The gateway stands there too, so the route leads to
 * it; its service follows from the partner's.
 */
void splitRoute(InitRequest& request) {
    constexpr std::string_view HOP = "/H/", SERVICE = "/S/", DISPATCHER = "keldp", GATEWAY = "kelgw";
    const std::string route = request.lu;
    if (request.prot != 'I' || !route.starts_with(HOP)) return;
    const std::size_t last = route.rfind(HOP) + HOP.size();
    const std::size_t service = route.find(SERVICE, last);
    if (service == std::string::npos) return;
    const std::size_t end = std::min(route.find('/', service + SERVICE.size()), route.size());
    request.lu = route.substr(last, std::min(route.find('/', last), service) - last);
    request.tp = route.substr(service + SERVICE.size(), end - service - SERVICE.size());
    request.gw_host = route.substr(0, service) + route.substr(end);
    request.gw_serv = request.tp;
    if (request.tp.size() == DISPATCHER.size() + 2 && request.tp.starts_with(DISPATCHER))
        request.gw_serv = std::string(GATEWAY) + request.tp.substr(DISPATCHER.size());
}

/** All that is wanted, from the caller and from the side information. */
CM_RETCODE completeRequest(CONV_PROTO& conv, InitRequest& request) {
    CM_RETCODE rc = checkOptions(request.options);
    if (rc == CM_OK) rc = checkHost(request.gw_host);
    if (rc != CM_OK) return rc;
    readSideInfo(conv, request);
    rc = checkComplete(request);
    if (rc != CM_OK) return rc;
    splitRoute(request);
    const bool vsl = request.vsl_data && request.vsl_data->mode != 0;
    return vsl || conv.vsl_mode ? STIVslInit() : static_cast<CM_RETCODE>(CM_OK);
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
void noteNames(CONV_PROTO& conv, const InitRequest& request) {
    KEL_CHAR host[CPIC_GWHOST_MAX + 1];
    NiSecStr(request.gw_host, host);
    conv.gwhost = host;
    conv.gwserv = request.gw_serv;
    conv.lu = request.lu;
    conv.tp = request.tp;
}

CM_RETCODE connectGateway(CONV_PROTO& conv, const InitRequest& request) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    return STIConnect(conv, {.host = request.gw_host.c_str(),
                             .service = request.gw_serv.c_str(),
                             .my_host = globals.my_hostname,
                             .tp = globals.my_TP_name,
                             .timeout = conv.connect_timeout});
}

/** The partner's address, where the settings ask for it and it can be found. */
std::optional<NI_NODEADDR> partnerAddress(const std::string& lu) {
    NI_NODEADDR address;
    if (!STInitGlobals().cpic_with_lu_addr || lu.empty()) return std::nullopt;
    const ErrKeeper keeper;
    if (NiHostToAddr(lu.c_str(), &address) != NI_OK) return std::nullopt;
    return address;
}

/** INITIALIZE_CONVERSATION: what we are, and whom we want. */
CM_RETCODE sendInit(CONV_PROTO& conv, const InitRequest& request) {
    const GwNetName lu(request.lu), tp(request.tp), user(STInitGlobals().user);
    if (lu.check("lu") != KEL_O_K || tp.check("tp") != KEL_O_K) return CM_PARAMETER_ERROR;
    KELCMINIT7 block{.long_LU_name = lu.view(), .user = user.view(), .long_TP_name = tp.view()};
    block.long_hostaddr = partnerAddress(request.lu);
    APPCHDR6 header = STIHeader(conv, GW_RQ_INITIALIZE_CONVERSATION);
    header.info = SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR;
    header.info2 =
        static_cast<std::uint8_t>(WITH_LONG_LU_NAME | (block.long_hostaddr ? WITH_LONG_HOSTADDR : 0));
    header.kel_params_len = KELCMINIT7_LAYOUT::length;
    header.comm_idx = static_cast<std::int16_t>(conv.idx);
    header.nparams = GwPutNcminit(
        {.sdest = request.sym_dest_name, .lu = lu.view(), .tp = tp.view(), .ctype = request.prot});
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
CM_RETCODE STIInit(CONV_PROTO& conv, InitRequest& request, bool* gone) {
    CM_RETCODE rc = completeRequest(conv, request);
    if (rc != CM_OK) return rc;
    conv.int_protocol = GwProtocolNo(request.prot);
    noteNames(conv, request);
    const bool levelGiven = request.options && request.options->trace_level > 0;
    STISetConvTrace(conv, levelGiven ? request.options->trace_level : request.cpic_trace);
    if (request.options) conv.trace_file = request.options->fp;
    rc = connectGateway(conv, request);
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

/** Opens in a new entry, which is freed if that fails. */
CM_RETCODE openNew(InitRequest& request, KEL_RAW* conversation_ID) {
    CONV_PROTO* conv = STIGetNewConv();
    if (!conv) return CM_PRODUCT_SPECIFIC_ERROR;
    bool gone = false;
    CM_RETCODE rc;
    try {
        rc = STIInit(*conv, request, &gone);
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(request.gw_host.size()));
        rc = CM_PRODUCT_SPECIFIC_ERROR;
    }
    if (rc == CM_OK) {
        const std::uint64_t key = conv->ext_conv_ID;
        std::memcpy(conversation_ID, &key, sizeof key);
    } else if (!gone) {
        STIDEAL(*conv);
    }
    return rc;
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
                .network_protocol = 0,
                .fp = nullptr,
                .trace_level = 0,
                .streaming = CPIC_INIT_NO_STREAMING};
}

CM_RETCODE KEL_STINIT4(KEL_RAW* conversation_ID, const KEL_CHAR* sym_dest_name, const KEL_CHAR* lu,
                       const KEL_CHAR* tp, const KEL_CHAR* gw_host, const KEL_CHAR* gw_serv, KEL_CHAR prot,
                       CPIC_INT cpic_trace, const CPIC_VSL_DATA* vsl_data, const CPIC_INIT_OPT* init_opt,
                       CM_RETCODE* return_code) noexcept {
    STIBeginCall();
    try {
        InitRequest request{std::string(viewOf(sym_dest_name)),
                            std::string(viewOf(lu)),
                            std::string(viewOf(tp)),
                            std::string(viewOf(gw_host)),
                            std::string(viewOf(gw_serv)),
                            prot,
                            cpic_trace,
                            vsl_data,
                            init_opt};
        return STIReturn(openNew(request, conversation_ID), return_code);
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", 0);
        return STIReturn(CM_PRODUCT_SPECIFIC_ERROR, return_code);
    }
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
    conv->allocated = rc == CM_OK;
    if ((answer.header.info3 & GW_WITH_CODE_PAGE) != 0)
        conv->rem_code_page = GwGetNcmrcv(answer.header.nparams).code_page;
    if (STIEndsConversation(rc)) STIDEAL(*conv);
    return STIReturn(rc, return_code);
}
