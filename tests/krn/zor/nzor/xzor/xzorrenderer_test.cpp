// Structures and tables as XML, compared with documents written by hand.

#include <gtest/gtest.h>

#include "data/zorstructure.h"
#include "xzorfixture.h"

namespace {

using namespace datatest;
using namespace xzortest;

constexpr unsigned pointer = sizeof(void*);

TEST(XZorRenderer, WritesAFieldOfEveryType) {
    const struct {
        ZORTYPE type;
        unsigned length;
        unsigned decimals;
        const char* text;  ///< Written to the field; null leaves it initial.
        const char* element;
    } cases[] = {
        {ZORTYPE_CHAR, 5, 0, nullptr, "<F></F>"},
        {ZORTYPE_CHAR, 5, 0, " a ", "<F> a</F>"},
        {ZORTYPE_CHAR, 5, 0, "<&>", "<F>&#60;&#38;&#62;</F>"},
        {ZORTYPE_STRING, pointer, 0, nullptr, "<F></F>"},
        {ZORTYPE_STRING, pointer, 0, "trailing  ", "<F>trailing  </F>"},
        {ZORTYPE_STRING, pointer, 0, "\"'\t\r\n\x7F", "<F>\"'\t\r\n\x7F</F>"},
        {ZORTYPE_STRING, pointer, 0, "\x01\x08\x0B\x0C\x0E\x1F", "<F>&#01;&#08;&#11;&#12;&#14;&#31;</F>"},
        {ZORTYPE_STRING, pointer, 0, "\xC4<\xE4", "<F>\xC3\x84&#60;\xC3\xA4</F>"},
        {ZORTYPE_NUM, 5, 0, nullptr, "<F>00000</F>"},
        {ZORTYPE_NUM, 5, 0, "42", "<F>00042</F>"},
        {ZORTYPE_DATE, 8, 0, nullptr, "<F>0000-00-00</F>"},
        {ZORTYPE_DATE, 8, 0, "20240229", "<F>2024-02-29</F>"},
        {ZORTYPE_DATE, 8, 0, "<a><b&c>", "<F>&#60;a&#62;&#60;-b&#38;-c&#62;</F>"},
        {ZORTYPE_TIME, 6, 0, nullptr, "<F>00:00:00</F>"},
        {ZORTYPE_TIME, 6, 0, "235959", "<F>23:59:59</F>"},
        {ZORTYPE_BCD, 4, 2, nullptr, "<F>0.00</F>"},
        {ZORTYPE_BCD, 4, 2, "-1.5", "<F>-1.50</F>"},
        {ZORTYPE_BYTE, 4, 0, nullptr, "<F>AAAAAA==</F>"},
        {ZORTYPE_BYTE, 3, 0, "FFFE00", "<F>//4A</F>"},
        {ZORTYPE_XSTRING, pointer, 0, nullptr, "<F></F>"},
        {ZORTYPE_XSTRING, pointer, 0, "4D61", "<F>TWE=</F>"},
        {ZORTYPE_FLOAT, 8, 0, "-0.5", "<F>-0.5</F>"},
        {ZORTYPE_INT, 4, 0, "-2147483648", "<F>-2147483648</F>"},
        {ZORTYPE_INT1, 1, 0, "255", "<F>255</F>"},
        {ZORTYPE_INT2, 2, 0, "-1", "<F>-1</F>"},
        {ZORTYPE_INT8, 8, 0, "9223372036854775807", "<F>9223372036854775807</F>"},
        {ZORTYPE_DECF16, 8, 0, "1.50", "<F>1.50</F>"},
        {ZORTYPE_DECF34, 16, 0, "-1E+40", "<F>-1E+40</F>"},
        // These have no text form, and an object has none either.
        {ZORTYPE_UTCLONG, 8, 0, nullptr, "<F></F>"},
        {ZORTYPE_CDAY, 2, 0, nullptr, "<F></F>"},
        {ZORTYPE_UBIXOBJECT, pointer, 0, nullptr, "<F></F>"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.element + (" " + std::to_string(c.type)));
        OwnStructure record{{"F", c.type, c.length, c.decimals}};
        if (c.text != nullptr) setText(record, 0, c.text);
        EXPECT_EQ(rendered(record), "<P>" + std::string(c.element) + "</P>");
    }
}

TEST(XZorRenderer, EscapesNames) {
    const struct {
        const char* name;
        const char* tag;
    } cases[] = {
        {"A_Z9a", "A_Z9a"}, {"/NS/NAME", "_-NS_-NAME"}, {"1ST", "_--31ST"}, {"A-B", "A_--2DB"},
        {"\xC4", "_--C4"},  {"_-", "__--2D"},           {"9/", "_--39_-"},  {"%", "_--25"},
    };
    for (const auto& c : cases) {
        OwnStructure record{{c.name, ZORTYPE_INT1, 1}};
        const std::string tag = c.tag;
        EXPECT_EQ(rendered(record, c.name), "<" + tag + "><" + tag + ">0</" + tag + "></" + tag + ">");
    }
    OwnStructure nameless{{"", ZORTYPE_INT1, 1}};
    EXPECT_EQ(messageOf<ZorLumxException>([&] { rendered(nameless); }),
              "XmlRenderer::escapeTag: tag of length zero encounted");
}

TEST(XZorRenderer, WritesStructuresAndTablesWithinEachOther) {
    auto line = makeType({{"", ZORTYPE_STRING, pointer}}, "LINE");
    auto lines = makeType({{"", ZORTYPE_TABLE, pointer, 0, line.get()}}, "LINES");
    auto inner = makeType({{"A", ZORTYPE_INT, 4}, {"W", ZORTYPE_TABLE, pointer, 0, line.get()}}, "INNER");
    OwnStructure record{{"I", ZORTYPE_STRUCTURE, 32, 0, inner.get()},
                        {"T", ZORTYPE_TABLE, pointer, 0, inner.get()},
                        {"L", ZORTYPE_TABLE, pointer, 0, lines.get()}};
    EXPECT_EQ(rendered(record), "<P><I><A>0</A><W></W></I><T></T><L></L></P>");
    ZorTable* table = nullptr;
    record.getValue(1, &table, true);
    for (ZOR_INT i : {1, 2}) {
        table->appendNewRow().setValue(0, i);
        ZorTable* words = nullptr;
        table->getValue(1, &words, true);
        if (i == 1) {
            words->appendNewRow();
            setText(words->appendNewRow(), 0, "x");
        }
    }
    table->moveToFirstRow();
    record.getValue(2, &table, true);
    ZorTable* words = nullptr;
    table->appendNewRow().getValue(0, &words, true);
    setText(words->appendNewRow(), 0, "y");
    table->appendNewRow();
    const std::string document =
        "<P><I><A>0</A><W></W></I>"
        "<T><item><A>1</A><W><item></item><item>x</item></W></item><item><A>2</A><W></W></item></T>"
        "<L><item><item>y</item></item><item></item></L></P>";
    EXPECT_EQ(rendered(record), document);
    EXPECT_EQ(table->getCurrentIndex(), 1u) << "the cursor stays where it was";
    ZorTable rows(inner.get());
    EXPECT_EQ(rendered(rows, "ROWS"), "<ROWS></ROWS>");
}

TEST(XZorRenderer, ConvertsFromTheCodePageThatItIsTold) {
    const struct {
        const char* codepage;
        const char* text;
        const char* utf8;
    } cases[] = {
        {"1160", "\x80 1", "\xE2\x82\xAC 1"},        // Windows: euro sign
        {"1401", "\xA3\xF3", "\xC5\x81\xC3\xB3"},    // Latin 2
        {"8000", "\x93\xFA<", "\xE6\x97\xA5&#60;"},  // a sequence of two bytes
        {"0120", "\xC1\x4C\x81", "A&#60;a"},         // EBCDIC: what stands for markup there
        {"4110", "\xE2\x82\xAC&", "\xE2\x82\xAC&#38;"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.codepage);
        OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
        setText(record, 0, c.text);
        const std::string document = "<P><F>" + std::string(c.utf8) + "</F></P>";
        EXPECT_EQ(rendered(record, "P", c.codepage), document);
        setText(record, 0, "");
        for (size_t cut = 0; cut <= document.size(); ++cut) {
            parse(record, document, cut, c.codepage);
            EXPECT_EQ(getText(record, 0), c.text) << cut;
        }
    }
    OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
    setText(record, 0, "ab\xE3");  // begins a sequence that doesn't end
    EXPECT_EQ(messageOf<ZorCodepageConversionException>([&] { rendered(record, "P", "8000"); }).substr(0, 61),
              "XZorRenderer::writeCharAsIs: error at codepage conversion, rc");
}

TEST(XZorRenderer, CutsTheDocumentIntoItems) {
    OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
    constexpr size_t markup = sizeof "<P><F></F></P>" - 1;
    for (const size_t total : {size_t{16383}, size_t{16384}, size_t{16385}, size_t{50000}}) {
        SCOPED_TRACE(total);
        setText(record, 0, std::string(total - markup, 'x'));
        PiecesXmlOs os;
        XZorRenderer(os, converter("1100", "4110")).encode(record, "P");
        ASSERT_EQ(os.pieces.size(), (total + 16383) / 16384);
        for (size_t i = 0; i + 1 < os.pieces.size(); ++i)
            EXPECT_EQ(os.pieces[i].size(), 16384u);
        EXPECT_EQ(os.document().size(), total);
        EXPECT_EQ(os.closed, 1);
    }
    // A character of two bytes may be cut too.
    setText(record, 0, std::string(20000, '\xE4'));
    PiecesXmlOs os;
    XZorRenderer(os, converter("1100", "4110")).encode(record, "P");
    EXPECT_EQ(os.pieces[0].size(), 16384u);
    EXPECT_EQ(os.document().size(), 40000 + markup);
}

TEST(XZorRenderer, LongBinaryValuesArePiecedTogetherRightly) {
    ZorXString bytes(10000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<KEL_RAW>(i * 7);
    OwnStructure record{{"F", ZORTYPE_XSTRING, pointer}};
    record.setValue(0, bytes.data(), static_cast<unsigned>(bytes.size()), ZORTYPE_BYTE);
    std::string base64;
    Base64::encode(bytes, base64);
    EXPECT_EQ(rendered(record), "<P><F>" + base64 + "</F></P>");
}

TEST(XZorRenderer, RefusesBrokenContentAndTooDeepNesting) {
    OwnStructure broken{{"F", ZORTYPE_BCD, 2}};
    broken.getBuffer(0)[0] = 0xAA;
    EXPECT_EQ(messageOf<ZorTypeConversionException>([&] { rendered(broken); }),
              "Cannot convert byte value AA0C at position 0 for F of type ZORTYPE_BCD");
    auto type = makeType({{"F", ZORTYPE_INT1, 1}});
    for (int level = 0; level < 97; ++level)
        type = makeType({{"S", ZORTYPE_STRUCTURE, 16, 0, type.get()}});
    ZorStructure deepest(type.get());
    EXPECT_EQ(rendered(deepest).size(), 97 * 7 + 8u + 7u) << "99 elements within each other";
    auto table = makeType({{"", ZORTYPE_STRUCTURE, 16, 0, type.get()}});
    ZorTable rows(table.get());
    rows.appendNewRow();
    rendered(rows);
    auto outer = makeType({{"T", ZORTYPE_TABLE, pointer, 0, table.get()}});
    ZorStructure tooDeep(outer.get());
    ZorTable* child = nullptr;
    tooDeep.getValue(0, &child, true);
    child->appendNewRow();
    EXPECT_EQ(messageOf<ZorLumxException>([&] { rendered(tooDeep); }),
              "XZorRenderer: elements are nested more than 100 deep");
}

}  // namespace
