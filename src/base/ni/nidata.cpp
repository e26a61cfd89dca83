// The calls that move data and pings.

#include <optional>

#include "base/ni/nierr.h"
#include "base/ni/niio.h"
#include "base/ni/nimsg.h"

namespace {

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

/** The connection of a handle; NULL with NIEINVAL as the current error. */
NI_CON* connection(NI_HDL handle, std::span<const iovec> parts, const KEL_CHAR* function) {
    NITAB* entry = NiConFind(handle, function);
    if (!entry) return nullptr;
    if (parts.size() <= NI_PARTS_MAX) return entry->mConHdl.get();
    refuse(__LINE__, function, "parameter invalid (parts)");
    return nullptr;
}

/** The connection of a handle, for a block of bytes. */
NI_CON* connection(NI_HDL handle, const KEL_RAW* data, KEL_INT length, const KEL_CHAR* function) {
    if (length >= 0 && (data || length == 0)) return connection(handle, {}, function);
    refuse(__LINE__, function,
           length < 0 ? "parameter invalid (length)" : "parameter invalid (pData == NULL)");
    return nullptr;
}

Deadline limit(const NI_CON& con, KEL_INT timeout) {
    return Deadline(con.mBlocking ? timeout : 0);
}

/** Receives plain bytes, those that came early first. */
KELRETURN rawRead(NI_CON& con, std::span<KEL_RAW> target, const Deadline& deadline, std::size_t* read) {
    if (!con.mEarly.empty()) {
        *read = std::min(con.mEarly.left().size(), target.size());
        std::memcpy(target.data(), con.mEarly.left().data(), *read);
        con.mEarly.take(*read);
        return NI_OK;
    }
    for (;;) {
        SI_RC rc = NiIWait(con.mSocket, SI_READ, deadline);
        if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        iovec part{target.data(), target.size()};
        if (rc == SI_OK) rc = SiRecvV(&con.mSocket, {&part, 1}, read);
        if (rc == SI_EINTR || rc == SI_ETIMEOUT) continue;  // a false alarm: wait again
        con.mCounters.mInOctets += *read;
        return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                           : NiIFail(NiISystemError(rc, false), con, __LINE__, "NiRawRead", "", true);
    }
}

/** Waits for an event of a connection or a listening handle. */
KELRETURN await(NITAB& entry, SI_EVENT event, KEL_INT timeout, const KEL_CHAR* function) {
    const bool listening = entry.mLisHdl != nullptr;
    if (!listening && event == SI_READ && !entry.mConHdl->mEarly.empty()) return NI_OK;
    const Deadline deadline = listening ? Deadline(timeout) : limit(*entry.mConHdl, timeout);
    SI_SOCK& sock = listening ? entry.mLisHdl->mIPSocket : entry.mConHdl->mSocket;
    SI_RC rc;
    do
        rc = listening ? SiPollListen(&sock, &entry.mLisHdl->mUDSocket, deadline.left())
                       : SiPoll(&sock, event, deadline.left());
    while (rc == SI_EINTR);
    if (rc == SI_OK || rc == SI_ETIMEOUT) return NiISystemError(rc, false);
    return NiErrSet(NiISystemError(rc, false),
                    {.function = function, .line = __LINE__, .module = __FILE__, .socket = &sock});
}

KELRETURN writeControl(NI_HDL handle, std::span<const KEL_RAW> message, KEL_INT timeout, KEL_INT* written,
                       const KEL_CHAR* function) {
    NI_CON* con = connection(handle, {}, function);
    if (!con) return NIEINVAL;
    if ((con->mPendLenToWrite != 0) != (*written > 0))
        return refuse(__LINE__, function, "parameter invalid (another message is half written)");
    const iovec part{const_cast<KEL_RAW*>(message.data()), message.size()};
    const KELRETURN rc = NiIWrite(*con, {&part, 1}, limit(*con, timeout));
    *written = con->mPendLenToWrite == 0
                   ? 0
                   : static_cast<KEL_INT>(NI_HEADER_LENGTH + message.size() - con->mPendLenToWrite);
    return rc;
}

}  // namespace

