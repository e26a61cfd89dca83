/** @file Finding a name's position in a list. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

/**
 * A hash index from names to positions. Fields are looked up by name on every access, so this is one hash,
 * one or two probes in one small array, and one comparison of text, where an ordered map would follow
 * pointers and compare five times. The index has the names a second time, one behind the other, so that it
 * needs to know nothing of the list that it serves.
 */
class ZorNameIndex {
  public:
    static constexpr uint32_t notFound = UINT32_MAX;

    /**
     * Makes room for a number of names in all and for the characters of the next one; after that `insert`
     * of a name no longer than this can't fail.
     */
    void reserve(size_t names, size_t nextLength = 0) {
        const size_t characters = texts.size() + nextLength;
        if (characters > texts.capacity()) texts.reserve(std::max(characters, 2 * texts.capacity()));
        if (2 * names <= slots.size()) return;
        size_t size = 16;
        while (size < 2 * names)
            size *= 2;
        std::vector<Slot> old(size);
        old.swap(slots);
        // From behind a free slot on, so that equal names stay in their order where a run of slots goes
        // round the end.
        size_t start = 0;
        while (start < old.size() && old[start].position != notFound)
            ++start;
        for (size_t i = 0; i < old.size(); ++i)
            if (const Slot& slot = old[(start + i) & (old.size() - 1)]; slot.position != notFound)
                place(slot);
    }

    /** Adds a name for which room was made. Of equal names the first one added is found. */
    void insert(std::string_view name, uint32_t position) noexcept {
        const auto start = static_cast<uint32_t>(texts.size());
        texts.insert(texts.end(), name.begin(), name.end());
        place({hashOf(name), position, start, static_cast<uint32_t>(name.size())});
    }

    /** Position of a name, or notFound. */
    uint32_t find(std::string_view name) const noexcept {
        if (slots.empty()) return notFound;
        const uint32_t hash = hashOf(name);
        for (size_t at = hash;; ++at) {
            const Slot& slot = slots[at & (slots.size() - 1)];
            if (slot.position == notFound) return notFound;
            if (slot.hash == hash && slot.length == name.size() && equal(texts.data() + slot.start, name))
                return slot.position;
        }
    }

  private:
    struct Slot {
        uint32_t hash = 0;
        uint32_t position = notFound;
        uint32_t start = 0;  ///< Of the name within the texts.
        uint32_t length = 0;
    };

    /** What the machine multiplies at once: 8 characters in the 64-bit build, 4 in the 32-bit one. */
    using Piece = size_t;
    using Half = std::conditional_t<sizeof(Piece) == 8, uint32_t, uint16_t>;
    static constexpr size_t pieceSize = sizeof(Piece);
    static constexpr unsigned halfBits = 8 * sizeof(Half);

    static Piece pieceAt(const char* text) noexcept {
        Piece piece = 0;
        std::memcpy(&piece, text, sizeof piece);
        return piece;
    }

    /** A name shorter than a piece; of one length no two names give the same number. */
    static Piece shortPiece(std::string_view name) noexcept {
        Half first = 0;
        Half last = 0;
        if (name.size() >= sizeof(Half)) {
            std::memcpy(&first, name.data(), sizeof first);
            std::memcpy(&last, name.data() + name.size() - sizeof last, sizeof last);
        } else if (!name.empty()) {
            const auto character = [&name](size_t at) { return static_cast<unsigned char>(name[at]); };
            first = static_cast<Half>(character(0) | character(name.size() / 2) << 8);
            last = character(name.size() - 1);
        }
        return Piece{last} << halfBits | first;
    }

    /**
     * A piece at a time; the last, shorter one is read so that it overlaps the one before, which spares a
     * loop over single characters. Each piece has an odd factor of its own, so that the products don't wait
     * for each other. A product carries differences upwards only, so the upper half is brought down,
     * multiplied once more, and brought down again. The factors begin with the digits behind the point of two
     * numbers that no short fraction comes near. Not meant to withstand chosen names.
     */
    static uint32_t hashOf(std::string_view name) noexcept {
        constexpr auto goldenRatio = static_cast<Piece>(0x9E3779B97F4A7C15);
        constexpr auto squareRootOfTwo = static_cast<Piece>(0x6A09E667F3BCC909);
        Piece sum = name.size();
        if (name.size() < pieceSize) {
            sum += shortPiece(name) * goldenRatio;
        } else {
            Piece factor = goldenRatio;
            const char* const last = name.data() + name.size() - pieceSize;
            for (const char* at = name.data(); at < last; at += pieceSize, factor += 2 * goldenRatio)
                sum += pieceAt(at) * factor;
            // A factor that doesn't depend on the number of steps, so that nothing is waited for.
            sum += pieceAt(last) * squareRootOfTwo;
        }
        const Piece mixed = (sum ^ sum >> halfBits) * goldenRatio;
        return static_cast<uint32_t>(mixed ^ mixed >> halfBits);
    }

    /** Compares in the same steps: names are too short for a call of the library's comparison to pay. */
    static bool equal(const char* one, std::string_view other) noexcept {
        if (other.size() < pieceSize) return shortPiece({one, other.size()}) == shortPiece(other);
        const size_t last = other.size() - pieceSize;
        for (size_t at = 0; at < last; at += pieceSize)
            if (pieceAt(one + at) != pieceAt(other.data() + at)) return false;
        return pieceAt(one + last) == pieceAt(other.data() + last);
    }

    void place(const Slot& slot) noexcept {
        size_t at = slot.hash;
        while (slots[at & (slots.size() - 1)].position != notFound)
            ++at;
        slots[at & (slots.size() - 1)] = slot;
    }

    /** A power of two of slots, at most half of them taken, so that a search ends soon. */
    std::vector<Slot> slots;
    std::vector<char> texts;
};
