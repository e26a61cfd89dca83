// Conversions between code pages. The first two bytes choose the pages, the third one the modes and the
// fourth one the room: a conversion in small pieces must give what one in large room gives, and never write
// beyond its room.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "krn/rscp/rscp.h"

namespace codepagesfuzz {
namespace {

constexpr const KEL_UC* pages[] = {"1100", "0120", "1401", "1504", "4100", "4101", "4102", "4103",
                                   "4104", "4105", "4110", "8000", "8100", "8200", "8300", "8340",
                                   "8400", "8401", "8450", "8500", "8600", "1805"};
constexpr std::size_t longestCode = 16;

void require(bool condition) {
    if (!condition) std::abort();
}

const rscpCObj_t* converter(unsigned from, unsigned to, unsigned modes) {
    static std::unique_ptr<rscpCObj_t> made[std::size(pages)][std::size(pages)][3];
    constexpr rscpmiss_t onMiss[] = {miss_stop, miss_copy, miss_substitute};
    auto& slot = made[from][to][modes];
    if (slot == nullptr) {
        slot = std::make_unique<rscpCObj_t>();
        const auto onBroken = modes == 0 ? broken_stop_finally : broken_like_miss;
        require(rscpCInit(*slot, pages[from], pages[to], onMiss[modes], onBroken) == RSCP_OK);
        (void)rscpCActivate(*slot);
    }
    return slot->ccci_method != nullptr ? slot.get() : nullptr;
}

struct Result {
    std::string text;
    int rc = 0;
    std::size_t read = 0;
};

/** The whole input, into room for `room` bytes at a time; the bytes behind the room stay as they are. */
Result convert(const rscpCObj_t& self, std::string_view input, std::size_t room) {
    constexpr char untouched = 0x5A;
    Result result;
    const auto* in = reinterpret_cast<const KEL_RAW*>(input.data());
    const KEL_RAW* const end = in + input.size();
    for (;;) {
        std::string buffer(room + 1, untouched);
        auto* out = reinterpret_cast<KEL_RAW*>(buffer.data());
        KEL_RAW* const start = out;
        const KEL_RAW* const before = in;
        result.rc = rscpCConvert(self, &out, start + room, &in, end);
        require(out >= start && out <= start + room && in >= before && in <= end);
        require(buffer[room] == untouched);
        result.text.append(buffer.data(), static_cast<std::size_t>(out - start));
        if (result.rc != RSCPETOOLONG || in == before) break;
    }
    result.read = static_cast<std::size_t>(end - in);
    return result;
}

/** A page with escape sequences begins each piece anew, so its pieces differ from the whole. */
bool isShifted(const KEL_UC* page) {
    return std::strcmp(page, "8200") == 0;
}

}  // namespace
}  // namespace codepagesfuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    using namespace codepagesfuzz;
    if (size < 4 || size > 4096) return 0;
    const unsigned from = data[0] % std::size(pages), to = data[1] % std::size(pages);
    const rscpCObj_t* const self = converter(from, to, data[2] % 3);
    if (self == nullptr) return 0;
    const std::string input(reinterpret_cast<const char*>(data + 4), size - 4);
    const Result whole = convert(*self, input, input.size() * 8 + longestCode);
    require(whole.rc != RSCPETOOLONG);
    const Result pieces = convert(*self, input, data[3] % 64 + longestCode);
    if (isShifted(pages[from]) || isShifted(pages[to])) return 0;
    require(pieces.text == whole.text && pieces.rc == whole.rc && pieces.read == whole.read);
    return 0;
}
