/** @file Repositories that ask the partner for what they don't have. */
#pragma once

#include "repository/zorrepository.h"

/**
 * A repository that fetches a description through a connection on a miss. A lookup that fails leaves the
 * caches as they were. Two threads may fetch the same name, each over its own connection: the first to
 * finish fills the cache, and both get that instance.
 *
 * All queries throw what a remote call throws.
 */
class Repository final : public ZorRepository {
  public:
    using ZorRepository::ZorRepository;

    /** Throw ZorInvalidParameterException for a handle of no connection, unless the cache has the name. */
    RecordRef getStructureDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName) override;
    FunctionRef getFunctionDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName) override;
    ClassRef getClassDesc(ZOR_CONNECTION_HANDLE connection, std::string_view descName) override;

    /** Throws ZorIllegalStateException unless the connection looks up in one round trip. */
    void lookupMetadataInBatch(const Names& names, ZorConnection& connection,
                               RepositoryLookupResult& result) override;

    /**
     * The version number that a partner's release stands for, by which the forms of the metadata functions
     * are chosen: three characters of the release, a letter in the third place counting from 0.
     */
    static unsigned getVersion(const ZorConnection& connection) noexcept;
};
