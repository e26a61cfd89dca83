#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>

#include "base/dptrc/err.h"
#include "base/ni/nierr.h"
#include "base/ni/nimsg.h"
#include "base/ni/nitab.h"
#include "base/ni/niwait.h"

namespace {

constexpr KEL_INT ANSWER_TIMEOUT = 1000;   // ms for the few bytes of an answer to a control message
constexpr std::size_t CONTROL_MAX = 2048;  // bytes of a control message that are looked at
constexpr std::size_t IOV_MAX_PARTS = NI_PARTS_MAX + 1;  // with the header

std::size_t sizeOf(std::span<const iovec> parts) {
    return std::accumulate(parts.begin(), parts.end(), std::size_t{0},
                           [](std::size_t sum, const iovec& part) { return sum + part.iov_len; });
}

/** A list of parts for a system call. */
class PartList {
  public:
    /** Adds what lies in `parts` from `skip` on, at most `limit` bytes. */
    void add(std::span<const iovec> parts, std::size_t skip, std::size_t limit) {
        for (const iovec& part : parts) {
            const std::size_t left = part.iov_len - std::min(skip, part.iov_len);
            const std::size_t length = std::min(left, limit);
            if (length != 0)
                list[count++] = {static_cast<KEL_RAW*>(part.iov_base) + (part.iov_len - left), length};
            skip -= std::min(skip, part.iov_len);
            limit -= length;
        }
    }
    std::span<iovec> span() { return {list, count}; }

  private:
    iovec list[IOV_MAX_PARTS];
    std::size_t count = 0;
};

/** Copies bytes from (or to) a range of parts. */
template <class Copy>
void overParts(std::span<const iovec> parts, std::size_t offset, std::size_t length, Copy copy) {
    PartList range;
    range.add(parts, offset, length);
    std::size_t at = 0;
    for (const iovec& part : range.span()) {
        copy(static_cast<KEL_RAW*>(part.iov_base), at, part.iov_len);
        at += part.iov_len;
    }
}

KELRETURN fail(KELRETURN rc, const NI_CON& con, int line, const KEL_CHAR* function, const KEL_CHAR* detail,
               bool system) {
    KEL_CHAR peer[NI_ADDR_TEXT_MAX + 8];
    NiPeerText(con, peer);
    return NiErrSet(rc, {.function = function,
                         .line = line,
                         .module = __FILE__,
                         .subject = peer,
                         .detail = detail,
                         .socket = system ? &con.mSocket : nullptr});
}

/** Reads one message from a connection into the caller's parts. */
class MessageReader {
  public:
    MessageReader(NI_CON& con, std::span<const iovec> parts, KEL_INT timeout)
        : con(con), parts(parts), capacity(sizeOf(parts)), deadline(timeout) {}

    KELRETURN run() {
        KELRETURN rc = takeEarly();
        while (rc == NI_OK && !complete()) {
            if (headerKnown() && done == capacity) {
                con.mMsgTail = true;
                return NIETOO_SMALL;
            }
            rc = receive();
        }
        if (rc != NI_OK) return rc;
        con.mPendHdrLenToRead = NI_HEADER_LENGTH;
        return NI_OK;
    }
    std::size_t size() const { return done; }

  private:
    bool headerKnown() const { return con.mPendHdrLenToRead == 0; }
    bool complete() const { return headerKnown() && con.mPendDataLenToRead == 0; }

    /** Counts bytes that were put into the pending header; a full header opens the message. */
    KELRETURN headerBytes(std::size_t count) {
        con.mPendHdrLenToRead -= count;
        if (!headerKnown()) return NI_OK;
        ByteReader reader(con.mPendHdrToRead);
        const KEL_INT length = reader.i32();
        if (length < 0 || (con.mMaxValidPacketLen > 0 && length > con.mMaxValidPacketLen)) {
            // The stream can't be found again: the header stays unread and every read fails.
            con.mPendHdrLenToRead = 1;
            con.mPendHdrToRead[0] = 0xFF;
            return fail(NIEINTERN, con, __LINE__, "NiIRead", "invalid message length", false);
        }
        con.mPendDataLenToRead = static_cast<std::size_t>(length);
        return NI_OK;
    }

