/** @file The parameter block of the partner's name. */
#pragma once

#include <string_view>

#include "base/thr/bytes.h"

namespace GW_CMSPLN_LAYOUT {
inline constexpr NetField long_LU_name{0, 128};
inline constexpr NetField dummy = long_LU_name.then(16);
inline constexpr std::size_t length = dummy.end();
}  // namespace GW_CMSPLN_LAYOUT

/** A name of the full width has no terminator. */
void GwPutCmspln(std::span<KEL_RAW, GW_CMSPLN_LAYOUT::length> target, std::string_view long_LU_name) noexcept;
