#include "keys.h"

#include <cctype>

namespace zortool {

namespace {

constexpr const char* where = "Where to";
constexpr const char* who = "Who";
constexpr const char* text = "Text";
constexpr const char* how = "How";
constexpr const char* secure = "Secure network layer";
constexpr const char* servers = "Servers (without effect on a client)";

constexpr ConnectionKey keys[] = {
    {"DEST", "NAME", where, "Destination of kelzor.ini; the other options go over its settings", true},
    {"ASHOST", "HOST", where, "Host of the application server; a route string in front is allowed", true},
    {"SYSNR", "NN", where, "Its system number, two digits", true},
    {"GWHOST", "HOST", where, "Host of the gateway, if it isn't --ashost", true},
    {"GWSERV", "SERVICE", where, "Service or port of the gateway", true},
    {"KELROUTER", "ROUTE", where, "Route string in front of the host"},
    {"TPNAME", "NAME", where, "Registered program to call instead of a back-end system"},
    {"PROGRAM_ID", "NAME", where, "The same; goes before --tpname"},
    {"MSHOST", "HOST", where, "Host of the message server that chooses an application server", true},
    {"MSSERV", "SERVICE", where, "Its service or port"},
    {"Q7NAME", "NAME", where, "Name of the system at the message server"},
    {"SYSID", "NAME", where, "The same, where --q7name isn't given"},
    {"GROUP", "NAME", where, "Logon group", true},
    {"USE_SYMBOLIC_NAMES", "0|1", where,
     "1: the gateway's service is named, not numbered, after load balancing"},
    {"CLIENT", "NNN", who, "Client of the back-end, three digits", true},
    {"USER", "NAME", who, "User", true},
    {"PASSWD", "SOURCE", who, "Where the password is: prompt, fd:N, file:PATH or env:NAME", true, true},
    {"PASSWORD_CHANGE_ENFORCED", "0|1", who, "1: a change of the password that is demanded can't be refused"},
    {"LANG", "CODE", who, "Language: two letters of ISO 639, or the one-character key", true},
    {"MYKELSSO2", "SOURCE", who, "Where a logon ticket is, as --passwd", false, true},
    {"GETSSO2", "0|1", who, "1: ask for a ticket"},
    {"X509CERT", "SOURCE", who, "Where a certificate is, as --passwd", false, true},
    {"EXTIDDATA", "SOURCE", who, "Where an external identity is, as --passwd", false, true},
    {"EXTIDTYPE", "TYPE", who, "Type of the external identity"},
    {"LCHECK", "0|1", who, "0: the logon isn't checked when the connection opens"},
    {"CODEPAGE", "NNNN", text, "Code page towards the partner"},
    {"COMM_CP", "NNNN", text, "The same; --codepage goes before it"},
    {"PCS", "1|2", text, "Bytes of a character at the partner's side"},
    {"ON_CCE", "0|1|2", text, "A character that the other code page lacks: 0 fails, 1 copies, 2 substitutes"},
    {"CFIT", "HEX", text, "The substitute as a hexadecimal character number"},
    {"TRACE", "LEVEL", how, "Trace level, 0 to 3; the files go to the current directory or --trace-dir",
     true},
    {"DELTA", "0|1", how, "0: tables are sent whole in every call"},
    {"SERIALIZATION_FORMAT", "FORMAT", how, "FAST_SERIALIZATION, or anything else for the classic format"},
    {"COMPRESSION_TYPE", "TYPE", how, "Compression of the fast format: LAN, WAN or OFF"},
    {"NO_COMPRESSION", "0|1", how, "1: as --compression-type OFF, which goes before it"},
    {"NO_LUMX", "0|1", how, "1: parameters never travel in the binary XML form"},
    {"USE_REPOSITORY_ROUNDTRIP_OPTIMIZATION", "0|1", how, "1: descriptions are fetched in one round trip"},
    {"KEEPALIVE", "0|1", how, "Keep-alive setting of the socket"},
    {"USE_KELGUI", "MODE", how, "Attach the front end: 0 no, else the mode"},
    {"UBIX_DEBUG", "0|1", how, "1: the partner starts in its debugger"},
    {"KELLOGON_ID", "NAME", how, "Entry of the front end's logon pad; there are none on this platform"},
    {"VSL_PARTNERNAME", "NAME", secure, "Name of the partner; switches the layer on"},
    {"VSL_MODE", "0|1", secure, "1 on, 0 off, whatever --vsl-partnername says"},
    {"VSL_QOP", "NUMBER", secure, "Quality of protection"},
    {"VSL_SSO", "0|1", secure, "1: log on with the identity of the layer"},
    {"VSL_LIB", "PATH", secure, "Security library"},
    {"VSL_MYNAME", "NAME", secure, "Own name"},
    {"VSL_PARTNER_NAMES", "NAMES", secure, "Names of partners that a server accepts"},
    {"REG_COUNT", "NUMBER", servers, "Registrations of an automated server"},
    {"MAX_REG_COUNT", "NUMBER", servers, "Their upper bound"},
    {"SYS_IDS", "NAMES", servers, "Systems that a server accepts"},
    {"SERVER_NAME", "NAME", servers, "Name of a socket server"},
    {"SERVER_HOST", "ADDRESS", servers, "Address to listen on"},
    {"BIND_ADDRESS", "ADDRESS", servers, "Address to bind; goes before --server-host"},
    {"SERVER_PORT", "PORT", where, "Port of a socket server to call"},
    {"SSL_PRIV_KEY", "KEY", servers, "Private key"},
    {"SSL_CERT_CHAIN", "CHAIN", servers, "Chain of certificates"},
    {"SSL_TRUSTED_CERTS", "CERTIFICATES", servers, "Trusted certificates"},
    {"SSL_PARTNER_NAMES", "NAMES", servers, "Names of partners that are accepted"},
};

}  // namespace

std::span<const ConnectionKey> connectionKeys() {
    return keys;
}

std::string optionOf(const ConnectionKey& key) {
    std::string option = "--";
    for (const char* c = key.name; *c != '\0'; c++)
        option += *c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
    return option;
}

}  // namespace zortool
