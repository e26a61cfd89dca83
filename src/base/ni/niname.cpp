// Addresses: their forms, their texts, their sockets.

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"

namespace {

constexpr KEL_RAW MAPPED_PREFIX[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr NI_NODEADDR LOOPBACK = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 127, 0, 0, 1};
/** The port's place is the number behind it. */
constexpr const KEL_CHAR* LOCAL_PATTERN = "/tmp/.kelstream%d";

KELRETURN refuse(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(rc, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

struct IfAddrsFree {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

template <class System>
NiSockaddr wrap(const System& address) {
    NiSockaddr result;
    std::memcpy(&result.storage, &address, sizeof address);
    result.length = sizeof address;
    return result;
}

/** Three digits a byte. */
int fixedIPv4(const KEL_RAW* bytes, KEL_CHAR* buffer, std::size_t size) {
    return std::snprintf(buffer, size, "%03u.%03u.%03u.%03u", bytes[0], bytes[1], bytes[2], bytes[3]);
}

/** Four digits a group, none left out. */
int fixedIPv6(const KEL_RAW* bytes, KEL_CHAR* buffer, std::size_t size) {
    KEL_CHAR groups[8][5];
    for (std::size_t i = 0; i < 8; ++i)
        std::snprintf(groups[i], sizeof groups[i], "%02x%02x", bytes[2 * i], bytes[2 * i + 1]);
    return std::snprintf(buffer, size, "%s:%s:%s:%s:%s:%s:%s:%s", groups[0], groups[1], groups[2], groups[3],
                         groups[4], groups[5], groups[6], groups[7]);
}

}  // namespace

bool NiIsIPv4(const NI_NODEADDR& address) noexcept {
    return std::equal(std::begin(MAPPED_PREFIX), std::end(MAPPED_PREFIX), address.begin());
}

NI_NODEADDR NiILoopback() noexcept {
    return LOOPBACK;
}

NI_NODEADDR NiTransRawToNode(const KEL_RAW (&address)[4]) noexcept {
    NI_NODEADDR node;
    std::memcpy(node.data(), MAPPED_PREFIX, sizeof MAPPED_PREFIX);
    std::memcpy(node.data() + sizeof MAPPED_PREFIX, address, sizeof address);
    return node;
}

bool NiTransNodeToRaw(const NI_NODEADDR& address, KEL_RAW (&raw)[4]) noexcept {
    std::memcpy(raw, address.data() + sizeof MAPPED_PREFIX, sizeof raw);
    return NiIsIPv4(address);
}

NI_NODEADDR NiTransIPv4ToNode(const in_addr& address) noexcept {
    KEL_RAW raw[4];
    std::memcpy(raw, &address, sizeof raw);
    return NiTransRawToNode(raw);
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

NiSockaddr NiToSockaddr(const NI_NODEADDR& address, KEL_USHORT port) noexcept {
    if (NiIsIPv4(address)) {
        sockaddr_in v4{};
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        std::memcpy(&v4.sin_addr, address.data() + sizeof MAPPED_PREFIX, sizeof v4.sin_addr);
        return wrap(v4);
    }
    sockaddr_in6 v6{};
    v6.sin6_family = AF_INET6;
    v6.sin6_port = htons(port);
    std::memcpy(&v6.sin6_addr, address.data(), sizeof v6.sin6_addr);
    return wrap(v6);
}

NiSockaddr NiAnySockaddr(int family, KEL_USHORT port) noexcept {
    return NiToSockaddr(family == AF_INET6 ? NI_NODEADDR{} : NiTransIPv4ToNode({}), port);
}

sockaddr_un NiLocalSockaddr(KEL_USHORT port) noexcept {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, LOCAL_PATTERN, port);
    return address;
}

bool NiILocalCheck(const NI_NODEADDR& address) noexcept {
    if (NiIsIPv4(address) ? address[12] == 127 : IN6_IS_ADDR_LOOPBACK(address.data())) return true;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return false;
    const std::unique_ptr<ifaddrs, IfAddrsFree> owner(list);
    for (; list; list = list->ifa_next) {
        if (!list->ifa_addr ||
            (list->ifa_addr->sa_family != AF_INET && list->ifa_addr->sa_family != AF_INET6))
            continue;
        NI_NODEADDR own;
        KEL_USHORT port;
        NiFromSockaddr(list->ifa_addr, &own, &port);
        if (own == address) return true;
    }
    return false;
}

SI_RC NiIOpenSocket(const NI_SETTINGS& settings, int family, SI_SOCK& sock) noexcept {
    const SI_RC rc = SiSocket(family, &sock);
    const int size = static_cast<int>(settings.sockBufferSize);
    if (rc != SI_OK || size == 0) return rc;
    // Before the connect, which agrees on the window.
    for (const int option : {SO_SNDBUF, SO_RCVBUF})
        (void)SiSetSockOpt(&sock, SOL_SOCKET, option, size);
    return SI_OK;
}

KELRETURN NiMyHostName(KEL_CHAR* buffer, std::size_t size) noexcept {
    if (gethostname(buffer, size) == 0 && std::memchr(buffer, '\0', size)) return NI_OK;
    if (size != 0) *buffer = '\0';
    return refuse(NIEINTERN, __LINE__, __func__, "own host name not available");
}

KELRETURN NiAddrToStr(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size,
                      bool fixedFormat) noexcept {
    const bool v4 = NiIsIPv4(address);
    const KEL_RAW* bytes = address.data() + (v4 ? sizeof MAPPED_PREFIX : 0);
    KEL_CHAR text[NI_ADDR_TEXT_MAX] = "";
    if (fixedFormat)
        v4 ? fixedIPv4(bytes, text, sizeof text) : fixedIPv6(bytes, text, sizeof text);
    else
        inet_ntop(v4 ? AF_INET : AF_INET6, bytes, text, sizeof text);
    const std::size_t length = std::strlen(text);
    if (length >= size) return refuse(NIETOO_SMALL, __LINE__, __func__, "buffer too small for an address");
    std::memcpy(buffer, text, length + 1);
    return NI_OK;
}

const KEL_CHAR* NiAddrToStrStatic(const NI_NODEADDR& address) noexcept {
    thread_local KEL_CHAR text[NI_ADDR_TEXT_MAX];
    NiAddrToStr(address, text, sizeof text);
    return text;
}

bool NiIReadAddress(const KEL_CHAR* text, NI_NODEADDR* address) noexcept {
    in_addr v4;
    if (inet_pton(AF_INET, text, &v4) == 1) {
        *address = NiTransIPv4ToNode(v4);
        return true;
    }
    return inet_pton(AF_INET6, text, address->data()) == 1;
}

KELRETURN NiStrToAddr(const KEL_CHAR* text, NI_NODEADDR* address) noexcept {
    if (text && NiIReadAddress(text, address)) return NI_OK;
    *address = {};
    return refuse(NIEINVAL, __LINE__, __func__, "parameter invalid (address)");
}
