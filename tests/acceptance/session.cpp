#include "session.h"

#include <cstring>
#include <map>

namespace {

void check(ZOR_RC rc, const ZOR_ERROR_INFO& error, const char* what) {
    if (rc != ZOR_OK) throw std::runtime_error(std::string(what) + ": " + error.message);
}

/** Length with two bytes a character, for the types that hold characters. */
unsigned wideLength(ZORTYPE type, unsigned length) {
    return type == ZORTYPE_CHAR || type == ZORTYPE_NUM || type == ZORTYPE_DATE || type == ZORTYPE_TIME
               ? 2 * length
               : length;
}

template <size_t size>
void put(char (&target)[size], std::string_view text) {
    std::memset(target, 0, size);
    std::memcpy(target, text.data(), std::min(text.size(), size - 1));
}

ZOR_TYPE_DESC_HANDLE describe(const zordev::StructureDescription& structure) {
    ZOR_ERROR_INFO error;
    const ZOR_TYPE_DESC_HANDLE type = ZorCreateTypeDesc(std::string(structure.name).c_str(), &error);
    check(error.code, error, "ZorCreateTypeDesc");
    unsigned wideOffset = 0;
    for (const zordev::FieldDescription& field : structure.fields) {
        const ZOR_TYPE_DESC_HANDLE nested = field.structure != nullptr ? describe(*field.structure) : nullptr;
        ZOR_FIELD_DESC desc{};
        put(desc.name, field.name);
        desc.type = field.type;
        desc.nucLength = field.length;
        desc.nucOffset = field.offset;
        desc.ucLength = 2 * field.length;  // roomy: only the one-byte layout travels here
        desc.ucOffset = wideOffset;
        desc.decimals = field.decimals;
        desc.typeDescHandle = nested;
        check(ZorAddTypeField(type, &desc, &error), error, "ZorAddTypeField");
        wideOffset = 2 * (field.offset + field.length) + 16;
        if (nested != nullptr) ZorDestroyTypeDesc(nested, &error);
    }
    check(ZorSetTypeLength(type, structure.length, wideOffset, &error), error, "ZorSetTypeLength");
    return type;
}

}  // namespace

ZOR_CONNECTION_HANDLE open(const Parameters& parameters, ZOR_ERROR_INFO& error) {
    std::vector<ZOR_CONNECTION_PARAMETER> pairs;
    for (const auto& [name, value] : parameters)
        pairs.push_back({name.c_str(), value.c_str()});
    return ZorOpenConnection(pairs.data(), static_cast<unsigned>(pairs.size()), &error);
}

Function::Function(std::string_view name) {
    ZOR_ERROR_INFO error;
    description = ZorCreateFunctionDesc(std::string(name).c_str(), &error);
    check(error.code, error, "ZorCreateFunctionDesc");
    if (const zordev::FunctionDescription* known = zordev::findFunction(name))
        for (const zordev::ParameterDescription& parameter : known->parameters) {
            if (parameter.type == ZORTYPE_TABLE && parameter.structure == nullptr) continue;
            ZOR_PARAMETER_DESC desc{};
            put(desc.name, parameter.name);
            desc.type = parameter.type;
            desc.direction = parameter.direction;
            desc.nucLength = parameter.length;
            desc.ucLength = wideLength(parameter.type, parameter.length);
            desc.decimals = parameter.decimals;
            if (parameter.structure != nullptr) desc.typeDescHandle = describe(*parameter.structure);
            check(ZorAddParameter(description, &desc, &error), error, "ZorAddParameter");
            if (desc.typeDescHandle != nullptr) ZorDestroyTypeDesc(desc.typeDescHandle, &error);
        }
    container = ZorCreateFunction(description, &error);
    check(error.code, error, "ZorCreateFunction");
}

Function::~Function() {
    ZorDestroyFunction(container, nullptr);
    ZorDestroyFunctionDesc(description, nullptr);
}

void Function::setText(const char* name, std::string_view text) {
    ZOR_ERROR_INFO error;
    check(ZorSetString(container, name, text.data(), static_cast<unsigned>(text.size()), &error), error,
          name);
}

void Function::setInt(const char* name, ZOR_INT value) {
    ZOR_ERROR_INFO error;
    check(ZorSetInt(container, name, value, &error), error, name);
}

std::string Function::text(const char* name, unsigned length) {
    ZOR_ERROR_INFO error;
    std::string buffer(length, '\0');
    unsigned stored = 0;
    check(ZorGetString(container, name, buffer.data(), length, &stored, &error), error, name);
    return buffer.substr(0, stored);
}

ZOR_INT Function::integer(const char* name) {
    ZOR_ERROR_INFO error;
    ZOR_INT value = 0;
    check(ZorGetInt(container, name, &value, &error), error, name);
    return value;
}

std::string Function::bytes(const char* name, unsigned length) {
    ZOR_ERROR_INFO error;
    std::string buffer(length, '\0');
    check(ZorGetBytes(container, name, reinterpret_cast<KEL_RAW*>(buffer.data()), length, &error), error,
          name);
    return buffer;
}

ZOR_TABLE_HANDLE Function::table(const char* name) {
    ZOR_ERROR_INFO error;
    ZOR_TABLE_HANDLE handle = nullptr;
    check(ZorGetTable(container, name, &handle, &error), error, name);
    return handle;
}

ZOR_STRUCTURE_HANDLE Function::structure(const char* name) {
    ZOR_ERROR_INFO error;
    ZOR_STRUCTURE_HANDLE handle = nullptr;
    check(ZorGetStructure(container, name, &handle, &error), error, name);
    return handle;
}

std::string textOf(DATA_CONTAINER_HANDLE container, const char* name) {
    ZOR_ERROR_INFO error;
    std::string buffer(1024, '\0');
    unsigned stored = 0;
    check(ZorGetString(container, name, buffer.data(), 1024, &stored, &error), error, name);
    return buffer.substr(0, stored);
}

void SessionTest::TearDown() {
    for (const ZOR_CONNECTION_HANDLE connection : connections)
        ZorCloseConnection(connection, nullptr);
    if (!clientMayBreakRules) {
        EXPECT_EQ(system.violationText(), "");
    }
}

Parameters SessionTest::logon(const Parameters& changes) const {
    Parameters parameters = {{"GWHOST", "127.0.0.1"}, {"GWSERV", system.gatewayService()},
                             {"CLIENT", "100"},       {"USER", "DEMO"},
                             {"PASSWD", "welcome"},   {"LANG", "EN"}};
    for (const auto& [name, value] : changes) {
        std::erase_if(parameters, [&name = name](const auto& pair) { return pair.first == name; });
        if (!value.empty()) parameters.emplace_back(name, value);
    }
    return parameters;
}

ZOR_CONNECTION_HANDLE SessionTest::connect(const Parameters& changes) {
    const ZOR_CONNECTION_HANDLE connection = open(logon(changes), error);
    EXPECT_NE(connection, nullptr) << error.code << ' ' << error.key << ": " << error.message << '\n'
                                   << system.violationText();
    if (connection == nullptr) throw std::runtime_error("no connection");
    connections.push_back(connection);
    return connection;
}

bool SessionTest::isValid(ZOR_CONNECTION_HANDLE connection) const {
    ZOR_ERROR_INFO info;
    int valid = 0;
    ZorIsConnectionHandleValid(connection, &valid, &info);
    return valid != 0;
}

ZOR_RC SessionTest::invoke(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE function) {
    error = {};
    return ZorInvoke(connection, function, &error);
}
