/** @file Messages to and from the gateway; private to the layer. */
#pragma once

#include "krn/si/cpic/cpicconv.h"

/** Outcome of a wait for a message. */
enum CPIC_READ : int {
    CPIC_READ_OK = 0,
    CPIC_READ_FAILED = -1,
    CPIC_READ_VERSION = -2,
    CPIC_READ_TIMEOUT = -3,
};

/** A message of the gateway. */
struct CPIC_MESSAGE {
    APPCHDR6 header;
    std::size_t received = 0;  ///< Data in the caller's buffer.
    std::size_t overflow = 0;  ///< Further data, in the conversation buffer at its data offset.
};

/** The call that waits, and for how many ms at most; -1 for ever. */
struct CPIC_CALL {
    CPIC_FUNCTION function;
    CPIC_INT timeout;
};

/** A header with what all requests of a conversation have in common. */
APPCHDR6 STIHeader(const CONV_PROTO& conv, GW_RQTYPE rqtype) noexcept;

/**
 * Writes one message: header, parameter block, data. CM_OK; CM_KEL_TIMEOUT_RETRY with the call noted as
 * interrupted and the message kept, so that STIWriteRest has to come before anything else is written; or
 * the code for the caller: then the conversation is gone.
 */
CM_RETCODE STISendToGw(CONV_PROTO& conv, CPIC_CALL call, const APPCHDR6& header,
                       std::span<const KEL_RAW> params = {}, std::span<const KEL_RAW> data = {}) noexcept;

/** Writes what an interrupted write left, if anything. Results as those of STISendToGw. */
CM_RETCODE STIWriteRest(CONV_PROTO& conv, CPIC_CALL call) noexcept;

/** A bare request that expects no answer of its own. Results as those of STISendToGw. */
CM_RETCODE STISendInternal(CONV_PROTO& conv, GW_RQTYPE rqtype, CPIC_CALL call) noexcept;

/** Ends a conversation by a DEALLOCATE that tells the partner why: with the current error. Results as above.
 */
CM_RETCODE STISendError(CONV_PROTO& conv, APPCHDR6 header, CPIC_INT code) noexcept;

/** Makes the conversation's end, of which the network or the gateway is the cause, known; 20. */
CM_RETCODE STIConnectionLost(CONV_PROTO& conv) noexcept;

/**
 * Waits for a message for at most `timeout` ms and puts its data into `target`, the rest behind. Pings
 * don't count, and are noted. A failing return code in the header is made the current error.
 */
CPIC_READ STIAsRcvFromGw(CONV_PROTO& conv, std::span<KEL_RAW> target, CPIC_INT timeout,
                         CPIC_MESSAGE* message) noexcept;

/**
 * Waits for the answer to a call. CM_OK with the message, CM_KEL_TIMEOUT_RETRY with the call noted as
 * interrupted, or the code for the caller: then the conversation is gone.
 */
CM_RETCODE STIAwaitAnswer(CONV_PROTO& conv, CPIC_CALL call, std::span<KEL_RAW> target,
                          CPIC_MESSAGE* message) noexcept;
