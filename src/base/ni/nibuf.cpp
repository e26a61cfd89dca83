#include "base/ni/nibuf.h"

#include <new>

#include "base/ni/nierr.h"
#include "base/thr/bytes.h"

namespace {

constexpr std::size_t CHUNK = 16384;  // bytes that a message grows by
const Deadline NOW(0);

KELRETURN broken(NI_XHDL& record, KELRETURN rc) {
    record.mStat = NIBUF_ERR;
    record.mError = rc;
    return rc;
}

bool connecting(const NITAB& entry) {
    return entry.mType == NI_CONN_WAIT;
}

/** A message mode handle reads ahead; a raw one only as long as its routers have to answer. */
bool readsAhead(const NI_XHDL& record) {
    return record.mTalkmode == MESG_IO || record.mHandshake;
}

/** Looks whether the connect is through. */
KELRETURN finishConnect(NITAB& entry) {
    NI_CON& con = *entry.mConHdl;
    if (SiPoll(&con.mSocket, SI_WRITE, 0) != SI_OK) return NIETIMEOUT;
    const SI_RC rc = SiPeekPendConn(&con.mSocket);
    if (rc != SI_OK) return NiIFail(NiISystemError(rc, true), con, __LINE__, "NiBufIProcess", "", true);
    entry.mType = NI_CONNECTED;
    return NI_OK;
}

/** Sends what the system takes of the queue. */
KELRETURN flush(NI_CON& con, NI_XHDL& record) {
    while (!record.mpOutQueue.empty()) {
        const std::vector<KEL_RAW>& message = record.mpOutQueue.front();
        std::size_t sent = 0;
        const KELRETURN rc = NiIRawWrite(con, std::span(message).subspan(record.mCurrOut), NOW, &sent);
        record.mCurrOut += sent;
        record.mUserQueueLen -= sent;
        // An answer to a control message can't go between the halves of this one.
        con.mPendLenToWrite = record.mCurrOut == 0 ? 0 : message.size() - record.mCurrOut;
        if (rc != NI_OK) return rc;
        record.mpOutQueue.pop_front();
        record.mCurrOut = 0;
    }
    return NI_OK;
}

/** A complete message came: a control message is dealt with, another one is ready. */
KELRETURN takeMessage(NI_CON& con, NI_XHDL& record, bool whole) {
    std::size_t length = record.mpFragIn.size();
    const iovec part{record.mpFragIn.data(), length};
    const KELRETURN rc = whole ? NiBufIProcMsg(con, {&part, 1}, &length) : static_cast<KELRETURN>(NI_OK);
    record.mReadyIn = rc == NI_OK;
    record.mpFragIn.resize(length);
    if (rc != NI_OK && rc != NIEPING) return rc;
    if (!record.mHandshake) return NI_OK;
    if (rc == NI_OK)
        return NiIFail(NIEINTERN, con, __LINE__, "NiBufIProcess", "data before the answer of the routers",
                       false);
    record.mHandshake = con.mCheckWait == 1;
    return NI_OK;
}

/** Reads until a message is complete or nothing more is there. */
KELRETURN fill(NI_CON& con, NI_XHDL& record) {
    while (!record.mReadyIn && readsAhead(record)) {
        const std::size_t before = record.mpFragIn.size();
        record.mpFragIn.resize(before + CHUNK);
        const iovec part{record.mpFragIn.data() + before, CHUNK};
        std::size_t length = 0;
        bool whole = false;
        KELRETURN rc = NiIRead(con, {&part, 1}, NOW, &length, &whole);
        record.mpFragIn.resize(before + length);
        if (rc == NIETIMEOUT) return NI_OK;
        if (rc == NI_OK) rc = takeMessage(con, record, whole);
        if (rc != NI_OK && rc != NIETOO_SMALL) return rc;
    }
    return NI_OK;
}

KELRETURN process(NITAB& entry) {
    NI_CON& con = *entry.mConHdl;
    NI_XHDL& record = *con.mpExtHdl;
    if (record.mStat == NIBUF_ERR) return NI_OK;
    KELRETURN rc = connecting(entry) ? finishConnect(entry) : static_cast<KELRETURN>(NI_OK);
    if (rc == NIETIMEOUT) return NI_OK;
    if (rc == NI_OK) rc = flush(con, record);
    if (rc == NI_OK || rc == NIETIMEOUT) {
        const KELRETURN read = fill(con, record);
        if (read != NI_OK) return read;
        record.mStat = record.mHandshake ? NIBUF_CONN_WAIT : rc == NI_OK ? NIBUF_OK : NIBUF_SENDING;
        return NI_OK;
    }
    return rc;
}

/** What the caller learns when the time is up. */
KELRETURN tooLate(const NITAB& entry, const KEL_CHAR* function) {
    if (entry.mConHdl->mpExtHdl->mStat != NIBUF_CONN_WAIT) return NIETIMEOUT;
    return NiIFail(NIECONN_PENDING, *entry.mConHdl, __LINE__, function, "", false);
}

/** A failure of the background, told again to each caller. */
KELRETURN repeatError(const NITAB& entry, const KEL_CHAR* function) {
    return NiIFail(entry.mConHdl->mpExtHdl->mError, *entry.mConHdl, __LINE__, function, "", false);
}

/** Hands out of the ready message what the parts take. */
KELRETURN handOut(NI_XHDL& record, std::span<const iovec> parts, std::size_t* read) {
    const std::size_t left = record.mpFragIn.size() - record.mHandedOut;
    *read = std::min(left, NiISize(parts));
    NiOverParts(parts, 0, *read, [&](KEL_RAW* to, std::size_t at, std::size_t count) {
        std::memcpy(to, record.mpFragIn.data() + record.mHandedOut + at, count);
    });
    record.mHandedOut += *read;
    if (*read < left) return NIETOO_SMALL;
    record.mpFragIn.clear();
    record.mReadyIn = false;
    record.mHandedOut = 0;
    return NI_OK;
}

std::vector<KEL_RAW> join(std::span<const iovec> parts, bool framed) {
    const std::size_t length = NiISize(parts), head = framed ? NI_HEADER_LENGTH : 0;
    std::vector<KEL_RAW> message(head + length);
    if (framed) ByteWriter(message).u32(static_cast<std::uint32_t>(length));
    NiOverParts(parts, 0, length, [&](const KEL_RAW* from, std::size_t at, std::size_t count) {
        std::memcpy(message.data() + head + at, from, count);
    });
    return message;
}

bool hasRoom(const NI_XHDL& record) {
    return record.mpOutQueue.size() < NI_OUT_QUEUE_MAX && record.mUserQueueLen < NI_OUT_BYTES_MAX;
}

}  // namespace

