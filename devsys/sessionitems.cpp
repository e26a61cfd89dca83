#include "devsys/sessionitems.h"

#include <algorithm>
#include <array>

#include "devsys/scramble.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

enum class Group : unsigned { header, logon, info, call };

enum class Need {
    always,         // with its group
    maybe,          // as the client likes
    outsideAnswer,  // with its group, and forbidden in the answer to a callback
    whenConnected   // with its group in a call, and forbidden in the logon
};

struct OrderRow {
    std::uint16_t id;
    Group group;
    Need need;
};

constexpr OrderRow ORDER[] = {
    {ZORID_Header, Group::header, Need::always},
    {ZORID_Protocol, Group::header, Need::always},
    {ZORID_UnicodeHeader, Group::header, Need::always},
    {ZORID_NgZorEncoding, Group::header, Need::always},
    {ZORID_DeltaTurnOff, Group::header, Need::maybe},
    {ZORID_Sso2Logon, Group::logon, Need::maybe},
    {ZORID_ExtIdData, Group::logon, Need::maybe},
    {ZORID_ExtIdType, Group::logon, Need::maybe},
    {ZORID_X509Cert, Group::logon, Need::maybe},
    {ZORID_UserId, Group::logon, Need::maybe},
    {ZORID_ScramblePW, Group::logon, Need::maybe},
    {ZORID_Sso2, Group::logon, Need::maybe},
    {ZORID_Client, Group::logon, Need::always},
    {ZORID_AliasUserID, Group::logon, Need::maybe},
    {ZORID_Language, Group::logon, Need::always},
    {ZORID_VSLWithoutSSO, Group::logon, Need::maybe},
    {ZORID_SessionInfo, Group::logon, Need::always},
    {ZORID_IpAddress, Group::info, Need::always},
    {ZORID_OwnType, Group::info, Need::always},
    {ZORID_OwnRel, Group::info, Need::always},
    {ZORID_KernelRel, Group::info, Need::always},
    {ZORID_CDestination, Group::info, Need::outsideAnswer},
    {ZORID_Destination, Group::info, Need::outsideAnswer},
    {ZORID_ProgramName, Group::info, Need::always},
    {ZORID_CallBack, Group::call, Need::always},
    {ZORID_CKelRel, Group::call, Need::always},
    {ZORID_UseClassExceptions, Group::call, Need::maybe},
    {ZORID_FunctionName, Group::call, Need::always},
    {ZORID_EnableIsSupl, Group::call, Need::whenConnected},
};

constexpr std::array<Byte, COMMUNICATION_HEADER> COMMUNICATION = {0xE9, 0xD6, 0xD9, 0xF0, 0xF0, 0xF0,
                                                                  0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0};
// Longest ticket, and longest certificate or external identity, in bytes.
constexpr std::size_t MAX_TICKET = 4096;
constexpr std::size_t MAX_IDENTITY = 64 * 1024;

constexpr Byte TRACE_MARK = 0xE3;

constexpr unsigned bit(Group group) {
    return 1U << static_cast<unsigned>(group);
}

// The groups that a stream must have, and those that it may have, as bits.
constexpr unsigned requiredGroups(StreamKind kind) {
    switch (kind) {
        case StreamKind::logon:
            return bit(Group::header) | bit(Group::logon) | bit(Group::info) | bit(Group::call);
        case StreamKind::call:
            return bit(Group::call);
        case StreamKind::answer:
            return 0;
    }
    return 0;
}

constexpr unsigned allowedGroups(StreamKind kind) {
    const unsigned optional = bit(Group::header) | bit(Group::info);
    return requiredGroups(kind) | optional;
}

bool allowed(const OrderRow& row, StreamKind kind) {
    if (row.need == Need::outsideAnswer && kind == StreamKind::answer) return false;
    if (row.need == Need::whenConnected && kind != StreamKind::call) return false;
    return (allowedGroups(kind) & bit(row.group)) != 0;
}

bool isText(ByteSpan payload, std::size_t minimum, std::size_t maximum) {
    const bool printable = std::ranges::all_of(payload, [](Byte byte) { return byte >= 0x20; });
    return printable && payload.size() >= minimum && payload.size() <= maximum &&
           trimmed(asText(payload)).size() == payload.size();
}

bool digits(ByteSpan payload, std::size_t count) {
    return payload.size() == count &&
           std::ranges::all_of(payload, [](Byte byte) { return byte >= '0' && byte <= '9'; });
}

// A code page as four digit values, each byte the value and not the character.
bool codePageValues(ByteSpan bytes) {
    return std::ranges::all_of(bytes, [](Byte byte) { return byte <= 9; });
}

