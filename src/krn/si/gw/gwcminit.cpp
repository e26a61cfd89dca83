#include "krn/si/gw/gwcminit.h"

namespace L = KELCMINIT7_LAYOUT;

static_assert(L::length == 373 && L::long_LU_name.offset == 105);

void GwPutCminit(std::span<KEL_RAW, L::length> target, const KELCMINIT7& block) noexcept {
    std::ranges::fill(target, KEL_RAW{0});
    ByteWriter writer(target);
    if (!block.zordest.empty()) writer.padded(L::zordest, block.zordest);
    writer.at(L::activateStreaming).u8(block.activateStreaming ? 1 : 0);
    if (block.dt_net) GwPutDistTrace(target.subspan<L::dt_net.offset, L::dt_net.length>(), *block.dt_net);
    if (block.options) {
        writer.at(L::cpic_timeout).i32(block.options->cpic_timeout);
        writer.at(L::keepalive_timeout).i32(block.options->keepalive_timeout);
        writer.at(L::export_trace).u8(block.options->export_trace);
        writer.at(L::start_type).u8(block.options->start_type);
    }
    writer.terminated(L::long_LU_name, block.long_LU_name);
    writer.padded(L::user, block.user);
    writer.terminated(L::long_TP_name, block.long_TP_name);
}
