/**
 * @file
 * Descriptions of classes: their attributes, parent classes and interfaces.
 *
 * A description is built field by field like one of metadata.h, or comes from a repository; instances are
 * made from it with `ZorCreateUbixObject`. It is open until the first instance is made or a repository takes
 * it, then locked. All attributes, static ones too, have a place in an instance.
 *
 * A class may refer to itself and to classes that refer back to it. Such a circle keeps itself alive until
 * the process ends.
 *
 * Failures that all functions with a handle share:
 * - `ZOR_INVALID_HANDLE`: NULL, or a description that isn't one of a class.
 * - `ZOR_INVALID_PARAMETER`: the description is gone, or an argument is NULL.
 * - `ZOR_MEMORY_INSUFFICIENT`: memory ran out; the description is as it was.
 *
 * An open description belongs to one thread; a locked one may be read by all.
 */
#ifndef KELZOR_CLASSES_H
#define KELZOR_CLASSES_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef KEL_UC ZOR_CLASS_NAME[31];                   /**< Name of a class: 30 characters and a terminator. */
typedef KEL_UC ZOR_CLASS_ATTRIBUTE_DEFVALUE[31];     /**< Default: 30 characters and a terminator. */
typedef KEL_UC ZOR_CLASS_ATTRIBUTE_DESCRIPTION[512]; /**< Text: 511 characters and a terminator. */

/** An attribute of a class. Lengths are in bytes. */
typedef struct ZOR_CLASS_ATTRIBUTE_DESC {
    ZOR_UBIX_NAME name; /**< Name, unique in its class, case included. */
    ZORTYPE type;       /**< Type. */
    unsigned nucLength; /**< Length of a CHAR, NUM, DATE, TIME, BYTE or BCD; others have their own. */
    unsigned ucLength;  /**< The same when read; ignored when an attribute is added. */
    unsigned decimals;  /**< Decimals of a packed attribute. */
    /** Description of a structure or of a table's rows, or, cast, of the class of an object. */
    ZOR_TYPE_DESC_HANDLE typeDescHandle;
    ZOR_CLASS_ATTRIBUTE_DEFVALUE defaultValue;   /**< Default, as the partner writes it. */
    ZOR_CLASS_NAME declaringClass;               /**< Class or interface that the attribute comes from. */
    ZOR_CLASS_ATTRIBUTE_DESCRIPTION description; /**< Text for a human. */
    unsigned isReadOnly;                         /**< Not 0: clients of the class can't change it. */
    ZOR_CLASS_ATTRIBUTE_TYPE attributeType;      /**< Where its value lives. */
    void* extendedDescription; /**< The caller's; stored and returned, never read through. */
} ZOR_CLASS_ATTRIBUTE_DESC;

/**
 * Creates an open description without attributes. The name is taken as it stands.
 *
 * @return the description, the caller's until `ZorDestroyClassDesc` or until a repository takes it; NULL on
 * failure.
 * Failures: `ZOR_INVALID_PARAMETER` (NULL); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_CLASS_DESC_HANDLE ZorCreateClassDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives a description back. It lives on for attributes and instances that still use it.
 * Further failure: `ZOR_ILLEGAL_STATE` if the caller doesn't own it (any more), for example when a repository
 * has it.
 */
KELZOR_API ZOR_RC ZorDestroyClassDesc(ZOR_CLASS_DESC_HANDLE classDesc, ZOR_ERROR_INFO* errorInfo);

/**
 * Stores the name of a class.
 *
 * @param bufferForName 31 characters; a name of more than 30 is cut.
 */
KELZOR_API ZOR_RC ZorGetClassName(ZOR_CLASS_DESC_HANDLE classDesc, ZOR_CHAR* bufferForName,
                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Adds an attribute behind the others. The description that `typeDescHandle` names stays the caller's; the
 * attribute holds a reference of its own.
 * Further failures: `ZOR_ILLEGAL_STATE` (the class is locked); `ZOR_INVALID_PARAMETER` (an attribute of that
 * name exists, or what `typeDescHandle` names is gone).
 */
KELZOR_API ZOR_RC ZorAddClassAttribute(ZOR_CLASS_DESC_HANDLE classDesc,
                                       const ZOR_CLASS_ATTRIBUTE_DESC* attrDesc, ZOR_ERROR_INFO* errorInfo);

/** Stores the number of attributes. */
KELZOR_API ZOR_RC ZorGetClassAttributesCount(ZOR_CLASS_DESC_HANDLE classDesc, unsigned* count,
                                             ZOR_ERROR_INFO* errorInfo);

/**
 * Fills an attribute's descriptor. The handle in it stays the library's.
 *
 * @param index counts from 0; one at or past the end is `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorGetClassAttributeDescByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index,
                                                  ZOR_CLASS_ATTRIBUTE_DESC* attrDesc,
                                                  ZOR_ERROR_INFO* errorInfo);

/** As by index; an unknown name is `ZOR_INVALID_PARAMETER`, the empty name is the first attribute. */
KELZOR_API ZOR_RC ZorGetClassAttributeDescByName(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name,
                                                 ZOR_CLASS_ATTRIBUTE_DESC* attrDesc,
                                                 ZOR_ERROR_INFO* errorInfo);

/**
 * Adds a parent class behind the others, also to a locked description, and also a second time.
 *
 * @param name of which up to 31 characters count.
 */
KELZOR_API ZOR_RC ZorAddParentClass(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name,
                                    ZOR_ERROR_INFO* errorInfo);

/** Stores the number of parent classes. */
KELZOR_API ZOR_RC ZorGetParentClassesCount(ZOR_CLASS_DESC_HANDLE classDesc, unsigned* parentClassesCount,
                                           ZOR_ERROR_INFO* errorInfo);

/**
 * Stores the name of a parent class; one of more than 30 characters gives the empty string.
 *
 * @param index counts from 0; one at or past the end is `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorGetParentClassByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index,
                                           ZOR_CLASS_NAME name, ZOR_ERROR_INFO* errorInfo);

/** As `ZorAddParentClass`, for an interface that the class implements. */
KELZOR_API ZOR_RC ZorAddImplementedInterface(ZOR_CLASS_DESC_HANDLE classDesc, const KEL_UC* name,
                                             ZOR_ERROR_INFO* errorInfo);

/** Stores the number of implemented interfaces. */
KELZOR_API ZOR_RC ZorGetImplementedInterfacesCount(ZOR_CLASS_DESC_HANDLE classDesc,
                                                   unsigned* implementedInterfacesCount,
                                                   ZOR_ERROR_INFO* errorInfo);

/** As `ZorGetParentClassByIndex`, for an interface. */
KELZOR_API ZOR_RC ZorGetImplementedInterfaceByIndex(ZOR_CLASS_DESC_HANDLE classDesc, unsigned index,
                                                    ZOR_CLASS_NAME name, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