bool isHeader(ByteSpan payload) {
    return payload.size() == 8 && payload[0] == 3 && payload[1] == 1 && payload[2] == 1 &&
           (payload[3] == 1 || payload[3] == 5) && codePageValues(payload.subspan(4, 4));
}

bool isUnicodeHeader(ByteSpan payload) {
    return payload.size() == 11 && codePageValues(payload.first(4)) && payload[4] <= 1 && payload[5] == 0 &&
           payload[6] == 1;
}

bool isOneNumber(ByteSpan payload, std::uint32_t value) {
    return payload.size() == 4 && loadBe32(payload, 0) == value;
}

// What is expected of an item's payload, for the log.
std::string expectation(std::uint16_t id) {
    switch (id) {
        case ZORID_Header:
            return "version 3, formats 1 and 1, character size 1 or 5, four digits";
        case ZORID_Protocol:
            return "00 00 0E 0B";
        case ZORID_UnicodeHeader:
            return "11 bytes: four digits, 0 or 1, 0, 1, the substitute";
        case ZORID_NgZorEncoding:
            return "00 00";
        case ZORID_ScramblePW:
            return "a key and 1 to 124 bytes";
        case ZORID_SessionInfo:
            return "01";
        case ZORID_Client:
            return "three digits";
        case ZORID_OwnType:
            return "E";
        case ZORID_OwnRel:
        case ZORID_KernelRel:
        case ZORID_CKelRel:
            return "a release of three characters";
        case ZORID_DeltaTurnOff:
        case ZORID_CallBack:
        case ZORID_UseClassExceptions:
        case ZORID_EnableIsSupl:
            return "a flag without payload";
        default:
            return "text within the bounds of its field, without trailing blanks";
    }
}

bool wellFormed(const Item& item) {
    const ByteSpan payload = item.payload;
    switch (item.id) {
        case ZORID_Header:
            return isHeader(payload);
        case ZORID_Protocol:
            return isOneNumber(payload, 0x00000E0B);
        case ZORID_UnicodeHeader:
            return isUnicodeHeader(payload);
        case ZORID_NgZorEncoding:
            return payload.size() == 2 && loadBe16(payload, 0) == 0;
        case ZORID_UserId:
            return isText(payload, 1, 12);
        case ZORID_ScramblePW:
            return payload.size() > 4 && payload.size() <= 128;
        case ZORID_Client:
            return digits(payload, 3);
        case ZORID_AliasUserID:
            return isText(payload, 1, 40);
        case ZORID_Language:
            return isText(payload, 0, 2);
        case ZORID_Sso2Logon:
            return isText(payload, 1, MAX_TICKET);
        case ZORID_ExtIdData:
        case ZORID_X509Cert:
            return isText(payload, 1, MAX_IDENTITY);
        case ZORID_ExtIdType:
            return isText(payload, 0, 2);
        case ZORID_SessionInfo:
            return payload.size() == 1 && payload[0] == 1;
        case ZORID_IpAddress:
            return isText(payload, 1, 64);
        case ZORID_OwnType:
            return asText(payload) == "E";
        case ZORID_OwnRel:
        case ZORID_KernelRel:
        case ZORID_CKelRel:
            return isText(payload, 3, 3);
        case ZORID_CDestination:
            return isText(payload, 1, 64);
        case ZORID_Destination:
        case ZORID_ProgramName:
            return isText(payload, 1, 128);
        case ZORID_FunctionName:
            return isText(payload, 1, 30);
        default:
            return payload.empty();
    }
}

// Who a client is, in one form only; a name may stand beside a certificate or an external identity.
bool oneFormOfIdentity(const Item& item, const ClientFacts& facts) {
    const bool ticket = !facts.ticket.empty(), certificate = !facts.certificate.empty();
    const bool external = !facts.externalId.empty();
    switch (item.id) {
        case ZORID_ExtIdData:
            return !ticket;
        case ZORID_ExtIdType:
            return external;
        case ZORID_X509Cert:
            return !ticket && !external;
        case ZORID_UserId:
            return !ticket;
        case ZORID_ScramblePW:
            return !ticket && !external && !certificate && !facts.user.empty();
        default:
            return true;
    }
}

// Items that hold a secret, which no log may show.
bool isSecret(std::uint16_t id) {
    return id == ZORID_ScramblePW || id == ZORID_Sso2Logon || id == ZORID_ExtIdData || id == ZORID_X509Cert;
}

}  // namespace

std::size_t communicationHeaderLength(ByteSpan stream) {
    const bool there = stream.size() >= COMMUNICATION_HEADER &&
                       std::ranges::equal(stream.first(3), std::span(COMMUNICATION).first(3));
    return there ? COMMUNICATION_HEADER : 0;
}

