#include "krn/si/gw/gwvsldata.h"

namespace L = GW_VSL_DATA_V1_LAYOUT;

static_assert(L::length == 776);

std::optional<GW_VSL_DATA> GwGetVslData(std::span<const KEL_RAW> data) noexcept {
    if (data.size() < L::length) return std::nullopt;
    ByteReader reader(data);
    GW_VSL_DATA record{reader.text(L::partnername), reader.text(L::myname), reader.text(L::lib)};
    record.qop = reader.at(L::qop).u8();
    record.mode = reader.at(L::mode).u8();
    record.role = reader.at(L::role).u8();
    return record;
}
