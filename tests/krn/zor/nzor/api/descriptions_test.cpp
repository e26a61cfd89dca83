// The exported functions of type and function descriptions, as a caller sees them.

#include <gtest/gtest.h>
#include <kelzor/classes.h>
#include <kelzor/function.h>
#include <kelzor/metadata.h>

#include <cstring>

#include "krn/zor/nzor/config/process_fixture.h"
#include "said.h"

namespace {

using std::string;

ZOR_FIELD_DESC field(const char* name, ZORTYPE type, unsigned nucLength, unsigned nucOffset,
                     unsigned ucLength, unsigned ucOffset, ZOR_TYPE_DESC_HANDLE typeDesc = nullptr) {
    ZOR_FIELD_DESC desc{};
    std::strncpy(desc.name, name, sizeof desc.name);
    desc.type = type;
    desc.nucLength = nucLength;
    desc.nucOffset = nucOffset;
    desc.ucLength = ucLength;
    desc.ucOffset = ucOffset;
    desc.typeDescHandle = typeDesc;
    return desc;
}

ZOR_PARAMETER_DESC parameter(const char* name, ZORTYPE type, ZOR_DIRECTION direction, unsigned nucLength,
                             unsigned ucLength) {
    ZOR_PARAMETER_DESC desc{};
    std::strncpy(desc.name, name, sizeof desc.name);
    desc.type = type;
    desc.direction = direction;
    desc.nucLength = nucLength;
    desc.ucLength = ucLength;
    return desc;
}

class Descriptions : public testing::Test {
  protected:
    Descriptions() {
        const ZOR_FIELD_DESC a = field("A", ZORTYPE_CHAR, 3, 0, 6, 0);
        ZorAddTypeField(type, &a, nullptr);
        const ZOR_PARAMETER_DESC p = parameter("P", ZORTYPE_INT, ZOR_IMPORT, 4, 4);
        ZorAddParameter(function, &p, nullptr);
    }
    ~Descriptions() override {
        ZorDestroyTypeDesc(type, nullptr);
        ZorDestroyFunctionDesc(function, nullptr);
    }

    ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc("ROW", nullptr);
    ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("FN", nullptr);
};

TEST_F(Descriptions, RefusalsNameTheArgument) {
    KEL_UC name[31];
    unsigned count = 0;
    ZOR_FIELD_DESC desc{};
    ZOR_PARAMETER_DESC param{};
    ZOR_EXCEPTION_DESC exception{};
    const auto asType = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(function);
    const auto asFunction = reinterpret_cast<ZOR_FUNCTION_DESC_HANDLE>(type);
    const struct {
        std::function<ZOR_RC(ZOR_ERROR_INFO*)> call;
        string result;
    } rows[] = {
        {[&](auto* e) { return ZorAddTypeField(type, nullptr, e); }, invalidParameter("field name")},
        {[&](auto* e) { return ZorGetTypeName(type, nullptr, e); }, invalidParameter("name buffer")},
        {[&](auto* e) { return ZorGetFieldCount(type, nullptr, e); },
         invalidParameter("pointer to field count")},
        {[&](auto* e) { return ZorGetFieldDescByIndex(type, 0, nullptr, e); },
         invalidParameter("pointer to ZOR_FIELD_DESC")},
        {[&](auto* e) { return ZorGetFieldDescByIndex(type, 1, &desc, e); },
         parameterText("index does not exist")},
        {[&](auto* e) { return ZorGetFieldDescByName(type, nullptr, &desc, e); },
         invalidParameter("field name")},
        {[&](auto* e) { return ZorGetFieldDescByName(type, "A", nullptr, e); },
         invalidParameter("pointer to ZOR_FIELD_DESC")},
        {[&](auto* e) { return ZorGetFieldDescByName(type, "a", &desc, e); },
         parameterText("field 'a' not found")},
        {[&](auto* e) { return ZorGetTypeLength(type, nullptr, nullptr, e); }, "0"},
        {[&](auto* e) { return ZorGetTypeName(asType, name, e); }, invalidHandle},
        {[&](auto* e) { return ZorDestroyTypeDesc(asType, e); }, invalidHandle},
        {[&](auto* e) { return ZorAddParameter(function, nullptr, e); },
         invalidParameter("pointer to ZOR_PARAMETER_DESC")},
        {[&](auto* e) { return ZorAddException(function, nullptr, e); },
         invalidParameter("pointer to ZOR_EXCEPTION_DESC")},
        {[&](auto* e) { return ZorGetFunctionName(function, nullptr, e); },
         invalidParameter("pointer to function name")},
        {[&](auto* e) { return ZorGetParameterCount(function, nullptr, e); },
         invalidParameter("pointer to paramter count")},
        {[&](auto* e) { return ZorGetParameterDescByIndex(function, 0, nullptr, e); },
         invalidParameter("pointer to ZOR_PARAMETER_DESC")},
        {[&](auto* e) { return ZorGetParameterDescByIndex(function, 1, &param, e); },
         parameterText("index does not exist")},
        {[&](auto* e) { return ZorGetParameterDescByName(function, nullptr, &param, e); },
         invalidParameter("NAME")},
        {[&](auto* e) { return ZorGetParameterDescByName(function, "P", nullptr, e); },
         invalidParameter("Pointer to ZOR_PARAMETER_DESC")},
        {[&](auto* e) { return ZorGetParameterDescByName(function, "Q", &param, e); },
         parameterText("field 'Q' not found")},
        {[&](auto* e) { return ZorGetExceptionCount(function, nullptr, e); },
         invalidParameter("pointer to exception count")},
        {[&](auto* e) { return ZorGetExceptionDescByIndex(function, 0, nullptr, e); },
         invalidParameter("Pointer to ZOR_EXCEPTION_DESC")},
        {[&](auto* e) { return ZorGetExceptionDescByIndex(function, 0, &exception, e); },
         parameterText("No exception with the index 0 available. Exception count is 0")},
        {[&](auto* e) { return ZorGetExceptionDescByName(function, "E", nullptr, e); },
         invalidParameter("Pointer to ZOR_EXCEPTION_DESC")},
        {[&](auto* e) { return ZorGetExceptionDescByName(function, "E", &exception, e); },
         parameterText("No exception for the key E")},
        {[&](auto* e) { return ZorIsLUMXSupported(function, nullptr, e); },
         invalidParameter("pointer to isAble")},
        {[&](auto* e) { return ZorGetParameterCount(asFunction, &count, e); }, invalidHandle},
    };
    for (const auto& row : rows)
        EXPECT_EQ(said(row.call), row.result);
}

TEST_F(Descriptions, WhatWasPutInComesOut) {
    int mark = 0;
    ZOR_FIELD_DESC in = field("NESTED", ZORTYPE_BCD, 5, 8, 5, 8);
    in.decimals = 2;
    in.extendedDescription = &mark;
    EXPECT_EQ(said([&](auto* e) { return ZorAddTypeField(type, &in, e); }), "0");
    ZOR_FIELD_DESC out{};
    ASSERT_EQ(ZorGetFieldDescByName(type, "NESTED", &out, nullptr), ZOR_OK);
    EXPECT_STREQ(out.name, "NESTED");
    EXPECT_EQ(out.type, ZORTYPE_BCD);
    EXPECT_EQ(out.nucLength, 5u);
    EXPECT_EQ(out.nucOffset, 8u);
    EXPECT_EQ(out.ucLength, 5u);
    EXPECT_EQ(out.ucOffset, 8u);
    EXPECT_EQ(out.decimals, 2u);
    EXPECT_EQ(out.typeDescHandle, nullptr);
    EXPECT_EQ(out.extendedDescription, &mark);
    ASSERT_EQ(ZorGetFieldDescByName(type, "", &out, nullptr), ZOR_OK);
    EXPECT_STREQ(out.name, "A");

    ASSERT_EQ(ZorSetTypeLength(type, 13, 14, nullptr), ZOR_OK);
    unsigned nuc = 0, uc = 0, count = 0;
    EXPECT_EQ(ZorGetTypeLength(type, &nuc, &uc, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetFieldCount(type, &count, nullptr), ZOR_OK);
    EXPECT_EQ(string(std::to_string(nuc) + " " + std::to_string(uc) + " " + std::to_string(count)),
              "13 14 2");
}

TEST_F(Descriptions, ParametersAndExceptionsComeOut) {
    ZOR_PARAMETER_DESC in = parameter("T", ZORTYPE_TABLE, ZOR_TABLES, 3, 6);
    in.typeDescHandle = type;
    // Full fields without a terminator are read to their width.
    std::memset(in.defaultValue, 'd', sizeof in.defaultValue);
    std::memset(in.parameterText, 't', sizeof in.parameterText);
    in.optional = 1;
    ASSERT_EQ(ZorAddParameter(function, &in, nullptr), ZOR_OK);
    ZOR_PARAMETER_DESC out{};
    ASSERT_EQ(ZorGetParameterDescByIndex(function, 1, &out, nullptr), ZOR_OK);
    EXPECT_STREQ(out.name, "T");
    EXPECT_EQ(out.type, ZORTYPE_TABLE);
    EXPECT_EQ(out.direction, ZOR_TABLES);
    EXPECT_EQ(out.nucLength, 3u);
    EXPECT_EQ(out.ucLength, 6u);
    EXPECT_EQ(out.typeDescHandle, type);
    EXPECT_EQ(out.defaultValue, string(30, 'd'));
    EXPECT_EQ(out.parameterText, string(79, 't'));
    EXPECT_EQ(out.optional, 1);

    ZOR_EXCEPTION_DESC exception{};
    std::memset(exception.key, 'k', sizeof exception.key);
    std::memset(exception.message, 'm', sizeof exception.message);
    ASSERT_EQ(ZorAddException(function, &exception, nullptr), ZOR_OK);
    ASSERT_EQ(ZorGetExceptionDescByName(function, string(127, 'k').c_str(), &exception, nullptr), ZOR_OK);
    EXPECT_EQ(exception.key, string(127, 'k'));
    EXPECT_EQ(exception.message, string(511, 'm'));

    int able = 7;
    EXPECT_EQ(ZorIsLUMXSupported(function, &able, nullptr), ZOR_OK);
    EXPECT_EQ(able, 0);
    EXPECT_EQ(ZorEnableLUMX(function, nullptr), ZOR_OK);
    EXPECT_EQ(ZorIsLUMXSupported(function, &able, nullptr), ZOR_OK);
    EXPECT_EQ(able, 1);
}

TEST(DescriptionNames, LongerThan30AreGivenAsEmpty) {
    for (const unsigned length : {30u, 31u}) {
        const string name(length, 'N');
        const auto type = ZorCreateTypeDesc(name.c_str(), nullptr);
        const auto function = ZorCreateFunctionDesc(name.c_str(), nullptr);
        KEL_UC buffer[31] = "old";
        EXPECT_EQ(ZorGetTypeName(type, buffer, nullptr), ZOR_OK);
        EXPECT_EQ(buffer, length == 30 ? name : "");
        std::strcpy(buffer, "old");
        EXPECT_EQ(ZorGetFunctionName(function, buffer, nullptr), ZOR_OK);
        EXPECT_EQ(buffer, length == 30 ? name : "");
        ZorDestroyTypeDesc(type, nullptr);
        ZorDestroyFunctionDesc(function, nullptr);
    }
}

TEST(DescriptionHandles, ANestedOneOutlivesItsCreatorsHandle) {
    const auto nested = ZorCreateTypeDesc("NESTED", nullptr);
    const auto parent = ZorCreateTypeDesc("PARENT", nullptr);
    const ZOR_FIELD_DESC structure = field("S", ZORTYPE_STRUCTURE, 8, 0, 8, 0, nested);
    ASSERT_EQ(ZorAddTypeField(parent, &structure, nullptr), ZOR_OK);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(nested, e); }), "0");
    KEL_UC name[31];
    EXPECT_EQ(ZorGetTypeName(nested, name, nullptr), ZOR_OK);
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(nested, e); }),
              "19 ZOR_ILLEGAL_STATE: The instance either removed or cached in a repository.");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(parent, e); }), "0");
    // Both are gone now, and every use of the dead handles is told so.
    for (const auto handle : {nested, parent}) {
        const string gone = removed("ZOR_TYPE_DESC_HANDLE", handle);
        EXPECT_EQ(said([&](auto* e) { return ZorDestroyTypeDesc(handle, e); }), gone);
        EXPECT_EQ(said([&](auto* e) { return ZorGetTypeName(handle, name, e); }), gone);
    }
    const auto other = ZorCreateFunctionDesc("OTHER", nullptr);
    ZOR_PARAMETER_DESC param = parameter("P", ZORTYPE_TABLE, ZOR_TABLES, 1, 1);
    param.typeDescHandle = nested;
    EXPECT_EQ(said([&](auto* e) { return ZorAddParameter(other, &param, e); }),
              removed("ZOR_TYPE_DESC_HANDLE", nested));
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyFunctionDesc(other, e); }), "0");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyFunctionDesc(other, e); }),
              removed("ZOR_FUNCTION_DESC_HANDLE", other));
}

