// Readers of the session items and of the error items.

#include <algorithm>
#include <cstring>
#include <string>

#include "wire/hostformat.h"
#include "wire/zoritemstream.h"

namespace {

/** Highest version of the header item that this library understands. */
constexpr KEL_RAW headerVersionMax = 5;

/** Longest logon ticket, in bytes. */
constexpr unsigned maxTicket = 4096;

/** Most characters that are kept of a partner's call stack and the like. */
constexpr unsigned maxRemoteText = 1024 * 1024;

constexpr KEL_RAW charClassOne = 1;
constexpr KEL_RAW charClassTwo = 5;

/** Four digit values as they travel, to the characters that name a code page. */
CodepageDigits digitsOf(const KEL_RAW* values) noexcept {
    KEL_UC digits[4];
    for (unsigned i = 0; i < sizeof digits; ++i)
        digits[i] = static_cast<KEL_UC>(values[i] + '0');
    return CodepageDigits({digits, sizeof digits});
}

}  // namespace

void ZorItemStream::readZorHeader(unsigned length) {
    KEL_RAW header[8] = {};
    readZorDataContent(header, sizeof header, length);
    control.version = header[0];
    control.intformat = header[1];
    control.floatformat = header[2];
    control.compression = header[3];
    control.charset = digitsOf(header + 4);
    control.conv_int = control.intformat != ownIntFormat;
    control.conv_float = control.conv_int || control.floatformat != ownFloatFormat;
    // The one pair of one-byte pages whose texts are converted field by field.
    control.conv_char = control.codepage.view() == "0120" && control.charset.view() == "1100";
    control.conversion = control.conv_char || control.conv_int || control.conv_float;
    if (control.version > headerVersionMax)
        protocolFault(ZOR_VERSION_MISMATCH, "Unsupported ZOR protocol version.");
    if (control.compression == charClassOne)
        control.pcs = 1;
    else if (control.compression == charClassTwo)
        control.pcs = 2;
    else if (control.pcs == 0)
        followPartnerCodepage();
    control.system_cp = control.charset;
}

void ZorItemStream::followPartnerCodepage() noexcept {
    if (control.communication_cp == control.charset) return;
    control.communication_cp = control.charset;
    if (control.zor_role == 'C') control.headerWritten = false;  // the next call tells the new code page
}

void ZorItemStream::readZorUnicodeHeader(unsigned length) {
    KEL_RAW header[11] = {};
    readZorDataContent(header, sizeof header, length);
    control.system_cp = digitsOf(header);
}

void ZorItemStream::readZorProtocol(unsigned length) {
    KEL_RAW payload[4] = {};
    readZorDataContent(payload, sizeof payload, length);
    KEL_UINT partner = 0;
    for (const KEL_RAW byte : payload)
        partner = partner << 8 | byte;
    // The partner can take compressed tables away but never switch them on.
    control.protocol = partner & ~(protocolCompressedTables & ~control.protocol);
}

void ZorItemStream::readZorCDestination(unsigned length) {
    // HOST_SID_NR: the host may hold further underscores, so the text is cut from its end.
    FixedText<65> text;
    readZorText(text, length);
    std::string_view rest = text.view();
    const size_t number = rest.rfind('_');
    if (number == std::string_view::npos) {
        control.target.assign(rest);
        return;
    }
    control.systnr.assign(rest.substr(number + 1, 2));
    rest = rest.substr(0, number);
    if (const size_t system = rest.rfind('_'); system != std::string_view::npos) {
        control.sysid.assign(rest.substr(system + 1, 3));
        rest = rest.substr(0, system);
    }
    control.target.assign(rest);
}

void ZorItemStream::readZorOwnType(unsigned length) {
    FixedText<2> type;
    readZorText(type, length);
    if (!type.empty()) control.partner_type = type.view().front();
    constexpr KEL_CHAR backEnd = '3';
    const bool external = control.zor_role == 'S' && control.partner_type != backEnd &&
                          cpic_tcp->zorProgType != ZOR_TCP_SOCKET_SERVER;
    if (!external) return;
    closeBroken();
    throw ZorSystemException("external ZOR Client not supported.");
}

void ZorItemStream::readZorTicket(unsigned length) {
    if (length == 0) return;
    if (length > maxTicket) throw ZorCommunicationException("Invalid SSO logon ticket");
    KEL_UC ticket[maxTicket];
    logonData.sso2.assign(ticket, readZorChars(ticket, length, length));
    explicit_bzero(ticket, length);
}

void ZorItemStream::readRemoteText(KEL_string& text, unsigned length) {
    const unsigned width = std::max<unsigned>(control.pcs, 1);
    const unsigned wanted = std::min(length / width, maxRemoteText);
    text.clear();
    // Grows as the text arrives; what the buffer of one piece can't hold comes with the next.
    KEL_UC piece[1024];
    unsigned left = length;
    while (text.size() < wanted) {
        const unsigned next = std::min<unsigned>(sizeof piece, wanted - static_cast<unsigned>(text.size()));
        readZorChars(piece, next, next);
        text.append(piece, next);
        left -= next;
    }
    skipBytes(left);
}

void ZorItemStream::readZorErrorMsg(ZORID id, unsigned length) {
    ZorReceivedError& received = control.received;
    control.receivedFilled = true;
    switch (id) {
        case ZORID_Exception:
            zor_rc = ZOR_UBIX_EXCEPTION;
            return readZorText(received.errId, length);
        case ZORID_ErrorMessage:
            if (zor_rc == ZOR_OK) zor_rc = ZOR_UBIX_MESSAGE;
            return readZorText(received.errMessage, length);
        case ZORID_SnapDump:
            zor_rc = ZOR_UBIX_RUNTIME_FAILURE;
            return readZorText(received.errId, length);
        case ZORID_T100Key:
            return readZorText(received.errId, length);
        case ZORID_SystMsgv1:
            return readZorText(received.msgV1, length);
        case ZORID_SystMsgv2:
            return readZorText(received.msgV2, length);
        case ZORID_SystMsgv3:
            return readZorText(received.msgV3, length);
        case ZORID_SystMsgv4:
            return readZorText(received.msgV4, length);
        case ZORID_SystMsgid:
            return readZorText(received.msgId, length);
        case ZORID_SystMsgty:
            return readZorText(received.msgTy, length);
        case ZORID_SystMsgno:
            return readZorText(received.msgNo, length);
        default:
            return skipBytes(length);
    }
}
