/**
 * @file
 * The matrix of field access: for a field of each type, what each accessor does with it. The table stands in
 * zorfieldmatrix.cpp, its cells in the zorfieldcells files. The accessors of ZorRecord check index and
 * pointer, look up the row, and run the cell.
 */
#pragma once

#include <span>
#include <string_view>
#include <type_traits>

#include "data/zorconversion.h"
#include "data/zorrecord.h"

/** Place for a rendered value: on the stack unless the value is long. */
struct ZorTextScratch {
    KEL_CHAR small[maxDoubleText];
    KEL_string large;
};

/** @name Cells
 * A reading cell leaves the caller's value alone when it throws, a writing cell the field. Texts that are
 * read may lie in the field or in the scratch.
 */
/** @{ */
using ZorTextReader = std::string_view (*)(const ZorFieldSlot& slot, ZorTextScratch& scratch);
using ZorBytesReader = std::span<const KEL_RAW> (*)(const ZorFieldSlot& slot);
template <class T>
using ZorNumberReader = void (*)(const ZorFieldSlot& slot, T& value);
/** `source` is the type in which the caller has the value, for the failures. */
using ZorTextWriter = void (*)(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
using ZorBytesWriter = void (*)(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
template <class T>
using ZorNumberWriter = void (*)(const ZorFieldSlot& slot, T value);
/** @} */

/** Cells for several number types of the caller. */
struct ZorNarrowReaders {
    ZorNumberReader<ZOR_INT1> int1;
    ZorNumberReader<ZOR_INT2> int2;
    ZorNumberReader<ZOR_INT8> int8;
};
struct ZorDecimalReaders {
    ZorNumberReader<ZOR_DECF16> decf16;
    ZorNumberReader<ZOR_DECF34> decf34;
};
struct ZorIntegerWriters {
    ZorNumberWriter<ZOR_INT> int4;
    ZorNumberWriter<ZOR_INT1> int1;
    ZorNumberWriter<ZOR_INT2> int2;
    ZorNumberWriter<ZOR_INT8> int8;
};
struct ZorDecimalWriters {
    ZorNumberWriter<ZOR_DECF16> decf16;
    ZorNumberWriter<ZOR_DECF34> decf34;
};

/** A row: the cells of one field type. What a null cell means is said behind each. */
struct ZorFieldRow {
    ZORTYPE type;

    ZorTextReader readText;            ///< As CHAR or STRING, without blanks at the end. Null: read failure.
    ZorTextReader readForm;            ///< The text form, dates and times with separators. Null: empty text.
    ZorTextReader readDigits;          ///< As NUM, without leading zeros. Null: read failure.
    ZorBytesReader readBytes;          ///< Null: read failure.
    ZorNumberReader<ZOR_INT> readInt;  ///< Null here and in the following: read failure.
    ZorNarrowReaders readNarrow;
    ZorNumberReader<ZOR_FLOAT> readFloat;
    ZorDecimalReaders readDecimal;

    ZorTextWriter writeText;                ///< Null: nothing happens, and that is success.
    ZorBytesWriter writeBytes;              ///< Null: read failure.
    ZorIntegerWriters writeInteger;         ///< Null: write failure.
    ZorNumberWriter<ZOR_FLOAT> writeFloat;  ///< Null: read failure.
    ZorDecimalWriters writeDecimal;         ///< Null: read failure.

    /** The reading cell for a number type. */
    template <class T>
    ZorNumberReader<T> reader() const noexcept {
        if constexpr (std::is_same_v<T, ZOR_INT>) return readInt;
        if constexpr (std::is_same_v<T, ZOR_INT1>) return readNarrow.int1;
        if constexpr (std::is_same_v<T, ZOR_INT2>) return readNarrow.int2;
        if constexpr (std::is_same_v<T, ZOR_INT8>) return readNarrow.int8;
        if constexpr (std::is_same_v<T, ZOR_FLOAT>) return readFloat;
        if constexpr (std::is_same_v<T, ZOR_DECF16>) return readDecimal.decf16;
        if constexpr (std::is_same_v<T, ZOR_DECF34>) return readDecimal.decf34;
    }
    /** The writing cell for a number type. */
    template <class T>
    ZorNumberWriter<T> writer() const noexcept {
        if constexpr (std::is_same_v<T, ZOR_INT>) return writeInteger.int4;
        if constexpr (std::is_same_v<T, ZOR_INT1>) return writeInteger.int1;
        if constexpr (std::is_same_v<T, ZOR_INT2>) return writeInteger.int2;
        if constexpr (std::is_same_v<T, ZOR_INT8>) return writeInteger.int8;
        if constexpr (std::is_same_v<T, ZOR_FLOAT>) return writeFloat;
        if constexpr (std::is_same_v<T, ZOR_DECF16>) return writeDecimal.decf16;
        if constexpr (std::is_same_v<T, ZOR_DECF34>) return writeDecimal.decf34;
    }
};

/** The row of a type; that of "any other" for a type without one. */
const ZorFieldRow& zorFieldRow(ZORTYPE type) noexcept;
