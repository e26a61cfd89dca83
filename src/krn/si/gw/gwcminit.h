/**
 * @file
 * The parameter block of the opening request. Older partners know shorter forms of it, each of which is the
 * tail of the present one.
 */
#pragma once

#include <optional>
#include <string_view>

#include "base/ni/ni.h"
#include "krn/si/gw/gwappchdr.h"
#include "krn/si/gw/gwdisttrace.h"

namespace KELCMINIT7_LAYOUT {
inline constexpr NetField zordest{0, 32};
inline constexpr NetField activateStreaming = zordest.then(1);
inline constexpr NetField dt_net = activateStreaming.then(DISTRIBUTED_TRACING_NET_1_LAYOUT::length);
inline constexpr NetField cpic_timeout = dt_net.then(4);
inline constexpr NetField keepalive_timeout = cpic_timeout.then(4);
inline constexpr NetField export_trace = keepalive_timeout.then(1);
inline constexpr NetField start_type = export_trace.then(1);
inline constexpr NetField net_protocol = start_type.then(1);
inline constexpr NetField local_addr = net_protocol.then(16);
inline constexpr NetField long_LU_name = local_addr.then(128);
inline constexpr NetField long_hostaddr = long_LU_name.then(16);
inline constexpr NetField user = long_hostaddr.then(12);
inline constexpr NetField cmscsp = user.then(12);
inline constexpr NetField cmscsu = cmscsp.then(16);
inline constexpr NetField cmscst = cmscsu.then(4);
inline constexpr NetField cmsend = cmscst.then(4);
inline constexpr NetField cmrcv = cmsend.then(4);
inline constexpr NetField hostaddr = cmrcv.then(8);
inline constexpr NetField long_TP_name = hostaddr.then(64);
inline constexpr std::size_t length = long_TP_name.end();
}  // namespace KELCMINIT7_LAYOUT

/** Lengths of the shorter forms, by the field that each begins with. */
inline constexpr std::size_t KELCMINIT_FROM_DT_NET =
    KELCMINIT7_LAYOUT::length - KELCMINIT7_LAYOUT::dt_net.offset;
inline constexpr std::size_t KELCMINIT_FROM_OPTIONS =
    KELCMINIT7_LAYOUT::length - KELCMINIT7_LAYOUT::cpic_timeout.offset;
inline constexpr std::size_t KELCMINIT_FROM_LONG_LU =
    KELCMINIT7_LAYOUT::length - KELCMINIT7_LAYOUT::long_LU_name.offset;
inline constexpr std::size_t KELCMINIT_FROM_USER = KELCMINIT7_LAYOUT::length - KELCMINIT7_LAYOUT::user.offset;

/** Options that count only with GW_EXTENDED_INIT_OPTIONS in the header. */
struct KELCMINIT_OPTIONS {
    std::int32_t cpic_timeout = 0;       ///< Seconds, -2 not given.
    std::int32_t keepalive_timeout = 0;  ///< Seconds, -2 not given.
    std::uint8_t export_trace = 0;
    std::uint8_t start_type = 0;
};

/** The block. Texts are borrowed; security names are never sent. */
struct KELCMINIT7 {
    std::string_view zordest{};  ///< Empty unless the gateway takes it.
    bool activateStreaming = false;
    std::optional<DISTRIBUTED_TRACING> dt_net{};
    std::optional<KELCMINIT_OPTIONS> options{};
    std::string_view long_LU_name{};
    std::optional<NI_NODEADDR> long_hostaddr{};  ///< The partner's; with WITH_LONG_HOSTADDR in the header.
    std::string_view user{};
    std::string_view long_TP_name{};
};

void GwPutCminit(std::span<KEL_RAW, KELCMINIT7_LAYOUT::length> target, const KELCMINIT7& block) noexcept;

/**
 * Reads a block of any of its lengths; what a shorter form lacks reads as zeros. The flags of the header say
 * which optional parts count. Texts point into `data`. Nothing if the length is that of no form.
 */
std::optional<KELCMINIT7> GwGetCminit(const APPCHDR6& header, std::span<const KEL_RAW> data) noexcept;

/**
 * Length in bytes of the parameter block behind a header: 0 if it announces none. A header that leaves the
 * length open means the one that its request and flags imply.
 */
std::size_t GwKelParamsLen(const APPCHDR6& header) noexcept;