NI_CON::NI_CON() = default;
NI_CON::~NI_CON() = default;

bool NiBufIHdlInit(NI_CON& con, NI_TALKMODE talkmode, bool handshake) noexcept {
    con.mpExtHdl.reset(new (std::nothrow) NI_XHDL);
    if (!con.mpExtHdl) return false;
    con.mpExtHdl->mTalkmode = talkmode;
    con.mpExtHdl->mHandshake = handshake;
    con.mCheckWait = handshake ? 1 : 0;
    return true;
}

void NiBufIProcess(NITAB& entry) noexcept {
    NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    try {
        const KELRETURN rc = process(entry);
        if (rc != NI_OK) broken(record, rc);
    } catch (const std::bad_alloc&) {
        broken(record, NIEINTERN);
    }
}

bool NiBufIReadable(const NITAB& entry) noexcept {
    const NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    return record.mReadyIn || record.mStat == NIBUF_ERR;
}

bool NiBufIWritable(const NITAB& entry) noexcept {
    const NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    return record.mStat == NIBUF_ERR || (record.mStat != NIBUF_CONN_WAIT && hasRoom(record));
}

bool NiBufIWantsWrite(const NITAB& entry) noexcept {
    const NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    return record.mStat != NIBUF_ERR && (connecting(entry) || !record.mpOutQueue.empty());
}

KELRETURN NiBufIAwait(NITAB& entry, bool writing, const Deadline& deadline) noexcept {
    NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    const bool plain = record.mTalkmode != MESG_IO && !writing;
    for (;;) {
        NiBufIProcess(entry);
        if (writing ? NiBufIWritable(entry) : NiBufIReadable(entry)) return NI_OK;
        const bool pending = record.mStat == NIBUF_CONN_WAIT;
        if (plain && !pending && !entry.mConHdl->mEarly.empty()) return NI_OK;
        const int events = (writing && !pending ? 0 : SI_READ) | (NiBufIWantsWrite(entry) ? SI_WRITE : 0);
        const SI_RC rc =
            SiPoll(&entry.mConHdl->mSocket, static_cast<SI_EVENT>(connecting(entry) ? SI_WRITE : events),
                   deadline.left());
        if (rc == SI_ETIMEOUT) return tooLate(entry, "NiBufIAwait");
        if (rc != SI_OK && rc != SI_EINTR) return broken(record, NiISystemError(rc, false));
        if (rc == SI_OK && plain && !pending && !NiBufIWantsWrite(entry)) return NI_OK;
    }
}

KELRETURN NiBufISend(NITAB& entry, std::span<const iovec> parts, bool framed,
                     const Deadline& deadline) noexcept {
    NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    NiBufIProcess(entry);
    if (record.mStat != NIBUF_ERR && !hasRoom(record)) {
        const KELRETURN rc = NiBufIAwait(entry, true, deadline);
        if (rc == NIETIMEOUT || rc == NIECONN_PENDING)
            return NiIFail(NIEQUE_FULL, *entry.mConHdl, __LINE__, "NiBufISend", "", false);
    }
    if (record.mStat == NIBUF_ERR) return repeatError(entry, "NiBufISend");
    try {
        record.mpOutQueue.push_back(join(parts, framed));
        record.mUserQueueLen += record.mpOutQueue.back().size();
    } catch (const std::bad_alloc&) {
        return NiIFail(NIEINTERN, *entry.mConHdl, __LINE__, "NiBufISend", "no memory", false);
    }
    NiBufIProcess(entry);
    return record.mStat == NIBUF_ERR ? repeatError(entry, "NiBufISend") : static_cast<KELRETURN>(NI_OK);
}

KELRETURN NiBufIReceive(NITAB& entry, std::span<const iovec> parts, const Deadline& deadline,
                        std::size_t* read) noexcept {
    NI_XHDL& record = *entry.mConHdl->mpExtHdl;
    *read = 0;
    // What came before the end is handed out before the end is told.
    if (!record.mReadyIn) {
        const KELRETURN rc = NiBufIAwait(entry, false, deadline);
        if (rc != NI_OK) return rc;
    }
    if (record.mReadyIn) return handOut(record, parts, read);
    if (record.mStat == NIBUF_ERR) return repeatError(entry, "NiBufIReceive");
    return NiIRawRead(*entry.mConHdl, parts[0], deadline, read);
}
