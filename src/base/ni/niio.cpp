#include "base/ni/niio.h"

#include <numeric>

#include "base/ni/nierr.h"
#include "base/thr/bytes.h"

namespace {

/** Reads one message from a connection into the caller's parts. */
class MessageReader {
  public:
    MessageReader(NI_CON& con, std::span<const iovec> parts, const Deadline& deadline)
        : con(con), parts(parts), capacity(NiISize(parts)), deadline(deadline) {}

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
        con.mCounters.mInMsgs++;
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
            return NiIFail(NIEINTERN, con, __LINE__, "NiIRead", "invalid message length", false);
        }
        con.mPendDataLenToRead = static_cast<std::size_t>(length);
        return NI_OK;
    }

    /** Serves the read from the bytes that came early. */
    KELRETURN takeEarly() {
        if (con.mEarly.empty()) return NI_OK;
        std::span<const KEL_RAW> early = con.mEarly.left();
        const std::size_t before = early.size();
        KELRETURN rc = NI_OK;
        if (!headerKnown()) {
            const std::size_t count = std::min(con.mPendHdrLenToRead, early.size());
            std::ranges::copy(early.first(count), headerPlace());
            early = early.subspan(count);
            rc = headerBytes(count);
        }
        if (headerKnown()) {
            const std::size_t count = std::min({con.mPendDataLenToRead, capacity - done, early.size()});
            NiOverParts(parts, done, count, [&](KEL_RAW* to, std::size_t at, std::size_t length) {
                std::memcpy(to, early.data() + at, length);
            });
            dataBytes(count);
            early = early.subspan(count);
        }
        con.mEarly.take(before - early.size());
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
            NiPartList list;
            const iovec header{headerPlace(), con.mPendHdrLenToRead};
            list.add({&header, 1}, 0, header.iov_len);
            // With the length known nothing beyond the message is asked for.
            list.add(parts, done, headerKnown() ? con.mPendDataLenToRead : capacity - done);
            rc = SiRecvV(&con.mSocket, list.span(), &received);
        }
        if (rc == SI_EINTR || rc == SI_ETIMEOUT) return NI_OK;  // a false alarm: wait again
        if (rc != SI_OK) return NiIFail(NiISystemError(rc, false), con, __LINE__, "NiIRead", "", true);
        con.mCounters.mInOctets += received;
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
        const std::span<KEL_RAW> place = con.mEarly.replace(length);
        NiOverParts(parts, offset, place.size(), [&](const KEL_RAW* from, std::size_t at, std::size_t count) {
            std::memcpy(place.data() + at, from, count);
        });
        return place.size() == length;
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
        return NiIFail(NIEINTERN, con, __LINE__, "NiIRead", "no memory for early data", false);
    }

    NI_CON& con;
    std::span<const iovec> parts;
    std::size_t capacity;
    std::size_t done = 0;
    const Deadline& deadline;
};

/** Sends what is left of a list of bytes. `sent` counts them also on failure. */
template <class Rest>
KELRETURN sendAll(NI_CON& con, std::size_t total, const Deadline& deadline, Rest rest, std::size_t& sent) {
    while (sent < total) {
        NiPartList list = rest(sent);
        std::size_t now = 0;
        SI_RC rc = SiSendV(&con.mSocket, list.span(), &now);
        sent += now;
        con.mCounters.mOutOctets += now;
        if (rc == SI_ETIMEOUT) {
            rc = NiIWait(con.mSocket, SI_WRITE, deadline);
            if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        }
        if (rc != SI_OK && rc != SI_EINTR)
            return NiIFail(NiISystemError(rc, false), con, __LINE__, "NiIWrite", "", true);
    }
    return NI_OK;
}

}  // namespace

std::size_t NiISize(std::span<const iovec> parts) noexcept {
    return std::accumulate(parts.begin(), parts.end(), std::size_t{0},
                           [](std::size_t sum, const iovec& part) { return sum + part.iov_len; });
}

KELRETURN NiIFail(KELRETURN rc, const NI_CON& con, int line, const KEL_CHAR* function, const KEL_CHAR* detail,
                  bool system) noexcept {
    KEL_CHAR peer[NI_PEER_TEXT_MAX];
    NiPeerText(con, peer);
    return NiErrSet(rc, {.function = function,
                         .line = line,
                         .module = __FILE__,
                         .subject = peer,
                         .detail = detail,
                         .socket = system ? &con.mSocket : nullptr});
}

KELRETURN NiIRead(NI_CON& con, std::span<const iovec> parts, const Deadline& deadline, std::size_t* read,
                  bool* whole) noexcept {
    *whole = !con.mMsgTail;
    MessageReader reader(con, parts, deadline);
    const KELRETURN rc = reader.run();
    if (rc == NI_OK) con.mMsgTail = false;
    *read = rc == NI_OK || rc == NIETOO_SMALL ? reader.size() : 0;
    return rc;
}

KELRETURN NiIWrite(NI_CON& con, std::span<const iovec> parts, const Deadline& deadline) noexcept {
    const std::size_t length = NiISize(parts);
    const std::size_t total = NI_HEADER_LENGTH + length;
    if (con.mPendLenToWrite > total || length > INT32_MAX)
        return NiIFail(NIEINVAL, con, __LINE__, "NiIWrite", "parameter invalid (length)", false);
    if (con.mPendLenToWrite == 0) ByteWriter(con.mPendHdrToWrite).u32(static_cast<std::uint32_t>(length));
    std::size_t sent = con.mPendLenToWrite == 0 ? 0 : total - con.mPendLenToWrite;
    iovec all[NI_PARTS_MAX + 1] = {{con.mPendHdrToWrite, NI_HEADER_LENGTH}};
    std::ranges::copy(parts, all + 1);
    const auto rest = [&](std::size_t from) {
        NiPartList list;
        list.add({all, parts.size() + 1}, from, total);
        return list;
    };
    const KELRETURN rc = sendAll(con, total, deadline, rest, sent);
    con.mPendLenToWrite = sent == 0 ? 0 : total - sent;
    if (rc == NI_OK) con.mCounters.mOutMsgs++;
    return rc;
}

KELRETURN NiIRawWrite(NI_CON& con, std::span<const KEL_RAW> data, const Deadline& deadline,
                      std::size_t* written) noexcept {
    const iovec part{const_cast<KEL_RAW*>(data.data()), data.size()};
    const auto rest = [&](std::size_t from) {
        NiPartList list;
        list.add({&part, 1}, from, data.size());
        return list;
    };
    *written = 0;
    return sendAll(con, data.size(), deadline, rest, *written);
}

KELRETURN NiIRawRead(NI_CON& con, const iovec& target, const Deadline& deadline, std::size_t* read) noexcept {
    *read = std::min(con.mEarly.left().size(), target.iov_len);
    if (*read != 0) {
        std::memcpy(target.iov_base, con.mEarly.left().data(), *read);
        con.mEarly.take(*read);
        return NI_OK;
    }
    for (;;) {
        SI_RC rc = NiIWait(con.mSocket, SI_READ, deadline);
        if (rc == SI_ETIMEOUT) return NIETIMEOUT;
        iovec part = target;
        if (rc == SI_OK) rc = SiRecvV(&con.mSocket, {&part, 1}, read);
        if (rc == SI_EINTR || rc == SI_ETIMEOUT) continue;  // a false alarm: wait again
        con.mCounters.mInOctets += *read;
        return rc == SI_OK ? static_cast<KELRETURN>(NI_OK)
                           : NiIFail(NiISystemError(rc, false), con, __LINE__, "NiRawRead", "", true);
    }
}
