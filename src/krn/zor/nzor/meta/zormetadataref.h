/** @file A counted reference to a description. */
#pragma once

#include <utility>

#include "meta/zormetadatastatics.h"

/**
 * Holds a description of type T alive. A sentinel (see ZorMetaDataStatics) may stand in the place of a
 * description; it isn't counted, and `get` gives null for it.
 */
template <class T>
class ZorMetaDataRef {
  public:
    ZorMetaDataRef() noexcept = default;

    /** Takes a further reference; null and sentinels are stored as they are. */
    explicit ZorMetaDataRef(T* description) : target(description) {
        if (get() != nullptr) ZorMetaDataStatics::createReference(description);
    }

    /** Takes over a reference that the caller holds. */
    static ZorMetaDataRef adopt(T* description) noexcept {
        ZorMetaDataRef ref;
        ref.target = description;
        return ref;
    }

    ZorMetaDataRef(const ZorMetaDataRef& other) : ZorMetaDataRef(other.target) {}
    ZorMetaDataRef(ZorMetaDataRef&& other) noexcept : target(std::exchange(other.target, nullptr)) {}
    ZorMetaDataRef& operator=(ZorMetaDataRef other) noexcept {
        std::swap(target, other.target);
        return *this;
    }
    ~ZorMetaDataRef() {
        if (get() != nullptr) ZorMetaDataStatics::releaseMetaData(target);
    }

    /** The description; null for none and for a sentinel. */
    T* get() const noexcept { return ZorMetaDataStatics::isSentinel(target) ? nullptr : target; }
    T* operator->() const noexcept { return get(); }
    T& operator*() const noexcept { return *get(); }
    explicit operator bool() const noexcept { return get() != nullptr; }

    /** The pointer as it was stored, which may be a sentinel. */
    T* raw() const noexcept { return target; }

    /** Gives the reference away; the caller now holds it. */
    [[nodiscard]] T* release() noexcept { return std::exchange(target, nullptr); }

  private:
    T* target = nullptr;
};
