// Looking up classes. They may refer to each other in a circle, so all that one lookup meets is built first
// and goes to the repository together.

#include "connection/zorconnection.h"
#include "repository/zormetadataquery.h"
#include "repository/zormetadatarow.h"
#include "repository/zorsystemcall.h"
#include "repository/zortypeletters.h"

namespace {

/** From this version on partners tell about classes. */
constexpr unsigned firstWithClasses = 720;
/** Of attributes only those that everybody sees are taken. */
constexpr KEL_UC publicVisibility = '2';
/** A bound on classes that lead to further classes: each is a call within the one before. */
constexpr unsigned deepest = 1000;

ZOR_CLASS_ATTRIBUTE_TYPE kindOf(KEL_UC kind) noexcept {
    switch (kind) {
        case '1':
            return ZOR_CLASS_ATTRIBUTE_CLASS;
        case '2':
            return ZOR_CLASS_ATTRIBUTE_CONSTANT;
        default:
            return ZOR_CLASS_ATTRIBUTE_INSTANCE;
    }
}

KEL_string stringOf(ZorStructure& row, std::string_view field) {
    ZorString* text = nullptr;
    row.getValue(row.getIndex(field), &text, false);
    if (text == nullptr) return {};
    return text->substr(0, text->find_last_not_of(' ') + 1);
}

bool isPublic(const ZorMetadataRow& row) {
    return row.letter("VISIBILITY") == publicVisibility;
}

unsigned countPublic(ZorTable& rows) {
    unsigned count = 0;
    for (unsigned i = 0; i < rows.getCount(); ++i)
        if (isPublic(ZorMetadataRow(rows.row(i)))) ++count;
    return count;
}

template <class Add>
void forEachName(ZorTable& rows, Add add) {
    for (unsigned i = 0; i < rows.getCount(); ++i)
        add(ZorMetadataRow(rows.row(i)).text("CLSNAME"));
}

}  // namespace

ZorMetadataQuery::ClassRef ZorMetadataQuery::queryClassMetaData(const KEL_string& name) {
    const ClassRef description = classOf(name);
    if (!description) return {};
    // All checks before the first change.
    for (const auto& entry : foundClasses)
        entry.second->lock();
    commit({});
    return repository.addClassDescToCache(*description);
}

ZorMetadataQuery::ClassRef ZorMetadataQuery::classOf(const KEL_string& name) {
    if (ClassRef cached = repository.getClassDescFromCache(name)) return cached;
    if (const auto met = foundClasses.find(name); met != foundClasses.end()) return met->second;
    if (version < firstWithClasses) return {};
    if (classDepth == deepest) throw ZorInvalidParameterException("classes are nested too deeply");
    ++classDepth;
    const ClassRef description = buildClass(name);
    --classDepth;
    return description;
}

ZorMetadataQuery::ClassRef ZorMetadataQuery::buildClass(const KEL_string& name) {
    SEO_GET_CLIF_REMOTE call(version);
    if (!call.setText("CLASS_KEY", name)) return {};
    call.setText("INCLUDE_INHERITED_ELEMENTS", "X");
    call.run(connection);
    ZorTable& attributes = call.table("ATTRIBUTES");
    const ClassRef description = ZorMetaDataStatics::createMetaData<ZorClassMetaData>(
        name, repository.getName(), countPublic(attributes), false);
    // Known from here on, unfinished as it is: attributes may lead back to it.
    foundClasses.emplace(name, description);
    forEachName(call.table("PARENT_CLASSES"),
                [&](std::string_view parent) { description->addParentClass(parent); });
    forEachName(call.table("IMPLEMENTED_INTERFACES"),
                [&](std::string_view one) { description->addImplementedInterface(one); });
    for (unsigned i = 0; i < attributes.getCount(); ++i) {
        ZorStructure& row = attributes.row(i);
        if (isPublic(ZorMetadataRow(row))) addAttribute(*description, row);
    }
    return description;
}

void ZorMetadataQuery::addAttribute(ZorClassMetaData& description, ZorStructure& attribute) {
    const ZorMetadataRow row(attribute);
    const ZORTYPE type = zorTypeOfLetter(row.letter("DATA_TYPE"));
    const KEL_string typeName = stringOf(attribute, "TYPE_NAME");
    // Either of them holds the description for as long as it takes.
    ClassRef classDesc;
    RecordRef record;
    ZorAbstractMetaData* target = nullptr;
    if (type == ZORTYPE_UBIXOBJECT) {
        classDesc = classOf(typeName);
        if (!classDesc) throw ZorIllegalStateException("ClassMetaData is null");
        target = classDesc.get();
    } else if (type == ZORTYPE_STRUCTURE || type == ZORTYPE_TABLE) {
        record = typeOf(typeName);
        target = record.get();
    }
    description.add(row.text("CLIF_NAME"), row.text("ATTRIBUTE_NAME"), type, row.number("LENGTH"),
                    row.number("DECIMALS"), row.text("DESCRIPTION"), target, nullptr,
                    kindOf(row.letter("ATTRIBUTE_KIND")), row.isSet("READ_ONLY"), row.text("DEFAULT_VALUE"));
}
