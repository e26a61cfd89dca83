#include <algorithm>
#include <bit>
#include <cstring>

#include "convert/sevenbit.h"
#include "convert/zorconverter.h"
#include "wire/zoritemstream.h"

namespace {

constexpr unsigned longLengthMark = 0xFFFF;
constexpr unsigned maxShortLength = longLengthMark - 1;

void putBig(KEL_RAW* target, KEL_UINT value, unsigned width) noexcept {
    for (unsigned i = 0; i < width; ++i)
        target[i] = static_cast<KEL_RAW>(value >> (8 * (width - 1 - i)));
}

const KEL_RAW* rawBytes(std::string_view text) noexcept {
    return reinterpret_cast<const KEL_RAW*>(text.data());
}

}  // namespace

ZorItemStream::ZorItemStream(std::unique_ptr<ZorIOStream> driver) : cpic_tcp(std::move(driver)) {}

ZorItemStream::~ZorItemStream() = default;

void ZorItemStream::writeZorIDBegin(ZORID id, unsigned length) {
    KEL_RAW begin[8];
    putBig(begin, id, 2);
    if (length <= maxShortLength) {
        putBig(begin + 2, length, 2);
        writeBytes(begin, 4);
    } else {
        putBig(begin + 2, longLengthMark, 2);
        putBig(begin + 4, length, 4);
        writeBytes(begin, 8);
    }
}

void ZorItemStream::writeZorIDEnd(ZORID id) {
    KEL_RAW end[2];
    putBig(end, id, 2);
    writeBytes(end, sizeof end);
}

void ZorItemStream::writeZorData(ZORID id, std::span<const KEL_RAW> payload) {
    constexpr unsigned framing = 6;
    const auto length = static_cast<unsigned>(payload.size());
    if (payload.size() <= maxShortLength) {
        if (KEL_RAW* const piece = cpic_tcp->writeInPlace(length + framing)) {
            putBig(piece, id, 2);
            putBig(piece + 2, length, 2);
            if (length != 0) std::memcpy(piece + 4, payload.data(), length);
            putBig(piece + 4 + length, id, 2);
            return;
        }
    }
    writeZorIDBegin(id, length);
    writeBytes(payload.data(), length);
    writeZorIDEnd(id);
}

void ZorItemStream::writeZorChars(ZORID id, std::string_view text) {
    if (control.pcs != 0) [[likely]]
        return writeZorData(id, {rawBytes(text), text.size()});
    writeBuf.assign(text.size(), 0);
    convertCharsBeforeWrite(writeBuf.data(), static_cast<unsigned>(text.size()), text.data(),
                            static_cast<unsigned>(text.size()));
    writeZorData(id, writeBuf);
}

unsigned ZorItemStream::convertCharsBeforeWrite(KEL_RAW* dest, unsigned destLength, const KEL_UC* src,
                                                unsigned srcLength) const {
    if (control.pcs != 0) {
        const unsigned copied = std::min(destLength, srcLength);
        std::memcpy(dest, src, copied);
        return copied;
    }
    auto* converter = ZorConverter::getConverter(control.codepage.data(), control.communication_cp.data(),
                                                 control.ignoreConvErr, control.substituteSymbol);
    unsigned written = destLength;
    converter->convert(reinterpret_cast<const KEL_RAW*>(src), srcLength, dest, &written, nullptr);
    return written;
}

const ZorConverter& ZorItemStream::toUtf8() const {
    return *ZorConverter::getConverter(control.codepage.data(), "4110", control.ignoreConvErr,
                                       control.substituteSymbol);
}

void ZorItemStream::writeZorUTF8Chars(ZORID id, std::string_view text) {
    if (text.empty()) return writeZorFlag(id);
    std::span<const KEL_RAW> utf8(rawBytes(text), text.size());
    const ZorConverter& converter = toUtf8();
    if (!converter.keepsSevenBit() || !zorIsSevenBit(utf8)) {
        writeBuf.resize(text.size() * 4);
        unsigned written = static_cast<unsigned>(writeBuf.size());
        converter.convert(utf8.data(), static_cast<unsigned>(utf8.size()), writeBuf.data(), &written,
                          nullptr);
        utf8 = std::span<const KEL_RAW>(writeBuf).first(written);
    }
    writeZorIDBegin(id, static_cast<unsigned>(utf8.size() + 1));
    writeBytes(utf8.data(), static_cast<unsigned>(utf8.size()));
    constexpr KEL_RAW terminator = 0;
    writeBytes(&terminator, 1);
    writeZorIDEnd(id);
}

void ZorItemStream::writeZorInt2(ZORID id, KEL_USHORT value) {
    KEL_RAW payload[2];
    putBig(payload, value, sizeof payload);
    writeZorData(id, payload);
}

void ZorItemStream::writeZorInt4(ZORID id, KEL_UINT value) {
    KEL_RAW payload[4];
    putBig(payload, value, sizeof payload);
    writeZorData(id, payload);
}

void ZorItemStream::writeZorTableInfo(unsigned rows, unsigned width) {
    KEL_RAW payload[8];
    putBig(payload, width, 4);
    putBig(payload + 4, rows, 4);
    writeZorData(ZORID_TableInfo, payload);
}

void ZorItemStream::writeFlush() {
    cpic_tcp->sendFlush();
}
