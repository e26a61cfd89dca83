// The trace of the field accessors: nothing below level 3, arguments and values from there on, and never
// the value of a password.

#include <gtest/gtest.h>
#include <kelzor/data.h>

#include "data/zorstructure.h"
#include "krn/zor/nzor/config/process_fixture.h"
#include "krn/zor/nzor/data/datafixture.h"
#include "trace/zortrace.h"

namespace {

class FieldTrace : public ProcessFixture {
  protected:
    void TearDown() override {
        ZorConfig::setGlobalTraceLevel(0);
        ProcessFixture::TearDown();
    }

    /** The trace of some work on a structure that was made at a level. */
    template <class Work>
    std::string traceAt(unsigned level, const Work& work) {
        ZorConfig::setGlobalTraceLevel(level);
        ZorStructure record(datatest::makeType({{"COUNT", ZORTYPE_INT, 4},
                                                {"NAME", ZORTYPE_CHAR, 4},
                                                {"PASSWORD", ZORTYPE_CHAR, 8},
                                                {"PassWd", ZORTYPE_INT, 4},
                                                {"DECF", ZORTYPE_DECF34, 16},
                                                {"PASSWORD2", ZORTYPE_DECF16, 8}})
                                .get());
        work(record.toHandle());
        const std::string trace = readFile(directory / ZorTrace::getFileName());
        return trace;
    }

