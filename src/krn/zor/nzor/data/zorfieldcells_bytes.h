/** @file Cells of the matrix that read and write fields as bytes. */
#pragma once

#include "data/zorfieldmatrix.h"

namespace zorcells {

/** The bytes as they stand in the record. */
std::span<const KEL_RAW> stored(const ZorFieldSlot& slot);
/** The bytes of an XSTRING. */
std::span<const KEL_RAW> child(const ZorFieldSlot& slot);

/** As hexadecimal digits, cut or filled up with blanks. */
void hexPadded(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
/** Cut, or filled up with zero bytes. */
void zeroPadded(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
/** The stored form, whose width must be the field's. */
void exact(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
/** As hexadecimal digits to a STRING. */
void hexAssigned(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
void childAssigned(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);
/** A write failure. */
[[noreturn]] void noBytes(const ZorFieldSlot& slot, std::span<const KEL_RAW> value, ZORTYPE source);

}  // namespace zorcells
