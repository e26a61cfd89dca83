/**
 * @file
 * Functions that fail, or behave in a way that a client must be ready for.
 */
#include <array>

#include "devsys/call.h"
#include "devsys/functions.h"
#include "devsys/sessionitems.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

// Parameters of the functions that send a message, after those of their own.
constexpr std::size_t MESSAGE_FIELDS = 7;
constexpr std::uint16_t MESSAGE_ITEMS[MESSAGE_FIELDS] = {
    ZORID_SystMsgid, ZORID_SystMsgty, ZORID_SystMsgno, ZORID_SystMsgv1,
    ZORID_SystMsgv2, ZORID_SystMsgv3, ZORID_SystMsgv4,
};

// Rows of an answer that a test makes up.
const StructureDescription TWO_FIELDS = {"TWO_FIELDS",
                                         12,
                                         {
                                             {"TEXT", ZORTYPE_CHAR, 8, 0},
                                             {"NUMBER", ZORTYPE_INT, 4, 8},
                                         }};

std::vector<ParameterDescription> withMessage(ParameterDescription own) {
    return {
        own,
        {"MSGID", ZORTYPE_CHAR, 20, ZOR_IMPORT},
        {"MSGTY", ZORTYPE_CHAR, 1, ZOR_IMPORT},
        {"MSGNO", ZORTYPE_NUM, 3, ZOR_IMPORT},
        {"MSGV1", ZORTYPE_CHAR, 50, ZOR_IMPORT},
        {"MSGV2", ZORTYPE_CHAR, 50, ZOR_IMPORT},
        {"MSGV3", ZORTYPE_CHAR, 50, ZOR_IMPORT},
        {"MSGV4", ZORTYPE_CHAR, 50, ZOR_IMPORT},
    };
}

// Each message field that the caller gave, unless it is empty.
void writeMessage(Call& call) {
    if (call.text(1).empty()) return;
    for (std::size_t i = 0; i < MESSAGE_FIELDS; ++i) {
        const std::string_view text = call.text(i + 1);
        if (!text.empty()) call.out.text(MESSAGE_ITEMS[i], text);
    }
}

std::string_view textOr(const Call& call, std::size_t index, std::string_view otherwise) {
    const std::string_view text = call.text(index);
    return text.empty() ? otherwise : text;
}

Outcome raiseException(Call& call) {
    writeMessage(call);
    call.out.text(ZORID_Exception, textOr(call, 0, "FAILED"));
    return Outcome::reply;
}

Outcome raiseMessage(Call& call) {
    writeMessage(call);
    call.out.text(ZORID_ErrorMessage, textOr(call, 0, "Message of the function"));
    return Outcome::end;
}

Outcome shortDump(Call& call) {
    call.out.text(ZORID_SnapDump, textOr(call, 0, "COMPUTE_INT_ZERODIVIDE"));
    call.out.text(ZORID_ErrorMessage, textOr(call, 1, "Division by 0"));
    return Outcome::end;
}

Outcome shortDumpMessageX(Call& call) {
    writeMessage(call);
    call.out.text(ZORID_SnapDump, "MESSAGE_TYPE_X");
    call.out.text(ZORID_ErrorMessage, textOr(call, 0, "The program was ended by a message of type X"));
    return Outcome::end;
}

Outcome endWithoutData(Call&) {
    return Outcome::endUnframed;
}

Outcome errorWithoutEnd(Call& call) {
    call.out.text(ZORID_ErrorMessage, textOr(call, 0, "An error without an end of the conversation"));
    return Outcome::reply;
}

