/**
 * @file
 * Language keys, and text in UTF-8.
 *
 * The back-end names a language by one character, the world by the two letters of ISO 639. Text in this
 * interface is in the system code page; these functions bring it from UTF-8 and back.
 * All functions of this family may be called from any thread.
 */
#ifndef KELZOR_LANGUAGE_H
#define KELZOR_LANGUAGE_H

#include <kelzor/error.h>
#include <kelzor/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds the key of a language.
 *
 * @param laiso two letters, whose case doesn't matter.
 * @param lang takes one character; no terminator is written.
 * @return ZOR_INVALID_PARAMETER for a NULL argument, and for a language that isn't known; the latter
 *         leaves ZOR_OK in the error record.
 */
KELZOR_API ZOR_RC ZorLanguageIsoToKel(const KEL_UC* laiso, KEL_UC* lang, ZOR_ERROR_INFO* errorInfo);

/**
 * Finds the ISO code of a language.
 *
 * @param lang one character, whose case matters.
 * @param laiso takes two letters; no terminator is written.
 * @return as ZorLanguageIsoToKel.
 */
KELZOR_API ZOR_RC ZorLanguageKelToIso(const KEL_UC* lang, KEL_UC* laiso, ZOR_ERROR_INFO* errorInfo);

/**
 * Converts UTF-8 to the system code page. A character that it doesn't have becomes '#'.
 *
 * @param utf8 the text, which needs no terminator.
 * @param utf8Length its length in bytes; 0 gives an empty result.
 * @param keluc takes the text and a terminator; may be NULL if `*kelucSize` is 0.
 * @param kelucSize in: room at `keluc` in characters. Out, after ZOR_BUFFER_TOO_SMALL: a size that
 *        suffices, the terminator included.
 * @param resultLength takes the length of the result without terminator, 0 on failure; may be NULL.
 * @return ZOR_BUFFER_TOO_SMALL: call again with a larger buffer. ZOR_CONVERSION_FAILURE: the text has a
 *         broken or unfinished sequence. ZOR_INVALID_PARAMETER: a needed argument is NULL.
 */
KELZOR_API ZOR_RC ZorUTF8ToKELUC(const ZOR_BYTE* utf8, unsigned utf8Length, KEL_UC* keluc,
                                 unsigned* kelucSize, unsigned* resultLength, ZOR_ERROR_INFO* errorInfo);

/**
 * Converts from the system code page to UTF-8.
 *
 * @param keluc the text, which needs no terminator.
 * @param kelucLength its length in characters; 0 gives an empty result.
 * @param utf8 takes the text and a terminator; may be NULL if `*utf8Size` is 0.
 * @param utf8Size room at `utf8` in bytes, as `kelucSize` above.
 * @param resultLength takes the length of the result in bytes, 0 on failure; may be NULL.
 * @return as ZorUTF8ToKELUC.
 */
KELZOR_API ZOR_RC ZorKELUCToUTF8(const KEL_UC* keluc, unsigned kelucLength, ZOR_BYTE* utf8,
                                 unsigned* utf8Size, unsigned* resultLength, ZOR_ERROR_INFO* errorInfo);

#ifdef __cplusplus
}
#endif

#endif
