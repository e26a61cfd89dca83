#include "devsys/violations.h"

#include <algorithm>

namespace zordev {

std::string Violation::toString() const {
    return record + ": at offset " + std::to_string(offset) + " expected " + expected + ", got " + got;
}

void ViolationLog::add(Violation violation) {
    if (sink_) sink_(violation.toString());
    const std::lock_guard lock(mutex_);
    violations_.push_back(std::move(violation));
}

std::vector<Violation> ViolationLog::all() const {
    const std::lock_guard lock(mutex_);
    return violations_;
}

void ViolationLog::clear() {
    const std::lock_guard lock(mutex_);
    violations_.clear();
}

std::string hexText(ByteSpan bytes) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const Byte byte : bytes.first(std::min<std::size_t>(bytes.size(), 32))) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text.empty() ? "nothing" : text;
}

void RecordChecker::mismatch(std::size_t offset, std::size_t width, std::string expected,
                             std::string_view field) {
    ok_ = false;
    log_.add({std::string(record_) + ", " + std::string(field), offset, std::move(expected),
              hexText(bytes_.subspan(offset, width))});
}

void RecordChecker::filled(std::size_t offset, std::size_t width, Byte fill, std::string_view field) {
    const ByteSpan part = bytes_.subspan(offset, width);
    if (std::ranges::all_of(part, [fill](Byte byte) { return byte == fill; })) return;
    mismatch(offset, width, fill == 0 ? "zero bytes" : "blanks", field);
}

void RecordChecker::padded(std::size_t offset, std::size_t width, bool mayBeEmpty, std::string_view field) {
    const ByteSpan part = bytes_.subspan(offset, width);
    const std::string_view text = trimmed(asText(part));
    const bool printable = std::ranges::all_of(text, [](char c) { return c > ' ' && c < 0x7F; });
    if (printable && (mayBeEmpty || !text.empty())) return;
    mismatch(offset, width, "text padded with blanks", field);
}

void RecordChecker::terminated(std::size_t offset, std::size_t width, char fill, std::string_view field) {
    const std::string_view part = asText(bytes_.subspan(offset, width));
    const std::size_t end = part.find('\0');
    const bool good = end != 0 && end != std::string_view::npos &&
                      part.find_first_not_of(fill, end + 1) == std::string_view::npos;
    if (!good) mismatch(offset, width, "text, a zero byte, then only filling", field);
}

void RecordChecker::unused(std::size_t offset, std::size_t width, std::string_view field) {
    const ByteSpan part = bytes_.subspan(offset, width);
    const Byte first = part[0];
    const bool same = std::ranges::all_of(part, [first](Byte byte) { return byte == first; });
    if (!same || (first != 0 && first != ' ')) mismatch(offset, width, "zero bytes or blanks", field);
}

void RecordChecker::bytes(std::size_t offset, ByteSpan expected, std::string_view field) {
    if (std::ranges::equal(bytes_.subspan(offset, expected.size()), expected)) return;
    mismatch(offset, expected.size(), hexText(expected), field);
}

}  // namespace zordev