// Letters, digits and a few signs in EBCDIC; anything else becomes a blank.
Byte toEbcdic(char c) {
    if (c >= 'A' && c <= 'I') return static_cast<Byte>(0xC1 + (c - 'A'));
    if (c >= 'J' && c <= 'R') return static_cast<Byte>(0xD1 + (c - 'J'));
    if (c >= 'S' && c <= 'Z') return static_cast<Byte>(0xE2 + (c - 'S'));
    if (c >= 'a' && c <= 'i') return static_cast<Byte>(0x81 + (c - 'a'));
    if (c >= 'j' && c <= 'r') return static_cast<Byte>(0x91 + (c - 'j'));
    if (c >= 's' && c <= 'z') return static_cast<Byte>(0xA2 + (c - 's'));
    if (c >= '0' && c <= '9') return static_cast<Byte>(0xF0 + (c - '0'));
    return c == '.' ? 0x4B : c == '-' ? 0x60 : c == ',' ? 0x6B : 0x40;
}

// The word FREE, eight zeros, and the text, all in EBCDIC and without any item.
Outcome freeText(Call& call) {
    constexpr std::array<Byte, 12> prefix = {0xC6, 0xD9, 0xC5, 0xC5, 0xF0, 0xF0,
                                             0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0};
    call.out.raw(prefix);
    for (const char c : textOr(call, 0, "Free text")) {
        const Byte byte = toEbcdic(c);
        call.out.raw({&byte, 1});
    }
    return Outcome::endUnframed;
}

// Identifiers that no client acts upon, with payloads of several lengths.
void writeUnknown(Call& call) {
    static const std::vector<Byte> large(70000, 0x55);
    call.out.flag(ZORID_StatTrace);
    call.out.text(ZORID_Uuid, "0123456789ABCDEF");
    call.out.item(12345, large);
}

Outcome unknownItems(Call& call) {
    writeUnknown(call);
    if (call.values[1].requested) {
        call.out.text(ZORID_FieldName, "RESULT");
        writeUnknown(call);
        storeText(call.out.reserve(ZORID_FieldValue, 100), 0, 100, call.text(0));
    }
    writeUnknown(call);
    return Outcome::reply;
}

Outcome wrongState(Call& call) {
    call.out.text(ZORID_FieldValue, "a value without a name");
    return Outcome::reply;
}

// Answers with exactly the bytes that the caller sent, in pieces of a stream or as the conversation's end.
Outcome replyItems(Call& call) {
    enum { items, end };
    call.out.raw(call.values[items].value);
    return call.integer(end) != 0 ? Outcome::endUnframed : Outcome::replyUnframed;
}

// The bytes that the caller sent, as often as it wants, and then an end.
Outcome repeatItems(Call& call) {
    enum { items, times };
    for (std::int32_t i = 0; i < call.integer(times); ++i)
        call.out.raw(call.values[items].value);
    return Outcome::reply;
}

Outcome headerVersion6(Call& call) {
    constexpr Byte header[] = {6, 1, 1, 1, 1, 1, 0, 0};
    call.out.item(ZORID_Header, header);
    return Outcome::reply;
}

Outcome sleepFor(Call& call) {
    const std::int32_t milliseconds = call.integer(0);
    if (milliseconds > 0 && !call.host.wait(static_cast<unsigned>(milliseconds))) return Outcome::dropped;
    call.replyInteger(1, milliseconds);
    return Outcome::reply;
}

// The value of RESULT, or the key or text of the failure, in a client's answer.
std::string resultOf(const std::vector<Byte>& answer) {
    ItemReader reader(answer);
    std::string name;
    for (Item item; reader.next(item) == ItemResult::item;) {
        const std::string_view text = asText(item.payload);
        if (item.id == ZORID_FieldName) name = text;
        if (item.id == ZORID_FieldValue && name == "RESULT") return std::string(text);
        if (item.id == ZORID_Exception || item.id == ZORID_ErrorMessage) return std::string(text);
    }
    return "no result";
}

