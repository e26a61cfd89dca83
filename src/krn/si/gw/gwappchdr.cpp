#include "krn/si/gw/gwappchdr.h"

namespace L = APPCHDR6_LAYOUT;

static_assert(L::length == 80 && L::nparams.offset == 48 && L::info.offset == 30);
static_assert(NCMSPLN_LAYOUT::hostaddr.end() == L::nparams.length);

void GwPutHdr(std::span<KEL_RAW, L::length> target, const APPCHDR6& header) noexcept {
    std::ranges::fill(target, KEL_RAW{0});
    ByteWriter writer(target);
    writer.at(L::version).u8(header.version);
    writer.at(L::rqtype).u8(header.rqtype);
    writer.at(L::protocol).u8(header.protocol);
    writer.at(L::uid).i16(header.uid);
    writer.at(L::err_len).u16(header.err_len);
    writer.at(L::info2).u8(header.info2);
    writer.at(L::trace_level).u8(header.trace_level);
    writer.at(L::info3).u8(header.info3);
    writer.at(L::info4).u8(header.info4);
    writer.at(L::sequence_no).i32(header.sequence_no);
    writer.at(L::kel_params_len).u16(header.kel_params_len);
    writer.at(L::info).u8(header.info);
    writer.at(L::rqtype2).u8(header.rqtype2);
    writer.at(L::appc_rc).i32(header.appc_rc);
    writer.at(L::kel_rc).i32(header.kel_rc);
    writer.at(L::conversation_ID).bytes(header.conversation_ID);
    writer.at(L::nparams).bytes(header.nparams);
    writer.at(L::comm_idx).i16(header.comm_idx);
    writer.at(L::conn_idx).i16(header.conn_idx);
}

std::optional<APPCHDR6> GwGetHdr(std::span<const KEL_RAW> data) noexcept {
    if (data.size() < L::length) return std::nullopt;
    ByteReader reader(data);
    APPCHDR6 header;
    header.version = reader.at(L::version).u8();
    header.rqtype = reader.at(L::rqtype).u8();
    header.protocol = reader.at(L::protocol).u8();
    header.uid = reader.at(L::uid).i16();
    header.err_len = reader.at(L::err_len).u16();
    header.info2 = reader.at(L::info2).u8();
    header.trace_level = reader.at(L::trace_level).u8();
    header.info3 = reader.at(L::info3).u8();
    header.info4 = reader.at(L::info4).u8();
    header.sequence_no = reader.at(L::sequence_no).i32();
    header.kel_params_len = reader.at(L::kel_params_len).u16();
    header.info = reader.at(L::info).u8();
    header.rqtype2 = reader.at(L::rqtype2).u8();
    header.appc_rc = reader.at(L::appc_rc).i32();
    header.kel_rc = reader.at(L::kel_rc).i32();
    std::ranges::copy(reader.field(L::conversation_ID), header.conversation_ID.begin());
    std::ranges::copy(reader.field(L::nparams), header.nparams.begin());
    header.comm_idx = reader.at(L::comm_idx).i16();
    header.conn_idx = reader.at(L::conn_idx).i16();
    return header;
}

APPC_NPARAMS GwPutNcminit(const NCMINIT& params) noexcept {
    namespace N = NCMINIT_LAYOUT;
    APPC_NPARAMS nparams{};
    ByteWriter writer(nparams);
    writer.padded(N::sdest, params.sdest);
    writer.padded(N::lu, params.lu);
    writer.padded(N::tp, params.tp);
    writer.at(N::ctype).u8(static_cast<std::uint8_t>(params.ctype));
    writer.at(N::client_info).u8(params.client_info);
    return nparams;
}

APPC_NPARAMS GwPutNcmsend(const NCMSEND& params) noexcept {
    namespace N = NCMSEND_LAYOUT;
    APPC_NPARAMS nparams{};
    ByteWriter writer(nparams);
    writer.at(N::send_length).i32(params.send_length);
    writer.at(N::request_to_send_received).i32(params.request_to_send_received);
    return nparams;
}

NCMSEND GwGetNcmsend(const APPC_NPARAMS& nparams) noexcept {
    namespace N = NCMSEND_LAYOUT;
    ByteReader reader(nparams);
    return {reader.at(N::send_length).i32(), reader.at(N::request_to_send_received).i32()};
}

APPC_NPARAMS GwPutNcmrcv(const NCMRCV& params) noexcept {
    namespace N = NCMRCV_LAYOUT;
    APPC_NPARAMS nparams{};
    ByteWriter writer(nparams);
    writer.at(N::requested_length).i32(params.requested_length);
    writer.at(N::data_received).i32(params.data_received);
    writer.at(N::received_length).i32(params.received_length);
    writer.at(N::status_received).i32(params.status_received);
    writer.at(N::request_to_send_received).i32(params.request_to_send_received);
    writer.at(N::client_info).u8(params.client_info);
    writer.at(N::code_page).bytes(params.code_page);
    return nparams;
}

NCMRCV GwGetNcmrcv(const APPC_NPARAMS& nparams) noexcept {
    namespace N = NCMRCV_LAYOUT;
    ByteReader reader(nparams);
    NCMRCV params;
    params.requested_length = reader.at(N::requested_length).i32();
    params.data_received = reader.at(N::data_received).i32();
    params.received_length = reader.at(N::received_length).i32();
    params.status_received = reader.at(N::status_received).i32();
    params.request_to_send_received = reader.at(N::request_to_send_received).i32();
    params.client_info = reader.at(N::client_info).u8();
    std::ranges::copy(reader.field(N::code_page), params.code_page.begin());
    return params;
}

APPC_NPARAMS GwPutNcmspln(std::string_view partner_LU_name) noexcept {
    namespace N = NCMSPLN_LAYOUT;
    APPC_NPARAMS nparams{};
    ByteWriter writer(nparams);
    writer.padded(N::partner_LU_name, partner_LU_name);
    writer.at(N::partner_LU_name_length).u32(static_cast<std::uint32_t>(partner_LU_name.size()));
    return nparams;
}
