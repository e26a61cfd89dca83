#include "wire/scramble.h"

#include <cstring>
#include <random>

#include "wire/scrambletable.h"

void ub_scramble(std::span<KEL_RAW> data, std::uint32_t key) noexcept {
    constexpr std::uint32_t indexMask = sizeof ZOR_SCRAMBLE_TABLE - 1;
    std::uint32_t index = ((key >> 5) ^ (key * 2) ^ key) & indexMask;
    std::uint32_t factor = 255;
    std::uint32_t position = 0;
    for (KEL_RAW& byte : data) {
        byte ^= static_cast<KEL_RAW>((factor * position++) ^ ZOR_SCRAMBLE_TABLE[index]);
        index = (index + 1) & indexMask;
        factor = (factor + key) & 255;
    }
}

std::vector<KEL_RAW> scrambleChars(std::string_view password) {
    if (password.empty()) return {};
    const std::uint32_t random = std::random_device{}();
    const std::uint32_t key = random ^ (random << 14);
    std::vector<KEL_RAW> scrambled(sizeof key + password.size());
    std::memcpy(scrambled.data(), &key, sizeof key);
    std::memcpy(scrambled.data() + sizeof key, password.data(), password.size());
    ub_scramble(std::span(scrambled).subspan(sizeof key), key);
    return scrambled;
}
