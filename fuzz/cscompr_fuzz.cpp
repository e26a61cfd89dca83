// Compressed rows of a table. The first two bytes say how long a row is and where the items are cut; where
// they are cut makes no difference to the rows.

#include <cstdlib>
#include <string>

#include "compress/zorcompressor.h"
#include "error/zorexception.h"

namespace cscomprfuzz {
namespace {

/** Rows as one text, and what ended them. A stream may promise far more than a test should wait for. */
struct Rows final : ZorRowSink {
    static constexpr std::size_t most = 1u << 20;
    struct Enough {};

    void takeRow(std::span<const KEL_RAW> image) override {
        text.append(reinterpret_cast<const char*>(image.data()), image.size());
        if (text.size() > most) throw Enough();
    }
    std::string text;
};

std::string decompressed(std::span<const KEL_RAW> items, unsigned width, std::size_t cut) {
    Rows rows;
    try {
        ZorCompressor compressor(width);
        compressor.decompress(items.first(cut), rows);
        compressor.decompress(items.subspan(cut), rows);
        compressor.setFinished();
    } catch (const ZorBaseException& failure) {
        return rows.text + failure.getMessage();
    } catch (const Rows::Enough&) {
    }
    return rows.text;
}

}  // namespace
}  // namespace cscomprfuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 2) return 0;
    const std::span<const KEL_RAW> items(data + 2, size - 2);
    const unsigned width = data[0] + 1u;
    const std::size_t cut = std::min<std::size_t>(data[1], items.size());
    if (cscomprfuzz::decompressed(items, width, cut) != cscomprfuzz::decompressed(items, width, 0))
        std::abort();
    return 0;
}
