// Looking up types. Releases before nested types list the leaves; later ones tell the whole tree.

#include "config/zorconfig.h"
#include "connection/zorconnection.h"
#include "repository/repository.h"
#include "repository/zormetadataquery_nested.h"
#include "repository/zormetadatarow.h"
#include "repository/zorsystemcall.h"
#include "repository/zortypecircles.h"
#include "repository/zortypeletters.h"
#include "trace/zortracefunctions.h"

namespace {

/** Values of the layout flags: flat, and deep unless it is flat. */
constexpr unsigned layoutMask = 3;
constexpr unsigned layoutFlat = 1;
constexpr unsigned layoutDeep = 2;

STRUCTURE_TYPE layoutOf(const ZorDictionaryAnswer& answer, bool isLine) {
    if ((answer.layoutFlags & layoutMask) == layoutFlat) return STRUCTURE_TYPE_1;
    if ((answer.layoutFlags & layoutDeep) != 0) return STRUCTURE_TYPE_2;
    return isLine ? STRUCTURE_TYPE_2 : STRUCTURE_TYPE_0;
}

}  // namespace

ZorMetadataQuery::ZorMetadataQuery(ZorRepository& repository, ZorConnection& connection)
    : repository(repository),
      connection(connection),
      version(Repository::getVersion(connection)),
      traceLevel(ZorConfig::getGlobalTraceLevel()) {}

ZorMetadataQuery::RecordRef ZorMetadataQuery::queryRecordMetaData(const KEL_string& name) {
    const RecordRef description = fetch(name);
    if (!description) return {};
    commit({});
    RecordRef cached = repository.getStructureDescFromCache(name);
    return cached ? cached : description;  // another thread may have cleared the cache meanwhile
}

ZorMetadataQuery::FunctionRef ZorMetadataQuery::cachedOr(const FunctionRef& function) const {
    FunctionRef cached = repository.getFunctionDescFromCache(function->getName());
    return cached ? cached : function;
}

bool ZorMetadataQuery::isWidePartner() const {
    return connection.control.charset.view().front() == '4';
}

void ZorMetadataQuery::commit(std::span<const FunctionRef> functions) {
    std::vector<RecordRef> types;
    types.reserve(found.size());
    for (const auto& entry : found)
        types.push_back(entry.second);
    repository.addToCache(types, functions);
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::makeRecord(std::string_view name, size_t room) const {
    return ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, repository.getName(),
                                                                 static_cast<unsigned>(room), false);
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::known(std::string_view name) const {
    if (RecordRef cached = repository.getStructureDescFromCache(name)) return cached;
    const auto entry = found.find(name);
    return entry != found.end() ? entry->second : RecordRef();
}

void ZorMetadataQuery::keep(const RecordRef& description) {
    if (!known(description->getName())) found.emplace(description->getName(), description);
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::typeOf(const KEL_string& name) {
    RecordRef type = known(name);
    if (!type) return fetch(name);
    type->lock();  // what came along with another type may still be open
    return type;
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::fetch(const KEL_string& name) {
    if (connection.isZorMetadataGetEnabled()) return fetchInOneTrip(name);
    try {
        if (version >= 462) return fetchCurrent(name);
        if (version >= 400) return fetchOld(name);
        if (version >= 300) return fetchOldest(name);
        throw ZorInvalidParameterException("Unknown repository version " + std::to_string(version));
    } catch (const ZorBaseException& failure) {
        if (version >= 462)
            ZorLogWrite("exception during DDIC query for type %s [%s:%s]", name.c_str(),
                        failure.getKey().c_str(), failure.getMessage().c_str());
        throw;
    }
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::fetchOldest(const KEL_string& name) {
    ZOR_GET_STRUCTURE_DEFINITION_v3 call(version);
    if (!call.setText("TABNAME", name)) return {};
    call.run(connection);
    ZorTable& rows = call.table("FIELDS");
    if (rows.getCount() == 0) return {};
    const RecordRef description = makeRecord(name, rows.getCount());
    for (unsigned i = 0; i < rows.getCount(); ++i) {
        const ZorMetadataRow row(rows.row(i));
        description->add(row.text("FIELDNAME"), zorTypeOfLetter(row.letter("EXID")), row.number("INTLENGTH"),
                         row.number("OFFSET"), 0, 0, row.number("DECIMALS"));
    }
    ZOR_INT length = 0;
    call.getTABLENGTH()->getValue(0, &length);
    if (length < 0 || static_cast<unsigned>(length) > ZorMetadataRow::longestRecord)
        throw ZorInvalidParameterException("record length is out of range");
    description->setRecordLength(static_cast<unsigned>(length), 0);
    description->lock();
    keep(description);
    return description;
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::fetchOld(const KEL_string& name) {
    DDIF_FIELDINFO_GET_v4 call(version);
    if (!call.setText("TABNAME", name)) return {};
    call.run(connection);
    ZorTable& rows = call.table("DFIES_TAB");
    if (rows.getCount() == 0) {
        // The name of a data element: its table has the fields.
        const KEL_string table(ZorMetadataRow(call.structure("DFIES_WA")).text("TABNAME"));
        call.setText("TABNAME", table);
        call.run(connection);
    }
    const RecordRef description = makeRecord(name, rows.getCount());
    for (unsigned i = 0; i < rows.getCount(); ++i) {
        const ZorMetadataRow row(rows.row(i));
        description->add(row.text("FIELDNAME"), zorTypeOfLetter(row.letter("INTTYPE")), row.number("INTLEN"),
                         row.number("OFFSET"), 0, 0, row.number("DECIMALS"));
    }
    description->setRecordLength(ZorMetadataRow(call.structure("X030L_WA")).number("TABLEN"), 0);
    description->lock();
    keep(description);
    return description;
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::fetchCurrent(const KEL_string& name) {
    if (name.size() > sizeof(ZOR_UBIX_NAME) - 1) return {};
    const bool bothLayouts = version > 463 || isWidePartner();
    return build(name, ZorDictionaryAnswer::ask(connection, version, bothLayouts, name));
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::build(const KEL_string& name, ZorDictionaryAnswer answer) {
    const RecordRef description = makeRecord(name, answer.fields.size());
    const bool isLine =
        answer.isTableType && answer.lines.size() == 1 && answer.lines.front().typeKind == "STRU";
    KEL_string lineName;
    if (isLine) {
        lineName = answer.lines.front().typeName;
        answer.fields = answer.lines.front().fields;
        description->setLineTypeName(lineName);
    }
    description->setStructureType(layoutOf(answer, isLine));
    description->setRecordLength(answer.lengths.nuc, answer.lengths.uc);
    NestedRows(*this, answer.lines).construct(answer.fields, description);
    // A structure below bears the same name, which two equal ones can't.
    const auto kept = found.find(name);
    if (kept != found.end() && !kept->second->equals(*description))
        throw ZorInvalidParameterException("Type " + name + " contains itself");
    for (const auto& entry : found)
        zorRefuseCircles(*entry.second);
    RecordRef line;
    if (isLine && !known(lineName)) {
        // From the open description: that of a locked one has room for pointers in the places of its fields.
        line = makeRecord(lineName, 0);
        line->copy(*description);
        line->setName(lineName);
        line->setStructureType(STRUCTURE_TYPE_0);
        keep(line);
    }
    description->lock();
    if (line) line->lock();
    return description;
}