bool checkCommunicationHeader(ByteSpan stream, ClientFacts& facts, ViolationLog& log) {
    const ByteSpan start = stream.first(std::min(stream.size(), COMMUNICATION_HEADER));
    std::array<Byte, COMMUNICATION_HEADER> traced = COMMUNICATION;
    traced.back() = TRACE_MARK;
    facts.tracing = std::ranges::equal(start, traced);
    if (facts.tracing || std::ranges::equal(start, COMMUNICATION)) return true;
    log.add({"communication header", 0, hexText(COMMUNICATION), hexText(start)});
    return false;
}

bool readItem(ItemReader& reader, Item& item, ViolationLog& log) {
    switch (reader.next(item)) {
        case ItemResult::item:
            return true;
        case ItemResult::end:
            log.add({"item stream", item.offset, "an end item", "the end of the data"});
            break;
        case ItemResult::truncated:
            log.add({"item stream", item.offset, "a complete item",
                     hexText(reader.stream().subspan(item.offset))});
            break;
        case ItemResult::badClosing:
            log.add({"item stream, closing identifier", item.offset, std::to_string(item.id), "another one"});
            break;
    }
    return false;
}

bool SessionItems::read(ItemReader& reader, ClientFacts& facts, Item& item) {
    for (;;) {
        if (!readItem(reader, item, log_)) return false;
        const bool ours = std::ranges::find(ORDER, item.id, &OrderRow::id) != std::end(ORDER);
        if (!ours) return skipTo(std::size(ORDER), item.offset);
        if (!accept(item) || !take(item, facts)) return false;
    }
}

// Finds the item's row at or behind the position; what is skipped on the way must be optional.
bool SessionItems::accept(const Item& item) {
    std::size_t row = position_;
    while (row < std::size(ORDER) && ORDER[row].id != item.id)
        ++row;
    if (row == std::size(ORDER) || !allowed(ORDER[row], kind_)) {
        log_.add(
            {"item stream", item.offset, "another item at this place", "item " + std::to_string(item.id)});
        return false;
    }
    groupsEntered_ |= bit(ORDER[row].group);
    if (!skipTo(row, item.offset)) return false;
    position_ = row + 1;
    return true;
}

bool SessionItems::skipTo(std::size_t row, std::size_t offset) {
    const unsigned needed = groupsEntered_ | requiredGroups(kind_);
    for (std::size_t i = position_; i < row; ++i) {
        const OrderRow& skipped = ORDER[i];
        if (skipped.need == Need::maybe || !allowed(skipped, kind_) || (needed & bit(skipped.group)) == 0)
            continue;
        log_.add({"item stream", offset, "item " + std::to_string(skipped.id), "a later one without it"});
        return false;
    }
    return true;
}

bool SessionItems::take(const Item& item, ClientFacts& facts) {
    if (!oneFormOfIdentity(item, facts)) {
        log_.add({"logon", item.offset, "one form of identity", "item " + std::to_string(item.id)});
        return false;
    }
    if (!wellFormed(item)) {
        const std::string got = isSecret(item.id) ? "something else" : hexText(item.payload);
        log_.add({"item " + std::to_string(item.id), item.offset, expectation(item.id), got});
        return false;
    }
    switch (item.id) {
        case ZORID_UserId:
            facts.user = asText(item.payload);
            break;
        case ZORID_ScramblePW:
            facts.password = *unscramblePassword(item.payload);
            break;
        case ZORID_Sso2Logon:
            facts.ticket = asText(item.payload);
            break;
        case ZORID_ExtIdData:
            facts.externalId = asText(item.payload);
            break;
        case ZORID_ExtIdType:
            facts.externalId = std::string(asText(item.payload)) + ':' + facts.externalId;
            break;
        case ZORID_X509Cert:
            facts.certificate = asText(item.payload);
            break;
        case ZORID_Sso2:
            facts.wantsTicket = true;
            break;
        case ZORID_Client:
            facts.client = asText(item.payload);
            break;
        case ZORID_AliasUserID:
            facts.alias = asText(item.payload);
            break;
        case ZORID_Language:
            facts.language = asText(item.payload);
            break;
        case ZORID_DeltaTurnOff:
            facts.deltaOff = true;
            break;
        case ZORID_OwnRel:
            facts.release = asText(item.payload);
            break;
        case ZORID_ProgramName:
            facts.program = asText(item.payload);
            break;
        case ZORID_FunctionName:
            facts.function.assign(asText(item.payload));
            break;
        default:
            break;
    }
    return true;
}

}  // namespace zordev
