/** @file Cells of the matrix that read and write fields as text. */
#pragma once

#include "data/zorfieldmatrix.h"

namespace zorcells {

/** @name Reading */
/** @{ */
/** The characters without blanks and NULs at the end. */
std::string_view trimmed(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** A date with "-", a time with ":" between its parts. */
std::string_view dashed(const ZorFieldSlot& slot, ZorTextScratch& scratch);
std::string_view coloned(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** A packed number; a render failure for one that is broken. */
std::string_view packed(const ZorFieldSlot& slot, ZorTextScratch& scratch);
std::string_view hex(const ZorFieldSlot& slot, ZorTextScratch& scratch);
std::string_view floating(const ZorFieldSlot& slot, ZorTextScratch& scratch);
template <class Field>
std::string_view integer(const ZorFieldSlot& slot, ZorTextScratch& scratch);
std::string_view string(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** The bytes of an XSTRING. */
std::string_view hexChild(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** A table or structure has no text form, and says so in words of its own. */
std::string_view noForm(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** Text that has to consist of digits; a value failure if it doesn't. */
std::string_view trimmedDigits(const ZorFieldSlot& slot, ZorTextScratch& scratch);
std::string_view stringDigits(const ZorFieldSlot& slot, ZorTextScratch& scratch);
/** @} */

/** @name Writing */
/** @{ */
/** Cut, or filled up with blanks. */
void padded(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
/** Plain digits, or parts between two separators of any kind. */
void date(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void time(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
/** The field gets its initial value on failure, as with `num`. */
void bcd(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void unhex(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void num(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void parsedFloat(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
template <class Field>
void parsedInteger(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void assigned(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
void unhexChild(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
/** A read failure, which is how text is refused. */
[[noreturn]] void noText(const ZorFieldSlot& slot, std::string_view value, ZORTYPE source);
/** @} */

}  // namespace zorcells
