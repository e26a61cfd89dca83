/**
 * @file
 * The stream compressor of table rows: reading of its LZH form. A stream is a head of 8 bytes and behind it
 * the block format of RFC 1951 with a window of 16384 bytes, opened by a count of two bits and that many
 * random bits. Input and output come in portions of any size; a handle keeps the state between them.
 *
 * Functions return codes and never throw. Any thread may take and give back handles; one thread at a time
 * uses a handle.
 */
#pragma once

#include <kelzor/types.h>

#include <cstddef>
#include <span>

/** Results; failures are negative. */
enum CS_RETCODE : int {
    CS_END_OF_STREAM = 1,      ///< All was written.
    CS_END_OUTBUFFER = 2,      ///< The output is full.
    CS_END_INBUFFER = 3,       ///< The input is used up.
    CS_E_IN_BUFFER_LEN = -11,  ///< Without the whole head at the start.
    CS_E_BOTH_ZERO_LEN = -20,  ///< Neither input nor room for output.
    CS_E_UNKNOWN_ALG = -21,    ///< The head names an algorithm that isn't known.
    CS_E_DAMAGED = -22,        ///< The stream isn't what a compressor writes.
    CS_E_NO_MAGIC = -50,       ///< The head has no magic.
    CS_E_INVALID_HANDLE = -81,
    CS_E_OUT_OF_MEMORY = -82,
    CS_E_NO_FREE_HANDLE = -85,
};

/** Options. */
inline constexpr int CS_INIT_DECOMPRESS = 1;  ///< A stream begins: the input starts with its head.

/** @name The head */
/** @{ */
inline constexpr std::size_t CS_HEAD_SIZE = 8;
inline constexpr KEL_RAW CS_ALGORITHM_LZC = 0x11;
inline constexpr KEL_RAW CS_ALGORITHM_LZH = 0x12;
/** The uncompressed length in bytes; CS_E_NO_MAGIC for what isn't a head. */
long long CsRGetLen(std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept;
/** Version and algorithm in one number. */
KEL_RAW CsRGetAlgorithm(std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept;
/** Writes a head; `special` is the pack level. */
void CsRSetHead(std::span<KEL_RAW, CS_HEAD_SIZE> head, KEL_UINT length, KEL_RAW algorithm,
                KEL_RAW special) noexcept;
/** @} */

/** @name Handles: numbers from 300 to 1299. The memory behind one that was given back is kept for the next
 * use. */
/** @{ */
/** 0, or CS_E_NO_FREE_HANDLE or CS_E_OUT_OF_MEMORY. */
int CsRGetHandle(int* handle) noexcept;
/** Gives a handle back; other numbers are ignored. */
void CsRCloseHandle(int handle) noexcept;
/** Gives all handles back and frees their memory; nobody may use one meanwhile. */
void CsRCloseAllHandles() noexcept;
/** @} */

/**
 * Decompresses from `input` to `output`, as far as both go; tells how much of each was used. CS_END_OF_STREAM
 * comes when the length that the head tells is reached or the last block ends. Never writes more than that
 * length.
 */
int CsRDecompress(int handle, std::span<const KEL_RAW> input, std::span<KEL_RAW> output, int options,
                  std::size_t* bytesRead, std::size_t* bytesWritten) noexcept;

/** Begins a stream with its head. 0 or a failure. */
int CsRInitDecompress(int handle, std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept;
