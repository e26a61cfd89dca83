#include "meta/zorfunctionmetadata.h"

#include <algorithm>
#include <string>

#include "meta/zorlockplan.h"

void ZorFunctionMetaData::add(std::string_view paramName, ZORTYPE paramType, ZOR_DIRECTION direction,
                              unsigned nucLength, unsigned ucLength, unsigned decimals,
                              ZorAbstractMetaData* typeDesc, std::string_view defaultValue,
                              std::string_view paramDesc, unsigned char optional, void* extended) {
    checkLockState();
    const auto existing = std::find_if(fields.begin(), fields.end(),
                                       [&](const auto& field) { return field.name == paramName; });
    if (existing != fields.end())
        return mergeChanging(*existing, paramType, direction, nucLength, defaultValue, paramDesc, optional);
    Candidate candidate =
        prepareField(paramName, paramType, nucLength, ucLength, decimals, typeDesc, extended);
    candidate.field.direction = direction;
    candidate.field.defaultValue = defaultValue;
    candidate.field.paramDesc = paramDesc;
    candidate.field.optional = optional;
    append(std::move(candidate));
}

void ZorFunctionMetaData::mergeChanging(ZorParameterFieldType& existing, ZORTYPE paramType,
                                        ZOR_DIRECTION direction, unsigned nucLength,
                                        std::string_view defaultValue, std::string_view paramDesc,
                                        unsigned char optional) {
    const bool halves = (existing.direction == ZOR_IMPORT && direction == ZOR_EXPORT) ||
                        (existing.direction == ZOR_EXPORT && direction == ZOR_IMPORT);
    if (!halves || existing.type != paramType || existing.length1 != nucLength)
        throw ZorInvalidParameterException("Field with name " + existing.name +
                                           " already exists and can not be regarded as CHANGING parameter");
    KEL_string newDefault(defaultValue);
    KEL_string newText(paramDesc);
    existing.defaultValue.swap(newDefault);
    existing.paramDesc.swap(newText);
    existing.direction = ZOR_CHANGING;
    if (existing.optional == 0) existing.optional = optional;
}

void ZorFunctionMetaData::addException(std::string_view key, std::string_view description) {
    checkLockState();
    for (const auto& exception : exceptions)
        if (exception.key == key)
            throw ZorInvalidParameterException("Exception with key " + KEL_string(key) +
                                               " already defined. Exception key must be unique");
    exceptions.push_back({KEL_string(key), KEL_string(description)});
}

const ZorUbixExceptionType& ZorFunctionMetaData::getException(std::string_view key) const {
    for (const auto& exception : exceptions)
        if (exception.key == key) return exception;
    throw ZorInvalidParameterException("No exception for the key " + KEL_string(key));
}

const ZorUbixExceptionType& ZorFunctionMetaData::getException(unsigned index) const {
    if (index >= exceptions.size())
        throw ZorInvalidParameterException("No exception with the index " + std::to_string(index) +
                                           " available. Exception count is " +
                                           std::to_string(exceptions.size()));
    return exceptions[index];
}

void ZorFunctionMetaData::enableASXML() {
    checkLockState();
    type = LUMX;
}

void ZorFunctionMetaData::copy(const ZorFunctionMetaData& source) {
    checkLockState();
    // Everything that can fail goes into locals first.
    KEL_string newName = source.name;
    KEL_string newOrigin = source.origin;
    std::vector<ZorParameterFieldType> newFields = source.fields;
    std::vector<ZorUbixExceptionType> newExceptions = source.exceptions;
    ZorNameIndex newIndex = source.indexMap;
    name.swap(newName);
    origin.swap(newOrigin);
    fields.swap(newFields);
    exceptions.swap(newExceptions);
    std::swap(indexMap, newIndex);
    unicodeEnabled = source.unicodeEnabled;
    type = source.type;
}

bool ZorFunctionMetaData::equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const {
    if (this == &other) return true;
    if (other.getMetaType() != ZOR_META_FUNCTION) return false;
    const auto& function = static_cast<const ZorFunctionMetaData&>(other);
    return name == function.name &&
           std::equal(fields.begin(), fields.end(), function.fields.begin(), function.fields.end(),
                      [&](const auto& mine, const auto& theirs) {
                          return mine.direction == theirs.direction &&
                                 mine.defaultValue == theirs.defaultValue &&
                                 equalFields(mine, theirs, compared);
                      });
}

void ZorFunctionMetaData::prepareLock(ZorLockPlan& plan) {
    if (plan.enter(*this)) prepareNested(plan);
}

void ZorFunctionMetaData::commitLock(ZorLockShape&) noexcept {
    locked = true;
}
