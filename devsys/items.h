/**
 * @file
 * The item stream: an identifier of 2 bytes, a length, that many bytes and the identifier again. The
 * length has 2 bytes, or, from 65535 on, the mark FFFF and then 4 bytes. All numbers are big-endian.
 */
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "devsys/bytes.h"

namespace zordev {

/** One item of a stream; the payload lies in the stream's bytes. */
struct Item {
    std::uint16_t id = 0;
    std::size_t offset = 0; /**< Of the item's first byte in the stream. */
    ByteSpan payload;
};

/** What came of an attempt to read an item. */
enum class ItemResult { item, end, truncated, badClosing };

/** Walks through a complete stream. The bytes stay the caller's. */
class ItemReader {
  public:
    explicit ItemReader(ByteSpan stream, std::size_t start = 0) : stream_(stream), next_(start) {}

    /** The next item, or why there is none; after a failure `item.offset` says where. */
    ItemResult next(Item& item);
    /** Offset of the first byte that wasn't read yet. */
    std::size_t offset() const { return next_; }
    ByteSpan stream() const { return stream_; }

  private:
    ByteSpan stream_;
    std::size_t next_;
};

/** Collects a stream in one growing buffer, which is reused from call to call. */
class ItemWriter {
  public:
    void clear() { used_ = 0; }
    void item(std::uint16_t id, ByteSpan payload);
    void text(std::uint16_t id, std::string_view payload) { item(id, asBytes(payload)); }
    void flag(std::uint16_t id) { item(id, {}); }
    void number4(std::uint16_t id, std::uint32_t value);
    /** Bytes that are items already, or no items at all. */
    void raw(ByteSpan bytes) {
        if (!bytes.empty()) std::memcpy(grow(bytes.size()).data(), bytes.data(), bytes.size());
    }
    /** Makes an item of `length` bytes for the caller to fill; valid until the next call. */
    std::span<Byte> reserve(std::uint16_t id, std::size_t length);

    ByteSpan bytes() const { return ByteSpan(bytes_).first(used_); }

  private:
    /** Room at the end, which counts as written. */
    std::span<Byte> grow(std::size_t length) {
        if (bytes_.size() - used_ < length) bytes_.resize(std::max(2 * bytes_.size(), used_ + length));
        used_ += length;
        return std::span(bytes_).subspan(used_ - length, length);
    }

    std::vector<Byte>
        bytes_; /**< Larger than what is written, so that nothing is cleared ahead of its data. */
    std::size_t used_ = 0;
};

}  // namespace zordev
