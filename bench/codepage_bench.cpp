// What conversions between code pages cost, against the C library's iconv in the same run: a mebibyte of
// text in one call, and one field of 40 bytes with its converter found in the cache. Each pair of rows has
// the same input; the ratio of their rates tells more than the rates.

#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "convert/zorconverter.h"

namespace {

constexpr size_t textSize = 1 << 20;
constexpr size_t roomSize = 5 * textSize;

struct Conversion {
    const char* name;
    const char* from;
    const char* fromName;
    const char* to;
    const char* toName;
    const char* sample;  ///< In UTF-8; repeated.
};

constexpr const char* english = "The quick brown fox jumps over the lazy dog, 0123456789 times. ";
constexpr const char* german =
    "Größere Mengen müssen früh bestellt werden, damit die Lieferung pünktlich kommt. ";
constexpr const char* russian = "Съешь же ещё этих мягких французских булок, да выпей чаю. ";
constexpr const char* japanese = "日本語のテキストは漢字とかなで書かれ、ABC や 123 も混ざる。";
constexpr const char* chinese = "中文文本由汉字写成，也夹杂 ABC 和 123 等字符。";
constexpr const char* taiwanese = "中文文本由漢字寫成，也夾雜 ABC 和 123 等字元。";
constexpr const char* korean = "한국어 문장은 한글로 쓰이며 ABC 와 123 도 섞인다. ";

const Conversion conversions[] = {
    {"ascii/utf8_to_latin1", "4110", "UTF-8", "1100", "ISO-8859-1", english},
    {"ascii/latin1_to_utf8", "1100", "ISO-8859-1", "4110", "UTF-8", english},
    {"ascii/utf16_to_utf8", "4103", "UTF-16LE", "4110", "UTF-8", english},
    {"ascii/utf8_to_utf16", "4110", "UTF-8", "4103", "UTF-16LE", english},
    {"ascii/utf16be_to_latin1", "4102", "UTF-16BE", "1100", "ISO-8859-1", english},
    {"ascii/latin1_to_utf16be", "1100", "ISO-8859-1", "4102", "UTF-16BE", english},
    {"german/utf8_to_latin1", "4110", "UTF-8", "1100", "ISO-8859-1", german},
    {"german/latin1_to_utf8", "1100", "ISO-8859-1", "4110", "UTF-8", german},
    {"german/utf16_to_utf8", "4103", "UTF-16LE", "4110", "UTF-8", german},
    {"german/utf8_to_utf16", "4110", "UTF-8", "4103", "UTF-16LE", german},
    {"german/latin1_to_ebcdic", "1100", "ISO-8859-1", "0120", "IBM500", german},
    {"german/ebcdic_to_utf8", "0120", "IBM500", "4110", "UTF-8", german},
    {"german/utf8_to_ebcdic", "4110", "UTF-8", "0120", "IBM500", german},
    {"german/ebcdic_to_utf16", "0120", "IBM500", "4103", "UTF-16LE", german},
    {"german/utf16_to_ebcdic", "4103", "UTF-16LE", "0120", "IBM500", german},
    {"russian/utf8_to_cp1251", "4110", "UTF-8", "1504", "CP1251", russian},
    {"russian/cp1251_to_utf8", "1504", "CP1251", "4110", "UTF-8", russian},
    {"russian/utf16_to_utf8", "4103", "UTF-16LE", "4110", "UTF-8", russian},
    {"russian/utf8_to_utf16", "4110", "UTF-8", "4103", "UTF-16LE", russian},
    {"russian/cp1251_to_koi8r", "1504", "CP1251", "1510", "KOI8-R", russian},
    {"japanese/sjis_to_utf8", "8000", "CP932", "4110", "UTF-8", japanese},
    {"japanese/utf8_to_sjis", "4110", "UTF-8", "8000", "CP932", japanese},
    {"japanese/euc_to_utf8", "8100", "EUC-JP", "4110", "UTF-8", japanese},
    {"japanese/utf8_to_euc", "4110", "UTF-8", "8100", "EUC-JP", japanese},
    {"japanese/jis_to_utf8", "8200", "ISO-2022-JP", "4110", "UTF-8", japanese},
    {"japanese/utf8_to_jis", "4110", "UTF-8", "8200", "ISO-2022-JP", japanese},
    {"japanese/utf16_to_utf8", "4103", "UTF-16LE", "4110", "UTF-8", japanese},
    {"chinese/big5_to_utf8", "8300", "BIG5", "4110", "UTF-8", taiwanese},
    {"chinese/utf8_to_big5", "4110", "UTF-8", "8300", "BIG5", taiwanese},
    {"chinese/hkscs_to_utf8", "8340", "BIG5-HKSCS", "4110", "UTF-8", taiwanese},
    {"chinese/gb2312_to_utf8", "8400", "EUC-CN", "4110", "UTF-8", chinese},
    {"chinese/utf8_to_gb2312", "4110", "UTF-8", "8400", "EUC-CN", chinese},
    {"chinese/gb18030_to_utf8", "8402", "GB18030", "4110", "UTF-8", chinese},
    {"chinese/utf8_to_gb18030", "4110", "UTF-8", "8402", "GB18030", chinese},
    {"korean/ksc_to_utf8", "8500", "EUC-KR", "4110", "UTF-8", korean},
    {"korean/utf8_to_ksc", "4110", "UTF-8", "8500", "EUC-KR", korean},
};

/** A handle of the C library. */
class Iconv {
  public:
    Iconv(const char* from, const char* to) : handle(iconv_open(to, from)) {
        if (handle == reinterpret_cast<iconv_t>(-1)) throw std::runtime_error(from);
    }
    ~Iconv() { iconv_close(handle); }
    Iconv(const Iconv&) = delete;
    Iconv& operator=(const Iconv&) = delete;

