/** @file Cells of the matrix that read and write fields as integers and doubles. */
#pragma once

#include "data/zorfieldmatrix.h"
#include "data/zorfieldslot.h"

namespace zorcells {

/** How a caller's number type is named in failures. */
template <class T>
inline constexpr std::string_view numberName{};
template <>
inline constexpr std::string_view numberName<ZOR_INT> = "ZOR_INT";
template <>
inline constexpr std::string_view numberName<ZOR_INT1> = "ZOR_INT1";
template <>
inline constexpr std::string_view numberName<ZOR_INT2> = "ZOR_INT2";
template <>
inline constexpr std::string_view numberName<ZOR_INT8> = "ZOR_INT8";
template <>
inline constexpr std::string_view numberName<ZOR_FLOAT> = "ZOR_FLOAT";
template <>
inline constexpr std::string_view numberName<ZOR_DECF16> = "ZOR_DECF16";
template <>
inline constexpr std::string_view numberName<ZOR_DECF34> = "ZOR_DECF34";

/** An integer; of what doesn't fit the low-order bits. */
template <class Field, class T>
void cut(const ZorFieldSlot& slot, T& value) {
    value = static_cast<T>(loadScalar<Field>(slot));
}
template <class Field>
inline constexpr ZorNarrowReaders cutNarrow{cut<Field, ZOR_INT1>, cut<Field, ZOR_INT2>, cut<Field, ZOR_INT8>};

/** As far as the text is a number; clamped to 32 bits. */
void parsed(const ZorFieldSlot& slot, ZOR_INT& value);
void parsedBcd(const ZorFieldSlot& slot, ZOR_INT& value);
/** 1, 2, 4 or 8 bytes, the most significant first. */
void bigEndian(const ZorFieldSlot& slot, ZOR_INT& value);
/** Towards zero; what has no counterpart is the smallest integer. */
void truncated(const ZorFieldSlot& slot, ZOR_INT& value);

void plainFloat(const ZorFieldSlot& slot, ZOR_FLOAT& value);
void floatOfBcd(const ZorFieldSlot& slot, ZOR_FLOAT& value);

template <class Field, class T>
void keep(const ZorFieldSlot& slot, T value) {
    storeScalar(slot, static_cast<Field>(value));
}
template <class Field>
inline constexpr ZorIntegerWriters keepInteger{keep<Field, ZOR_INT>, keep<Field, ZOR_INT1>,
                                               keep<Field, ZOR_INT2>, keep<Field, ZOR_INT8>};

/** As decimal text, by the row's cell for text. */
template <class T>
void integerText(const ZorFieldSlot& slot, T value) {
    KEL_CHAR text[maxNumberText];
    zorFieldRow(slot.field.type).writeText(slot, {text, numberToString(text, value)}, zorTypeOf<T>);
}
inline constexpr ZorIntegerWriters textOfInteger{integerText<ZOR_INT>, integerText<ZOR_INT1>,
                                                 integerText<ZOR_INT2>, integerText<ZOR_INT8>};

/** As text of up to 17 digits. */
void textOfFloat(const ZorFieldSlot& slot, ZOR_FLOAT value);

}  // namespace zorcells
