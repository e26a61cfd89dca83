#include "devsys/programsession.h"

#include <algorithm>
#include <utility>

#include "wire/zorid.h"

namespace zordev {
namespace {

constexpr std::uint32_t OWN_PROTOCOL = 0x00000E09;  // tables aren't compressed
constexpr Byte OWN_HEADER[] = {3, 1, 1, 1, 1, 1, 0, 0};
constexpr Byte OWN_UNICODE_HEADER[] = {1, 1, 0, 0, 0, 0, 1, 0, 0, 0, '#'};
constexpr Byte CLASSIC[] = {0, 0};
constexpr std::string_view TRACE_MARK = "T";
constexpr std::string_view RECORD = "answer of a program";

// What an answer begins with: each group is there as a whole or not at all, the header in the first answer.
struct OpeningRow {
    std::uint16_t id;
    unsigned group;
};
constexpr OpeningRow OPENING[] = {
    {ZORID_Header, 0}, {ZORID_Protocol, 0},  {ZORID_IpAddress, 1},   {ZORID_OwnType, 1},
    {ZORID_OwnRel, 1}, {ZORID_KernelRel, 1}, {ZORID_ProgramName, 1},
};

bool goodOpening(const Item& item) {
    const std::string_view text = asText(item.payload);
    switch (item.id) {
        case ZORID_Header:
            return text.size() == 8 && (text[0] == 3 || text[0] == 5) && text.substr(1, 3) == "\1\1\1";
        case ZORID_Protocol:
            return text.size() == 4;
        case ZORID_OwnType:
            return text == "E";
        case ZORID_OwnRel:
        case ZORID_KernelRel:
            return text.size() == 3;
        default:
            return !text.empty();
    }
}

// Walks through the items and checks what every answer has in common.
class AnswerReader {
  public:
    AnswerReader(ByteSpan stream, ViolationLog& log) : reader_(stream), log_(log) {}

    void read(std::vector<RecordedItem>& items, bool first) {
        Item item;
        do {
            if (reader_.next(item) != ItemResult::item)
                return fault(item, "an item, and an end item as the last");
            items.push_back({item.id, {item.payload.begin(), item.payload.end()}});
            if (!accept(item)) return fault(item, "header and session information in their order");
        } while (item.id != ZORID_End);
        if (!item.payload.empty() || reader_.offset() != reader_.stream().size()) {
            fault(item, "an end item without payload at the end");
        }
        if (first && !withHeader_) fault(item, "a header in the first answer");
    }

  private:
    // Whether the row continues a group that has begun.
    static bool inGroup(std::size_t row) {
        return row > 0 && row < std::size(OPENING) && OPENING[row].group == OPENING[row - 1].group;
    }

    bool accept(const Item& item) {
        const auto found = std::ranges::find(OPENING, item.id, &OpeningRow::id) - std::begin(OPENING);
        const auto row = static_cast<std::size_t>(found);
        const std::size_t expected = std::exchange(row_, std::min(row + 1, std::size(OPENING)));
        if (row == std::size(OPENING)) return !inGroup(expected);
        if (item.id == ZORID_Header) withHeader_ = true;
        const bool inOrder = row == expected || (row > expected && !inGroup(expected) && !inGroup(row));
        return inOrder && goodOpening(item);
    }
    void fault(const Item& item, std::string_view expected) {
        const ByteSpan rest = reader_.stream().subspan(std::min(item.offset, reader_.stream().size()));
        log_.add({std::string(RECORD), item.offset, std::string(expected), hexText(rest)});
    }

