#include <algorithm>
#include <cstring>

#include "convert/zorconverter.h"
#include "data/zortable.h"
#include "wire/hostformat.h"
#include "wire/zoritemstream.h"

namespace {

/** Most bytes that are read at once for a value of any length: nothing is reserved ahead of the data. */
constexpr unsigned readChunk = 64 * 1024;

KEL_UINT getBig(const KEL_RAW* source, unsigned width) noexcept {
    KEL_UINT value = 0;
    for (unsigned i = 0; i < width; ++i)
        value = value << 8 | source[i];
    return value;
}

/** Length of the UTF-8 sequence that a byte begins, as its high bits say; 1 for a byte that begins none. */
unsigned sequenceLength(KEL_RAW lead) noexcept {
    if (lead >= 0xF0) return 4;
    if (lead >= 0xE0) return 3;
    if (lead >= 0xC0) return 2;
    return 1;
}

/** How many bytes at the end belong to a UTF-8 sequence that goes on in the next chunk. */
size_t unfinishedTail(std::span<const KEL_RAW> utf8) noexcept {
    const size_t longest = std::min<size_t>(utf8.size(), 3);
    for (size_t back = 1; back <= longest; ++back) {
        const KEL_RAW byte = utf8[utf8.size() - back];
        if (byte >= 0xC0) return sequenceLength(byte) > back ? back : 0;
        if (byte < 0x80) return 0;
    }
    return 0;
}

}  // namespace

void ZorItemStream::readFailed(CM_RETCODE rc) {
    if (rc == CM_KEL_TIMEOUT_RETRY && !control.connected) {
        cpic_tcp->close();
        throw ZorBaseException(ZOR_TIMEOUT, COMMUNICATION_FAILURE, zorRcName(ZOR_TIMEOUT),
                               "Timeout while opening an ZOR connection.");
    }
    raiseCollectedError();
}

void ZorItemStream::readAcross(void* dest, unsigned length) {
    unsigned done = 0;
    if (const CM_RETCODE rc = cpic_tcp->readBytes(static_cast<KEL_RAW*>(dest), 0, length, done); rc != 0)
        readFailed(rc);
}

ZORID ZorItemStream::readZorIDBegin(unsigned& length) {
    KEL_RAW begin[4];
    readBytes(begin, sizeof begin);
    return openItem(begin, length);
}

ZORID ZorItemStream::readZorIDNext(unsigned& length) {
    KEL_RAW endAndBegin[2 + 4];
    readBytes(endAndBegin, sizeof endAndBegin);
    return openItem(endAndBegin + 2, length);
}

ZORID ZorItemStream::openItem(const KEL_RAW* begin, unsigned& length) {
    length = getBig(begin + 2, 2);
    if (length == 0xFFFF) {
        KEL_RAW longLength[4];
        readBytes(longLength, sizeof longLength);
        length = getBig(longLength, 4);
    }
    return static_cast<ZORID>(getBig(begin, 2));
}

bool ZorItemStream::readAndCheckZorIDEnd(ZORID id) {
    KEL_RAW end[2];
    readBytes(end, sizeof end);
    return getBig(end, 2) == id;
}

unsigned ZorItemStream::readZorDataContent(void* buffer, unsigned destLength, unsigned srcLength) {
    const unsigned stored = std::min(destLength, srcLength);
    if (stored != 0) readBytes(buffer, stored);
    skipBytes(srcLength - stored);
    return stored;
}

unsigned ZorItemStream::readZorChars(KEL_UC* buffer, unsigned destLength, unsigned srcLength) {
    if (destLength != 0) std::memset(buffer, 0, destLength);
    if (!control.conv_char) return readZorDataContent(buffer, destLength, srcLength);
    const unsigned wanted = std::min(destLength, srcLength);
    readBuf.resize(std::max<size_t>(readBuf.size(), wanted));
    readZorDataContent(readBuf.data(), wanted, srcLength);
    auto* converter = ZorConverter::getConverter(control.charset.data(), control.codepage.data(),
                                                 control.ignoreConvErr, control.substituteSymbol);
    unsigned stored = destLength;
    converter->convert(readBuf.data(), wanted, reinterpret_cast<KEL_RAW*>(buffer), &stored, nullptr);
    return stored;
}

const ZorConverter& ZorItemStream::fromUtf8() const {
    return *ZorConverter::getConverter("4110", control.codepage.data(), control.ignoreConvErr,
                                       control.substituteSymbol);
}

