#include <ifaddrs.h>
#include <sys/un.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"
#include "base/ni/nitab.h"
#include "base/ni/niwait.h"

namespace {

constexpr KEL_INT NI_DEFAULT_HANDLES = 65536;
constexpr int CONNECT_TRIES = 20;  // while the system has no free local port
constexpr const KEL_CHAR* LOCAL_PATTERN = "/tmp/.kelstream%d";
constexpr std::string_view HOP{"/H/"};

/** Settings from the environment, read when the layer is used first. */
struct Settings {
    bool ipv6 = false;
    bool localOnly = false;
};

const Settings& settings() noexcept {
    static const Settings values = [] {
        Settings fresh;
        if (const char* active = std::getenv("KEL_IPv6_ACTIVE"))
            fresh.ipv6 = std::strcmp(active, "1") == 0;
        else
            fresh.ipv6 = std::getenv("NI_USEIPv6") != nullptr;
        const char* restriction = std::getenv("KEL_CONNECT_RESTRICTION");
        fresh.localOnly = restriction && std::strcmp(restriction, "LOCAL") == 0;
        return fresh;
    }();
    return values;
}

std::atomic<bool> connLocal{true};
std::atomic<KEL_UINT> sockBufferSize{0};

struct Target {
    NI_NODEADDR address{};
    KEL_USHORT port = 0;
    KEL_CHAR text[NI_HOST_MAX + NI_SERV_MAX] = "";  ///< "host:service", for texts.
};

struct IfAddrsFree {
    void operator()(ifaddrs* list) const { freeifaddrs(list); }
};

/** Whether an address is one of this host. */
bool NiILocalCheck(const NI_NODEADDR& address) {
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

/** A socket with the buffers that are wished for; one that the system refuses is no reason to fail. They come
 * before the connect, which agrees on the window. */
SI_RC openSocket(int family, SI_SOCK& sock) {
    const SI_RC rc = SiSocket(family, &sock);
    const int size = static_cast<int>(sockBufferSize);
    if (rc != SI_OK || size == 0) return rc;
    for (const int option : {SO_SNDBUF, SO_RCVBUF})
        (void)SiSetSockOpt(&sock, SOL_SOCKET, option, size);
    return SI_OK;
}

KELRETURN fail(KELRETURN rc, int line, const Target& target, const KEL_CHAR* detail, const SI_SOCK* socket) {
    return NiErrSet(rc, {.function = "NiIConnect",
                         .line = line,
                         .module = __FILE__,
                         .subject = target.text,
                         .detail = detail,
                         .socket = socket});
}

/** A partner on this host may offer a socket in the file system; failing is no error. */
bool connectLocal(SI_SOCK& sock, KEL_USHORT port) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, LOCAL_PATTERN, port);
    if (openSocket(AF_UNIX, sock) == SI_OK &&
        SiConnect(&sock, reinterpret_cast<const sockaddr*>(&address), sizeof address) == SI_OK)
        return true;
    SiClose(&sock);
    return false;
}

SI_RC startConnect(SI_SOCK& sock, const Target& target) {
    sockaddr_storage storage{};
    socklen_t length = 0;
    if (NiIsIPv4(target.address)) {
        auto* v4 = reinterpret_cast<sockaddr_in*>(&storage);
        v4->sin_family = AF_INET;
        v4->sin_port = htons(target.port);
        std::memcpy(&v4->sin_addr, target.address.data() + 12, sizeof v4->sin_addr);
        length = sizeof *v4;
    } else {
        auto* v6 = reinterpret_cast<sockaddr_in6*>(&storage);
        v6->sin6_family = AF_INET6;
        v6->sin6_port = htons(target.port);
        std::memcpy(&v6->sin6_addr, target.address.data(), sizeof v6->sin6_addr);
        length = sizeof *v6;
    }
    SI_RC rc = openSocket(storage.ss_family, sock);
    if (rc != SI_OK) return rc;
    for (int tries = 0; tries < CONNECT_TRIES; ++tries) {
        rc = SiConnect(&sock, reinterpret_cast<const sockaddr*>(&storage), length);
        if (rc != SI_EPORT_INUSE) break;
    }
    return rc;
}

KELRETURN connectIP(SI_SOCK& sock, const Target& target, KEL_INT timeout) {
    const Deadline deadline(timeout);
    SI_RC rc = startConnect(sock, target);
    // A connect that a signal interrupts goes on in the background, like one in progress.
    if (rc == SI_ECONN_INPROG || rc == SI_EINTR) {
        rc = NiIWait(sock, SI_WRITE, deadline);
        if (rc == SI_ETIMEOUT) {
            KEL_CHAR detail[64];
            std::snprintf(detail, sizeof detail, "connection pending after %dms", timeout);
            return fail(NIECONN_REFUSED, __LINE__, target, detail, nullptr);
        }
        if (rc == SI_OK) rc = SiPeekPendConn(&sock);
    }
    return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                       : fail(NiISystemError(rc, true), __LINE__, target, "", &sock);
}

