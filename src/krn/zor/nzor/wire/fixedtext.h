/** @file A terminated text of bounded length, as the protocol state keeps many of them. */
#pragma once

#include <kelzor/types.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

/** Room for size - 1 characters and a terminator; longer texts are cut. */
template <size_t size>
class FixedText {
  public:
    FixedText() = default;
    FixedText(std::string_view text) noexcept { assign(text); }

    void assign(std::string_view text) noexcept {
        clear();
        std::memcpy(chars.data(), text.data(), std::min<size_t>(text.size(), capacity()));
    }
    void clear() noexcept { chars.fill(0); }

    bool empty() const noexcept { return chars[0] == 0; }
    std::string_view view() const noexcept { return {chars.data(), ::strnlen(chars.data(), capacity())}; }
    const KEL_UC* c_str() const noexcept { return chars.data(); }

    /** The raw room, for a reader that fills it; the terminator behind it is never touched. */
    KEL_UC* data() noexcept { return chars.data(); }
    static constexpr unsigned capacity() noexcept { return size - 1; }

  private:
    std::array<KEL_UC, size> chars{};
};

/** Four digits that name a code page; not terminated. */
class CodepageDigits {
  public:
    CodepageDigits(std::string_view text) noexcept { assign(text); }

    /** Takes the first four characters; a shorter text leaves the rest "0". */
    void assign(std::string_view text) noexcept {
        chars = {'0', '0', '0', '0'};
        std::memcpy(chars.data(), text.data(), std::min(text.size(), chars.size()));
    }
    std::string_view view() const noexcept { return {chars.data(), chars.size()}; }
    const KEL_UC* data() const noexcept { return chars.data(); }
    bool operator==(const CodepageDigits&) const = default;

  private:
    std::array<KEL_UC, 4> chars{};
};
