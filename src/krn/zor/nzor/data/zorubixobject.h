/** @file An instance of a class. */
#pragma once

#include <memory>

#include "data/zorstructure.h"
#include "meta/zorclassmetadata.h"

/**
 * An object instance: a structure whose fields are the attributes of its class. Like any container it owns
 * what its fields hold, so instances form trees; a copy is deep.
 */
class ZorUbixObject : public ZorStructure {
  public:
    /** An instance with initial values; locks the class. Null makes one without attributes. */
    explicit ZorUbixObject(ZorClassMetaData* desc) : ZorStructure(desc) {}
    /** A deep copy, which nobody holds yet. */
    ZorUbixObject(const ZorUbixObject& other) : ZorStructure(other), initialized(other.initialized) {}
    /** Becomes a deep copy of the other, of its class too. On failure the object is unchanged. */
    ZorUbixObject& operator=(const ZorUbixObject& other) {
        const bool filled = other.initialized;  // read first: the other may be part of what goes
        ZorStructure::operator=(other);
        initialized = filled;
        return *this;
    }

    std::unique_ptr<ZorUbixObject> clone() const { return std::make_unique<ZorUbixObject>(*this); }

    ZorRecordType getRecordType() const noexcept override { return ZOR_RECORD_OBJECT; }
    using ZorStructure::getClassMetaData;
    /** The class; null for an instance without one. */
    ZorClassMetaData* getClassMetaData() const noexcept {
        // An instance is never made of anything but a class.
        return static_cast<ZorClassMetaData*>(const_cast<ZorRecordMetaData*>(getDescriptor()));
    }

    bool initialized = false;  ///< Set by who fills the object from the wire.
};
