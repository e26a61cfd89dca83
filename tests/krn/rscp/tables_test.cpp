// Every character and every code of every page against the C library.

#include <vector>

#include "krn/rscp/conversion.h"

namespace {

struct Published {
    const char* number;
    const char* name;
};

const Published singleBytePages[] = {
    {"0100", "IBM500"},     {"0110", "IBM273"},     {"0111", "IBM277"},      {"0112", "IBM278"},
    {"0113", "IBM037"},     {"0114", "IBM297"},     {"0115", "IBM500"},      {"0120", "IBM500"},
    {"0160", "IBM1047"},    {"0161", "IBM1047"},    {"0410", "IBM870"},      {"0500", "IBM1025"},
    {"0610", "IBM1026"},    {"0700", "IBM875"},     {"0800", "IBM424"},      {"0860", "IBM1160"},
    {"1100", "ISO-8859-1"}, {"1101", "ASCII"},      {"1103", "IBM850"},      {"1107", "IBM437"},
    {"1133", "ISO-8859-1"}, {"1160", "CP1252"},     {"1164", "ISO-8859-15"}, {"1401", "ISO-8859-2"},
    {"1404", "CP1250"},     {"1500", "ISO-8859-5"}, {"1504", "CP1251"},      {"1509", "KOI8-U"},
    {"1510", "KOI8-R"},     {"1600", "ISO-8859-3"}, {"1610", "ISO-8859-9"},  {"1614", "CP1254"},
    {"1700", "ISO-8859-7"}, {"1704", "CP1253"},     {"1800", "ISO-8859-8"},  {"1804", "CP1255"},
    {"1900", "ISO-8859-4"}, {"1904", "CP1257"},     {"8600", "TIS-620"},     {"8604", "CP874"},
    {"8700", "ISO-8859-6"}, {"8704", "CP1256"},     {"8805", "CP1258"},
};

const Published multiBytePages[] = {
    {"8000", "CP932"},      {"8100", "EUC-JP"}, {"8300", "BIG5"},    {"8340", "BIG5-HKSCS"},
    {"8341", "BIG5-HKSCS"}, {"8400", "EUC-CN"}, {"8401", "GB18030"}, {"8402", "GB18030"},
    {"8450", "EUC-CN"},     {"8500", "EUC-KR"},
};

const Published unicodeForms[] = {
    {"4100", "UCS-2BE"},  {"4101", "UCS-2LE"},  {"4102", "UTF-16BE"}, {"4103", "UTF-16LE"},
    {"4104", "UTF-32BE"}, {"4105", "UTF-32LE"}, {"4110", "UTF-8"},    {"4120", "UTF-8"},
};

constexpr KEL_UINT euro = 0x20AC;

/** Where a page differs from the C library's on purpose. `text` is in the page, `character` in UTF-32. */
bool intended(const std::string& number, const std::string& text, const std::string& character) {
    // The Euro sign came to the Thai EBCDIC page under another number.
    if (number == "0860") return text == "\xFE" || character == utf32(euro);
    // Letters with two points aren't taken apart.
    if (number == "1804") return text.size() > 2;
    // The set by itself has no place for ASCII.
    if (number == "8450") return text.size() == 1 && text > " " && text < "\x7F";
    // The edition of 2000 has two characters the other way round.
    if (number == "8401") return character == utf32(0x1E3F) || character == utf32(0xE7C7);
    return false;
}

/** The page's text in the C library's page: the set by itself is compared by its form with top bits. */
std::string asPublished(const std::string& number, std::string text) {
    if (number == "8450" && text.size() == 2)
        for (char& byte : text)
            byte = static_cast<char>(byte | 0x80);
    return text;
}

void compareCode(const Published& page, const Engine& engine, const Iconv& reference,
                 const std::string& text) {
    const std::string expected = reference.run(asPublished(page.number, text));
    const auto found = engine.run(text);
    if (intended(page.number, text, expected)) return;
    ASSERT_EQ(found.rc == RSCP_OK ? found.text : "", expected) << page.number << testing::PrintToString(text);
}

/** Compares all characters below 0x10000 and those above them in steps. */
void compareCharacters(const Published& page, KEL_UINT end, KEL_UINT step = 1) {
    const Engine engine("4104", page.number);
    const Iconv reference("UTF-32BE", page.name);
    for (KEL_UINT character = 0; character < end; character += character < 0x10000 ? 1 : step) {
        const std::string text = utf32(character);
        const auto found = engine.run(text);
        const std::string expected = reference.run(text);
        if (intended(page.number, expected, text)) continue;
        const std::string code = found.rc == RSCP_OK ? asPublished(page.number, found.text) : "";
        ASSERT_EQ(code, expected) << page.number << " " << std::hex << character;
    }
}

std::string bytes(std::initializer_list<unsigned> values) {
    std::string text;
    for (const unsigned value : values)
        text += static_cast<char>(value);
    return text;
}

TEST(RscpTables, SingleBytePages) {
    for (const auto& page : singleBytePages) {
        const Engine engine(page.number, "4104");
        const Iconv reference(page.name, "UTF-32BE");
        for (unsigned byte = 0; byte < 256; ++byte)
            compareCode(page, engine, reference, bytes({byte}));
        compareCharacters(page, 0x10000);
    }
}

TEST(RscpTables, MultiBytePagesByCode) {
    for (const auto& page : multiBytePages) {
        const Engine engine(page.number, "4104");
        const Iconv reference(page.name, "UTF-32BE");
        const bool ownSet = page.number == std::string("8450");
        for (unsigned first = 0; first < 256; ++first) {
            const bool lead = engine.run(bytes({first})).rc == RSCPEUNIQ;
            if (!lead && !(ownSet && first > 0x20)) compareCode(page, engine, reference, bytes({first}));
            for (unsigned second = 0; lead && second < 256; ++second)
                if (!ownSet || second < 0x80) compareCode(page, engine, reference, bytes({first, second}));
        }
    }
}

TEST(RscpTables, CodesOfThreeAndFourBytes) {
    const Engine euc("8100", "4104");
    const Iconv eucReference("EUC-JP", "UTF-32BE");
    for (unsigned second = 0; second < 256; ++second)
        for (unsigned third = 0; third < 256; ++third)
            compareCode({"8100", ""}, euc, eucReference, bytes({0x8F, second, third}));
    // The first bytes that 16 bits need, the next of the gap behind them, and both ends of the other planes.
    const Engine chinese("8402", "4104");
    const Iconv chineseReference("GB18030", "UTF-32BE");
    for (const unsigned first : {0x81u, 0x82u, 0x83u, 0x84u, 0x85u, 0x8Fu, 0x90u, 0xE3u, 0xE4u, 0xFEu})
        for (unsigned second = 0x2F; second <= 0x3A; ++second)
            for (unsigned third = 0x80; third <= 0xFF; ++third)
                for (unsigned fourth = 0x2F; fourth <= 0x3A; ++fourth)
                    compareCode({"8402", ""}, chinese, chineseReference,
                                bytes({first, second, third, fourth}));
}

TEST(RscpTables, MultiBytePagesByCharacter) {
    for (const auto& page : multiBytePages) {
        const bool hasIdeographs = page.number == std::string("8340") || page.number == std::string("8402");
        compareCharacters(page, hasIdeographs ? 0x30000 : 0x110000, hasIdeographs ? 1 : 0x101);
    }
}

TEST(RscpTables, UnicodeFormsByCharacter) {
    for (const auto& form : unicodeForms)
        if (form.number != std::string("4104")) compareCharacters(form, 0x110000, 0x3F);
}

TEST(RscpTables, UnicodeFormsAmongEachOther) {
    const KEL_UINT characters[] = {0,      'a',    0x7F,   0x80,    0x7FF,   0x800,   0xD7FF,
                                   0xE000, 0xFFFD, 0xFFFF, 0x10000, 0x1F600, 0x10FFFF};
    for (const auto& from : unicodeForms)
        for (const auto& to : unicodeForms) {
            const Engine engine(from.number, to.number);
            for (const KEL_UINT character : characters) {
                const std::string text = Iconv("UTF-32BE", from.name).run(utf32(character));
                const std::string expected = Iconv("UTF-32BE", to.name).run(utf32(character));
                if (text.empty()) continue;  // beyond UCS-2
                const auto found = engine.run(text);
                EXPECT_EQ(found.rc == RSCP_OK ? found.text : "", expected)
                    << from.number << " " << to.number << " " << std::hex << character;
            }
        }
}

struct Coded {
    std::string character;  ///< UTF-32.
    std::string code;
};

/** All characters beyond ASCII that have a code of their own in a page. */
std::vector<Coded> charactersOf(const char* page) {
    const Engine there("4104", page), back(page, "4104");
    std::vector<Coded> all;
    for (KEL_UINT number = 0x80; number < 0x30000; number += number < 0x10000 ? 1 : 0x25) {
        const std::string character = utf32(number);
        const auto code = there.run(character);
        if (code.rc == RSCP_OK && back.run(code.text).text == character)
            all.push_back({character, code.text});
    }
    return all;
}

TEST(RscpTables, LongTextsAreTheirCharactersOneByOne) {
    // So many letters of ASCII behind each few characters.
    const struct {
        std::size_t every, letters;
    } mixtures[] = {{1000000, 0}, {3, 1}, {5, 2}, {7, 21}, {2, 100}};
    for (const char* page :
         {"0120", "1100", "1504", "8000", "8100", "8300", "8340", "8400", "8402", "8500", "4102", "4103"}) {
        const std::vector<Coded> characters = charactersOf(page);
        const std::string letters = Engine("1101", page).run(std::string(100, 'a'), 200).text;
        for (const auto& mixture : mixtures) {
            std::string text, wide;
            for (std::size_t i = 0; i < characters.size(); ++i) {
                text += characters[i].code;
                wide += characters[i].character;
                if (i % mixture.every != 0) continue;
                text += letters.substr(0, letters.size() / 100 * mixture.letters);
                for (std::size_t letter = 0; letter < mixture.letters; ++letter)
                    wide += utf32('a');
            }
            for (const char* form : {"4110", "4102", "4103"}) {
                if (page == std::string(form)) continue;
                const std::string expected = Engine("4104", form).run(wide, wide.size()).text;
                const auto there = Engine(page, form).run(text, expected.size());
                EXPECT_TRUE(there.rc == RSCP_OK && there.text == expected) << page << form << mixture.every;
                const auto back = Engine(form, page).run(expected, text.size());
                EXPECT_TRUE(back.rc == RSCP_OK && back.text == text) << page << form << mixture.every;
            }
        }
    }
}

TEST(RscpTables, IntendedDifferences) {
    const struct {
        const char* from;
        std::string text;
        KEL_UINT character;
    } rows[] = {
        {"8401", "\xA8\xBC", 0xE7C7},
        {"8401", "\x81\x35\xF4\x37", 0x1E3F},
        {"8402", "\xA8\xBC", 0x1E3F},
        {"8402", "\x81\x35\xF4\x37", 0xE7C7},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Engine(row.from, "4104").run(row.text).text, utf32(row.character)) << row.from;
        EXPECT_EQ(Engine("4104", row.from).run(utf32(row.character)).text, row.text) << row.from;
    }
    EXPECT_EQ(Engine("0860", "4104").run("\xFE").rc, RSCPENOCONV);
    EXPECT_EQ(Engine("4104", "0860").run(utf32(euro)).rc, RSCPENOCONV);
    // A letter and its mark are one code in one direction; the other knows the letter alone.
    EXPECT_EQ(Engine("8340", "4104").run("\x88\x62").text, utf32(0xCA) + utf32(0x304));
    EXPECT_EQ(Engine("4104", "8340").run(utf32(0xCA)).text, "\x88\x66");
    // Letters with a mark are taken apart but not put together.
    EXPECT_EQ(Engine("4104", "8805").run(utf32(0x1EA5)).text, "\xE2\xEC");
    EXPECT_EQ(Engine("8805", "4104").run("\xE2\xEC").text, utf32(0xE2) + utf32(0x301));
}

}  // namespace
