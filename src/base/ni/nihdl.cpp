#include <cstdio>

#include "base/ni/niaddr.h"
#include "base/ni/nierr.h"
#include "base/ni/nitab.h"
#include "base/ni/niwait.h"

namespace {

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

KELRETURN name(SI_SOCK& sock, const KEL_CHAR* function, GetName get, NI_NODEADDR* address, KEL_USHORT* port) {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    const SI_RC rc = get(&sock, reinterpret_cast<sockaddr*>(&storage), &length);
    if (rc != SI_OK) return fail(NiISystemError(rc, false), __LINE__, function, "", &sock);
    NiFromSockaddr(reinterpret_cast<const sockaddr*>(&storage), address, port);
    return NI_OK;
}

KELRETURN name(NI_HDL handle, const KEL_CHAR* function, GetName get, NI_NODEADDR* address, KEL_USHORT* port) {
    NITAB* entry = find(handle, function);
    if (!entry) return NIEINVAL;
    return name(entry->mConHdl ? entry->mConHdl->mSocket : entry->mLisHdl->mIPSocket, function, get, address,
                port);
}

}  // namespace

void NiPeerText(const NI_CON& con, KEL_CHAR (&text)[NI_PEER_TEXT_MAX]) noexcept {
    KEL_CHAR address[NI_ADDR_TEXT_MAX] = "";
    NiAddrToStr(con.mPeerAddr, address, sizeof address);
    std::snprintf(text, sizeof text, "%s:%u", address, con.mPeerServNo);
}

KELRETURN NiIAccepted(NITAB& entry) noexcept {
    NI_CON& con = *entry.mConHdl;
    return name(con.mSocket, "NiIAccepted", SiGetPeerName, &con.mPeerAddr, &con.mPeerServNo);
}

KELRETURN NiSockToHdl(int socketNo, NI_HDL* handle) noexcept {
    *handle = NiTabFindSocket(socketNo);
    if (*handle != NI_INVALID_HDL) return NI_OK;
    SI_SOCK sock;
    KELRETURN rc = NiIStart();
    const SI_RC adopted = SiAdopt(socketNo, &sock);
    NITAB* entry = rc == NI_OK && adopted == SI_OK ? NiTabNew(NI_INITIAL_CON) : nullptr;
    if (!entry) {
        rc = fail(NIEINVAL, __LINE__, __func__,
                  adopted == SI_OK ? "no free handle" : "parameter invalid (socket)", &sock);
        SiClose(&sock);
        return rc;
    }
    entry->mConHdl->mSocket = sock;
    rc = NiIAccepted(*entry);
    if (rc == NI_OK)
        *handle = NiTabReady(*entry, NI_ACCEPTED);
    else
        NiTabFree(entry);
    return rc;
}

KELRETURN NiCloseHandle(NI_HDL handle) noexcept {
    NITAB* entry = find(handle, __func__);
    if (!entry) return NIEINVAL;
    NiTabFree(entry);
    return NI_OK;
}

KELRETURN NiHdlSetMaxValidPacketLen(NI_HDL handle, KEL_INT bytes) noexcept {
    NITAB* entry = NiConFind(handle, __func__);
    if (!entry) return NIEINVAL;
    if (bytes < 0) return fail(NIEINVAL, __LINE__, __func__, "parameter invalid (bytes)");
    entry->mConHdl->mMaxValidPacketLen = bytes;
    return NI_OK;
}

KELRETURN NiHdlSetBlockmode(NI_HDL handle, bool blocking) noexcept {
    NITAB* entry = NiConFind(handle, __func__);
    if (!entry) return NIEINVAL;
    entry->mConHdl->mBlocking = blocking;
    return NI_OK;
}

KELRETURN NiHdlSetInitFunc(NI_HDL handle, NI_INIT_FUNC function) noexcept {
    NITAB* entry = find(handle, __func__);
    if (!entry) return NIEINVAL;
    if (!entry->mLisHdl) return fail(NIEINVAL, __LINE__, __func__, "parameter invalid (handle type)");
    entry->mLisHdl->mInitFunc = function;
    return NI_OK;
}

KELRETURN NiHdlGetStatus(NI_HDL handle, NI_STAT* status) noexcept {
    const NITAB* entry = find(handle, __func__);
    *status = entry ? static_cast<NI_STAT>(entry->mType.load()) : NI_FREE;
    return entry ? NI_OK : NIEINVAL;
}

KELRETURN NiHdlGetCounters(NI_HDL handle, NI_COUNTERS* counters) noexcept {
    const NITAB* entry = NiConFind(handle, __func__);
    *counters = entry ? entry->mConHdl->mCounters : NI_COUNTERS{};
    return entry ? NI_OK : NIEINVAL;
}

KELRETURN NiHdlToSock(NI_HDL handle, int* socketNo) noexcept {
    *socketNo = -1;
    const NITAB* entry = find(handle, __func__);
    if (!entry) return NIEINVAL;
    *socketNo = entry->mConHdl ? entry->mConHdl->mSocket.socketNo : entry->mLisHdl->mIPSocket.socketNo;
    return NI_OK;
}

KELRETURN NiHdlGetPeer(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept {
    return name(handle, __func__, SiGetPeerName, address, port);
}

KELRETURN NiHdlGetName(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept {
    return name(handle, __func__, SiGetSockName, address, port);
}

KELRETURN NiSetSO_KeepAlive(NI_HDL handle, bool on) noexcept {
    NITAB* entry = NiConFind(handle, __func__);
    if (!entry) return NIEINVAL;
    SI_SOCK& sock = entry->mConHdl->mSocket;
    const SI_RC rc = SiSetSockOpt(&sock, SOL_SOCKET, SO_KEEPALIVE, on ? 1 : 0);
    return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                       : fail(NiISystemError(rc, false), __LINE__, __func__, "", &sock);
}
