// The stream compressor: heads, handles, and streams that were made elsewhere or by hand.

#include "krn/cscompr/cscompr.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using Bytes = std::vector<KEL_RAW>;

Bytes fromHex(std::string_view hex) {
    Bytes bytes;
    for (size_t at = 0; at + 1 < hex.size(); at += 2)
        bytes.push_back(static_cast<KEL_RAW>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16)));
    return bytes;
}

class Handle {
  public:
    Handle() { EXPECT_EQ(CsRGetHandle(&number), 0); }
    Handle(const Handle&) = delete;
    ~Handle() { CsRCloseHandle(number); }
    operator int() const { return number; }

  private:
    int number = -1;
};

/** Decompresses in portions; a failure is the only content of the result. */
std::string decompressed(const Bytes& stream, unsigned length, size_t inPortion, size_t outPortion) {
    const Handle handle;
    KEL_RAW head[CS_HEAD_SIZE];
    CsRSetHead(head, length, CS_ALGORITHM_LZH, 2);
    EXPECT_EQ(CsRInitDecompress(handle, head), 0);
    std::string all;
    size_t at = 0;
    Bytes room(outPortion);
    for (int rounds = 0; rounds < 100000; ++rounds) {
        size_t read = 0, written = 0;
        const size_t there = std::min(inPortion, stream.size() - at);
        const int rc = CsRDecompress(handle, std::span(stream).subspan(at, there), room, 0, &read, &written);
        at += read;
        all.append(room.begin(), room.begin() + static_cast<long>(written));
        if (rc == CS_END_OF_STREAM) return all;
        if (rc < 0) return "failure " + std::to_string(rc);
        if (rc == CS_END_INBUFFER && at == stream.size()) return "more";
    }
    return "endless";
}

std::string tableText() {
    std::string text;
    for (int i = 0; i < 60; ++i) {
        char row[64];
        text.append(row, static_cast<size_t>(
                             std::snprintf(row, sizeof row, "row %05d of the table, with some text; ", i)));
    }
    return text;
}

const struct {
    const char* name;
    std::string content;
    Bytes stream;
} streams[] = {
    {"dynamic codes behind three filler bits", tableText(),
     fromHex("b7317a4969208aa2283a9537001bde9f1f1c8d4249848482581087af827dd7691e766f5df7dbbaffdddadfd771dad6f"
             "1fa76deeed6"
             "ede338adcffdf2736c5fc7cbbafe75815d6257d8357683dd03768fd83d61f76c5da047a047a047a047a047a047a047a"
             "047a047a0"
             "47a247a247a247a247a247a247a247a247a247a247a147a147a147a147a147a147a147a147a147a147a347a347a347a"
             "347a347a3"
             "47a347a347a347a3c7a0c7a0c7a0c7a0c7a0c7a0c7a0c7a0c7a0c7fce7f10d")},
    {"fixed codes without filler",
     "abcabcabcabcabcXabcabcabcabcabcabcabcXabcabcabcabcabcabcabcXabcabcabcabcabcabcabcXabcabc",
     fromHex("2c31293911094524a2f2c9160500")},
    // 00: no filler, 1: last, 00: stored, then from the next byte on the length and its complement.
    {"a stored block", "abc", {0x04, 3, 0, 0xFC, 0xFF, 'a', 'b', 'c'}},
    // 01 1: one filler bit that is set, then a block that isn't the last, then one that is.
    {"two stored blocks", "ab", {0x05, 1, 0, 0xFE, 0xFF, 'a', 0x01, 1, 0, 0xFE, 0xFF, 'b'}},
};

TEST(CsRDecompress, ReadsEveryKindOfBlockInPortionsOfAnySize) {
    for (const auto& s : streams)
        for (const size_t in : {1, 2, 3, 1000})
            for (const size_t out : {1, 2, 7, 5000}) {
                SCOPED_TRACE(s.name);
                EXPECT_EQ(decompressed(s.stream, static_cast<unsigned>(s.content.size()), in, out), s.content)
                    << in << ' ' << out;
            }
}

