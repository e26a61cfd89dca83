/**
 * @file
 * Buffered handles: connects and routes that complete in the background, a queue of output, and input that is
 * told only in complete messages. Whatever call on the handle, and a select set that it stands in, moves them
 * on. Private to the layer.
 */
#pragma once

#include <deque>
#include <vector>

#include "base/ni/niio.h"

/** State of a buffered handle. */
enum NIBUF_HDL_STATE : int {
    NIBUF_OFF = 0,
    NIBUF_CONN_WAIT = 1,  ///< The connect or the route isn't complete.
    NIBUF_OK = 2,
    NIBUF_ERR = 3,      ///< Broken; `mError` says how.
    NIBUF_SENDING = 5,  ///< NIBUF_OK with output that the system doesn't take now.
};

/** Messages in the queue of output, and their bytes, at most. */
inline constexpr std::size_t NI_OUT_QUEUE_MAX = 100;
inline constexpr std::size_t NI_OUT_BYTES_MAX = 4 << 20;

/** What a buffered handle keeps. */
struct NI_XHDL {
    NIBUF_HDL_STATE mStat = NIBUF_CONN_WAIT;
    NI_TALKMODE mTalkmode = MESG_IO;
    bool mHandshake = false;  ///< The answer of routers is awaited.
    KELRETURN mError = NI_OK;

    std::deque<std::vector<KEL_RAW>> mpOutQueue;  ///< As they travel.
    std::size_t mCurrOut = 0;                     ///< Bytes of the first that are out.
    std::size_t mUserQueueLen = 0;                ///< Bytes in the queue.

    std::vector<KEL_RAW> mpFragIn;  ///< The incoming message, as far as it came.
    bool mReadyIn = false;          ///< It is complete.
    std::size_t mHandedOut = 0;     ///< Bytes of it that the reader has.
};

/** Gives a handle a record. False without memory. */
bool NiBufIHdlInit(NI_CON& con, NI_TALKMODE talkmode, bool handshake) noexcept;

/** Does what can be done without waiting. A failure stays in the record. */
void NiBufIProcess(NITAB& entry) noexcept;

/** Whether a read has something to give, and whether a write has room. Failures count as both. */
bool NiBufIReadable(const NITAB& entry) noexcept;
bool NiBufIWritable(const NITAB& entry) noexcept;

/** Whether the handle waits for its socket to take something. */
bool NiBufIWantsWrite(const NITAB& entry) noexcept;

/** Puts a message, framed already, to the output. NIEQUE_FULL: no room within the time. */
KELRETURN NiBufISend(NITAB& entry, std::span<const iovec> parts, bool framed,
                     const Deadline& deadline) noexcept;

/** Reads a message, as NiReadV does, or plain bytes. NIECONN_PENDING: the handle isn't connected in time. */
KELRETURN NiBufIReceive(NITAB& entry, std::span<const iovec> parts, const Deadline& deadline,
                        std::size_t* read) noexcept;

/** Waits until the handle is readable or writable. NIETIMEOUT or NIECONN_PENDING: it isn't. */
KELRETURN NiBufIAwait(NITAB& entry, bool writing, const Deadline& deadline) noexcept;
