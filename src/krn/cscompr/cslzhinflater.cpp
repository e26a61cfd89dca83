#include "krn/cscompr/cslzhinflater.h"

#include <algorithm>

#include "krn/cscompr/cscompr.h"

namespace {

constexpr unsigned endOfBlock = 256;
constexpr unsigned mostLiteralCodes = 286;
constexpr unsigned mostDistanceCodes = 30;

// Lengths and distances by symbol: the smallest, and the bits that are added (RFC 1951, 3.2.5).
constexpr std::uint16_t lengthBases[] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                         31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr KEL_RAW lengthBits[] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                  2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr std::uint16_t distanceBases[] = {1,    2,    3,    4,    5,    7,    9,    13,    17,    25,
                                           33,   49,   65,   97,   129,  193,  257,  385,   513,   769,
                                           1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr KEL_RAW distanceBits[] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                    6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

/** The order in which the lengths of the code for lengths come (3.2.7). */
constexpr KEL_RAW lengthOrder[] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};

/** Symbols that repeat a length: how often at least, and the bits that are added. */
struct Repeat {
    unsigned least;
    unsigned bits;
};
constexpr Repeat repeats[] = {{3, 2}, {3, 3}, {11, 7}};
constexpr unsigned firstRepeat = 16;

constexpr unsigned lowBits(std::uint64_t bits, unsigned count) noexcept {
    return static_cast<unsigned>(bits & ((std::uint64_t{1} << count) - 1));
}

}  // namespace

// In the order of the states.
const CsLzhInflater::Step CsLzhInflater::steps[STATES] = {
    &CsLzhInflater::prefix,       &CsLzhInflater::filler,        &CsLzhInflater::block,
    &CsLzhInflater::storedLength, &CsLzhInflater::stored,        &CsLzhInflater::codeCounts,
    &CsLzhInflater::codeLengths,  &CsLzhInflater::codeOfLengths, &CsLzhInflater::symbols,
    &CsLzhInflater::copy,         &CsLzhInflater::end,
};

void CsLzhInflater::start(std::uint32_t streamLength) noexcept {
    bits = 0;
    bitCount = 0;
    state = PREFIX;
    last = false;
    length = streamLength;
    position = 0;
    pending = 0;
    distance = 0;
}

int CsLzhInflater::run(std::span<const KEL_RAW>& input, std::span<KEL_RAW>& output) noexcept {
    in = input;
    out = output;
    Outcome outcome = GOES_ON;
    while (outcome == GOES_ON && state != END && position != length) {
        const Step step = steps[state];
        outcome = (this->*step)();
    }
    input = in;
    output = out;
    if (state == END || position == length) return CS_END_OF_STREAM;
    if (outcome == DAMAGED) return CS_E_DAMAGED;
    return outcome == NEEDS_ROOM ? CS_END_OUTBUFFER : CS_END_INBUFFER;
}

void CsLzhInflater::refill() noexcept {
    while (bitCount <= 56 && !in.empty()) {
        bits |= std::uint64_t{in.front()} << bitCount;
        bitCount += 8;
        in = in.subspan(1);
    }
}

bool CsLzhInflater::take(unsigned count, unsigned& value) noexcept {
    if (bitCount < count) refill();
    if (bitCount < count) return false;
    value = lowBits(bits, count);
    drop(count);
    return true;
}

