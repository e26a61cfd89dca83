#include "krn/si/gw/gwconn.h"

#include <algorithm>

namespace L = APPC_CONN_LAYOUT;
namespace L2 = APPC_CONN2_LAYOUT;
namespace L3 = APPC_CONN3_LAYOUT;

static_assert(L2::length == 64 && L3::length == 136);

std::size_t GwPutConn(std::span<KEL_RAW, L3::length> target, const APPC_CONN& record) noexcept {
    std::ranges::fill(target, KEL_RAW{0});
    const bool v4 = NiIsIPv4(record.hostaddr);
    const std::span<const KEL_RAW> address(record.hostaddr);
    ByteWriter writer(target);
    writer.at(L::version).u8(v4 ? APPC_CONN2_VERSION : APPC_CONN3_VERSION);
    writer.at(L::opcode).u8(record.opcode);
    if (v4) writer.at(L::hostaddr_v4).bytes(address.last(L::hostaddr_v4.length));
    writer.terminated(L::service, record.tp);
    writer.padded(L::code_page, record.code_page);
    writer.at(L::accept_info2).u8(record.accept_info2);
    writer.padded(L::lu, record.lu);
    writer.padded(L::tp, record.tp);
    writer.padded(L::conversation_ID, record.conversation_ID);
    writer.at(L::appchdr_version).u8(record.appchdr_version);
    writer.at(L::accept_info).u8(record.accept_info);
    writer.at(L::conn_idx).i16(record.conn_idx);
    if (!v4) writer.at(L3::hostaddr_v6).bytes(address);
    return v4 ? L2::length : L3::length;
}

std::optional<APPC_CONN_ANSWER> GwGetConn(std::span<const KEL_RAW> data) noexcept {
    ByteReader reader(data);
    const std::uint8_t version = reader.at(L::version).u8();
    if (version != APPC_CONN2_VERSION && version != APPC_CONN3_VERSION) return std::nullopt;
    const bool second = version == APPC_CONN2_VERSION;
    APPC_CONN_ANSWER answer;
    answer.length = second ? L2::length : L3::length;
    answer.appchdr_version = reader.at(L::appchdr_version).u8();
    answer.accept_info = reader.at(L::accept_info).u8();
    answer.accept_info2 = reader.at(L::accept_info2).u8();
    std::ranges::copy(reader.field(L::code_page), answer.code_page.begin());
    answer.rc = reader.at(second ? L2::rc : L3::rc).i32();
    answer.echo_data = reader.at(second ? L2::echo_data : L3::echo_data).u8() != 0;
    if (!reader.ok() || data.size() < answer.length) return std::nullopt;
    return answer;
}

bool GwHasConnExt(std::uint8_t opcode) noexcept {
    return opcode == GW_REGISTER_TP || opcode == GW_GET_NO_REGISTER_TP || opcode == GW_CANCEL_REGISTER_TP;
}

void GwPutConnExt(std::span<KEL_RAW, APPC_CONN_EXT1_LAYOUT::length> target, std::string_view long_lu,
                  std::string_view long_tp) noexcept {
    namespace X = APPC_CONN_EXT1_LAYOUT;
    std::ranges::fill(target, KEL_RAW{' '});
    ByteWriter writer(target);
    const auto put = [&](NetField field, std::string_view text) {
        text = text.substr(0, field.length - 1);
        writer.at(field).bytes({reinterpret_cast<const KEL_RAW*>(text.data()), text.size()});
        writer.u8(0);
    };
    put(X::long_lu, long_lu);
    put(X::long_tp, long_tp);
}
