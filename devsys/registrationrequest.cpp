#include "devsys/registrationrequest.h"

#include <algorithm>

#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

std::string_view upToZero(ByteSpan field) {
    const std::string_view text = asText(field);
    return text.substr(0, text.find('\0'));
}

}  // namespace

std::string readExtension(ByteSpan message, std::string_view nameStart, ViolationLog& log) {
    if (message.size() != ext::length) {
        log.add({"connect extension", 0, std::to_string(ext::length) + " bytes",
                 std::to_string(message.size()) + " bytes"});
        return {};
    }
    RecordChecker check("connect extension", message, log);
    check.terminated(ext::longLu, ext::longLuWidth, ' ', "long_lu");
    const std::string id(upToZero(message.subspan(ext::longTp, ext::longTpWidth)));
    // An id of full length leaves no room for its zero byte.
    if (id.size() < ext::longTpWidth) check.terminated(ext::longTp, ext::longTpWidth, ' ', "long_tp");
    check.blanks(ext::rest, ext::length - ext::rest, "fill");
    check.that(id.substr(0, hdr::initWidth) == nameStart, ext::longTp, id.size(),
               "the program of the connect record, " + std::string(nameStart), "long_tp");
    check.that(id.find('*') == std::string::npos, ext::longTp, id.size(), "a name without *", "long_tp");
    return check.ok() ? id : std::string();
}

bool isRegistrationId(std::string_view id) {
    const std::string_view text = trimmed(id);
    return text.size() > 1 && (text[0] == 'H' || text[0] == 'N') &&
           std::ranges::all_of(text.substr(1), [](char c) { return c >= '0' && c <= '9'; });
}

bool checkRegistrationRequest(ByteSpan message, const RequestContext& context, ViolationLog& log) {
    if (!checkHeader(message, context, log)) return false;
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, 0, log)) return false;
    RecordChecker check("request of a registration", message, log);
    check.number1(hdr::info2, 0, "info2");
    check.number4(hdr::sendLength, hdr::length, "send_length");
    check.zeros(hdr::sendLength + 4, hdr::nparamsWidth - 4, "rest of nparams");
    check.number2(hdr::commIdx, 0xFFFF, "comm_idx");
    return check.ok();
}

}  // namespace zordev
