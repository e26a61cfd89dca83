#include <cstdio>
#include <cstring>

#include "base/ni/niaddr.h"
#include "base/ni/nibuf.h"
#include "base/ni/nierr.h"
#include "base/ni/nimsg.h"
#include "base/ni/niresolve.h"
#include "base/ni/niroute.h"
#include "base/ni/nitrc.h"

namespace {

constexpr int CONNECT_TRIES = 20;  // while the system has no free local port
constexpr KEL_UINT ALL_PROTOCOLS = NI_PROTO_LOCAL | NI_PROTO_IPV4 | NI_PROTO_IPV6;

/** What a connect is asked for. */
struct Request {
    const KEL_CHAR* host;
    const KEL_CHAR* service;
    KEL_UINT protocol;
    KEL_INT timeout;  ///< ms; 0 on a buffered connect only.
    NI_TALKMODE talkmode;
    bool buffered;
};

struct Target {
    NI_NODEADDR address{};
    KEL_USHORT port = 0;
    KEL_CHAR text[NI_HOST_MAX + NI_SERV_MAX] = "";  ///< "host:service", for texts.
};

KELRETURN fail(KELRETURN rc, int line, const Target& target, const KEL_CHAR* detail,
               const SI_SOCK* socket = nullptr) {
    return NiErrSet(rc, {.function = "NiIConnect",
                         .line = line,
                         .module = __FILE__,
                         .subject = target.text,
                         .detail = detail,
                         .socket = socket});
}

KELRETURN refuse(int line, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL,
                    {.function = "NiBufIConnect", .line = line, .module = __FILE__, .detail = detail});
}

bool connectsAll(SI_SOCK& sock, const sockaddr* address, socklen_t length, SI_RC& rc) {
    for (int tries = 0; tries < CONNECT_TRIES; ++tries) {
        rc = SiConnect(&sock, address, length);
        if (rc != SI_EPORT_INUSE) break;
    }
    return rc == SI_OK;
}

/** A partner on this host may offer a socket in the file system; failing is no error. */
bool connectLocal(SI_SOCK& sock, const NI_SETTINGS& settings, KEL_USHORT port) {
    const sockaddr_un address = NiLocalSockaddr(port);
    SI_RC rc = NiIOpenSocket(settings, AF_UNIX, sock);
    if (rc == SI_OK && connectsAll(sock, reinterpret_cast<const sockaddr*>(&address), sizeof address, rc))
        return true;
    SiClose(&sock);
    return false;
}

/** Own address and port, where they are set. A port of the range that is taken is passed over. */
KELRETURN bindOwn(SI_SOCK& sock, const NI_SETTINGS& settings, const Target& target) {
    const bool address = settings.localAddr != NI_NODEADDR{};
    if (!address && !settings.portRange) return NI_OK;
    const unsigned first = settings.portRange ? settings.minPort : 0;
    const unsigned last = settings.portRange ? settings.maxPort : 0;
    for (unsigned port = first; port <= last; ++port) {
        const auto number = static_cast<KEL_USHORT>(port);
        const NiSockaddr own =
            address ? NiToSockaddr(settings.localAddr, number) : NiAnySockaddr(sock.family, number);
        const SI_RC rc = SiBind(&sock, own.get(), own.length);
        if (rc == SI_OK) return NI_OK;
        if (rc != SI_EPORT_INUSE) return fail(NiISystemError(rc, false), __LINE__, target, "", &sock);
    }
    return fail(NIENOFREEPORT, __LINE__, target, "", &sock);
}

/** Waits for a connect that is under way. */
KELRETURN NiICheckPendConnection(SI_SOCK& sock, const Target& target, KEL_INT timeout,
                                 const Deadline& deadline) {
    if (timeout == 0) return NIECONN_PENDING;
    SI_RC rc = NiIWait(sock, SI_WRITE, deadline);
    if (rc == SI_ETIMEOUT) {
        KEL_CHAR detail[64];
        std::snprintf(detail, sizeof detail, "connection pending after %dms", timeout);
        return fail(NIECONN_REFUSED, __LINE__, target, detail);
    }
    if (rc == SI_OK) rc = SiPeekPendConn(&sock);
    return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                       : fail(NiISystemError(rc, true), __LINE__, target, "", &sock);
}

