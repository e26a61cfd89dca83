#include "krn/si/gw/gwcminit.h"

#include "krn/si/gw/gwcmsend.h"
#include "krn/si/gw/gwcmspln.h"

namespace L = KELCMINIT7_LAYOUT;

static_assert(L::length == 373 && L::long_LU_name.offset == 105);
static_assert(KELCMINIT_FROM_DT_NET == 340 && KELCMINIT_FROM_OPTIONS == 295);
static_assert(KELCMINIT_FROM_LONG_LU == 268 && KELCMINIT_FROM_USER == 124);

namespace {

/** Bytes of the name in a block that names a program. */
constexpr std::size_t CMSTPN_LENGTH = 64;

bool isForm(std::size_t length) {
    return length == L::length || length == KELCMINIT_FROM_DT_NET || length == KELCMINIT_FROM_OPTIONS ||
           length == KELCMINIT_FROM_LONG_LU || length == KELCMINIT_FROM_USER;
}

/** The form that a partner uses which doesn't tell the length. */
std::size_t impliedForm(const APPCHDR6& header) {
    if ((header.info3 & GW_DIST_TRACE) != 0) return KELCMINIT_FROM_DT_NET;
    if ((header.info3 & GW_EXTENDED_INIT_OPTIONS) != 0) return KELCMINIT_FROM_OPTIONS;
    const bool longAddressOnly =
        (header.info2 & (WITH_LONG_HOSTADDR | WITH_LONG_LU_NAME)) == WITH_LONG_HOSTADDR;
    return longAddressOnly ? KELCMINIT_FROM_USER : KELCMINIT_FROM_LONG_LU;
}

/** A field of the present form within a shorter one; empty if the form lacks it. */
std::span<const KEL_RAW> fieldOf(std::span<const KEL_RAW> data, NetField field) {
    const std::size_t missing = L::length - data.size();
    return field.offset < missing ? std::span<const KEL_RAW>()
                                  : data.subspan(field.offset - missing, field.length);
}

/** Text up to a zero byte, without the blanks behind it. */
std::string_view textOf(std::span<const KEL_RAW> data, NetField field) {
    const std::span<const KEL_RAW> raw = fieldOf(data, field);
    std::string_view text(reinterpret_cast<const char*>(raw.data()), raw.size());
    text = text.substr(0, text.find('\0'));
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

KELCMINIT_OPTIONS optionsOf(std::span<const KEL_RAW> data) {
    constexpr NetField whole{L::cpic_timeout.offset, L::net_protocol.offset - L::cpic_timeout.offset};
    ByteReader reader(fieldOf(data, whole));
    return {reader.i32(), reader.i32(), reader.u8(), reader.u8()};
}

}  // namespace

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
    if (block.long_hostaddr) writer.at(L::long_hostaddr).bytes(*block.long_hostaddr);
    writer.padded(L::user, block.user);
    writer.terminated(L::long_TP_name, block.long_TP_name);
}

std::optional<KELCMINIT7> GwGetCminit(const APPCHDR6& header, std::span<const KEL_RAW> data) noexcept {
    if (!isForm(data.size())) return std::nullopt;
    KELCMINIT7 block;
    if ((header.info4 & GW_WITH_ZORDEST) != 0) block.zordest = textOf(data, L::zordest);
    block.activateStreaming = ByteReader(fieldOf(data, L::activateStreaming)).u8() != 0;
    if ((header.info3 & GW_DIST_TRACE) != 0) block.dt_net = GwGetDistTrace(fieldOf(data, L::dt_net));
    if ((header.info3 & GW_EXTENDED_INIT_OPTIONS) != 0 && data.size() >= KELCMINIT_FROM_OPTIONS)
        block.options = optionsOf(data);
    block.long_LU_name = textOf(data, L::long_LU_name);
    block.user = textOf(data, L::user);
    block.long_TP_name = textOf(data, L::long_TP_name);
    return block;
}

std::size_t GwKelParamsLen(const APPCHDR6& header) noexcept {
    if ((header.info & WITH_GW_KEL_PARAMS_HDR) == 0) return 0;
    if (header.kel_params_len != 0) return header.kel_params_len;
    switch (header.rqtype) {
        case GW_RQ_SET_PARTNER_LU_NAME:
            return GW_CMSPLN_LAYOUT::length;
        case GW_RQ_SET_TP_NAME:
            return CMSTPN_LENGTH;
        case GW_RQ_KEL_SEND:
            return KELCMSEND_LAYOUT::length;
        case GW_RQ_INITIALIZE_CONVERSATION:
        case GW_RQ_KEL_INIT:
            return impliedForm(header);
        default:
            return L::length;
    }
}
