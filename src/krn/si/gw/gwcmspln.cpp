#include "krn/si/gw/gwcmspln.h"

namespace L = GW_CMSPLN_LAYOUT;

static_assert(L::length == 144);

void GwPutCmspln(std::span<KEL_RAW, L::length> target, std::string_view long_LU_name) noexcept {
    std::ranges::fill(target, KEL_RAW{0});
    const std::string_view name = long_LU_name.substr(0, L::long_LU_name.length);
    ByteWriter writer(target);
    writer.at(L::long_LU_name).bytes({reinterpret_cast<const KEL_RAW*>(name.data()), name.size()});
}
