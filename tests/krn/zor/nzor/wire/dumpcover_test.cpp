// What a dump shows of items that pass in blocks cut anywhere.

#include <gtest/gtest.h>

#include <algorithm>

#include "data/zorfunction.h"
#include "memorystream.h"
#include "meta/zorfunctionmetadata.h"
#include "meta/zorrecordmetadata.h"
#include "wire/zordumpcover.h"

namespace {

using Records = ZorMetaDataRef<ZorRecordMetaData>;

Records record(const char* name, const char* field, ZorRecordMetaData* inner = nullptr) {
    auto made = ZorMetaDataStatics::createMetaData<ZorRecordMetaData>(name, "test", 2, false);
    made->add(field, inner != nullptr ? ZORTYPE_STRUCTURE : ZORTYPE_CHAR, 4, 0, 0, 0, 0, inner);
    made->setRecordLength(4, 0);
    return made;
}

/** A function whose secrets, if it has any, are a field, a structure and a table with such a field within. */
std::unique_ptr<ZorFunction> function(bool secrets) {
    auto meta = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("TEST", "test", 8, false);
    const Records open = record("OPEN_LINE", "TEXT");
    meta->add("NAME", ZORTYPE_CHAR, ZOR_IMPORT, 4, 0, 0);
    meta->add("LINES", ZORTYPE_TABLE, ZOR_TABLES, 4, 0, 0, open.get());
    if (secrets) {
        const Records inner = record("LOGON", "PassWord");
        const Records outer = record("OUTER", "LOGON", inner.get());
        meta->add("PASSWD", ZORTYPE_CHAR, ZOR_IMPORT, 4, 0, 0);
        meta->add("WITHIN", ZORTYPE_STRUCTURE, ZOR_IMPORT, 4, 0, 0, outer.get());
        meta->add("SECRETS", ZORTYPE_TABLE, ZOR_TABLES, 4, 0, 0, inner.get());
    }
    return std::make_unique<ZorFunction>(*meta);
}

/** Items as they travel, and as a dump shows them. */
struct Items {
    Bytes sent, shown;

