/**
 * @file
 * What the system's lookups answered: fixed numbers of entries, searched from the first on; the oldest entry
 * goes first. Failures are kept too. Private to the layer.
 */
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "base/ni/ni.h"
#include "base/thr/thr.h"

/** Lifetimes of entries in s, 1 to NI_TTL_MAX; 0 stands for the longest. */
struct NI_TTL {
    int mTtlValidEntry = 0;
    int mTtlUnknownName = 0;
    int mTtlUnknownValue = 0;
};
inline constexpr int NI_TTL_MAX = 86400;
inline constexpr std::size_t NI_CACHE_ENTRIES = 100;

/** Seconds of a clock that only goes on; tests put their own in its place, NULL for the system's. */
std::int64_t NiICacheNow() noexcept;
void NiISetCacheClock(std::int64_t (*clock)()) noexcept;

/** A cache between names and values, in both directions. Its lock is held for a search or a change only. */
template <class Value, std::size_t NAME_MAX_LENGTH>
class NI_LINEAR_CACHE {
  public:
    enum class Found { nothing, valid, unknown };

    /** Empties the cache. With 0 entries, at most NI_CACHE_ENTRIES, nothing is ever kept. */
    void init(std::size_t entryCount, const NI_TTL& lifetimes) noexcept {
        const ThrCSGuard guard(mutex);
        size = std::min(entryCount, NI_CACHE_ENTRIES);
        ttl = lifetimes;
        writePosition = 0;
        for (Entry& entry : entries)
            entry.entryType = Type::free;
    }

    Found byName(std::string_view name, Value* value) noexcept {
        const ThrCSGuard guard(mutex);
        for (const Entry& entry : entries) {
            if (!lives(entry) || entry.entryType > Type::unknownName || name != entry.name) continue;
            *value = entry.value;
            return entry.entryType == Type::valid ? Found::valid : Found::unknown;
        }
        return Found::nothing;
    }

    Found byValue(const Value& value, KEL_CHAR (&name)[NAME_MAX_LENGTH]) noexcept {
        const ThrCSGuard guard(mutex);
        for (const Entry& entry : entries) {
            if (!lives(entry) || entry.entryType == Type::unknownName || value != entry.value) continue;
            std::ranges::copy(entry.name, name);
            return entry.entryType == Type::unknownValue ? Found::unknown : Found::valid;
        }
        return Found::nothing;
    }

    void storeValid(std::string_view name, const Value& value) noexcept { store(Type::valid, name, value); }
    /** The name of a value. It doesn't answer for the name: who gives names to addresses may lie. */
    void storeReverse(std::string_view name, const Value& value) noexcept {
        store(Type::reverse, name, value);
    }
    void storeUnknownName(std::string_view name) noexcept { store(Type::unknownName, name, {}); }
    void storeUnknownValue(const Value& value) noexcept { store(Type::unknownValue, {}, value); }

    /** Drops what leads to a value that turned out to be no good. */
    void drop(const Value& value) noexcept {
        const ThrCSGuard guard(mutex);
        for (Entry& entry : entries)
            if (entry.entryType == Type::valid && entry.value == value) entry.entryType = Type::free;
    }

  private:
    enum class Type : KEL_RAW { free, valid, unknownName, reverse, unknownValue };

    struct Entry {
        Type entryType = Type::free;
        KEL_CHAR name[NAME_MAX_LENGTH] = {};
        Value value{};
        std::int64_t timestamp = 0;
    };

    bool lives(const Entry& entry) const noexcept {
        if (entry.entryType == Type::free) return false;
        const int told = entry.entryType == Type::unknownName    ? ttl.mTtlUnknownName
                         : entry.entryType == Type::unknownValue ? ttl.mTtlUnknownValue
                                                                 : ttl.mTtlValidEntry;
        return NiICacheNow() - entry.timestamp < (told <= 0 ? NI_TTL_MAX : std::min(told, NI_TTL_MAX));
    }

    void store(Type type, std::string_view name, const Value& value) noexcept {
        const ThrCSGuard guard(mutex);
        if (size == 0 || name.size() >= NAME_MAX_LENGTH) return;
        Entry& entry = entries[writePosition];
        writePosition = (writePosition + 1) % size;
        entry = {.entryType = type, .name = "", .value = value, .timestamp = NiICacheNow()};
        name.copy(entry.name, name.size());
    }

    THR_CS_TYPE mutex;
    std::array<Entry, NI_CACHE_ENTRIES> entries{};
    std::size_t size = 0;
    std::size_t writePosition = 0;
    NI_TTL ttl;
};

using NI_HOST_CACHE = NI_LINEAR_CACHE<NI_NODEADDR, NI_HOST_MAX>;
using NI_SERV_CACHE = NI_LINEAR_CACHE<KEL_USHORT, NI_SERV_MAX>;

/** The two caches of the process, made at their first use. */
NI_HOST_CACHE& NiIHostCache() noexcept;
NI_SERV_CACHE& NiIServCache() noexcept;

/** Empties both caches and gives them their sizes and lifetimes. */
void NiIHSBufInit(std::size_t indexSize, const NI_TTL& hosts, const NI_TTL& services) noexcept;
