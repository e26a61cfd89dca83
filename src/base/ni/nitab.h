/** @file The table of handles; private to the layer. */
#pragma once

#include <unistd.h>

#include <atomic>
#include <memory>
#include <vector>

#include "base/ni/ni.h"
#include "base/si/si.h"

struct NI_XHDL;

inline constexpr std::size_t NI_HEADER_LENGTH = 4;

/** Bytes that came early. Counts, over all handles, those that have any, so that select sets look for them.
 */
class NiEarly {
  public:
    NiEarly() = default;
    ~NiEarly() { clear(); }
    NiEarly(const NiEarly&) = delete;
    NiEarly& operator=(const NiEarly&) = delete;

    /** What is there; valid until the next change. */
    std::span<const KEL_RAW> left() const { return std::span(bytes).subspan(used); }
    bool empty() const { return used == bytes.size(); }
    /** The contrary of empty(), for threads that the handle doesn't belong to. */
    bool any() const noexcept { return some.load(std::memory_order_relaxed); }
    /** The first `count` bytes were taken. */
    void take(std::size_t count);
    /** Replaces all by room for `length` bytes; empty without memory. Keeps its capacity. */
    std::span<KEL_RAW> replace(std::size_t length) noexcept;
    void clear();

    /** Whether any handle of the process has early bytes. */
    static bool anywhere() noexcept { return handles.load(std::memory_order_relaxed) != 0; }

  private:
    static inline std::atomic<int> handles{0};
    std::vector<KEL_RAW> bytes;
    std::size_t used = 0;
    std::atomic<bool> some{false};
};

/** What a connection keeps. */
struct NI_CON {
    NI_CON();
    ~NI_CON();

    SI_SOCK mSocket;
    NI_NODEADDR mPeerAddr{};
    KEL_USHORT mPeerServNo = 0;
    bool mBlocking = true;

    KEL_RAW mPendHdrToRead[NI_HEADER_LENGTH]{};
    std::size_t mPendHdrLenToRead = NI_HEADER_LENGTH;  ///< Header bytes still to come.
    std::size_t mPendDataLenToRead = 0;                ///< Bytes of the open message still to be handed out.
    bool mMsgTail = false;                             ///< A part of the open message was handed out.
    /**
     * Bytes of following messages, or of the open one when a time limit ended its reading. Served before the
     * socket is asked.
     */
    NiEarly mEarly;
    KEL_INT mMaxValidPacketLen = 0;

    KEL_RAW mPendHdrToWrite[NI_HEADER_LENGTH]{};
    std::size_t mPendLenToWrite = 0;  ///< Bytes of a message cut short, header included; 0: none.

    bool mVersReq = false;  ///< The peer was asked for its version.
    int mCheckWait = 0;     ///< 1: a pong is waited for; 2: pongs are counted.
    KEL_INT mCheckAnswer = 0;
    NI_COUNTERS mCounters;

    std::unique_ptr<NI_XHDL> mpExtHdl;  ///< The record of a buffered handle; mostly none.
};

/** What a listening handle keeps. */
struct NI_LIS {
    SI_SOCK mIPSocket;
    SI_SOCK mUDSocket;
    NI_INIT_FUNC mInitFunc = nullptr;
    KEL_CHAR mPath[108] = "";  ///< The Unix domain socket's file; removed by the process that made it.
    pid_t mOwner = 0;
};

/** An entry of the table. The atomics let any thread test a value that may be stale. */
struct NITAB {
    std::atomic<NI_HDL> mHandle{NI_INVALID_HDL};
    std::atomic<int> mType{NI_FREE};
    std::atomic<int> mSelected{0};    ///< Select sets that the handle stands in.
    std::atomic<int> mSocketNo{-1};   ///< Of a connection, for NiSockToHdl.
    int mNextFree = -1;               ///< Guarded by hdl_section.
    std::unique_ptr<NI_CON> mConHdl;  ///< Kept for the next use of the entry, but for its contents.
    std::unique_ptr<NI_LIS> mLisHdl;
};

/** Opens the table if it isn't open; `maxHandles` counts if it is empty. */
KELRETURN NiTabInit(KEL_INT maxHandles) noexcept;

/** Starts the layer if it isn't started. */
KELRETURN NiIStart() noexcept;

/** Asks the socket of a new connection for its peer. */
KELRETURN NiIAccepted(NITAB& entry) noexcept;

/** Closes all handles. */
void NiTabExit() noexcept;

/** Takes a free entry as NI_INITIAL_CON or NI_INITIAL_LIS; NULL when all are in use, or without memory. */
NITAB* NiTabNew(NI_STAT type) noexcept;

/** Makes the entry's handle valid. */
NI_HDL NiTabReady(NITAB& entry, NI_STAT type) noexcept;

/** The entry of a valid handle, or NULL. Takes no lock. */
NITAB* NiTabFind(NI_HDL handle) noexcept;

/** The entry of a valid connection; NULL, and NIEINVAL as the current error, for all else. */
NITAB* NiConFind(NI_HDL handle, const KEL_CHAR* function) noexcept;

/** The valid handle of a socket; NI_INVALID_HDL if there is none. */
NI_HDL NiTabFindSocket(int socketNo) noexcept;

/** Closes the entry's sockets and gives it back. */
void NiTabFree(NITAB* entry) noexcept;

/** Number of handles that were closed while they stood in a select set, ever. */
unsigned NiTabLost() noexcept;
