/**
 * @file
 * Structures, and reading and writing the fields of any data container.
 *
 * Field access works alike on a structure, on a table (the fields of the row under its cursor) and on a
 * function (its parameters), by name or by index from 0. The type asked for need not be the field's:
 * values convert where that makes sense. A container belongs to one thread at a time.
 *
 * Failures that all field functions share; the field is then as it was, unless a function says otherwise:
 * - `ZOR_INVALID_HANDLE`: NULL, or no container (any more).
 * - `ZOR_INVALID_PARAMETER`: no field of that name or index, or a NULL argument. A NULL name is reported
 *   before a NULL handle.
 * - `ZOR_CONVERSION_FAILURE`: field and caller's type don't go together, or the value has no counterpart;
 *   the message names field, types and, where known, the position in the text.
 * - `ZOR_ILLEGAL_STATE`: a table without rows or with its cursor past the end.
 * - `ZOR_MEMORY_INSUFFICIENT`: memory ran out.
 *
 * Functions that read into a buffer also give `ZOR_BUFFER_TOO_SMALL`: the message names the length needed,
 * and a length argument receives the length of the value.
 *
 * Among integers what doesn't fit is cut to its low-order bits without a word; text to an integer field
 * is checked. Decimal floating point converts exactly or fails, but for doubles, which are rounded; whatever
 * touches such a value or field, but for its bytes, gives `ZOR_UBIX_RUNTIME_FAILURE` if the decimal library
 * can't be loaded or is too old.
 */
#ifndef KELZOR_DATA_H
#define KELZOR_DATA_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @name Structures */
/** @{ */

/**
 * Makes a structure with initial values: blanks, zeros, no children. Locks the description, which may be
 * destroyed right afterwards.
 *
 * @return the structure, the caller's until `ZorDestroyStructure`; NULL on failure.
 * Failures: `ZOR_INVALID_HANDLE` (NULL); `ZOR_INVALID_PARAMETER` (the description is gone, or its record
 * length doesn't cover its fields); `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_STRUCTURE_HANDLE ZorCreateStructure(ZOR_TYPE_DESC_HANDLE typeDescHandle,
                                                   ZOR_ERROR_INFO* errorInfo);

/**
 * Makes a deep copy of a structure or row.
 *
 * @return the copy, the caller's until `ZorDestroyStructure`; NULL on failure.
 * Failures: `ZOR_INVALID_HANDLE`; `ZOR_ILLEGAL_STATE` (a row that is no longer there);
 * `ZOR_MEMORY_INSUFFICIENT`.
 */
KELZOR_API ZOR_STRUCTURE_HANDLE ZorCloneStructure(ZOR_STRUCTURE_HANDLE structHandle,
                                                  ZOR_ERROR_INFO* errorInfo);

/**
 * Destroys a structure with its children. Only for structures that the caller made: one that came out
 * of a field or a table belongs there.
 * Failure: `ZOR_INVALID_HANDLE` (a field's or a table's, too).
 */
