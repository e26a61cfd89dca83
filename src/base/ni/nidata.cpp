// The calls that move data and pings.

#include "base/ni/nibuf.h"
#include "base/ni/nierr.h"
#include "base/ni/niio.h"
#include "base/ni/nimsg.h"

namespace {

KELRETURN refuse(int line, const KEL_CHAR* function, const KEL_CHAR* detail) {
    return NiErrSet(NIEINVAL, {.function = function, .line = line, .module = __FILE__, .detail = detail});
}

/** The entry of a connection; NULL with NIEINVAL as the current error. */
NITAB* connection(NI_HDL handle, std::span<const iovec> parts, const KEL_CHAR* function) {
    if (parts.size() <= NI_PARTS_MAX) return NiConFind(handle, function);
    refuse(__LINE__, function, "parameter invalid (parts)");
    return nullptr;
}

/** The entry of a connection, for a block of bytes. */
NITAB* connection(NI_HDL handle, const KEL_RAW* data, KEL_INT length, const KEL_CHAR* function) {
    if (length >= 0 && (data || length == 0)) return NiConFind(handle, function);
    refuse(__LINE__, function,
           length < 0 ? "parameter invalid (length)" : "parameter invalid (pData == NULL)");
    return nullptr;
}

Deadline limit(const NITAB& entry, KEL_INT timeout) {
    return Deadline(entry.mConHdl->mBlocking ? timeout : 0);
}

KELRETURN send(NITAB& entry, std::span<const iovec> parts, KEL_INT timeout) {
    NI_CON& con = *entry.mConHdl;
    if (con.mpExtHdl) return NiBufISend(entry, parts, true, limit(entry, timeout));
    return NiIWrite(con, parts, limit(entry, timeout));
}

KELRETURN receive(NITAB& entry, std::span<const iovec> parts, const Deadline& deadline, std::size_t& length) {
    NI_CON& con = *entry.mConHdl;
    if (con.mpExtHdl) return NiBufIReceive(entry, parts, deadline, &length);
    bool whole = false;
    const KELRETURN rc = NiIRead(con, parts, deadline, &length, &whole);
    return rc == NI_OK && whole ? NiBufIProcMsg(con, parts, &length) : rc;
}

/** Waits for an event of a connection or a listening handle. */
KELRETURN await(NITAB& entry, SI_EVENT event, KEL_INT timeout, const KEL_CHAR* function) {
    const bool listening = entry.mLisHdl != nullptr;
    if (!listening && entry.mConHdl->mpExtHdl)
        return NiBufIAwait(entry, event == SI_WRITE, limit(entry, timeout));
    if (!listening && event == SI_READ && !entry.mConHdl->mEarly.empty()) return NI_OK;
    const Deadline deadline = listening ? Deadline(timeout) : limit(entry, timeout);
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
    NITAB* entry = connection(handle, {}, function);
    if (!entry) return NIEINVAL;
    NI_CON* con = entry->mConHdl.get();
    const iovec part{const_cast<KEL_RAW*>(message.data()), message.size()};
    if (con->mpExtHdl) return send(*entry, {&part, 1}, timeout);
    if ((con->mPendLenToWrite != 0) != (*written > 0))
        return refuse(__LINE__, function, "parameter invalid (another message is half written)");
    const KELRETURN rc = NiIWrite(*con, {&part, 1}, limit(*entry, timeout));
    *written = con->mPendLenToWrite == 0
                   ? 0
                   : static_cast<KEL_INT>(NI_HEADER_LENGTH + message.size() - con->mPendLenToWrite);
    return rc;
}

}  // namespace

KELRETURN NiWriteV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout) noexcept {
    NITAB* entry = connection(handle, parts, "NiWrite");
    return entry ? send(*entry, parts, timeout) : static_cast<KELRETURN>(NIEINVAL);
}

KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout,
                  KEL_INT* written) noexcept {
    *written = 0;
    NITAB* entry = connection(handle, data, length, __func__);
    if (!entry) return NIEINVAL;
    const iovec part{const_cast<KEL_RAW*>(data), static_cast<std::size_t>(length)};
    const KELRETURN rc = send(*entry, {&part, 1}, timeout);
    // What a buffered handle has taken is its own affair.
    const auto left = static_cast<KEL_INT>(entry->mConHdl->mpExtHdl ? 0 : entry->mConHdl->mPendLenToWrite);
    if (rc == NI_OK || left != 0) *written = std::max(length - left, 0);
    return rc;
}

KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept {
    KEL_INT written;
    return NiWrite(handle, data, length, timeout, &written);
}

KELRETURN NiReadV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout, KEL_INT* read) noexcept {
    *read = 0;
    NITAB* entry = connection(handle, parts, "NiRead");
    if (!entry) return NIEINVAL;
    std::size_t length = 0;
    const KELRETURN rc = receive(*entry, parts, limit(*entry, timeout), length);
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
    NITAB* entry = connection(handle, data, length, __func__);
    if (!entry) return NIEINVAL;
    std::size_t done = 0;
    const std::span<const KEL_RAW> bytes(data, static_cast<std::size_t>(length));
    const iovec part{const_cast<KEL_RAW*>(data), bytes.size()};
    NI_CON& con = *entry->mConHdl;
    const KELRETURN rc = con.mpExtHdl ? NiBufISend(*entry, {&part, 1}, false, limit(*entry, timeout))
                                      : NiIRawWrite(con, bytes, limit(*entry, timeout), &done);
    *written = con.mpExtHdl && rc == NI_OK ? length : static_cast<KEL_INT>(done);
    return rc;
}

KELRETURN NiRawRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept {
    *read = 0;
    NITAB* entry = connection(handle, data, length, __func__);
    if (!entry) return NIEINVAL;
    if (length == 0) return refuse(__LINE__, __func__, "parameter invalid (length)");
    std::size_t done = 0;
    const iovec part{data, static_cast<std::size_t>(length)};
    NI_CON& con = *entry->mConHdl;
    const KELRETURN rc = con.mpExtHdl ? NiBufIReceive(*entry, {&part, 1}, limit(*entry, timeout), &done)
                                      : NiIRawRead(con, part, limit(*entry, timeout), &done);
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
