// The items that open a conversation and a call.

#include "driver/cpicconnection.h"
#include "wire/hostformat.h"
#include "wire/zoritemstream.h"

namespace {

/** First bytes of a conversation, without item framing: "ZOR" and nine zeros in EBCDIC. */
constexpr KEL_RAW communicationHeader[] = {0xE9, 0xD6, 0xD9, 0xF0, 0xF0, 0xF0,
                                           0xF0, 0xF0, 0xF0, 0xF0, 0xF0, 0xF0};
/** Last byte of it when this side traces: EBCDIC "T" asks the partner to trace too. */
constexpr KEL_RAW communicationTraced = 0xE3;

/** Versions of the header item. */
constexpr KEL_RAW headerVersionClassic = 3;

/** Character size class of the header item for one, two and four bytes per character. */
constexpr KEL_RAW charClassOne = 1;
constexpr KEL_RAW charClassTwo = 5;
constexpr KEL_RAW charClassFour = 6;

/** Kind of program that this library is, as partners know it. */
constexpr std::string_view ownType = "E";

KEL_RAW charClassOf(unsigned characterSize) noexcept {
    return characterSize == 2 ? charClassTwo : characterSize == 4 ? charClassFour : charClassOne;
}

void putDigits(KEL_RAW* target, const CodepageDigits& codepage) noexcept {
    for (const KEL_UC digit : codepage.view())
        *target++ = static_cast<KEL_RAW>(digit - '0');
}

}  // namespace

void ZorItemStream::writeZorSessionHeader() {
    if (control.headerWritten) return;
    control.headerWritten = true;
    if (callbackCount == 0 && !control.comHeaderWritten) {
        if (cpic_tcp->zorProgType == ZOR_CLIENT) {
            KEL_RAW header[sizeof communicationHeader];
            std::copy(std::begin(communicationHeader), std::end(communicationHeader), header);
            if (cpic_tcp->traceLevel != 0) header[sizeof header - 1] = communicationTraced;
            writeBytes(header, sizeof header);
        }
        control.comHeaderWritten = true;
    }
    const bool isClient = control.zor_role == 'C';
    KEL_RAW header[8] = {headerVersionClassic, ownIntFormat, ownFloatFormat, charClassOf(control.pcs)};
    putDigits(header + 4, control.pcs == 0 ? control.communication_cp
                          : isClient       ? control.codepage
                                           : control.charset);
    writeZorData(ZORID_Header, header);
    writeZorInt4(ZORID_Protocol, protocolOwn);
    if (!isClient) return;
    KEL_RAW unicodeHeader[11] = {};
    putDigits(unicodeHeader, control.codepage);
    unicodeHeader[4] = control.ignoreConvErr == 1 ? 1 : 0;
    unicodeHeader[6] = 1;  // bytes of a character on this side
    for (unsigned i = 0; i < 4; ++i)
        unicodeHeader[7 + i] = static_cast<KEL_RAW>(control.substituteSymbol >> (24 - 8 * i));
    writeZorData(ZORID_UnicodeHeader, unicodeHeader);
    writeZorInt2(ZORID_NgZorEncoding, control.serializationFormat);
    if (!control.delta) writeZorFlag(ZORID_DeltaTurnOff);
}

void ZorItemStream::writeZorSessionInfo() {
    if (control.infoWritten) return;
    writeZorChars(ZORID_IpAddress, CpicConnection::getOwnIPAddr());
    writeZorChars(ZORID_OwnType, ownType);
    writeZorChars(ZORID_OwnRel, control.own_rel.view());
    writeZorChars(ZORID_KernelRel, control.kernel_rel.view());
    if (!isInCallbackMode()) {
        writeZorChars(ZORID_CDestination, CpicConnection::getOwnHostName());
        writeZorChars(ZORID_Destination, control.destination.view());
    }
    control.progname.assign(CpicConnection::getOwnProgramName());
    writeZorChars(ZORID_ProgramName, control.progname.view());
    control.infoWritten = true;
}

void ZorItemStream::writeZorCallBegin(std::string_view functionName, ZORID rid, bool classExceptionEnabled) {
    writeZorSessionHeader();
    if (rid == ZORID_AZOR_Agent || rid == ZORID_AZOR_Agent_Off) writeZorFlag(rid);
    writeZorSessionInfo();
    if (isInCallbackMode()) return;
    writeZorFlag(ZORID_CallBack);
    writeZorChars(ZORID_CKelRel, control.own_rel.view());
    if (classExceptionEnabled) writeZorFlag(ZORID_UseClassExceptions);
    writeZorChars(ZORID_FunctionName, functionName);
    if (control.connected) writeZorFlag(ZORID_EnableIsSupl);
}

void ZorItemStream::writeZorCallEnd() {
    writeZorFlag(ZORID_End);
    writeFlush();
}
