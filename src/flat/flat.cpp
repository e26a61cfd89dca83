#include "flat/flat.h"

#include <algorithm>
#include <cstring>

#include "flat/utf8.h"

namespace {

constexpr KEL_UINT highestAscii = 0x7F;
constexpr KEL_UINT highestLatin1 = 0xFF;

KEL_RAW upTo(KEL_UINT character, KEL_UINT highest) noexcept {
    return static_cast<KEL_RAW>(character <= highest ? character : flatSubstitute);
}

/** Both 7-bit directions: bytes above the repertoire are replaced. */
size_t copyAscii(const void* src, void* dest, size_t size) noexcept {
    const auto* const from = static_cast<const KEL_RAW*>(src);
    auto* const to = static_cast<KEL_RAW*>(dest);
    size_t length = 0;
    for (; length + 1 < size && from[length] != 0; ++length)
        to[length] = upTo(from[length], highestAscii);
    to[length] = 0;
    return length;
}

}  // namespace

KEL_RAW UcToA7(KEL_UC character) noexcept {
    return upTo(static_cast<KEL_RAW>(character), highestAscii);
}

void A7nToUcn(const KEL_RAW* src, KEL_UC* dest, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        dest[i] = static_cast<KEL_UC>(upTo(src[i], highestAscii));
}

bool UcnToA7nCheck(const KEL_UC* src, KEL_RAW* dest, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i) {
        const auto character = static_cast<KEL_RAW>(src[i]);
        if (character > highestAscii) return false;
        dest[i] = character;
    }
    return true;
}

void A7nToE8nInPlace(KEL_RAW* bytes, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        bytes[i] = latin1ToE8[upTo(bytes[i], highestAscii)];
}

void E8nToA7nInPlace(KEL_RAW* bytes, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        bytes[i] = upTo(e8ToLatin1[bytes[i]], highestAscii);
}

void E8nToUcn(const KEL_RAW* src, KEL_UC* dest, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        dest[i] = static_cast<KEL_UC>(e8ToLatin1[src[i]]);
}

void UcnToE8nSubst(const KEL_UC* src, KEL_RAW* dest, size_t n) noexcept {
    for (size_t i = 0; i < n; ++i)
        dest[i] = UcToE8(src[i]);
}

size_t A7sToUcs(const KEL_RAW* src, KEL_UC* dest, size_t size) noexcept {
    return copyAscii(src, dest, size);
}

size_t UcsToA7sSubst(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept {
    return copyAscii(src, dest, size);
}

bool UcsToA7sCheck(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept {
    size_t length = 0;
    while (length + 1 < size && src[length] != 0 && static_cast<KEL_RAW>(src[length]) <= highestAscii) {
        dest[length] = static_cast<KEL_RAW>(src[length]);
        ++length;
    }
    dest[length] = 0;
    return src[length] == 0;
}

size_t UcsToUtf8s(const KEL_UC* src, KEL_RAW* dest, size_t size) noexcept {
    size_t length = 0;
    for (; *src != 0; ++src) {
        KEL_RAW sequence[longestUtf8Sequence];
        const size_t added = writeUtf8(static_cast<KEL_RAW>(*src), sequence);
        if (length + added >= size) break;
        std::copy_n(sequence, added, dest + length);
        length += added;
    }
    dest[length] = 0;
    return length;
}

size_t Utf8sToUcs(const KEL_RAW* src, KEL_UC* dest, size_t size) noexcept {
    const KEL_RAW* const end = src + std::strlen(reinterpret_cast<const char*>(src));
    size_t length = 0;
    while (src < end && length + 1 < size) {
        const Utf8Step step = readUtf8(src, end);
        const bool whole = step.state == Utf8State::whole;
        dest[length++] =
            static_cast<KEL_UC>(whole ? upTo(step.character, highestLatin1) : KEL_RAW{flatSubstitute});
        src += step.length;
    }
    dest[length] = 0;
    return length;
}
