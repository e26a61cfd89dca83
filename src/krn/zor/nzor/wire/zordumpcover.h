/** @file Follows the items of a stream so that dumps of its blocks don't show what is secret. */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <span>

#include "wire/zorid.h"

class ZorFunction;

/**
 * One direction of an item stream, as it passes in blocks that may end anywhere. In a copy of each block the
 * payloads that may hold a secret become asterisks, so that a dump shows their length and nothing else: those
 * of a logon, values of parameters that aren't shown, all values of a call of the partner. After a block that
 * was missed, or an item that doesn't end as it began, nothing shows until the next message.
 */
class ZorDumpCover {
  public:
    explicit ZorDumpCover(bool incoming) noexcept : incoming(incoming) {}

    /**
     * Covers the copy of a block; `number` counts the blocks of a message from 0. The function is that whose
     * parameters travel; without one no value shows.
     */
    void cover(std::span<KEL_RAW> block, unsigned number, const ZorFunction* travelling) noexcept;

  private:
    enum class Phase { begin, payload, end, lost };
    static constexpr size_t longestName = 256;

    size_t takeBegin(std::span<const KEL_RAW> bytes, const ZorFunction* travelling) noexcept;
    size_t takePayload(std::span<KEL_RAW> bytes) noexcept;
    size_t takeEnd(std::span<const KEL_RAW> bytes, const ZorFunction* travelling) noexcept;
    size_t collect(std::span<const KEL_RAW> bytes, unsigned wanted) noexcept;
    bool hidesPayload(const ZorFunction* travelling) const noexcept;
    void noteName(const ZorFunction* travelling) noexcept;

    const bool incoming;
    Phase phase = Phase::lost;
    unsigned nextBlock = 0;
    bool calledBack = false;  ///< The message came in and names a function: it calls this side.
    bool valueShown = false;  ///< Of the parameter that was named last.
    bool rowsShown = false;   ///< The same of a table.
    std::array<KEL_RAW, 8> framing{};
    unsigned taken = 0;  ///< Bytes of the framing so far.
    unsigned id = ZORID_NotUsed;
    KEL_UINT left = 0;  ///< Bytes of the payload that are still to come.
    bool hidden = false;
    std::array<KEL_UC, longestName> name{};  ///< Payload of an item that names a parameter.
    size_t nameLength = 0;
};

/** Both directions, as one who dumps sees them. */
struct ZorDumpCovers {
    ZorDumpCover out{false}, in{true};
};
