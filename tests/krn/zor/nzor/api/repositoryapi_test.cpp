// The exported functions of repositories and of query results, as a caller sees them.

#include <gtest/gtest.h>
#include <kelzor.h>

#include <cstring>
#include <functional>
#include <string>

#include "krn/zor/nzor/config/process_fixture.h"
#include "repository/repositorylookupresult.h"

namespace {

using std::string;

/** What a call said: "code group key: message", or "0". */
template <class Call>
string said(const Call& call) {
    ZOR_ERROR_INFO info;
    std::memset(&info, 0, sizeof info);
    (void)call(&info);
    if (info.code == ZOR_OK) return "0";
    return std::to_string(info.code) + " " + std::to_string(info.group) + " " + info.key + ": " +
           info.message;
}

ZOR_TYPE_DESC_HANDLE newType(const char* name) {
    const auto type = ZorCreateTypeDesc(name, nullptr);
    ZOR_FIELD_DESC field{};
    std::strcpy(field.name, "A");
    field.type = ZORTYPE_CHAR;
    field.nucLength = 4;
    ZorAddTypeField(type, &field, nullptr);
    ZorSetTypeLength(type, 4, 0, nullptr);
    return type;
}

ZOR_FUNCTION_DESC_HANDLE newFunction(const char* name, ZOR_TYPE_DESC_HANDLE rows) {
    const auto function = ZorCreateFunctionDesc(name, nullptr);
    ZOR_PARAMETER_DESC parameter{};
    std::strcpy(parameter.name, "ROWS");
    parameter.type = ZORTYPE_TABLE;
    parameter.direction = ZOR_TABLES;
    parameter.nucLength = 4;
    parameter.typeDescHandle = rows;
    ZorAddParameter(function, &parameter, nullptr);
    return function;
}

class RepositoryApi : public ProcessFixture {
  protected:
    void TearDown() override {
        for (const char* id : {"", "SYS"})
            ZorClearRepository(id, nullptr);
        ZorConfig::setGlobalTraceLevel(0);
        ProcessFixture::TearDown();
    }
};

TEST_F(RepositoryApi, NamesAreNeeded) {
    const struct {
        const char* label;
        std::function<void(const char*, ZOR_ERROR_INFO*)> calls[2];
    } rows[] = {
        {"Type name",
         {[](auto* name, auto* e) { EXPECT_EQ(ZorGetCachedTypeDesc("SYS", name, e), nullptr); },
          [](auto* name, auto* e) { EXPECT_EQ(ZorRemoveTypeDesc("SYS", name, e), ZOR_INVALID_PARAMETER); }}},
        {"Function name",
         {[](auto* name, auto* e) { EXPECT_EQ(ZorGetCachedFunctionDesc("SYS", name, e), nullptr); },
          [](auto* name, auto* e) {
              EXPECT_EQ(ZorRemoveFunctionDesc("SYS", name, e), ZOR_INVALID_PARAMETER);
          }}},
        {"Class name",
         {[](auto* name, auto* e) { EXPECT_EQ(ZorGetCachedClassDesc("SYS", name, e), nullptr); },
          [](auto* name, auto* e) { EXPECT_EQ(ZorRemoveClassDesc("SYS", name, e), ZOR_INVALID_PARAMETER); }}},
    };
    for (const auto& row : rows)
        for (const auto& call : row.calls) {
            const auto with = [&](const char* name) {
                return said([&](auto* e) { return call(name, e), 0; });
            };
            EXPECT_EQ(with(nullptr), string("20 5 ZOR_INVALID_PARAMETER: Invalid parameter '") + row.label +
                                         "' was passed to the API call");
            EXPECT_EQ(with(""),
                      string("20 6 ZOR_INVALID_PARAMETER: Parameter \"") + row.label + "\" is empty");
        }
}

TEST_F(RepositoryApi, AMissSpeaksOfATypeWhateverWasAskedFor) {
    const string miss = "17 5 ZOR_NOT_FOUND: Type X not found";
    EXPECT_EQ(said([](auto* e) { return ZorGetCachedTypeDesc("SYS", "X", e); }), miss);
    EXPECT_EQ(said([](auto* e) { return ZorGetCachedFunctionDesc("SYS", "X", e); }), miss);
    EXPECT_EQ(said([](auto* e) { return ZorGetCachedClassDesc(nullptr, "X", e); }), miss);
    EXPECT_EQ(said([](auto* e) { return ZorRemoveTypeDesc("SYS", "X", e); }), "0");
    EXPECT_EQ(said([](auto* e) { return ZorRemoveFunctionDesc("SYS", "X", e); }), "0");
    EXPECT_EQ(said([](auto* e) { return ZorRemoveClassDesc("SYS", "X", e); }), "0");
    EXPECT_EQ(said([](auto* e) { return ZorClearRepository("SYS", e); }), "0");
}

TEST_F(RepositoryApi, WhatIsAddedBelongsToTheRepository) {
    const auto type = newType("ROW");
    const auto function = newFunction("F", type);
    const auto clas = ZorCreateClassDesc("C", nullptr);
    EXPECT_EQ(said([&](auto* e) { return ZorAddFunctionDesc(nullptr, function, e); }), "0");
    EXPECT_EQ(said([&](auto* e) { return ZorAddFunctionDesc("", function, e); }), "0");
    EXPECT_EQ(said([&](auto* e) { return ZorAddTypeDesc("", type, e); }), "0");
    EXPECT_EQ(said([&](auto* e) { return ZorAddClassDesc("", clas, e); }), "0");
    EXPECT_EQ(ZorGetCachedFunctionDesc("", "F", nullptr), function);
    EXPECT_EQ(ZorGetCachedTypeDesc(nullptr, "ROW", nullptr), type);
    EXPECT_EQ(ZorGetCachedClassDesc("", "C", nullptr), clas);
    EXPECT_EQ(ZorGetCachedTypeDesc("SYS", "ROW", nullptr), nullptr);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(type, e); }),
              "19 5 ZOR_ILLEGAL_STATE: The instance either removed or cached in a repository.");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyFunctionDesc(function, e); }),
              "19 5 ZOR_ILLEGAL_STATE: The instance is either removed or cached in a repository.");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyClassDesc(clas, e); }),
              "19 5 ZOR_ILLEGAL_STATE: The instance was either removed or is cached in a repository.");
    ZOR_FIELD_DESC field{};
    EXPECT_EQ(ZorAddTypeField(type, &field, nullptr), ZOR_ILLEGAL_STATE);
}

