/** @file Trace statements of the layer; private to it. */
#pragma once

#include "base/dptrc/dptrc.h"

/** The function that has something to tell, and where the statement stands. */
struct NiPlace {
    const KEL_CHAR* function;
    const KEL_CHAR* path = __builtin_FILE();
    int line = __builtin_LINE();
};

/** An error line "<function>: <text>", from level 1 on. Texts carry no secrets at any level. */
[[gnu::format(printf, 2, 3)]] void NiTrcErr(const NiPlace& where, const KEL_CHAR* format, ...) noexcept;

/** A line of a level "<function>: <text>". On the road of a call, test ct_level before the arguments. */
[[gnu::format(printf, 3, 4)]] void NiTrc(int level, const NiPlace& where, const KEL_CHAR* format,
                                         ...) noexcept;