KELRETURN NiIConnectSocket(SI_SOCK& sock, const NI_SETTINGS& settings, const Target& target,
                           KEL_INT timeout) {
    const Deadline deadline(timeout);
    const NiSockaddr address = NiToSockaddr(target.address, target.port);
    SI_RC rc = NiIOpenSocket(settings, address.family(), sock);
    if (rc != SI_OK) return fail(NiISystemError(rc, true), __LINE__, target, "", &sock);
    if (const KELRETURN bound = bindOwn(sock, settings, target); bound != NI_OK) return bound;
    if (connectsAll(sock, address.get(), address.length, rc)) return NI_OK;
    // A connect that a signal interrupts goes on in the background, like one in progress.
    if (rc == SI_ECONN_INPROG || rc == SI_EINTR)
        return NiICheckPendConnection(sock, target, timeout, deadline);
    return fail(NiISystemError(rc, true), __LINE__, target, "", &sock);
}

KELRETURN NiIConnect(NI_CON& con, const Target& target, KEL_UINT protocol, KEL_INT timeout) {
    const NI_SETTINGS settings = NiISettings();
    const bool tryLocal = settings.connLocal && (protocol == 0 || (protocol & NI_PROTO_LOCAL) != 0);
    const bool local = (tryLocal || settings.localOnly) && NiILocalCheck(target.address);
    if (settings.localOnly && !local) {
        KEL_CHAR detail[sizeof target.text + 64];
        std::snprintf(detail, sizeof detail, "blocked connection to %s (KEL_CONNECT_RESTRICTION)",
                      target.text);
        return fail(NIEINVAL, __LINE__, target, detail);
    }
    con.mPeerAddr = target.address;
    con.mPeerServNo = target.port;
    if (tryLocal && local && connectLocal(con.mSocket, settings, target.port)) return NI_OK;
    if (protocol == NI_PROTO_LOCAL) return fail(NIECONN_REFUSED, __LINE__, target, "no local socket");
    return NiIConnectSocket(con.mSocket, settings, target, timeout);
}

/** The first hop of a route, resolved. */
KELRETURN resolve(NI_IROUTE& route, KEL_UINT protocol, KEL_INT timeout, Target& target) {
    NI_HOP hop;
    KELRETURN rc = route.takeHop(&hop);
    if (rc != NI_OK) return rc;
    std::snprintf(target.text, sizeof target.text, "%s:%s", hop.host, hop.service);
    rc = NiIHostToAddr(hop.host, protocol, Deadline(timeout), &target.address);
    return rc == NI_OK ? NiServToNo(hop.service, &target.port) : rc;
}

KELRETURN sendRoute(NI_CON& con, const NI_IROUTE& route, const Target& target, KEL_INT timeout) {
    NI_IROUTE::Packet packet;
    route.packet(&packet);
    const KELRETURN rc = NiIWrite(con, packet.parts, Deadline(timeout));
    if (rc == NIETIMEOUT) return fail(NIECONN_REFUSED, __LINE__, target, "router doesn't read");
    if (rc != NI_OK) NiISetHostInvalid(target.address);
    return rc;
}

/** Waits until the last router tells that the far end is there, or that it isn't. */
KELRETURN awaitRoute(NI_CON& con, const Target& target, KEL_INT timeout) {
    const Deadline deadline(timeout);
    KEL_RAW message[NI_CONTROL_MAX];
    const iovec part{message, sizeof message};
    con.mCheckWait = 1;
    while (con.mCheckWait == 1) {
        std::size_t length = 0;
        bool whole = false;
        KELRETURN rc = NiIRead(con, {&part, 1}, deadline, &length, &whole);
        if (rc == NI_OK) rc = NiBufIProcMsg(con, {&part, 1}, &length);
        if (rc == NIETIMEOUT) return fail(NIETIMEOUT, __LINE__, target, "no answer of the routers");
        if (rc == NI_OK || rc == NIETOO_SMALL)
            return fail(NIEINTERN, __LINE__, target, "data before the answer of the routers");
        if (rc != NIEPING) return rc;
        // However fast pings follow each other, they don't prolong the wait.
        if (con.mCheckWait == 1 && deadline.left() == 0)
            return fail(NIETIMEOUT, __LINE__, target, "no answer of the routers");
    }
    return NI_OK;
}

/** The unbuffered caller's route: sent and answered before it gets its handle. */
KELRETURN completeRoute(NI_CON& con, const NI_IROUTE& route, const Target& target, KEL_INT timeout) {
    const KELRETURN rc = sendRoute(con, route, target, timeout);
    return rc == NI_OK ? awaitRoute(con, target, timeout) : rc;
}

