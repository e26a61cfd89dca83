// Class exceptions and objects in calls: what the partner is told, and what is refused before it hears of it.

#include <algorithm>
#include <cstring>

#include "session.h"

namespace {

constexpr std::uint16_t useClassExceptions = 1057;

class ObjectCallTest : public SessionTest {};

TEST_F(ObjectCallTest, thePartnerIsToldThatClassExceptionsMayCome) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    for (const bool enabled : {false, true}) {
        Function echo("ECHO_TEN_SCALARS");
        if (enabled) {
            EXPECT_EQ(ZorEnableUbixClassException(echo, connection, &error), ZOR_OK) << error.message;
        }
        int isEnabled = 9;
        EXPECT_EQ(ZorIsUbixClassExceptionEnabled(echo, &isEnabled, &error), ZOR_OK);
        EXPECT_EQ(isEnabled, enabled ? 1 : 0);
        echo.setInt("I_INT", 4711);
        EXPECT_EQ(invoke(connection, echo), ZOR_OK) << error.message;
        EXPECT_EQ(echo.integer("E_INT"), 4711);
        const auto items = system.requests().back().items();
        const bool told = std::any_of(items.begin(), items.end(),
                                      [](const auto& item) { return item.id == useClassExceptions; });
        EXPECT_EQ(told, enabled);
        EXPECT_EQ(ZorGetUbixClassException(echo, &error), nullptr);
        EXPECT_EQ(error.code, ZOR_OK);
    }
    Function late("ECHO_TEN_SCALARS");
    EXPECT_EQ(ZorCloseConnection(connection, &error), ZOR_OK);
    EXPECT_EQ(ZorEnableUbixClassException(late, connection, &error), ZOR_INVALID_HANDLE);
}

TEST_F(ObjectCallTest, anObjectInsideAStructureIsRefusedBeforeTheCall) {
    const ZOR_CONNECTION_HANDLE connection = connect();
    const auto classDesc = ZorCreateClassDesc("CL_THING", &error);
    const auto record = ZorCreateTypeDesc("HOLDER", &error);
    ZOR_FIELD_DESC field{};
    std::strcpy(field.name, "OBJ");
    field.type = ZORTYPE_UBIXOBJECT;
    field.nucLength = field.ucLength = sizeof(void*);
    field.typeDescHandle = reinterpret_cast<ZOR_TYPE_DESC_HANDLE>(classDesc);
    EXPECT_EQ(ZorAddTypeField(record, &field, &error), ZOR_OK);
    EXPECT_EQ(ZorSetTypeLength(record, sizeof(void*), sizeof(void*), &error), ZOR_OK);
    const auto description = ZorCreateFunctionDesc("ECHO_TEN_SCALARS", &error);
    ZOR_PARAMETER_DESC parameter{};
    std::strcpy(parameter.name, "HOLDER");
    parameter.type = ZORTYPE_STRUCTURE;
    parameter.direction = ZOR_IMPORT;
    parameter.nucLength = parameter.ucLength = sizeof(void*);
    parameter.typeDescHandle = record;
    EXPECT_EQ(ZorAddParameter(description, &parameter, &error), ZOR_OK);
    const auto function = ZorCreateFunction(description, &error);
    const auto object = ZorCreateUbixObject(classDesc, &error);
    ZOR_STRUCTURE_HANDLE holder = nullptr;
    EXPECT_EQ(ZorGetStructure(function, "HOLDER", &holder, &error), ZOR_OK);
    EXPECT_EQ(ZorSetUbixObject(holder, "OBJ", object, &error), ZOR_OK) << error.message;
    const auto before = system.requests().size();
    EXPECT_EQ(invoke(connection, function), ZOR_SERIALIZATION_FAILURE);
    EXPECT_STREQ(error.message, "Parameter HOLDER has a type that can't travel in the classic format");
    EXPECT_EQ(system.requests().size(), before);
    EXPECT_TRUE(isValid(connection));
    ZorDestroyUbixObject(object, nullptr);
    ZorDestroyFunction(function, nullptr);
    ZorDestroyFunctionDesc(description, nullptr);
    ZorDestroyTypeDesc(record, nullptr);
    ZorDestroyClassDesc(classDesc, nullptr);
}

}  // namespace
