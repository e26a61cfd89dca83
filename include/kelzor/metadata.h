/**
 * @file
 * Descriptions of types (structures and table rows) and of functions.
 *
 * A description is open while it is built. The first container that is made from it, or a repository
 * that takes it, locks it; from then on it never changes and may be read from any thread. An open
 * description belongs to one thread.
 *
 * Every type, field and parameter has two lengths in bytes: `nuc` with characters of one byte, which
 * is how this library keeps data in memory, and `uc` with characters of two bytes, which partners of
 * that kind need. A caller who passes 0 for the second length of the first field gets all second
 * lengths and offsets derived, and must then pass 0 for all of them.
 *
 * A description is counted: who creates one destroys it, but it lives on for the fields and containers
 * that use it. Creating a container and destroying the description at once is fine.
 *
 * All functions return ZOR_INVALID_HANDLE for a NULL handle or one of another kind, and
 * ZOR_INVALID_PARAMETER for a handle whose description is gone, for a NULL argument that is needed, and
 * for an index that does not exist. A function that fails leaves the description as it was.
 */
#ifndef KELZOR_METADATA_H
#define KELZOR_METADATA_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef KEL_UC ZOR_PARAMETER_DEFVALUE[31]; /**< Default of a parameter: 30 characters and a terminator. */
typedef KEL_UC ZOR_PARAMETER_TEXT[80];     /**< Text about a parameter: 79 characters and a terminator. */

/** A field of a structure or table row. Lengths and offsets are in bytes. */
typedef struct ZOR_FIELD_DESC {
    ZOR_UBIX_NAME name;                  /**< Name, unique in its description, case included. */
    ZORTYPE type;                        /**< Type. */
    unsigned nucLength;                  /**< Length with 1-byte characters. */
    unsigned nucOffset;                  /**< Offset with 1-byte characters. */
    unsigned ucLength;                   /**< Length with 2-byte characters; 0 to have it derived. */
    unsigned ucOffset;                   /**< Offset with 2-byte characters; 0 where the length is derived. */
    unsigned decimals;                   /**< Decimals of a packed or float field. */
    ZOR_TYPE_DESC_HANDLE typeDescHandle; /**< Description of a nested structure or of a table's rows. */
    void* extendedDescription;           /**< The caller's; stored and returned, never read through. */
} ZOR_FIELD_DESC;

/** A parameter of a function. Lengths are in bytes. */
typedef struct ZOR_PARAMETER_DESC {
    ZOR_UBIX_NAME name;                  /**< Name, unique in its description, case included. */
    ZORTYPE type;                        /**< Type. */
    ZOR_DIRECTION direction;             /**< Direction. */
    unsigned nucLength;                  /**< Length with 1-byte characters. */
    unsigned ucLength;                   /**< Length with 2-byte characters; 0 to have it derived. */
    unsigned decimals;                   /**< Decimals of a packed or float parameter. */
    ZOR_TYPE_DESC_HANDLE typeDescHandle; /**< Description of a structure or of a table's rows. */
    ZOR_PARAMETER_DEFVALUE defaultValue; /**< Default, as the partner writes it. */
    ZOR_PARAMETER_TEXT parameterText;    /**< Text for a human. */
    ZOR_BYTE optional;                   /**< Not 0: the parameter may be left out. */
    void* extendedDescription;           /**< The caller's; stored and returned, never read through. */
} ZOR_PARAMETER_DESC;

/** An exception that a function may raise. */
typedef struct ZOR_EXCEPTION_DESC {
    KEL_UC key[128];     /**< Name: 127 characters and a terminator. */
    KEL_UC message[512]; /**< Text: 511 characters and a terminator. */
} ZOR_EXCEPTION_DESC;

/** @name Type descriptions */
/** @{ */

/**
 * Creates an open description without fields. The name is taken as it stands.
 * Returns a handle that the caller owns until ZorDestroyTypeDesc or until a repository takes it, or
 * NULL: ZOR_INVALID_PARAMETER for a NULL name.
 */
KELZOR_API ZOR_TYPE_DESC_HANDLE ZorCreateTypeDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives a description back. It lives on for fields and containers that still use it. Fails with
 * ZOR_ILLEGAL_STATE if the caller doesn't own it (any more), for example when a repository has it.
 */
