#include "krn/si/gw/gwdisttrace.h"

namespace L = DISTRIBUTED_TRACING_NET_1_LAYOUT;

static_assert(L::length == 45);

namespace {

constexpr std::uint8_t VERSION = 1;

}  // namespace

void GwPutDistTrace(std::span<KEL_RAW, L::length> target, const DISTRIBUTED_TRACING& record) noexcept {
    ByteWriter writer(target);
    writer.at(L::version_nr).u8(VERSION);
    writer.padded(L::creator_id, "CPIC");
    writer.at(L::root_id).bytes(record.root_id);
    writer.at(L::connection_id).bytes(record.connection_id);
    writer.at(L::sequence_nr).i32(record.sequence_nr);
}

std::optional<DISTRIBUTED_TRACING> GwGetDistTrace(std::span<const KEL_RAW> data) noexcept {
    ByteReader reader(data);
    if (data.size() < L::length || reader.at(L::version_nr).u8() != VERSION) return std::nullopt;
    DISTRIBUTED_TRACING record;
    std::ranges::copy(reader.field(L::root_id), record.root_id.begin());
    std::ranges::copy(reader.field(L::connection_id), record.connection_id.begin());
    record.sequence_nr = reader.at(L::sequence_nr).i32();
    return record;
}
