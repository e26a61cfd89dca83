// The head of a stream: uncompressed length (4 bytes, lowest first), version and algorithm, magic (2),
// special.

#include <algorithm>
#include <iterator>

#include "krn/cscompr/cscompr.h"

namespace {

constexpr std::size_t algorithmAt = 4;
constexpr std::size_t magicAt = 5;
constexpr std::size_t specialAt = 7;
constexpr KEL_RAW magic[] = {0x1F, 0x9D};

}  // namespace

long long CsRGetLen(std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept {
    if (!std::equal(std::begin(magic), std::end(magic), head.begin() + magicAt)) return CS_E_NO_MAGIC;
    return static_cast<long long>(KEL_UINT{head[0]} | KEL_UINT{head[1]} << 8 | KEL_UINT{head[2]} << 16 |
                                  KEL_UINT{head[3]} << 24);
}

KEL_RAW CsRGetAlgorithm(std::span<const KEL_RAW, CS_HEAD_SIZE> head) noexcept {
    return head[algorithmAt];
}

void CsRSetHead(std::span<KEL_RAW, CS_HEAD_SIZE> head, KEL_UINT length, KEL_RAW algorithm,
                KEL_RAW special) noexcept {
    for (unsigned i = 0; i < algorithmAt; ++i)
        head[i] = static_cast<KEL_RAW>(length >> (8 * i));
    head[algorithmAt] = algorithm;
    std::copy(std::begin(magic), std::end(magic), head.begin() + magicAt);
    head[specialAt] = special;
}
