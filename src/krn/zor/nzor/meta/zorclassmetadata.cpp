#include "meta/zorclassmetadata.h"

#include <utility>

#include "meta/zortypelayout.h"

namespace {

/** Length of an attribute; all but characters, bytes and packed numbers take up what they are aligned to. */
unsigned attributeLength(ZORTYPE type, unsigned given) noexcept {
    switch (type) {
        case ZORTYPE_CHAR:
        case ZORTYPE_DATE:
        case ZORTYPE_TIME:
        case ZORTYPE_BYTE:
        case ZORTYPE_NUM:
        case ZORTYPE_BCD:
            return given;
        default:
            return zorAlignmentOf(type);
    }
}

}  // namespace

ZorClassMetaData::ZorClassMetaData(std::string_view name, std::string_view origin, unsigned reserve)
    : ZorRecordMetaData(name, origin, reserve) {
    classFields.reserve(reserve);
}

void ZorClassMetaData::add(std::string_view declaringClass, std::string_view fieldName, ZORTYPE fieldType,
                           unsigned length, unsigned decimals, std::string_view description,
                           ZorAbstractMetaData* metaData, void* extended,
                           ZOR_CLASS_ATTRIBUTE_TYPE attributeKind, bool readOnly,
                           std::string_view defaultValue) {
    checkLockState();
    uint64_t offset = 0;
    if (!fields.empty())
        offset =
            zorAlignUp(uint64_t{fields.back().offset1} + fields.back().length1, zorAlignmentOf(fieldType));
    if (offset > UINT32_MAX) throw ZorInvalidParameterException("field offset is out of range");
    ZorClassFieldType extra{KEL_string(defaultValue), attributeKind, readOnly, KEL_string(declaringClass),
                            KEL_string(description)};
    // Room first: once the field stands, its other half must not fail.
    if (classFields.size() == classFields.capacity()) classFields.reserve(2 * classFields.size() + 1);
    const unsigned place = static_cast<unsigned>(offset);
    const unsigned width = attributeLength(fieldType, length);
    ZorRecordMetaData::add(fieldName, fieldType, width, place, width, place, decimals, metaData, extended);
    classFields.push_back(std::move(extra));
}

void ZorClassMetaData::add(std::string_view declaringClass, std::string_view fieldName, ZORTYPE fieldType,
                           unsigned byteLength, ZOR_CLASS_ATTRIBUTE_TYPE attributeKind, bool readOnly) {
    add(declaringClass, fieldName, fieldType, byteLength, 0, {}, nullptr, nullptr, attributeKind, readOnly,
        {});
}

void ZorClassMetaData::add(std::string_view declaringClass, std::string_view fieldName,
                           ZorClassMetaData& classMetaData, ZOR_CLASS_ATTRIBUTE_TYPE attributeKind,
                           bool readOnly) {
    constexpr unsigned referenceLength = 8;  // on the partner's side
    add(declaringClass, fieldName, ZORTYPE_UBIXOBJECT, referenceLength, 0, {}, &classMetaData, nullptr,
        attributeKind, readOnly, {});
}

const ZorClassFieldType& ZorClassMetaData::classField(std::string_view attribute) const {
    const unsigned index = getIndex(attribute);
    checkIndex(index);
    return classFields[index];
}

void ZorClassMetaData::copy(const ZorClassMetaData& source) {
    checkLockState();
    // Built apart, so that nothing has changed if that fails; its places follow from the types again.
    ZorClassMetaData fresh(source.name, source.origin, source.getFieldCount());
    for (unsigned i = 0; i < source.getFieldCount(); ++i) {
        const ZorRecordFieldType& field = source.fields[i];
        const ZorClassFieldType& extra = source.classFields[i];
        fresh.add(extra.attributeDeclaringClass, field.name, field.type, field.length1, field.decimals,
                  extra.description, field.typeDesc.raw(), field.extendedMeta, extra.attributeKind,
                  extra.isReadOnly, extra.defaultValue);
    }
    fresh.parentClasses = source.parentClasses;
    fresh.implementedInterfaces = source.implementedInterfaces;
    name.swap(fresh.name);
    origin.swap(fresh.origin);
    fields.swap(fresh.fields);
    std::swap(indexMap, fresh.indexMap);
    std::swap(unicodeEnabled, fresh.unicodeEnabled);
    classFields.swap(fresh.classFields);
    parentClasses.swap(fresh.parentClasses);
    implementedInterfaces.swap(fresh.implementedInterfaces);
    setRecordLength(source.getRecordLength(), source.getUnicodeRecordLength());
    setStructureType(source.getStructureType());
}

bool ZorClassMetaData::equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs&) const {
    return other.getMetaType() == ZOR_META_CLASS && name == static_cast<const ZorClassMetaData&>(other).name;
}
