/** @file Reading and writing on one connection; private to the layer. */
#pragma once

#include <algorithm>
#include <cstring>
#include <span>

#include "base/ni/nitab.h"
#include "base/ni/niwait.h"

/** Sum of the parts' lengths. */
std::size_t NiISize(std::span<const iovec> parts) noexcept;

/** A list of parts for a system call. */
class NiPartList {
  public:
    /** Adds what lies in `parts` from `skip` on, at most `limit` bytes. */
    void add(std::span<const iovec> parts, std::size_t skip, std::size_t limit) {
        for (const iovec& part : parts) {
            const std::size_t left = part.iov_len - std::min(skip, part.iov_len);
            const std::size_t length = std::min(left, limit);
            if (length != 0)
                list[count++] = {static_cast<KEL_RAW*>(part.iov_base) + (part.iov_len - left), length};
            skip -= std::min(skip, part.iov_len);
            limit -= length;
        }
    }
    std::span<iovec> span() { return {list, count}; }

  private:
    iovec list[NI_PARTS_MAX + 1];  // with the header
    std::size_t count = 0;
};

/** Copies bytes from (or to) a range of parts. */
template <class Copy>
void NiOverParts(std::span<const iovec> parts, std::size_t offset, std::size_t length, Copy copy) {
    NiPartList range;
    range.add(parts, offset, length);
    std::size_t at = 0;
    for (const iovec& part : range.span()) {
        copy(static_cast<KEL_RAW*>(part.iov_base), at, part.iov_len);
        at += part.iov_len;
    }
}

/** Reports a failure on a connection; with `system`, that of its socket. */
KELRETURN NiIFail(KELRETURN rc, const NI_CON& con, int line, const KEL_CHAR* function, const KEL_CHAR* detail,
                  bool system) noexcept;

/**
 * Reads a message or a part of it. `read` counts also for NIETOO_SMALL, and `whole` tells whether the parts
 * begin with the message's first byte.
 */
KELRETURN NiIRead(NI_CON& con, std::span<const iovec> parts, const Deadline& deadline, std::size_t* read,
                  bool* whole) noexcept;

/** Writes a message, or goes on with it. Nothing of it is open when not a byte is out. */
KELRETURN NiIWrite(NI_CON& con, std::span<const iovec> parts, const Deadline& deadline) noexcept;

/** Sends plain bytes; `written` counts them. */
KELRETURN NiIRawWrite(NI_CON& con, std::span<const KEL_RAW> data, const Deadline& deadline,
                      std::size_t* written) noexcept;

/** Receives plain bytes, those that came early first; one at least. */
KELRETURN NiIRawRead(NI_CON& con, const iovec& target, const Deadline& deadline, std::size_t* read) noexcept;

/**
 * Deals with control messages; NI_OK leaves the message to the caller, NIEPING swallowed it. `read` changes
 * where another message takes its place.
 */
KELRETURN NiBufIProcMsg(NI_CON& con, std::span<const iovec> parts, std::size_t* read) noexcept;
