/**
 * @file
 * The classic item stream of one connection: writers and readers of items, the session and logon items,
 * and the reading loop. An item is its identifier (2 bytes), a length (2 bytes, or 0xFFFF and 4 bytes),
 * the payload, and the identifier again; all these numbers are big-endian.
 *
 * One thread at a time uses a stream. Transport failures come up as exceptions of the driver; an item
 * that breaks the protocol closes the connection and throws ZOR_INVALID_PROTOCOL.
 */
#pragma once

#include <kelzor/types.h>

#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "driver/zoriostream.h"
#include "wire/zorcontrol.h"
#include "wire/zordumpcover.h"
#include "wire/zorid.h"

struct DELTA_LOG;
class ZorConverter;
class ZorFunction;
class ZorParameter;
class ZorTable;

/** Forms of identity other than a name and a password. */
struct ZorLogonData {
    KEL_string sso2;       ///< The logon ticket to send, wiped then; or the one received.
    KEL_string extiddata;  ///< External identity.
    KEL_string x509cert;   ///< Certificate.
};

class ZorItemStream {
  public:
    ZorItemStream(const ZorItemStream&) = delete;
    ZorItemStream& operator=(const ZorItemStream&) = delete;
    virtual ~ZorItemStream();

    ZorControl control;
    ZorLogonData logonData;
    /**
     * Nesting of calls: odd while a call of the partner is being served here, so that writers answer;
     * even while this side calls.
     */
    unsigned short callbackCount = 0;
    /** Failure collected from error items; ZOR_OK while there is none. */
    ZOR_RC zor_rc = ZOR_OK;

    bool isInCallbackMode() const noexcept { return (callbackCount & 1) != 0; }
    ZorIOStream& driver() noexcept { return *cpic_tcp; }
    const ZorIOStream& driver() const noexcept { return *cpic_tcp; }

    /** @name Writers. Text is in the own code page; nothing is sent before `writeFlush` or a full buffer. */
    /** @{ */
    void writeBytes(const void* data, unsigned length) {
        if (KEL_RAW* const place = cpic_tcp->writeInPlace(length)) {
            if (length != 0) std::memcpy(place, data, length);
        } else {
            cpic_tcp->writeBytes(static_cast<const KEL_RAW*>(data), 0, length);
        }
    }
    void writeZorIDBegin(ZORID id, unsigned length);
    void writeZorIDEnd(ZORID id);
    void writeZorData(ZORID id, std::span<const KEL_RAW> payload);
    void writeZorFlag(ZORID id) { writeZorData(id, {}); }
    void writeZorChars(ZORID id, std::string_view text);
    /** Text as the partner wants it: converted where its characters have no fixed size, else as it stands.
     * Gives the bytes written. */
    unsigned convertCharsBeforeWrite(KEL_RAW* dest, unsigned destLength, const KEL_UC* src,
                                     unsigned srcLength) const;
    /** Text as UTF-8 with a closing NUL byte; an empty text is an item of length 0. */
    void writeZorUTF8Chars(ZORID id, std::string_view text);
    void writeZorInt2(ZORID id, KEL_USHORT value);
    void writeZorInt4(ZORID id, KEL_UINT value);
    /** Width of a row on the wire in bytes, and the number of rows. */
    void writeZorTableInfo(unsigned rows, unsigned width);
    void writeZorSessionHeader();
    void writeZorSessionInfo();
    void writeZorSessionLogon();
    void writeZorCallBegin(std::string_view functionName, ZORID rid, bool classExceptionEnabled);
    void writeZorCallEnd();
    void writeFlush();
    /** @} */

    /** @name Readers. A text longer than its buffer is cut and the rest skipped. */
    /** @{ */
    void readBytes(void* dest, unsigned length) {
        if (const KEL_RAW* const place = cpic_tcp->readInPlace(length)) {
            if (length != 0) std::memcpy(dest, place, length);
        } else {
            readAcross(dest, length);
        }
    }
    void skipBytes(unsigned length) {
        if (length != 0 && cpic_tcp->readInPlace(length) == nullptr) readAcross(nullptr, length);
    }
    /** The identifier of the next item, and the length of its payload in bytes. */
    ZORID readZorIDBegin(unsigned& length);
    /** As `readZorIDBegin`, behind an item whose closing identifier is still to be read and doesn't matter.
     */
    ZORID readZorIDNext(unsigned& length);
    /** Whether the closing identifier is the wanted one. */
    bool readAndCheckZorIDEnd(ZORID id);
    /** Reads the smaller of the two lengths, skips the rest of the payload; returns the bytes stored. */
    unsigned readZorDataContent(void* buffer, unsigned destLength, unsigned srcLength);
    /** Zeroes the buffer, reads text into it, skips the rest; returns the characters stored. */
    unsigned readZorChars(KEL_UC* buffer, unsigned destLength, unsigned srcLength);
    template <size_t size>
    void readZorText(FixedText<size>& text, unsigned length) {
        readZorChars(text.data(), text.capacity(), length);
    }
    /** Reads UTF-8 with or without a closing NUL byte; the string grows as bytes arrive. */
    void readZorUTF8Chars(KEL_string& text, unsigned length);
    /** Reads `length` bytes and hands them on piece by piece; a piece is valid until `take` returns. */
    template <class Take>
    void readPieces(unsigned length, const Take& take) {
        if (const KEL_RAW* const place = cpic_tcp->readInPlace(length))
            return take(std::span<const KEL_RAW>(place, length));
        while (length > 0) {
            const std::span<const KEL_RAW> piece = readPiece(length);
            length -= static_cast<unsigned>(piece.size());
            take(piece);
        }
    }
    /** Reads bytes; the array grows as bytes arrive. */
    void readZorXString(std::vector<KEL_RAW>& bytes, unsigned length);
    /** A big-endian number; a payload of another length than 4 bytes breaks the protocol. */
    KEL_UINT readZorInt4(unsigned length);
    /** A big-endian number; a payload of another length than 2 bytes breaks the protocol. */
    KEL_USHORT readZorInt2(unsigned length);
    /** A change of a table: three numbers; a payload of another length than 12 bytes breaks the protocol. */
    DELTA_LOG readZorDeltaLog(unsigned length);
    /** Reads and drops the rest of the incoming message. */
    void readFlush();
    /**
     * Brings a number of the partner's format into the own one, in place. Throws
     * ZorTypeConversionException for a type without a numeric form.
     */
    void convertNumberAfterRead(KEL_RAW* number, ZORTYPE type) const;
    /** From UTF-8 to the own code page, and back. */
    const ZorConverter& fromUtf8() const;
    const ZorConverter& toUtf8() const;
    /** Bytes that a record's image is read into when it needs conversion; kept between calls. */
    std::vector<KEL_RAW>& scratch() noexcept { return readBuf; }
    /** @} */

