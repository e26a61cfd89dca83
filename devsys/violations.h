/**
 * @file
 * Violations of the protocol by a client: what was wrong, where, what should have stood there. The
 * checks themselves are made through RecordChecker, so that each names its field the same way.
 */
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "devsys/bytes.h"

namespace zordev {

/** One violation. `offset` counts in bytes from the start of `record`. */
struct Violation {
    std::string record;   /**< The record or stream, with the field where it has one. */
    std::size_t offset;   /**< First offending byte. */
    std::string expected; /**< What a correct client sends there. */
    std::string got;      /**< What came, as hexadecimal bytes or as text. */

    /** One line for a log or a failing test. */
    std::string toString() const;
};

/** The violations of all conversations of a development system. Thread-safe. */
class ViolationLog {
  public:
    using Sink = std::function<void(const std::string& line)>;

    /** `sink`, where given, gets the line of each violation on the thread that found it. */
    explicit ViolationLog(Sink sink = {}) : sink_(std::move(sink)) {}

    void add(Violation violation);
    std::vector<Violation> all() const;
    void clear();

  private:
    Sink sink_;
    mutable std::mutex mutex_;  // guards violations_
    std::vector<Violation> violations_;
};

/** The bytes as hexadecimal text, at most 32 of them. */
std::string hexText(ByteSpan bytes);

/**
 * Checks the fields of one record against what a correct client sends. Each check that fails adds a
 * violation; `ok` tells at the end whether there was any. A field must lie inside the record.
 */
class RecordChecker {
  public:
    RecordChecker(std::string_view record, ByteSpan bytes, ViolationLog& log)
        : record_(record), bytes_(bytes), log_(log) {}

    void number1(std::size_t offset, unsigned expected, std::string_view field) {
        if (bytes_[offset] != expected) mismatch(offset, 1, std::to_string(expected), field);
    }
    void number2(std::size_t offset, std::uint16_t expected, std::string_view field) {
        if (loadBe16(bytes_, offset) != expected) mismatch(offset, 2, std::to_string(expected), field);
    }
    void number4(std::size_t offset, std::uint32_t expected, std::string_view field) {
        if (loadBe32(bytes_, offset) != expected) mismatch(offset, 4, std::to_string(expected), field);
    }
    void zeros(std::size_t offset, std::size_t width, std::string_view field) {
        filled(offset, width, 0, field);
    }
    void blanks(std::size_t offset, std::size_t width, std::string_view field) {
        filled(offset, width, ' ', field);
    }
    /** Text, then blanks up to the field's end; no zero byte, no blank in front. May be all blank if
     * `mayBeEmpty`. */
    void padded(std::size_t offset, std::size_t width, bool mayBeEmpty, std::string_view field);
    /** Text, at least one zero byte, and nothing but `fill` behind that. Not empty. */
    void terminated(std::size_t offset, std::size_t width, char fill, std::string_view field);
    /** All bytes zero or all blank: a character field that the client has nothing for. */
    void unused(std::size_t offset, std::size_t width, std::string_view field);
    /** The bytes are exactly `expected`. */
    void bytes(std::size_t offset, ByteSpan expected, std::string_view field);
    /** Any condition: adds a violation for `width` bytes at `offset` unless it holds. */
    void that(bool condition, std::size_t offset, std::size_t width, std::string_view expected,
              std::string_view field) {
        if (!condition) mismatch(offset, width, std::string(expected), field);
    }

    bool ok() const { return ok_; }

  private:
    void filled(std::size_t offset, std::size_t width, Byte fill, std::string_view field);
    void mismatch(std::size_t offset, std::size_t width, std::string expected, std::string_view field);

    std::string_view record_;
    ByteSpan bytes_;
    ViolationLog& log_;
    bool ok_ = true;
};

}  // namespace zordev
