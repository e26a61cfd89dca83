#include "devsys/mofile.h"

#include <fstream>
#include <iterator>

namespace zordev {
namespace {

constexpr std::uint32_t MAGIC = 0x950412DE;
constexpr std::size_t COUNT_AT = 8, ORIGINALS_AT = 12, TRANSLATIONS_AT = 16, HEADER_BYTES = 28;
constexpr std::size_t ENTRY_BYTES = 8;  // length and offset of a text

}  // namespace

std::optional<MoFile> MoFile::load(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    return parse({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
}

std::optional<MoFile> MoFile::parse(std::string content) {
    MoFile catalogue(std::move(content));
    if (catalogue.content_.size() < HEADER_BYTES) return std::nullopt;
    catalogue.bigEndian_ = loadBe32(asBytes(catalogue.content_), 0) == MAGIC;
    if (catalogue.number(0) != MAGIC) return std::nullopt;
    catalogue.count_ = catalogue.number(COUNT_AT);
    catalogue.originals_ = catalogue.number(ORIGINALS_AT);
    catalogue.translations_ = catalogue.number(TRANSLATIONS_AT);
    const std::uint64_t tableBytes = std::uint64_t{catalogue.count_} * ENTRY_BYTES;
    const bool inside = catalogue.originals_ + tableBytes <= catalogue.content_.size() &&
                        catalogue.translations_ + tableBytes <= catalogue.content_.size();
    if (!inside) return std::nullopt;
    return catalogue;
}

std::uint32_t MoFile::number(std::size_t offset) const {
    const ByteSpan bytes = asBytes(content_);
    return bigEndian_ ? loadBe32(bytes, offset) : loadLe32(bytes, offset);
}

// A text of one of the two tables; nothing if it doesn't lie inside the file.
std::optional<std::string_view> MoFile::entry(std::uint32_t table, std::uint32_t index) const {
    const std::size_t at = table + std::size_t{index} * ENTRY_BYTES;
    const std::size_t length = number(at);
    const std::size_t offset = number(at + 4);
    if (offset > content_.size() || length > content_.size() - offset) return std::nullopt;
    return std::string_view(content_).substr(offset, length);
}

std::string_view MoFile::translate(std::string_view original) const {
    std::uint32_t low = 0;
    std::uint32_t high = count_;
    while (low < high) {
        const std::uint32_t middle = low + (high - low) / 2;
        const auto candidate = entry(originals_, middle);
        if (!candidate) return original;
        if (*candidate == original) {
            const auto translation = entry(translations_, middle);
            return translation && !translation->empty() ? *translation : original;
        }
        if (*candidate < original) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return original;
}

}  // namespace zordev
