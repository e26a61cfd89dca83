/**
 * @file
 * Reading and writing of numbers in byte spans. Every access is inside the span: callers check the
 * length of a record once and then name offsets of its layout.
 */
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace zordev {

using Byte = std::uint8_t;
using ByteSpan = std::span<const Byte>;

inline std::uint16_t loadBe16(ByteSpan bytes, std::size_t offset) {
    assert(offset + 2 <= bytes.size());
    return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

inline std::uint32_t loadBe32(ByteSpan bytes, std::size_t offset) {
    assert(offset + 4 <= bytes.size());
    return static_cast<std::uint32_t>(bytes[offset]) << 24 |
           static_cast<std::uint32_t>(bytes[offset + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[offset + 2]) << 8 | bytes[offset + 3];
}

/** A number in the byte order that the development system declares for itself: least byte first. */
inline std::uint32_t loadLe32(ByteSpan bytes, std::size_t offset) {
    assert(offset + 4 <= bytes.size());
    return static_cast<std::uint32_t>(bytes[offset + 3]) << 24 |
           static_cast<std::uint32_t>(bytes[offset + 2]) << 16 |
           static_cast<std::uint32_t>(bytes[offset + 1]) << 8 | bytes[offset];
}

inline void storeBe16(std::span<Byte> bytes, std::size_t offset, std::uint16_t value) {
    assert(offset + 2 <= bytes.size());
    bytes[offset] = static_cast<Byte>(value >> 8);
    bytes[offset + 1] = static_cast<Byte>(value);
}

inline void storeBe32(std::span<Byte> bytes, std::size_t offset, std::uint32_t value) {
    storeBe16(bytes, offset, static_cast<std::uint16_t>(value >> 16));
    storeBe16(bytes, offset + 2, static_cast<std::uint16_t>(value));
}

inline void storeLe32(std::span<Byte> bytes, std::size_t offset, std::uint32_t value) {
    assert(offset + 4 <= bytes.size());
    for (std::size_t i = 0; i < 4; ++i)
        bytes[offset + i] = static_cast<Byte>(value >> (8 * i));
}

/** Writes a text into a field of fixed width, cut to it or padded with `fill`. */
inline void storeText(std::span<Byte> bytes, std::size_t offset, std::size_t width, std::string_view text,
                      char fill = ' ') {
    assert(offset + width <= bytes.size());
    const std::size_t length = text.size() < width ? text.size() : width;
    if (length != 0) std::memcpy(bytes.data() + offset, text.data(), length);
    std::memset(bytes.data() + offset + length, fill, width - length);
}

/** The bytes as text, one character each; valid as long as the bytes are. */
inline std::string_view asText(ByteSpan bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/** The text as bytes; valid as long as the text is. */
inline ByteSpan asBytes(std::string_view text) {
    return {reinterpret_cast<const Byte*>(text.data()), text.size()};
}

/** The text without its trailing blanks. */
inline std::string_view trimmed(std::string_view text) {
    const std::size_t last = text.find_last_not_of(' ');
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

}  // namespace zordev