TEST_F(Descriptions, NamesOfFieldsMayFillTheirField) {
    ZOR_FIELD_DESC in = field("", ZORTYPE_CHAR, 1, 3, 2, 6);
    std::memset(in.name, 'N', sizeof in.name);
    EXPECT_EQ(ZorAddTypeField(type, &in, nullptr), ZOR_OK);
    ZOR_FIELD_DESC out{};
    EXPECT_EQ(ZorGetFieldDescByName(type, string(31, 'N').c_str(), &out, nullptr), ZOR_OK);
    EXPECT_EQ(out.nucOffset, 3u);
    EXPECT_STREQ(out.name, "");  // no room for the terminator
    ZOR_PARAMETER_DESC param = parameter("", ZORTYPE_CHAR, ZOR_IMPORT, 1, 2);
    std::memset(param.name, 'N', sizeof param.name);
    EXPECT_EQ(ZorAddParameter(function, &param, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetParameterDescByName(function, string(30, 'N').c_str(), &param, nullptr), ZOR_OK);
    EXPECT_EQ(param.name, string(30, 'N'));
}

TEST_F(Descriptions, AClassBehindAFieldIsNotGivenAsAType) {
    const auto classDesc = ZorCreateClassDesc("CL", nullptr);
    const auto asType = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(classDesc);
    ZOR_FIELD_DESC object = field("O", ZORTYPE_UBIXOBJECT, 8, 8, 8, 8, asType);
    ZOR_PARAMETER_DESC param = parameter("O", ZORTYPE_UBIXOBJECT, ZOR_EXPORT, 8, 8);
    param.typeDescHandle = asType;
    EXPECT_EQ(ZorAddTypeField(type, &object, nullptr), ZOR_OK);
    EXPECT_EQ(ZorAddParameter(function, &param, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetFieldDescByName(type, "O", &object, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetParameterDescByName(function, "O", &param, nullptr), ZOR_OK);
    EXPECT_EQ(object.typeDescHandle, nullptr);
    EXPECT_EQ(param.typeDescHandle, nullptr);
    EXPECT_EQ(ZorDestroyClassDesc(classDesc, nullptr), ZOR_OK);
}

class DescriptionTrace : public ProcessFixture {};

TEST_F(DescriptionTrace, LinesOfTheLookupsByName) {
    const auto type = ZorCreateTypeDesc("ROW", nullptr);
    const auto desc = ZorCreateFunctionDesc("FN", nullptr);
    ZOR_FIELD_DESC in = field("A", ZORTYPE_BCD, 5, 1, 6, 2);
    in.decimals = 3;
    ZorAddTypeField(type, &in, nullptr);
    ZOR_PARAMETER_DESC param = parameter("P", ZORTYPE_CHAR, ZOR_CHANGING, 7, 14);
    std::strcpy(param.defaultValue, "'X'");
    std::strcpy(param.parameterText, "text");
    param.optional = 1;
    ZorAddParameter(desc, &param, nullptr);
    const auto function = ZorCreateFunction(desc, nullptr);

    ZOR_ERROR_INFO info;
    ZorConfig::setGlobalTraceLevel(1);
    ZorGetFieldDescByName(type, "A", &in, &info);
    ZorGetParameterDescByName(desc, "P", &param, &info);
    ZorGetParameterDescByName(desc, "Q", &param, &info);
    ZorConfig::setGlobalTraceLevel(0);
    const string trace = readFile(directory / ZorTrace::getFileName());
    const auto expectLine = [&](const char* format, auto... arguments) {
        char line[300];
        std::snprintf(line, sizeof line, format, arguments...);
        EXPECT_NE(trace.find(string(line) + "\n"), trace.npos) << line << " in " << trace;
    };
    void* const none = nullptr;
    const auto at = [](auto* pointer) { return static_cast<void*>(pointer); };
    expectLine("ZorGetFieldDescByName(typeHandle=%p, name=A, in=%p, error=%p)", at(type), at(&in), at(&info));
    expectLine("ZorGetFieldDescByName(typeHandle=%p, name=A) returns (A, 2, 5, 1, 6, 2, 3, %p, %p)", at(type),
               none, none);
    expectLine("ZorGetParameterDescByName(funcHandle=%p, name=P, in=%p, error=%p)", at(desc), at(&param),
               at(&info));
    expectLine(
        "ZorGetParameterDescByName(funcHandle=%p, name=P) returns (P, 0, 3, 7, 14, 0, %p, 'X', text, 1, "
        "%p)",
        at(desc), none, none);
    expectLine("\tZOR_ERROR_INFO.message: field 'Q' not found");
    ZorDestroyFunction(function, nullptr);
    ZorDestroyFunctionDesc(desc, nullptr);
    ZorDestroyTypeDesc(type, nullptr);
}

TEST_F(DescriptionTrace, LinesOfDescribingAFunction) {
    ZorConfig::setGlobalTraceLevel(1);
    const auto desc = ZorCreateFunctionDesc("fn_small", nullptr);
    const auto function = ZorCreateFunction(desc, nullptr);
    alignas(16) unsigned char foreign[256] = {};
    const auto unmarked = reinterpret_cast<ZOR_FUNCTION_HANDLE>(foreign);
    EXPECT_EQ(ZorDescribeFunction(function, nullptr), desc);
    EXPECT_EQ(ZorDescribeFunction(unmarked, nullptr), nullptr);
    ZorDestroyFunction(function, nullptr);
    ZorConfig::setGlobalTraceLevel(0);
    const string trace = readFile(directory / ZorTrace::getFileName());
    char line[200];
    std::snprintf(line, sizeof line, "ZorDescribeFunction(%p) returns %p: fn_small (origin=custom)\n",
                  static_cast<void*>(function), static_cast<void*>(desc));
    EXPECT_NE(trace.find(line), trace.npos) << trace;
    std::snprintf(line, sizeof line, "ZorDescribeFunction(%p) failed: isValid==0, isFunction==0\n",
                  static_cast<void*>(unmarked));
    EXPECT_NE(trace.find(line), trace.npos) << trace;
    ZorDestroyFunctionDesc(desc, nullptr);
}

}  // namespace