    Items& open(unsigned id, std::string_view payload) { return add(item(id, payload), item(id, payload)); }
    Items& covered(unsigned id, std::string_view payload) {
        return add(item(id, payload), item(id, std::string(payload.size(), '*')));
    }
    Items& add(const Bytes& travelling, const Bytes& dumped) {
        sent = joined({sent, travelling});
        shown = joined({shown, dumped});
        return *this;
    }
};

/** The message in two blocks, with the border at every place. */
void expectShown(const Items& items, bool incoming, const ZorFunction* travelling) {
    ZorDumpCover cover(incoming);
    for (std::size_t cut = 0; cut <= items.sent.size(); ++cut) {
        Bytes block = items.sent;
        cover.cover(std::span(block).first(cut), 0, travelling);
        cover.cover(std::span(block).subspan(cut), 1, travelling);
        ASSERT_EQ(block, items.shown) << "cut at " << cut;
    }
}

TEST(DumpCover, ValuesWithASecretNameInThem) {
    Items items;
    items.open(ZORID_FunctionName, "TEST").open(ZORID_FieldName, "NAME").open(ZORID_FieldValue, "NORA");
    items.open(ZORID_FieldName, "PASSWD").covered(ZORID_FieldValue, "oops");
    items.open(ZORID_FieldName, "WITHIN").covered(ZORID_FieldValue, "oops");
    items.open(ZORID_FieldName, "UNKNOWN").covered(ZORID_FieldValue, "what");
    items.open(ZORID_FieldName, "").covered(ZORID_FieldValue, "what");
    items.open(ZORID_FieldName, "NAME").open(ZORID_FieldValue, "").covered(ZORID_FieldValueScr, "scrm");
    items.open(ZORID_TableName, "LINES").open(ZORID_TableInfo, "12345678");
    items.open(ZORID_TableContent, "ROW1").open(ZORID_TableCompr, "R").open(ZORID_TableContLZ, "lz");
    items.open(ZORID_TableName, "SECRETS").open(ZORID_TableInfo, "12345678");
    items.covered(ZORID_TableContent, "ROW1").covered(ZORID_TableCompr, "R").covered(ZORID_TableContLZ, "lz");
    items.open(ZORID_DeltaLogMore, "123456789012").covered(ZORID_DeltaData, "ROW1");
    items.open(ZORID_DeltaFull, "123456789012").covered(ZORID_TableContent, "ROW1");
    items.covered(ZORID_XMLData, "<NAME>").open(ZORID_XMLParameter, "");
    items.covered(ZORID_Sso2, "ticket").covered(ZORID_ScramblePW, "pw").open(ZORID_End, "");
    const auto call = function(true);
    expectShown(items, false, call.get());
}

TEST(DumpCover, AFunctionWithoutSecretsShowsWhatIsNamedByNumber) {
    Items items;
    items.open(ZORID_DeltaLogMore, "123456789012").open(ZORID_DeltaData, "ROW1");
    items.open(ZORID_DeltaFull, "123456789012").open(ZORID_TableContent, "ROW1");
    items.open(ZORID_XMLData, "<NAME>").open(ZORID_FieldName, "NAME").open(ZORID_FieldValue, "NORA");
    const auto call = function(false);
    expectShown(items, true, call.get());
}

TEST(DumpCover, ACallOfThePartnerAndOneThatNobodyKnowsShowNoValues) {
    Items items;
    items.open(ZORID_FunctionName, "TEST").open(ZORID_FieldName, "NAME").covered(ZORID_FieldValue, "NORA");
    items.open(ZORID_TableName, "LINES").covered(ZORID_TableContent, "ROW1").covered(ZORID_XMLData, "<A>");
    const auto call = function(false);
    expectShown(items, true, call.get());
    expectShown(items, false, nullptr);
}

TEST(DumpCover, LongPayloads) {
    const Bytes head = {0x02, 0x03, 0xFF, 0xFF, 0x00, 0x01, 0x00, 0x00}, tail = {0x02, 0x03};
    Items items;
    items.open(ZORID_FieldName, "PASSWD");
    items.add(joined({head, Bytes(0x10000, 'x'), tail}), joined({head, Bytes(0x10000, '*'), tail}));
    items.open(ZORID_FieldName, "NAME").open(ZORID_FieldValue, "NORA");
    const auto call = function(true);
    ZorDumpCover cover(false);
    for (const std::size_t size : {1u, 7u, 28000u}) {
        Bytes block = items.sent;
        unsigned number = 0;
        for (std::size_t at = 0; at < block.size(); at += size)
            cover.cover(std::span(block).subspan(at, std::min(size, block.size() - at)), number++,
                        call.get());
        EXPECT_EQ(block, items.shown) << size;
    }
}

TEST(DumpCover, NothingShowsOnceTheItemsAreLost) {
    const auto call = function(false);
    const Bytes message = joined({item(ZORID_FieldName, "NAME"), item(ZORID_FieldValue, "NORA")});
    ZorDumpCover cover(false);
    const auto shown = [&](Bytes block, unsigned number) {
        cover.cover(block, number, call.get());
        return block;
    };
    const Bytes stars(message.size(), '*');
    EXPECT_EQ(shown(message, 1), stars) << "the message began before";
    EXPECT_EQ(shown(message, 0), message);
    EXPECT_EQ(shown(message, 2), stars) << "a block was missed";
    EXPECT_EQ(shown(message, 3), stars);
    const Bytes unlike = {0x02, 0x01, 0x00, 0x01, 'N', 0x02, 0x03};
    EXPECT_EQ(shown(joined({unlike, message}), 0), joined({unlike, stars})) << "another closing identifier";
    EXPECT_EQ(shown(message, 1), stars);
    EXPECT_EQ(shown(message, 0), message);
}

}  // namespace
