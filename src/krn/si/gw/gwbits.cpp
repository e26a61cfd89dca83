// Names of small numbers and of bits, as the trace shows them.

#include <algorithm>
#include <span>
#include <string_view>

#include "krn/si/gw/gwnames.h"

namespace {

constexpr const KEL_CHAR* UNKNOWN = "UNKNOWN";

struct Protocol {
    KEL_CHAR character;
    GW_PROTOCOL number;
    const KEL_CHAR* name;
};
constexpr Protocol PROTOCOLS[] = {{'I', GW_PROT_INT, "INT"},
                                  {'E', GW_PROT_EXT, "EXT"},
                                  {'C', GW_PROT_CPIC, "CPIC"},
                                  {'F', GW_PROT_F, "F"},
                                  {'R', GW_PROT_REG, "REG"}};

// By their values.
constexpr const KEL_CHAR* REG_STATES[] = {"REG_NOT_USED",    "REG_INIT",       "REG_WAITING",
                                          "REG_RUNNING",     "REG_SECU_ERROR", "REG_NOREG_ERROR",
                                          "REG_NORULE_ERROR"};
constexpr const KEL_CHAR* CLIENT_INFOS[] = {"NO_CLIENT_INFO", "EXTERNAL_CLIENT", "Q7_CLIENT"};

const KEL_CHAR* byValue(std::span<const KEL_CHAR* const> names, int value) {
    return value >= 0 && static_cast<std::size_t>(value) < names.size()
               ? names[static_cast<std::size_t>(value)]
               : UNKNOWN;
}

// By their bits, from the lowest up. A bit without a name shows as its value.
constexpr std::string_view ACCEPT_INFO[8] = {"EINFO",     "PING",   "VSL",        "CONN_EINFO",
                                             "CODE_PAGE", "NIPING", "EXTINITOPT", "GW_ACCEPT_DIST_TRACE"};
constexpr std::string_view ACCEPT_INFO2[8] = {
    "CLIENT_PARAMS_CLEANED", "STREAMING", "ZORDEST", "8", "16", "32", "64", "128"};
constexpr std::string_view INFO[8] = {
    "SYNC_CPIC_FUNCTION", "WITH_HOSTADDR",         "WITH_GW_KEL_PARAMS_HDR", "CPIC_SYNC_REQ",
    "WITH_ERR_INFO",      "DATA_WITH_TERM_OUTPUT", "DATA_WITH_TERM_INPUT",   "Q7_CPIC_LOGIN_WITH_TERM"};
constexpr std::string_view INFO2[8] = {
    "WITH_LONG_LU_NAME", "WITH_LONG_HOSTADDR", "GW_IMMEDIATE",     "GW_VSL_ACTIVE", "16",
    "VSL_INIT_PHASE",    "GW_STATELESS",       "GW_NO_STATE_CHECK"};
constexpr std::string_view INFO3[8] = {"GW_WITH_CODE_PAGE",        "GW_ASYNC_ZOR",        "GW_CANCEL_HARD",
                                       "GW_CANCEL_SOFT",           "GW_WITH_GUI_TIMEOUT", "GW_TERMIO_ERROR",
                                       "GW_EXTENDED_INIT_OPTIONS", "GW_DIST_TRACE"};
constexpr std::string_view INFO4[8] = {
    "GW_WITH_DBG_CTL", "GW_WITH_STREAMING", "GW_WITH_ZORDEST", "8", "16", "32", "64", "128"};
constexpr std::string_view VECTOR[8] = {"F_V_INITIALIZE_CONVERSATION",
                                        "F_V_ALLOCATE",
                                        "F_V_SEND_DATA",
                                        "F_V_RECEIVE",
                                        "F_V_FLUSH",
                                        "32",
                                        "64",
                                        "128"};

constexpr std::size_t lengthOfAll(std::span<const std::string_view, 8> names) {
    std::size_t length = 0;
    for (const std::string_view name : names)
        length += name.size() + 1;
    return length;
}
static_assert(std::max({lengthOfAll(ACCEPT_INFO), lengthOfAll(INFO), lengthOfAll(INFO2), lengthOfAll(INFO3),
                        lengthOfAll(VECTOR)}) <= sizeof GwBitText::text);

GwBitText join(std::span<const std::string_view, 8> names, unsigned bits) {
    GwBitText result{"-"};
    std::size_t length = 0;
    for (std::size_t bit = 0; bit < names.size(); ++bit) {
        if ((bits >> bit & 1) == 0) continue;
        if (length != 0) result.text[length++] = '+';
        length += names[bit].copy(result.text + length, names[bit].size());
        result.text[length] = '\0';
    }
    return result;
}

}  // namespace

GW_PROTOCOL GwProtocolNo(KEL_CHAR character) noexcept {
    for (const Protocol& protocol : PROTOCOLS)
        if (protocol.character == character) return protocol.number;
    return GW_PROT_NONE;
}

const KEL_CHAR* GwConnProt(int protocol) noexcept {
    for (const Protocol& known : PROTOCOLS)
        if (known.number == protocol) return known.name;
    return UNKNOWN;
}

const KEL_CHAR* GwRegStateName(int state) noexcept {
    return byValue(REG_STATES, state);
}

const KEL_CHAR* GwGetClientInfo(int client_info) noexcept {
    return byValue(CLIENT_INFOS, client_info);
}

GwBitText GwGetAcceptInfo(std::uint8_t bits) noexcept {
    return join(ACCEPT_INFO, bits);
}
GwBitText GwGetAcceptInfo2(std::uint8_t bits) noexcept {
    return join(ACCEPT_INFO2, bits);
}
GwBitText GwGetInfo(std::uint8_t bits) noexcept {
    return join(INFO, bits);
}
GwBitText GwGetInfo2(std::uint8_t bits) noexcept {
    return join(INFO2, bits);
}
GwBitText GwGetInfo3(std::uint8_t bits) noexcept {
    return join(INFO3, bits);
}
GwBitText GwGetInfo4(std::uint8_t bits) noexcept {
    return join(INFO4, bits);
}
GwBitText GwGetVector(std::uint8_t bits) noexcept {
    return join(VECTOR, bits);
}