TEST_F(RepositoryApi, ATakenNameIsRefused) {
    const string text = " is already stored in the cache SYS";
    const auto type = newType("ROW");
    ZorAddTypeDesc("SYS", type, nullptr);
    const auto other = newType("ROW");
    EXPECT_EQ(said([&](auto* e) { return ZorAddTypeDesc("SYS", other, e); }),
              "20 5 ZOR_INVALID_PARAMETER: The type meta data ROW" + text);
    EXPECT_EQ(ZorGetCachedTypeDesc("SYS", "ROW", nullptr), type);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(other, e); }), "0");

    ZorAddFunctionDesc("SYS", newFunction("F", type), nullptr);
    const auto function = newFunction("F", type);
    EXPECT_EQ(said([&](auto* e) { return ZorAddFunctionDesc("SYS", function, e); }),
              "20 5 ZOR_INVALID_PARAMETER: The function meta data F" + text);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyFunctionDesc(function, e); }), "0");

    ZorAddClassDesc("SYS", ZorCreateClassDesc("C", nullptr), nullptr);
    const auto clas = ZorCreateClassDesc("C", nullptr);
    EXPECT_EQ(said([&](auto* e) { return ZorAddClassDesc("SYS", clas, e); }),
              "20 5 ZOR_INVALID_PARAMETER: The class meta data C" + text);
    EXPECT_EQ(
        said([&](auto* e) { return ZorAddTypeDesc("SYS", reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(clas), e); }),
        "13 5 ZOR_INVALID_HANDLE: An invalid handle was passed to the API call");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyClassDesc(clas, e); }), "0");
}

