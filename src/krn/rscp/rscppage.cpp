#include "krn/rscp/rscppage.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <utility>

#include "flat/utf8.h"

namespace {

constexpr KEL_RAW shiftTwo = 0x8E;    // EUC: one byte of half-width kana follows
constexpr KEL_RAW shiftThree = 0x8F;  // EUC: a pair of the second set follows
constexpr KEL_RAW firstKana = 0xA1;
constexpr KEL_RAW lastKana = 0xDF;
constexpr KEL_UINT firstKanaCharacter = 0xFF61;

// Four-byte codes: digits to the base 10 and 126 in turn.
constexpr KEL_RAW lowestEven = 0x30;
constexpr KEL_UINT evenDigits = 10;
constexpr KEL_RAW lowestOdd = 0x81;
constexpr KEL_UINT oddDigits = 126;
constexpr KEL_UINT codesWithin16Bits = 39420;
constexpr KEL_UINT firstSupplementary = 189000;  // number of the code of U+10000
constexpr KEL_UINT supplementaryPlanes = 0x10000;

constexpr KEL_UINT planes16 = 1;
constexpr KEL_UINT planesOfIdeographs = 3;

/** A cell's character in UTF-8, if it is one. */
RscpSequence sequenceOf(KEL_UINT cell) noexcept {
    if (cell == RscpTable::noCharacter || RscpTable::isWide(cell)) return 0;
    KEL_RAW bytes[rscpLongestCode];
    const auto length = static_cast<KEL_UINT>(writeUtf8(cell, bytes));
    RscpSequence sequence = length << 24;
    for (KEL_UINT i = 0; i < length; ++i)
        sequence |= KEL_UINT{bytes[i]} << 8 * i;
    return sequence;
}

/** The characters beyond ASCII that are one unit of 16 bits: the same in all forms that have such units. */
const RscpSequence* sequencesOfUnits() noexcept {
    static std::array<RscpSequence, supplementaryPlanes> sequences;
    static const bool made = [] {
        for (KEL_UINT unit = 0x80; unit < sequences.size(); ++unit)
            sequences[unit] = sequenceOf(unit);
        return true;
    }();
    return made ? sequences.data() : nullptr;
}

bool isDigit(KEL_RAW byte) noexcept {
    return byte >= lowestEven && byte < lowestEven + evenDigits;
}

bool isLead(KEL_RAW byte) noexcept {
    return byte >= lowestOdd && byte < lowestOdd + oddDigits;
}

/** The range that a key lies in. */
template <class Key>
const RscpRange* rangeOf(const std::vector<RscpRange>& ranges, KEL_UINT value, Key key) noexcept {
    const auto next =
        std::upper_bound(ranges.begin(), ranges.end(), value,
                         [key](KEL_UINT wanted, const RscpRange& r) { return wanted < r.*key; });
    return next == ranges.begin() ? nullptr : &*(next - 1);
}

}  // namespace

const RscpPage& RscpPage::load(const RscpCodepage& codepage) {
    // Published once, never changed: two threads that load a page at once both make it, and one copy goes.
    constexpr size_t capacity = 128;
    static std::atomic<const RscpPage*> loaded[capacity];
    auto& place = loaded[static_cast<size_t>(&codepage - rscpCatalogue().data()) % capacity];
    const RscpPage* present = place.load(std::memory_order_acquire);
    if (present != nullptr) return *present;
    std::unique_ptr<const RscpPage> made(new RscpPage(codepage));
    if (!place.compare_exchange_strong(present, made.get(), std::memory_order_acq_rel)) return *present;
    return *made.release();
}

RscpPage::RscpPage(const RscpCodepage& codepage) : codepage(codepage) {
    characters.fill(RscpTable::noCharacter);
    rows.fill(RscpForward::noRow);
    if (codepage.table != nullptr) {
        readTable();
        if (codepage.minor == rscpEdition2000) exchange(0x1E3F, 0xE7C7);
        setCodes();
        setPairs();
        makeSequences();
    }
    forward.characters = characters.data();
    forward.rows = rows.data();
    forward.sequences = codepage.table != nullptr ? sequences.data() : sequencesOfUnits();
    forward.sequenceRows = sequenceRows.data();
    backward.blockOf = blockOf.data();
    backward.blockCount = static_cast<KEL_UINT>(blockOf.size());
    backward.codes = codes.data();
    backward.pairs = {pairBlockOf.data(), pairBytes.data()};
    asciiBytes = hasAsciiCodes = true;
    for (KEL_UINT character = 0; character < 128; ++character) {
        const KEL_UINT code = backward.find(character);
        codesOfAscii[character] = static_cast<KEL_RAW>(code);
        if (code > 0xFF) hasAsciiCodes = false;
        if (characters[character] != character || code != character) asciiBytes = false;
    }
}

