/** @file A request header in the trace. */
#pragma once

#include "base/dptrc/dptrc.h"
#include "krn/si/gw/gwappchdr.h"

/**
 * Writes the header's fields to the trace, one line a group of them. The caller has tested the level and
 * holds the trace.
 *
 * @param direction what happened to the message, such as "sent".
 */
void GwInfo(CTRC_HDL handle, const KEL_CHAR* direction, const APPCHDR6& header) noexcept;
