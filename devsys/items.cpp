#include "devsys/items.h"

namespace zordev {
namespace {

constexpr std::size_t ID_BYTES = 2;
constexpr std::size_t SHORT_BEGIN = ID_BYTES + 2;
constexpr std::size_t LONG_BEGIN = SHORT_BEGIN + 4;
constexpr std::uint16_t LONG_MARK = 0xFFFF;

}  // namespace

ItemResult ItemReader::next(Item& item) {
    item.offset = next_;
    std::size_t left = stream_.size() - next_;
    if (left == 0) return ItemResult::end;
    if (left < SHORT_BEGIN) return ItemResult::truncated;
    item.id = loadBe16(stream_, next_);
    std::size_t length = loadBe16(stream_, next_ + ID_BYTES);
    std::size_t begin = SHORT_BEGIN;
    if (length == LONG_MARK) {
        begin = LONG_BEGIN;
        if (left < begin) return ItemResult::truncated;
        length = loadBe32(stream_, next_ + SHORT_BEGIN);
    }
    left -= begin;
    if (left < ID_BYTES || left - ID_BYTES < length) return ItemResult::truncated;
    item.payload = stream_.subspan(next_ + begin, length);
    const std::size_t closing = next_ + begin + length;
    if (loadBe16(stream_, closing) != item.id) return ItemResult::badClosing;
    next_ = closing + ID_BYTES;
    return ItemResult::item;
}

std::span<Byte> ItemWriter::reserve(std::uint16_t id, std::size_t length) {
    const bool isLong = length >= LONG_MARK;
    const std::size_t begin = isLong ? LONG_BEGIN : SHORT_BEGIN;
    const std::span<Byte> whole = grow(begin + length + ID_BYTES);
    storeBe16(whole, 0, id);
    storeBe16(whole, ID_BYTES, isLong ? LONG_MARK : static_cast<std::uint16_t>(length));
    if (isLong) storeBe32(whole, SHORT_BEGIN, static_cast<std::uint32_t>(length));
    storeBe16(whole, begin + length, id);
    return whole.subspan(begin, length);
}

void ItemWriter::item(std::uint16_t id, ByteSpan payload) {
    const std::span<Byte> room = reserve(id, payload.size());
    if (!payload.empty()) std::memcpy(room.data(), payload.data(), payload.size());
}

void ItemWriter::number4(std::uint16_t id, std::uint32_t value) {
    storeBe32(reserve(id, 4), 0, value);
}

}  // namespace zordev
