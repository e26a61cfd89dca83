#include "krn/si/gw/gwdisttrace.h"

namespace L = DISTRIBUTED_TRACING_NET_1_LAYOUT;

static_assert(L::length == 45);

void GwPutDistTrace(std::span<KEL_RAW, L::length> target, const DISTRIBUTED_TRACING& record) noexcept {
    ByteWriter writer(target);
    writer.at(L::version_nr).u8(1);
    writer.padded(L::creator_id, "CPIC");
    writer.at(L::root_id).bytes(record.root_id);
    writer.at(L::connection_id).bytes(record.connection_id);
    writer.at(L::sequence_nr).i32(record.sequence_nr);
}
