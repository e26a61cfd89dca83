#include "repository/zorroundtrip.h"

#include <algorithm>

#include "meta/zortypelayout.h"
#include "repository/zormetadatarow.h"
#include "repository/zorsystemcall.h"
#include "repository/zortypecircles.h"
#include "repository/zortypeletters.h"

/** A parameter between its row and the description that it goes to. */
struct ZorRoundTrip::Parameter {
    ZORTYPE type;
    KEL_string typeName;
    KEL_string fieldName;
    unsigned length;
    unsigned nucLength = 0;
    unsigned ucLength = 0;
    RecordRef description = {};
};

namespace {

/** From this version on lengths with 2-byte characters are told. */
constexpr unsigned firstWithUnicode = 468;

[[noreturn]] void fail(const KEL_string& message) {
    throw ZorBaseException(ZOR_UNKNOWN_ERROR, EXTERNAL_RUNTIME_FAILURE, "EXTERNAL_RUNTIME_FAILURE", message);
}

bool isNested(ZORTYPE type) noexcept {
    return type == ZORTYPE_TABLE || type == ZORTYPE_STRUCTURE;
}

bool isReference(ZORTYPE type) noexcept {
    return isNested(type) || type == ZORTYPE_UBIXOBJECT || type == ZORTYPE_BOX || type == ZORTYPE_GENERIC_BOX;
}

ZOR_DIRECTION directionOf(KEL_UC paramClass) noexcept {
    switch (paramClass) {
        case 'E':
            return ZOR_EXPORT;
        case 'C':
            return ZOR_CHANGING;
        case 'T':
            return ZOR_TABLES;
        default:
            return ZOR_IMPORT;
    }
}

/** Offset in one layout: the given one, or the next that suits the type. */
unsigned placeBehind(uint64_t end, unsigned alignment) {
    return static_cast<unsigned>((end + alignment - 1) / alignment * alignment);
}

/** Adds a field at the partner's offsets or, where it gave none, behind the last one. */
void addField(ZorRecordMetaData& type, const ZorMetadataRow& row, ZORTYPE fieldType,
              ZorRecordMetaData* description) {
    const unsigned count = type.getFieldCount();
    unsigned nucOffset = row.number("OFFSET");
    unsigned ucOffset = nucOffset != 0 ? row.number("OFFSET_UC") : 0;
    if (nucOffset == 0 && count > 0) {
        const ZorRecordFieldType& last = type[count - 1];
        nucOffset = placeBehind(uint64_t{last.offset1} + last.length1, zorPartnerAlignmentOf(fieldType));
        ucOffset = placeBehind(uint64_t{last.offset2} + last.length2, zorPartnerAlignmentOf(fieldType));
    }
    type.add(row.text("FIELDNAME"), fieldType, row.number("INTLEN"), nucOffset, row.number("INTLEN_UC"),
             ucOffset, row.number("DECIMALS"), description);
}

/** A record length that wasn't told is where the last field ends. */
void coverLastField(ZorRecordMetaData& type) {
    if (type.getRecordLength() != 0) return;
    const ZorRecordFieldType& last = type[type.getFieldCount() - 1];
    type.setRecordLength(last.offset1 + last.length1, last.offset2 + last.length2);
}

/** Nested data need a description: refuses the first field that has none. */
template <class F>
void requireDescriptions(const ZorMetaDataBase<F>& description) {
    for (unsigned i = 0; i < description.getFieldCount(); ++i)
        if (isNested(description.getType(i)) && description.getRecordMetaData(i) == nullptr)
            fail("No metadata defined on field" + description.getName(i) + " in " + description.getName());
}

}  // namespace

ZorRoundTrip::ZorRoundTrip(std::string_view origin, ZorSystemCall& call, bool widePartner)
    : origin(origin),
      call(call),
      widePartner(widePartner),
      requiresUnicode(call.getVersion() >= firstWithUnicode) {}

ZorRoundTrip::RecordRef ZorRoundTrip::typeNamed(Types& types, std::string_view name) const {
    const auto known = types.find(name);
    if (known != types.end()) return known->second;
    RecordRef made = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, origin, 0, false);
    return types.emplace(name, std::move(made)).first->second;
}

ZorRoundTrip::Types ZorRoundTrip::processTypes() {
    Types types;
    ZorTable& rows = call.table("DATATYPESCONT");
    for (unsigned i = 0; i < rows.getCount(); ++i)
        addTypeRow(types, ZorMetadataRow(rows.row(i)));
    takeOverLines(types);
    for (const auto& entry : types) {
        // A type that others refer to, and about which nothing came.
        if (entry.second->getFieldCount() == 0) fail("Incomplete metadata returned by ZOR_METADATA_GET");
        requireDescriptions(*entry.second);
        zorRefuseCircles(*entry.second);
    }
    for (const auto& entry : types)
        entry.second->lock();
    return types;
}

void ZorRoundTrip::addTypeRow(Types& types, const ZorMetadataRow& row) {
    const KEL_UC compType = row.letter("COMPTYPE");
    if (compType == '_') return;
    const ZORTYPE fieldType = zorTypeOfLetter(row.letter("INTTYPE"));
    if (fieldType == ZORTYPE_NULL) fail("undefined comptype returned by ZOR_METADTA_GET");
    const RecordRef type = typeNamed(types, row.text("TYPENAME"));
    const KEL_string target(row.text("FIELDTYPE"));
    if (type->getFieldCount() == 0)
        type->setRecordLength(row.number("TABLENGTH"), row.number("TABLENGTH_UC"));
    if (compType == 'T') {
        if (!target.empty()) type->setLineTypeName(target);
        if (fieldType == ZORTYPE_STRUCTURE) structuredLines.push_back(type);
    }
    RecordRef description;
    if (isNested(fieldType) && !target.empty()) description = typeNamed(types, target);
    addField(*type, row, fieldType, description.get());
    coverLastField(*type);
}

