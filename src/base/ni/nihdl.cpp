#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"
#include "base/ni/nitab.h"
#include "base/ni/niwait.h"

namespace {

constexpr KEL_INT NI_DEFAULT_HANDLES = 65536;

KELRETURN fail(KELRETURN rc, int line, const KEL_CHAR* function, const KEL_CHAR* detail,
               const SI_SOCK* socket = nullptr) {
    return NiErrSet(
        rc, {.function = function, .line = line, .module = __FILE__, .detail = detail, .socket = socket});
}

NITAB* find(NI_HDL handle, const KEL_CHAR* function) {
    NITAB* entry = NiTabFind(handle);
    if (!entry) fail(NIEINVAL, __LINE__, function, "parameter invalid (handle)");
    return entry;
}

using GetName = SI_RC (*)(SI_SOCK*, sockaddr*, socklen_t*);

KELRETURN name(NI_HDL handle, const KEL_CHAR* function, GetName get, NI_NODEADDR* address, KEL_USHORT* port) {
    NITAB* entry = find(handle, function);
    if (!entry) return NIEINVAL;
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    SI_SOCK& sock = entry->mConHdl.mSocket;
    const SI_RC rc = get(&sock, reinterpret_cast<sockaddr*>(&storage), &length);
    if (rc != SI_OK) return fail(NiISystemError(rc, false), __LINE__, function, "", &sock);
    NiFromSockaddr(reinterpret_cast<const sockaddr*>(&storage), address, port);
    return NI_OK;
}

}  // namespace

void NiPeerText(const NI_CON& con, KEL_CHAR (&text)[NI_ADDR_TEXT_MAX + 8]) noexcept {
    KEL_CHAR address[NI_ADDR_TEXT_MAX] = "";
    NiAddrToStr(con.mPeerAddr, address, sizeof address);
    std::snprintf(text, sizeof text, "%s:%u", address, con.mPeerServNo);
}

KELRETURN NiSockToHdl(int socketNo, NI_HDL* handle) noexcept {
    *handle = NI_INVALID_HDL;
    SI_SOCK sock{.socketNo = socketNo};
    NiInit2(NI_DEFAULT_HANDLES);
    const int flags = fcntl(socketNo, F_GETFL);
    const bool good = flags >= 0 && fcntl(socketNo, F_SETFL, flags | O_NONBLOCK) == 0;
    NITAB* entry = good ? NiTabNew() : nullptr;
    if (!entry) {
        SiClose(&sock);
        return fail(NIEINVAL, __LINE__, __func__, good ? "no free handle" : "parameter invalid (socket)");
    }
    entry->mConHdl.mSocket = sock;
    entry->mType = NI_ACCEPTED;
    *handle = entry->mHandle;
    const KELRETURN rc = NiHdlGetPeer(*handle, &entry->mConHdl.mPeerAddr, &entry->mConHdl.mPeerServNo);
    if (rc == NI_OK) return NI_OK;
    NiTabFree(entry);
    *handle = NI_INVALID_HDL;
    return rc;
}

KELRETURN NiCloseHandle(NI_HDL handle) noexcept {
    NITAB* entry = find(handle, __func__);
    if (!entry) return NIEINVAL;
    NiTabFree(entry);
    return NI_OK;
}

KELRETURN NiHdlSetMaxValidPacketLen(NI_HDL handle, KEL_INT bytes) noexcept {
    NITAB* entry = find(handle, __func__);
    if (!entry || bytes < 0) return NIEINVAL;
    entry->mConHdl.mMaxValidPacketLen = bytes;
    return NI_OK;
}

KELRETURN NiHdlToSock(NI_HDL handle, int* socketNo) noexcept {
    const NITAB* entry = find(handle, __func__);
    *socketNo = entry ? entry->mConHdl.mSocket.socketNo : -1;
    return entry ? NI_OK : NIEINVAL;
}

KELRETURN NiHdlGetPeer(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept {
    return name(handle, __func__, SiGetPeerName, address, port);
}

KELRETURN NiHdlGetName(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept {
    return name(handle, __func__, SiGetSockName, address, port);
}

KELRETURN NiSetSO_KeepAlive(NI_HDL handle, bool on) noexcept {
    NITAB* entry = find(handle, __func__);
    if (!entry) return NIEINVAL;
    SI_SOCK& sock = entry->mConHdl.mSocket;
    const SI_RC rc = SiSetSockOpt(&sock, SOL_SOCKET, SO_KEEPALIVE, on ? 1 : 0);
    return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                       : fail(NiISystemError(rc, false), __LINE__, __func__, "", &sock);
}