void RscpPage::readTable() {
    const RscpTable& table = *codepage.table;
    for (unsigned byte = 0; byte < 256; ++byte) {
        if (byte >= table.firstByte)
            characters[byte] = table.bytes[byte - table.firstByte];
        else if (byte < 128)
            characters[byte] = static_cast<KEL_USHORT>(byte);
    }
    ranges.assign(table.ranges.begin(), table.ranges.end());
    backward.longForms = table.second != nullptr;
    if (table.pairs != nullptr) readRows();
}

void RscpPage::makeSequences() {
    std::transform(characters.begin(), characters.end(), sequences.begin(), sequenceOf);
    static constexpr std::array<RscpSequence, 256> noPairs{};
    sequenceRows.fill(noPairs.data());
    const auto leads = rows.size() - static_cast<size_t>(std::ranges::count(rows, RscpForward::noRow));
    pairSequences.resize(leads * noPairs.size());
    RscpSequence* next = pairSequences.data();
    for (unsigned lead = 0; lead < rows.size(); ++lead) {
        if (rows[lead] == RscpForward::noRow) continue;
        std::transform(forward.pairs + rows[lead], forward.pairs + rows[lead] + forward.columns,
                       next + forward.firstTrail, sequenceOf);
        sequenceRows[lead] = std::exchange(next, next + noPairs.size());
    }
}

void RscpPage::readRows() {
    const RscpTable& table = *codepage.table;
    forward.pairs = table.pairs;
    forward.firstTrail = table.firstTrail;
    forward.columns = table.lastTrail - table.firstTrail + 1u;
    // Where pairs take the place of ASCII, its bytes are no characters.
    if (table.firstLead < 128)
        std::fill(characters.begin() + table.firstTrail, characters.begin() + table.lastTrail + 1,
                  RscpTable::noCharacter);
    KEL_UINT row = 0;
    for (unsigned lead = table.firstLead; lead <= table.lastLead; ++lead)
        if (characters[lead] == RscpTable::noCharacter) rows[lead] = row++ * forward.columns;
}

void RscpPage::exchange(KEL_USHORT one, KEL_USHORT other) {
    ownPairs.assign(forward.pairs, forward.pairs + rows[codepage.table->lastLead] + forward.columns);
    forward.pairs = ownPairs.data();
    std::replace(ownPairs.begin(), ownPairs.end(), char16_t{one}, char16_t{other});
    for (RscpRange& range : ranges)
        if (range.character == other) range.character = one;
}

void RscpPage::setCode(KEL_UINT character, KEL_UINT code, bool replace) {
    if (character == RscpTable::noCharacter || character >= rscpPair) return;
    constexpr KEL_UINT blockSize = RscpBackward::blockSize;
    KEL_UINT& block = blockOf[character / blockSize];
    if (block == 0) {
        block = static_cast<KEL_UINT>(codes.size());
        codes.resize(codes.size() + blockSize, RscpTable::noCode);
    }
    KEL_USHORT& place = codes[block + character % blockSize];
    if (replace || place == RscpTable::noCode) place = static_cast<KEL_USHORT>(code);
}

void RscpPage::setPairCodes(const char16_t* cells, KEL_UINT trailMask) {
    const RscpTable& table = *codepage.table;
    for (unsigned lead = table.firstLead; lead <= table.lastLead; ++lead) {
        if (rows[lead] == RscpForward::noRow) continue;
        for (unsigned column = 0; column < forward.columns; ++column) {
            const KEL_UINT cell = cells[rows[lead] + column];
            setCode(RscpTable::isWide(cell) ? table.wide[cell - RscpTable::firstWide] : cell,
                    lead << 8 | ((table.firstTrail + column) & trailMask), false);
        }
    }
}

void RscpPage::setCodes() {
    const RscpTable& table = *codepage.table;
    const KEL_UINT planes = table.wide != nullptr ? planesOfIdeographs : planes16;
    blockOf.assign(planes * supplementaryPlanes / RscpBackward::blockSize, 0);
    codes.assign(RscpBackward::blockSize, RscpTable::noCode);
    for (unsigned byte = 0; byte < 256; ++byte)
        setCode(characters[byte], byte, false);
    if (forward.pairs != nullptr) setPairCodes(forward.pairs, 0xFF);
    if (table.second != nullptr) {
        setPairCodes(table.second, 0x7F);
        for (unsigned kana = firstKana; kana <= lastKana; ++kana)
            setCode(firstKanaCharacter + kana - firstKana, shiftTwo << 8 | kana, false);
    }
    for (const auto& encoding : table.encodings)
        setCode(encoding.character, encoding.code, true);
    std::copy_if(ranges.begin(), ranges.end(), std::back_inserter(rangesByCharacter),
                 [](const RscpRange& range) { return range.character != RscpRange::gap; });
    std::sort(rangesByCharacter.begin(), rangesByCharacter.end(),
              [](const RscpRange& a, const RscpRange& b) { return a.character < b.character; });
}