KELZOR_API ZOR_RC ZorDestroyTypeDesc(ZOR_TYPE_DESC_HANDLE typeHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Adds a field behind the others. Offsets must not lie before the end of the field before; the first
 * field may have any. The description that `typeDescHandle` names stays the caller's; the field holds a
 * reference of its own. Fails with ZOR_ILLEGAL_STATE on a locked description, and with
 * ZOR_INVALID_PARAMETER for a name that exists and for lengths or offsets that contradict the others.
 */
KELZOR_API ZOR_RC ZorAddTypeField(ZOR_TYPE_DESC_HANDLE typeHandle, const ZOR_FIELD_DESC* fieldDescr,
                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Sets the record lengths in bytes. The first must reach to the end of the last field before a container
 * can be made; the second too, or it is 0 where second lengths are derived. Fails with ZOR_ILLEGAL_STATE
 * on a locked description.
 */
KELZOR_API ZOR_RC ZorSetTypeLength(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned nucByteLength,
                                   unsigned ucByteLength, ZOR_ERROR_INFO* errorInfo);

/** Stores the name in a buffer of 31 characters; a name of more than 30 gives the empty string. */
KELZOR_API ZOR_RC ZorGetTypeName(ZOR_TYPE_DESC_HANDLE typeHandle, ZOR_CHAR* bufferForName,
                                 ZOR_ERROR_INFO* errorInfo);

/** Stores the number of fields. */
KELZOR_API ZOR_RC ZorGetFieldCount(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned* count,
                                   ZOR_ERROR_INFO* errorInfo);

/** Fills a field's descriptor. The handle in it stays the library's. `index` counts from 0. */
KELZOR_API ZOR_RC ZorGetFieldDescByIndex(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned index,
                                         ZOR_FIELD_DESC* fieldDescr, ZOR_ERROR_INFO* errorInfo);

/** As by index; an unknown name is ZOR_INVALID_PARAMETER, the empty name is the first field. */
KELZOR_API ZOR_RC ZorGetFieldDescByName(ZOR_TYPE_DESC_HANDLE typeHandle, const KEL_UC* name,
                                        ZOR_FIELD_DESC* fieldDescr, ZOR_ERROR_INFO* errorInfo);

/** Stores the record lengths in bytes. Either pointer may be NULL. */
KELZOR_API ZOR_RC ZorGetTypeLength(ZOR_TYPE_DESC_HANDLE typeHandle, unsigned* nucByteLength,
                                   unsigned* ucByteLength, ZOR_ERROR_INFO* errorInfo);

/** @} */
/** @name Function descriptions */
/** @{ */

/** As ZorCreateTypeDesc, for a function. Destroyed by ZorDestroyFunctionDesc. */
KELZOR_API ZOR_FUNCTION_DESC_HANDLE ZorCreateFunctionDesc(const KEL_UC* name, ZOR_ERROR_INFO* errorInfo);

/** As ZorDestroyTypeDesc, for a function. */
KELZOR_API ZOR_RC ZorDestroyFunctionDesc(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_ERROR_INFO* errorInfo);

/**
 * Adds a parameter behind the others. An import and an export of one name, type and length become one
 * changing parameter. Ownership and failures are those of ZorAddTypeField.
 */
KELZOR_API ZOR_RC ZorAddParameter(ZOR_FUNCTION_DESC_HANDLE funcDesc, const ZOR_PARAMETER_DESC* paramDescr,
                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Adds an exception. Fails with ZOR_INVALID_PARAMETER for a key that exists, and with ZOR_ILLEGAL_STATE
 * on a locked description.
 */
KELZOR_API ZOR_RC ZorAddException(ZOR_FUNCTION_DESC_HANDLE funcDesc, const ZOR_EXCEPTION_DESC* excDesc,
                                  ZOR_ERROR_INFO* errorInfo);

/** Stores the name in a buffer of 31 characters; a name of more than 30 gives the empty string. */
KELZOR_API ZOR_RC ZorGetFunctionName(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_CHAR* bufferForName,
                                     ZOR_ERROR_INFO* errorInfo);

/** Stores the number of parameters. */
KELZOR_API ZOR_RC ZorGetParameterCount(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned* count,
                                       ZOR_ERROR_INFO* errorInfo);

/** Fills a parameter's descriptor. The handle in it stays the library's. `index` counts from 0. */
KELZOR_API ZOR_RC ZorGetParameterDescByIndex(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned index,
                                             ZOR_PARAMETER_DESC* paramDescr, ZOR_ERROR_INFO* errorInfo);

/** As by index; an unknown name is ZOR_INVALID_PARAMETER, the empty name is the first parameter. */
KELZOR_API ZOR_RC ZorGetParameterDescByName(ZOR_FUNCTION_DESC_HANDLE funcDesc, const KEL_UC* name,
                                            ZOR_PARAMETER_DESC* paramDescr, ZOR_ERROR_INFO* errorInfo);

/** Stores the number of exceptions. */
KELZOR_API ZOR_RC ZorGetExceptionCount(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned* count,
                                       ZOR_ERROR_INFO* errorInfo);

/** Fills an exception's descriptor. `index` counts from 0. */
KELZOR_API ZOR_RC ZorGetExceptionDescByIndex(ZOR_FUNCTION_DESC_HANDLE funcDesc, unsigned index,
                                             ZOR_EXCEPTION_DESC* excDesc, ZOR_ERROR_INFO* errorInfo);

/** As by index; an unknown key is ZOR_INVALID_PARAMETER. */
KELZOR_API ZOR_RC ZorGetExceptionDescByName(ZOR_FUNCTION_DESC_HANDLE funcDesc, const KEL_UC* name,
                                            ZOR_EXCEPTION_DESC* excDesc, ZOR_ERROR_INFO* errorInfo);

/** Lets calls of the function use the binary XML form. Fails with ZOR_ILLEGAL_STATE once locked. */
KELZOR_API ZOR_RC ZorEnableLUMX(ZOR_FUNCTION_DESC_HANDLE funcDesc, ZOR_ERROR_INFO* errorInfo);

/** Stores 1 if calls of the function may use the binary XML form, else 0. */
KELZOR_API ZOR_RC ZorIsLUMXSupported(ZOR_FUNCTION_DESC_HANDLE funcDesc, int* isAble,
                                     ZOR_ERROR_INFO* errorInfo);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