/** The buffered caller's handle completes connect and route while it is used. */
KELRETURN attachRecord(NITAB& entry, const NI_IROUTE& route, const Request& request, bool pending) {
    const bool routed = route.hopsToGo() != 0;
    entry.mType = pending ? NI_CONN_WAIT : NI_CONNECTED;
    if (!NiBufIHdlInit(*entry.mConHdl, request.talkmode, routed)) return refuse(__LINE__, "no memory");
    NI_IROUTE::Packet packet;
    route.packet(&packet);
    const KELRETURN rc =
        routed ? NiBufISend(entry, packet.parts, true, Deadline(0)) : static_cast<KELRETURN>(NI_OK);
    return rc == NI_OK && (pending || routed) ? static_cast<KELRETURN>(NIECONN_PENDING) : rc;
}

KELRETURN connectRoute(NITAB& entry, NI_IROUTE& route, const Request& request) {
    Target target;
    KELRETURN rc = resolve(route, request.protocol, request.timeout, target);
    if (rc != NI_OK) return rc;
    const bool routed = route.hopsToGo() != 0;
    const KEL_UINT protocol =
        routed && request.protocol == 0 ? NI_PROTO_IPV4 | NI_PROTO_IPV6 : request.protocol;
    rc = NiIConnect(*entry.mConHdl, target, protocol, request.timeout);
    if (request.buffered && (rc == NI_OK || rc == NIECONN_PENDING))
        return attachRecord(entry, route, request, rc == NIECONN_PENDING);
    return rc == NI_OK && routed ? completeRoute(*entry.mConHdl, route, target, request.timeout) : rc;
}

KELRETURN readRoute(const Request& request, NI_IROUTE& route) {
    if (!request.host) return refuse(__LINE__, "parameter invalid (pHostName == NULL)");
    if (!request.service) return refuse(__LINE__, "parameter invalid (pServName == NULL)");
    if ((request.protocol & ~ALL_PROTOCOLS) != 0) return refuse(__LINE__, "parameter invalid (protocol)");
    if (std::string_view(request.host).substr(0, 3) != "/H/" && std::strlen(request.host) >= NI_HOST_MAX)
        return refuse(__LINE__, "parameter invalid (hostname too long)");
    if (ct_level >= 2) {
        KEL_CHAR shown[512];
        NiSecStr(request.host, shown);
        NiTrc(2, {"NiBufIConnect"}, "connect to '%s', service '%s', timeout %d, protocol %u", shown,
              request.service, request.timeout, request.protocol);
    }
    return route.NiBufIHostToRoute(request.host, request.service, request.talkmode);
}

KELRETURN NiBufIConnect(const Request& request, NI_HDL* handle) {
    *handle = NI_INVALID_HDL;
    KELRETURN rc = NiIStart();
    NI_IROUTE route;
    if (rc == NI_OK) rc = readRoute(request, route);
    if (rc != NI_OK) return rc;
    NITAB* entry = NiTabNew(NI_INITIAL_CON);
    if (!entry) return refuse(__LINE__, "no free handle");
    rc = connectRoute(*entry, route, request);
    if (rc == NI_OK || rc == NIECONN_PENDING) {
        *handle = NiTabReady(*entry, entry->mType == NI_CONN_WAIT ? NI_CONN_WAIT : NI_CONNECTED);
        NiTrc(2, {"NiBufIConnect"}, "%s, handle %d", rc == NI_OK ? "connected" : "pending", *handle);
    } else {
        NiTabFree(entry);
    }
    return rc;
}

KEL_INT unlessZero(KEL_INT timeout) {
    return timeout == 0 ? -1 : timeout;
}

}  // namespace

KELRETURN NiHandleForProto(const KEL_CHAR* host, const KEL_CHAR* service, KEL_UINT protocol, KEL_INT timeout,
                           NI_HDL* handle) noexcept {
    return NiBufIConnect({host, service, protocol, unlessZero(timeout), MESG_IO, false}, handle);
}

KELRETURN NiRawHandleForProto(const KEL_CHAR* host, const KEL_CHAR* service, KEL_UINT protocol,
                              KEL_INT timeout, NI_HDL* handle) noexcept {
    return NiBufIConnect({host, service, protocol, unlessZero(timeout), RAW_IO, false}, handle);
}

KELRETURN NiHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout, NI_HDL* handle) noexcept {
    return NiHandleForProto(host, service, 0, timeout, handle);
}

KELRETURN NiRawHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                      NI_HDL* handle) noexcept {
    return NiRawHandleForProto(host, service, 0, timeout, handle);
}

KELRETURN NiBufHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                      NI_HDL* handle) noexcept {
    return NiBufIConnect({host, service, 0, timeout, MESG_IO, true}, handle);
}

KELRETURN NiBufRawHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                         NI_HDL* handle) noexcept {
    return NiBufIConnect({host, service, 0, timeout, RAW_IO, true}, handle);
}
