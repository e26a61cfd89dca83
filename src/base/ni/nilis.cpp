#include <cstring>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"
#include "base/ni/nitab.h"
#include "base/ni/nitrc.h"
#include "base/ni/niwait.h"

namespace {

KELRETURN fail(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* subject,
               const KEL_CHAR* detail, const SI_SOCK* socket) {
    return NiErrSet(rc, {.function = function,
                         .line = line,
                         .module = __FILE__,
                         .subject = subject,
                         .detail = detail,
                         .socket = socket});
}

/** The socket for IP: of both families where IPv6 is active. */
SI_RC listenIP(SI_SOCK& sock, const NI_SETTINGS& settings, KEL_USHORT port) {
    const NiSockaddr any = NiAnySockaddr(settings.ipv6 ? AF_INET6 : AF_INET, port);
    SI_RC rc = NiIOpenSocket(settings, any.family(), sock);
    // A port whose connections of an earlier life still linger can be taken; one that is listened on can't.
    if (rc == SI_OK) rc = SiSetSockOpt(&sock, SOL_SOCKET, SO_REUSEADDR, 1);
    if (rc == SI_OK) rc = SiBind(&sock, any.get(), any.length);
    if (rc == SI_OK) rc = SiListen(&sock, settings.queueLength);
    return rc;
}

/** The socket for partners of this host. A file that is there is left over: the port is ours. */
void listenLocal(NI_LIS& listening, const NI_SETTINGS& settings, KEL_USHORT port) {
    const sockaddr_un address = NiLocalSockaddr(port);
    SI_SOCK& sock = listening.mUDSocket;
    unlink(address.sun_path);
    SI_RC rc = NiIOpenSocket(settings, AF_UNIX, sock);
    if (rc == SI_OK) rc = SiBind(&sock, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    if (rc == SI_OK) {
        static_assert(sizeof listening.mPath == sizeof address.sun_path);
        std::memcpy(listening.mPath, address.sun_path, sizeof listening.mPath);
        listening.mOwner = getpid();
        rc = SiListen(&sock, settings.queueLength);
    }
    if (rc == SI_OK) return;
    NiTrc(1, {"NiIListen"}, "no local socket %s: %s failed with %d", address.sun_path, sock.lastCall,
          sock.lastError);
    SiClose(&sock);
}

KELRETURN NiIListen(NI_LIS& listening, KEL_USHORT* port) {
    const NI_SETTINGS settings = NiISettings();
    SI_SOCK& sock = listening.mIPSocket;
    SI_RC rc = listenIP(sock, settings, *port);
    sockaddr_storage own{};
    socklen_t length = sizeof own;
    if (rc == SI_OK) rc = SiGetSockName(&sock, reinterpret_cast<sockaddr*>(&own), &length);
    if (rc != SI_OK) {
        KEL_CHAR service[NI_SERV_MAX];
        NiServToStr(*port, service, sizeof service);
        return fail(NiISystemError(rc, false), __LINE__, "NiIListen", service, "", &sock);
    }
    NI_NODEADDR any;
    NiFromSockaddr(reinterpret_cast<const sockaddr*>(&own), &any, port);
    if (settings.connLocal) listenLocal(listening, settings, *port);
    return NI_OK;
}

/** A partner of either socket, if one waits. */
SI_RC tryAccept(NI_LIS& listening, SI_SOCK& accepted, SI_SOCK*& from) {
    SI_RC rc = SI_ETIMEOUT;
    for (SI_SOCK* sock : {&listening.mIPSocket, &listening.mUDSocket}) {
        if (sock->socketNo < 0 || rc != SI_ETIMEOUT) continue;
        from = sock;
        do
            rc = SiAccept(sock, &accepted);
        while (rc == SI_EINTR || rc == SI_ECONN_BROKEN);
    }
    return rc;
}

KELRETURN acceptWithin(NI_LIS& listening, KEL_INT timeout, SI_SOCK& accepted) {
    const Deadline deadline(timeout);
    for (;;) {
        SI_SOCK* from = &listening.mIPSocket;
        SI_RC rc = tryAccept(listening, accepted, from);
        if (rc == SI_OK) return NI_OK;
        if (rc == SI_ETIMEOUT) rc = SiPollListen(&listening.mIPSocket, &listening.mUDSocket, deadline.left());
        if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        if (rc != SI_OK && rc != SI_EINTR)
            return fail(NiISystemError(rc, false), __LINE__, "NiAcceptEx", "", "", from);
    }
}

/** Makes the handle of an accepted socket, and runs what the listening handle wants to be run on it. */
KELRETURN makeAccepted(const SI_SOCK& sock, NI_INIT_FUNC init, NITAB*& entry) {
    entry->mConHdl->mSocket = sock;
    KELRETURN rc = NiIAccepted(*entry);
    const NI_HDL handle = rc == NI_OK ? NiTabReady(*entry, NI_ACCEPTED) : NI_INVALID_HDL;
    if (rc == NI_OK && init) rc = init(handle);
    if (rc == NI_OK) return NI_OK;
    NiTabFree(entry);
    entry = nullptr;
    return rc;
}

}  // namespace

KELRETURN NiServerHandleForPort(KEL_USHORT* port, NI_HDL* handle) noexcept {
    *handle = NI_INVALID_HDL;
    KELRETURN rc = NiIStart();
    if (rc != NI_OK) return rc;
    NITAB* entry = NiTabNew(NI_INITIAL_LIS);
    if (!entry) return fail(NIEINVAL, __LINE__, __func__, "", "no free handle", nullptr);
    rc = NiIListen(*entry->mLisHdl, port);
    if (rc == NI_OK)
        *handle = NiTabReady(*entry, NI_LISTEN);
    else
        NiTabFree(entry);
    return rc;
}

KELRETURN NiServerHandle(const KEL_CHAR* service, NI_HDL* handle) noexcept {
    *handle = NI_INVALID_HDL;
    KEL_USHORT port = 0;
    const KELRETURN rc = NiServToNo(service, &port);
    return rc == NI_OK ? NiServerHandleForPort(&port, handle) : rc;
}

KELRETURN NiAcceptEx(NI_HDL listening, KEL_INT timeout, NI_HDL* accepted, NI_NODEADDR* address,
                     KEL_USHORT* port) noexcept {
    *accepted = NI_INVALID_HDL;
    NITAB* server = NiTabFind(listening);
    if (!server || !server->mLisHdl)
        return fail(NIEINVAL, __LINE__, __func__, "", "parameter invalid (handle)", nullptr);
    // The entry comes first: without one the partner stays where it waits.
    NITAB* entry = NiTabNew(NI_INITIAL_CON);
    if (!entry) return fail(NIEINVAL, __LINE__, __func__, "", "no free handle", nullptr);
    SI_SOCK sock;
    KELRETURN rc = acceptWithin(*server->mLisHdl, timeout, sock);
    if (rc != NI_OK) {
        NiTabFree(entry);
        return rc;
    }
    rc = makeAccepted(sock, server->mLisHdl->mInitFunc, entry);
    if (rc != NI_OK) return rc;
    *accepted = entry->mHandle;
    if (address) *address = entry->mConHdl->mPeerAddr;
    if (port) *port = entry->mConHdl->mPeerServNo;
    return NI_OK;
}
