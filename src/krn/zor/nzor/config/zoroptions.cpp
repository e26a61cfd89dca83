#include "config/zoroptions.h"

#include <cstdlib>
#include <string_view>

#include "base/ni/ni.h"
#include "config/inireader.h"
#include "config/kellogoniniparser.h"
#include "config/secret.h"
#include "config/zorconfig.h"
#include "config/zorsysteminfo.h"
#include "krn/rscp/rscplanguage.h"
#include "trace/zortrace.h"

namespace {

constexpr size_t codepageDigits = 4;

/** What the fast serialisation is asked for: a bit set that names the layout and its compression. */
constexpr unsigned short fastWithZlib = 0xA3D1;
constexpr unsigned short fastWithLz4 = 0x61D1;
constexpr unsigned short fastCompressionBits = 0x4000 | 0x8000;

KEL_string upperCase(std::string_view text) {
    KEL_string upper(text);
    for (auto& character : upper)
        if (character >= 'a' && character <= 'z') character = static_cast<KEL_UC>(character - 'a' + 'A');
    return upper;
}

/** What strtol makes of a text, in 64 bits in every build. */
long long number(const KEL_string& text, int base) noexcept {
    return std::strtoll(text.c_str(), nullptr, base);
}

/** One pass over the table of the keys. */
struct OptionPass {
    ZorOptions& options;
    KEL_string destination;  ///< Name of the destination that was asked for.
};

using Treatment = void (*)(OptionPass& pass, const KEL_string& value);
using Rule = void (*)(OptionPass& pass, bool present);

/** A key, what its value does, and what follows it whether the key is there or not. */
struct OptionKey {
    std::string_view key;
    Treatment treat = nullptr;
    Rule rule = nullptr;
};

template <auto member>
void text(OptionPass& pass, const KEL_string& value) {
    pass.options.*member = value;
}

template <auto member, int base = 0>
void numeric(OptionPass& pass, const KEL_string& value) {
    using Member = std::remove_reference_t<decltype(pass.options.*member)>;
    pass.options.*member = static_cast<Member>(number(value, base));
}

template <auto member>
void startsWithOne(OptionPass& pass, const KEL_string& value) {
    pass.options.*member = value.front() == '1';
}

/** A host may be the last hop of a route string, whose end mark doesn't belong to it. */
template <auto member>
void host(OptionPass& pass, const KEL_string& value) {
    constexpr std::string_view hopEnd = "/H/";
    const size_t length = value.ends_with(hopEnd) ? value.size() - hopEnd.size() : value.size();
    pass.options.*member = value.substr(0, length);
}

void destination(OptionPass& pass, const KEL_string& value) {
    pass.destination = value;
    ZorConfig::getDestinationOptions(value.c_str(), pass.options);
}

void logonPadEntry(OptionPass& pass, const KEL_string& value) {
    pass.destination = value;
    KELLogonIniParser::getEntryOptions(value, &pass.options);
}

void systemId(OptionPass& pass, const KEL_string& value) {
    if (pass.options.q7name.empty()) pass.options.q7name = value;
}

void loadBalancingDefaults(OptionPass& pass, bool) {
    auto& options = pass.options;
    if (options.mshost.empty()) return;
    if (options.q7name.empty()) options.q7name = pass.destination;
    if (options.group.empty() && options.tpname.empty()) options.group = "PUBLIC";
}

void partnerCharacterSize(OptionPass& pass, const KEL_string& value) {
    if (number(value, 0) == 2) pass.options.pcs = 2;
}

void onConversionError(OptionPass& pass, const KEL_string& value) {
    const auto mode = number(value, 0);
    pass.options.ignoreConvErr = mode > 2 ? short{0} : static_cast<short>(mode);
}

void communicationCodepage(OptionPass& pass, const KEL_string& value) {
    if (value.size() == codepageDigits) pass.options.codepage = value;
}

void codepage(OptionPass& pass, const KEL_string& value) {
    if (value.size() != codepageDigits)
        throw ZorOptionException("CODEPAGE",
                                 value + " can't be a valid codepage as its length is not 4 characters");
    pass.options.codepage = value;
}

void unicodeCodepages(OptionPass& pass, bool) {
    if (pass.options.codepage == "4102" || pass.options.codepage == "4103") pass.options.pcs = 2;
}

void defaultClient(OptionPass& pass, bool) {
    if (pass.options.client.empty()) pass.options.client = "000";
}

void language(OptionPass& pass, const KEL_string& value) {
    constexpr size_t isoLength = 2;
    KEL_UC key = value.front();
    const bool known = value.size() == 1 || (value.size() == isoLength &&
                                             rscpLangIsoToKel(&key, value.c_str()) == RSCP_LANGUAGE_FOUND);
    if (!known) throw ZorOptionException("LANG", "Invalid logon language " + value + ".");
    pass.options.lang = key;
}

void partnerName(OptionPass& pass, const KEL_string& value) {
    pass.options.vsl_partnername = value;
    pass.options.vsl_mode = 1;
}

void noCompression(OptionPass& pass, const KEL_string& value) {
    if (number(value, 10) != 0) pass.options.compression = NO_COMPRESSION;
}

void noLumx(OptionPass& pass, const KEL_string& value) {
    pass.options.no_lumXml = number(value, 10) != 0;
}

void deltaManager(OptionPass& pass, const KEL_string& value) {
    pass.options.delta = number(value, 10) > 0;
}

/** The debugger needs the front end. */
void debug(OptionPass& pass, const KEL_string& value) {
    numeric<&ZorOptions::ubix_debug>(pass, value);
    if (pass.options.ubix_debug != 0 && pass.options.use_kelgui == 0) pass.options.use_kelgui = 1;
}

void compressionType(OptionPass& pass, const KEL_string& value) {
    const KEL_string type = upperCase(value);
    if (type == "LAN") pass.options.compression = LZ4_COMPRESSION;
    if (type == "WAN") pass.options.compression = ZLIB_COMPRESSION;
    if (type == "OFF") pass.options.compression = NO_COMPRESSION;
}

void serializationFormat(OptionPass& pass, const KEL_string& value) {
    auto& options = pass.options;
    unsigned format = 0;
    if (upperCase(value) == "FAST_SERIALIZATION")
        format = options.compression == ZLIB_COMPRESSION ? fastWithZlib : fastWithLz4;
    if (options.compression == NO_COMPRESSION) format &= ~unsigned{fastCompressionBits};
    options.serializationFormat = static_cast<unsigned short>(format);
}

/** Unlike the others this option doesn't outlive the set that names it, a destination's value included. */
void noRoundTripUnlessAsked(OptionPass& pass, bool present) {
    if (!present) pass.options.isZorMetadataGetAvailable = false;
}

void bindAddress(OptionPass& pass, const KEL_string& value) {
    pass.options.bindAddr = value;
    pass.options.serverHost = value;
}

// In the order in which the keys are asked for: a later row goes before an earlier one.
constexpr OptionKey optionKeys[] = {
    {"DEST", destination},
    {"KELLOGON_ID", logonPadEntry},
    {"ASHOST", host<&ZorOptions::ashost>},
    {"GWHOST", host<&ZorOptions::gwhost>},
    {"GWSERV", text<&ZorOptions::gwserv>},
    {"TPNAME", text<&ZorOptions::tpname>},
    {"PROGRAM_ID", text<&ZorOptions::tpname>},
    {"SYSNR", text<&ZorOptions::sysnr>},
    {"REG_COUNT", numeric<&ZorOptions::reg_count>},
    {"MAX_REG_COUNT", numeric<&ZorOptions::max_reg_count>},
    {"MSHOST", host<&ZorOptions::mshost>},
    {"MSSERV", text<&ZorOptions::msserv>},
    {"Q7NAME", text<&ZorOptions::q7name>},
    {"SYSID", systemId},
    {"GROUP", text<&ZorOptions::group>, loadBalancingDefaults},
    {"KELROUTER", host<&ZorOptions::kelrouter>},
    {"PCS", partnerCharacterSize},
    {"ON_CCE", onConversionError},
    {"CFIT", numeric<&ZorOptions::substitute, 16>},
    {"COMM_CP", communicationCodepage},
    {"CODEPAGE", codepage, unicodeCodepages},
    {"USER", text<&ZorOptions::user>},
    {"PASSWD", text<&ZorOptions::passwd>},
    {"CLIENT", text<&ZorOptions::client>, defaultClient},
    {"LANG", language},
    {"MYKELSSO2", text<&ZorOptions::mykelsso2>},
    {"GETSSO2", numeric<&ZorOptions::getsso2>},
    {"X509CERT", text<&ZorOptions::x509cert>},
    {"EXTIDDATA", text<&ZorOptions::extiddata>},
    {"EXTIDTYPE", text<&ZorOptions::extidtype>},
    {"VSL_LIB", text<&ZorOptions::vsl_lib>},
    {"VSL_MYNAME", text<&ZorOptions::vsl_myname>},
    {"VSL_PARTNERNAME", partnerName},
    {"VSL_MODE", numeric<&ZorOptions::vsl_mode>},
    {"VSL_QOP", numeric<&ZorOptions::vsl_qop>},
    {"VSL_SSO", numeric<&ZorOptions::vsl_sso>},
    {"TRACE", numeric<&ZorOptions::trace>},
    {"LCHECK", numeric<&ZorOptions::lcheck>},
    {"NO_COMPRESSION", noCompression},
    {"NO_LUMX", noLumx},
    {"DELTA", deltaManager},
    {"USE_KELGUI", numeric<&ZorOptions::use_kelgui>},
    {"UBIX_DEBUG", debug},
    {"COMPRESSION_TYPE", compressionType},
    {"SERIALIZATION_FORMAT", serializationFormat},
    {"KEEPALIVE", numeric<&ZorOptions::keepalive>},
    {"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", startsWithOne<&ZorOptions::isZorMetadataGetAvailable>,
     noRoundTripUnlessAsked},
    {"PASSWORD_CHANGE_ENFORCED", startsWithOne<&ZorOptions::password_change_enforced>},
    {"USE_SYMBOLIC_NAMES", startsWithOne<&ZorOptions::use_symbolic_names>},
    {"SYS_IDS", text<&ZorOptions::system_ids>},
    {"VSL_PARTNER_NAMES", text<&ZorOptions::vsl_partner_names>},
    {"SERVER_NAME", text<&ZorOptions::serverName>},
    {"SERVER_HOST", text<&ZorOptions::serverHost>},
    {"BIND_ADDRESS", bindAddress},
    {"SERVER_PORT", text<&ZorOptions::serverPort>},
    {"SSL_PRIV_KEY", text<&ZorOptions::sslPrivKey>},
    {"SSL_CERT_CHAIN", text<&ZorOptions::sslCertChain>},
    {"SSL_TRUSTED_CERTS", text<&ZorOptions::sslTrustedCerts>},
    {"SSL_PARTNER_NAMES", text<&ZorOptions::sslPartnerNames>},
};

/** The caller's pairs as a map; wiped at its end, since one of them may be a password. */
struct PairMap : ZorOptionMap {
    PairMap(const ZOR_CONNECTION_PARAMETER* params, unsigned paramCount) {
        for (unsigned i = 0; i < paramCount; ++i) {
            if (params[i].name == nullptr || params[i].value == nullptr) continue;
            const auto name = trimmed(params[i].name);
            const auto value = trimmed(params[i].value);
            if (!name.empty() && !value.empty()) emplace(upperCase(name), value);
        }
    }
    PairMap(const PairMap&) = delete;
    PairMap& operator=(const PairMap&) = delete;
    ~PairMap() { wipe(*this); }
};

/** Stands for a value that is a secret: it shows whether there is one. */
KEL_string masked(const KEL_string& secret) {
    return secret.empty() ? "(- null -)" : "(- secret -)";
}

KEL_string shown(const KEL_string& text) {
    return text;
}

KEL_string shown(bool value) {
    return value ? "true" : "false";
}

template <class Number>
requires std::is_arithmetic_v<Number> || std::is_enum_v<Number> KEL_string shown(Number value) {
    return std::to_string(static_cast<long long>(value));
}

template <auto member>
KEL_string plain(const ZorOptions& options) {
    return shown(options.*member);
}

template <auto member>
KEL_string secret(const ZorOptions& options) {
    return masked(options.*member);
}

/** A host or a route, whose hops may carry passwords. */
template <KEL_string ZorOptions::*member>
KEL_string route(const ZorOptions& options) {
    KEL_string shownRoute((options.*member).size() * 2 + sizeof "<pass>", '\0');
    NiSecStr(options.*member, shownRoute);
    return shownRoute.c_str();
}

struct TraceLine {
    std::string_view label;
    KEL_string (*value)(const ZorOptions& options);
};

constexpr TraceLine traceLines[] = {
    {"Partner Char Size", plain<&ZorOptions::pcs>},
    {"Client", plain<&ZorOptions::client>},
    {"User", plain<&ZorOptions::user>},
    {"Alias", plain<&ZorOptions::alias>},
    {"Passwd", secret<&ZorOptions::passwd>},
    {"Language", plain<&ZorOptions::lang>},
    {"MyKELSSO2", secret<&ZorOptions::mykelsso2>},
    {"GetSSO2", plain<&ZorOptions::getsso2>},
    {"X.509 Certificate", secret<&ZorOptions::x509cert>},
    {"ExtidData", secret<&ZorOptions::extiddata>},
    {"ExtidType", plain<&ZorOptions::extidtype>},
    {"SysNr", plain<&ZorOptions::sysnr>},
    {"ASHost", route<&ZorOptions::ashost>},
    {"ASService", plain<&ZorOptions::asserv>},
    {"GWHost", route<&ZorOptions::gwhost>},
    {"GWService", plain<&ZorOptions::gwserv>},
    {"Q7Name", plain<&ZorOptions::q7name>},
    {"MSHost", route<&ZorOptions::mshost>},
    {"MSService", plain<&ZorOptions::msserv>},
    {"Group", plain<&ZorOptions::group>},
    {"ProgramID", plain<&ZorOptions::tpname>},
    {"KELRouter", route<&ZorOptions::kelrouter>},
    {"VSL Mode", plain<&ZorOptions::vsl_mode>},
    {"VSL QOP", plain<&ZorOptions::vsl_qop>},
    {"VSL Lib", plain<&ZorOptions::vsl_lib>},
    {"VSL Myname", plain<&ZorOptions::vsl_myname>},
    {"VSL Partnername", plain<&ZorOptions::vsl_partnername>},
    {"Codepage", plain<&ZorOptions::codepage>},
    {"Trace", plain<&ZorOptions::trace>},
    {"LogonCheck", plain<&ZorOptions::lcheck>},
    {"Compression", plain<&ZorOptions::compression>},
    {"Ignore Char Conv Errors", plain<&ZorOptions::ignoreConvErr>},
    {"Substitution Char", plain<&ZorOptions::substitute>},
    {"UseRoundtripOptimization", plain<&ZorOptions::isZorMetadataGetAvailable>},
    {"SO Keepalive", plain<&ZorOptions::keepalive>},
};

}  // namespace