/** Takes the one hop of a route: host and, where it has one, service. */
bool oneHop(std::string_view route, std::string& host, std::string& service) {
    route.remove_prefix(HOP.size());
    if (route.find(HOP) != std::string_view::npos) return false;
    const std::size_t mark = std::min(route.find("/S/"), route.size());
    const std::size_t secret = std::min({route.find("/P/"), route.find("/W/"), route.size()});
    host = route.substr(0, std::min(mark, secret));
    if (mark < secret) service = route.substr(mark + 3, secret - mark - 3);
    return true;
}

KELRETURN resolve(const KEL_CHAR* hostText, const KEL_CHAR* serviceText, Target& target) {
    std::string host(hostText ? hostText : ""), service(serviceText ? serviceText : "");
    if (std::string_view(host).starts_with(HOP) && !oneHop(std::string(host), host, service))
        return fail(NIEINVAL, __LINE__, target, "routes of more than one hop are not supported", nullptr);
    std::snprintf(target.text, sizeof target.text, "%.*s:%.*s", static_cast<int>(NI_HOST_MAX) - 1,
                  host.c_str(), static_cast<int>(NI_SERV_MAX) - 1, service.c_str());
    const KELRETURN rc = NiHostToAddr(host.c_str(), &target.address);
    return rc == NI_OK ? NiServToNo(service.c_str(), &target.port) : rc;
}

KELRETURN NiIConnect(NI_CON& con, const Target& target, KEL_INT timeout) {
    const bool wanted = connLocal || settings().localOnly;
    const bool local = wanted && NiILocalCheck(target.address);
    if (settings().localOnly && !local)
        return fail(NIEINVAL, __LINE__, target, "blocked connection (KEL_CONNECT_RESTRICTION)", nullptr);
    con.mPeerAddr = target.address;
    con.mPeerServNo = target.port;
    if (local && connLocal && connectLocal(con.mSocket, target.port)) return NI_OK;
    return connectIP(con.mSocket, target, timeout);
}

}  // namespace

void NiSecStr(std::string_view route, std::span<KEL_CHAR> buffer) noexcept {
    const bool isRoute = route.starts_with(HOP);
    std::size_t length = 0;
    const auto add = [&](std::string_view piece) {
        length += piece.copy(buffer.data() + length, buffer.size() - 1 - length);
    };
    while (!route.empty()) {
        // A hop, its own mark included, ends where the next one begins.
        const std::string_view hop = route.substr(0, isRoute ? route.find(HOP, 1) : route.size());
        const std::size_t secret = isRoute ? std::min(hop.find("/P/"), hop.find("/W/")) : hop.size();
        add(hop.substr(0, secret));
        if (secret < hop.size()) add("/P/<pass>");
        route.remove_prefix(hop.size());
    }
    buffer[length] = '\0';
}

bool NiIPv6Active() noexcept {
    return settings().ipv6;
}

KELRETURN NiInit2(KEL_INT maxHandles) noexcept {
    return NiTabInit(maxHandles);
}

void NiSetConnLocal(bool on) noexcept {
    connLocal = on;
}

KELRETURN NiSetSockBufferSize(KEL_UINT bytes) noexcept {
    if (bytes > NI_SOCK_BUFFER_SIZE_MAX)
        return NiErrSet(NIEINVAL, {.function = __func__,
                                   .line = __LINE__,
                                   .module = __FILE__,
                                   .subject = "",
                                   .detail = "socket buffer size is too large",
                                   .socket = nullptr});
    sockBufferSize = bytes;
    return NI_OK;
}

KELRETURN NiHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout, NI_HDL* handle) noexcept {
    *handle = NI_INVALID_HDL;
    Target target;
    KELRETURN rc = NiInit2(NI_DEFAULT_HANDLES);
    if (rc == NI_OK) rc = resolve(host, service, target);
    if (rc != NI_OK) return rc;
    NITAB* entry = NiTabNew();
    if (!entry) return fail(NIEINVAL, __LINE__, target, "no free handle", nullptr);
    rc = NiIConnect(entry->mConHdl, target, timeout == 0 ? -1 : timeout);
    if (rc != NI_OK) {
        NiTabFree(entry);
        return rc;
    }
    entry->mType = NI_CONNECTED;
    *handle = entry->mHandle;
    return NI_OK;
}