    size_t run(const std::string& text, std::string& room) const {
        char* in = const_cast<char*>(text.data());
        char* out = room.data();
        size_t inRest = text.size();
        size_t outRest = room.size();
        iconv(handle, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle, &in, &inRest, &out, &outRest) == static_cast<size_t>(-1))
            throw std::runtime_error("iconv");
        return room.size() - outRest;
    }

  private:
    iconv_t handle;
};

/** About a mebibyte of a sample in a page of the C library. */
std::string textOf(const Conversion& conversion) {
    std::string utf8;
    while (utf8.size() < textSize)
        utf8 += conversion.sample;
    if (std::strcmp(conversion.fromName, "UTF-8") == 0) return utf8;
    std::string room(roomSize, '\0');
    room.resize(Iconv("UTF-8", conversion.fromName).run(utf8, room));
    return room;
}

void withLibrary(benchmark::State& state, const Conversion& conversion) {
    const std::string text = textOf(conversion);
    std::string room(roomSize, '\0');
    for (auto _ : state) {
        const auto* converter = ZorConverter::getConverter(conversion.from, conversion.to, 0, '#');
        auto written = static_cast<unsigned>(room.size());
        converter->convert(reinterpret_cast<const KEL_RAW*>(text.data()), static_cast<unsigned>(text.size()),
                           reinterpret_cast<KEL_RAW*>(room.data()), &written, nullptr);
        benchmark::DoNotOptimize(written);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void withIconv(benchmark::State& state, const Conversion& conversion) {
    const std::string text = textOf(conversion);
    std::string room(roomSize, '\0');
    const Iconv iconv(conversion.fromName, conversion.toName);
    for (auto _ : state)
        benchmark::DoNotOptimize(iconv.run(text, room));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void copy(benchmark::State& state) {
    const std::string text(textSize, 'a');
    std::string room(textSize, '\0');
    for (auto _ : state) {
        std::memcpy(room.data(), text.data(), text.size());
        benchmark::DoNotOptimize(room.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

/** One field: the converter is found and used. With several threads the time of each should stay. */
void field(benchmark::State& state) {
    constexpr unsigned fieldSize = 40;
    const std::string text(fieldSize, 'a');
    KEL_RAW room[4 * fieldSize];
    for (auto _ : state) {
        const auto* converter = ZorConverter::getConverter("4110", "1100", 0, '#');
        unsigned written = sizeof room;
        converter->convert(reinterpret_cast<const KEL_RAW*>(text.data()), fieldSize, room, &written, nullptr);
        benchmark::DoNotOptimize(written);
    }
}

BENCHMARK(copy)->Name("memcpy");
BENCHMARK(field)->Name("field_of_40")->ThreadRange(1, 2);

}  // namespace

int main(int argc, char** argv) {
    for (const auto& conversion : conversions) {
        const std::string name = conversion.name;
        benchmark::RegisterBenchmark((name + "/kelzor").c_str(),
                                     [&](benchmark::State& state) { withLibrary(state, conversion); });
        benchmark::RegisterBenchmark((name + "/iconv").c_str(),
                                     [&](benchmark::State& state) { withIconv(state, conversion); });
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
