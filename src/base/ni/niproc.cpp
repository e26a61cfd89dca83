// Control messages inside the stream: what is done about them.

#include "base/dptrc/err.h"
#include "base/ni/nierr.h"
#include "base/ni/niio.h"
#include "base/ni/nimsg.h"

namespace {

constexpr KEL_INT ANSWER_TIMEOUT = 1000;  // ms for the few bytes of an answer to a control message

/** Answers a control message, unless a message of the caller's is on its way. */
KELRETURN answer(NI_CON& con, std::span<const KEL_RAW> message) {
    if (con.mPendLenToWrite != 0) return NIEPING;
    const iovec part{const_cast<KEL_RAW*>(message.data()), message.size()};
    const KELRETURN rc = NiIWrite(con, {&part, 1}, Deadline(ANSWER_TIMEOUT));
    if (rc == NI_OK) return NIEPING;
    // A partner that reads nothing for that long; a cut answer could not be followed by data.
    return rc == NIETIMEOUT
               ? NiIFail(NIECONN_BROKEN, con, __LINE__, "NiBufIProcMsg", "partner doesn't read", false)
               : rc;
}

KELRETURN answerControl(NI_CON& con, NI_OPCODES opcode, KELRETURN rc) {
    KEL_RAW message[NI_RTERR_LAYOUT::minLength];
    return answer(con, std::span(message, NiPutControl(message, opcode, rc)));
}

KELRETURN takeError(const NI_CON& con, const NiParsed& parsed) {
    const KELRETURN rc = parsed.rc < 0 ? parsed.rc : static_cast<KELRETURN>(NIEINTERN);
    if (ErrCpNetToInt(parsed.errorText) != ERR_OK)
        NiIFail(rc, con, __LINE__, "NiBufIProcMsg", "error reported by the network", false);
    return rc;
}

KELRETURN takePong(NI_CON& con) {
    if (con.mCheckWait == 1) con.mCheckWait = 0;
    if (con.mCheckWait == 2) con.mCheckAnswer++;
    return NIEPING;
}

/** The answer to the caller's question stands in place of its message; else it is swallowed. */
KELRETURN takeVersion(NI_CON& con, std::span<const iovec> parts, KEL_RAW version, std::size_t* read) {
    if (!con.mVersReq) return NIEPING;
    con.mVersReq = false;
    NiOverParts(parts, 0, 1, [&](KEL_RAW* to, std::size_t, std::size_t) { *to = version; });
    *read = 1;
    return NI_OK;
}

KELRETURN process(NI_CON& con, std::span<const iovec> parts, const NiParsed& parsed, std::size_t* read) {
    switch (parsed.kind) {
        case NiMessage::data:
            return NI_OK;
        case NiMessage::ping:
            return answer(con, NI_PONG_MESSAGE);
        case NiMessage::pong:
            return takePong(con);
        case NiMessage::error:
            return takeError(con, parsed);
        case NiMessage::version:
            return answerControl(con, NIOP_VERS_REP, NI_OK);
        case NiMessage::versionReply:
            return takeVersion(con, parts, parsed.version, read);
        case NiMessage::unknownControl:
            return answerControl(con, NIOP_NOOP, NIEVERSION);
        case NiMessage::control:
            break;
    }
    return NIEPING;
}

}  // namespace

KELRETURN NiBufIProcMsg(NI_CON& con, std::span<const iovec> parts, std::size_t* read) noexcept {
    KEL_RAW message[NI_CONTROL_MAX];
    const auto gather = [&](const KEL_RAW* from, std::size_t at, std::size_t count) {
        std::memcpy(message + at, from, count);
    };
    const std::size_t start = std::min(*read, NI_RTERR_LAYOUT::eyecatcher.length);
    NiOverParts(parts, 0, start, gather);
    if (*read != NI_PING_LENGTH && !NiIsControl({message, start})) return NI_OK;
    if (*read > sizeof message) return NI_OK;
    NiOverParts(parts, 0, *read, gather);
    const KELRETURN rc = process(con, parts, NiParseMessage({message, *read}), read);
    if (rc != NI_OK) *read = 0;
    return rc;
}
