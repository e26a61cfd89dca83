/**
 * @file
 * Select sets: waiting on many handles at once, and the pipes that wake such a wait. A set belongs to one
 * thread; other threads reach it through a wake-up pipe only.
 */
#pragma once

#include "base/ni/ni.h"
#include "base/si/sisel.h"

/** A set; NULL for none. */
class NISEL;
using NISEL_HDL = NISEL*;

/** What a handle is watched for. */
inline constexpr KEL_RAW NI_READ = 1;
inline constexpr KEL_RAW NI_WRITE = 2;
inline constexpr KEL_RAW NI_CONNECT = 4;    ///< On a listening handle: a partner to be accepted.
inline constexpr KEL_RAW NI_SEL_ALL = 255;  ///< For NiSelClear: the handle leaves the set.

/**
 * Makes an empty set for at most `maxSockets` handles, SISEL_MAX_SOCKETS at most. The caller deletes it.
 * NIEINVAL: a wrong number, or no descriptor is free; NIEINTERN: no memory.
 */
KELRETURN NiSelNewSet(NISEL_HDL* set) noexcept;
KELRETURN NiSelNewSet2(NISEL_HDL* set, KEL_INT maxSockets) noexcept;
KELRETURN NiSelNewSetOfType(NISEL_HDL* set, KEL_INT maxSockets, SISEL_TYPE type) noexcept;

/** Deletes a set; its handles stay open. `*set` becomes NULL, and may be it. */
KELRETURN NiSelDeleteSet(NISEL_HDL* set) noexcept;

/**
 * Watches a handle for `flags` too, and keeps `data` for it in place of what was kept. NIEINVAL: no valid
 * handle, a flag that it doesn't have, or the set is full.
 */
KELRETURN NiSelSet(NISEL_HDL set, NI_HDL handle, KEL_RAW flags, void* data) noexcept;

/** Watches a handle for `flags` no longer. One without flags stays in the set. Works on closed handles too.
 */
KELRETURN NiSelClear(NISEL_HDL set, NI_HDL handle, KEL_RAW flags) noexcept;

/**
 * Waits at most `timeout` ms (-1: for ever) until a handle is ready; NiSelNext tells which. A handle that was
 * closed or whose connection failed is ready for what it is watched for, so that its use reports it.
 * NIETIMEOUT: none is ready.
 */
KELRETURN NiSelSelect(NISEL_HDL set, KEL_INT timeout) noexcept;

/** The next ready handle of the last select, NI_INVALID_HDL at the end. Any of the results may be NULL. */
NI_HDL NiSelNext(NISEL_HDL set, bool* read, bool* write, bool* connect, void** data) noexcept;

/** Whether a handle is in the set. Others may ask while a thread is in NiSelSelect, which changes no members.
 */
bool NiSelIsMember(NISEL_HDL set, NI_HDL handle) noexcept;

/** A wake-up pipe; any thread may use it at any time. */
using NI_WAKEUP_HDL = KEL_INT;
inline constexpr NI_WAKEUP_HDL NI_INVALID_WAKEUP = -1;
/** Bytes of a record, at most. */
inline constexpr KEL_INT NI_WAKEUP_MAX = 512;

/** Opens a pipe. */
KELRETURN NiWakeupOpen(NI_WAKEUP_HDL* wakeup) noexcept;
/** Closes a pipe, and detaches it. */
KELRETURN NiWakeupClose(NI_WAKEUP_HDL wakeup) noexcept;
/** Makes the handle of the reading end, to be put into a select set; it stays the pipe's. */
KELRETURN NiWakeupAttach(NI_WAKEUP_HDL wakeup) noexcept;
/** Closes that handle; records stay in the pipe. */
KELRETURN NiWakeupDetach(NI_WAKEUP_HDL wakeup) noexcept;
/** That handle; NIEINVAL before NiWakeupAttach. */
KELRETURN NiWakeupGetNiHdl(NI_WAKEUP_HDL wakeup, NI_HDL* handle) noexcept;
/**
 * Sends a record of 1 to NI_WAKEUP_MAX bytes, which arrives whole or not at all; records keep their order.
 * NIETIMEOUT: the pipe was full for `timeout` ms.
 */
KELRETURN NiWakeupExec2(NI_WAKEUP_HDL wakeup, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept;
/** Takes the next record; NIETIMEOUT if there is none. What is longer than `size` is lost. */
KELRETURN NiWakeupCollect2(NI_WAKEUP_HDL wakeup, KEL_RAW* data, KEL_INT size, KEL_INT* length) noexcept;
