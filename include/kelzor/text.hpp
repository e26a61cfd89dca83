/**
 * @file
 * Text, bytes, dates and times in C++.
 *
 * A `std::string` of this layer is in the system code page, as all text of the C interface: Latin-1 unless
 * the environment says otherwise. A `std::u8string` is UTF-8 and is converted on its way.
 */
#ifndef KELZOR_TEXT_HPP
#define KELZOR_TEXT_HPP

#include <kelzor/language.h>
#include <kelzor/error.hpp>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace kelzor {

/** Value of a byte field. */
using Bytes = std::vector<unsigned char>;

namespace detail {

// In all these code pages a character takes at most four bytes for each byte of the source.
template <class From, class To, class Convert>
std::basic_string<To> convertText(const char* name, Convert convert, const From* text, std::size_t length) {
    std::basic_string<To> target(length + length / 2 + 16, To());
    for (;;) {
        Record info;
        unsigned room = static_cast<unsigned>(target.size()), used = 0;
        const ZOR_RC rc = convert(text, static_cast<unsigned>(length), target.data(), &room, &used, &info);
        if (rc == ZOR_BUFFER_TOO_SMALL && room > target.size()) {
            target.resize(room);
            continue;
        }
        if (rc != ZOR_OK) fail(name, rc, info);
        target.resize(used);
        return target;
    }
}

}  // namespace detail

/**
 * UTF-8 in the system code page. A character that it doesn't have becomes '#'.
 * Failure: `ZOR_CONVERSION_FAILURE` (no valid UTF-8).
 */
inline std::string fromUtf8(std::string_view text) {
    return detail::convertText<ZOR_BYTE, KEL_UC>("ZorUTF8ToKELUC", ZorUTF8ToKELUC,
                                                 reinterpret_cast<const ZOR_BYTE*>(text.data()), text.size());
}
inline std::string fromUtf8(std::u8string_view text) {
    return fromUtf8(std::string_view(reinterpret_cast<const char*>(text.data()), text.size()));
}

/** Text of the system code page in UTF-8. */
inline std::string toUtf8(std::string_view text) {
    const auto convert = [](const KEL_UC* from, unsigned length, char* to, unsigned* room, unsigned* used,
                            ZOR_ERROR_INFO* info) {
        return ZorKELUCToUTF8(from, length, reinterpret_cast<ZOR_BYTE*>(to), room, used, info);
    };
    return detail::convertText<KEL_UC, char>("ZorKELUCToUTF8", convert, text.data(), text.size());
}

namespace detail {

/** The number in `count` digits; -1 if there is another character. */
inline int digits(const char* text, unsigned count) {
    int value = 0;
    for (unsigned i = 0; i < count; i++) {
        if (text[i] < '0' || text[i] > '9') return -1;
        value = 10 * value + (text[i] - '0');
    }
    return value;
}

inline void writeDigits(char* text, unsigned count, unsigned value) {
    for (unsigned i = count; i-- > 0; value /= 10)
        text[i] = static_cast<char>('0' + value % 10);
}

}  // namespace detail
}  // namespace kelzor

#endif
