/**
 * @file
 * The one reader and the one writer of binary records: cursors over a span, every access checked. Numbers
 * are big-endian. A record's layout is a chain of `NetField`s, each placed behind the one before, so that
 * an offset is always the sum of the widths in front of it.
 */
#pragma once

#include <kelzor/types.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/** Place of a field in a record, in bytes. */
struct NetField {
    std::size_t offset = 0;
    std::size_t length = 0;

    constexpr std::size_t end() const { return offset + length; }
    /** The field of the given width that follows this one. */
    constexpr NetField then(std::size_t width) const { return {end(), width}; }
};

/** Reads a record. A read beyond the end gives zeros and makes ok() false for good. */
class ByteReader {
  public:
    explicit ByteReader(std::span<const KEL_RAW> data) : data(data) {}

    ByteReader& at(NetField field) {
        position = field.offset;
        return *this;
    }
    std::uint8_t u8() { return static_cast<std::uint8_t>(number(1)); }
    std::uint16_t u16() { return static_cast<std::uint16_t>(number(2)); }
    std::uint32_t u32() { return number(4); }
    std::int16_t i16() { return static_cast<std::int16_t>(u16()); }
    std::int32_t i32() { return static_cast<std::int32_t>(u32()); }

    /** The next `count` bytes; empty if there are fewer. */
    std::span<const KEL_RAW> bytes(std::size_t count) {
        if (!take(count)) return {};
        return data.subspan(position - count, count);
    }
    /** The bytes of a field, wherever the cursor stands. */
    std::span<const KEL_RAW> field(NetField place) { return at(place).bytes(place.length); }
    /** A field as text, up to its first zero byte if it has one. */
    std::string_view text(NetField place) {
        const auto raw = field(place);
        const std::string_view all(reinterpret_cast<const char*>(raw.data()), raw.size());
        return all.substr(0, std::min(all.find('\0'), all.size()));
    }
    bool ok() const { return good; }

  private:
    bool take(std::size_t count) {
        if (position > data.size() || count > data.size() - position) {
            good = false;
            return false;
        }
        position += count;
        return true;
    }
    std::uint32_t number(std::size_t width) {
        std::uint32_t value = 0;
        for (const KEL_RAW byte : bytes(width))
            value = value << 8 | byte;
        return value;
    }

    std::span<const KEL_RAW> data;
    std::size_t position = 0;
    bool good = true;
};

/** Writes a record. A write beyond the end is left out and makes ok() false for good. */
class ByteWriter {
  public:
    explicit ByteWriter(std::span<KEL_RAW> target) : target(target) {}

    ByteWriter& at(NetField field) {
        position = field.offset;
        return *this;
    }
    void u8(std::uint8_t value) { number(value, 1); }
    void u16(std::uint16_t value) { number(value, 2); }
    void u32(std::uint32_t value) { number(value, 4); }
    void i16(std::int16_t value) { u16(static_cast<std::uint16_t>(value)); }
    void i32(std::int32_t value) { u32(static_cast<std::uint32_t>(value)); }
    void bytes(std::span<const KEL_RAW> source) {
        if (take(source.size()) && !source.empty())
            std::memcpy(place(source.size()), source.data(), source.size());
    }
    void fill(KEL_RAW value, std::size_t count) {
        if (take(count)) std::fill_n(place(count), count, value);
    }
    /** A text in its field: cut to the width, the rest blanks. */
    void padded(NetField field, std::string_view text) { put(field, text.substr(0, field.length), ' '); }
    /** A text in its field with at least one zero byte behind it: cut to the width less 1. */
    void terminated(NetField field, std::string_view text) {
        put(field, text.substr(0, field.length - 1), '\0');
    }
    bool ok() const { return good; }

  private:
    bool take(std::size_t count) {
        if (position > target.size() || count > target.size() - position) {
            good = false;
            return false;
        }
        position += count;
        return true;
    }
    KEL_RAW* place(std::size_t count) { return target.data() + (position - count); }
    void number(std::uint32_t value, std::size_t width) {
        if (!take(width)) return;
        KEL_RAW* to = place(width);
        for (std::size_t i = width; i-- > 0; value >>= 8)
            to[i] = static_cast<KEL_RAW>(value);
    }
    void put(NetField field, std::string_view text, KEL_RAW rest) {
        at(field).bytes({reinterpret_cast<const KEL_RAW*>(text.data()), text.size()});
        fill(rest, field.length - text.size());
    }

    std::span<KEL_RAW> target;
    std::size_t position = 0;
    bool good = true;
};
