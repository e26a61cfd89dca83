// Documents into records: whole, cut at every byte, broken in every way.

#include <gtest/gtest.h>

#include "data/zorparameter.h"
#include "data/zorstructure.h"
#include "xzorfixture.h"

namespace {

using namespace datatest;
using namespace xzortest;

constexpr unsigned pointer = sizeof(void*);

ZorMetaDataRef<ZorRecordMetaData> sampleType() {
    auto word = makeType({{"", ZORTYPE_STRING, pointer}}, "WORD");
    auto row = makeType({{"NO", ZORTYPE_INT, 4}, {"WORDS", ZORTYPE_TABLE, pointer, 0, word.get()}}, "ROW");
    auto place = makeType({{"CITY", ZORTYPE_CHAR, 10}, {"ZIP", ZORTYPE_NUM, 5}}, "PLACE");
    return makeType({{"ID", ZORTYPE_INT, 4},
                     {"TEXT", ZORTYPE_STRING, pointer},
                     {"RAW", ZORTYPE_BYTE, 4},
                     {"DATA", ZORTYPE_XSTRING, pointer},
                     {"DAY", ZORTYPE_DATE, 8},
                     {"PLACE", ZORTYPE_STRUCTURE, 32, 0, place.get()},
                     {"ROWS", ZORTYPE_TABLE, pointer, 0, row.get()},
                     {"/X/1-2", ZORTYPE_CHAR, 5}},
                    "SAMPLE");
}

/** The content as a document that only tests see: short, and by another road than the parser's. */
std::string contentOf(ZorStructure& record) {
    return rendered(record);
}

TEST(XZorParser, ReadsTheSameHoweverItIsCut) {
    // White space within tags, empty elements, entities, names in small hexadecimal digits, fields out of
    // order and fields that aren't there.
    const std::string document =
        "<P "
        "><TEXT>a&#38;b\xC3\xA4&#60;</TEXT><ID\t>-5</ID\n><_-X_-1_--2d2>x</_-X_-1_--2d2><RAW>AQI=</RAW><DAY>"
        "2024-02-29</DAY><GONE>1</GONE><GONE2><ID>9</ID><Y/>&<Z><item>&#1</item></Z></GONE2><DATA/"
        "><PLACE><ZIP>7</ZIP>"
        "</PLACE><ROWS><item><NO>1</NO><WORDS><item>w</item><item/><item></item></WORDS></item><row/"
        "><item><WORDS/>"
        "<NO>3</NO></item></ROWS></P>";
    const std::string content =
        "<P><ID>-5</ID><TEXT>a&#38;b\xC3\xA4&#60;</TEXT><RAW>AQIAAA==</RAW><DATA></DATA><DAY>2024-02-29</"
        "DAY><PLACE>"
        "<CITY></CITY><ZIP>00007</ZIP></PLACE><ROWS><item><NO>1</NO><WORDS><item>w</item><item></"
        "item><item></item>"
        "</WORDS></item><item><NO>0</NO><WORDS></WORDS></item><item><NO>3</NO><WORDS></WORDS></item></ROWS>"
        "<_-X_-1_--2D2>x</_-X_-1_--2D2></P>";
    auto type = sampleType();
    for (size_t cut = 0; cut <= document.size(); ++cut) {
        ZorStructure record(type.get());
        parse(record, document, cut);
        ASSERT_EQ(contentOf(record), content) << "cut at " << cut;
    }
    // Over what was there before: nothing of it is left.
    ZorStructure record(type.get());
    parse(record, document);
    parse(record, "<P><ROWS><item/></ROWS><TEXT>t</TEXT><TEXT></TEXT></P>");
    parse(record, document);
    EXPECT_EQ(contentOf(record), content);
    parse(record, "<P/>");
    EXPECT_EQ(contentOf(record), contentOf(*std::make_unique<ZorStructure>(type.get())));
}

TEST(XZorParser, PutsTheCursorsOfTablesOnTheirFirstRows) {
    auto type = sampleType();
    ZorStructure record(type.get());
    parse(record, "<P><ROWS><item><WORDS><item>a</item><item>b</item></WORDS></item><item/></ROWS></P>");
    ZorTable* rows = nullptr;
    record.getValue(6, &rows, false);
    ASSERT_NE(rows, nullptr);
    EXPECT_EQ(rows->getCurrentIndex(), 0u);
    ZorTable* words = nullptr;
    rows->getValue(1, &words, false);
    ASSERT_NE(words, nullptr);
    EXPECT_EQ(words->getCurrentIndex(), 0u);
}

TEST(XZorParser, ReadsLinesOfEveryKindAndScalars) {
    auto number = makeType({{"", ZORTYPE_INT2, 2}}, "NUMBER");
    auto numbers = makeType({{"", ZORTYPE_TABLE, pointer, 0, number.get()}}, "NUMBERS");
    auto pair = makeType({{"A", ZORTYPE_INT1, 1}}, "PAIR");
    auto pairs = makeType({{"", ZORTYPE_STRUCTURE, 16, 0, pair.get()}}, "PAIRS");
    const struct {
        ZorRecordMetaData* rowType;
        const char* document;
    } cases[] = {
        {number.get(), "<T><item>-3</item><item>0</item></T>"},
        {numbers.get(), "<T><item><item>1</item></item><item></item></T>"},
        {pairs.get(), "<T><item><A>1</A></item><item><A>0</A></item></T>"},
    };
    for (const auto& c : cases) {
        ZorTable table(c.rowType);
        parse(table, c.document);
        EXPECT_EQ(rendered(table, "T"), c.document);
    }
    ZorParameterFieldType field;
    field.name = "S";
    field.type = ZORTYPE_STRING;
    field.direction = ZOR_EXPORT;
    field.length1 = pointer;
    ZorParameter scalar(field);
    for (const std::string text : {"some text", ""}) {
        parse(scalar, "<S>" + text + "</S>");
        EXPECT_EQ(getText(scalar, 0), text);
    }
}

TEST(XZorParser, EntitiesAreTwoDigitsAndNothingElse) {
    OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
    const struct {
        const char* utf8;
        const char* text;
    } cases[] = {
        {"&#60;&#38;&#62;", "<&>"},
        {"&#01;&#31;", "\x01\x1F"},
        {"&#38;#60;", "&#60;"},
        {"&lt;&amp;", "&lt;&amp;"},
        {"&#7;", "&#7;"},
        {"&#100;", "&#100;"},
        {"&#6", "&#6"},
        {"&#", "&#"},
        {"&#&#60;", "&#<"},
        {"&", "&"},
        {"a>b", "a>b"},
        {"&#99;", "c"},
    };
    for (const auto& c : cases) {
        parse(record, "<P><F>" + std::string(c.utf8) + "</F></P>");
        EXPECT_EQ(getText(record, 0), c.text) << c.utf8;
    }
}

TEST(XZorParser, SaysWhatIsWrong) {
    const struct {
        const char* document;
        const char* message;
    } cases[] = {
        {"x", "Parameter  Expecting a tag to begin with '<' instead of 'x'"},
        {"<P> <ID>", "Parameter P Expecting a tag to begin with '<' instead of ' '"},
        {"<>", "Parameter : A tag name cannot be empty, found '<>' in \"<>\""},
        {"<P></>", "Parameter P: A tag name cannot be empty, found '</>' in \"</>\""},
        {"<P>< ID>", "Parameter P: A tag name cannot start with ' ' in \"< \""},
        {"<P><I\"D>", "Parameter P: A tag name cannot start with '\"' in \"<I\"\""},
        {"<P><&ID>", "Parameter P: A tag name cannot start with '&' in \"<&\""},
        {"<P><ID'>", "Parameter P: A tag name cannot start with ''' in \"<ID'\""},
        {"<P><ID<", "Parameter P: A tag name cannot start with '<' in \"<ID<\""},
        {"<P><ID/x>", "Parameter P: Found something between '/' and '>' in empty tag in \"<IDx\""},
        {"<P><ID a=\"1\">", "Parameter P: Found something between the name and '>' in \"<IDa\""},
        {"<P><ID>1<TEXT>",
         "Parameter P: After a value an end tag must follow. That did not happen in \"<T\""},
        {"<P></P>x", "Parameter P: Found 'x' behind the end of the document"},
        {"<P/><P/>", "Parameter P: Found '<' behind the end of the document"},
        {"</P>", "Parameter : Found an end tag without its begin tag in \"</>\""},
        {"<P><A_--G1>", "Illegal escape sequence \"_--G1\" in parameter P\" encountered"},
        {"<P><A_--4>", "Illegal escape sequence \"_--4\" in parameter P\" encountered"},
        {"<P><RAW>A</RAW>", "Error during Base64 decoding"},
        {"<P><DATA>QUJ\xC3</DATA>", "Error during Base64 decoding"},
        {"<", "XZOR document incomplete for parameter  (). Check TSL ZOR protocol traces."},
        {"<P", "XZOR document incomplete for parameter  (). Check TSL ZOR protocol traces."},
        {"<P>", "XZOR document incomplete for parameter P (SAMPLE). Check TSL ZOR protocol traces."},
        {"<P><GONE><A>", "XZOR document incomplete for parameter P (SAMPLE). Check TSL ZOR protocol traces."},
        {"<P><ID>1</ID></P",
         "XZOR document incomplete for parameter P (SAMPLE). Check TSL ZOR protocol traces."},
    };
    auto type = sampleType();
    for (const auto& c : cases)
        for (size_t cut = 0; cut <= std::strlen(c.document); ++cut) {
            ZorStructure record(type.get());
            EXPECT_EQ(messageOf<ZorXmlParserException>([&] { parse(record, c.document, cut); }), c.message)
                << c.document << " cut at " << cut;
        }
    OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
    EXPECT_NE(messageOf<ZorCodepageConversionException>([&] { parse(record, "<P><F>\xC3(</F></P>"); }), "");
}

TEST(XZorParser, BoundsNamesAndNesting) {
    auto type = sampleType();
    ZorStructure record(type.get());
    const std::string longest(660, 'N');
    parse(record, "<P><" + longest + ">1</" + std::string(100000, 'N') + "><ID>3</ID></P>");
    EXPECT_EQ(getInt(record, 0), 3);
    EXPECT_EQ(messageOf<ZorXmlParserException>([&] { parse(record, "<P><" + longest + "N>"); }).substr(0, 53),
              "Parameter P: A tag name is longer than 660 bytes in \"");
    // Elements that nobody wants nest no deeper than the others.
    const auto nested = [](unsigned depth) {
        std::string document = "<P>";
        for (unsigned i = 1; i < depth; ++i)
            document += "<X>";
        for (unsigned i = 1; i < depth; ++i)
            document += "</X>";
        return document + "</P>";
    };
    parse(record, nested(100));
    EXPECT_EQ(messageOf<ZorXmlParserException>([&] { parse(record, nested(101)); }),
              "Parameter P: Elements are nested more than 100 deep");
}

TEST(XZorParser, ADocumentThatNobodyWantsIsntParsed) {
    OneRoot root(nullptr);
    XZorParser parser(root, converter("4110", "1100"));
    const std::string document = "<_-A_-B>< not a document";
    parser.parse({reinterpret_cast<const KEL_RAW*>(document.data()), document.size()});
    EXPECT_EQ(root.asked, "/A/B");
    EXPECT_TRUE(parser.isUnwanted());
    parser.setFinished();
}

TEST(XZorParser, ASmallPieceOfAHugeValueCostsLittle) {
    // A value in pieces of one byte each is put together once, not once for each piece.
    OwnStructure record{{"F", ZORTYPE_STRING, pointer}};
    OneRoot root(&record);
    XZorParser parser(root, converter("4110", "1100"));
    const std::string document = "<P><F>" + std::string(2000000, 'v') + "</F></P>";
    for (const char& byte : document)
        parser.parse({reinterpret_cast<const KEL_RAW*>(&byte), 1});
    parser.setFinished();
    EXPECT_EQ(record.getStringLength(0), 2000000u);
}

}  // namespace
