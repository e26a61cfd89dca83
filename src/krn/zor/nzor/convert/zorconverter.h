/** @file Conversion of text between code pages, and of numbers between machine formats. */
#pragma once

#include <kelzor/error.h>
#include <kelzor/types.h>

#include <span>
#include <string>

#include "krn/rscp/rscp.h"

/**
 * A converter from one code page to another. Converters are made at first use, kept until the process
 * ends, and used by any number of threads at once; finding one that exists takes no lock.
 */
class ZorConverter {
  public:
    /** What convert returns when the target is full. */
    static constexpr int outputFull = RSCPETOOLONG;

    /** Prepares the cache; part of the library's start. */
    static void init();

    /**
     * The converter between two pages of four digits (no terminator needed); NULL if one of them is NULL.
     *
     * @param ignoreConvErrors what happens to a character without a counterpart: 0 or below stops with
     *        an exception, 1 copies its bytes, 2 writes the substitute, and takes control characters
     *        between two Unicode forms for such characters too; above 2 writes '#'.
     * @param substitute number of the substitute character. It isn't part of what a converter is found
     *        by: the first request for a pair and mode decides.
     * Throws ZorCodepageConversionException for pages that the engine doesn't know.
     */
    static const ZorConverter* getConverter(const KEL_UC* fromCodepage, const KEL_UC* toCodepage,
                                            short ignoreConvErrors, unsigned substitute);

    /**
     * Converts `srcLength` bytes.
     *
     * @param pDestLength in: room of the target in bytes; out: bytes written.
     * @param pRestLength bytes of the source that are left; may be NULL.
     * @param secret whether the text must not show in a trace.
     * @return 0, or outputFull: what fits was converted, up to a whole character.
     * Throws ZorCodepageConversionException on text that can't be converted.
     */
    int convert(const KEL_RAW* src, unsigned srcLength, KEL_RAW* dest, unsigned* pDestLength,
                unsigned* pRestLength, bool secret = false) const;

    /** The same with pointers that move behind what was read and written. */
    int convert(const KEL_RAW*& pSrc, const KEL_RAW* srcEnd, KEL_RAW*& pDest, KEL_RAW* destEnd,
                bool secret = false) const;

    /**
     * As the form with pointers, but without exceptions: returns what the engine said, 0 or outputFull if all
     * is well.
     */
    int tryConvert(const KEL_RAW*& pSrc, const KEL_RAW* srcEnd, KEL_RAW*& pDest,
                   KEL_RAW* destEnd) const noexcept {
        return rscpCConvert(cpcObj, &pDest, destEnd, &pSrc, srcEnd);
    }

    /** Appends the conversion of a whole text. Throws ZorCodepageConversionException as `convert` does. */
    void append(std::string& text, std::span<const KEL_RAW> src, bool secret = false) const;

    /** Whether bytes below 0x80 are the same before and behind this conversion, so that it can be spared. */
    bool keepsSevenBit() const noexcept { return sevenBitKept; }

    /**
     * Converts UTF-8 to a page, NULL for "1100"; a character without a counterpart becomes '#'.
     *
     * @param pDestSize in: room of the target; out, when that is too small: a size that suffices, with
     *        the terminator.
     * @param pResultLength bytes of the text, 0 when the target is too small.
     * @return ZOR_OK with a terminated text, or ZOR_BUFFER_TOO_SMALL.
     * Throws ZorCodepageConversionException on a broken or unfinished sequence.
     */
    static ZOR_RC utf8Tokeluc(const KEL_UC* toCodepage, const KEL_RAW* src, unsigned srcLength, KEL_UC* dest,
                              unsigned* pDestSize, unsigned* pResultLength);
    /** The other direction, from a page, NULL for "1100". */
    static ZOR_RC kelucToutf8(const KEL_UC* fromCodepage, const KEL_UC* src, unsigned srcLength,
                              KEL_RAW* dest, unsigned* pDestSize, unsigned* pResultLength);

    /** Characters in `length` bytes of UTF-8, and one for a terminator. */
    static unsigned calculateUcLength(const KEL_RAW* utf8, unsigned length) noexcept;
    /** Bytes that `length` single-byte characters need in UTF-8, two for each beyond ASCII, and one. */
    static unsigned calculateUtf8Length(const KEL_UC* src, unsigned length) noexcept;

    /** @name Reversal of the bytes of an integer, in place; it needs no alignment. */
    /** @{ */
    static void convertInt2(void* value) noexcept;
    static void convertInt4(void* value) noexcept;
    static void convertInt8(void* value) noexcept;
    /** @} */

    /**
     * Turns the eight bytes of a partner's number into a double of this machine, in place.
     *
     * @param intFormat 1 if the partner sends the lowest byte first.
     * @param floatFormat 1 for IEEE 754, else IBM hexadecimal floating point.
     * Throws ZorTypeConversionException for a hexadecimal number that isn't normalised.
     */
    static void convertFloat(double* toConv, int intFormat, int floatFormat);

    const KEL_UC* getFromCodepage() const noexcept { return cpcObj.ccci_incode; }
    const KEL_UC* getToCodepage() const noexcept { return cpcObj.ccci_outcode; }

  private:
    friend class ZorConverterCache;

    enum class Mode {
        stop,
        copy,
        substitute,
        substituteDefault,  ///< The same with '#', and control characters convert.
        substituteMissing   ///< Missing characters become '#', a broken sequence stops.
    };

    ZorConverter(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode mode, unsigned substitute);

    /** Throws unless the engine's result is success. */
    void check(int rc, const KEL_UC* function) const;
    int finish(int rc, const KEL_RAW* src, size_t srcLength, bool secret) const;
    bool is(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode mode) const noexcept;
    static const ZorConverter* find(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode mode,
                                    unsigned substitute);

    bool convertsToItself() const noexcept;

    rscpCObj_t cpcObj;
    Mode mode;
    bool sevenBitKept = false;
    const ZorConverter* next = nullptr;  ///< In the list of all converters.
};