KELZOR_API ZOR_RC ZorDestroyStructure(ZOR_STRUCTURE_HANDLE structHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the description of a structure or of a table's rows.
 *
 * @return the description, which isn't to be destroyed; NULL on failure.
 * Failure: `ZOR_INVALID_HANDLE` (NULL, no container, or neither structure nor table).
 */
KELZOR_API ZOR_TYPE_DESC_HANDLE ZorDescribeType(DATA_CONTAINER_HANDLE dataHandle, ZOR_ERROR_INFO* errorInfo);

/** @} */

/** @name Reading fields */
/** @{ */

/**
 * Reads any scalar or string field as text, padded with blanks to the buffer's end; without terminator.
 * Trailing blanks of the field don't count. Bytes read as hexadecimal digits, numbers as decimal text.
 *
 * @param charBuffer filled with blanks even if the call then fails.
 * @param bufferLength its length in characters.
 */
KELZOR_API ZOR_RC ZorGetChars(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_CHAR* charBuffer,
                              unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetCharsByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_CHAR* charBuffer,
                                     unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Reads an integer, NUM, CHAR or STRING field as digits, right aligned with zeros on the left; without
 * terminator. A minus sign stays before the digits.
 *
 * @param bufferLength length of the buffer in characters.
 */
KELZOR_API ZOR_RC ZorGetNum(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_NUM* charBuffer,
                            unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetNumByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_NUM* charBuffer,
                                   unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Reads a DATE field.
 *
 * @param emptyDate 8 characters, YYYYMMDD, without terminator.
 */
KELZOR_API ZOR_RC ZorGetDate(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DATE emptyDate,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetDateByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DATE emptyDate,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Reads a TIME field.
 *
 * @param emptyTime 6 characters, HHMMSS, without terminator.
 */
KELZOR_API ZOR_RC ZorGetTime(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_TIME emptyTime,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetTimeByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_TIME emptyTime,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorGetChars`, but with a terminator behind the value instead of blanks.
 *
 * @param stringBuffer untouched on failure.
 * @param bufferLength its length in characters; the value needs one more than its length.
 * @param stringLength may be NULL; gets the value's length without terminator, also when the buffer is too
 *        small.
 */
KELZOR_API ZOR_RC ZorGetString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, KEL_UC* stringBuffer,
                               unsigned bufferLength, unsigned* stringLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, KEL_UC* stringBuffer,
                                      unsigned bufferLength, unsigned* stringLength,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Reads the bytes of a field as they stand in the record (numbers in the byte order of the host), or the
 * content of an XSTRING. STRING, structure and table fields have none; those of an object mean nothing.
 *
 * @param byteBuffer what lies behind the value stays as it is.
 * @param bufferLength its length in bytes.
 */
KELZOR_API ZOR_RC ZorGetBytes(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_BYTE* byteBuffer,
                              unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetBytesByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_BYTE* byteBuffer,
                                     unsigned bufferLength, ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorGetBytes`.
 *
 * @param xstringLength may be NULL; gets the value's length in bytes, also when the buffer is too small.
 */
KELZOR_API ZOR_RC ZorGetXString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_BYTE* byteBuffer,
                                unsigned bufferLength, unsigned* xstringLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetXStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_BYTE* byteBuffer,
                                       unsigned bufferLength, unsigned* xstringLength,
                                       ZOR_ERROR_INFO* errorInfo);

/**
 * Reads an integer field. Also: CHAR and NUM as far as they are a number; BCD, FLOAT and DECF without their
 * fraction; BYTE of length 1, 2, 4 or 8, the most significant byte first. Text, BCD and DECF clamp to 32
 * bits.
 */
KELZOR_API ZOR_RC ZorGetInt(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT* value,
                            ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetIntByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT* value,
                                   ZOR_ERROR_INFO* errorInfo);

/**
 * Reads an integer field: its lowest byte.
 */
KELZOR_API ZOR_RC ZorGetInt1(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT1* value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetInt1ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT1* value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Reads an integer field: its low-order 16 bits; INT1 is unsigned.
 */
KELZOR_API ZOR_RC ZorGetInt2(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT2* value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetInt2ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT2* value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Reads an integer field; INT1 is unsigned.
 */
KELZOR_API ZOR_RC ZorGetInt8(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT8* value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetInt8ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT8* value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Reads a FLOAT or BCD field.
 */
KELZOR_API ZOR_RC ZorGetFloat(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_FLOAT* value,
                              ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetFloatByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_FLOAT* value,
                                     ZOR_ERROR_INFO* errorInfo);

/**
 * Reads a DECF16 field. Also: DECF34, integers, and CHAR, NUM, STRING and BCD as text, if they fit into 16
 * digits and their exponents; FLOAT, of which the first 17 digits are rounded to 16; BYTE of length 8 as it
 * stands. Text has nothing around the number; "Infinity" and "NaN" are numbers too.
 *
 * Further failure: `ZOR_UBIX_RUNTIME_FAILURE` (no decimal library, before all that is wrong with the field).
 */
KELZOR_API ZOR_RC ZorGetDecF16(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF16* value,
                               ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetDecF16ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF16* value,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorGetDecF16`, with 34 digits; DECF16 widens, a FLOAT gives 17 digits, BYTE has length 16.
 */
KELZOR_API ZOR_RC ZorGetDecF34(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF34* value,
                               ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetDecF34ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF34* value,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the structure in a STRUCTURE field, made on first use. It belongs to the container and lives as
 * long as that, or until another one is set.
 */
KELZOR_API ZOR_RC ZorGetStructure(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                                  ZOR_STRUCTURE_HANDLE* structHandle, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetStructureByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                         ZOR_STRUCTURE_HANDLE* structHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the table in a TABLE field, made on first use; NULL for a field without description. It belongs
 * to the container. After a call that filled it, its cursor is on the first row.
 *
 * Further failure: `ZOR_ILLEGAL_STATE` (rows of length 0).
 */
KELZOR_API ZOR_RC ZorGetTable(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                              ZOR_TABLE_HANDLE* tableHandle, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetTableByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                     ZOR_TABLE_HANDLE* tableHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the object in an object field; NULL if none was set. It belongs to the container and lives as long
 * as that.
 */
KELZOR_API ZOR_RC ZorGetUbixObject(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                                   ZOR_UBIX_OBJECT_HANDLE* objHandle, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetUbixObjectByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                          ZOR_UBIX_OBJECT_HANDLE* objHandle, ZOR_ERROR_INFO* errorInfo);

/**
 * Gives the length of a STRING in characters or of an XSTRING in bytes, without terminator.
 * Any other field: `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorGetStringLength(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                                     unsigned* stringLength, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorGetStringLengthByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                            unsigned* stringLength, ZOR_ERROR_INFO* errorInfo);

/** @} */

/** @name Writing fields */
/** @{ */

/**
 * Writes text to any scalar or string field. CHAR cuts what is too long and pads with blanks; DATE takes
 * YYYYMMDD or 10 characters with separators, TIME HHMMSS or 8; BCD rounds half up; BYTE and XSTRING take
 * hexadecimal digits in capitals. Numbers must fit, and DECF takes them exactly, without blanks. A failed
 * write resets BCD and NUM fields.
 *
 * @param value needs no terminator.
 * @param length its length in characters. Numbers and strings refuse more than 2147483647 with
 *        `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorSetChars(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_CHAR* value,
                              unsigned length, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetCharsByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_CHAR* value,
                                     unsigned length, ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetChars`.
 */
KELZOR_API ZOR_RC ZorSetNum(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_NUM* value,
                            unsigned length, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetNumByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_NUM* value,
                                   unsigned length, ZOR_ERROR_INFO* errorInfo);

/**
 * Writes a DATE field: 8 characters, which aren't checked.
 */
KELZOR_API ZOR_RC ZorSetDate(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_DATE date,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetDateByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_DATE date,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Writes a TIME field: 6 characters, which aren't checked.
 */
KELZOR_API ZOR_RC ZorSetTime(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_TIME time,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetTimeByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_TIME time,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetChars`; a length of 0 empties a STRING.
 */
KELZOR_API ZOR_RC ZorSetString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const KEL_UC* value,
                               unsigned length, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const KEL_UC* value,
                                      unsigned length, ZOR_ERROR_INFO* errorInfo);

/**
 * Writes bytes: BYTE cuts or pads with zero bytes, XSTRING takes them all, numbers take exactly their
 * stored form, CHAR and STRING take them as hexadecimal digits.
 *
 * @param length length of the value in bytes; XSTRING and STRING refuse more than 2147483647 with
 *        `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorSetBytes(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_BYTE* value,
                              unsigned length, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetBytesByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, const ZOR_BYTE* value,
                                     unsigned length, ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetBytes`; a length of 0 empties an XSTRING.
 */
KELZOR_API ZOR_RC ZorSetXString(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, const ZOR_BYTE* value,
                                unsigned length, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetXStringByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                       const ZOR_BYTE* value, unsigned length, ZOR_ERROR_INFO* errorInfo);

/**
 * Writes an integer to an integer field, or as text to a CHAR, NUM or STRING field.
 */
KELZOR_API ZOR_RC ZorSetInt(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT value,
                            ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetIntByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT value,
                                   ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetInt`.
 */
KELZOR_API ZOR_RC ZorSetInt1(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT1 value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetInt1ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT1 value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetInt`.
 */
KELZOR_API ZOR_RC ZorSetInt2(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT2 value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetInt2ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT2 value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetInt`.
 */
KELZOR_API ZOR_RC ZorSetInt8(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_INT8 value,
                             ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetInt8ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_INT8 value,
                                    ZOR_ERROR_INFO* errorInfo);

/**
 * Writes to a FLOAT field, as text of up to 17 digits to a CHAR, BCD, NUM or STRING field, or rounded to the
 * digits of a DECF field.
 */
KELZOR_API ZOR_RC ZorSetFloat(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_FLOAT value,
                              ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetFloatByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_FLOAT value,
                                     ZOR_ERROR_INFO* errorInfo);

/**
 * Writes to a DECF16 or DECF34 field. Also: to an integer field, if it is an integer of 32 bits (64 for
 * INT8), of which the low-order bits go in; to FLOAT the nearest double; to CHAR, NUM, STRING and BCD its
 * text, which BCD refuses when it has an exponent; to BYTE of length 8 as it stands.
 *
 * Further failure: `ZOR_UBIX_RUNTIME_FAILURE` (no decimal library, before all that is wrong with the field).
 */
KELZOR_API ZOR_RC ZorSetDecF16(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF16 value,
                               ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetDecF16ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF16 value,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * As `ZorSetDecF16`; a DECF16 field takes it if 16 digits hold it, BYTE has length 16.
 */
KELZOR_API ZOR_RC ZorSetDecF34(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_DECF34 value,
                               ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetDecF34ByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_DECF34 value,
                                      ZOR_ERROR_INFO* errorInfo);

/**
 * Replaces the structure in a STRUCTURE field by a deep copy; the value stays the caller's. What is no
 * structure: `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorSetStructure(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                                  ZOR_STRUCTURE_HANDLE value, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetStructureByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                         ZOR_STRUCTURE_HANDLE value, ZOR_ERROR_INFO* errorInfo);

/**
 * Replaces the table in a TABLE field by a deep copy; the value stays the caller's. What is no table:
 * `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorSetTable(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name, ZOR_TABLE_HANDLE value,
                              ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetTableByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index, ZOR_TABLE_HANDLE value,
                                     ZOR_ERROR_INFO* errorInfo);

/**
 * Replaces the object in an object field by a deep copy, whatever its class; the value stays the caller's.
 * What is no object: `ZOR_INVALID_PARAMETER`.
 */
KELZOR_API ZOR_RC ZorSetUbixObject(DATA_CONTAINER_HANDLE dataHandle, const KEL_UC* name,
                                   ZOR_UBIX_OBJECT_HANDLE value, ZOR_ERROR_INFO* errorInfo);
KELZOR_API ZOR_RC ZorSetUbixObjectByIndex(DATA_CONTAINER_HANDLE dataHandle, unsigned index,
                                          ZOR_UBIX_OBJECT_HANDLE value, ZOR_ERROR_INFO* errorInfo);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
