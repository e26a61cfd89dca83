/** @file Finding a name's position in a list. */
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

/**
 * A hash index from names to positions; the names themselves stay in the list that it serves. Fields are
 * looked up by name on every access, so this is one hash, one or two probes in one small array, and one
 * comparison of text, where an ordered map would follow pointers and compare five times.
 */
class ZorNameIndex {
  public:
    static constexpr uint32_t notFound = UINT32_MAX;

    /** Makes room for a number of names in all; after that `insert` can't fail. */
    void reserve(size_t names) {
        if (2 * names <= slots.size()) return;
        size_t size = 16;
        while (size < 2 * names)
            size *= 2;
        std::vector<Slot> old(size);
        old.swap(slots);
        for (const Slot& slot : old)
            if (slot.position != notFound) place(slot);
    }

    /** Adds a name for which room was made. Of equal names the first one added is found. */
    void insert(std::string_view name, uint32_t position) noexcept { place({hashOf(name), position}); }

    /** Position of a name, or notFound. `nameAt` gives the name at a position. */
    template <class NameAt>
    uint32_t find(std::string_view name, const NameAt& nameAt) const noexcept {
        if (slots.empty()) return notFound;
        const uint32_t hash = hashOf(name);
        for (size_t at = hash;; ++at) {
            const Slot& slot = slots[at & (slots.size() - 1)];
            if (slot.position == notFound) return notFound;
            if (slot.hash == hash && nameAt(slot.position) == name) return slot.position;
        }
    }

  private:
    struct Slot {
        uint32_t hash = 0;
        uint32_t position = notFound;
    };

    /**
     * Eight characters at a time; the last, shorter piece is read so that it overlaps the one before, which
     * spares a loop over single characters. Not meant to withstand chosen names.
     */
    static uint32_t hashOf(std::string_view name) noexcept {
        const char* const end = name.data() + name.size();
        uint64_t hash = name.size();
        if (name.size() < sizeof hash) {
            uint64_t piece = 0;
            for (const char c : name)
                piece = piece << 8 | static_cast<unsigned char>(c);
            hash = mixed(hash, piece);
        } else {
            for (const char* at = name.data(); at < end - sizeof hash; at += sizeof hash)
                hash = mixed(hash, pieceAt(at));
            hash = mixed(hash, pieceAt(end - sizeof hash));
        }
        return static_cast<uint32_t>(hash);
    }

    static uint64_t pieceAt(const char* text) noexcept {
        uint64_t piece = 0;
        std::memcpy(&piece, text, sizeof piece);
        return piece;
    }

    /**
     * A product carries differences upwards only; with its bytes turned round they are where the next
     * product, and the mask that makes a slot of the hash, take notice of them.
     */
    static uint64_t mixed(uint64_t hash, uint64_t piece) noexcept {
        constexpr uint64_t goldenRatio = 0x9E3779B97F4A7C15;
        return __builtin_bswap64((hash ^ piece) * goldenRatio);
    }

    void place(const Slot& slot) noexcept {
        size_t at = slot.hash;
        while (slots[at & (slots.size() - 1)].position != notFound)
            ++at;
        slots[at & (slots.size() - 1)] = slot;
    }

    /** A power of two of slots, at most half of them taken, so that a search ends soon. */
    std::vector<Slot> slots;
};