TEST_F(RepositoryApi, HandlesThatAreNoneAreRefused) {
    const auto needs = [](const char* label) {
        return string("20 5 ZOR_INVALID_PARAMETER: Invalid parameter '") + label +
               "' was passed to the API call";
    };
    EXPECT_EQ(said([](auto* e) { return ZorAddTypeDesc("SYS", nullptr, e); }), needs("ZOR_TYPE_DESC_HANDLE"));
    EXPECT_EQ(said([](auto* e) { return ZorAddFunctionDesc("SYS", nullptr, e); }),
              needs("ZOR_FUNCTION_DESC_HANDLE"));
    EXPECT_EQ(said([](auto* e) { return ZorAddClassDesc("SYS", nullptr, e); }),
              needs("ZOR_CLASS_DESC_HANDLE"));
    const auto type = newType("ROW");
    EXPECT_EQ(said([&](auto* e) {
                  return ZorAddFunctionDesc("SYS", reinterpret_cast<ZOR_FUNCTION_DESC_HANDLE>(type), e);
              }),
              "13 5 ZOR_INVALID_HANDLE: An invalid handle was passed to the API call");
    ZorDestroyTypeDesc(type, nullptr);
    char text[120];
    std::snprintf(text, sizeof text,
                  "20 5 ZOR_INVALID_PARAMETER: ZOR_TYPE_DESC_HANDLE handle  %p was already removed",
                  static_cast<void*>(type));
    EXPECT_EQ(said([&](auto* e) { return ZorAddTypeDesc("SYS", type, e); }), text);
}

