#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "config/zorconfig.h"
#include "config/zoroptions.h"
#include "config/zorsysteminfo.h"
#include "driver/cpicconnection.h"
#include "trace/zortracefunctions.h"

namespace {

constexpr std::string_view HOP{"/H/"};

/** Digits in front of a system number that make a gateway's service. */
constexpr const KEL_CHAR* GATEWAY_SERVICE = "33";
constexpr const KEL_CHAR* SECURE_GATEWAY_SERVICE = "48";
constexpr std::size_t SYSNR_LENGTH = 2;

/** What this process is called on the network. */
struct OwnIdentity {
    KEL_string host;
    NI_NODEADDR node{};
    KEL_string ipv4;
    KEL_string ipv6;
    KEL_string user;
    KEL_string version;
};

KEL_string userName() {
    passwd entry;
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr)
        return {};
    return found->pw_name;
}

OwnIdentity findIdentity() {
    OwnIdentity own;
    KEL_CHAR host[NI_HOST_MAX];
    own.host = NiMyHostName(host, sizeof host) == NI_OK ? host : "localhost";
    if (NiHostToAddr(own.host.c_str(), &own.node) == NI_OK) {
        KEL_CHAR text[NI_ADDR_TEXT_MAX] = "";
        NiAddrToStr(own.node, text, sizeof text);
        (NiIsIPv4(own.node) ? own.ipv4 : own.ipv6) = text;
    }
    own.user = userName();
    own.version = KEL_string(KEL_CMBUILDVERSION()) + " version " + std::to_string(KEL_CMGETVERSION());
    return own;
}

const OwnIdentity& own() {
    static const OwnIdentity identity = findIdentity();
    return identity;
}

KEL_string programName() {
    KEL_CHAR name[CPIC_TP_NAME_SIZE] = "";
    CPIC_INT length = 0;
    KEL_CMGETOWNNAME(name, &length, nullptr);
    return name;
}

/** A logon group, looked up at its message server, names the gateway. */
[[noreturn]] void askMessageServer(ZorOptions& options) {
    if (!options.q7name.empty() && options.msserv.empty()) options.msserv = "kelms" + options.q7name;
    throw ZorCommunicationException("Logon group \"" + options.group + "\" on message server \"" +
                                    options.mshost + "\": load balancing is not available");
}

/** The gateway as the caller means it; empty if only a router is given, or none is needed. */
void chooseGateway(ZorOptions& options, bool needed) {
    if (options.gwhost.empty()) options.gwhost = options.ashost;
    options.ashost.clear();
    if (!options.gwhost.empty()) return;
    if (!options.mshost.empty() || !options.group.empty()) askMessageServer(options);
    if (needed && options.kelrouter.empty()) throw ZorCommunicationException("No gateway host was given");
}

void addRouter(ZorOptions& options) {
    if (options.kelrouter.empty()) return;
    options.gwhost =
        options.gwhost.empty() ? options.kelrouter : options.kelrouter + KEL_string(HOP) + options.gwhost;
}

/** What stands behind the last hop of a route. Its password is the router's: no partner is told. */
KEL_string lastHop(const KEL_string& route) {
    const std::size_t hop = route.rfind(HOP);
    if (hop == KEL_string::npos) return route;
    const KEL_string last = route.substr(hop + HOP.size());
    return last.substr(0, std::min(last.find("/P/"), last.find("/W/")));
}

void addServices(ZorOptions& options) {
    if (options.gwserv.empty()) {
        options.gwserv = options.vsl_mode != 0 ? SECURE_GATEWAY_SERVICE : GATEWAY_SERVICE;
        options.gwserv += options.sysnr.size() == SYSNR_LENGTH ? options.sysnr : "00";
    }
    if (!options.asserv.empty()) return;
    if (options.gwserv.size() < SYSNR_LENGTH)
        throw ZorCommunicationException("Gateway service \"" + options.gwserv + "\" is too short");
    options.asserv = "keldp" + options.gwserv.substr(options.gwserv.size() - SYSNR_LENGTH);
}

}  // namespace

void CpicConnection::init() {
    KEL_CPIC_PROCESS_ATTACH(nullptr);
    // Asked only when somebody wants to know: resolving the own name can take its time.
    setZorHostProvider({.getOwnHostName = [] { return getOwnHostName(); },
                        .getOwnIPAddr = [] { return getOwnIPAddr(); },
                        .getOwnIPV6Addr = [] { return getOwnIPV6Addr(); },
                        .getOwnProgramName = [] { return getOwnProgramName(); },
                        .getCpicVersion = [] { return getCpicVersion(); }});
    ZorConfig::setLowerLayerHooks(
        {.setCpicTraceLevel = SetCpicTraceLevel, .setNISocketBufferSize = setNISocketBufferSize});
}

void CpicConnection::SetCpicTraceLevel(unsigned level, const KEL_UC* fileName) noexcept {
    if (KEL_CMTRACE(static_cast<CPIC_INT>(level), fileName, nullptr) != CM_OK)
        ZorLogWrite("Error: KEL_CMTRACE failed.");
}

void CpicConnection::setNISocketBufferSize(unsigned size) noexcept {
    if (NiSetSockBufferSize(size) != NI_OK)
        ZorLogWrite("NiSetParamEx failedto write SocketBufferSize (NIP_SOCK_BUFFER_SIZE).");
}

const KEL_string& CpicConnection::getOwnHostName() {
    return own().host;
}
const KEL_string& CpicConnection::getOwnIPAddr() {
    return own().ipv4;
}
const KEL_string& CpicConnection::getOwnIPV6Addr() {
    return own().ipv6;
}
const KEL_string& CpicConnection::getOwnUserName() {
    return own().user;
}
const KEL_string& CpicConnection::getOwnProgramName() {
    static const KEL_string name = programName();
    return name;
}
const KEL_string& CpicConnection::getCpicVersion() {
    return own().version;
}
const NI_NODEADDR& CpicConnection::getOwnIPNodeAddr() {
    return own().node;
}

void CpicConnection::parseConnParameters(ZorOptions& options) {
    if (options.vsl_mode != 0) setVslData(options);
    // A program that a gateway started learns of it from its arguments.
    chooseGateway(options, zorProgType != ZOR_STARTED_SERVER);
    addRouter(options);
    options.ashost = lastHop(options.gwhost);
    addServices(options);
}

void CpicConnection::setVslData(ZorOptions& options) {
    constexpr CPIC_INT INITIATOR = 1, ACCEPTOR = 2, DEFAULT_PROTECTION = 8;
    const auto copy = [](const KEL_string& text, auto& field) { text.copy(field, sizeof field - 1); };
    isVSL = true;
    vslData = std::make_unique<CPIC_VSL_DATA>();
    vslData->version = 1;
    vslData->mode = 1;
    vslData->role = zorProgType == ZOR_CLIENT ? INITIATOR : ACCEPTOR;
    if (zorProgType == ZOR_CLIENT) {
        copy(options.vsl_partnername, vslData->partnername);
        if (options.vsl_myname.empty()) vslData->myname[0] = ' ';
    }
    copy(options.vsl_lib, vslData->lib);
    copy(options.vsl_myname, vslData->myname);
    vslData->qop = options.vsl_qop != 0 ? options.vsl_qop : DEFAULT_PROTECTION;
}
