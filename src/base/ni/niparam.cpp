#include "base/ni/niparam.h"

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"
#include "base/ni/nitrc.h"
#include "base/thr/thr.h"

namespace {

constexpr const KEL_CHAR* INIT = "NiIInit";
constexpr int LINK_LOCAL_ALL = NI_LINK_LOCAL_REFUSE | NI_LINK_LOCAL_EQUAL;

THR_CS_TYPE param_section;
std::optional<NI_SETTINGS> current THR_GUARDED_BY(param_section);

/** A decimal number that is the whole text; nothing else. */
std::optional<long> number(std::string_view text) {
    long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return value;
}

/** A number of the environment within its limits, else nothing. */
std::optional<int> environmentNumber(const KEL_CHAR* name, long highest) {
    const char* text = std::getenv(name);
    const auto value = text ? number(text) : std::nullopt;
    if (!value || *value < 0 || *value > highest) return std::nullopt;
    return static_cast<int>(*value);
}

struct IfAddrsFree {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

/** Whether the host has an IPv6 address, and whether it has the local one. */
void ipv6Addresses(bool& any, bool& local) {
    any = local = false;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return;
    const std::unique_ptr<ifaddrs, IfAddrsFree> owner(list);
    for (; list; list = list->ifa_next) {
        if (!list->ifa_addr || list->ifa_addr->sa_family != AF_INET6) continue;
        NI_NODEADDR address;
        KEL_USHORT port;
        NiFromSockaddr(list->ifa_addr, &address, &port);
        any = true;
        if (IN6_IS_ADDR_LOOPBACK(address.data())) local = true;
    }
}

bool ipv6Asked() {
    const char* active = std::getenv("KEL_IPv6_ACTIVE");
    if (!active) return std::getenv("NI_USEIPv6") != nullptr;
    const std::string_view text(active);
    if (text != "0" && text != "1") NiTrcErr({INIT}, "invalid value '%s' for KEL_IPv6_ACTIVE [0,1]", active);
    return text == "1";
}

bool ipv6Usable() {
    bool any, local;
    ipv6Addresses(any, local);
    if (!any)
        NiTrcErr({INIT}, "no IPv6 address configured, IPv6 will not be initialized");
    else if (!local)
        NiTrcErr({INIT}, "no IPv6 localhost address '::1' configured, IPv6 will not be initialized");
    return any && local;
}

NI_SETTINGS fromEnvironment() {
    NI_SETTINGS fresh;
    fresh.ipv6 = ipv6Asked() && ipv6Usable();
    const char* restriction = std::getenv("KEL_CONNECT_RESTRICTION");
    fresh.localOnly = restriction && std::string_view(restriction) == "LOCAL";
    fresh.linkLocal = environmentNumber("KEL_NI_HANDLE_LINK_LOCAL_ADDR", LINK_LOCAL_ALL).value_or(0);
    fresh.cacheDisabled = environmentNumber("KEL_NI_CACHE_DISABLED", 1).value_or(0) == 1;
    fresh.sockBufferSize =
        static_cast<KEL_UINT>(environmentNumber("NI_SOCK_BUF_SIZE", NI_SOCK_BUFFER_SIZE_MAX).value_or(0));
    const char* policy = std::getenv("NI_ADDR_POLICY");
    if (policy && fresh.ipv6) NiIReadAddrPolicy(policy, fresh);
    return fresh;
}

NI_SETTINGS& settings() THR_REQUIRES(param_section) {
    if (!current) current = fromEnvironment();
    return *current;
}

bool startsWith(const NI_NODEADDR& address, const NI_ADDR_RULE& rule) {
    for (int bit = 0; bit < rule.bits; ++bit) {
        const auto byte = static_cast<std::size_t>(bit / 8);
        if (((address[byte] ^ rule.prefix[byte]) & (0x80 >> bit % 8)) != 0) return false;
    }
    return true;
}

/** Reads "prefix/bits,preference"; a prefix without its length is a whole address. */
bool readRule(std::string_view text, NI_ADDR_RULE& rule) {
    const std::size_t comma = text.find(',');
    if (comma == std::string_view::npos) return false;
    const auto preference = number(text.substr(comma + 1));
    text = text.substr(0, comma);
    const std::size_t slash = std::min(text.find('/'), text.size());
    const auto length = slash < text.size() ? number(text.substr(slash + 1)) : std::optional<long>(-1);
    KEL_CHAR address[NI_ADDR_TEXT_MAX] = "";
    if (!preference || !length || slash >= sizeof address) return false;
    text.copy(address, slash);
    in_addr v4;
    const bool mapped = inet_pton(AF_INET, address, &v4) == 1;
    if (mapped)
        rule.prefix = NiTransIPv4ToNode(v4);
    else if (inet_pton(AF_INET6, address, rule.prefix.data()) != 1)
        return false;
    const long offset = mapped ? 96 : 0;
    rule.bits = static_cast<int>(*length < 0 ? 128 : *length + offset);
    rule.preference = static_cast<int>(*preference);
    return *length <= 128 - offset;
}

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

/** Where a number among the settings lies; NULL for the others. */
struct NumberParam {
    NI_PARAM no;
    long lowest;
    long highest;
    long (*get)(const NI_SETTINGS&);
    void (*set)(NI_SETTINGS&, long);
};

#define NI_NUMBER(no, lowest, highest, member)                                                    \
    {                                                                                             \
        no, lowest, highest, [](const NI_SETTINGS& s) { return static_cast<long>(s.member); },    \
            [](NI_SETTINGS& s, long value) { s.member = static_cast<decltype(s.member)>(value); } \
    }

constexpr NumberParam NUMBERS[] = {
    NI_NUMBER(NIP_CONNLOCAL, 0, 1, connLocal),
    NI_NUMBER(NIP_QUEUE_LEN, 1, 65535, queueLength),
    NI_NUMBER(NIP_PORTRANGE, 0, 1, portRange),
    NI_NUMBER(NIP_MINPORT, 1, 65535, minPort),
    NI_NUMBER(NIP_MAXPORT, 1, 65535, maxPort),
    NI_NUMBER(NIP_AUTO_RESOLVE_KEL_PORTS, 0, 1, autoResolveKelPorts),
    NI_NUMBER(NIP_SOCK_BUFFER_SIZE, 0, NI_SOCK_BUFFER_SIZE_MAX, sockBufferSize),
};

const NumberParam* findNumber(NI_PARAM no) {
    const auto* found = std::ranges::find(NUMBERS, no, &NumberParam::no);
    return found == std::end(NUMBERS) ? nullptr : found;
}

}  // namespace

NI_SETTINGS NiISettings() noexcept {
    const ThrCSGuard guard(param_section);
    return settings();
}

void NiIResetSettings() noexcept {
    const ThrCSGuard guard(param_section);
    current.reset();
}

int NiIPreference(const NI_SETTINGS& settings, const NI_NODEADDR& address) noexcept {
    const NI_ADDR_RULE* best = nullptr;
    for (std::size_t i = 0; i < settings.ruleCount; ++i)
        if (startsWith(address, settings.rules[i]) && (!best || settings.rules[i].bits > best->bits))
            best = &settings.rules[i];
    return best ? best->preference : 0;
}

void NiIReadAddrPolicy(const KEL_CHAR* text, NI_SETTINGS& settings) noexcept {
    std::string_view rest(text);
    while (!rest.empty() && settings.ruleCount < NI_ADDR_RULES) {
        const std::string_view rule = rest.substr(0, rest.find(';'));
        rest.remove_prefix(std::min(rule.size() + 1, rest.size()));
        if (readRule(rule, settings.rules[settings.ruleCount]))
            ++settings.ruleCount;
        else if (!rule.empty())
            NiTrcErr({INIT}, "invalid rule '%.*s' in NI_ADDR_POLICY", static_cast<int>(rule.size()),
                     rule.data());
    }
    if (!rest.empty()) NiTrcErr({INIT}, "more than %zu rules in NI_ADDR_POLICY", NI_ADDR_RULES);
}

bool NiIPv6Active() noexcept {
    const ThrCSGuard guard(param_section);
    return settings().ipv6;
}

KELRETURN NiSetParamEx(const NI_PARAM_DATA& param) noexcept {
    const ThrCSGuard guard(param_section);
    if (param.no == NIP_LOCAL_ADDR) {
        settings().localAddr = param.address;
        return NI_OK;
    }
    const NumberParam* row = findNumber(param.no);
    if (!row) return refuse(__LINE__, __func__, "parameter invalid (no)");
    if (param.value < row->lowest || param.value > row->highest)
        return refuse(__LINE__, __func__, "parameter invalid (value)");
    row->set(settings(), param.value);
    return NI_OK;
}

KELRETURN NiGetParamEx(NI_PARAM_DATA* param) noexcept {
    const ThrCSGuard guard(param_section);
    const NumberParam* row = findNumber(param->no);
    if (row)
        param->value = static_cast<KEL_INT>(row->get(settings()));
    else if (param->no == NIP_LOCAL_ADDR)
        param->address = settings().localAddr;
    else
        return refuse(__LINE__, __func__, "parameter invalid (no)");
    return NI_OK;
}

KELRETURN NiSetParam(NI_PARAM no, KEL_INT value) noexcept {
    return NiSetParamEx({.no = no, .value = value, .address = {}});
}

void NiSetConnLocal(bool on) noexcept {
    NiSetParam(NIP_CONNLOCAL, on ? 1 : 0);
}

KELRETURN NiSetSockBufferSize(KEL_UINT bytes) noexcept {
    return NiSetParam(NIP_SOCK_BUFFER_SIZE, static_cast<KEL_INT>(std::min<KEL_UINT>(bytes, INT32_MAX)));
}