TEST_F(RepositoryApi, ContainersOutliveTheRepository) {
    const auto type = newType("ROW");
    const auto function = newFunction("F", type);
    ZorAddFunctionDesc("SYS", function, nullptr);
    const auto container = ZorCreateFunction(function, nullptr);
    EXPECT_EQ(ZorRemoveTypeDesc("SYS", "ROW", nullptr), ZOR_OK);
    unsigned count = 0;
    EXPECT_EQ(ZorGetFieldCount(type, &count, nullptr), ZOR_OK);
    EXPECT_EQ(ZorClearRepository("SYS", nullptr), ZOR_OK);
    ZOR_TABLE_HANDLE table = nullptr;
    EXPECT_EQ(ZorGetTable(container, "ROWS", &table, nullptr), ZOR_OK);
    EXPECT_NE(ZorAppendNewRow(table, nullptr), nullptr);
    EXPECT_EQ(ZorDestroyFunction(container, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetParameterCount(function, &count, nullptr), ZOR_INVALID_PARAMETER);
}

TEST_F(RepositoryApi, TheLevelIsThatOfTheDestination) {
    configure("DEST=SYS\nTRACE=2\nDEST=QUIET\nTRACE=0\n");
    ZorConfig::setGlobalTraceLevel(1);
    ZorAddFunctionDesc("SYS", newFunction("F", nullptr), nullptr);
    ZorGetCachedFunctionDesc("SYS", "F", nullptr);
    ZorGetCachedFunctionDesc("QUIET", "HIDDEN", nullptr);
    ZorClearRepository("SYS", nullptr);
    const string trace = readFile(directory / ZorTrace::getFileName());
    for (const char* part :
         {">> ZorAddFunctionDesc\n", "Repository::addFunctionDescToCache(0x",
          "\t name=F (origin=custom) with 1 parameters",
          "\t parameter 0 (ROWS, ZORTYPE_TABLE, ZOR_TABLES, 4, 4, 0, (nil), , , 0, (nil))",
          "ZorRepository: add function (F) to cache SYS", "(F) to cache SYS, cached (nil) ()",
          "ZorGetCachedFunctionDesc(F) from repository SYS\n",
          "ZorGetCachedFunctionDesc(F) from repository SYS returned 0x",
          "ZorRepository: return the existing cache SYS", "ZorRepository: clear cache SYS"})
        EXPECT_NE(trace.find(part), trace.npos) << part << "\n" << trace;
    EXPECT_EQ(trace.find("HIDDEN"), trace.npos);
}

TEST(MetadataQueryResult, GivesWhatTheQueryPutIn) {
    const auto handle = ZorCreateMetadataQueryResult(nullptr);
    auto& result = RepositoryLookupResult::fromHandle(handle);
    const string reason(600, 'r');
    result.add(RepositoryLookupResult::TYPE, "T1");
    result.add(RepositoryLookupResult::TYPE, string(31, 'T'));
    result.add(RepositoryLookupResult::CLASS, string(31, 'C'), &reason);
    result.add(static_cast<RepositoryLookupResult::ElementType>(3), "NONE");
    const struct {
        int type;
        unsigned succeeded, failed;
    } rows[] = {
        {ZOR_METADATA_FUNCTION, 0, 0}, {ZOR_METADATA_TYPE, 2, 0}, {ZOR_METADATA_CLASS, 0, 1}, {3, 9, 9}};
    for (const auto& row : rows) {
        unsigned succeeded = 9, failed = 9;
        const auto type = static_cast<ZOR_METADATA_OBJ_TYPE>(row.type);
        EXPECT_EQ(ZorDescribeMetadataQueryResult(handle, type, &succeeded, nullptr, nullptr), ZOR_OK);
        EXPECT_EQ(ZorDescribeMetadataQueryResult(handle, type, nullptr, &failed, nullptr), ZOR_OK);
        EXPECT_EQ(succeeded, row.succeeded);
        EXPECT_EQ(failed, row.failed);
    }
    KEL_UC name[32] = "old";
    name[31] = '!';
    EXPECT_EQ(ZorGetMetadataQuerySucceededEntry(handle, ZOR_METADATA_TYPE, 2, name, nullptr), ZOR_OK);
    EXPECT_STREQ(name, "old");
    EXPECT_EQ(ZorGetMetadataQuerySucceededEntry(handle, ZOR_METADATA_TYPE, 1, name, nullptr), ZOR_OK);
    EXPECT_EQ(name, string(30, 'T'));
    EXPECT_EQ(name[31], '!');
    ZOR_METADATA_QUERY_RESULT_ENTRY entry{};
    std::strcpy(entry.name, "old");
    EXPECT_EQ(ZorGetMetadataQueryFailedEntry(handle, ZOR_METADATA_CLASS, 1, &entry, nullptr), ZOR_OK);
    EXPECT_STREQ(entry.name, "old");
    EXPECT_EQ(ZorGetMetadataQueryFailedEntry(handle, ZOR_METADATA_CLASS, 0, &entry, nullptr), ZOR_OK);
    EXPECT_EQ(entry.name, string(30, 'C'));
    EXPECT_EQ(entry.errorMessage, string(511, 'r'));
    EXPECT_EQ(said([&](auto* e) {
                  return ZorGetMetadataQueryFailedEntry(handle, ZOR_METADATA_CLASS, 0, nullptr, e);
              }),
              "20 5 ZOR_INVALID_PARAMETER: Invalid parameter 'ZOR_METADATA_QUERY_RESULT_ENTRY' was passed to "
              "the API call");
    EXPECT_TRUE(result.hasFailures());
    result.clear();
    EXPECT_FALSE(result.hasFailures());
    EXPECT_EQ(result.getSucceededCount(RepositoryLookupResult::TYPE), 0u);
    EXPECT_EQ(ZorDestroyMetadataQueryResult(handle, nullptr), ZOR_OK);
}

}  // namespace
