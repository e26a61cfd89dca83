#include <algorithm>
#include <optional>

#include "base/dptrc/errblock.h"
#include "flat/flat.h"

namespace {

/** The mark as a partner with EBCDIC characters writes it. */
constexpr KEL_RAW EBCDIC_MARK[] = {0x5C, 0xC5, 0xD9, 0xD9, 0x5C};

/** Room for a block on its way: every character of ours takes at most two bytes of UTF-8. */
constexpr std::size_t NET_MAX = 2 * ERR_BLOCK_MAX;

std::string_view asText(std::span<const KEL_RAW> data) {
    return {reinterpret_cast<const KEL_CHAR*>(data.data()), data.size()};
}

/** Turns UTF-8 into Latin-1; nothing for a broken sequence or a character that Latin-1 lacks. */
std::optional<std::size_t> fromUtf8(std::span<const KEL_RAW> data, KEL_CHAR* to) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < data.size(); ++i) {
        unsigned c = data[i];
        if (c >= 0x80) {
            const bool pair = (c == 0xC2 || c == 0xC3) && i + 1 < data.size() && (data[i + 1] & 0xC0) == 0x80;
            if (!pair) return std::nullopt;
            c = (c & 0x03) << 6 | (data[++i] & 0x3F);
        }
        to[length++] = static_cast<KEL_CHAR>(c);
    }
    return length;
}

std::optional<std::size_t> fromNet(std::span<const KEL_RAW> data, KEL_CHAR* to) {
    if (data.size() < sizeof EBCDIC_MARK || !std::ranges::equal(data.first(sizeof EBCDIC_MARK), EBCDIC_MARK))
        return fromUtf8(data, to);
    E8nToUcn(data.data(), to, data.size());
    return data.size();
}

}  // namespace

int ErrCpFrom(std::span<KEL_RAW> buffer) noexcept {
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (globals->kel_err_info_ln == 0) return ERR_NONE;
    if (globals->kel_err_info_ln > buffer.size()) return ERR_TOO_LONG;
    std::ranges::copy(globals->block(), buffer.begin());
    return static_cast<int>(globals->kel_err_info_ln);
}

int ErrCpTo(std::span<const KEL_RAW> block) noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    const int rc = ErrICheck(asText(block));
    if (rc == ERR_OK) ErrIAssign(*globals, asText(block));
    return rc;
}

int ErrCpIntToNet(std::span<KEL_RAW> buffer, std::size_t* length) noexcept {
    *length = 0;
    const ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (globals->kel_err_info_ln == 0) return ERR_NONE;
    std::size_t used = 0;
    for (const KEL_CHAR character : globals->block()) {
        const auto c = static_cast<KEL_RAW>(character);
        const std::size_t width = c < 0x80 ? 1 : 2;
        if (width > buffer.size() - used) return ERR_TOO_LONG;
        if (width == 2) buffer[used++] = static_cast<KEL_RAW>(0xC0 | c >> 6);
        buffer[used++] = width == 2 ? static_cast<KEL_RAW>(0x80 | (c & 0x3F)) : c;
    }
    *length = used;
    return ERR_OK;
}

int ErrCpNetToInt(std::span<const KEL_RAW> data) noexcept {
    ERR_TH_GLOBALS* globals = ErrIGlobals();
    if (!globals) return ERR_NO_MEMORY;
    if (data.size() > NET_MAX) return ERR_TOO_LONG;
    std::array<KEL_CHAR, NET_MAX> text;
    const std::optional<std::size_t> length = fromNet(data, text.data());
    const std::string_view block(text.data(), length.value_or(0));
    const int rc = length ? ErrICheck(block) : static_cast<int>(ERR_CONVERSION);
    if (rc != ERR_OK) ErrITraceBad("ErrCpNetToInt", block, rc);
    if (rc == ERR_OK)
        ErrIAssign(*globals, block);
    else if (rc != ERR_TOO_LONG)
        ErrClear();
    return rc;
}
