// What arrives when a conversation ends, and the exceptions that it turns into.

#include <algorithm>
#include <iterator>

#include "connection/zorconnection.h"
#include "convert/zorconverter.h"
#include "trace/zortracefunctions.h"

namespace {

/** "FREE" in EBCDIC: the end of a conversation carries free text. */
constexpr KEL_RAW freeTextMarker[] = {0xC6, 0xD9, 0xC5, 0xC5};
/** Marker and counters in front of the free text. */
constexpr unsigned freeTextPrefix = 12;
constexpr unsigned freeTextMax = 511;
constexpr const KEL_UC* ebcdicCodepage = "0100";

/** Last two bytes of an item stream that was finished. */
constexpr KEL_RAW streamEnd[] = {0xFF, 0xFF};

/** Short dumps of this kind are messages in disguise. */
constexpr std::string_view messageTypeX = "MESSAGE_TYPE_X";

std::string_view trimmed(std::string_view text) noexcept {
    constexpr std::string_view blanks = " \t\r\n\v";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

void ZorConnection::traceFailure(const ZorBaseException& failure) const noexcept {
    if (traceLevel > 0) ZorTraceWrite("%s\n", failure.getMessage().c_str());
}

void ZorConnection::closeFailed(const ZorCommunicationException& failure) noexcept {
    ZorLogWrite("%s\n", failure.getMessage().c_str());
    traceFailure(failure);
    closeBroken();
}

void ZorConnection::parseErrorMsg(const KEL_RAW* data, unsigned length, DATA_RECEIVED dataReceived) {
    resetReceivedError();
    hasErrorMsg = false;
    if (dataReceived == CM_NO_DATA_RECEIVED || length < 3) {
        control.receivedFilled = true;
        control.received.errMessage.assign("connection closed without message (CM_NO_DATA_RECEIVED)");
        zor_rc = ZOR_COMMUNICATION_FAILURE;
        return;
    }
    hasErrorMsg = true;
    if (length > std::size(freeTextMarker) &&
        std::equal(std::begin(freeTextMarker), std::end(freeTextMarker), data))
        return parseFreeText(data, length);
    if (std::equal(std::begin(streamEnd), std::end(streamEnd), data + length - std::size(streamEnd)))
        readUpTo(ZORGET_DATA, nullptr, ZORID_NotUsed);
}

void ZorConnection::parseFreeText(const KEL_RAW* data, unsigned length) {
    const unsigned capped = std::min(length, freeTextMax);
    const unsigned prefix = capped >= freeTextPrefix ? freeTextPrefix : 0;
    KEL_UC text[freeTextMax];
    unsigned stored = sizeof text;
    constexpr short substituteOnError = 2;
    ZorConverter::getConverter(ebcdicCodepage, control.codepage.data(), substituteOnError, '#')
        ->convert(data + prefix, capped - prefix, reinterpret_cast<KEL_RAW*>(text), &stored, nullptr);
    control.receivedFilled = true;
    control.received.errMessage.assign(trimmed({text, stored}));
    zor_rc = ZOR_UBIX_MESSAGE;
}

KEL_string ZorConnection::composedMessage() const {
    const ZorReceivedError& received = control.received;
    if (!received.errMessage.empty()) return KEL_string(received.errMessage.view());
    const struct {
        std::string_view label;
        std::string_view text;
    } parts[] = {
        {"ID:", received.msgId.view()},      {" Type:", received.msgTy.view()},
        {" Number:", received.msgNo.view()}, {" ", received.msgV1.view()},
        {"", received.msgV2.view()},         {"", received.msgV3.view()},
        {"", received.msgV4.view()},
    };
    KEL_string message;
    for (const auto& part : parts)
        if (!part.text.empty()) message.append(part.label).append(part.text);
    return message;
}

void ZorConnection::raiseCollectedError() {
    const ZorReceivedError& received = control.received;
    const auto fields = [&received] {
        const auto text = [](const auto& part) { return KEL_string(part.view()); };
        return ZorUBIXMessageFields{text(received.msgId), text(received.msgTy), text(received.msgNo),
                                    text(received.msgV1), text(received.msgV2), text(received.msgV3),
                                    text(received.msgV4)};
    };
    const KEL_string message = composedMessage();
    const std::string_view key = received.errId.view();
    const ZOR_RC failure = zor_rc;
    zor_rc = ZOR_OK;
    if (failure == ZOR_UBIX_EXCEPTION)
        throw ZorUBIXException(UBIX_APPLICATION_FAILURE, key, message, fields());
    if (!hasErrorMsg) throw ZorCommunicationException(message.empty() ? cpic_tcp->getErrorMsg() : message);
    hasErrorMsg = false;
    const bool dumpedMessage = failure == ZOR_UBIX_RUNTIME_FAILURE && key.starts_with(messageTypeX);
    if (failure == ZOR_UBIX_MESSAGE || dumpedMessage)
        throw ZorUBIXMessageException(UBIX_RUNTIME_FAILURE, key, message, fields());
    throw ZorSystemException(key, message);
}
