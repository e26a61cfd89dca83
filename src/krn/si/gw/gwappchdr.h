/**
 * @file
 * The request header, version 6: in front of every message of a conversation, in both directions. Its 28
 * bytes `nparams` have a form of their own for each kind of request.
 */
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "base/thr/bytes.h"
#include "krn/si/gw/gwenum.h"

/** Id of a conversation: 8 characters, blank-padded. */
using CONV_ID = std::array<KEL_RAW, 8>;
inline constexpr CONV_ID BLANK_CONV_ID{' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};

namespace APPCHDR6_LAYOUT {
inline constexpr NetField version{0, 1};
inline constexpr NetField rqtype = version.then(1);
inline constexpr NetField protocol = rqtype.then(1);
inline constexpr NetField mode = protocol.then(1);
inline constexpr NetField uid = mode.then(2);
inline constexpr NetField gw_id = uid.then(2);
inline constexpr NetField err_len = gw_id.then(2);
inline constexpr NetField info2 = err_len.then(1);
inline constexpr NetField trace_level = info2.then(1);
inline constexpr NetField block_seq_nr = trace_level.then(2);
inline constexpr NetField fill_0 = block_seq_nr.then(2);
inline constexpr NetField info3 = fill_0.then(1);
inline constexpr NetField timeout = info3.then(4);
inline constexpr NetField info4 = timeout.then(1);
inline constexpr NetField sequence_no = info4.then(4);
inline constexpr NetField kel_params_len = sequence_no.then(2);
inline constexpr NetField priority = kel_params_len.then(1);
inline constexpr NetField fill_1 = priority.then(1);
inline constexpr NetField info = fill_1.then(1);
inline constexpr NetField rqtype2 = info.then(1);
inline constexpr NetField appc_rc = rqtype2.then(4);
inline constexpr NetField kel_rc = appc_rc.then(4);
inline constexpr NetField conversation_ID = kel_rc.then(8);
inline constexpr NetField nparams = conversation_ID.then(28);
inline constexpr NetField comm_idx = nparams.then(2);
inline constexpr NetField conn_idx = comm_idx.then(2);
inline constexpr std::size_t length = conn_idx.end();
}  // namespace APPCHDR6_LAYOUT

inline constexpr std::uint8_t APPCHDR6_VERSION = 6;

/** Length in bytes of the header of a version; 0 for one that never was. Only version 6 is spoken here. */
constexpr std::size_t GwHdrLen2(int version) noexcept {
    constexpr std::size_t LENGTHS[] = {0, 76, 100, 100, 138, 78, APPCHDR6_LAYOUT::length};
    return version > 0 && version <= APPCHDR6_VERSION ? LENGTHS[version] : 0;
}
/** `nparams` as they stand on the wire. */
using APPC_NPARAMS = std::array<KEL_RAW, APPCHDR6_LAYOUT::nparams.length>;

/** The header; fields that never differ from zero have no member. */
struct APPCHDR6 {
    std::uint8_t version = APPCHDR6_VERSION;
    std::uint8_t rqtype = 0;
    std::uint8_t protocol = 0;
    std::int16_t uid = -1;
    std::uint16_t err_len = 0;  ///< Bytes of error information behind the header.
    std::uint8_t info2 = 0;
    std::uint8_t trace_level = 0;
    std::uint8_t info3 = 0;
    std::uint8_t info4 = 0;
    std::int32_t sequence_no = 0;
    std::uint16_t kel_params_len = 0;
    std::uint8_t info = 0;
    std::uint8_t rqtype2 = 0;
    std::int32_t appc_rc = 0;
    std::int32_t kel_rc = 0;
    CONV_ID conversation_ID = BLANK_CONV_ID;
    APPC_NPARAMS nparams{};
    std::int16_t comm_idx = -1;
    std::int16_t conn_idx = -1;
};

void GwPutHdr(std::span<KEL_RAW, APPCHDR6_LAYOUT::length> target, const APPCHDR6& header) noexcept;

/** Reads a header; nothing if there are fewer bytes than a header has. */
std::optional<APPCHDR6> GwGetHdr(std::span<const KEL_RAW> data) noexcept;

/** `nparams` of the opening request. Offsets here and below count from the start of `nparams`. */
namespace NCMINIT_LAYOUT {
inline constexpr NetField sdest{0, 8};
inline constexpr NetField lu = sdest.then(8);
inline constexpr NetField tp = lu.then(8);
inline constexpr NetField ctype = tp.then(1);
inline constexpr NetField client_info = ctype.then(1);
}  // namespace NCMINIT_LAYOUT

struct NCMINIT {
    std::string_view sdest;
    std::string_view lu{};
    std::string_view tp{};
    KEL_CHAR ctype = 'I';
    std::uint8_t client_info = GW_EXTERNAL_CLIENT;
};
APPC_NPARAMS GwPutNcminit(const NCMINIT& params) noexcept;

/** `nparams` of a send. */
namespace NCMSEND_LAYOUT {
inline constexpr NetField send_length{0, 4};
inline constexpr NetField request_to_send_received = send_length.then(4);
}  // namespace NCMSEND_LAYOUT

struct NCMSEND {
    std::int32_t send_length = 0;
    std::int32_t request_to_send_received = 0;
};
APPC_NPARAMS GwPutNcmsend(const NCMSEND& params) noexcept;
NCMSEND GwGetNcmsend(const APPC_NPARAMS& nparams) noexcept;

/** `nparams` of a receive, and of every answer that brings data. */
namespace NCMRCV_LAYOUT {
inline constexpr NetField requested_length{0, 4};
inline constexpr NetField data_received = requested_length.then(4);
inline constexpr NetField received_length = data_received.then(4);
inline constexpr NetField status_received = received_length.then(4);
inline constexpr NetField request_to_send_received = status_received.then(4);
inline constexpr NetField client_info = request_to_send_received.then(1);
inline constexpr NetField code_page = client_info.then(4);
}  // namespace NCMRCV_LAYOUT

struct NCMRCV {
    std::int32_t requested_length = 0;
    std::int32_t data_received = 0;
    std::int32_t received_length = 0;
    std::int32_t status_received = 0;
    std::int32_t request_to_send_received = 0;
    std::uint8_t client_info = 0;
    std::array<KEL_RAW, 4> code_page{};
};
APPC_NPARAMS GwPutNcmrcv(const NCMRCV& params) noexcept;
NCMRCV GwGetNcmrcv(const APPC_NPARAMS& nparams) noexcept;

/** `nparams` of the partner's name. */
namespace NCMSPLN_LAYOUT {
inline constexpr NetField partner_LU_name{0, 8};
inline constexpr NetField partner_LU_name_length = partner_LU_name.then(4);
inline constexpr NetField hostaddr = partner_LU_name_length.then(16);
}  // namespace NCMSPLN_LAYOUT

/** Takes the whole name; its start and its length go out. */
APPC_NPARAMS GwPutNcmspln(std::string_view partner_LU_name) noexcept;
