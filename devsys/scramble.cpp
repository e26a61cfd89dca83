#include "devsys/scramble.h"

#include "wire/scrambletable.h"

namespace zordev {

void scramble(std::span<Byte> data, std::uint32_t key) {
    std::uint32_t index = ((key >> 5) ^ (key * 2) ^ key) & 63;
    std::uint32_t multiplier = 255;
    std::uint32_t position = 0;
    for (Byte& byte : data) {
        byte ^= static_cast<Byte>((multiplier * position) ^ ZOR_SCRAMBLE_TABLE[index]);
        index = (index + 1) & 63;
        multiplier = (multiplier + key) & 255;
        ++position;
    }
}

std::optional<std::string> unscramblePassword(ByteSpan item) {
    constexpr std::size_t keyBytes = 4;
    if (item.size() <= keyBytes) return std::nullopt;
    std::string text(asText(item.subspan(keyBytes)));
    scramble({reinterpret_cast<Byte*>(text.data()), text.size()}, loadLe32(item, 0));
    return text;
}

}  // namespace zordev
