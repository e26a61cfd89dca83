/**
 * @file
 * Cells of the matrix that touch decimal floating point: DECF fields for all other accessors, and decimal
 * values on all other fields. What isn't exact fails, but for doubles, which are never more than near. The
 * accessors have loaded the decimal library before a cell for decimal values runs; the others see to it.
 */
#pragma once

#include "data/zorfieldmatrix.h"

namespace zorcells {

/** @name DECF fields for the other accessors */
/** @{ */
template <class Decimal>
std::string_view decimalText(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** Towards zero, clamped to 32 bits; 0 for what is no number. */
template <class Decimal>
void decimalInteger(const ZorFieldSlot& slot, ZOR_INT& value);
/** Text with nothing around the number; what has no counterpart is a text failure. */
template <class Decimal>
void parsedDecimal(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
/** The first 17 digits, or as many as the field has. */
template <class Decimal>
void nearDecimal(const ZorFieldSlot& slot, ZOR_FLOAT value);
/** @} */

/** @name Reading a field as a decimal */
/** @{ */
template <class Decimal>
void readFromText(const ZorFieldSlot& slot, Decimal& value);
inline constexpr ZorDecimalReaders decimalOfText{readFromText<ZOR_DECF16>, readFromText<ZOR_DECF34>};

/** A BYTE field must have just the decimal's length. */
template <class Decimal>
void readFromBytes(const ZorFieldSlot& slot, Decimal& value);
inline constexpr ZorDecimalReaders decimalOfBytes{readFromBytes<ZOR_DECF16>, readFromBytes<ZOR_DECF34>};

template <class Decimal>
void readFromFloat(const ZorFieldSlot& slot, Decimal& value);
inline constexpr ZorDecimalReaders decimalOfFloat{readFromFloat<ZOR_DECF16>, readFromFloat<ZOR_DECF34>};

template <class Field, class Decimal>
void readFromInteger(const ZorFieldSlot& slot, Decimal& value);
template <class Field>
inline constexpr ZorDecimalReaders decimalOfInteger{readFromInteger<Field, ZOR_DECF16>,
                                                    readFromInteger<Field, ZOR_DECF34>};

/** Widened or narrowed. */
template <class Field, class Decimal>
void readFromDecimal(const ZorFieldSlot& slot, Decimal& value);
template <class Field>
inline constexpr ZorDecimalReaders decimalOfDecimal{readFromDecimal<Field, ZOR_DECF16>,
                                                    readFromDecimal<Field, ZOR_DECF34>};
/** @} */

/** @name Writing a decimal to a field */
/** @{ */
/** As its text, by the row's cell for text. */
template <class Decimal>
void writeAsText(const ZorFieldSlot& slot, Decimal value);
inline constexpr ZorDecimalWriters textOfDecimal{writeAsText<ZOR_DECF16>, writeAsText<ZOR_DECF34>};

/**
 * As its text to a packed number, which knows no exponent: a text with one is refused, since the digits in
 * front of it would be taken for the number.
 */
template <class Decimal>
void writeAsBcd(const ZorFieldSlot& slot, Decimal value);
inline constexpr ZorDecimalWriters bcdOfDecimal{writeAsBcd<ZOR_DECF16>, writeAsBcd<ZOR_DECF34>};

/** A BYTE field must have just the decimal's length. */
template <class Decimal>
void writeAsBytes(const ZorFieldSlot& slot, Decimal value);
inline constexpr ZorDecimalWriters bytesOfDecimal{writeAsBytes<ZOR_DECF16>, writeAsBytes<ZOR_DECF34>};

template <class Decimal>
void writeAsFloat(const ZorFieldSlot& slot, Decimal value);
inline constexpr ZorDecimalWriters floatOfDecimal{writeAsFloat<ZOR_DECF16>, writeAsFloat<ZOR_DECF34>};

/** Integral values of 32 bits, for INT8 of 64; of those, as among integers, what fits the field. */
template <class Field, class Decimal>
void writeAsInteger(const ZorFieldSlot& slot, Decimal value);
template <class Field>
inline constexpr ZorDecimalWriters integerOfDecimal{writeAsInteger<Field, ZOR_DECF16>,
                                                    writeAsInteger<Field, ZOR_DECF34>};

/** Widened or narrowed. */
template <class Field, class Decimal>
void writeAsDecimal(const ZorFieldSlot& slot, Decimal value);
template <class Field>
inline constexpr ZorDecimalWriters keepDecimal{writeAsDecimal<Field, ZOR_DECF16>,
                                               writeAsDecimal<Field, ZOR_DECF34>};
/** @} */

}  // namespace zorcells