    /**
     * Reads items until it meets `toRid` or ZORID_End, or in the state ZORGET_DATA an ZORID_CallBack;
     * returns that identifier. `function` may be NULL.
     */
    ZORID readUpTo(ZORSTATE readState, ZorFunction* function, ZORID toRid);

    /** Puts a table that is being sent under a fresh id into the set of the delta manager. */
    KEL_INT registerDeltaTable(ZorTable& table);
    /** Forgets all tables of the delta manager, at the end of a call. */
    void resetDM() noexcept;

    /**
     * Tells for as long as it lives which function's parameters travel: dumps of the stream show what that
     * allows.
     */
    class Travelling {
      public:
        Travelling(ZorItemStream& stream, const ZorFunction& function) noexcept
            : stream(stream), outer(std::exchange(stream.travelling, &function)) {}
        Travelling(const Travelling&) = delete;
        ~Travelling() { stream.travelling = outer; }

      private:
        ZorItemStream& stream;
        const ZorFunction* outer;
    };

    /** What callers know the connection by; NULL for a stream without one. */
    virtual ZOR_CONNECTION_HANDLE handle() noexcept { return nullptr; }

    /** The connection can't go on: it leaves the list of valid handles and closes its conversation. */
    virtual void closeBroken() noexcept = 0;
    /** The partner broke the protocol: closes the connection and throws. */
    [[noreturn]] void protocolFault(ZOR_RC code = ZOR_INVALID_PROTOCOL,
                                    std::string_view message = "Unexpected data received.");

  protected:
    explicit ZorItemStream(std::unique_ptr<ZorIOStream> driver);

    /** Throws the failure that was collected; always throws. */
    [[noreturn]] virtual void raiseCollectedError() = 0;

    KEL_string ubixCallStack;       ///< Of the partner's program that failed.
    KEL_string classExceptionInfo;  ///< Where a class exception was raised: entries divided by ";".
    bool inAZorMode = false;        ///< The partner's calls belong to a transaction.

    /** Covers in the copy of a block what a dump must not show; see ZorDumpCover. */
    void coverBlock(ZorStreamOwner::Dump dump, bool incoming, unsigned block,
                    std::span<KEL_RAW> copy) noexcept {
        ZorDumpCovers& covers = dump == ZorStreamOwner::Dump::driver ? driverCovers : transportCovers;
        (incoming ? covers.in : covers.out).cover(copy, block, travelling);
    }

    /** Clears the texts and the code of a failure. */
    void resetReceivedError() noexcept;

    std::unique_ptr<ZorIOStream> cpic_tcp;  ///< The transport driver.

  private:
    friend class ZorItemReader;

    /** Reads at most `length` bytes into the scratch buffer, at least one. */
    std::span<const KEL_RAW> readPiece(unsigned length);
    /** Reads what isn't in the buffer as a whole; skips it without `dest`. */
    void readAcross(void* dest, unsigned length);
    void readFailed(CM_RETCODE rc);
    ZORID openItem(const KEL_RAW* begin, unsigned& length);
    void readZorHeader(unsigned length);
    void followPartnerCodepage() noexcept;
    void readZorUnicodeHeader(unsigned length);
    void readZorProtocol(unsigned length);
    void readZorCDestination(unsigned length);
    void readZorOwnType(unsigned length);
    void readZorErrorMsg(ZORID id, unsigned length);
    void readZorTicket(unsigned length);
    void readRemoteText(KEL_string& text, unsigned length);
    void writeIdentity();

    std::vector<KEL_RAW> readBuf;   ///< Scratch for reading; grows to what an item needs and is kept.
    std::vector<KEL_RAW> writeBuf;  ///< Scratch for conversion on writing.
    ZorDumpCovers driverCovers, transportCovers;
    const ZorFunction* travelling = nullptr;
    std::map<KEL_INT, ZorTable*> dmTables;
    KEL_INT dmTableId = 0;
};
