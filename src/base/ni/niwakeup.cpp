// Wake-up pipes. The two ends are sockets, since sending on a socket can be kept from raising a signal, and
// keep records apart.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <new>

#include "base/ni/nierr.h"
#include "base/ni/nisel.h"
#include "base/ni/nitab.h"
#include "base/ni/niwait.h"
#include "base/thr/thr.h"

namespace {

/** The ends of a pipe; they live until the last thread that uses them has let go. */
struct Ends {
    SI_SOCK reading;
    SI_SOCK writing;

    Ends() = default;
    Ends(const Ends&) = delete;
    Ends& operator=(const Ends&) = delete;
    ~Ends() {
        SiClose(&reading);
        SiClose(&writing);
    }
};

struct Wakeup {
    std::shared_ptr<Ends> ends;
    NI_HDL handle = NI_INVALID_HDL;
};

THR_CS_TYPE wakeupMutex;
NI_WAKEUP_HDL lastWakeup THR_GUARDED_BY(wakeupMutex) = 0;

/** Never destroyed: threads may wake each other until the process ends. */
std::map<NI_WAKEUP_HDL, Wakeup>& pipes() THR_REQUIRES(wakeupMutex) {
    static auto* all = new std::map<NI_WAKEUP_HDL, Wakeup>;
    return *all;
}

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

KELRETURN fail(SI_RC rc, int line, const KEL_CHAR* function, const SI_SOCK& sock) {
    return NiErrSet(NiISystemError(rc, false),
                    {.function = function, .line = line, .module = __FILE__, .socket = &sock});
}

Wakeup* find(NI_WAKEUP_HDL wakeup, const KEL_CHAR* function) THR_REQUIRES(wakeupMutex) {
    const auto found = pipes().find(wakeup);
    if (found != pipes().end()) return &found->second;
    refuse(__LINE__, function, "parameter invalid (wakeup)");
    return nullptr;
}

/** The ends, kept open for the caller. */
std::shared_ptr<Ends> endsOf(NI_WAKEUP_HDL wakeup, const KEL_CHAR* function) {
    const ThrCSGuard guard(wakeupMutex);
    const Wakeup* found = find(wakeup, function);
    return found ? found->ends : nullptr;
}

void detach(Wakeup& wakeup) {
    if (NITAB* entry = NiTabFind(wakeup.handle)) NiTabFree(entry);
    wakeup.handle = NI_INVALID_HDL;
}

KELRETURN openEnds(Ends& ends) {
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets) != 0) {
        SI_SOCK failed;
        return fail(SiFail(&failed, "socketpair", errno), __LINE__, "NiWakeupOpen", failed);
    }
    ends.reading = {.socketNo = sockets[0], .family = AF_UNIX, .type = SOCK_SEQPACKET};
    ends.writing = {.socketNo = sockets[1], .family = AF_UNIX, .type = SOCK_SEQPACKET};
    return NI_OK;
}

}  // namespace

KELRETURN NiWakeupOpen(NI_WAKEUP_HDL* wakeup) noexcept {
    *wakeup = NI_INVALID_WAKEUP;
    try {
        auto ends = std::make_shared<Ends>();
        const KELRETURN rc = openEnds(*ends);
        if (rc != NI_OK) return rc;
        const ThrCSGuard guard(wakeupMutex);
        pipes()[lastWakeup + 1].ends = std::move(ends);
        *wakeup = ++lastWakeup;
        return NI_OK;
    } catch (const std::bad_alloc&) {
        return fail(SI_EMEMORY, __LINE__, __func__, SI_SOCK{});
    }
}

KELRETURN NiWakeupClose(NI_WAKEUP_HDL wakeup) noexcept {
    const ThrCSGuard guard(wakeupMutex);
    Wakeup* found = find(wakeup, __func__);
    if (!found) return NIEINVAL;
    detach(*found);
    pipes().erase(wakeup);
    return NI_OK;
}

KELRETURN NiWakeupAttach(NI_WAKEUP_HDL wakeup) noexcept {
    if (const KELRETURN rc = NiIStart(); rc != NI_OK) return rc;
    const ThrCSGuard guard(wakeupMutex);
    Wakeup* found = find(wakeup, __func__);
    if (!found) return NIEINVAL;
    if (NiTabFind(found->handle)) return NI_OK;
    NITAB* entry = NiTabNew(NI_INITIAL_CON);
    if (!entry) return refuse(__LINE__, __func__, "no free handle");
    SI_SOCK& sock = entry->mConHdl->mSocket;
    sock = found->ends->reading;
    sock.socketNo = dup(sock.socketNo);
    if (sock.socketNo < 0) {
        const KELRETURN rc = fail(SiFail(&sock, "dup", errno), __LINE__, __func__, sock);
        NiTabFree(entry);
        return rc;
    }
    found->handle = NiTabReady(*entry, NI_CONNECTED);
    return NI_OK;
}

KELRETURN NiWakeupDetach(NI_WAKEUP_HDL wakeup) noexcept {
    const ThrCSGuard guard(wakeupMutex);
    Wakeup* found = find(wakeup, __func__);
    if (!found) return NIEINVAL;
    detach(*found);
    return NI_OK;
}

KELRETURN NiWakeupGetNiHdl(NI_WAKEUP_HDL wakeup, NI_HDL* handle) noexcept {
    *handle = NI_INVALID_HDL;
    const ThrCSGuard guard(wakeupMutex);
    const Wakeup* found = find(wakeup, __func__);
    if (!found) return NIEINVAL;
    *handle = found->handle;
    return *handle != NI_INVALID_HDL ? static_cast<KELRETURN>(NI_OK)
                                     : refuse(__LINE__, __func__, "parameter invalid (not attached)");
}

KELRETURN NiWakeupExec2(NI_WAKEUP_HDL wakeup, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept {
    if (length < 1 || length > NI_WAKEUP_MAX || !data)
        return refuse(__LINE__, __func__, "parameter invalid (length)");
    const auto ends = endsOf(wakeup, __func__);
    if (!ends) return NIEINVAL;
    const Deadline deadline(timeout);
    // The socket's record of its last failure is not shared between threads.
    SI_SOCK sock = ends->writing;
    for (;;) {
        iovec part{const_cast<KEL_RAW*>(data), static_cast<std::size_t>(length)};
        std::size_t sent = 0;
        SI_RC rc = SiSendV(&sock, {&part, 1}, &sent);
        if (rc == SI_OK) return NI_OK;
        if (rc == SI_ETIMEOUT) rc = NiIWait(sock, SI_WRITE, deadline);
        if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        if (rc != SI_OK && rc != SI_EINTR) return fail(rc, __LINE__, __func__, sock);
    }
}

KELRETURN NiWakeupCollect2(NI_WAKEUP_HDL wakeup, KEL_RAW* data, KEL_INT size, KEL_INT* length) noexcept {
    *length = 0;
    if (size < 1 || !data) return refuse(__LINE__, __func__, "parameter invalid (size)");
    const auto ends = endsOf(wakeup, __func__);
    if (!ends) return NIEINVAL;
    SI_SOCK sock = ends->reading;
    iovec part{data, static_cast<std::size_t>(size)};
    std::size_t received = 0;
    SI_RC rc;
    do
        rc = SiRecvV(&sock, {&part, 1}, &received);
    while (rc == SI_EINTR);
    *length = static_cast<KEL_INT>(received);
    if (rc == SI_OK) return NI_OK;
    return rc == SI_ETIMEOUT ? static_cast<KELRETURN>(NIETIMEOUT) : fail(rc, __LINE__, __func__, sock);
}
