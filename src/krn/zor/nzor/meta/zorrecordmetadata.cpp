#include "meta/zorrecordmetadata.h"

#include <algorithm>

#include "meta/zorlockplan.h"
#include "meta/zortypelayout.h"
#include "trace/zortracefunctions.h"

ZorRecordMetaData::~ZorRecordMetaData() = default;

void ZorRecordMetaData::add(std::string_view fieldName, ZORTYPE type, unsigned nucLength, unsigned nucOffset,
                            unsigned ucLength, unsigned ucOffset, unsigned decimals,
                            ZorAbstractMetaData* typeDesc, void* extended) {
    Candidate candidate = prepareField(fieldName, type, nucLength, ucLength, decimals, typeDesc, extended);
    placeField(candidate.field, candidate.unicode, nucOffset, ucOffset);
    append(std::move(candidate));
}

void ZorRecordMetaData::placeField(ZorRecordFieldType& field, bool unicode, unsigned nucOffset,
                                   unsigned ucOffset) const {
    field.offset1 = nucOffset;
    field.offset2 = ucOffset;
    if (fields.empty()) return;
    const ZorRecordFieldType& prev = fields.back();
    if (uint64_t{prev.offset1} + prev.length1 > nucOffset)
        throw ZorInvalidParameterException("non-unicode offset overlaps with the existing elements");
    const uint64_t end2 = uint64_t{prev.offset2} + prev.length2;
    if (unicode) {
        if (end2 > ucOffset)
            throw ZorInvalidParameterException("unicode offset overlaps with the existing elements");
        return;
    }
    if (ucOffset != 0)
        throw ZorInvalidParameterException(
            "inconsistence in unicode offset detected: unicode offest is passed, but some elements have "
            "unicode length 0");
    const uint64_t derived = zorAlignUp(end2, zorAlignmentOf(field.type));
    if (derived > UINT32_MAX) throw ZorInvalidParameterException("field offset is out of range");
    field.offset2 = static_cast<unsigned>(derived);
}

void ZorRecordMetaData::setRecordLength(unsigned nuc, unsigned uc) {
    checkLockState();
    length1 = nuc;
    length2 = uc;
}

void ZorRecordMetaData::setLineTypeName(std::string_view lineType) {
    checkLockState();
    lineTypeName = lineType;
}

void ZorRecordMetaData::setStructureType(STRUCTURE_TYPE structureType) {
    checkLockState();
    layout = structureType;
}

void ZorRecordMetaData::setIncludeFlag(unsigned index, bool included) {
    checkLockState();
    checkIndex(index);
    fields[index].include_flag = included ? 1 : 0;
}

bool ZorRecordMetaData::hasComplexFields() const noexcept {
    return std::any_of(fields.begin(), fields.end(), [](const ZorRecordFieldType& field) {
        return field.type == ZORTYPE_TABLE || field.type == ZORTYPE_STRUCTURE ||
               field.type == ZORTYPE_STRING || field.type == ZORTYPE_XSTRING;
    });
}

bool ZorRecordMetaData::isNestedType1Structure(unsigned index) const noexcept {
    const ZorRecordMetaData* const nested = getRecordMetaData(index);
    return nested != nullptr && nested->isNestedType1Structure();
}

unsigned ZorRecordMetaData::getImageLength() const noexcept {
    // Leaves that had to move up can end behind the declared length.
    return type1MetaData == nullptr ? length1 : std::max(imageLength, type1MetaData->getRecordLength());
}

void ZorRecordMetaData::copy(const ZorRecordMetaData& source) {
    checkLockState();
    // Everything that can fail goes into locals first.
    KEL_string newName = source.name;
    KEL_string newOrigin = source.origin;
    std::vector<ZorRecordFieldType> newFields = source.fields;
    ZorNameIndex newIndex = source.indexMap;
    for (auto& field : newFields)
        if (!field.typeDesc) field.typeDesc = {};
    name.swap(newName);
    origin.swap(newOrigin);
    fields.swap(newFields);
    std::swap(indexMap, newIndex);
    length1 = source.length1;
    length2 = source.length2;
    layout = source.layout;
    // The second layout of a locked description is complete, derived or not, so its copy has both.
    unicodeEnabled = source.unicodeEnabled || source.locked;
}

bool ZorRecordMetaData::equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const {
    if (this == &other) return true;
    if (other.getMetaType() != ZOR_META_RECORD) return false;
    const auto& record = static_cast<const ZorRecordMetaData&>(other);
    return name == record.name && std::equal(fields.begin(), fields.end(), record.fields.begin(),
                                             record.fields.end(), [&](const auto& mine, const auto& theirs) {
                                                 return mine.offset1 == theirs.offset1 &&
                                                        mine.offset2 == theirs.offset2 &&
                                                        equalFields(mine, theirs, compared);
                                             });
}

void ZorRecordMetaData::writeTraceEntry() const noexcept {
    ZorTraceWrite("ZorRecordMetaData\t%s\tFieldCount\t%u", name.c_str(), getFieldCount());
    for (const auto& field : fields)
        ZorTraceWrite(
            "\tFieldName\t%s\tFieldType\t%d\tNUC-length\t%u\tUC-length\t%u\tNUC-offset\t%u\t"
            "UC-offset\t%u",
            field.name.c_str(), field.type, field.length1, field.length2, field.offset1, field.offset2);
}