TEST(CsRDecompress, EndsAtTheLengthOfTheHeadOrAtTheLastBlock) {
    const auto& text = streams[0];
    EXPECT_EQ(decompressed(text.stream, 100, 1000, 5000), text.content.substr(0, 100));
    EXPECT_EQ(decompressed(text.stream, 100000, 1000, 5000), text.content);
    EXPECT_EQ(decompressed(text.stream, 0, 1000, 5000), "");
    for (size_t length = 0; length + 1 < text.stream.size(); ++length)
        EXPECT_EQ(decompressed(Bytes(text.stream.begin(), text.stream.begin() + static_cast<long>(length)),
                               2400, 1000, 5000),
                  "more")
            << length;
}

TEST(CsRDecompress, RefusesWhatNoCompressorWrites) {
    const struct {
        const char* name;
        Bytes stream;
    } cases[] = {
        {"an unknown kind of block", {0x1C}},
        {"a stored length whose complement is wrong", {0x04, 3, 0, 0xFC, 0xFE}},
        {"a distance beyond the start", {0x0C, 0x02, 0x00}},  // fixed codes, a match of 3 bytes 1 byte back
        {"more codes than fit", {0x14, 0, 0x48, 0x12}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(decompressed(c.stream, 10, 1000, 5000), "failure -22") << c.name;
}

TEST(CsRDecompress, EveryDamagedBitEndsInAResult) {
    for (const auto& s : streams)
        for (size_t bit = 0; bit < 8 * s.stream.size(); ++bit) {
            Bytes damaged = s.stream;
            damaged[bit / 8] = static_cast<KEL_RAW>(damaged[bit / 8] ^ 1 << bit % 8);
            EXPECT_NE(decompressed(damaged, static_cast<unsigned>(s.content.size()), 5, 50), "endless");
        }
}

TEST(CsRHead, IsLengthAlgorithmMagicAndLevel) {
    KEL_RAW head[CS_HEAD_SIZE];
    CsRSetHead(head, 0x01020304, CS_ALGORITHM_LZH, 2);
    EXPECT_EQ(Bytes(std::begin(head), std::end(head)), Bytes({4, 3, 2, 1, 0x12, 0x1F, 0x9D, 2}));
    EXPECT_EQ(CsRGetLen(head), 0x01020304);
    EXPECT_EQ(CsRGetAlgorithm(head), CS_ALGORITHM_LZH);
    const Handle handle;
    Bytes stream(std::begin(head), std::end(head));
    size_t read = 0, written = 0;
    KEL_RAW out[4];
    EXPECT_EQ(CsRDecompress(handle, stream, {}, CS_INIT_DECOMPRESS, &read, &written), CS_END_INBUFFER);
    EXPECT_EQ(read, CS_HEAD_SIZE);
    EXPECT_EQ(CsRDecompress(handle, std::span(stream).first(7), out, CS_INIT_DECOMPRESS, &read, &written),
              CS_E_IN_BUFFER_LEN);
    head[4] = CS_ALGORITHM_LZC;
    EXPECT_EQ(CsRInitDecompress(handle, head), CS_E_UNKNOWN_ALG);
    head[5] = 0;
    EXPECT_EQ(CsRInitDecompress(handle, head), CS_E_NO_MAGIC);
    EXPECT_EQ(CsRDecompress(handle, {}, {}, 0, &read, &written), CS_E_BOTH_ZERO_LEN);
}

TEST(CsRHandles, AreAThousandAndComeBack) {
    std::vector<int> handles(1000);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(CsRGetHandle(&handles[static_cast<size_t>(i)]), 0);
        EXPECT_EQ(handles[static_cast<size_t>(i)], 300 + i);
    }
    int none = 0;
    EXPECT_EQ(CsRGetHandle(&none), CS_E_NO_FREE_HANDLE);
    CsRCloseHandle(777);
    CsRCloseHandle(299);
    CsRCloseHandle(1300);
    EXPECT_EQ(CsRGetHandle(&none), 0);
    EXPECT_EQ(none, 777);
    CsRCloseAllHandles();
    size_t read = 0, written = 0;
    KEL_RAW byte = 0;
    for (const int closed : {-1, 299, 300, 1300})
        EXPECT_EQ(CsRDecompress(closed, {&byte, 1}, {}, 0, &read, &written), CS_E_INVALID_HANDLE) << closed;
}

}  // namespace
