#include "krn/si/gw/gwcmsend.h"

namespace L = KELCMSEND_LAYOUT;

void GwPutCmsend(std::span<KEL_RAW, L::length> target, const KELCMSEND& block) noexcept {
    ByteWriter writer(target);
    writer.at(L::send_length).i32(block.send_length);
    writer.at(L::requested_length).i32(block.requested_length);
}
