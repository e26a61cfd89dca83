#include "devsys/tablestream.h"

#include <algorithm>
#include <array>

namespace zordev {
namespace {

constexpr std::size_t SHORTEST_MATCH = 3;
constexpr std::size_t LONGEST_MATCH = 258;
constexpr std::size_t FARTHEST_MATCH = 16122;
constexpr std::size_t LONGEST_STORED = 1000;

/** Collects bits from the low end of each byte on. */
class BitWriter {
  public:
    explicit BitWriter(std::vector<Byte>& out) : out_(out) {}

    void bits(unsigned value, unsigned count) {
        for (unsigned i = 0; i < count; ++i) {
            if (used_ == 0) out_.push_back(0);
            out_.back() = static_cast<Byte>(out_.back() | (value >> i & 1) << used_);
            used_ = (used_ + 1) % 8;
        }
    }
    /** A code stands there from its highest bit on. */
    void code(unsigned value, unsigned count) {
        for (unsigned i = count; i-- > 0;)
            bits(value >> i & 1, 1);
    }
    void align() { used_ = 0; }

  private:
    std::vector<Byte>& out_;
    unsigned used_ = 0;
};

void writeSymbol(BitWriter& writer, unsigned symbol) {
    if (symbol < 144)
        writer.code(0x30 + symbol, 8);
    else if (symbol < 256)
        writer.code(0x190 + symbol - 144, 9);
    else if (symbol < 280)
        writer.code(symbol - 256, 7);
    else
        writer.code(0xC0 + symbol - 280, 8);
}

// Lengths and distances come in groups whose size doubles every four or two symbols: the symbol, then what is
// left.
void writeLength(BitWriter& writer, std::size_t length) {
    if (length == LONGEST_MATCH) return writeSymbol(writer, 285);
    unsigned symbol = 257, extra = 0;
    std::size_t base = 3;
    while (length >= base + (std::size_t{1} << extra)) {
        base += std::size_t{1} << extra;
        ++symbol;
        if (symbol >= 265 && (symbol - 265) % 4 == 0) ++extra;
    }
    writeSymbol(writer, symbol);
    writer.bits(static_cast<unsigned>(length - base), extra);
}

void writeDistance(BitWriter& writer, std::size_t distance) {
    unsigned symbol = 0, extra = 0;
    std::size_t base = 1;
    while (distance >= base + (std::size_t{1} << extra)) {
        base += std::size_t{1} << extra;
        ++symbol;
        if (symbol >= 4 && symbol % 2 == 0) ++extra;
    }
    writer.code(symbol, 5);
    writer.bits(static_cast<unsigned>(distance - base), extra);
}

std::size_t matchLength(ByteSpan data, std::size_t from, std::size_t at) {
    std::size_t length = 0;
    while (length < LONGEST_MATCH && at + length < data.size() && data[from + length] == data[at + length])
        ++length;
    return length;
}

// The latest place with the same three bytes is looked at, and no other.
void writeFixedBlock(BitWriter& writer, ByteSpan data) {
    std::array<std::size_t, 4096> places{};
    writer.bits(1, 1);
    writer.bits(1, 2);
    for (std::size_t at = 0; at < data.size();) {
        std::size_t length = 0, from = 0;
        if (at + SHORTEST_MATCH <= data.size()) {
            std::size_t& place = places[(data[at] * 31U + data[at + 1] * 7U + data[at + 2]) % places.size()];
            from = place;
            place = at + 1;
            if (from != 0 && at - (from - 1) <= FARTHEST_MATCH) length = matchLength(data, from - 1, at);
        }
        if (length < SHORTEST_MATCH) {
            writeSymbol(writer, data[at++]);
            continue;
        }
        writeLength(writer, length);
        writeDistance(writer, at - (from - 1));
        at += length;
    }
    writeSymbol(writer, 256);
}

void writeStoredBlocks(BitWriter& writer, ByteSpan data) {
    do {
        const ByteSpan block = data.first(std::min(data.size(), LONGEST_STORED));
        data = data.subspan(block.size());
        writer.bits(data.empty() ? 1 : 0, 1);
        writer.bits(0, 2);
        writer.align();
        const auto length = static_cast<unsigned>(block.size());
        writer.bits(length, 16);
        writer.bits(~length & 0xFFFF, 16);
        for (const Byte byte : block)
            writer.bits(byte, 8);
    } while (!data.empty());
}

}  // namespace

std::vector<Byte> compressRows(ByteSpan rows, const TableStreamForm& form) {
    std::vector<Byte> stream = {0x7B, 2, 0, 0xEA, 0, 0, 0, 0, 0, 0, 0, 0, 0x12, 0x1F, 0x9D, 2};
    storeLe32(stream, 8, static_cast<std::uint32_t>(rows.size()));
    BitWriter writer(stream);
    writer.bits(form.filler, 2);
    writer.bits(0x5, form.filler);
    if (form.stored)
        writeStoredBlocks(writer, rows);
    else
        writeFixedBlock(writer, rows);
    storeBe32(stream, 4, static_cast<std::uint32_t>(stream.size()));
    return stream;
}

}  // namespace zordev
