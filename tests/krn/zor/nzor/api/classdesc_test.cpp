// The exported functions of class descriptions, as a caller sees them.

#include <gtest/gtest.h>
#include <kelzor/classes.h>
#include <kelzor/data.h>
#include <kelzor/metadata.h>

#include <cstring>

#include "krn/zor/nzor/config/process_fixture.h"
#include "said.h"

namespace {

using std::string;

ZOR_CLASS_ATTRIBUTE_DESC attribute(const char* name, ZORTYPE type, unsigned length = 0,
                                   ZOR_TYPE_DESC_HANDLE typeDesc = nullptr) {
    ZOR_CLASS_ATTRIBUTE_DESC desc{};
    std::strncpy(desc.name, name, sizeof desc.name);
    desc.type = type;
    desc.nucLength = length;
    desc.typeDescHandle = typeDesc;
    return desc;
}

ZOR_TYPE_DESC_HANDLE asType(ZOR_CLASS_DESC_HANDLE handle) {
    return reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(handle);
}

class ClassDescriptions : public testing::Test {
  protected:
    ~ClassDescriptions() override {
        ZorDestroyClassDesc(desc, nullptr);
        ZorDestroyTypeDesc(type, nullptr);
    }

    string add(const ZOR_CLASS_ATTRIBUTE_DESC& attr) {
        return said([&](auto* e) { return ZorAddClassAttribute(desc, &attr, e); });
    }