    static bool contains(const std::string& text, const std::string& part) {
        return text.find(part) != text.npos;
    }
};

TEST_F(FieldTrace, WritesNothingBelowLevelThree) {
    const std::string trace = traceAt(2, [](auto record) {
        ZOR_INT value = 0;
        ZorSetInt(record, "COUNT", 42, nullptr);
        ZorGetInt(record, "COUNT", &value, nullptr);
    });
    EXPECT_FALSE(contains(trace, "ZorSetInt"));
    EXPECT_FALSE(contains(trace, "ZorGetInt"));
}

TEST_F(FieldTrace, ShowsArgumentsAndValues) {
    const std::string trace = traceAt(3, [](auto record) {
        ZOR_INT value = 0;
        ZOR_CHAR text[4];
        ZorSetInt(record, "COUNT", 42, nullptr);
        ZorGetInt(record, "COUNT", &value, nullptr);
        ZorGetIntByIndex(record, 0, &value, nullptr);
        ZorGetInt(record, nullptr, &value, nullptr);
        ZorSetChars(record, "NAME", "Zab7", 4, nullptr);
        ZorGetCharsByIndex(record, 1, text, 4, nullptr);
    });
    EXPECT_TRUE(contains(trace, ">> ZorSetInt\n")) << trace;
    EXPECT_TRUE(contains(trace, ", \"COUNT\", value=42, errorInfo=")) << trace;
    EXPECT_TRUE(contains(trace, "ZorGetInt(COUNT) returns 42")) << trace;
    EXPECT_TRUE(contains(trace, "ZorGetIntByIndex(0) returns 42")) << trace;
    EXPECT_TRUE(contains(trace, ", NULL, pval=")) << trace;
    EXPECT_TRUE(contains(trace, "<< ZorGetInt returned ZOR_OK")) << trace;
    EXPECT_TRUE(contains(trace, "ZorSetChars(NAME) buffer:")) << trace;
    EXPECT_TRUE(contains(trace, "ZorGetCharsByIndex(1) buffer:")) << trace;
    EXPECT_TRUE(contains(trace, "Zab7")) << trace;
}

TEST_F(FieldTrace, ShowsTheQueryOfADescriptionBeforeItsChecks) {
    const std::string trace = traceAt(1, [](auto record) {
        EXPECT_NE(ZorDescribeType(record, nullptr), nullptr);
        EXPECT_EQ(ZorDescribeType(nullptr, nullptr), nullptr);
    });
    EXPECT_TRUE(contains(trace, ">> ZorDescribeType\nZorDescribeType(0x")) << trace;
    EXPECT_TRUE(contains(trace, ">> ZorDescribeType\nZorDescribeType((nil), errorInfo=(nil))\n<<")) << trace;
}

TEST_F(FieldTrace, ShowsDecimalsAsText) {
    const std::string trace = traceAt(3, [](auto record) {
        ZOR_DECF34 value;
        ZOR_DECF16 secret;
        EXPECT_EQ(ZorSetChars(record, "DECF", "-7.50", 5, nullptr), ZOR_OK);
        EXPECT_EQ(ZorGetDecF34(record, "DECF", &value, nullptr), ZOR_OK);
        EXPECT_EQ(ZorSetDecF34ByIndex(record, 4, value, nullptr), ZOR_OK);
        EXPECT_EQ(ZorSetChars(record, "PASSWORD2", "271828", 6, nullptr), ZOR_OK);
        EXPECT_EQ(ZorGetDecF16(record, "PASSWORD2", &secret, nullptr), ZOR_OK);
        EXPECT_EQ(ZorSetDecF16(record, "PASSWORD2", secret, nullptr), ZOR_OK);
    });
    EXPECT_TRUE(contains(trace, "ZorGetDecF34(DECF) returns -7.50")) << trace;
    EXPECT_TRUE(contains(trace, ", 4, value=-7.50, errorInfo=")) << trace;
    EXPECT_TRUE(contains(trace, "ZorGetDecF16(PASSWORD2) returns ***")) << trace;
    EXPECT_FALSE(contains(trace, "271828")) << trace;
    EXPECT_TRUE(contains(trace, "Version of libdecnumber library: 3.")) << trace;
}

TEST_F(FieldTrace, NeverShowsAPassword) {
    const std::string trace = traceAt(3, [](auto record) {
        ZOR_INT value = 0;
        ZOR_CHAR text[8];
        ZorSetChars(record, "PASSWORD", "Secr3t", 6, nullptr);
        ZorSetCharsByIndex(record, 2, "Secr3t", 6, nullptr);
        ZorGetCharsByIndex(record, 2, text, 8, nullptr);
        ZorSetInt(record, "PassWd", 918273, nullptr);
        ZorSetIntByIndex(record, 3, 918273, nullptr);
        ZorGetIntByIndex(record, 3, &value, nullptr);
    });
    EXPECT_TRUE(contains(trace, "ZorSetChars")) << trace;
    EXPECT_TRUE(contains(trace, "value=***")) << trace;
    EXPECT_FALSE(contains(trace, "Secr3t")) << trace;
    EXPECT_FALSE(contains(trace, "53656372")) << trace;  // the same in hexadecimal
    EXPECT_FALSE(contains(trace, "918273")) << trace;
}

TEST_F(FieldTrace, AFunctionShowsItsValuesButNoSecret) {
    ZorConfig::setGlobalTraceLevel(3);
    const auto row = datatest::makeType({{"USER", ZORTYPE_CHAR, 8}, {"PASSWORD", ZORTYPE_CHAR, 8}});
    const auto desc = ZorMetaDataStatics::createMetaData<ZorFunctionMetaData>("F", "custom", 5, false);
    desc->add("NAME", ZORTYPE_CHAR, ZOR_IMPORT, 8, 16, 0);
    desc->add("NEW_PASSWORD", ZORTYPE_CHAR, ZOR_IMPORT, 8, 16, 0);
    desc->add("ACCOUNTS", ZORTYPE_TABLE, ZOR_TABLES, sizeof(void*), sizeof(void*), 0, row.get());
    desc->add("PASSWORDS", ZORTYPE_TABLE, ZOR_TABLES, sizeof(void*), sizeof(void*), 0, row.get());
    ZorFunction function(*desc);
    datatest::setText(function, 0, "seen1");
    datatest::setText(function, 1, "hidden1");
    for (const unsigned index : {2u, 3u}) {
        ZorTable* table = nullptr;
        function.getValue(index, &table, true);
        ZorStructure& account = table->appendNewRow();
        datatest::setText(account, 0, index == 2 ? "seen2" : "hidden2");
        datatest::setText(account, 1, "hidden3");
    }
    ZorTraceObject(function);
    const std::string trace = readFile(directory / ZorTrace::getFileName());
    for (const char* line : {"NAME: seen1", "NEW_PASSWORD: ***", "ACCOUNTS[0].USER: seen2",
                             "ACCOUNTS[0].PASSWORD: ***", "PASSWORDS[0].USER: ***"})
        EXPECT_TRUE(contains(trace, line)) << line << "\nin\n" << trace;
    EXPECT_FALSE(contains(trace, "hidden")) << trace;
}

}  // namespace