void ZorItemStream::readZorUTF8Chars(KEL_string& text, unsigned length) {
    text.clear();
    const ZorConverter& converter = fromUtf8();
    size_t kept = 0;  // bytes at the start of readBuf that wait for the rest of their sequence
    while (length > 0) {
        const unsigned chunk = std::min(length, readChunk);
        readBuf.resize(std::max<size_t>(readBuf.size(), kept + chunk));
        readBytes(readBuf.data() + kept, chunk);
        length -= chunk;
        std::span<const KEL_RAW> utf8(readBuf.data(), kept + chunk);
        if (length == 0 && utf8.back() == 0) utf8 = utf8.first(utf8.size() - 1);
        kept = length == 0 ? 0 : unfinishedTail(utf8);
        converter.append(text, utf8.first(utf8.size() - kept));
        std::memmove(readBuf.data(), utf8.data() + utf8.size() - kept, kept);
    }
}

std::span<const KEL_RAW> ZorItemStream::readPiece(unsigned length) {
    const unsigned chunk = std::min(length, readChunk);
    readBuf.resize(std::max<size_t>(readBuf.size(), chunk));
    readBytes(readBuf.data(), chunk);
    return std::span<const KEL_RAW>(readBuf).first(chunk);
}

void ZorItemStream::readZorXString(std::vector<KEL_RAW>& bytes, unsigned length) {
    bytes.clear();
    while (length > 0) {
        const unsigned chunk = std::min(length, readChunk);
        const size_t before = bytes.size();
        bytes.resize(before + chunk);
        readBytes(bytes.data() + before, chunk);
        length -= chunk;
    }
}

KEL_UINT ZorItemStream::readZorInt4(unsigned length) {
    KEL_RAW payload[4];
    if (length != sizeof payload) protocolFault();
    readBytes(payload, sizeof payload);
    return getBig(payload, sizeof payload);
}

DELTA_LOG ZorItemStream::readZorDeltaLog(unsigned length) {
    KEL_RAW payload[12];
    if (length != sizeof payload) protocolFault();
    readBytes(payload, sizeof payload);
    const auto number = [&payload](unsigned at) { return static_cast<KEL_INT>(getBig(payload + at, 4)); };
    return {number(0), number(4), number(8)};
}

KEL_USHORT ZorItemStream::readZorInt2(unsigned length) {
    KEL_RAW payload[2];
    if (length != sizeof payload) protocolFault();
    readBytes(payload, sizeof payload);
    return static_cast<KEL_USHORT>(getBig(payload, sizeof payload));
}

void ZorItemStream::readFlush() {
    cpic_tcp->receiveFlush();
}

void ZorItemStream::convertNumberAfterRead(KEL_RAW* number, ZORTYPE type) const {
    switch (type) {
        case ZORTYPE_INT2:
        case ZORTYPE_TMINUTE:
        case ZORTYPE_CDAY:
            if (control.conv_int) std::reverse(number, number + 2);
            return;
        case ZORTYPE_INT:
        case ZORTYPE_DTDAY:
        case ZORTYPE_DTWEEK:
        case ZORTYPE_DTMONTH:
        case ZORTYPE_TSECOND:
            if (control.conv_int) std::reverse(number, number + 4);
            return;
        case ZORTYPE_INT8:
        case ZORTYPE_UTCLONG:
        case ZORTYPE_UTCSECOND:
        case ZORTYPE_UTCMINUTE:
        case ZORTYPE_DECF16:
            if (control.conv_int) std::reverse(number, number + 8);
            return;
        case ZORTYPE_DECF34:
            if (control.conv_int) std::reverse(number, number + 16);
            return;
        case ZORTYPE_FLOAT: {
            if (!control.conv_float) return;
            double value;
            std::memcpy(&value, number, sizeof value);
            ZorConverter::convertFloat(&value, control.intformat, control.floatformat);
            std::memcpy(number, &value, sizeof value);
            return;
        }
        default:
            throw ZorTypeConversionException("Unknown ZOR number type.");
    }
}

void ZorItemStream::resetReceivedError() noexcept {
    // Nearly always there is nothing to clear.
    if (control.receivedFilled) control.received = {};
    control.receivedFilled = false;
    ubixCallStack.clear();
    classExceptionInfo.clear();
    zor_rc = ZOR_OK;
}

void ZorItemStream::protocolFault(ZOR_RC code, std::string_view message) {
    closeBroken();
    throw ZorBaseException(code, COMMUNICATION_FAILURE, zorRcName(code), message);
}

KEL_INT ZorItemStream::registerDeltaTable(ZorTable& table) {
    dmTables[++dmTableId] = &table;
    return dmTableId;
}

void ZorItemStream::resetDM() noexcept {
    dmTables.clear();
    dmTableId = 0;
}