    ItemReader reader_;
    ViolationLog& log_;
    std::size_t row_ = 0;  // of the opening, that comes next
    bool withHeader_ = false;
};

std::string asString(const std::vector<std::uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
}

void writeTable(ItemWriter& out, const ProgramParameter& parameter) {
    out.text(ZORID_TableName, parameter.name);
    const std::span<Byte> info = out.reserve(ZORID_TableInfo, 8);
    storeBe32(info, 0, parameter.width);
    storeBe32(info, 4, static_cast<std::uint32_t>(parameter.rows.size()));
    for (const std::string& row : parameter.rows)
        out.text(ZORID_TableContent, row);
}

}  // namespace

ProgramParameter wantedParameter(std::string name) {
    return {.name = std::move(name), .requested = true};
}

ProgramParameter textParameter(std::string name, std::string_view text, std::size_t length) {
    std::string value(text.substr(0, length));
    value.resize(length, ' ');
    return {.name = std::move(name), .value = std::move(value)};
}

ProgramParameter intParameter(std::string name, std::int32_t value) {
    Byte bytes[4];
    storeLe32(bytes, 0, static_cast<std::uint32_t>(value));
    return {.name = std::move(name), .value = std::string(asText(bytes))};
}

ProgramParameter stringParameter(std::string name, std::string_view text) {
    std::string value(text);
    if (!value.empty()) value += '\0';
    return {.name = std::move(name), .value = std::move(value)};
}

ProgramParameter tableParameter(std::string name, std::uint32_t width, std::vector<std::string> rows) {
    return {.name = std::move(name), .requested = true, .width = width, .rows = std::move(rows)};
}

std::string ProgramAnswer::text(std::uint16_t id) const {
    const auto item = std::ranges::find(items, id, &RecordedItem::id);
    return item == items.end() ? std::string() : asString(item->payload);
}

std::optional<std::string> ProgramAnswer::field(std::string_view name) const {
    for (std::size_t i = 0; i + 1 < items.size(); ++i) {
        const bool found = items[i].id == ZORID_FieldName && asString(items[i].payload) == name;
        if (found && items[i + 1].id == ZORID_FieldValue) return asString(items[i + 1].payload);
    }
    return std::nullopt;
}

std::vector<std::string> ProgramAnswer::table(std::string_view name) const {
    std::vector<std::string> rows;
    bool inside = false;
    for (const RecordedItem& item : items) {
        if (item.id == ZORID_TableName) inside = asString(item.payload) == name;
        if (inside && item.id == ZORID_TableContent) rows.push_back(asString(item.payload));
    }
    return rows;
}

ProgramSession::ProgramSession(std::unique_ptr<ProgramStream> stream, const BackEndNames& names,
                               ViolationLog& violations, ProgramAnswer reason)
    : stream_(std::move(stream)), names_(names), violations_(&violations), reason_(std::move(reason)) {}

ProgramSession::~ProgramSession() {
    if (stream_) stream_->close(false);
}

ProgramAnswer ProgramSession::call(std::string_view function,
                                   const std::vector<ProgramParameter>& parameters) {
    begin(function);
    for (const ProgramParameter& parameter : parameters) {
        if (parameter.requested) out_.text(ZORID_FieldIsSupl, parameter.name);
    }
    for (const ProgramParameter& parameter : parameters) {
        if (parameter.width != 0) {
            writeTable(out_, parameter);
        } else if (parameter.value) {
            out_.text(ZORID_FieldName, parameter.name);
            out_.text(ZORID_FieldValue, *parameter.value);
        }
    }
    return exchange();
}

ProgramAnswer ProgramSession::callWithItems(std::string_view function, ByteSpan items) {
    begin(function);
    out_.raw(items);
    return exchange();
}

// Writes what comes in front of the parameters; most of it on a new conversation only.
void ProgramSession::begin(std::string_view function) {
    out_.clear();
    if (std::exchange(first_, false)) {
        if (trace) out_.raw(asBytes(TRACE_MARK));
        out_.item(ZORID_Header, OWN_HEADER);
        out_.number4(ZORID_Protocol, OWN_PROTOCOL);
        out_.item(ZORID_UnicodeHeader, OWN_UNICODE_HEADER);
        out_.item(ZORID_NgZorEncoding, CLASSIC);
        out_.text(ZORID_CUserId, user);
        out_.text(ZORID_LogonClient, client);
        out_.text(ZORID_Language, "E");
        const std::string destination = names_.host + '_' + names_.systemId + '_' + names_.systemNumber;
        out_.text(ZORID_IpAddress, "127.0.0.1");
        out_.text(ZORID_OwnType, "3");
        out_.text(ZORID_OwnRel, names_.release);
        out_.text(ZORID_KernelRel, names_.release);
        out_.text(ZORID_CDestination, destination);
        out_.text(ZORID_Destination, destination);
        out_.text(ZORID_ProgramName, "zordev");
    }
    out_.raw(asBytes(mode));
    out_.flag(ZORID_CallBack);
    out_.text(ZORID_CKelRel, names_.release);
    out_.text(ZORID_FunctionName, function);
}

ProgramAnswer ProgramSession::exchange() {
    if (!stream_) return reason_;
    out_.flag(ZORID_End);
    ProgramAnswer answer;
    std::vector<Byte> bytes;
    const StreamEnd end = stream_->send(out_.bytes()) ? stream_->receive(bytes, limit) : StreamEnd::lost;
    if (end == StreamEnd::timeout) answer.failure = "the program has not answered in time";
    if (end == StreamEnd::lost) answer.failure = "the program is gone";
    if (end == StreamEnd::end && bytes.empty()) answer.failure = "the program has ended without an answer";
    if (answer.failure.empty()) {
        AnswerReader(bytes, *violations_).read(answer.items, !std::exchange(answered_, true));
    }
    if (end == StreamEnd::turn) return answer;
    answer.conversationOver = true;
    stream_->close(end == StreamEnd::timeout);
    stream_.reset();
    reason_ = {.failure = "the conversation is over", .conversationOver = true};
    return answer;
}

}  // namespace zordev