// Calls FUNCTION of the client as often as TIMES says, handing TEXT over and each result on to the next.
Outcome callBack(Call& call) {
    enum { function, text, times, result };
    const std::string name(textOr(call, function, "ZORDEV_CALLBACK"));
    std::string value(call.text(text));
    const std::int32_t rounds = call.values[times].supplied ? call.integer(times) : 1;
    std::vector<Byte> answer;
    // The answers take the place of the request, so what the caller wanted is noted before the first one.
    for (std::int32_t i = 0; i < rounds; ++i) {
        ItemWriter parameters;
        parameters.text(ZORID_FieldIsSupl, "RESULT");
        parameters.text(ZORID_FieldName, "TEXT");
        storeText(parameters.reserve(ZORID_FieldValue, 100), 0, 100, value);
        if (!call.host.callBack(name, parameters, answer)) return Outcome::dropped;
        value = resultOf(answer);
    }
    call.replyText(result, value);
    return Outcome::reply;
}

// Calls FUNCTION of the client with exactly the items that the caller sent, and gives its answer back.
Outcome callBackItems(Call& call) {
    enum { function, items, result };
    const std::string name(textOr(call, function, "ZORDEV_CALLBACK"));
    ItemWriter parameters;
    parameters.raw(call.values[items].value);
    std::vector<Byte> answer;
    if (!call.host.callBack(name, parameters, answer)) return Outcome::dropped;
    call.reply(result, answer);
    return Outcome::reply;
}

}  // namespace

std::vector<FunctionDescription> failingFunctions() {
    const ParameterDescription text = {"TEXT", ZORTYPE_CHAR, 100, ZOR_IMPORT};
    const ParameterDescription result = {"RESULT", ZORTYPE_CHAR, 100, ZOR_EXPORT};
    return {
        {"RAISE_EXCEPTION", withMessage({"NAME", ZORTYPE_CHAR, 30, ZOR_IMPORT}), raiseException},
        {"RAISE_MESSAGE", withMessage(text), raiseMessage},
        {"SHORT_DUMP", {{"KEY", ZORTYPE_CHAR, 60, ZOR_IMPORT}, text}, shortDump},
        {"SHORT_DUMP_MESSAGE_X", withMessage(text), shortDumpMessageX},
        {"END_WITHOUT_DATA", {}, endWithoutData},
        {"FREE_TEXT", {text}, freeText},
        {"ERROR_WITHOUT_END", {text}, errorWithoutEnd},
        {"UNKNOWN_ITEMS", {text, result}, unknownItems},
        {"WRONG_STATE", {}, wrongState},
        {"HEADER_VERSION_6", {}, headerVersion6},
        {"REPLY_ITEMS",
         {{"ITEMS", ZORTYPE_XSTRING, 0, ZOR_IMPORT},
          {"END", ZORTYPE_INT, 4, ZOR_IMPORT},
          {"RESULT", ZORTYPE_CHAR, 100, ZOR_EXPORT},
          {"NUMBER", ZORTYPE_INT, 4, ZOR_EXPORT},
          {"LINES", ZORTYPE_TABLE, TWO_FIELDS.length, ZOR_TABLES, 0, &TWO_FIELDS}},
         replyItems},
        {"REPEAT_ITEMS",
         {{"ITEMS", ZORTYPE_XSTRING, 0, ZOR_IMPORT}, {"TIMES", ZORTYPE_INT, 4, ZOR_IMPORT}},
         repeatItems},
        {"SLEEP",
         {{"MILLISECONDS", ZORTYPE_INT, 4, ZOR_IMPORT}, {"SLEPT", ZORTYPE_INT, 4, ZOR_EXPORT}},
         sleepFor},
        {"CALL_BACK",
         {{"FUNCTION", ZORTYPE_CHAR, 30, ZOR_IMPORT}, text, {"TIMES", ZORTYPE_INT, 4, ZOR_IMPORT}, result},
         callBack},
        {"CALL_BACK_ITEMS",
         {{"FUNCTION", ZORTYPE_CHAR, 30, ZOR_IMPORT},
          {"ITEMS", ZORTYPE_XSTRING, 0, ZOR_IMPORT},
          {"ANSWER", ZORTYPE_XSTRING, 0, ZOR_EXPORT}},
         callBackItems},
    };
}

}  // namespace zordev
