/** @file From the tables of one round trip to the descriptions of types and functions. */
#pragma once

#include <map>
#include <span>
#include <vector>

#include "repository/zorrepository.h"

class ZorMetadataRow;
class ZorSystemCall;
class ZorTable;

/**
 * The answer about many functions and types. Descriptions are made open, refer to each other by name and are
 * locked once all of them are there; nothing goes to a cache here.
 *
 * Throws ZorBaseException for an answer that lacks something, and ZorInvalidParameterException where
 * lengths contradict each other.
 */
class ZorRoundTrip {
  public:
    using RecordRef = ZorRepository::RecordRef;
    using FunctionRef = ZorRepository::FunctionRef;
    using Types = std::map<KEL_string, RecordRef, std::less<>>;

    /** `origin` is the repository's name; `call` has been answered. */
    ZorRoundTrip(std::string_view origin, ZorSystemCall& call, bool widePartner);

    /** All types of the answer, locked. */
    Types processTypes();
    /** All functions of the answer, locked; `types` are those of the answer. */
    std::vector<FunctionRef> processFunctions(const Types& types);

  private:
    struct Parameter;

    void addTypeRow(Types& types, const ZorMetadataRow& row);
    RecordRef typeNamed(Types& types, std::string_view name) const;
    void takeOverLines(Types& types) const;
    void indexParameters();
    FunctionRef processFunction(const Types& types, const ZorMetadataRow& row);
    void addParameter(ZorFunctionMetaData& function, const Types& types, const ZorMetadataRow& row) const;
    RecordRef describe(Parameter& parameter, const Types& types) const;
    void settleLengths(Parameter& parameter) const;

    const std::string_view origin;
    ZorSystemCall& call;
    const bool widePartner;
    const bool requiresUnicode;
    std::vector<RecordRef> structuredLines;          ///< Table types whose rows are structures.
    std::map<KEL_string, unsigned> firstParameters;  ///< Row of a function's first parameter.
    std::map<std::pair<KEL_string, KEL_string>, KEL_string> indirectTypes;
};