CsLzhInflater::Outcome CsLzhInflater::prefix() noexcept {
    if (!take(2, pending)) return NEEDS_INPUT;
    state = FILLER;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::filler() noexcept {
    unsigned random = 0;
    if (!take(pending, random)) return NEEDS_INPUT;
    state = BLOCK;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::block() noexcept {
    if (last) {
        state = END;
        return GOES_ON;
    }
    unsigned head = 0;
    if (!take(3, head)) return NEEDS_INPUT;
    last = (head & 1) != 0;
    switch (head >> 1) {
        case 0:
            drop(bitCount % 8);
            state = STORED_LENGTH;
            return GOES_ON;
        case 1:
            return useFixedCodes();
        case 2:
            state = CODE_COUNTS;
            return GOES_ON;
        default:
            return DAMAGED;
    }
}

CsLzhInflater::Outcome CsLzhInflater::storedLength() noexcept {
    unsigned both = 0;
    if (!take(32, both)) return NEEDS_INPUT;
    pending = both & 0xFFFF;
    if ((pending ^ 0xFFFF) != both >> 16) return DAMAGED;
    state = STORED;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::stored() noexcept {
    for (; pending != 0; --pending) {
        unsigned byte = 0;
        if (full()) return NEEDS_ROOM;
        if (!take(8, byte)) return NEEDS_INPUT;
        put(static_cast<KEL_RAW>(byte));
    }
    state = BLOCK;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::codeCounts() noexcept {
    unsigned counts = 0;
    if (!take(14, counts)) return NEEDS_INPUT;
    literalCodes = (counts & 0x1F) + 257;
    distanceCodes = (counts >> 5 & 0x1F) + 1;
    lengthCodes = (counts >> 10) + 4;
    if (literalCodes > mostLiteralCodes || distanceCodes > mostDistanceCodes) return DAMAGED;
    lengths.fill(0);
    lengthsRead = 0;
    state = CODE_LENGTHS;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::codeLengths() noexcept {
    for (; lengthsRead < lengthCodes; ++lengthsRead) {
        unsigned bitsOfCode = 0;
        if (!take(3, bitsOfCode)) return NEEDS_INPUT;
        lengths[lengthOrder[lengthsRead]] = static_cast<KEL_RAW>(bitsOfCode);
    }
    // The code for lengths takes the place of that for literals, which isn't needed before it is read.
    if (!literals.build(std::span<const KEL_RAW>(lengths).first(std::size(lengthOrder)))) return DAMAGED;
    lengthsRead = 0;
    state = LENGTHS;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::codeOfLengths() noexcept {
    while (lengthsRead < literalCodes + distanceCodes) {
        refill();
        const auto [symbol, used] = literals.decode(bits, bitCount);
        if (used == 0) return NEEDS_INPUT;
        if (used > CsHuffmanCode::longestCode) return DAMAGED;
        if (symbol < firstRepeat) {
            drop(used);
            lengths[lengthsRead++] = static_cast<KEL_RAW>(symbol);
            continue;
        }
        const Repeat& repeat = repeats[symbol - firstRepeat];
        if (bitCount < used + repeat.bits) return NEEDS_INPUT;
        const unsigned times = repeat.least + lowBits(bits >> used, repeat.bits);
        drop(used + repeat.bits);
        if (times > literalCodes + distanceCodes - lengthsRead) return DAMAGED;
        if (symbol == firstRepeat && lengthsRead == 0) return DAMAGED;
        const KEL_RAW repeated = symbol == firstRepeat ? lengths[lengthsRead - 1] : KEL_RAW{0};
        std::fill_n(lengths.begin() + lengthsRead, times, repeated);
        lengthsRead += times;
    }
    return useReadCodes();
}

CsLzhInflater::Outcome CsLzhInflater::useReadCodes() noexcept {
    const std::span<const KEL_RAW> all(lengths);
    if (all[endOfBlock] == 0 || !literals.build(all.first(literalCodes)) ||
        !distances.build(all.subspan(literalCodes, distanceCodes)))
        return DAMAGED;
    state = SYMBOLS;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::useFixedCodes() noexcept {
    const auto first = lengths.begin();
    std::fill(first, first + 144, KEL_RAW{8});
    std::fill(first + 144, first + 256, KEL_RAW{9});
    std::fill(first + 256, first + 280, KEL_RAW{7});
    std::fill(first + 280, first + 288, KEL_RAW{8});
    std::fill(first + 288, first + 288 + mostDistanceCodes, KEL_RAW{5});
    literals.build(std::span<const KEL_RAW>(lengths).first(288));
    distances.build(std::span<const KEL_RAW>(lengths).subspan(288, mostDistanceCodes));
    state = SYMBOLS;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::symbols() noexcept {
    while (true) {
        if (full()) return NEEDS_ROOM;
        refill();
        const auto [symbol, used] = literals.decode(bits, bitCount);
        if (used == 0) return NEEDS_INPUT;
        if (used > CsHuffmanCode::longestCode) return DAMAGED;
        if (symbol > endOfBlock) return match(symbol, bits >> used, bitCount - used);
        drop(used);
        if (symbol == endOfBlock) {
            state = BLOCK;
            return GOES_ON;
        }
        put(static_cast<KEL_RAW>(symbol));
    }
}

// Nothing of a match is used up before all its bits are there: the buffer holds the longest one.
CsLzhInflater::Outcome CsLzhInflater::match(unsigned lengthSymbol, std::uint64_t ahead,
                                            unsigned left) noexcept {
    const unsigned ofLength = lengthSymbol - endOfBlock - 1;
    if (ofLength >= std::size(lengthBases)) return DAMAGED;
    if (left < lengthBits[ofLength]) return NEEDS_INPUT;
    const unsigned matched = lengthBases[ofLength] + lowBits(ahead, lengthBits[ofLength]);
    ahead >>= lengthBits[ofLength];
    left -= lengthBits[ofLength];
    const auto [symbol, used] = distances.decode(ahead, left);
    if (used == 0) return NEEDS_INPUT;
    if (used > CsHuffmanCode::longestCode || symbol >= mostDistanceCodes) return DAMAGED;
    if (left < used + distanceBits[symbol]) return NEEDS_INPUT;
    distance = distanceBases[symbol] + lowBits(ahead >> used, distanceBits[symbol]);
    if (distance > std::min<std::uint32_t>(position, windowSize)) return DAMAGED;
    drop(bitCount - (left - used - distanceBits[symbol]));
    pending = matched;
    state = COPY;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::copy() noexcept {
    for (; pending != 0; --pending) {
        if (full()) return NEEDS_ROOM;
        put(window[(position - distance) & (windowSize - 1)]);
    }
    state = SYMBOLS;
    return GOES_ON;
}

CsLzhInflater::Outcome CsLzhInflater::end() noexcept {
    return NEEDS_INPUT;
}
