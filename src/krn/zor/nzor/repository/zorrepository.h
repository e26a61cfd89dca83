/** @file The process-wide caches of descriptions, one for each partner system. */
#pragma once

#include <shared_mutex>
#include <span>
#include <string_view>
#include <vector>

#include "meta/zorclassmetadata.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"
#include "repository/zordescriptioncache.h"

class RepositoryLookupResult;
class ZorConnection;

/**
 * A named cache of locked descriptions. Repositories come into being when they are first asked for and
 * live until the process ends; entries stay until they are removed or the repository is cleared. All
 * operations may be called from any thread, and those that only look something up don't wait for each other.
 *
 * What is handed out is the cached instance itself, held by a reference, so that it outlives a clearing
 * by another thread for as long as it is being looked at.
 */
class ZorRepository {
  public:
    using RecordRef = ZorMetaDataRef<ZorRecordMetaData>;
    using FunctionRef = ZorMetaDataRef<ZorFunctionMetaData>;
    using ClassRef = ZorMetaDataRef<ZorClassMetaData>;

    /** Name of the repository that belongs to no system. */
    static constexpr std::string_view defaultRepositoryName = "$DEFAULT_STATIC_REPOSITORY$";

    /** The repository of an identifier, which may be any text, the empty one too; made at first use. */
    static ZorRepository& getRepository(std::string_view id);
    static ZorRepository& getRepository() { return getRepository(defaultRepositoryName); }

    explicit ZorRepository(std::string_view name) : name(name) {}
    ZorRepository(const ZorRepository&) = delete;
    ZorRepository& operator=(const ZorRepository&) = delete;
    virtual ~ZorRepository() = default;

    /**
     * @name Getting, through a connection where the cache doesn't have it
     * These look in the cache alone; a derived class knows how to ask the partner. Empty if there is nothing
     * of that name.
     */
    /** @{ */
    virtual RecordRef getStructureDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName);
    virtual FunctionRef getFunctionDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName);
    virtual ClassRef getClassDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName);
    /** Names to look up at once, by kind. */
    struct Names {
        std::vector<KEL_string> functions;
        std::vector<KEL_string> types;
        std::vector<KEL_string> classes;
    };
    virtual void lookupMetadataInBatch(const Names& names, ZorConnection& connection,
                                       RepositoryLookupResult& result);
    /** @} */

    const KEL_string& getName() const noexcept { return name; }

    /** @name Looking up; empty if the name isn't there. */
    /** @{ */
    RecordRef getStructureDescFromCache(std::string_view descName) const;
    FunctionRef getFunctionDescFromCache(std::string_view descName) const;
    ClassRef getClassDescFromCache(std::string_view descName) const;
    /** @} */

    /**
     * @name Adding
     * Locks the description and adds it under its name, and then in the same way what its fields refer
     * to. A pending description passes from its creator to the cache; any other gets a further
     * reference. Where a name is taken already, the cache keeps what it has, nothing below is added, and the
     * owner of the given description stays the same. Returns the instance that the cache has under the
     * name. Throws what locking throws; then the cache is as it was.
     */
    /** @{ */
    RecordRef addStructureDescToCache(ZorRecordMetaData& desc);
    FunctionRef addFunctionDescToCache(ZorFunctionMetaData& desc);
    ClassRef addClassDescToCache(ZorClassMetaData& desc);
    /** Adds types and functions that were found together in one step: all of them, or, on failure, none. */
    void addToCache(std::span<const RecordRef> types, std::span<const FunctionRef> functions);
    /** Writes name, origin and parameters of a function to the trace. */
    static void traceDescription(const ZorFunctionMetaData& desc) noexcept;
    /** @} */

    /** @name Removing a name; an unknown one does nothing. The description stays valid for who has it. */
    /** @{ */
    void removeStructureDescFromCache(std::string_view descName) noexcept;
    void removeFunctionDescFromCache(std::string_view descName) noexcept;
    void removeClassDescFromCache(std::string_view descName) noexcept;
    /** @} */

    /** Removes all names and drops the cache's references; what nothing else refers to ends. */
    void clearRepository();

  protected:
    unsigned traceLevel() const;

  private:
    class Addition;

    template <class T>
    ZorMetaDataRef<T> add(T& desc);
    const KEL_string name;
    /** Guards the caches. Shared by those who look something up; an addition or a change has it alone. */
    mutable std::shared_mutex mutex;
    ZorDescriptionCache<ZorRecordMetaData> structureCache;
    ZorDescriptionCache<ZorFunctionMetaData> functionCache;
    ZorDescriptionCache<ZorClassMetaData> classCache;
};
