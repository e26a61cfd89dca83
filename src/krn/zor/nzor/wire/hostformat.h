/** @file Number formats of this host, as the header item declares them. */
#pragma once

#include <kelzor/types.h>

#include <bit>

/** Integer format: 1 little-endian, 0 big-endian. */
inline constexpr KEL_RAW ownIntFormat = std::endian::native == std::endian::little ? 1 : 0;
/** Float format: 1 IEEE 754. */
inline constexpr KEL_RAW ownFloatFormat = 1;