    /** Serves the read from the bytes that came early. */
    KELRETURN takeEarly() {
        if (con.mEarlyUsed == con.mEarly.size()) return NI_OK;
        std::span<const KEL_RAW> early(con.mEarly);
        early = early.subspan(con.mEarlyUsed);
        KELRETURN rc = NI_OK;
        if (!headerKnown()) {
            const std::size_t count = std::min(con.mPendHdrLenToRead, early.size());
            std::ranges::copy(early.first(count), headerPlace());
            early = early.subspan(count);
            rc = headerBytes(count);
        }
        if (headerKnown()) {
            const std::size_t count = std::min({con.mPendDataLenToRead, capacity - done, early.size()});
            overParts(parts, done, count, [&](KEL_RAW* to, std::size_t at, std::size_t length) {
                std::memcpy(to, early.data() + at, length);
            });
            dataBytes(count);
            early = early.subspan(count);
        }
        con.mEarlyUsed = con.mEarly.size() - early.size();
        return rc;
    }

    KEL_RAW* headerPlace() { return con.mPendHdrToRead + (NI_HEADER_LENGTH - con.mPendHdrLenToRead); }

    void dataBytes(std::size_t count) {
        con.mPendDataLenToRead -= count;
        done += count;
    }

    /** Waits, and receives header and data in one go. */
    KELRETURN receive() {
        SI_RC rc = NiIWait(con.mSocket, SI_READ, deadline);
        if (rc == SI_ETIMEOUT) return keepForLater() ? NIETIMEOUT : outOfMemory();
        std::size_t received = 0;
        if (rc == SI_OK) {
            PartList list;
            const iovec header{headerPlace(), con.mPendHdrLenToRead};
            list.add({&header, 1}, 0, header.iov_len);
            // With the length known nothing beyond the message is asked for.
            list.add(parts, done, headerKnown() ? con.mPendDataLenToRead : capacity - done);
            rc = SiRecvV(&con.mSocket, list.span(), &received);
        }
        if (rc == SI_EINTR || rc == SI_ETIMEOUT) return NI_OK;  // a false alarm: wait again
        if (rc != SI_OK) return fail(NiISystemError(rc, false), con, __LINE__, "NiIRead", "", true);
        return takeReceived(received);
    }

    KELRETURN takeReceived(std::size_t received) {
        const std::size_t forHeader = std::min(received, con.mPendHdrLenToRead);
        received -= forHeader;
        if (forHeader != 0)
            if (const KELRETURN rc = headerBytes(forHeader); rc != NI_OK) return rc;
        const std::size_t mine = std::min(received, con.mPendDataLenToRead);
        if (received > mine && !keep(done + mine, received - mine)) return outOfMemory();
        dataBytes(mine);
        return NI_OK;
    }

    /** Moves bytes of the parts to where the next read finds them. All early bytes were served before. */
    bool keep(std::size_t offset, std::size_t length) {
        try {
            con.mEarly.resize(length);
        } catch (const std::bad_alloc&) {
            return false;
        }
        con.mEarlyUsed = 0;
        overParts(parts, offset, length, [this](const KEL_RAW* from, std::size_t at, std::size_t count) {
            std::copy_n(from, count, con.mEarly.begin() + static_cast<std::ptrdiff_t>(at));
        });
        return true;
    }

    /** The time is up in the middle of a message: a later read gets it whole. */
    bool keepForLater() {
        if (done == 0) return true;
        if (!keep(0, done)) return false;
        con.mPendDataLenToRead += done;
        done = 0;
        return true;
    }

    KELRETURN outOfMemory() {
        return fail(NIEINTERN, con, __LINE__, "NiIRead", "no memory for early data", false);
    }

