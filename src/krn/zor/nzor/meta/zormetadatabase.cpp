#include "meta/zormetadatabase.h"

#include <algorithm>

#include "meta/zorclassmetadata.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorlockplan.h"
#include "meta/zorrecordmetadata.h"
#include "meta/zortypelayout.h"

template <class F>
bool ZorMetaDataBase<F>::hasField(std::string_view fieldName, unsigned* index) const noexcept {
    const unsigned found = findIndex(fieldName);
    if (found >= fields.size()) return false;
    if (index != nullptr) *index = found;
    return true;
}

template <class F>
unsigned ZorMetaDataBase<F>::getIndex(std::string_view fieldName) const {
    const unsigned index = findIndex(fieldName);
    if (index == ZorNameIndex::notFound)
        throw ZorInvalidParameterException("field '" + KEL_string(fieldName) + "' not found");
    return index;
}

template <class F>
ZorRecordMetaData* ZorMetaDataBase<F>::getRecordMetaData(unsigned index) const noexcept {
    ZorAbstractMetaData* const description = fields[index].typeDesc.get();
    if (description == nullptr || description->getMetaType() != ZOR_META_RECORD) return nullptr;
    return static_cast<ZorRecordMetaData*>(description);
}

template <class F>
ZorClassMetaData* ZorMetaDataBase<F>::getClassMetaData(unsigned index) const noexcept {
    ZorAbstractMetaData* const description = fields[index].typeDesc.get();
    if (description == nullptr || description->getMetaType() != ZOR_META_CLASS) return nullptr;
    return static_cast<ZorClassMetaData*>(description);
}

template <class F>
unsigned ZorMetaDataBase<F>::settleUnicodeLength(ZORTYPE type, unsigned nucLength, unsigned ucLength,
                                                 bool& unicode) const {
    if (!unicode && ucLength != 0)
        throw ZorInvalidParameterException(
            "inconsistence in unicode length detected: unicode length is passed, but some elements have "
            "unicode length 0");
    if (unicode && nucLength != 0 && ucLength == 0) unicode = false;
    if (!unicode) {
        const uint64_t derived = zorIsCharacterType(type) ? uint64_t{2} * nucLength : nucLength;
        if (derived > UINT32_MAX) throw ZorInvalidParameterException("field length is out of range");
        return static_cast<unsigned>(derived);
    }
    if (nucLength > ucLength)
        throw ZorInvalidParameterException("non-unicode length is greater than unicode length");
    return ucLength;
}

template <class F>
typename ZorMetaDataBase<F>::Candidate ZorMetaDataBase<F>::prepareField(std::string_view fieldName,
                                                                        ZORTYPE type, unsigned nucLength,
                                                                        unsigned ucLength, unsigned decimals,
                                                                        ZorAbstractMetaData* typeDesc,
                                                                        void* extended) const {
    checkLockState();
    Candidate candidate{F{}, fields.empty() || unicodeEnabled};
    F& field = candidate.field;
    field.length2 = settleUnicodeLength(type, nucLength, ucLength, candidate.unicode);
    // Not by hasField: an empty name is a name like any other here.
    if (indexMap.find(fieldName) != ZorNameIndex::notFound)
        throw ZorInvalidParameterException("Field with name " + KEL_string(fieldName) +
                                           " already exists. All field names have to be unique");
    field.name = fieldName;
    field.type = type;
    field.length1 = nucLength;
    field.decimals = decimals;
    field.typeDesc = ZorMetaDataRef<ZorAbstractMetaData>(typeDesc);
    field.extendedMeta = extended;
    return candidate;
}

template <class F>
void ZorMetaDataBase<F>::append(F&& field) {
    indexMap.reserve(fields.size() + 1, field.name.size());
    fields.push_back(std::move(field));
    indexMap.insert(fields.back().name, static_cast<uint32_t>(fields.size() - 1));
}

template <class F>
void ZorMetaDataBase<F>::append(Candidate&& candidate) {
    append(std::move(candidate.field));
    unicodeEnabled = candidate.unicode;
}

template <class F>
bool ZorMetaDataBase<F>::equalFields(const F& one, const F& other, ZorComparedPairs& compared) {
    if (one.decimals != other.decimals || one.length1 != other.length1 || one.length2 != other.length2 ||
        one.type != other.type || one.name != other.name)
        return false;
    const ZorAbstractMetaData* const mine = one.typeDesc.get();
    const ZorAbstractMetaData* const theirs = other.typeDesc.get();
    if (mine == theirs || mine == nullptr || theirs == nullptr) return true;
    const auto pair = std::make_pair(mine, theirs);
    if (std::find(compared.begin(), compared.end(), pair) != compared.end()) return true;
    compared.push_back(pair);
    return mine->equalsWithin(*theirs, compared);
}

template <class F>
void ZorMetaDataBase<F>::prepareNested(ZorLockPlan& plan) const {
    for (unsigned i = 0; i < getFieldCount(); ++i)
        if (ZorRecordMetaData* const nested = getRecordMetaData(i)) plan.prepare(*nested);
}

template class ZorMetaDataBase<ZorRecordFieldType>;
template class ZorMetaDataBase<ZorParameterFieldType>;
