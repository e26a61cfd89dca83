#include "repository/zormetadataquery_nested.h"

#include <algorithm>

#include "connection/zorconnection.h"
#include "meta/zorlockplan.h"

namespace {

bool isNested(ZORTYPE type) noexcept {
    return type == ZORTYPE_STRUCTURE || type == ZORTYPE_TABLE;
}

/** Offsets count from the outermost record; a field can't lie before the structure that it is in. */
unsigned below(unsigned offset, unsigned base) {
    if (offset < base) throw ZorInvalidParameterException("field offset is out of range");
    return offset - base;
}

/** Whether a table field's type stands by itself, so that the field just refers to it. */
bool standsAlone(const ZorDictionaryField& field, size_t rows) noexcept {
    return field.compType == 'L' || (rows == 1 && field.dataType == "TTYP");
}

}  // namespace

void ZorMetadataQuery::NestedRows::construct(const ZorDictionaryFields& fields, const RecordRef& meta) {
    size_t at = 0;
    constructMetaData({fields, at, meta, {}});
}

void ZorMetadataQuery::NestedRows::constructMetaData(const Level& level) {
    ZorLockPlan::checkNesting(level.level);
    const size_t first = level.at;
    for (; level.at < level.fields.size(); ++level.at) {
        const ZorDictionaryField& field = level.fields[level.at];
        if (!field.path.starts_with(level.prefix)) {
            --level.at;  // the parent, which goes on by one, sees this one again
            break;
        }
        if (isNested(field.type))
            addNested(level, field);
        else
            addField(level, field, nullptr);
    }
    if (first < level.fields.size()) query.keep(level.meta);
}

void ZorMetadataQuery::NestedRows::addField(const Level& level, const ZorDictionaryField& field,
                                            ZorRecordMetaData* description) {
    const ZorDictionaryPlace& place = field.place;
    level.meta->add(field.name, field.type, place.nucLength, below(place.nucOffset, level.baseOffset),
                    place.ucLength, below(place.ucOffset, level.baseOffsetUC), field.decimals, description);
}

void ZorMetadataQuery::NestedRows::addNested(const Level& level, const ZorDictionaryField& field) {
    switch (field.compType) {
        case 'S':
            return addInline(level, field);
        case 'T':
            level.meta->setStructureType(STRUCTURE_TYPE_2);
            level.meta->setLineTypeName(field.rollName);
            return addLine(level, field);
        case 'L':
            return addLine(level, field);
        default:
            return addField(level, field, nullptr);
    }
}

void ZorMetadataQuery::NestedRows::addInline(const Level& level, const ZorDictionaryField& field) {
    const RecordRef nested = query.makeRecord(field.rollName, 0);
    nested->setRecordLength(field.place.nucLength, field.place.ucLength);
    if (level.meta->getStructureType() == STRUCTURE_TYPE_1) nested->setStructureType(STRUCTURE_TYPE_1);
    addField(level, field, nested.get());
    ++level.at;
    constructMetaData({level.fields, level.at, nested, field.path + "-", field.place.nucOffset,
                       field.place.ucOffset, level.level + 1});
}

void ZorMetadataQuery::NestedRows::addLine(const Level& level, const ZorDictionaryField& field) {
    if (field.rollName.empty()) return addField(level, field, nullptr);
    if (const RecordRef line = query.known(field.rollName)) return addKnownLine(level, field, line);
    const Line line = findLine(level, field.rollName);
    if (standsAlone(field, level.fields.size()))
        addField(level, field, makeTableType(level, field, line).get());
    else
        becomeLineOf(level, field, line);
}

void ZorMetadataQuery::NestedRows::addKnownLine(const Level& level, const ZorDictionaryField& field,
                                                const RecordRef& line) {
    if (standsAlone(field, level.fields.size())) return addField(level, field, line.get());
    const KEL_string ownName = level.meta->getName();
    level.meta->copy(*line);
    level.meta->setName(ownName);
    level.meta->setStructureType(STRUCTURE_TYPE_2);
    level.meta->setLineTypeName(line->getName());
}

ZorMetadataQuery::RecordRef ZorMetadataQuery::NestedRows::makeTableType(const Level& level,
                                                                        const ZorDictionaryField& field,
                                                                        const Line& line) {
    const RecordRef table = query.makeRecord(field.rollName, line.fields.size());
    table->setLineTypeName(line.nameReached);
    table->setStructureType(STRUCTURE_TYPE_2);
    const ZorDictionaryLengths lengths = lengthsOf(field.rollName);
    table->setRecordLength(lengths.nuc, lengths.uc);
    // Known from here on: a type may contain tables of itself.
    query.keep(table);
    size_t at = 0;
    constructMetaData({line.fields, at, table, {}, 0, 0, level.level + 1});
    return table;
}

void ZorMetadataQuery::NestedRows::becomeLineOf(const Level& level, const ZorDictionaryField& field,
                                                const Line& line) {
    const ZorDictionaryLengths lengths = lengthsOf(field.rollName);
    level.meta->setRecordLength(lengths.nuc, lengths.uc);
    size_t at = 0;
    constructMetaData({line.fields, at, level.meta, {}, 0, 0, level.level + 1});
    const RecordRef copied = query.makeRecord({}, 0);
    copied->copy(*level.meta);
    copied->setName(line.nameReached);
    copied->setLineTypeName(level.meta->getLineTypeName());
    query.keep(copied);
}

ZorMetadataQuery::NestedRows::Line ZorMetadataQuery::NestedRows::findLine(const Level& level,
                                                                          const KEL_string& rollName) const {
    KEL_string name = rollName;
    // Each step reaches another type, or goes in circles.
    for (size_t steps = 0; steps <= lines.size(); ++steps) {
        const ZorDictionaryLine* const type = findType(name);
        if (type == nullptr) break;
        if (type->fields.size() != 1 || type->fields.front().compType != 'T') return {type->fields, name};
        const ZorDictionaryField& only = type->fields.front();
        if (only.rollName == only.domName || only.dataType == "TTYP") return {type->fields, only.rollName};
        if (only.dataType != "STRU") return {type->fields, name};
        name = only.rollName;
    }
    throw ZorBaseException(
        ZOR_UNKNOWN_ERROR, EXTERNAL_RUNTIME_FAILURE, "INTERNAL_ERROR",
        "Type " + rollName + " used by " + level.meta->getName() + " could not be resolved");
}

const ZorDictionaryLine* ZorMetadataQuery::NestedRows::findType(const KEL_string& typeName) const {
    const auto found = std::ranges::find(lines, typeName, &ZorDictionaryLine::typeName);
    return found != lines.end() ? &*found : nullptr;
}

ZorDictionaryLengths ZorMetadataQuery::NestedRows::lengthsOf(const KEL_string& typeName) const {
    return ZorDictionaryAnswer::askLengths(query.connection, query.version, typeName);
}
