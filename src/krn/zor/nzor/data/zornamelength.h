/** @file Length of a field's name. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define ZOR_NAME_LENGTH_BY_BLOCKS
#include <emmintrin.h>
#endif

/**
 * Length of a terminated text, as `strlen` tells it. A third of the time of an access by name went into
 * that call, which goes through the table of the linker; names are short, so most are done in one or two
 * steps here. Each step reads a whole aligned block: that never leaves a page that holds a character of the
 * text, but may read beyond its end, which sanitizers would report.
 */
#ifdef ZOR_NAME_LENGTH_BY_BLOCKS
inline size_t zorNameLength(const char* text) noexcept {
    constexpr size_t blockSize = sizeof(__m128i);
    const size_t before = reinterpret_cast<uintptr_t>(text) % blockSize;
    const auto* block = reinterpret_cast<const __m128i*>(text - before);
    const auto terminators = [](const __m128i* at) {
        return static_cast<unsigned>(
            _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_load_si128(at), _mm_setzero_si128())));
    };
    unsigned found = terminators(block) >> before;
    if (found != 0) return static_cast<size_t>(__builtin_ctz(found));
    do
        found = terminators(++block);
    while (found == 0);
    return static_cast<size_t>(reinterpret_cast<const char*>(block) - text) +
           static_cast<size_t>(__builtin_ctz(found));
}
#else
inline size_t zorNameLength(const char* text) noexcept {
    return std::strlen(text);
}
#endif
#undef ZOR_NAME_LENGTH_BY_BLOCKS
