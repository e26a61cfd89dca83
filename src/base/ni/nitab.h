/** @file The table of handles; private to the layer. */
#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "base/ni/ni.h"
#include "base/si/si.h"

/** State of a handle; a value of at least NI_LISTEN is valid for a caller. */
enum NI_STAT : int {
    NI_FREE = 0,
    NI_INITIAL_LIS = 1,
    NI_INITIAL_CON = 3,
    NI_LISTEN = 17,
    NI_CONN_WAIT = 52,
    NI_CONNECTED = 53,
    NI_ACCEPTED = 54,
};

inline constexpr std::size_t NI_HEADER_LENGTH = 4;

/** What a handle in use keeps. */
struct NI_CON {
    SI_SOCK mSocket;
    NI_NODEADDR mPeerAddr{};
    KEL_USHORT mPeerServNo = 0;

    KEL_RAW mPendHdrToRead[NI_HEADER_LENGTH]{};
    std::size_t mPendHdrLenToRead = NI_HEADER_LENGTH;  ///< Header bytes still to come.
    std::size_t mPendDataLenToRead = 0;                ///< Bytes of the open message still to be handed out.
    bool mMsgTail = false;                             ///< A part of the open message was handed out.
    /**
     * Bytes that came early: those of following messages, or of the open one when a time limit ended
     * its reading. Served before the socket is asked. Keeps its capacity.
     */
    std::vector<KEL_RAW> mEarly;
    std::size_t mEarlyUsed = 0;
    KEL_INT mMaxValidPacketLen = 0;

    KEL_RAW mPendHdrToWrite[NI_HEADER_LENGTH]{};
    std::size_t mPendLenToWrite = 0;  ///< Bytes of a message cut short, header included; 0: none.
};

/** An entry of the table. The atomics let any thread test a value that may be stale. */
struct NITAB {
    std::atomic<NI_HDL> mHandle{NI_INVALID_HDL};
    std::atomic<int> mType{NI_FREE};
    int mNextFree = -1;  ///< Guarded by hdl_section.
    NI_CON mConHdl;
};

/** Fixes the size of the table, once. */
KELRETURN NiTabInit(KEL_INT maxHandles) noexcept;

/** Takes a free entry as NI_INITIAL_CON; NULL when all are in use. */
NITAB* NiTabNew() noexcept;

/** The entry of a valid handle, or NULL. Takes no lock. */
NITAB* NiTabFind(NI_HDL handle) noexcept;

/** Closes the entry's socket and gives it back. */
void NiTabFree(NITAB* entry) noexcept;
