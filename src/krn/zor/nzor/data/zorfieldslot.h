/** @file Loads and stores of the values in a record's bytes, and the children behind its pointers. */
#pragma once

#include <cstring>
#include <memory>
#include <type_traits>

#include "data/zorrecord.h"

/**
 * Reads a scalar. Rows lie back to back, so a slot may stand at any address; and a description may give
 * a field fewer bytes than its type has, of which then only these count.
 */
template <class T>
T loadScalar(const ZorFieldSlot& slot) noexcept {
    T value{};
    if (slot.field.length1 >= sizeof value) [[likely]]
        std::memcpy(&value, slot.addr, sizeof value);
    else
        std::memcpy(&value, slot.addr, slot.field.length1);
    return value;
}

template <class T>
void storeScalar(const ZorFieldSlot& slot, T value) noexcept {
    if (slot.field.length1 >= sizeof value) [[likely]]
        std::memcpy(slot.addr, &value, sizeof value);
    else
        std::memcpy(slot.addr, &value, slot.field.length1);
}

/** The child behind a pointer slot; null if there is none. */
template <class T>
T* loadChild(const KEL_RAW* addr) noexcept {
    T* child = nullptr;
    std::memcpy(&child, addr, sizeof child);
    return child;
}

template <class T>
void storeChild(KEL_RAW* addr, T* child) noexcept {
    std::memcpy(addr, &child, sizeof child);
}

/** As `storeChild`, for a child that is the record's from now on; null for none. */
template <class T>
void holdChild(KEL_RAW* addr, T* child) noexcept {
    if constexpr (std::is_base_of_v<ZorRecord, T>)
        if (child != nullptr) child->setHeld();
    storeChild(addr, child);
}

/** The string or byte string behind a pointer slot, made if there is none. */
template <class T>
T& childMade(const ZorFieldSlot& slot) {
    T* child = loadChild<T>(slot.addr);
    if (child == nullptr) {
        child = std::make_unique<T>().release();
        storeChild(slot.addr, child);
    }
    return *child;
}

/** True for types whose slot holds a pointer to a child that the record owns. */
constexpr bool isHeldByPointer(ZORTYPE type) noexcept {
    return type == ZORTYPE_TABLE || type == ZORTYPE_STRUCTURE || type == ZORTYPE_UBIXOBJECT ||
           type == ZORTYPE_STRING || type == ZORTYPE_XSTRING;
}

/** Initial value of a field; an existing child is emptied, none is made. */
void fillSlot(const ZorFieldSlot& slot);

/** Destroys the child in a pointer slot of a type and leaves null; other types have none. */
void destroyChild(ZORTYPE type, KEL_RAW* addr) noexcept;

/** Destroys all children in a record's bytes and leaves null pointers. */
void destroyChildren(const ZorRecordMetaData& desc, KEL_RAW* bytes) noexcept;

/**
 * Gives the record at `target`, a copy of the bytes at `source`, deep copies of the children of its own.
 * When that throws, `target` is left without children.
 */
void cloneChildren(const ZorRecordMetaData& desc, const KEL_RAW* source, KEL_RAW* target);