void RscpPage::setPairs() {
    if (forward.pairs == nullptr) return;
    // A sequence that is longer than its character needs leads to the block without codes.
    constexpr KEL_UINT firstOfThree = 0x800;
    pairBlockOf.assign(blockOf.begin(), blockOf.begin() + supplementaryPlanes / RscpBackward::blockSize);
    std::fill_n(pairBlockOf.begin(), firstOfThree / RscpBackward::blockSize, 0);
    pairBytes.assign(codes.size(), 0);
    for (size_t place = 0; place < codes.size(); ++place) {
        const KEL_UINT code = codes[place];
        if (code <= 0xFF || backward.isLong(code)) continue;
        const KEL_RAW bytes[2] = {static_cast<KEL_RAW>(code >> 8), static_cast<KEL_RAW>(code)};
        std::memcpy(&pairBytes[place], bytes, sizeof bytes);
    }
}

RscpStep RscpPage::readPair(const char16_t* cells, const KEL_RAW* pair, const KEL_RAW* end) const noexcept {
    const KEL_UINT row = rows[pair[0]];
    if (row == RscpForward::noRow) return {rscpBroken, 1};
    if (end - pair < 2) return {rscpCut, 1};
    const KEL_UINT column = static_cast<KEL_UINT>(pair[1]) - forward.firstTrail;
    if (column >= forward.columns) return {rscpBroken, 1};
    const KEL_UINT cell = cells[row + column];
    if (cell == RscpTable::noCharacter)
        // A byte that is a character of its own isn't swallowed by a broken code before it.
        return characters[pair[1]] < 128 ? RscpStep{rscpBroken, 1} : RscpStep{rscpMissing, 2};
    return {RscpTable::isWide(cell) ? codepage.table->wide[cell - RscpTable::firstWide] : cell, 2};
}

RscpStep RscpPage::readBehindShift(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
    if (end - in < 2) return {rscpCut, 1};
    if (in[0] == shiftTwo)
        return in[1] < firstKana || in[1] > lastKana ? RscpStep{rscpBroken, 1}
                                                     : RscpStep{firstKanaCharacter + in[1] - firstKana, 2};
    const RscpStep step = readPair(codepage.table->second, in + 1, end);
    return {step.character, step.character == rscpBroken ? 1 : step.length + 1};
}

RscpStep RscpPage::readFour(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
    if (end - in < 3) return {rscpCut, 1};
    if (!isLead(in[2])) return {rscpBroken, 1};
    if (end - in < 4) return {rscpCut, 1};
    if (!isDigit(in[3])) return {rscpBroken, 1};
    const KEL_UINT linear =
        (((in[0] - lowestOdd) * evenDigits + (in[1] - lowestEven)) * oddDigits + (in[2] - lowestOdd)) *
            evenDigits +
        (in[3] - lowestEven);
    if (linear >= firstSupplementary) {
        const KEL_UINT character = linear - firstSupplementary + supplementaryPlanes;
        return {character <= rscpHighestCharacter ? character : rscpMissing, 4};
    }
    if (linear >= codesWithin16Bits) return {rscpMissing, 4};
    const RscpRange* const range = rangeOf(ranges, linear, &RscpRange::linear);
    if (range->character == RscpRange::gap) return {rscpMissing, 4};
    return {range->character + (linear - range->linear), 4};
}

RscpStep RscpPage::readRare(const KEL_RAW* in, const KEL_RAW* end) const noexcept {
    if (backward.longForms && (in[0] == shiftTwo || in[0] == shiftThree)) return readBehindShift(in, end);
    if (!ranges.empty() && rows[in[0]] != RscpForward::noRow && end - in >= 2 && isDigit(in[1]))
        return readFour(in, end);
    return codepage.major == KELCCNLS_not ? RscpStep{rscpMissing, 1} : readPair(forward.pairs, in, end);
}

unsigned RscpPage::writeLong(KEL_UINT character, KEL_UINT code, KEL_RAW* out) const noexcept {
    if (code != RscpTable::noCode) {
        out[0] = shiftThree;
        out[1] = static_cast<KEL_RAW>(code >> 8);
        out[2] = static_cast<KEL_RAW>(code | 0x80);
        return 3;
    }
    if (ranges.empty()) return 0;
    KEL_UINT linear = character - supplementaryPlanes + firstSupplementary;
    if (character < supplementaryPlanes) {
        const RscpRange* const range = rangeOf(rangesByCharacter, character, &RscpRange::character);
        if (range == nullptr) return 0;
        linear = range->linear + (character - range->character);
        // The range's end: the next code belongs to another.
        if (rangeOf(ranges, linear, &RscpRange::linear)->linear != range->linear) return 0;
        if (linear >= codesWithin16Bits) return 0;
    }
    out[3] = static_cast<KEL_RAW>(lowestEven + linear % evenDigits);
    linear /= evenDigits;
    out[2] = static_cast<KEL_RAW>(lowestOdd + linear % oddDigits);
    linear /= oddDigits;
    out[1] = static_cast<KEL_RAW>(lowestEven + linear % evenDigits);
    out[0] = static_cast<KEL_RAW>(lowestOdd + linear / evenDigits);
    return 4;
}
