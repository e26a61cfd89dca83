/** The development system's own codecs against bytes worked out by hand. */
#include <gtest/gtest.h>

#include "devclient.h"
#include "devsys/errorblock.h"
#include "devsys/functions.h"
#include "devsys/isodata.h"
#include "devsys/items.h"
#include "devsys/mofile.h"
#include "devsys/niframe.h"
#include "devsys/scramble.h"

namespace {

using namespace devclient;
using namespace zordev;

std::string stringOf(ByteSpan bytes) {
    return std::string(asText(bytes));
}

// Key 1: the index starts at (0 ^ 2 ^ 1) & 63 = 3, where the table has F4, 82, 8E. The multiplier is 255,
// then 0, then 1: 77 ^ 00 ^ F4 = 83, 65 ^ 00 ^ 82 = E7, 6C ^ 02 ^ 8E = E0.
TEST(DevCodec, PasswordVector) {
    EXPECT_EQ(unscramblePassword(asBytes(hex("01 00 00 00 83 E7 E0"))), "wel");
    // Key 0x04000042: the index starts at (2 ^ 4 ^ 2) & 63 = 4, where the table has 82, 8E, 5F. The
    // multiplier is 255, then FF + 42 = 41, then 83: 61 ^ 82 = E3, 62 ^ 41 ^ 8E = AD, 63 ^ 06 ^ 5F = 3A.
    EXPECT_EQ(unscramblePassword(asBytes(hex("42 00 00 04 E3 AD 3A"))), "abc");
    EXPECT_EQ(unscramblePassword(asBytes(hex("01 00 00 00"))), std::nullopt);
}

TEST(DevCodec, ItemFramesByLength) {
    const struct {
        std::size_t length;
        std::string begin;
    } cases[] = {
        {0, hex("02 01 00 00")},
        {3, hex("02 01 00 03")},
        {65534, hex("02 01 FF FE")},
        {65535, hex("02 01 FF FF 00 00 FF FF")},
        {70000, hex("02 01 FF FF 00 01 11 70")},
    };
    for (const auto& row : cases) {
        ItemWriter writer;
        const std::string payload(row.length, 'x');
        writer.text(0x0201, payload);
        const std::string expected = row.begin + payload + hex("02 01");
        EXPECT_EQ(stringOf(writer.bytes()), expected) << row.length;
        ItemReader reader(asBytes(expected));
        Item read;
        ASSERT_EQ(reader.next(read), ItemResult::item) << row.length;
        EXPECT_EQ(stringOf(read.payload), payload);
        EXPECT_EQ(reader.next(read), ItemResult::end);
    }
}

TEST(DevCodec, CutItemsAreNoticedAtEveryByte) {
    for (const std::string& whole :
         {hex("02 01 00 03 61 62 63 02 01"), hex("02 01 FF FF 00 00 00 01 61 02 01")}) {
        for (std::size_t length = 1; length < whole.size(); ++length) {
            const std::string cut = whole.substr(0, length);
            ItemReader reader(asBytes(cut));
            Item item;
            EXPECT_EQ(reader.next(item), ItemResult::truncated) << length;
        }
    }
    const std::string wrong = hex("02 01 00 01 61 02 02");
    ItemReader reader(asBytes(wrong));
    Item item;
    EXPECT_EQ(reader.next(item), ItemResult::badClosing);
}

TEST(DevCodec, ErrorBlockHasItsFieldsInOrder) {
    std::string expected =
        "*ERR*|1|short|236|KEL-Gateway|753|2|gateway||detail|||||1|KEL-Gateway on host zordev / kelgw00"
        "|||||*ERR*|";
    for (char& c : expected) {
        if (c == '|') c = '\0';
    }
    EXPECT_EQ(makeErrorBlock(236, "short", "detail"), expected);
}

// Two texts: "" with the catalogue's head, and "Germany".
std::string catalogue() {
    return hex("DE 12 04 95 00 00 00 00 02 00 00 00 1C 00 00 00 2C 00 00 00 00 00 00 00 3C 00 00 00") +
           hex("00 00 00 00 3C 00 00 00 07 00 00 00 3D 00 00 00") +
           hex("04 00 00 00 45 00 00 00 0B 00 00 00 4A 00 00 00") + std::string(1, '\0') + "Germany" +
           std::string(1, '\0') + "head" + std::string(1, '\0') + "Deutschland" + std::string(1, '\0');
}

TEST(DevCodec, CatalogueIsReadAndItsDamageNoticed) {
    const auto good = MoFile::parse(catalogue());
    ASSERT_TRUE(good.has_value());
    EXPECT_EQ(good->translate("Germany"), "Deutschland");
    EXPECT_EQ(good->translate("France"), "France");
    EXPECT_EQ(good->translate("Zanzibar"), "Zanzibar");
    std::string noMagic = catalogue();
    noMagic[0] = 0;
    EXPECT_FALSE(MoFile::parse(noMagic).has_value());
    std::string tooMany = catalogue();
    tooMany[8] = 100;
    EXPECT_FALSE(MoFile::parse(tooMany).has_value());
    // Cut anywhere, it is refused or gives the text back; it never reads beyond its end.
    for (std::size_t length = 0; length < catalogue().size() - 1; ++length) {
        const auto cut = MoFile::parse(catalogue().substr(0, length));
        if (cut.has_value()) {
            EXPECT_EQ(cut->translate("Germany"), "Germany") << length;
        }
    }
}

TEST(DevCodec, Latin1TakesASubstitute) {
    EXPECT_EQ(toLatin1("\xC3\x85land \xC2\xA9"), "\xC5land \xA9");
    EXPECT_EQ(toLatin1("\xE2\x82\xAC \xF0\x9F\x87\xA6 \xC4\x8D"), "# # #");
    EXPECT_EQ(toLatin1("\xC3"), "#");
    EXPECT_EQ(isoLanguage("D"), "de");
    EXPECT_EQ(isoLanguage("DE"), "de");
    EXPECT_EQ(isoLanguage("?"), "");
    EXPECT_EQ(languageKey("de"), 'D');
}

// The descriptions are what callers build theirs from: no field may leave its structure or overlap.
TEST(DevCodec, DescriptionsAgreeWithTheirLengths) {
    for (const FunctionDescription& function : functions()) {
        EXPECT_EQ(findFunction(function.name), &function);
        for (const ParameterDescription& parameter : function.parameters) {
            if (parameter.structure == nullptr) continue;
            EXPECT_EQ(parameter.structure->length, parameter.length)
                << function.name << ' ' << parameter.name;
            unsigned end = 0;
            for (const FieldDescription& field : parameter.structure->fields) {
                EXPECT_GE(field.offset, end) << field.name;
                end = field.offset + field.length;
            }
            EXPECT_LE(end, parameter.length) << function.name << ' ' << parameter.name;
        }
    }
}

}  // namespace
