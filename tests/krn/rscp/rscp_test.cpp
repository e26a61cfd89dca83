// What the engine does with broken, cut and missing characters, with little room, and from many threads.

#include <thread>
#include <vector>

#include "krn/rscp/conversion.h"

namespace {

using namespace std::string_literals;

constexpr int stop = RSCPENOCONV;
constexpr int cut = RSCPEUNIQ;

TEST(Rscp, BrokenAndMissingCharactersInEachMode) {
    // The result that stops, and the texts with substitutes and with copies.
    const struct {
        const char* from;
        const char* to;
        std::string text;
        int rc;
        std::string substituted;
        std::string copied;
    } rows[] = {
        // UTF-8: a byte that begins nothing, overlong forms, a surrogate, a number too high, a sequence that
        // breaks off before a character.
        {"4110", "1100", "a\x80z", stop, "a#z", "a\x80z"},
        {"4110", "1100", "\xC0\xAF", stop, "##", "\xC0\xAF"},
        {"4110", "1100", "\xE0\x80\xAF", stop, "###", "\xE0\x80\xAF"},
        {"4110", "1100", "\xF0\x80\x80\xAF", stop, "####", "\xF0\x80\x80\xAF"},
        {"4110", "1100", "\xED\xA0\x80", stop, "###", "\xED\xA0\x80"},
        {"4110", "1100", "\xF4\x90\x80\x80", stop, "####", "\xF4\x90\x80\x80"},
        {"4110", "1100", "\xE2\x82z", stop, "#z", "\xE2\x82z"},
        {"4110", "1100", "\xE2\x82\xAC", stop, "#", "\xE2\x82\xAC"},
        {"4110", "1100", "\xE2\x82", cut, "", ""},
        // A wide output takes the bytes of a copy as units of their own, unless they fill whole ones.
        {"4110", "4102", "\xFFz"s, stop, "\0#\0z"s, "\0\xFF\0z"s},
        {"4110", "4105", "\xFF"s, stop, "#\0\0\0"s, "\xFF\0\0\0"s},
        // UTF-16: single surrogates of both kinds; UCS-2 has no pairs.
        {"4102", "4110", "\xDC\x00\0a"s, stop, "#a", "\xDC\x00"s + "a"},
        {"4102", "4110", "\xD8\x00\0a"s, stop, "#a", "\xD8\x00"s + "a"},
        {"4103", "4102", "\x3D\xD8\x41\0"s, stop, "\0#\0A"s, "\x3D\xD8\0A"s},
        {"4102", "4110", "\xD8\x3D\xDE\x00"s, 0, "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
        {"4100", "4110", "\xD8\x3D"s, stop, "#", "\xD8\x3D"},
        {"4110", "4100", "\xF0\x9F\x98\x80", stop, "\0#"s, "\xF0\x9F\x98\x80"},
        {"4102", "4110", "\xD8\x3D"s, cut, "", ""},
        {"4102", "4110", "\xD8\x3D\xDE"s, cut, "", ""},
        {"4102", "4110", "\0"s, cut, "", ""},
        {"4104", "4110", "\0\x11\0\0"s, stop, "#", "\0\x11\0\0"s},
        {"4104", "4110", "\0\0\xD8\0"s, stop, "#", "\0\0\xD8\0"s},
        {"4104", "4110", "\0\0a"s, cut, "", ""},
        // Single bytes.
        {"1101", "4110", "\x80z", stop, "#z", "\x80z"},
        {"8604", "1100", "\xDBz", stop, "#z", "\xDBz"},
        {"1160", "4102", "\x81", stop, "\0#"s, "\0\x81"s},
        // Pairs: a letter behind a lead byte stays; a pair without a character goes as a whole.
        {"8000", "4110", "\x81 z", stop, "# z", "\x81 z"},
        {"8000", "4110", "\x81\xFFz", stop, "##z", "\x81\xFFz"},
        {"8000", "4110", "\x82\x40z", stop, "#@z", "\x82@z"},
        {"8000", "4110", "\x82\x80z", stop, "#z", "\x82\x80z"},
        {"8000", "4110", "\x82", cut, "", ""},
        {"8300", "4110", "\xA1\x20", stop, "# ", "\xA1 "},
        {"8340", "4110", "\x87\x80", stop, "#", "\x87\x80"},
        {"8400", "4110", "\xA2\xA1\xFF", stop, "##", "\xA2\xA1\xFF"},
        {"8500", "4110", "\xB0", cut, "", ""},
        {"8100", "4110", "\x8E\x20", stop, "# ", "\x8E "},
        {"8100", "4110", "\x8F\xA2\x20", stop, "## ", "\x8F\xA2 "},
        {"8100", "4110", "\x8F\xA2\xA1", stop, "#", "\x8F\xA2\xA1"},
        {"8100", "4110", "\x8F\xA2", cut, "", ""},
        {"8402", "4110", "\x81\x30\x20", stop, "#0 ", "\x81\x30 "},
        {"8402", "4110", "\x84\x32\x81\x30", stop, "#", "\x84\x32\x81\x30"},
        {"8402", "4110", "\x81\x30\x81", cut, "", ""},
        {"8450", "4110", "\x30\x21 \x30", cut, "\xE5\x95\x8A ", "\xE5\x95\x8A "},
        // A pair of characters is written as a whole or counts as missing.
        {"8340", "1160", "\x88\x62z", stop, "#z", "\x88\x62z"},
        // Escape sequences: unknown, cut, and bytes that have no place.
        {"8200", "4110", "\x1B$Zz", stop, "#$Zz", "\x1B$Zz"},
        {"8200", "4110", "a\x1B$", cut, "a", "a"},
        {"8200", "4110", "\xE4z", stop, "#z", "\xE4z"},
        {"8200", "4110", "\x1B$B$", cut, "", ""},
        {"1100", "8200", "\xE4z", stop, "#z", "\xE4z"},
        {"1100", "8200", "\x1B", stop, "#", "\x1B"},
    };
    for (const auto& row : rows) {
        const auto number = &row - rows;
        if (row.rc == stop) {
            // The same within a long text, most of which is converted in blocks.
            const auto letters = [](const char* page) {
                return Engine("1101", page).run("forty letters on either side of what is meant", 256).text;
            };
            const Engine engine(row.from, row.to, miss_substitute, broken_like_miss);
            const auto found = engine.run(letters(row.from) + row.text + letters(row.from), 512);
            EXPECT_EQ(found.text, letters(row.to) + row.substituted + letters(row.to)) << number;
        }
        const auto stopped = Engine(row.from, row.to).run(row.text);
        EXPECT_EQ(stopped.rc, row.rc) << number;
        const int mild = row.rc == stop ? RSCP_OK : row.rc;
        const auto substituted = Engine(row.from, row.to, miss_substitute, broken_like_miss).run(row.text);
        EXPECT_EQ(substituted.rc, mild) << number;
        EXPECT_EQ(substituted.text, row.substituted) << number;
        const auto copied = Engine(row.from, row.to, miss_copy, broken_like_miss).run(row.text);
        EXPECT_EQ(copied.rc, mild) << number;
        EXPECT_EQ(copied.text, row.copied) << number;
    }
}

TEST(Rscp, SettingsAndTexts) {
    // Missing is mild, broken is not; the substitute may need several bytes or be none of the page's.
    const Engine strict("4110", "1100", miss_substitute, broken_stop_finally);
    EXPECT_EQ(strict.run("\xE2\x82\xAC").text, "#");
    EXPECT_EQ(strict.run("a\xFF").rc, RSCPENOCONV);
    EXPECT_EQ(strict.run("a\xFF").consumed, 1u);
    EXPECT_STREQ(rscpErrorText(), "Conversion error");
    EXPECT_EQ(strict.object.ccci_noof_subst, 1u);
    const Engine wide("1101", "8000", miss_substitute, broken_like_miss, CtrlCodeCv_try, 0x3013);
    EXPECT_EQ(wide.run("\x80").text, "\x81\xAC");
    EXPECT_EQ(Engine("4110", "1100", miss_substitute, broken_like_miss, CtrlCodeCv_try, 0x20AC)
                  .run("\xE2\x82\xAC")
                  .rc,
              RSCPENOCONV);
    EXPECT_EQ(
        Engine("1101", "8200", miss_substitute, broken_like_miss, CtrlCodeCv_try, 0x3013).run("\x80").text,
        "\x1B$B\".\x1B(B");
    EXPECT_EQ(Engine("4110", "1100", miss_substitute, broken_like_miss, CtrlCodeCv_try, 0).run("\xFF").text,
              "#");
    // Control characters are a matter of the Unicode forms alone.
    const std::string controls = "a\tb\x7F\xC2\x85z";
    EXPECT_EQ(
        Engine("4110", "4120", miss_substitute, broken_like_miss, CtrlCodeCv_illegal).run(controls).text,
        "a#b##z");
    EXPECT_EQ(Engine("4110", "4120").run(controls).text, controls);
    EXPECT_EQ(Engine("4110", "1100", miss_substitute, broken_like_miss, CtrlCodeCv_illegal).run("a\tb").text,
              "a\tb");
    Engine("4102", "4110").run("\0a\0"s);
    EXPECT_STREQ(rscpErrorText(), "Unicode and odd bytes");
    Engine("8000", "4110").run("\x81"s);
    EXPECT_STREQ(rscpErrorText(), "Input ends within a multi-byte character");
    rscpCObj_t unknown;
    rscpCInit(unknown, "1100", "9999", miss_stop, broken_stop_finally);
    EXPECT_EQ(rscpCActivate(unknown), RSCPENOCONV);
    EXPECT_STREQ(rscpErrorText(), "character code \"9999\" unknown");
    EXPECT_EQ(rscpCInit(unknown, nullptr, "1100", miss_stop, broken_stop_finally), RSCPEINVAL);
    KEL_RAW byte = 0;
    KEL_RAW* out = &byte;
    const KEL_RAW* in = &byte;
    EXPECT_EQ(rscpCConvert(unknown, &out, &byte + 1, &in, &byte), RSCPEINVAL);
    EXPECT_EQ(rscpCConvert(strict.object, &out, &byte + 1, &in, &byte + 1), RSCPEINVAL);
    EXPECT_STREQ(rscpErrorText(), "overlapping buffers");
}

// Text in UTF-8 that the page has, long enough for runs of ASCII at once.
const struct {
    const char* number;
    const char* text;
} samples[] = {
    {"0100", "Grüße, ein langer Text ohne Umlaute: ÄÖÜ"},
    {"1100", "Grüße, ein langer Text ohne Umlaute: ÄÖÜ"},
    {"1504", "Привет, мир, and thirty-two letters of ASCII: Ж"},
    {"1804", "שלום and some more ASCII letters"},
    {"4100", "€ and some more ASCII letters, ж"},
    {"4102", "😀 and some more ASCII letters, 😀ж"},
    {"4103", "😀 and some more ASCII letters, 😀ж"},
    {"4105", "😀 and some more ASCII letters, 😀ж"},
    {"4110", "😀 and some more ASCII letters, 😀жé€"},
    {"8000", "日本語のテキスト and some more ASCII letters ｶﾅ表"},
    {"8100", "日本語のテキスト and some more ASCII letters ｶﾅ丂á"},
    {"8200", "日本語の¥‾テキスト and some more ASCII letters 語"},
    {"8300", "繁體中文 and some more ASCII letters 字"},
    {"8340", "繁體中文 and some more ASCII letters 𠂇嘅"},
    {"8400", "简体中文 and some more ASCII letters 字"},
    {"8402", "简体中文 and some more ASCII letters 😀é𠂇"},
    {"8500", "한국어 and some more ASCII letters 字"},
};

/** Converts in two steps, the first with little room. Read back, both together are the whole text. */
void convertInRooms(const Engine& engine, const Engine& back, const std::string& text, std::size_t need) {
    for (std::size_t room = 0; room <= need; ++room) {
        const auto first = engine.run(text, room);
        ASSERT_EQ(first.rc, room == need ? RSCP_OK : RSCPETOOLONG) << room;
        const auto rest = engine.run(text.substr(first.consumed), 512);
        ASSERT_EQ(rest.rc, RSCP_OK) << room;
        ASSERT_EQ(back.run(first.text + rest.text, 512).text, text) << room;
    }
}

/** Converts beginnings of a text: what is whole in them is converted, the rest can follow. */
void convertBeginnings(const Engine& engine, const std::string& text, const std::string& whole,
                       bool restartable) {
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const auto first = engine.run(text.substr(0, length), 512);
        ASSERT_EQ(first.rc, first.consumed == length ? RSCP_OK : RSCPEUNIQ) << length;
        ASSERT_LT(length - first.consumed, 4u);
        if (!restartable) continue;
        ASSERT_EQ(first.text + engine.run(text.substr(first.consumed), 512).text, whole) << length;
    }
}

TEST(Rscp, LittleRoomAndCutInput) {
    for (const auto& sample : samples) {
        SCOPED_TRACE(sample.number);
        for (const char* other : {"4103", "4110", "4104"}) {
            if (other == std::string(sample.number)) continue;
            const Engine there(sample.number, other);
            const Engine back(other, sample.number);
            std::string wide = sample.text;
            if (other != std::string("4110")) wide = Engine("4110", other).run(sample.text, 512).text;
            const auto page = back.run(wide, 512);
            ASSERT_EQ(page.rc, RSCP_OK) << rscpErrorText();
            ASSERT_EQ(there.run(page.text, 512).text, wide);
            const bool escapes = sample.number == std::string("8200");
            convertInRooms(there, back, page.text, wide.size());
            convertInRooms(back, there, wide, page.text.size());
            convertBeginnings(there, page.text, wide, !escapes);
            convertBeginnings(back, wide, page.text, !escapes);
        }
    }
}

TEST(Rscp, EscapeSequences) {
    const Engine read("8200", "4110");
    const Engine write("4110", "8200");
    EXPECT_EQ(write.run("a日本z").text, "a\x1B$BF|K\\\x1B(Bz");
    EXPECT_EQ(read.run("a\x1B$BF|K\\\x1B(Bz").text, "a日本z");
    EXPECT_EQ(read.run("\x1B$@F|\n\x1B(J\\~A\x1B(B\\~").text, "日\n¥‾A\\~");
    EXPECT_EQ(write.run("¥A\\").text, "\x1B(J\\A\x1B(B\\");
    // Whatever was written so far ends in ASCII, and what was read so far ended there.
    EXPECT_EQ(write.run("a日本z", 10).text, "a\x1B$BF|\x1B(B");
    EXPECT_EQ(write.run("a日本z", 10).consumed, 4u);
    const auto stopped = read.run("a\x1B$BF|K\\\x1B(Bz", 5);
    EXPECT_EQ(stopped.rc, RSCPETOOLONG);
    EXPECT_EQ(stopped.text, "a");
    EXPECT_EQ(stopped.consumed, 1u);
    const auto inRoman = read.run("ab\x1B(J\\", 3);
    EXPECT_EQ(inRoman.text, "ab");
    EXPECT_EQ(inRoman.consumed, 2u);
}

TEST(Rscp, ManyThreadsLoadPagesAtOnce) {
    constexpr int threadCount = 8;
    std::vector<std::string> results(threadCount);
    std::vector<std::thread> threads;
    for (auto& result : results)
        threads.emplace_back([&result] {
            for (const char* page : {"8000", "8100", "8340", "8402", "8500", "0860", "1704"}) {
                const Engine engine(page, "4110", miss_substitute, broken_like_miss);
                result += engine.run("\xB0\xA1z").text;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(results, std::vector<std::string>(threadCount, results[0]));
    EXPECT_FALSE(results[0].empty());
}

}  // namespace
