// Looking up functions by the classic road: the interface first, then the dictionary about its types.

#include <optional>

#include "connection/zorconnection.h"
#include "error/zorliterals.h"
#include "repository/zormetadataquery.h"
#include "repository/zormetadatarow.h"
#include "repository/zorsystemcall.h"
#include "repository/zortypeletters.h"
#include "trace/zortracefunctions.h"

/** A parameter between the row that it comes in and the description that it goes to. */
struct ZorMetadataQuery::Parameter {
    KEL_string name;
    KEL_UC paramClass;
    KEL_string defaultValue;
    KEL_string typeName;
    KEL_string fieldName;
    KEL_string text;
    unsigned length;
    unsigned decimals;
    ZORTYPE type;
    bool optional;
    unsigned ucLength = 0;
    RecordRef description = {};
};

namespace {

unsigned long long number(const ZorConnection& connection) noexcept {
    return reinterpret_cast<uintptr_t>(const_cast<ZorConnection&>(connection).handle());
}

/** The direction that a class stands for; nothing for exceptions and unknown classes. */
std::optional<ZOR_DIRECTION> directionOf(KEL_UC paramClass) noexcept {
    switch (paramClass) {
        case 'I':
            return ZOR_IMPORT;
        case 'E':
            return ZOR_EXPORT;
        case 'C':
            return ZOR_CHANGING;
        case 'T':
            return ZOR_TABLES;
        default:
            return std::nullopt;
    }
}

bool isNested(ZORTYPE type) noexcept {
    return type == ZORTYPE_TABLE || type == ZORTYPE_STRUCTURE;
}

/** A capital for the classes that may be declared with a built-in type. */
bool mayBeBuiltIn(KEL_UC paramClass) noexcept {
    return paramClass == 'I' || paramClass == 'E' || paramClass == 'C';
}

ZORTYPE typeOfObject(KEL_string objectType) {
    for (KEL_UC& c : objectType)
        if (c >= 'a' && c <= 'z') c = static_cast<KEL_UC>(c - 'a' + 'A');
    if (objectType == "INTTAB" || objectType == "TRANSP" || objectType == "POOL" || objectType == "CLUSTER")
        return ZORTYPE_STRUCTURE;
    return objectType == "TTYP" ? ZORTYPE_TABLE : ZORTYPE_NULL;
}

unsigned countParameters(ZorTable& rows) {
    unsigned count = 0;
    for (unsigned i = 0; i < rows.getCount(); ++i)
        if (directionOf(ZorMetadataRow(rows.row(i)).letter("PARAMCLASS"))) ++count;
    return count;
}

}  // namespace

ZorMetadataQuery::FunctionRef ZorMetadataQuery::queryFunctionMetaData(const KEL_string& name) {
    if (traced())
        ZorTraceWrite("Repository::queryFunctionMetaData(%s) via handle %llu [enter]", name.c_str(),
                      number(connection));
    ZOR_GET_FUNCTION_INTERFACE call(version);
    if (!call.setText("FUNCNAME", name)) return {};
    call.setParameterActive("LANGUAGE", false);
    if (version > 463) call.setText("NONE_UNICODE_LENGTH", "X");
    if (traced())
        ZorTraceWrite(
            "Repository::queryFunctionMetaData(%s) invoke ZOR_GET_FUNCTION_INTERFACE via handle %llu",
            name.c_str(), number(connection));
    call.run(connection);

    ZorTable& rows = call.table("PARAMS");
    const FunctionRef function = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(
        name, repository.getName(), countParameters(rows), false);
    addParameters(*function, rows);
    if (version > 701 && call.getText("REMOTE_LUMX_SUPPORTED") == "X") function->enableASXML();
    function->lock();
    commit({&function, 1});
    const FunctionRef result = cachedOr(function);
    traceResult(*result);
    return result;
}

void ZorMetadataQuery::addParameters(ZorFunctionMetaData& function, ZorTable& rows) {
    std::optional<ZOR_DIRECTION> direction;  // none for an exception
    for (unsigned i = 0; i < rows.getCount(); ++i) {
        Parameter parameter = readParameter(ZorMetadataRow(rows.row(i)));
        const auto own = directionOf(parameter.paramClass);
        // A row of no known class is of the kind of the row before it.
        if (own || parameter.paramClass == 'X') direction = own;
        if (version > 461 && parameter.paramClass != 'X' && parameter.paramClass != 'T' &&
            (isNested(parameter.type) || parameter.type == ZORTYPE_NULL))
            askDictionary(parameter);
        if (direction) {
            addParameter(function, parameter, *direction);
            continue;
        }
        if (traced())
            ZorTraceWrite("Repository::queryFunctionMetaData(%s) adding exception %s desc %s",
                          function.getName().c_str(), parameter.name.c_str(), parameter.text.c_str());
        function.addException(parameter.name, parameter.text);
    }
}

ZorMetadataQuery::Parameter ZorMetadataQuery::readParameter(const ZorMetadataRow& row) const {
    Parameter parameter{KEL_string(row.text("PARAMETER")),
                        row.letter("PARAMCLASS"),
                        KEL_string(row.text("DEFAULT")),
                        KEL_string(row.text("TABNAME")),
                        KEL_string(row.text("FIELDNAME")),
                        KEL_string(row.text("PARAMTEXT")),
                        row.number("INTLENGTH"),
                        row.number("DECIMALS"),
                        zorTypeOfLetter(row.letter("EXID")),
                        version > 459 && row.isSet("OPTIONAL")};
    if (parameter.type == ZORTYPE_NULL && mayBeBuiltIn(parameter.paramClass))
        parameter.type = zorTypeOfBuiltIn(parameter.typeName);
    return parameter;
}

