/** @file Descriptions of one kind by name, as a repository keeps them. */
#pragma once

#include <map>
#include <string_view>
#include <utility>

#include "error/zorexception.h"
#include "meta/zormetadataref.h"

/**
 * Descriptions of kind T by name, each held by a reference. Names compare byte by byte. Not locked: the
 * repository that it belongs to does that.
 */
template <class T>
class ZorDescriptionCache {
  public:
    using Entries = std::map<KEL_string, ZorMetaDataRef<T>, std::less<>>;

    ZorMetaDataRef<T> find(std::string_view name) const { return findIn(entries, name); }

    static ZorMetaDataRef<T> findIn(const Entries& entries, std::string_view name) {
        const auto found = entries.find(name);
        return found != entries.end() ? found->second : ZorMetaDataRef<T>();
    }

    /**
     * Takes over descriptions whose names it doesn't have yet. Of a pending one it becomes the owner: the
     * reference of its creator goes, and that in the additions stays.
     */
    void take(Entries& additions) noexcept {
        for (const auto& [name, description] : additions)
            if (ZorMetaDataStatics::removePending(description.get()))
                ZorMetaDataStatics::releaseMetaData(description.get());
        entries.merge(additions);
    }

    /** Forgets a name. The description lives on, since callers may hold its handle. */
    void remove(std::string_view name) noexcept {
        if (const auto found = entries.find(name); found != entries.end())
            removed.insert(entries.extract(found));
    }

    /** Empties the cache and gives out what was in it. */
    [[nodiscard]] Entries clear() noexcept { return std::exchange(entries, Entries()); }

  private:
    Entries entries;
    /** What was removed by name; nobody is left to give it back. An entry moves here without allocation. */
    std::multimap<KEL_string, ZorMetaDataRef<T>, std::less<>> removed;
};
