#include "compress/zorcompressor.h"

#include <algorithm>
#include <string>

#include "error/zorexception.h"
#include "krn/cscompr/cscompr.h"

namespace {

constexpr KEL_RAW outerMark[] = {0x7B, 0x02, 0x00, 0xEA};
constexpr size_t outerHead = 8;

/** Most bytes that one table may grow to, whatever its head says. */
constexpr long long mostBytes = sizeof(void*) >= 8 ? 1LL << 30 : 1LL << 28;

void check(int rc) {
    if (rc < 0) throw ZorLZException("Table compression failed with " + std::to_string(rc));
}

}  // namespace

ZorCompressor::ZorCompressor(unsigned length) : row(length) {
    check(CsRGetHandle(&handle));
}

ZorCompressor::~ZorCompressor() {
    CsRCloseHandle(handle);
}

void ZorCompressor::setFinished() const {
    if (!finished) throw ZorLZException("The compressed rows of a table end before their stream does");
}

std::span<const KEL_RAW> ZorCompressor::readHeads(std::span<const KEL_RAW> bytes) {
    const size_t taken = std::min(bytes.size(), heads.size() - headLength);
    std::copy_n(bytes.begin(), taken, heads.begin() + headLength);
    headLength += static_cast<unsigned>(taken);
    if (taken != 0 && headLength == heads.size()) startStream();
    return bytes.subspan(taken);
}

void ZorCompressor::startStream() {
    if (!std::equal(std::begin(outerMark), std::end(outerMark), heads.begin()))
        throw ZorLZException("The compressed rows of a table don't begin with their head");
    const auto head = std::span<const KEL_RAW>(heads).subspan<outerHead, CS_HEAD_SIZE>();
    if (CsRGetLen(head) > mostBytes)
        throw ZorLZException("The compressed rows of a table announce " + std::to_string(CsRGetLen(head)) +
                             " bytes, more than are read");
    check(CsRInitDecompress(handle, head));
}

void ZorCompressor::giveRow(ZorRowSink& sink) {
    const std::span<const KEL_RAW> image(row.data(), filled);
    filled = 0;
    if (!image.empty()) sink.takeRow(image);
}

void ZorCompressor::decompress(std::span<const KEL_RAW> bytes, ZorRowSink& sink) {
    bytes = readHeads(bytes);
    if (headLength < heads.size()) return;
    // Rows may still come when all bytes are used up: up to where the stream asks for more.
    for (int rc = CS_END_OUTBUFFER; !finished && rc != CS_END_INBUFFER;) {
        size_t read = 0, written = 0;
        rc = CsRDecompress(handle, bytes, std::span<KEL_RAW>(row).subspan(filled), 0, &read, &written);
        check(rc);
        bytes = bytes.subspan(read);
        filled += written;
        finished = rc == CS_END_OF_STREAM;
        if (finished || filled == row.size()) giveRow(sink);
    }
}