KELRETURN NiWriteV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout) noexcept {
    NI_CON* con = connection(handle, parts, "NiWrite");
    return con ? NiIWrite(*con, parts, limit(*con, timeout)) : static_cast<KELRETURN>(NIEINVAL);
}

KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout,
                  KEL_INT* written) noexcept {
    *written = 0;
    NI_CON* con = connection(handle, data, length, __func__);
    if (!con) return NIEINVAL;
    const iovec part{const_cast<KEL_RAW*>(data), static_cast<std::size_t>(length)};
    const KELRETURN rc = NiIWrite(*con, {&part, 1}, limit(*con, timeout));
    const auto left = static_cast<KEL_INT>(con->mPendLenToWrite);
    if (rc == NI_OK || left != 0) *written = std::max(length - left, 0);
    return rc;
}

KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept {
    KEL_INT written;
    return NiWrite(handle, data, length, timeout, &written);
}

KELRETURN NiReadV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout, KEL_INT* read) noexcept {
    *read = 0;
    NI_CON* con = connection(handle, parts, "NiRead");
    if (!con) return NIEINVAL;
    std::size_t length = 0;
    bool whole = false;
    KELRETURN rc = NiIRead(*con, parts, limit(*con, timeout), &length, &whole);
    if (rc == NI_OK && whole) rc = NiBufIProcMsg(*con, parts, &length);
    *read = static_cast<KEL_INT>(length);
    return rc;
}

KELRETURN NiRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept {
    const iovec part{data, static_cast<std::size_t>(std::max(length, 0))};
    return NiReadV(handle, {&part, 1}, timeout, read);
}

KELRETURN NiRawWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout,
                     KEL_INT* written) noexcept {
    *written = 0;
    NI_CON* con = connection(handle, data, length, __func__);
    if (!con) return NIEINVAL;
    std::size_t done = 0;
    const KELRETURN rc =
        NiIRawWrite(*con, {data, static_cast<std::size_t>(length)}, limit(*con, timeout), &done);
    *written = static_cast<KEL_INT>(done);
    return rc;
}

KELRETURN NiRawRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept {
    *read = 0;
    NI_CON* con = connection(handle, data, length, __func__);
    if (!con) return NIEINVAL;
    if (length == 0) return refuse(__LINE__, __func__, "parameter invalid (length)");
    std::size_t done = 0;
    const KELRETURN rc = rawRead(*con, {data, static_cast<std::size_t>(length)}, limit(*con, timeout), &done);
    *read = static_cast<KEL_INT>(done);
    return rc;
}

KELRETURN NiPeek(NI_HDL handle, KEL_INT timeout) noexcept {
    NITAB* entry = NiTabFind(handle);
    return entry ? await(*entry, SI_READ, timeout, __func__)
                 : refuse(__LINE__, __func__, "parameter invalid (handle)");
}

KELRETURN NiWriteOK(NI_HDL handle, KEL_INT timeout) noexcept {
    NITAB* entry = NiConFind(handle, __func__);
    return entry ? await(*entry, SI_WRITE, timeout, __func__) : static_cast<KELRETURN>(NIEINVAL);
}

KELRETURN NiCheckEx(NI_HDL handle, KEL_INT timeout, bool answer, KEL_INT* written) noexcept {
    const bool begins = *written == 0;
    const KELRETURN rc =
        writeControl(handle, answer ? NI_PING_MESSAGE : NI_PONG_MESSAGE, timeout, written, __func__);
    NITAB* entry = rc == NI_OK || (begins && *written > 0) ? NiTabFind(handle) : nullptr;
    if (entry && answer && entry->mConHdl->mCheckWait == 0) entry->mConHdl->mCheckWait = 1;
    return rc;
}

KELRETURN NiVersionEx(NI_HDL handle, KEL_INT timeout) noexcept {
    KEL_RAW message[NI_RTERR_LAYOUT::minLength];
    KEL_INT written = 0;
    const std::size_t length = NiPutControl(message, NIOP_VERSION, NI_OK);
    const KELRETURN rc = writeControl(handle, {message, length}, timeout, &written, __func__);
    if (rc == NI_OK) NiTabFind(handle)->mConHdl->mVersReq = true;
    return rc;
}