    NI_CON& con;
    std::span<const iovec> parts;
    std::size_t capacity;
    std::size_t done = 0;
    Deadline deadline;
};

KELRETURN writeMessage(NI_CON& con, std::span<const iovec> parts, KEL_INT timeout) {
    const std::size_t length = sizeOf(parts);
    const std::size_t total = NI_HEADER_LENGTH + length;
    if (con.mPendLenToWrite > total || length > INT32_MAX)
        return fail(NIEINVAL, con, __LINE__, "NiIWrite", "parameter invalid (length)", false);
    if (con.mPendLenToWrite == 0) {
        ByteWriter(con.mPendHdrToWrite).u32(static_cast<std::uint32_t>(length));
        con.mPendLenToWrite = total;
    }
    Deadline deadline(timeout);
    iovec all[IOV_MAX_PARTS] = {{con.mPendHdrToWrite, NI_HEADER_LENGTH}};
    std::ranges::copy(parts, all + 1);
    while (con.mPendLenToWrite != 0) {
        PartList list;
        list.add({all, parts.size() + 1}, total - con.mPendLenToWrite, total);
        std::size_t sent = 0;
        SI_RC rc = SiSendV(&con.mSocket, list.span(), &sent);
        con.mPendLenToWrite -= sent;
        if (rc == SI_ETIMEOUT) {
            rc = NiIWait(con.mSocket, SI_WRITE, deadline);
            if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        }
        if (rc != SI_OK && rc != SI_EINTR)
            return fail(NiISystemError(rc, false), con, __LINE__, "NiIWrite", "", true);
    }
    return NI_OK;
}

/** Answers a control message, unless a message of the caller's is on its way. */
KELRETURN answer(NI_CON& con, std::span<const KEL_RAW> message) {
    if (con.mPendLenToWrite != 0) return NIEPING;
    const iovec part{const_cast<KEL_RAW*>(message.data()), message.size()};
    const KELRETURN rc = writeMessage(con, {&part, 1}, ANSWER_TIMEOUT);
    if (rc == NI_OK) return NIEPING;
    // A partner that reads nothing for that long; a cut answer could not be followed by data.
    return rc == NIETIMEOUT ? fail(NIECONN_BROKEN, con, __LINE__, "NiIRead", "partner doesn't read", false)
                            : rc;
}

KELRETURN answerControl(NI_CON& con, NI_OPCODES opcode, KELRETURN rc) {
    KEL_RAW message[NI_RTERR_LAYOUT::minLength];
    return answer(con, std::span(message, NiPutControl(message, opcode, rc)));
}

KELRETURN takeError(const NI_CON& con, const NiParsed& parsed) {
    const KELRETURN rc = parsed.rc < 0 ? parsed.rc : static_cast<KELRETURN>(NIEINTERN);
    if (ErrCpNetToInt(parsed.errorText) != ERR_OK)
        fail(rc, con, __LINE__, "NiIRead", "error reported by the network", false);
    return rc;
}

/** Deals with control messages; NI_OK leaves the message to the caller. */
KELRETURN NiBufIProcMsg(NI_CON& con, std::span<const iovec> parts, std::size_t length) {
    KEL_RAW message[CONTROL_MAX];
    const auto gather = [&](KEL_RAW* from, std::size_t at, std::size_t count) {
        std::copy_n(from, count, message + at);
    };
    const std::size_t start = std::min(length, NI_RTERR_LAYOUT::eyecatcher.length);
    overParts(parts, 0, start, gather);
    if (length != NI_PING_LENGTH && !NiIsControl({message, start})) return NI_OK;
    if (length > sizeof message) return NI_OK;
    overParts(parts, 0, length, gather);
    const NiParsed parsed = NiParseMessage({message, length});
    switch (parsed.kind) {
        case NiMessage::data:
            return NI_OK;
        case NiMessage::ping:
            return answer(con, NI_PONG_MESSAGE);
        case NiMessage::error:
            return takeError(con, parsed);
        case NiMessage::version:
            return answerControl(con, NIOP_VERS_REP, NI_OK);
        case NiMessage::unknownControl:
            return answerControl(con, NIOP_NOOP, NIEVERSION);
        case NiMessage::pong:
        case NiMessage::control:
            break;
    }
    return NIEPING;
}

NI_CON* connected(NI_HDL handle, std::span<const iovec> parts, const KEL_CHAR* function) {
    NITAB* entry = NiTabFind(handle);
    if (entry && parts.size() <= NI_PARTS_MAX) return &entry->mConHdl;
    NiErrSet(NIEINVAL, {.function = function,
                        .line = __LINE__,
                        .module = __FILE__,
                        .detail = entry ? "parameter invalid (parts)" : "parameter invalid (handle)"});
    return nullptr;
}

}  // namespace

KELRETURN NiWriteV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout) noexcept {
    NI_CON* con = connected(handle, parts, "NiWrite");
    return con ? writeMessage(*con, parts, timeout) : static_cast<KELRETURN>(NIEINVAL);
}

KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept {
    const iovec part{const_cast<KEL_RAW*>(data), static_cast<std::size_t>(std::max(length, 0))};
    return NiWriteV(handle, {&part, 1}, timeout);
}

KELRETURN NiReadV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout, KEL_INT* read) noexcept {
    *read = 0;
    NI_CON* con = connected(handle, parts, "NiRead");
    if (!con) return NIEINVAL;
    const bool whole = !con->mMsgTail;
    MessageReader reader(*con, parts, timeout);
    KELRETURN rc = reader.run();
    if (rc == NI_OK) {
        con->mMsgTail = false;
        if (whole) rc = NiBufIProcMsg(*con, parts, reader.size());
    }
    if (rc == NI_OK || rc == NIETOO_SMALL) *read = static_cast<KEL_INT>(reader.size());
    return rc;
}

KELRETURN NiRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept {
    const iovec part{data, static_cast<std::size_t>(std::max(length, 0))};
    return NiReadV(handle, {&part, 1}, timeout, read);
}
