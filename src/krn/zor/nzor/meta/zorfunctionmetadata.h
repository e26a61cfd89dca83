/** @file Description of a function: its parameters and exceptions. */
#pragma once

#include <string_view>
#include <vector>

#include "meta/zormetadatabase.h"

/** A parameter. */
struct ZorParameterFieldType : ZorFieldTypeBase {
    ZOR_DIRECTION direction = ZOR_IMPORT;
    KEL_string defaultValue;     ///< As the partner writes it.
    KEL_string paramDesc;        ///< Text for a human.
    unsigned char optional = 0;  ///< Not 0: may be left out.
};

extern template class ZorMetaDataBase<ZorParameterFieldType>;

/** An exception that the function may raise. */
struct ZorUbixExceptionType {
    KEL_string key;
    KEL_string description;
};

/** Which serialisations the function may use. */
enum FUNCTION_TYPE { CLASSIC = 0, LUMX = 1 };

/** Description of a function. Parameters are separate values, so there are no offsets. */
class ZorFunctionMetaData : public ZorMetaDataBase<ZorParameterFieldType> {
  public:
    ZorFunctionMetaData(std::string_view name, std::string_view origin, unsigned reserve)
        : ZorMetaDataBase(name, origin, reserve) {}

    ZorMetaType getMetaType() const noexcept override { return ZOR_META_FUNCTION; }

    /**
     * Adds a parameter behind the others; an import and an export of one name, type and length become
     * one changing parameter. Reference and failures as ZorRecordMetaData::add.
     */
    void add(std::string_view paramName, ZORTYPE paramType, ZOR_DIRECTION direction, unsigned nucLength,
             unsigned ucLength, unsigned decimals, ZorAbstractMetaData* typeDesc = nullptr,
             std::string_view defaultValue = {}, std::string_view paramDesc = {}, unsigned char optional = 0,
             void* extended = nullptr);

    /** Adds an exception; ZorInvalidParameterException for a known key. */
    void addException(std::string_view key, std::string_view description);
    unsigned getExceptionCount() const noexcept { return static_cast<unsigned>(exceptions.size()); }
    /** Throws ZorInvalidParameterException for an unknown key. */
    const ZorUbixExceptionType& getException(std::string_view key) const;
    /** Throws ZorInvalidParameterException for an index out of range. */
    const ZorUbixExceptionType& getException(unsigned index) const;

    /** True if the binary XML form may be used. */
    bool supportsASXML() const noexcept { return type == LUMX; }
    /** Allows the binary XML form; ZorIllegalStateException once locked. */
    void enableASXML();

    const KEL_string& getDefault(unsigned index) const noexcept { return fields[index].defaultValue; }
    const KEL_string& getDefault(std::string_view param) const { return (*this)[param].defaultValue; }
    const KEL_string& getParameterDesc(unsigned index) const noexcept { return fields[index].paramDesc; }
    const KEL_string& getParameterDesc(std::string_view param) const { return (*this)[param].paramDesc; }
    ZOR_DIRECTION getDirection(unsigned index) const noexcept { return fields[index].direction; }
    ZOR_DIRECTION getDirection(std::string_view param) const { return (*this)[param].direction; }
    bool isOptional(unsigned index) const noexcept { return fields[index].optional != 0; }
    bool isOptional(std::string_view param) const { return (*this)[param].optional != 0; }

    /** Makes this open description a copy of another. The copy is open. */
    void copy(const ZorFunctionMetaData& source);

  protected:
    bool equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const override;
    void prepareLock(ZorLockPlan& plan) override;
    void commitLock(ZorLockShape& shape) noexcept override;

  private:
    /** Merges an import and an export into one parameter; throws where that isn't allowed. */
    static void mergeChanging(ZorParameterFieldType& existing, ZORTYPE paramType, ZOR_DIRECTION direction,
                              unsigned nucLength, std::string_view defaultValue, std::string_view paramDesc,
                              unsigned char optional);

    FUNCTION_TYPE type = CLASSIC;
    std::vector<ZorUbixExceptionType> exceptions;
};
