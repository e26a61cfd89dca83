#include "data/zorfieldmatrix.h"

#include <array>

#include "data/zorfieldcells_bytes.h"
#include "data/zorfieldcells_decimal.h"
#include "data/zorfieldcells_number.h"
#include "data/zorfieldcells_text.h"

namespace {

using namespace zorcells;

/** No cell: what that means is the column's. */
struct None {
    template <class Cell>
    constexpr operator Cell() const noexcept {
        return Cell{};
    }
};
constexpr None none;

// The value types of the fields, by the short names of the table.
using FLOAT = ZOR_FLOAT;
using INT = ZOR_INT;
using INT2 = ZOR_INT2;
using INT1 = ZOR_INT1;
using INT8 = ZOR_INT8;
using DECF16 = ZOR_DECF16;
using DECF34 = ZOR_DECF34;

// For each field type three lines: what the accessors of text and bytes read, those of numbers, and what all
// of them write. Dates and times by their own accessors aren't here, since these take fields of their own
// type alone; nor are children and their lengths.
//
// clang-format off
constexpr ZorFieldRow rows[] = {
// field, read as   text                    text form            digits             bytes
//   and as         Int                     Int1, Int2, Int8     Float              DecF16, DecF34
//   written as     text                    bytes                Int, 1, 2, 8       Float                     DecF16, DecF34
{ZORTYPE_CHAR,      trimmed,                trimmed,             trimmedDigits,     stored,
                    parsed,                 none,                none,              decimalOfText,
                    padded,                 hexPadded,           textOfInteger,     textOfFloat,              textOfDecimal},
{ZORTYPE_DATE,      trimmed,                dashed,              none,              stored,
                    none,                   none,                none,              none,
                    date,                   none,                none,              none,                     none},
{ZORTYPE_BCD,       packed,                 packed,              none,              stored,
                    parsedBcd,              none,                floatOfBcd,        decimalOfText,
                    bcd,                    exact,               none,              textOfFloat,              bcdOfDecimal},
{ZORTYPE_TIME,      trimmed,                coloned,             none,              stored,
                    none,                   none,                none,              none,
                    time,                   none,                none,              none,                     none},
{ZORTYPE_BYTE,      hex,                    hex,                 none,              stored,
                    bigEndian,              none,                none,              decimalOfBytes,
                    unhex,                  zeroPadded,          none,              none,                     bytesOfDecimal},
{ZORTYPE_NUM,       trimmed,                trimmed,             trimmedDigits,     stored,
                    parsed,                 none,                none,              decimalOfText,
                    num,                    none,                textOfInteger,     textOfFloat,              textOfDecimal},
{ZORTYPE_FLOAT,     floating,               floating,            none,              stored,
                    truncated,              none,                plainFloat,        decimalOfFloat,
                    parsedFloat,            exact,               none,              keep<FLOAT>,              floatOfDecimal},
{ZORTYPE_INT,       integer<INT>,           integer<INT>,        integer<INT>,      stored,
                    cut<INT>,               cutNarrow<INT>,      none,              decimalOfInteger<INT>,
                    parsedInteger<INT>,     exact,               keepInteger<INT>,  none,                     integerOfDecimal<INT>},
{ZORTYPE_INT2,      integer<INT2>,          integer<INT2>,       integer<INT2>,     stored,
                    cut<INT2>,              cutNarrow<INT2>,     none,              decimalOfInteger<INT2>,
                    parsedInteger<INT2>,    exact,               keepInteger<INT2>, none,                     integerOfDecimal<INT2>},
{ZORTYPE_INT1,      integer<INT1>,          integer<INT1>,       integer<INT1>,     stored,
                    cut<INT1>,              cutNarrow<INT1>,     none,              decimalOfInteger<INT1>,
                    parsedInteger<INT1>,    exact,               keepInteger<INT1>, none,                     integerOfDecimal<INT1>},
{ZORTYPE_INT8,      integer<INT8>,          integer<INT8>,       integer<INT8>,     stored,
                    cut<INT8>,              cutNarrow<INT8>,     none,              decimalOfInteger<INT8>,
                    parsedInteger<INT8>,    exact,               keepInteger<INT8>, none,                     integerOfDecimal<INT8>},
{ZORTYPE_DECF16,    decimalText<DECF16>,    decimalText<DECF16>, none,              stored,
                    decimalInteger<DECF16>, none,                none,              decimalOfDecimal<DECF16>,
                    parsedDecimal<DECF16>,  exact,               none,              nearDecimal<DECF16>,      keepDecimal<DECF16>},
{ZORTYPE_DECF34,    decimalText<DECF34>,    decimalText<DECF34>, none,              stored,
                    decimalInteger<DECF34>, none,                none,              decimalOfDecimal<DECF34>,
                    parsedDecimal<DECF34>,  exact,               none,              nearDecimal<DECF34>,      keepDecimal<DECF34>},
{ZORTYPE_STRING,    string,                 string,              stringDigits,      none,
                    none,                   none,                none,              decimalOfText,
                    assigned,               hexAssigned,         textOfInteger,     textOfFloat,              textOfDecimal},
{ZORTYPE_XSTRING,   hexChild,               hexChild,            none,              child,
                    none,                   none,                none,              none,
                    unhexChild,             childAssigned,       none,              none,                     none},
{ZORTYPE_TABLE,     none,                   noForm,              none,              none,
                    none,                   none,                none,              none,
                    noText,                 noBytes,             none,              none,                     none},
{ZORTYPE_STRUCTURE, none,                   noForm,              none,              none,
                    none,                   none,                none,              none,
                    noText,                 noBytes,             none,              none,                     none},
// any other
{ZORTYPE_NULL,      none,                   none,                none,              stored,
                    none,                   none,                none,              none,
                    none,                   none,                none,              none,                     none},
};
// clang-format on

constexpr size_t rowCount = sizeof rows / sizeof *rows;

/** For each type the number of its row. */
constexpr auto rowNumbers = [] {
    std::array<unsigned char, _ZORTYPE_max_value> numbers{};
    numbers.fill(rowCount - 1);
    for (size_t row = 0; row < rowCount; ++row)
        numbers[rows[row].type] = static_cast<unsigned char>(row);
    return numbers;
}();

}  // namespace

const ZorFieldRow& zorFieldRow(ZORTYPE type) noexcept {
    const auto number = static_cast<unsigned>(type);
    return rows[number < rowNumbers.size() ? rowNumbers[number] : rowCount - 1];
}
