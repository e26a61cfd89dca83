// Looking up many functions and types by one call.

#include <algorithm>

#include "connection/zorconnection.h"
#include "repository/repositorylookupresult.h"
#include "repository/zormetadataquery.h"
#include "repository/zormetadatarow.h"
#include "repository/zorroundtrip.h"
#include "repository/zorsystemcall.h"

namespace {

using Result = RepositoryLookupResult;

/** Adds a row for each name; one that is longer than names can be wasn't found. */
void appendNames(ZorTable& rows, const std::vector<KEL_string>& names, Result::ElementType kind,
                 Result& result) {
    for (const KEL_string& name : names) {
        if (name.size() > sizeof(ZOR_UBIX_NAME) - 1) {
            const KEL_string text = name + " not found";
            result.add(kind, name, &text);
            continue;
        }
        rows.appendNewRow().setValue(0, name.data(), static_cast<unsigned>(name.size()), ZORTYPE_CHAR);
    }
}

KEL_string typeName(const ZorMetadataRow& row) {
    KEL_string name(row.text("TABNAME"));
    if (const std::string_view field = row.text("FIELDNAME"); !field.empty()) name.append("-").append(field);
    return name;
}

KEL_string otherReason(const KEL_string& name, std::string_view key, std::string_view text) {
    return name + " could not be queried. Caused by " + KEL_string(key) + ": " + KEL_string(text);
}

KEL_string reasonOf(const KEL_string& name, const ZorMetadataRow& row) {
    const std::string_view key = row.text("EXCEPTION");
    if (key == "FU_NOT_FOUND" || key == "NOT_FOUND") return name + " not found";
    if (key == "NO_ZOR_FUNC") return name + " not ZOR enabled";
    return otherReason(name, key, row.text("EXCEPTION_TEXT"));
}

template <class Each>
void forEachRow(ZorTable& rows, Each each) {
    for (unsigned i = 0; i < rows.getCount(); ++i)
        each(ZorMetadataRow(rows.row(i)));
}

void report(ZorSystemCall& call, Result& result) {
    forEachRow(call.table("FUNCTIONNAMES"), [&](const ZorMetadataRow& row) {
        result.add(Result::FUNCTION, KEL_string(row.text("FUNCTIONNAME")));
    });
    forEachRow(call.table("DATATYPES"),
               [&](const ZorMetadataRow& row) { result.add(Result::TYPE, typeName(row)); });
    forEachRow(call.table("FUNC_ERRORS"), [&](const ZorMetadataRow& row) {
        const KEL_string name(row.text("FUNCNAME"));
        const KEL_string reason = reasonOf(name, row);
        result.add(Result::FUNCTION, name, &reason);
    });
    forEachRow(call.table("DD_ERRORS"), [&](const ZorMetadataRow& row) {
        const KEL_string name = typeName(row);
        const KEL_string reason = reasonOf(name, row);
        result.add(Result::TYPE, name, &reason);
    });
}

/** Looks a class up by a query of its own; what the partner says against it doesn't stop the others. */
void lookUpClass(ZorRepository& repository, ZorConnection& connection, const KEL_string& name,
                 Result& result) {
    KEL_string reason = "class not found";
    try {
        if (ZorMetadataQuery(repository, connection).queryClassMetaData(name))
            return result.add(Result::CLASS, name);
    } catch (const ZorUBIXException& refusal) {
        reason = otherReason(name, refusal.getKey(), refusal.getMessage());
    }
    result.add(Result::CLASS, name, &reason);
}

}  // namespace

std::vector<ZorMetadataQuery::FunctionRef> ZorMetadataQuery::askAtOnce(ZorSystemCall& call) {
    call.setText("DEEP", "X");
    call.setText("GET_CLIENT_DEP_FIELDS", "X");
    call.setText("LANGUAGE", "E");
    call.run(connection);
    ZorRoundTrip answer(repository.getName(), call, isWidePartner());
    const ZorRoundTrip::Types types = answer.processTypes();
    for (const auto& entry : types)
        found.insert(entry);
    return answer.processFunctions(types);
}

std::vector<ZorMetadataQuery::FunctionRef> ZorMetadataQuery::lookupAtOnce(const ZorRepository::Names& names,
                                                                          RepositoryLookupResult& result) {
    ZOR_METADATA_GET call(version);
    appendNames(call.table("FUNCTIONNAMES"), names.functions, Result::FUNCTION, result);
    appendNames(call.table("DATATYPES"), names.types, Result::TYPE, result);
    std::vector<FunctionRef> functions = askAtOnce(call);
    commit(functions);
    report(call, result);
    return functions;
}

ZorMetadataQuery::FunctionRef ZorMetadataQuery::queryFunctionAtOnce(const KEL_string& name) {
    Result result;
    const std::vector<FunctionRef> functions = lookupAtOnce({{name}, {}, {}}, result);
    const auto function = std::ranges::find_if(
        functions, [&](const FunctionRef& candidate) { return candidate->getName() == name; });
    if (result.hasFailures() || function == functions.end()) return {};
    return cachedOr(*function);
}

void ZorMetadataQuery::lookupMetadata(const ZorRepository::Names& names, bool ask,
                                      RepositoryLookupResult& result) {
    if (ask) (void)lookupAtOnce(names, result);
    for (const KEL_string& name : names.classes)
        lookUpClass(repository, connection, name, result);
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::fetchInOneTrip(const KEL_string& name) {
    ZOR_METADATA_GET call(version);
    Result result;
    appendNames(call.table("FUNCTIONNAMES"), {}, Result::FUNCTION, result);
    appendNames(call.table("DATATYPES"), {name}, Result::TYPE, result);
    if (result.hasFailures()) return {};
    (void)askAtOnce(call);
    if (call.table("DD_ERRORS").getCount() > 0) return {};
    const auto type = found.find(name);
    return type != found.end() ? type->second : RecordRef();
}
