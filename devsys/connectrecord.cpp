#include "devsys/connectrecord.h"

#include <algorithm>

namespace zordev {
namespace {

constexpr std::uint16_t NO_INDEX = 0xFFFF;

// The client's IPv4 address stands in the first four bytes of the field or, behind room for a family,
// from its third byte on; the rest is zero.
bool isHostAddress(ByteSpan field, std::uint32_t address) {
    for (const std::size_t start : {std::size_t{0}, std::size_t{2}}) {
        if (loadBe32(field, start) != address) continue;
        const auto zero = [](Byte byte) { return byte == 0; };
        return std::ranges::all_of(field.first(start), zero) &&
               std::ranges::all_of(field.subspan(start + 4), zero);
    }
    return false;
}

// The IPv4 address in a mapped one; 0 for any other.
std::uint32_t mappedAddress(const NodeAddress& node) {
    constexpr std::array<Byte, 12> mapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    return std::equal(mapped.begin(), mapped.end(), node.begin()) ? loadBe32(node, mapped.size()) : 0;
}

void checkCommonPart(RecordChecker& check, ByteSpan record, std::uint32_t peerAddress) {
    const ByteSpan address = record.subspan(conn::hostaddr, conn::hostaddrWidth);
    check.that(isHostAddress(address, peerAddress), conn::hostaddr, conn::hostaddrWidth,
               "the client's address " + std::to_string(peerAddress), "hostaddr");
    check.terminated(conn::service, conn::serviceWidth, 0, "service");
    const std::string_view codePage = asText(record.subspan(conn::codePage, conn::codePageWidth));
    check.that(std::ranges::all_of(codePage, [](char c) { return c >= '0' && c <= '9'; }), conn::codePage,
               conn::codePageWidth, "four digits", "code_page");
    check.zeros(conn::fill, conn::fillWidth, "fill");
    check.number1(conn::acceptInfo2, CLIENT_ACCEPT_INFO2, "accept_info2");
    check.padded(conn::lu, conn::luWidth, false, "lu");
    check.padded(conn::tp, conn::tpWidth, false, "tp");
    // Blank, or the conversation that the client was started for.
    check.padded(conn::conversationId, conn::conversationIdWidth, true, "conversation_ID");
    check.number1(conn::appchdrVersion, 6, "appchdr_version");
    check.number1(conn::acceptInfo, CLIENT_ACCEPT_INFO, "accept_info");
    check.number2(conn::connIdx, NO_INDEX, "conn_idx");
}

}  // namespace

bool checkConnectRecord(ByteSpan record, const NodeAddress& peer, ViolationLog& log) {
    const bool known = record.size() >= 2 && (record[0] == 2 || record[0] == 3);
    const std::size_t length = known && record[0] == 3 ? conn::length3 : conn::length2;
    if (!known || record.size() != length) {
        log.add({"connect record", 0, "version 2 with 64 bytes or version 3 with 136",
                 std::to_string(record.size()) + " bytes: " + hexText(record)});
        return false;
    }
    RecordChecker check("connect record", record, log);
    checkCommonPart(check, record, mappedAddress(peer));
    if (length == conn::length3) {
        check.that(std::ranges::equal(record.subspan(conn::hostaddrV6, conn::hostaddrV6Width), peer),
                   conn::hostaddrV6, conn::hostaddrV6Width, "the client's address " + hexText(peer),
                   "hostaddr_v6");
        check.zeros(conn::params, conn::paramsWidth, "gw_connect_params");
    }
    const bool second = length == conn::length2;
    check.number4(second ? conn::rc2 : conn::rc3, 0, "rc");
    check.number1(second ? conn::echo2 : conn::echo3, 0, "echo_data");
    check.number1(second ? conn::filler2 : conn::filler3, 0, "filler");
    return check.ok();
}

std::vector<Byte> makeConnectAnswer(ByteSpan record, const GatewayCapabilities& capabilities, int rc,
                                    bool echo, std::string_view errorBlock) {
    std::vector<Byte> answer(record.begin(), record.end());
    const bool second = record.size() == conn::length2;
    answer[conn::acceptInfo] = capabilities.acceptInfo;
    answer[conn::acceptInfo2] = capabilities.acceptInfo2;
    storeBe32(answer, second ? conn::rc2 : conn::rc3, static_cast<std::uint32_t>(rc));
    answer[second ? conn::echo2 : conn::echo3] = echo ? 1 : 0;
    if (rc != 0) answer.insert(answer.end(), errorBlock.begin(), errorBlock.end());
    return answer;
}

}  // namespace zordev
