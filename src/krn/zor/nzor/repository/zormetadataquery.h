/** @file One lookup of a description on the back-end, by the functions that each release has for it. */
#pragma once

#include <map>
#include <span>
#include <string_view>
#include <vector>

#include "repository/zordictionaryanswer.h"
#include "repository/zorrepository.h"

class ZorConnection;
class ZorMetadataRow;
class ZorSystemCall;

/**
 * A lookup in progress: what it has found so far, which goes to the repository in one step once all of it is
 * there. Made and used by one thread, on a connection that is in use by it for that time.
 */
class ZorMetadataQuery {
  public:
    using RecordRef = ZorRepository::RecordRef;
    using FunctionRef = ZorRepository::FunctionRef;
    using ClassRef = ZorRepository::ClassRef;

    ZorMetadataQuery(ZorRepository& repository, ZorConnection& connection);
    ZorMetadataQuery(const ZorMetadataQuery&) = delete;

    /** Fetches and caches a function with its types. Gives the cached instance. */
    FunctionRef queryFunctionMetaData(const KEL_string& name);
    /** Fetches and caches a type with what it contains. Gives the cached instance; empty for none. */
    RecordRef queryRecordMetaData(const KEL_string& name);

    /**
     * Fetches and caches a class with the classes and types of its public attributes. Gives the cached
     * instance; empty on releases that don't tell about classes.
     */
    ClassRef queryClassMetaData(const KEL_string& name);
    /**
     * Fetches and caches functions and types in one round trip, and then classes, each with its own calls.
     * Tells in `result` what was found and what wasn't. Without `ask` only the classes are looked up.
     */
    void lookupMetadata(const ZorRepository::Names& names, bool ask, RepositoryLookupResult& result);
    /** As `queryFunctionMetaData`, in one round trip; empty for none. */
    FunctionRef queryFunctionAtOnce(const KEL_string& name);

  private:
    struct Parameter;
    class NestedRows;

    /** @name Functions */
    /** @{ */
    void addParameters(ZorFunctionMetaData& function, ZorTable& rows);
    Parameter readParameter(const ZorMetadataRow& row) const;
    void askDictionary(Parameter& parameter);
    void askDictionaryForType(Parameter& parameter);
    void askDictionaryForField(Parameter& parameter);
    void addParameter(ZorFunctionMetaData& function, Parameter& parameter, ZOR_DIRECTION direction);
    void settleLengths(const ZorFunctionMetaData& function, Parameter& parameter);
    void traceResult(const ZorFunctionMetaData& function) const;
    /** @} */

    /** @name Types */
    /** @{ */
    /** The description of a type: from the cache, from this lookup, or fetched; empty for none. */
    RecordRef typeOf(const KEL_string& name);
    /** The same without fetching. */
    RecordRef known(std::string_view name) const;
    RecordRef fetch(const KEL_string& name);
    RecordRef fetchOldest(const KEL_string& name);
    RecordRef fetchOld(const KEL_string& name);
    RecordRef fetchCurrent(const KEL_string& name);
    RecordRef build(const KEL_string& name, ZorDictionaryAnswer answer);
    RecordRef makeRecord(std::string_view name, size_t room) const;
    /** Remembers a description for the cache, unless its name is known. */
    void keep(const RecordRef& description);
    /** @} */

    /** @name One round trip */
    /** @{ */
    /** Asks and takes the types and functions of the answer over; they aren't cached yet. */
    std::vector<FunctionRef> askAtOnce(ZorSystemCall& call);
    std::vector<FunctionRef> lookupAtOnce(const ZorRepository::Names& names, RepositoryLookupResult& result);
    RecordRef fetchInOneTrip(const KEL_string& name);
    /** @} */

    /** @name Classes */
    /** @{ */
    ClassRef classOf(const KEL_string& name);
    ClassRef buildClass(const KEL_string& name);
    void addAttribute(ZorClassMetaData& description, ZorStructure& attribute);
    /** @} */

    /** Gives what was found to the repository, in one step. */
    void commit(std::span<const FunctionRef> functions);
    /** The cached instance of what was just given to the repository; another thread may have cleared it. */
    FunctionRef cachedOr(const FunctionRef& function) const;
    /** Whether the partner has 2-byte characters. */
    bool isWidePartner() const;
    bool traced() const noexcept { return traceLevel > 2; }

    ZorRepository& repository;
    ZorConnection& connection;
    const unsigned version;
    const unsigned traceLevel;  ///< The global one.
    /** Types that were found, by name; some of them still under construction. */
    std::map<KEL_string, RecordRef, std::less<>> found;
    /** The same of classes, which may refer to each other in a circle. */
    std::map<KEL_string, ClassRef, std::less<>> foundClasses;
    unsigned classDepth = 0;
};
