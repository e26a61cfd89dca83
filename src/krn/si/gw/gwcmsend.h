/** @file The parameter block of a send that is a receive as well. */
#pragma once

#include "base/thr/bytes.h"

namespace KELCMSEND_LAYOUT {
inline constexpr NetField send_length{0, 4};
inline constexpr NetField requested_length = send_length.then(4);
inline constexpr std::size_t length = requested_length.end();
}  // namespace KELCMSEND_LAYOUT

struct KELCMSEND {
    std::int32_t send_length = 0;
    std::int32_t requested_length = 0;
};

void GwPutCmsend(std::span<KEL_RAW, KELCMSEND_LAYOUT::length> target, const KELCMSEND& block) noexcept;