ZorOptions::ZorOptions() : codepage(kelSystemInfo().charset) {}

ZorOptions::~ZorOptions() {
    wipe(passwd);
}

void ZorOptions::setOptions(const ZorOptionMap& options) {
    OptionPass pass{*this, {}};
    for (const auto& [key, treat, rule] : optionKeys) {
        const auto found = options.find(key);
        const bool present = found != options.end() && !found->second.empty();
        if (present) treat(pass, found->second);
        if (rule != nullptr) rule(pass, present);
    }
}

void ZorOptions::parseConnString(const ZOR_CONNECTION_PARAMETER* params, unsigned paramCount, int argCount,
                                 KEL_UC** argVector) {
    const PairMap pairs(params, paramCount);
    setOptions(pairs);
    if (!pairs.contains("TRACE")) trace = static_cast<unsigned short>(ZorConfig::getGlobalTraceLevel());
    if (argCount <= 1 && ashost.empty() && gwhost.empty() && mshost.empty() && serverPort.empty())
        throw ZorInvalidParameterException("Parameter ASHOST, GWHOST, MSHOST or SERVER_PORT is missing.");
    argc = argCount;
    argv = argVector;
}

void ZorOptions::writeTraceEntry(KEL_ofstream* traceStream) const {
    constexpr std::string_view kind = "ZorOptions";
    ZorTrace::beginEntry(traceStream, kind, alias);
    for (const auto& [label, value] : traceLines) {
        const KEL_string text = value(*this);
        ZorTrace::writeKeyValue(traceStream, label, text.data(), text.size(), true);
    }
    ZorTrace::endEntry(traceStream, kind, alias);
}
