/** @file Description of a class of the partner's object language. */
#pragma once

#include <string_view>
#include <vector>

#include "meta/zorrecordmetadata.h"

/** What a class tells of an attribute beside the field of the same index. */
struct ZorClassFieldType {
    KEL_string defaultValue;  ///< As the partner writes it.
    ZOR_CLASS_ATTRIBUTE_TYPE attributeKind = ZOR_CLASS_ATTRIBUTE_INSTANCE;
    bool isReadOnly = false;
    KEL_string attributeDeclaringClass;  ///< The class or interface that the attribute comes from.
    KEL_string description;              ///< Text for a human.
};

/**
 * Description of a class: a record whose fields are the attributes, all of them, static ones too. Their
 * places follow from their types, in both layouts alike, and so does the record length on locking.
 *
 * Attributes may refer to classes, also in a circle. Locking a class leaves the classes of its attributes
 * open; each is locked with its own first instance.
 */
class ZorClassMetaData : public ZorRecordMetaData {
  public:
    ZorClassMetaData(std::string_view name, std::string_view origin, unsigned reserve);

    ZorMetaType getMetaType() const noexcept override { return ZOR_META_CLASS; }

    /**
     * Adds an attribute behind the others. `length` is the length in bytes, in both layouts, of a character,
     * byte or packed attribute; any other type has its own. Reference and failures as
     * ZorRecordMetaData::add.
     */
    void add(std::string_view declaringClass, std::string_view fieldName, ZORTYPE fieldType, unsigned length,
             unsigned decimals, std::string_view description, ZorAbstractMetaData* metaData, void* extended,
             ZOR_CLASS_ATTRIBUTE_TYPE attributeKind, bool readOnly, std::string_view defaultValue);
    /** Adds an attribute without decimals, texts or description. */
    void add(std::string_view declaringClass, std::string_view fieldName, ZORTYPE fieldType,
             unsigned byteLength, ZOR_CLASS_ATTRIBUTE_TYPE attributeKind, bool readOnly);
    /** Adds an attribute that refers to an instance of a class. */
    void add(std::string_view declaringClass, std::string_view fieldName, ZorClassMetaData& classMetaData,
             ZOR_CLASS_ATTRIBUTE_TYPE attributeKind, bool readOnly);

    /** @name Parent classes and interfaces, in the order of adding, without a look for duplicates.
     * They have no part in the layout, so a locked description takes them too.
     */
    /** @{ */
    const std::vector<KEL_string>& getParentClasses() const noexcept { return parentClasses; }
    void clearParentClasses() noexcept { parentClasses.clear(); }
    void addParentClass(std::string_view className) { parentClasses.emplace_back(className); }
    const std::vector<KEL_string>& getImplementedInterfaces() const noexcept { return implementedInterfaces; }
    void clearImplementedInterfaces() noexcept { implementedInterfaces.clear(); }
    void addImplementedInterface(std::string_view interfaceName) {
        implementedInterfaces.emplace_back(interfaceName);
    }
    /** @} */

    /** @name What is known of an attribute beside its field. */
    /** @{ */
    ZOR_CLASS_ATTRIBUTE_TYPE getAttributeKind(unsigned index) const noexcept {
        return classFields[index].attributeKind;
    }
    ZOR_CLASS_ATTRIBUTE_TYPE getAttributeKind(std::string_view attribute) const {
        return classField(attribute).attributeKind;
    }
    bool isReadOnly(unsigned index) const noexcept { return classFields[index].isReadOnly; }
    bool isReadOnly(std::string_view attribute) const { return classField(attribute).isReadOnly; }
    const KEL_string& getDeclaringClass(unsigned index) const noexcept {
        return classFields[index].attributeDeclaringClass;
    }
    const KEL_string& getDeclaringClass(std::string_view attribute) const {
        return classField(attribute).attributeDeclaringClass;
    }
    const KEL_string& getDefault(unsigned index) const noexcept { return classFields[index].defaultValue; }
    const KEL_string& getDefault(std::string_view attribute) const {
        return classField(attribute).defaultValue;
    }
    const KEL_string& getDescription(unsigned index) const noexcept { return classFields[index].description; }
    const KEL_string& getDescription(std::string_view attribute) const {
        return classField(attribute).description;
    }
    /** @} */

    /** @name Set while a query of this class has met a reference back to it. Only the querying thread looks.
     */
    /** @{ */
    bool isInRecursiveQuery() const noexcept { return inRecursiveQuery; }
    void setInRecursiveQuery(bool recursive) noexcept { inRecursiveQuery = recursive; }
    /** @} */

    /**
     * Makes this open description a copy of another, with the same descriptions behind its attributes. The
     * copy is open. On failure nothing has changed.
     */
    void copy(const ZorClassMetaData& source);

  protected:
    /** Classes of one name are equal, whatever their attributes. */
    bool equalsWithin(const ZorAbstractMetaData& other, ZorComparedPairs& compared) const override;
    /** The end of the last attribute, rounded up. */
    void declareLengths(ZorLockShape& shape) const override;

  private:
    const ZorClassFieldType& classField(std::string_view attribute) const;

    std::vector<ZorClassFieldType> classFields;  ///< One for each field, in the same order.
    std::vector<KEL_string> parentClasses;
    std::vector<KEL_string> implementedInterfaces;
    bool inRecursiveQuery = false;
};