void ZorRoundTrip::takeOverLines(Types& types) const {
    for (const RecordRef& table : structuredLines) {
        ZorRecordMetaData* const field = table->getFieldCount() == 1 ? table->getRecordMetaData(0) : nullptr;
        if (field == nullptr || field == table.get())
            fail("Incomplete metadata returned by ZOR_METADATA_GET");
        const RecordRef line = typeNamed(types, field->getName());
        const KEL_string name = table->getName();
        const unsigned nuc = table->getRecordLength();
        const unsigned uc = table->getUnicodeRecordLength();
        table->copy(*line);
        table->setName(name);
        table->setRecordLength(nuc, uc);
    }
}

void ZorRoundTrip::indexParameters() {
    ZorTable& rows = call.table("PARAMETERS");
    for (unsigned i = 0; i < rows.getCount(); ++i)
        firstParameters.emplace(ZorMetadataRow(rows.row(i)).text("FUNCNAME"), i);
    ZorTable& indirect = call.table("INDIRECTTYPES");
    for (unsigned i = 0; i < indirect.getCount(); ++i) {
        const ZorMetadataRow row(indirect.row(i));
        indirectTypes.try_emplace({KEL_string(row.text("TABNAME")), KEL_string(row.text("FIELDNAME"))},
                                  row.text("FIELDTYPE"));
    }
}

std::vector<ZorRoundTrip::FunctionRef> ZorRoundTrip::processFunctions(const Types& types) {
    indexParameters();
    std::vector<FunctionRef> functions;
    ZorTable& names = call.table("FUNCTIONNAMES");
    for (unsigned i = 0; i < names.getCount(); ++i)
        functions.push_back(processFunction(types, ZorMetadataRow(names.row(i))));
    return functions;
}

ZorRoundTrip::FunctionRef ZorRoundTrip::processFunction(const Types& types, const ZorMetadataRow& name) {
    const KEL_string functionName(name.text("FUNCTIONNAME"));
    const FunctionRef function =
        ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>(functionName, origin, 5, false);
    if (name.isSet("LUMX_SUPPORTED")) function->enableASXML();
    ZorTable& rows = call.table("PARAMETERS");
    const auto first = firstParameters.find(functionName);
    for (unsigned i = first != firstParameters.end() ? first->second : rows.getCount(); i < rows.getCount();
         ++i) {
        const ZorMetadataRow row(rows.row(i));
        if (row.text("FUNCNAME") != functionName) break;
        if (row.letter("PARAMCLASS") == 'X')
            function->addException(row.text("PARAMETER"), row.text("PARAMTEXT"));
        else
            addParameter(*function, types, row);
    }
    requireDescriptions(*function);
    function->lock();
    return function;
}

void ZorRoundTrip::addParameter(ZorFunctionMetaData& function, const Types& types,
                                const ZorMetadataRow& row) const {
    const ZOR_DIRECTION direction = directionOf(row.letter("PARAMCLASS"));
    Parameter parameter{zorTypeOfLetter(row.letter("EXID")), KEL_string(row.text("TABNAME")),
                        KEL_string(row.text("FIELDNAME")), row.number("INTLENGTH")};
    if (parameter.type == ZORTYPE_NULL && direction != ZOR_TABLES)
        parameter.type = zorTypeOfBuiltIn(parameter.typeName);
    if (isReference(parameter.type)) parameter.description = describe(parameter, types);
    settleLengths(parameter);
    if (direction == ZOR_TABLES) {
        parameter.type = ZORTYPE_TABLE;
        if (const auto rows = types.find(parameter.typeName); rows != types.end())
            parameter.description = rows->second;
    }
    function.add(row.text("PARAMETER"), parameter.type, direction, parameter.nucLength, parameter.ucLength,
                 row.number("DECIMALS"), parameter.description.get(), row.text("DEFAULT"),
                 row.text("PARAMTEXT"), row.letter("OPTIONAL") != ' ' ? 1 : 0);
}

ZorRoundTrip::RecordRef ZorRoundTrip::describe(Parameter& parameter, const Types& types) const {
    if (!parameter.fieldName.empty()) {
        const auto indirect = indirectTypes.find({parameter.typeName, parameter.fieldName});
        const auto table = types.find(parameter.typeName);
        unsigned field = 0;
        if (indirect != indirectTypes.end() && !indirect->second.empty()) {
            parameter.typeName = indirect->second;
        } else if (table != types.end() && table->second->hasField(parameter.fieldName, &field) &&
                   table->second->getRecordMetaData(field) != nullptr) {
            parameter.typeName = table->second->getRecordMetaData(field)->getName();
        } else {
            fail("Incomplete metadata returned by ZOR_METADATA_GET");
        }
    }
    const auto known = types.find(parameter.typeName);
    if (known == types.end()) fail("Incomplete metadata returned by ZOR_METADATA_GET");
    return known->second;
}

void ZorRoundTrip::settleLengths(Parameter& parameter) const {
    switch (parameter.type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
        case ZORTYPE_NUM:
            parameter.nucLength = widePartner ? parameter.length / 2 : parameter.length;
            parameter.ucLength = 2 * parameter.nucLength;
            break;
        case ZORTYPE_STRING:
        case ZORTYPE_XSTRING:
            parameter.nucLength = parameter.ucLength = 8;
            break;
        default:
            parameter.nucLength = parameter.ucLength = parameter.length;
            if (!parameter.description) break;
            parameter.nucLength = parameter.description->getRecordLength();
            parameter.ucLength = parameter.description->getUnicodeRecordLength();
            break;
    }
    if (!requiresUnicode) parameter.ucLength = 0;
}