void ZorMetadataQuery::askDictionary(Parameter& parameter) {
    try {
        if (!parameter.fieldName.empty())
            askDictionaryForField(parameter);
        else if (parameter.type != ZORTYPE_TABLE)
            askDictionaryForType(parameter);
    } catch (const ZorBaseException& failure) {
        ZorLogWrite("exception during DDIC query for parameter %s [%s:%s]", parameter.name.c_str(),
                    failure.getKey().c_str(), failure.getMessage().c_str());
        throw;
    }
}

void ZorMetadataQuery::askDictionaryForType(Parameter& parameter) {
    DDIF_FIELDINFO_GET_v462_6 call(version);
    call.setText("ALL_TYPES", "X");
    call.setText("TABNAME", parameter.typeName);
    for (const KEL_UC* unused : {"LFIELDNAME", "UCLEN", "DFIES_WA", "X030L_WA", "LINES_DESCR"})
        call.setParameterActive(unused, false);
    call.run(connection);
    parameter.type = typeOfObject(KEL_string(call.getText("DDOBJTYPE")));
}

void ZorMetadataQuery::askDictionaryForField(Parameter& parameter) {
    DDIF_FIELDINFO_GET_v462_6 call(version);
    call.setText("ALL_TYPES", "X");
    call.setText("TABNAME", parameter.typeName);
    call.setText("LFIELDNAME", parameter.fieldName);
    for (const KEL_UC* unused : {"UCLEN", "X030L_WA", "DDOBJTYPE", "LINES_DESCR"})
        call.setParameterActive(unused, false);
    call.run(connection);
    const ZorMetadataRow field(call.structure("DFIES_WA"));
    parameter.type = zorTypeOfLetter(field.letter("INTTYPE"));
    parameter.length = field.number("INTLEN");
    parameter.decimals = field.number("DECIMALS");
    if (isNested(parameter.type)) parameter.typeName = field.text("ROLLNAME");
}

void ZorMetadataQuery::addParameter(ZorFunctionMetaData& function, Parameter& parameter,
                                    ZOR_DIRECTION direction) {
    if (parameter.type == ZORTYPE_NULL) parameter.type = ZORTYPE_STRUCTURE;
    if (direction == ZOR_TABLES) parameter.type = ZORTYPE_TABLE;
    settleLengths(function, parameter);
    if (traced())
        ZorTraceWrite(
            "Repository::queryFunctionMetaData(%s) adding parameter %s type %s direction %s nuc-len %u, "
            "uc-len %u, dec %u, md %p, %s, %s, %s, %p",
            function.getName().c_str(), parameter.name.c_str(), zorTypeName(parameter.type),
            zorDirectionName(direction), parameter.length, parameter.ucLength, parameter.decimals,
            static_cast<void*>(parameter.description.get()), parameter.defaultValue.c_str(),
            parameter.text.c_str(), parameter.optional ? "optional" : "mandatory",
            static_cast<void*>(nullptr));
    function.add(parameter.name, parameter.type, direction, parameter.length, parameter.ucLength,
                 parameter.decimals, parameter.description.get(), parameter.defaultValue, parameter.text,
                 parameter.optional ? 1 : 0);
}

void ZorMetadataQuery::settleLengths(const ZorFunctionMetaData& function, Parameter& parameter) {
    if (!isNested(parameter.type)) {
        const bool characters = parameter.type == ZORTYPE_CHAR || parameter.type == ZORTYPE_DATE ||
                                parameter.type == ZORTYPE_TIME || parameter.type == ZORTYPE_NUM;
        parameter.ucLength = characters ? 2 * parameter.length : parameter.length;
        return;
    }
    const KEL_UC* const typeName = parameter.typeName.c_str();
    if (traced())
        ZorTraceWrite("Repository::queryFunctionMetaData(%s) param %s is %s with TABNAME %s",
                      function.getName().c_str(), parameter.name.c_str(), zorTypeName(parameter.type),
                      typeName);
    if (!parameter.typeName.empty()) {
        parameter.description = typeOf(parameter.typeName);
        if (traced())
            ZorTraceWrite(
                "Repository::queryFunctionMetaData(%s) param %s is %s with TABNAME %s query getStructureDesc "
                "returns %p",
                function.getName().c_str(), parameter.name.c_str(), zorTypeName(parameter.type), typeName,
                static_cast<void*>(parameter.description.get()));
    }
    const bool described = static_cast<bool>(parameter.description);
    parameter.length = described ? parameter.description->getRecordLength() : 0;
    parameter.ucLength = described ? parameter.description->getUnicodeRecordLength() : 0;
}

void ZorMetadataQuery::traceResult(const ZorFunctionMetaData& function) const {
    if (traceLevel == 0) return;
    ZorTraceWrite("Repository::queryFunctionMetaData(%s) via handle %llu returns function meta %p",
                  function.getName().c_str(), number(connection), static_cast<const void*>(&function));
    ZorRepository::traceDescription(function);
}
