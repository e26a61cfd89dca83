#include "problem.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <string_view>

namespace zortool {

namespace {

struct Advice {
    ZOR_RC code;
    std::string_view key; /**< Empty for any. */
    const char* text;
};

// The first row that fits counts, so a key stands before its code.
constexpr Advice advices[] = {
    {ZOR_COMMUNICATION_FAILURE, "",
     "Is the partner still there? Whether a call that was under way was carried out isn't known."},
    {ZOR_LOGON_FAILURE, "PASSWORD_",
     "The password has to be changed first: --password-change-enforced 0 logs on without that."},
    {ZOR_LOGON_FAILURE, "",
     "Check --client, --user and the password. Wrong attempts count: a user may get locked."},
    {ZOR_UBIX_RUNTIME_FAILURE, "CALL_FUNCTION_NOT_FOUND",
     "The partner has no such function. Names are in capitals as a rule; `zor search` finds them where the "
     "partner offers it."},
    {ZOR_UBIX_RUNTIME_FAILURE, "CALL_FUNCTION_PARM_UNKNOWN",
     "The function has no such parameter; `zor describe` shows those that it has."},
    {ZOR_UBIX_RUNTIME_FAILURE, "",
     "The partner's program broke off; the partner's own records (short dumps) tell more under this key."},
    {ZOR_UBIX_MESSAGE, "", "The partner's program ended with this message; its text says what it wants."},
    {ZOR_UBIX_EXCEPTION, "FU_NOT_FOUND",
     "Names are in capitals as a rule; `zor search` finds functions where the partner offers it."},
    {ZOR_UBIX_EXCEPTION, "",
     "The function refused by this exception; `zor describe` shows what its exceptions mean. Other values "
     "may do."},
    {ZOR_UBIX_CLASS_EXCEPTION, "", "The function refused by this exception. Other values may do."},
    {ZOR_TIMEOUT, "", "The partner took the connection and then didn't answer. Try again later."},
    {ZOR_VERSION_MISMATCH, "", "The partner is newer than this program; is it a ZOR partner at all?"},
    {ZOR_INVALID_PROTOCOL, "", "Is it a ZOR partner that listens at this host and service?"},
    {ZOR_NOT_FOUND, "", "Check the name; names are in capitals as a rule."},
    {ZOR_NOT_SUPPORTED, "", "Leave the parameter out, or take another road to the partner."},
    {ZOR_INVALID_PARAMETER, "", "`zor keys` explains the connection parameters."},
    {ZOR_CONVERSION_FAILURE, "", "`zor describe` shows the types and lengths of parameters and fields."},
    {ZOR_AUTHORIZATION_FAILURE, "", "The partner refuses this user; ask whoever runs it."},
};

const char* adviceFor(const ZOR_ERROR_INFO& info) {
    for (const Advice& advice : advices)
        if (advice.code == info.code && std::string_view(info.key).starts_with(advice.key))
            return advice.text;
    return "";
}

// Lines of a text without the empty ones.
std::string withoutEmptyLines(const std::string& text) {
    std::string lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (line.find_first_not_of(" \r") != std::string::npos) lines += (lines.empty() ? "" : "\n") + line;
    return lines;
}

// The one line that says most: of the transport's error information, which has a line for each of its parts,
// what stands behind ERROR; of any other text the first line.
std::string summaryOf(const std::string& message) {
    const std::string lines = withoutEmptyLines(message);
    static constexpr std::string_view label = "ERROR ";
    const std::size_t error = lines.find("\n" + std::string(label));
    if (error == std::string::npos) return lines.substr(0, lines.find('\n'));
    const std::size_t start = lines.find_first_not_of(' ', error + 1 + label.size());
    return lines.substr(start, lines.find('\n', start) - start);
}

void writeLabelled(std::ostream& out, std::string_view label, const std::string& text) {
    if (text.empty()) return;
    constexpr std::size_t width = 9;
    out << "  " << label << std::string(width - std::min(width, label.size()), ' ');
    for (const char c : text) {
        out << c;
        if (c == '\n') out << std::string(width + 2, ' ');
    }
    out << '\n';
}

std::string partnersMessage(const ZOR_ERROR_INFO& info) {
    std::string text;
    for (const char* part : {info.ubixMsgClass, info.ubixMsgType, info.ubixMsgNumber, info.ubixMsgV1,
                             info.ubixMsgV2, info.ubixMsgV3, info.ubixMsgV4})
        if (*part != '\0') text += (text.empty() ? "" : " ") + kelzor::toUtf8(part);
    return text;
}

}  // namespace

const char* groupName(ZOR_ERROR_GROUP group) {
    switch (group) {
        case OK:
            return "OK";
        case UBIX_APPLICATION_FAILURE:
            return "UBIX_APPLICATION_FAILURE";
        case UBIX_RUNTIME_FAILURE:
            return "UBIX_RUNTIME_FAILURE";
        case LOGON_FAILURE:
            return "LOGON_FAILURE";
        case COMMUNICATION_FAILURE:
            return "COMMUNICATION_FAILURE";
        case EXTERNAL_RUNTIME_FAILURE:
            return "EXTERNAL_RUNTIME_FAILURE";
        case EXTERNAL_APPLICATION_FAILURE:
            return "EXTERNAL_APPLICATION_FAILURE";
        case EXTERNAL_AUTHORIZATION_FAILURE:
            return "EXTERNAL_AUTHORIZATION_FAILURE";
    }
    return "?";
}

Problem::Problem(const kelzor::Error& error, const std::string& doing, std::string where)
    : exitStatus_(error.group() == OK ? static_cast<int>(exitInternal) : static_cast<int>(error.group())),
      where_(std::move(where)),
      hint_(adviceFor(error.info())),
      info_(error.info()) {
    const std::string message = summaryOf(kelzor::toUtf8(error.message()));
    text_ = doing + " failed: " + (message.empty() ? std::string(error.key()) : message);
}

void Problem::write(std::ostream& out, bool asJson) const {
    if (asJson)
        writeJson(out);
    else
        writeText(out);
}

void Problem::writeText(std::ostream& out) const {
    out << "zor: " << text_ << '\n';
    if (info_) {
        const std::string message = withoutEmptyLines(kelzor::toUtf8(info_->message));
        if (message.find('\n') != std::string::npos) writeLabelled(out, "details", message);
        writeLabelled(out, "where", where_);
        writeLabelled(out, "code",
                      std::string(ZorGetRcAsString(info_->code)) + " (" + std::to_string(info_->code) +
                          "), group " + groupName(info_->group) + " (" + std::to_string(info_->group) + ")");
        if (info_->key != std::string_view(ZorGetRcAsString(info_->code)))
            writeLabelled(out, "key", kelzor::toUtf8(info_->key));
        writeLabelled(out, "message", partnersMessage(*info_));
    }
    writeLabelled(out, "try", hint_);
}

void Problem::writeJson(std::ostream& out) const {
    nlohmann::ordered_json error = {{"text", text_}, {"exitStatus", exitStatus_}};
    const auto put = [&](const char* name, const std::string& value) {
        if (!value.empty()) error[name] = value;
    };
    if (info_) {
        error["code"] = ZorGetRcAsString(info_->code);
        error["group"] = groupName(info_->group);
        put("key", kelzor::toUtf8(info_->key));
        put("message", kelzor::toUtf8(info_->message));
        put("partnersMessage", partnersMessage(*info_));
    }
    put("where", where_);
    put("try", hint_);
    out << nlohmann::ordered_json{{"error", error}}.dump(2, ' ', false,
                                                         nlohmann::ordered_json::error_handler_t::replace)
        << '\n';
}

}  // namespace zortool
