// From the options to a connection that is logged on.

#include <cstring>

#include "connection/zorconnection.h"
#include "connection/zorconnectionuse.h"
#include "trace/zortracefunctions.h"
#include "wire/scramble.h"

namespace {

/** Highest release of a partner that can't take the binary XML form. */
constexpr std::string_view lastReleaseWithoutLumx = "701";
/** Marks a partner that can, in the place of the header's version. */
constexpr KEL_RAW versionWithLumx = 4;

/** Options whose layer this build doesn't have, with the test that finds them in use. */
struct UnavailableOption {
    const KEL_UC* name;
    bool (*inUse)(const ZorOptions& options);
};

constexpr UnavailableOption unavailableOptions[] = {
    {"VSL_MODE", [](const ZorOptions& o) { return o.vsl_mode != 0; }},
    {"SERIALIZATION_FORMAT", [](const ZorOptions& o) { return o.serializationFormat != 0; }},
};

}  // namespace

void ZorConnection::refuseUnavailable(const ZorOptions& options) {
    for (const UnavailableOption& option : unavailableOptions)
        if (option.inUse(options))
            throw ZorBaseException(ZOR_NOT_SUPPORTED, EXTERNAL_APPLICATION_FAILURE,
                                   zorRcName(ZOR_NOT_SUPPORTED),
                                   KEL_string("Parameter ") + option.name + " is not supported.");
}

void ZorConnection::connect(ZorOptions& options, ZOR_PROTOCOL_TYPE type) {
    refuseUnavailable(options);
    const ZorMethodTrace trace("ZorConnection::connect", traceLevel);
    if (type == ZOR_STARTED_SERVER || type == ZOR_REGISTERED_SERVER) return connectAsServer(options, type);
    if (const CM_RETCODE rc = cpic_tcp->connectAsClient(options); rc != 0) raiseCollectedError();
    setConnOptions(options, type);
    logon(options);
    if (traceLevel > 1)
        ZorTraceWrite("ZorConnection handle %llu established",
                      static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(handle())));
}

void ZorConnection::logon(const ZorOptions& options) {
    writeZorSessionHeader();
    writeZorSessionLogon();
    control.unresp_call = 0;
    // The second name asks the partner for a full check of the logon.
    writeZorCallBegin(options.lcheck != 0 ? "ZORPING" : "ZOR_PING", ZORID_NotUsed, false);
    writeZorCallEnd();
    zorReceive(nullptr);
    control.connected = true;
    checkPasswordState(options);
    if (options.use_kelgui != 0 && options.lcheck != 0) attachGui(options);
    if (control.partner_rel.view() > lastReleaseWithoutLumx) {
        control.version = versionWithLumx;
        control.headerWritten = false;  // the next call tells what both sides can
        control.supportLumx = !options.no_lumXml;
    }
}

void ZorConnection::setConnOptions(ZorOptions& options, ZOR_PROTOCOL_TYPE type) {
    if (options.pcs < 2) {
        control.communication_cp.assign(options.codepage);
        control.codepage = control.communication_cp;
    } else {
        control.communication_cp = control.codepage;
    }
    control.pcs = options.pcs;
    control.ignoreConvErr = options.ignoreConvErr;
    control.substituteSymbol = options.substitute;
    control.keepalive = options.keepalive;
    if (options.compression == NO_COMPRESSION) control.protocol &= ~protocolCompressedTables;
    const bool client = type == ZOR_CLIENT || type == ZOR_TCP_SOCKET_CLIENT;
    control.zor_role = client ? 'C' : 'S';
    if (client) takeLogonOptions(options);
    explicit_bzero(options.passwd.data(), options.passwd.size());
    options.passwd.clear();
    control.delta = options.delta;
    control.serializationFormat = options.serializationFormat;
}

void ZorConnection::takeLogonOptions(const ZorOptions& options) {
    const auto take = [](auto& member, const KEL_string& value) {
        if (!value.empty()) member.assign(value);
    };
    take(control.target, options.ashost);
    take(control.systnr, options.sysnr);
    take(control.userid, options.user);
    take(control.alias_user, options.alias);
    take(control.mandt, options.client);
    take(control.lang, options.lang);
    take(control.sysid, options.q7name);
    take(control.extidtype, options.extidtype);
    control.scrambledPW = scrambleChars(options.passwd);
    logonData.sso2 = options.mykelsso2;
    logonData.extiddata = options.extiddata;
    logonData.x509cert = options.x509cert;
    control.getsso2 = options.getsso2 != 0;
    control.vslWithoutSSO = options.vsl_mode != 0 && options.vsl_sso == 0;
    use_kelgui = options.use_kelgui;
    constexpr std::string_view hop = "/H/";
    gwhost = options.gwhost.starts_with(hop) ? options.gwhost : KEL_string(hop) + options.gwhost;
    zorMetadataGetEnabled = options.isZorMetadataGetAvailable;
}
