#include <arpa/inet.h>
#include <netdb.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"

namespace {

constexpr KEL_RAW MAPPED_PREFIX[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr NI_NODEADDR LOOPBACK = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1};

struct AddrInfoFree {
    void operator()(addrinfo* info) const { freeaddrinfo(info); }
};
using AddrInfo = std::unique_ptr<addrinfo, AddrInfoFree>;

KELRETURN refuse(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* subject,
                 const KEL_CHAR* detail) {
    return NiErrSet(
        rc, {.function = function, .line = line, .module = __FILE__, .subject = subject, .detail = detail});
}

/** Reads a numeric address; IPv6 only where it is active. */
bool numericAddress(const KEL_CHAR* text, NI_NODEADDR& address) {
    in_addr v4;
    if (inet_pton(AF_INET, text, &v4) == 1) {
        address = NiTransIPv4ToNode(v4);
        return true;
    }
    return NiIPv6Active() && inet_pton(AF_INET6, text, address.data()) == 1;
}

/** A kind of service that carries its number in its name. */
struct NumberedService {
    std::string_view name;
    std::string_view ending;
    KEL_USHORT base;
};

constexpr NumberedService NUMBERED[] = {
    {"keldp", "", 3200},
    {"kelgw", "", 3300},
    {"keldp", "s", 4700},
    {"kelgw", "s", 4800},
};

bool digits(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/** The port that a service's name itself gives; 0 if it gives none. */
KEL_USHORT calculatedPort(std::string_view service) {
    for (const NumberedService& form : NUMBERED) {
        if (service.size() != form.name.size() + 2 + form.ending.size()) continue;
        const std::string_view number = service.substr(form.name.size(), 2);
        if (!service.starts_with(form.name) || !service.ends_with(form.ending) || !digits(number)) continue;
        return static_cast<KEL_USHORT>(form.base + (number[0] - '0') * 10 + (number[1] - '0'));
    }
    return 0;
}

/** The port of the system's service table; 0 if it has none. */
KEL_USHORT tablePort(const KEL_CHAR* service) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(nullptr, service, &hints, &found) != 0) return 0;
    const AddrInfo owner(found);
    NI_NODEADDR address;
    KEL_USHORT port = 0;
    NiFromSockaddr(found->ai_addr, &address, &port);
    return port;
}

}  // namespace

bool NiIsIPv4(const NI_NODEADDR& address) noexcept {
    return std::equal(std::begin(MAPPED_PREFIX), std::end(MAPPED_PREFIX), address.begin());
}

NI_NODEADDR NiTransIPv4ToNode(const in_addr& address) noexcept {
    NI_NODEADDR node;
    std::memcpy(node.data(), MAPPED_PREFIX, sizeof MAPPED_PREFIX);
    std::memcpy(node.data() + sizeof MAPPED_PREFIX, &address, sizeof address);
    return node;
}

void NiFromSockaddr(const sockaddr* from, NI_NODEADDR* address, KEL_USHORT* port) noexcept {
    *address = LOOPBACK;
    *port = 0;
    if (from->sa_family == AF_INET) {
        sockaddr_in v4;
        std::memcpy(&v4, from, sizeof v4);
        *address = NiTransIPv4ToNode(v4.sin_addr);
        *port = ntohs(v4.sin_port);
    } else if (from->sa_family == AF_INET6) {
        sockaddr_in6 v6;
        std::memcpy(&v6, from, sizeof v6);
        std::memcpy(address->data(), &v6.sin6_addr, address->size());
        *port = ntohs(v6.sin6_port);
    }
}

KELRETURN NiMyHostName(KEL_CHAR* buffer, std::size_t size) noexcept {
    if (gethostname(buffer, size) == 0 && std::memchr(buffer, '\0', size)) return NI_OK;
    if (size != 0) *buffer = '\0';
    return refuse(NIEINTERN, __LINE__, __func__, "", "own host name not available");
}

KELRETURN NiHostToAddr(const KEL_CHAR* host, NI_NODEADDR* address) noexcept {
    *address = LOOPBACK;
    if (!host) return NI_OK;
    const std::string_view text(host);
    if (text.size() >= NI_HOST_MAX)
        return refuse(NIEINVAL, __LINE__, __func__, "", "parameter invalid (hostname too long)");
    const bool colon = text.find(':') != std::string_view::npos;
    if (colon || (!text.empty() && digits(text.substr(0, 1))))
        if (numericAddress(host, *address)) return NI_OK;
    if (colon) return refuse(NIEINVAL, __LINE__, __func__, "", "parameter invalid (IPv6 address)");

    addrinfo hints{};
    hints.ai_family = NiIPv6Active() ? AF_UNSPEC : AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int rc = text.empty() ? EAI_NONAME : getaddrinfo(host, nullptr, &hints, &found);
    if (rc != 0) return refuse(NIEHOST_UNKNOWN, __LINE__, __func__, host, gai_strerror(rc));
    const AddrInfo owner(found);
    KEL_USHORT port;
    NiFromSockaddr(found->ai_addr, address, &port);
    return NI_OK;
}

KELRETURN NiAddrToStr(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size) noexcept {
    const bool v4 = NiIsIPv4(address);
    const KEL_RAW* bytes = address.data() + (v4 ? sizeof MAPPED_PREFIX : 0);
    if (inet_ntop(v4 ? AF_INET : AF_INET6, bytes, buffer, static_cast<socklen_t>(size))) return NI_OK;
    return refuse(NIETOO_SMALL, __LINE__, __func__, "", "buffer too small for an address");
}

KELRETURN NiServToNo(const KEL_CHAR* service, KEL_USHORT* port) noexcept {
    *port = 0;
    const std::string_view text(service ? service : "");
    if (text.empty() || text.size() >= NI_SERV_MAX)
        return refuse(NIEINVAL, __LINE__, __func__, "", "parameter invalid (service name)");
    if (digits(text)) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *port);
        if (error == std::errc()) return NI_OK;
        return refuse(NIESERV_UNKNOWN, __LINE__, __func__, service, "port number out of range");
    }
    *port = tablePort(service);
    if (*port == 0) *port = calculatedPort(text);
    return *port != 0 ? static_cast<KELRETURN>(NI_OK)
                      : refuse(NIESERV_UNKNOWN, __LINE__, __func__, service, "");
}
