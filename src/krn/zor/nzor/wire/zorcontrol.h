/** @file The protocol state of one connection. */
#pragma once

#include <kelzor/types.h>

#include <vector>

#include "trace/zortracestream.h"
#include "wire/fixedtext.h"

/** Bits of the protocol word. */
inline constexpr KEL_UINT protocolCompressedTables = 0x2;
/** What this library can do, as it is sent. */
inline constexpr KEL_UINT protocolOwn = 0x00000E0B;

/** State of the password that the partner reports at the logon. */
enum ZorPasswordState : unsigned {
    PASSWORD_OK = 0,
    PASSWORD_INITIAL = 1,
    PASSWORD_EXPIRED = 2,
    PASSWORD_RULES_ENFORCED = 3
};

/** The message and error texts of a failure that arrived; empty between calls. */
struct ZorReceivedError {
    FixedText<64> msgId;
    FixedText<64> msgTy;
    FixedText<64> msgNo;
    FixedText<64> msgV1;
    FixedText<64> msgV2;
    FixedText<64> msgV3;
    FixedText<64> msgV4;
    FixedText<64> errId;
    FixedText<1024> errMessage;
};

/** What both sides have said about themselves, and what has been sent on this conversation. */
struct ZorControl {
    FixedText<9> convId;
    FixedText<128> destination{"<unknown>"};
    FixedText<128> progname;
    CodepageDigits codepage{"1100"};          ///< Own code page.
    CodepageDigits communication_cp{"1100"};  ///< Code page that text is sent in.
    CodepageDigits system_cp{"1100"};         ///< Partner's code page, from the headers.
    CodepageDigits charset{"1100"};           ///< Code page of the received header.
    KEL_CHAR zor_role = 'C';                  ///< 'C' client, 'S' server.
    KEL_CHAR partner_type = '3';              ///< From the partner; 'E' is this library's own type.
    FixedText<5> own_rel;
    FixedText<5> partner_rel;
    FixedText<5> kernel_rel;  ///< Own at first, then the partner's.
    FixedText<65> partner_ip;

    KEL_RAW version = 0;
    KEL_RAW intformat = 0;
    KEL_RAW floatformat = 0;
    KEL_RAW compression = 0;
    bool conv_char = false;   ///< Text must be converted on reading.
    bool conv_int = false;    ///< Integers must be swapped on reading.
    bool conv_float = false;  ///< Floats must be converted on reading.
    bool conversion = false;  ///< Any of the three.
    KEL_UINT protocol = protocolOwn;
    unsigned short pcs = 1;  ///< Bytes of a character on the partner's side.
    unsigned short serializationFormat = 0;

    FixedText<9> sysid;
    FixedText<3> systnr;
    FixedText<1024> target;  ///< Host of the partner.
    FixedText<4> mandt;      ///< Client.
    FixedText<3> lang;
    FixedText<13> userid;
    FixedText<41> alias_user;
    FixedText<3> extidtype;
    std::vector<KEL_RAW> scrambledPW;  ///< Wiped once it was sent.
    unsigned pwState = PASSWORD_OK;
    bool getsso2 = false;        ///< Ask the partner for a logon ticket.
    bool vslWithoutSSO = false;  ///< Secure connection without logon through it.

    KEL_UINT keepalive = 0;
    short ignoreConvErr = 0;
    KEL_UINT substituteSymbol = '#';
    bool delta = true;               ///< The table delta manager is on.
    bool supportLumx = false;        ///< The partner can take the binary XML form.
    bool useClassException = false;  ///< The partner, who calls, takes class exceptions.
    bool reg_exclusiv = false;       ///< As a server: the partner keeps this connection to itself.
    KEL_USHORT unresp_call = 0;

    bool connected = false;  ///< The logon is done.
    bool comHeaderWritten = false;
    bool headerWritten = false;
    bool infoWritten = false;

    ZorReceivedError received;
    bool receivedFilled = false;        ///< Something was written to `received`.
    FixedText<128> serverFunctionName;  ///< Function that the partner calls.

    /** Lines of key and value for the trace; what identifies a user stands there, no secret does. */
    void writeTraceEntry(KEL_ofstream* trace) const;
};
