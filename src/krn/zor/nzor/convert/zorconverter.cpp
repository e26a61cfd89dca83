#include "convert/zorconverter.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <numeric>
#include <vector>

#include "config/immortal.h"
#include "config/zorconfig.h"
#include "convert/sevenbit.h"
#include "trace/zortracefunctions.h"

namespace {

constexpr const KEL_UC* utf8Codepage = "4110";
constexpr const KEL_UC* localCodepage = "1100";
constexpr unsigned defaultSubstitute = '#';

}  // namespace

/**
 * All converters: lists that only grow at their heads, so that a search takes no lock. The key of a pair
 * chooses the list.
 */
class ZorConverterCache {
  public:
    static ZorConverterCache& get() {
        static Immortal<ZorConverterCache> cache;
        return cache.value;
    }

    const ZorConverter* find(const KEL_UC* from, const KEL_UC* to, ZorConverter::Mode mode) const noexcept {
        const auto* converter = heads[listOf(from, to, mode)].load(std::memory_order_acquire);
        while (converter != nullptr && !converter->is(from, to, mode))
            converter = converter->next;
        return converter;
    }

    const ZorConverter* add(const KEL_UC* from, const KEL_UC* to, ZorConverter::Mode mode,
                            unsigned substitute) {
        const std::lock_guard lock(cs_converter);
        if (const auto* present = find(from, to, mode)) return present;
        std::unique_ptr<ZorConverter> made(new ZorConverter(from, to, mode, substitute));
        auto& head = heads[listOf(from, to, mode)];
        made->next = head.load(std::memory_order_relaxed);
        converters.push_back(std::move(made));
        head.store(converters.back().get(), std::memory_order_release);
        return converters.back().get();
    }

  private:
    static constexpr std::uint32_t listBits = 8;

    static std::uint32_t listOf(const KEL_UC* from, const KEL_UC* to, ZorConverter::Mode mode) noexcept {
        std::uint32_t words[2];
        std::memcpy(&words[0], from, rscpCodepageDigits);
        std::memcpy(&words[1], to, rscpCodepageDigits);
        constexpr std::uint32_t spread = 0x9E3779B1;  // odd, and without pattern in its upper bits
        const std::uint32_t mixed = (words[0] * spread ^ words[1]) + static_cast<std::uint32_t>(mode);
        return mixed * spread >> (32 - listBits);
    }

    std::mutex cs_converter;  ///< Guards `converters` and every change of the lists.
    std::vector<std::unique_ptr<const ZorConverter>> converters;
    std::array<std::atomic<const ZorConverter*>, 1u << listBits> heads{};
};

void ZorConverter::init() {
    (void)ZorConverterCache::get();
}

const ZorConverter* ZorConverter::find(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode mode,
                                       unsigned substitute) {
    auto& cache = ZorConverterCache::get();
    if (const auto* converter = cache.find(fromCodepage, toCodepage, mode)) [[likely]]
        return converter;
    return cache.add(fromCodepage, toCodepage, mode, substitute);
}

const ZorConverter* ZorConverter::getConverter(const KEL_UC* fromCodepage, const KEL_UC* toCodepage,
                                               short ignoreConvErrors, unsigned substitute) {
    if (fromCodepage == nullptr || toCodepage == nullptr) return nullptr;
    const Mode mode = ignoreConvErrors <= 0   ? Mode::stop
                      : ignoreConvErrors == 1 ? Mode::copy
                      : ignoreConvErrors == 2 ? Mode::substitute
                                              : Mode::substituteDefault;
    return find(fromCodepage, toCodepage, mode, substitute);
}

