/** @file What a query for many descriptions found and what it didn't. */
#pragma once

#include <kelzor/repository.h>

#include <array>
#include <utility>
#include <vector>

#include "error/zorexception.h"

/**
 * Names found, and names not found with the reason, for each kind in the order in which they were added.
 * Belongs to one thread at a time. An element type outside the three has no names and takes none.
 */
class RepositoryLookupResult {
  public:
    /** Kinds of description; the numbers are those of ZOR_METADATA_OBJ_TYPE. */
    enum ElementType : unsigned {
        FUNCTION = ZOR_METADATA_FUNCTION,
        TYPE = ZOR_METADATA_TYPE,
        CLASS = ZOR_METADATA_CLASS,
    };

    struct Failure {
        KEL_string name;
        KEL_string errorText;
    };

    RepositoryLookupResult() noexcept = default;
    RepositoryLookupResult(const RepositoryLookupResult&) = delete;
    RepositoryLookupResult& operator=(const RepositoryLookupResult&) = delete;

    /** Adds a name that was found, or, with a text, one that wasn't. */
    void add(ElementType type, const KEL_string& name, const KEL_string* errorText = nullptr);
    /** Forgets all names. */
    void clear() noexcept;

    unsigned getSucceededCount(ElementType type) const noexcept;
    unsigned getFailedCount(ElementType type) const noexcept;
    /** Null for an index or a type out of range. */
    const KEL_string* getSucceeded(ElementType type, unsigned index) const noexcept;
    const Failure* getFailed(ElementType type, unsigned index) const noexcept;
    /** True if a name of any kind wasn't found. */
    bool hasFailures() const noexcept;

    static constexpr unsigned kinds = CLASS + 1;
    static constexpr bool isKnown(ElementType type) noexcept { return type < kinds; }

    ZOR_METADATA_QUERY_RESULT_HANDLE toHandle() noexcept {
        return reinterpret_cast<ZOR_METADATA_QUERY_RESULT_HANDLE>(this);
    }
    static RepositoryLookupResult& fromHandle(ZOR_METADATA_QUERY_RESULT_HANDLE handle) noexcept {
        return *reinterpret_cast<RepositoryLookupResult*>(handle);
    }

  private:
    std::array<std::vector<KEL_string>, kinds> succeeded;
    std::array<std::vector<Failure>, kinds> failed;
};