    ZOR_CLASS_DESC_HANDLE desc = ZorCreateClassDesc("CL_THING", nullptr);
    ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc("ROW", nullptr);
};

TEST_F(ClassDescriptions, RefusalsNameTheArgument) {
    KEL_UC name[31];
    unsigned count = 0;
    ZOR_CLASS_ATTRIBUTE_DESC attr{};
    const ZOR_FIELD_DESC field{};
    const auto notAClass = reinterpret_cast<ZOR_CLASS_DESC_HANDLE>(type);
    const struct {
        std::function<ZOR_RC(ZOR_ERROR_INFO*)> call;
        string result;
    } rows[] = {
        {[&](auto* e) { return ZorGetClassName(desc, nullptr, e); }, parameterText("bufferForName is NULL")},
        {[&](auto* e) { return ZorAddClassAttribute(desc, nullptr, e); },
         invalidParameter("pointer to ZOR_CLASS_ATTRIBUTE_DESC")},
        {[&](auto* e) { return ZorGetClassAttributesCount(desc, nullptr, e); },
         invalidParameter("pointer to attributes count")},
        {[&](auto* e) { return ZorGetClassAttributeDescByIndex(desc, 0, nullptr, e); },
         invalidParameter("Pointer to ZOR_CLASS_ATTRIBUTE_DESC")},
        {[&](auto* e) { return ZorGetClassAttributeDescByIndex(desc, 0, &attr, e); },
         parameterText("index does not exist")},
        {[&](auto* e) { return ZorGetClassAttributeDescByName(desc, nullptr, &attr, e); },
         invalidParameter("NAME")},
        {[&](auto* e) { return ZorGetClassAttributeDescByName(desc, "A", nullptr, e); },
         invalidParameter("Pointer to ZOR_CLASS_ATTRIBUTE_DESC")},
        {[&](auto* e) { return ZorGetClassAttributeDescByName(desc, "A", &attr, e); },
         parameterText("field 'A' not found")},
        {[&](auto* e) { return ZorGetClassAttributeDescByName(desc, "", &attr, e); },
         parameterText("index does not exist")},
        {[&](auto* e) { return ZorAddParentClass(desc, nullptr, e); }, invalidParameter("class names")},
        {[&](auto* e) { return ZorGetParentClassesCount(desc, nullptr, e); },
         invalidParameter("pointer to parentClassesCount")},
        {[&](auto* e) { return ZorGetParentClassByIndex(desc, 0, nullptr, e); },
         invalidParameter("buffer for the class name")},
        {[&](auto* e) { return ZorGetParentClassByIndex(desc, 0, name, e); },
         parameterText("The index [0] is out of range. The count of parent classes is 0")},
        {[&](auto* e) { return ZorAddImplementedInterface(desc, nullptr, e); },
         invalidParameter("implemented interface name")},
        {[&](auto* e) { return ZorGetImplementedInterfacesCount(desc, nullptr, e); },
         invalidParameter("pointer to implementedInterfacesCount")},
        {[&](auto* e) { return ZorGetImplementedInterfaceByIndex(desc, 0, nullptr, e); },
         invalidParameter("buffer for the interface name")},
        {[&](auto* e) { return ZorGetImplementedInterfaceByIndex(desc, 4294967295u, name, e); },
         parameterText("The index [4294967295] is out of range. The count of implemented interfaces is 0")},
        {[&](auto* e) { return ZorGetClassAttributesCount(notAClass, &count, e); }, invalidHandle},
        {[&](auto* e) { return ZorDestroyClassDesc(notAClass, e); }, invalidHandle},
        // What a class has in common with a type can be read, but not changed as if it were one.
        {[&](auto* e) { return ZorGetTypeName(asType(desc), name, e); }, "0"},
        {[&](auto* e) { return ZorAddTypeField(asType(desc), &field, e); }, invalidHandle},
        {[&](auto* e) { return ZorSetTypeLength(asType(desc), 1, 1, e); }, invalidHandle},
    };
    for (const auto& row : rows)
        EXPECT_EQ(said(row.call), row.result);
    EXPECT_STREQ(name, "CL_THING");
}

TEST_F(ClassDescriptions, AttributesComeOutAsTheyWentIn) {
    int mark = 0;
    const auto other = ZorCreateClassDesc("CL_OTHER", nullptr);
    ZOR_CLASS_ATTRIBUTE_DESC in = attribute("OBJECT", ZORTYPE_UBIXOBJECT, 99, asType(other));
    // Full fields without a terminator are read to their width.
    std::memset(in.defaultValue, 'd', sizeof in.defaultValue);
    std::memset(in.declaringClass, 'c', sizeof in.declaringClass - 1);
    std::memset(in.description, 't', sizeof in.description - 1);
    in.ucLength = 1;
    in.decimals = 3;
    in.isReadOnly = 7;
    in.attributeType = ZOR_CLASS_ATTRIBUTE_CONSTANT;
    in.extendedDescription = &mark;
    ASSERT_EQ(add(in), "0");
    // Texts that fill their fields to the last character don't fit with a terminator, and come out empty.
    ZOR_CLASS_ATTRIBUTE_DESC full = attribute("FULL", ZORTYPE_CHAR, 3);
    std::memset(full.declaringClass, 'c', sizeof full.declaringClass);
    std::memset(full.description, 't', sizeof full.description);
    ASSERT_EQ(add(full), "0");
    EXPECT_EQ(ZorDestroyClassDesc(other, nullptr), ZOR_OK);

    ZOR_CLASS_ATTRIBUTE_DESC out;
    std::memset(&out, '?', sizeof out);
    ASSERT_EQ(ZorGetClassAttributeDescByName(desc, "OBJECT", &out, nullptr), ZOR_OK);
    EXPECT_STREQ(out.name, "OBJECT");
    EXPECT_EQ(out.type, ZORTYPE_UBIXOBJECT);
    EXPECT_EQ(out.nucLength, sizeof(void*));
    EXPECT_EQ(out.ucLength, sizeof(void*));
    EXPECT_EQ(out.decimals, 3u);
    EXPECT_EQ(out.typeDescHandle, asType(other));
    EXPECT_EQ(out.defaultValue, string(30, 'd'));
    EXPECT_EQ(out.declaringClass, string(30, 'c'));
    EXPECT_EQ(out.description, string(511, 't'));
    EXPECT_EQ(out.isReadOnly, 1u);
    EXPECT_EQ(out.attributeType, ZOR_CLASS_ATTRIBUTE_CONSTANT);
    EXPECT_EQ(out.extendedDescription, &mark);
    ASSERT_EQ(ZorGetClassAttributeDescByIndex(desc, 1, &out, nullptr), ZOR_OK);
    EXPECT_EQ(out.nucLength, 3u);
    EXPECT_EQ(out.ucLength, 3u);
    EXPECT_EQ(out.typeDescHandle, nullptr);
    EXPECT_STREQ(out.declaringClass, "");
    EXPECT_STREQ(out.description, "");
    EXPECT_EQ(out.isReadOnly, 0u);
    unsigned count = 0;
    EXPECT_EQ(ZorGetClassAttributesCount(desc, &count, nullptr), ZOR_OK);
    EXPECT_EQ(count, 2u);

    EXPECT_EQ(add(full),
              parameterText("Field with name FULL already exists. All field names have to be unique"));
    const auto gone = ZorCreateTypeDesc("GONE", nullptr);
    ZorDestroyTypeDesc(gone, nullptr);
    EXPECT_EQ(add(attribute("T", ZORTYPE_TABLE, 0, gone)), removed("ZOR_TYPE_DESC_HANDLE", gone));
    const auto byteRows = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(uintptr_t{ZORTYPE_BYTE});
    EXPECT_EQ(add(attribute("B", ZORTYPE_TABLE, 0, byteRows)), "0");
    ASSERT_EQ(ZorGetClassAttributeDescByIndex(desc, 2, &out, nullptr), ZOR_OK);
    EXPECT_EQ(out.typeDescHandle, nullptr);
}

TEST_F(ClassDescriptions, ParentsAndInterfacesAreLists) {
    const string tooLong(35, 'L');  // of which 31 characters count
    for (const char* name : {"CL_A", "CL_A", tooLong.c_str()}) {
        EXPECT_EQ(said([&](auto* e) { return ZorAddParentClass(desc, name, e); }), "0");
        EXPECT_EQ(said([&](auto* e) { return ZorAddImplementedInterface(desc, name, e); }), "0");
    }
    unsigned parents = 0, interfaces = 0;
    EXPECT_EQ(ZorGetParentClassesCount(desc, &parents, nullptr), ZOR_OK);
    EXPECT_EQ(ZorGetImplementedInterfacesCount(desc, &interfaces, nullptr), ZOR_OK);
    EXPECT_EQ(parents, 3u);
    EXPECT_EQ(interfaces, 3u);
    const char* const expected[] = {"CL_A", "CL_A", ""};  // 31 characters don't fit with a terminator
    for (unsigned i = 0; i < 3; ++i) {
        ZOR_CLASS_NAME name = "old";
        EXPECT_EQ(ZorGetParentClassByIndex(desc, i, name, nullptr), ZOR_OK);
        EXPECT_STREQ(name, expected[i]);
        std::strcpy(name, "old");
        EXPECT_EQ(ZorGetImplementedInterfaceByIndex(desc, i, name, nullptr), ZOR_OK);
        EXPECT_STREQ(name, expected[i]);
    }
    ZOR_CLASS_NAME name;
    EXPECT_EQ(said([&](auto* e) { return ZorGetParentClassByIndex(desc, 3, name, e); }),
              parameterText("The index [3] is out of range. The count of parent classes is 3"));
}

TEST_F(ClassDescriptions, NamesAreCutToThirtyCharacters) {
    for (const unsigned length : {1u, 30u, 31u, 100u}) {
        const auto named = ZorCreateClassDesc(string(length, 'N').c_str(), nullptr);
        KEL_UC name[32];
        std::memset(name, '?', sizeof name);
        EXPECT_EQ(ZorGetClassName(named, name, nullptr), ZOR_OK);
        EXPECT_EQ(name, string(std::min(length, 30u), 'N'));
        EXPECT_EQ(name[30], 0);
        EXPECT_EQ(name[31], '?');
        ZorDestroyClassDesc(named, nullptr);
    }
    EXPECT_EQ(ZorCreateClassDesc(nullptr, nullptr), nullptr);
}

TEST_F(ClassDescriptions, HandlesOfTheDeadAreToldApart) {
    const auto other = ZorCreateClassDesc("CL_OTHER", nullptr);
    ASSERT_EQ(add(attribute("O", ZORTYPE_UBIXOBJECT, 0, asType(other))), "0");
    const auto destroy = [](ZOR_CLASS_DESC_HANDLE handle) {
        return said([=](auto* e) { return ZorDestroyClassDesc(handle, e); });
    };
    EXPECT_EQ(destroy(other), "0");
    EXPECT_EQ(destroy(other),
              "19 ZOR_ILLEGAL_STATE: The instance was either removed or is cached in a repository.");
    EXPECT_EQ(destroy(desc), "0");
    EXPECT_EQ(destroy(desc), removed("ZOR_CLASS_DESC_HANDLE", desc));
    unsigned count = 0;
    EXPECT_EQ(said([&](auto* e) { return ZorGetParentClassesCount(other, &count, e); }),
              removed("ZOR_CLASS_DESC_HANDLE", other));
}

TEST_F(ClassDescriptions, AClassMayReferToItself) {
    ASSERT_EQ(add(attribute("SELF", ZORTYPE_UBIXOBJECT, 0, asType(desc))), "0");
    EXPECT_EQ(said([&](auto* e) { return ZorDestroyClassDesc(desc, e); }), "0");
    KEL_UC name[31];
    EXPECT_EQ(ZorGetClassName(desc, name, nullptr), ZOR_OK);
    EXPECT_STREQ(name, "CL_THING");
}

class ClassTrace : public ProcessFixture {};

TEST_F(ClassTrace, DestroyingIsTold) {
    ZorConfig::setGlobalTraceLevel(1);
    const auto desc = ZorCreateClassDesc("CL", nullptr);
    ZorDestroyClassDesc(desc, nullptr);
    const string trace = readFile(directory / ZorTrace::getFileName());
    ZorConfig::setGlobalTraceLevel(0);
    char line[64];
    std::snprintf(line, sizeof line, "delete MD{%p}", static_cast<void*>(desc));
    EXPECT_NE(trace.find(line), trace.npos) << trace;
    EXPECT_NE(trace.find(">> ZorCreateClassDesc\n"), trace.npos);
    EXPECT_NE(trace.find("<< ZorDestroyClassDesc returned ZOR_OK"), trace.npos);
}

}  // namespace