ZorConverter::ZorConverter(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode mode,
                           unsigned substitute)
    : mode(mode) {
    const rscpmiss_t onMiss = mode == Mode::stop   ? miss_stop
                              : mode == Mode::copy ? miss_copy
                                                   : miss_substitute;
    const bool brokenStops = mode == Mode::stop || mode == Mode::substituteMissing;
    check(rscpCInit(cpcObj, fromCodepage, toCodepage, onMiss,
                    brokenStops ? broken_stop_finally : broken_like_miss),
          "rscpCInit");
    if (mode == Mode::substitute) check(rscpCSetSubstU4(cpcObj, substitute), "rscpCSetSubstU4");
    check(rscpCSetCtrlCodeCv(cpcObj, mode == Mode::substitute ? CtrlCodeCv_illegal : CtrlCodeCv_try),
          "rscpCSetCtrlCodeCv");
    check(rscpCActivate(cpcObj), "rscpCActivate");
    sevenBitKept = convertsToItself();
}

bool ZorConverter::convertsToItself() const noexcept {
    std::array<KEL_RAW, 0x80> bytes, converted;
    std::iota(bytes.begin(), bytes.end(), KEL_RAW{0});
    const KEL_RAW* in = bytes.data();
    KEL_RAW* out = converted.data();
    const int rc = tryConvert(in, in + bytes.size(), out, out + converted.size());
    return rc == RSCP_OK && out == converted.data() + converted.size() && bytes == converted;
}

void ZorConverter::check(int rc, const KEL_UC* function) const {
    if (rc == RSCP_OK) return;
    if (rc == RSCPEINTERN) throw std::bad_alloc();
    if (ZorConfig::getGlobalTraceLevel() >= 2) ZorTraceWrite("%s", rscpErrorText());
    throw ZorCodepageConversionException("Could not instantiate converter from codepage " +
                                         KEL_string(cpcObj.ccci_incode, rscpCodepageDigits) +
                                         " to codepage " +
                                         KEL_string(cpcObj.ccci_outcode, rscpCodepageDigits) + ". Function " +
                                         function + " failed with " + std::to_string(rc));
}

bool ZorConverter::is(const KEL_UC* fromCodepage, const KEL_UC* toCodepage, Mode wanted) const noexcept {
    return mode == wanted && std::memcmp(cpcObj.ccci_incode, fromCodepage, rscpCodepageDigits) == 0 &&
           std::memcmp(cpcObj.ccci_outcode, toCodepage, rscpCodepageDigits) == 0;
}

int ZorConverter::convert(const KEL_RAW*& pSrc, const KEL_RAW* srcEnd, KEL_RAW*& pDest, KEL_RAW* destEnd,
                          bool secret) const {
    const KEL_RAW* const src = pSrc;
    const int rc = rscpCConvert(cpcObj, &pDest, destEnd, &pSrc, srcEnd);
    if (rc == RSCP_OK || rc == outputFull) [[likely]]
        return rc;
    return finish(rc, src, static_cast<size_t>(srcEnd - src), secret);
}

int ZorConverter::convert(const KEL_RAW* src, unsigned srcLength, KEL_RAW* dest, unsigned* pDestLength,
                          unsigned* pRestLength, bool secret) const {
    const KEL_RAW* const srcEnd = src + srcLength;
    KEL_RAW* const destStart = dest;
    const int rc = convert(src, srcEnd, dest, dest + *pDestLength, secret);
    *pDestLength = static_cast<unsigned>(dest - destStart);
    if (pRestLength != nullptr) *pRestLength = static_cast<unsigned>(srcEnd - src);
    return rc;
}

int ZorConverter::finish(int rc, const KEL_RAW* src, size_t srcLength, bool secret) const {
    KEL_UC message[128];
    std::snprintf(message, sizeof message, "Could not convert from %.4s codepage to %.4s codepage, rc = %d",
                  cpcObj.ccci_incode, cpcObj.ccci_outcode, rc);
    if (!secret && ZorConfig::getGlobalTraceLevel() >= 2)
        ZorTraceHexDump(src, static_cast<unsigned>(srcLength), "%s", message);
    throw ZorCodepageConversionException(message);
}

