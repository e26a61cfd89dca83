/** @file Steps of sending and receiving that several calls share; private to the layer. */
#pragma once

#include "krn/si/cpic/cpicconv.h"

inline bool STIBlockTooLong(CPIC_INT length) noexcept {
    return length < 0 || length > CPIC_MAX_BLOCK;
}

/** The block that is kept for the next message. */
inline std::span<const KEL_RAW> STIKeptBlock(const CONV_PROTO& conv) noexcept {
    return {conv.data(), conv.buffer_len};
}

/** Whether a send is interrupted, with its answer or the sync behind it. */
inline bool STISendInterrupted(const CONV_PROTO& conv) noexcept {
    return conv.interrupted_call == CPIC_CMSEND || conv.interrupted_call == CPIC_KEL_SYNC;
}

/** Sends a block now. Every so often the gateway has to answer, so that it isn't flooded. */
CM_RETCODE STISendBlock(CONV_PROTO& conv, std::span<const KEL_RAW> data,
                        REQUEST_TO_SEND_RECEIVED* rts) noexcept;

/** The rest of a send: what the gateway hasn't taken yet, then its answer if one was asked for. */
CM_RETCODE STIFinishSend(CONV_PROTO& conv, REQUEST_TO_SEND_RECEIVED* rts) noexcept;

/** Sends what is kept, if anything, and tells the gateway to pass it on. */
CM_RETCODE STIFlushKept(CONV_PROTO& conv) noexcept;

/** All that has to go out before an answer to a receive can come. */
CM_RETCODE STIBeginReceive(CONV_PROTO& conv, CPIC_INT requested) noexcept;
