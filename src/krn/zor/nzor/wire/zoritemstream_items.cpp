// Readers of the session items and of the error items.

#include <string>

#include "wire/hostformat.h"
#include "wire/zoritemstream.h"

namespace {

/** Highest version of the header item that this library understands. */
constexpr KEL_RAW headerVersionMax = 5;

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
    if (control.compression == charClassOne) control.pcs = 1;
    if (control.compression == charClassTwo) control.pcs = 2;
    control.system_cp = control.charset;
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