void ZorConverter::append(std::string& text, std::span<const KEL_RAW> src, bool secret) const {
    if (keepsSevenBit() && zorIsSevenBit(src)) {
        text.append(reinterpret_cast<const KEL_UC*>(src.data()), src.size());
        return;
    }
    // Most pages need no more than UTF-8 does. Where one needs more, four bytes are enough for each that is
    // left.
    constexpr size_t longestForm = 4;
    const KEL_RAW* in = src.data();
    const KEL_RAW* const inEnd = in + src.size();
    size_t used = text.size();
    text.resize(used + src.size());
    for (int rc = outputFull; rc == outputFull;) {
        auto* const room = reinterpret_cast<KEL_RAW*>(text.data());
        KEL_RAW* out = room + used;
        rc = convert(in, inEnd, out, room + text.size(), secret);
        used = static_cast<size_t>(out - room);
        text.resize(rc == outputFull ? used + longestForm * static_cast<size_t>(inEnd - in) : used);
    }
}

namespace {

/** Ends a text that was converted into `*pDestSize` bytes, of which `written` are used. */
ZOR_RC endText(KEL_RAW* dest, unsigned written, unsigned* pDestSize, unsigned* pResultLength) noexcept {
    if (written < *pDestSize) {
        dest[written] = 0;
        *pResultLength = written;
        return ZOR_OK;
    }
    if (written > 0 && dest[written - 1] == 0) {
        // The text brought its terminator along.
        *pResultLength = written - 1;
        return ZOR_OK;
    }
    *pDestSize = written + 1;
    *pResultLength = 0;
    return ZOR_BUFFER_TOO_SMALL;
}

}  // namespace

ZOR_RC ZorConverter::utf8Tokeluc(const KEL_UC* toCodepage, const KEL_RAW* src, unsigned srcLength,
                                 KEL_UC* dest, unsigned* pDestSize, unsigned* pResultLength) {
    const auto* const converter = find(utf8Codepage, toCodepage != nullptr ? toCodepage : localCodepage,
                                       Mode::substituteMissing, defaultSubstitute);
    unsigned written = *pDestSize;
    unsigned rest = 0;
    auto* const target = reinterpret_cast<KEL_RAW*>(dest);
    if (converter->convert(src, srcLength, target, &written, &rest) == outputFull) {
        *pDestSize += calculateUcLength(src + (srcLength - rest), rest);
        *pResultLength = 0;
        return ZOR_BUFFER_TOO_SMALL;
    }
    return endText(target, written, pDestSize, pResultLength);
}

ZOR_RC ZorConverter::kelucToutf8(const KEL_UC* fromCodepage, const KEL_UC* src, unsigned srcLength,
                                 KEL_RAW* dest, unsigned* pDestSize, unsigned* pResultLength) {
    const auto* const converter = find(fromCodepage != nullptr ? fromCodepage : localCodepage, utf8Codepage,
                                       Mode::substituteMissing, defaultSubstitute);
    unsigned written = *pDestSize;
    unsigned rest = 0;
    if (converter->convert(reinterpret_cast<const KEL_RAW*>(src), srcLength, dest, &written, &rest) ==
        outputFull) {
        *pDestSize += calculateUtf8Length(src + (srcLength - rest), rest);
        *pResultLength = 0;
        return ZOR_BUFFER_TOO_SMALL;
    }
    return endText(dest, written, pDestSize, pResultLength);
}

unsigned ZorConverter::calculateUcLength(const KEL_RAW* utf8, unsigned length) noexcept {
    unsigned characters = 0;
    for (unsigned i = 0; i < length; ++characters) {
        const KEL_RAW lead = utf8[i];
        const unsigned sequence = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
        i += std::min(sequence, length - i);
    }
    return characters + 1;
}

unsigned ZorConverter::calculateUtf8Length(const KEL_UC* src, unsigned length) noexcept {
    const auto beyondAscii = [](KEL_UC character) { return static_cast<KEL_RAW>(character) >= 0x80; };
    return length + static_cast<unsigned>(std::count_if(src, src + length, beyondAscii)) + 1;
}
