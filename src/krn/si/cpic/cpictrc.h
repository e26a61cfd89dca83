/** @file What the layer writes to the trace; private to it. */
#pragma once

#include <span>

#include "krn/si/cpic/cpicconv.h"

/** Opens the trace that the environment asks for, unless one is open. Once; before the first conversation. */
void CpicTrcInit() noexcept;

/** Whether a conversation's statement of a level is written. */
inline bool STITraces(const CONV_PROTO& conv, int level) noexcept {
    return ct_level.load(std::memory_order_relaxed) >= level && conv.trace_level >= level;
}

/** Where a conversation's trace goes. Under DpHold. */
inline CTRC_HDL STITraceFile(const CONV_PROTO& conv) noexcept {
    return conv.trace_file ? conv.trace_file : tf;
}

/** Sets the level of a conversation; -1 takes that of the layer. */
void STISetConvTrace(CONV_PROTO& conv, CPIC_INT level) noexcept;

/** Raises the level of the layer, opening its trace if need be. */
void STIRaiseTrace(CPIC_INT level) noexcept;

/** A conversation ends: the layer goes back to the highest level that others need. */
void STILowerTrace(const CONV_PROTO& conv) noexcept;

/** A piece of data goes out or has come in: counts it, and writes it if the conversation traces raw data, as
 * far as the settings and its cover let it. */
void STINoteData(CONV_PROTO& conv, bool incoming, std::span<const KEL_RAW> data) noexcept;
