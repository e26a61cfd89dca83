#include "callsession.h"

#include <unistd.h>

#include <cstdio>
#include <string>

#include "barerelay.h"
#include "devsys/zordev.h"

namespace {

void check(const ZOR_ERROR_INFO& error, const char* what) {
    if (error.code != ZOR_OK) die(std::string(what) + ": " + error.message);
}

void add(ZOR_FUNCTION_DESC_HANDLE function, const char* name, ZORTYPE type, ZOR_DIRECTION direction,
         unsigned length, unsigned wide, ZOR_TYPE_DESC_HANDLE desc = nullptr) {
    ZOR_ERROR_INFO error{};
    ZOR_PARAMETER_DESC parameter{};
    std::snprintf(parameter.name, sizeof parameter.name, "%s", name);
    parameter.type = type;
    parameter.direction = direction;
    parameter.nucLength = length;
    parameter.ucLength = wide;
    parameter.typeDescHandle = desc;
    ZorAddParameter(function, &parameter, &error);
    check(error, name);
}

}  // namespace

void serveGateway(int channel) {
    zordev::DevOptions options;
    options.recordRequests = false;
    const zordev::DevSystem system(std::move(options));
    reportPort(channel, system.gatewayPort());
    pause();
}

void serveRelay(int channel) {
    runBareRelay(listenAndReport(channel));
}

ZOR_FUNCTION_DESC_HANDLE describeScalars() {
    ZOR_ERROR_INFO error{};
    const struct {
        const char* name;
        ZORTYPE type;
        unsigned length;
    } rows[] = {{"CHAR1", ZORTYPE_CHAR, 10}, {"CHAR2", ZORTYPE_CHAR, 40}, {"NUM", ZORTYPE_NUM, 8},
                {"DATE", ZORTYPE_DATE, 8},   {"TIME", ZORTYPE_TIME, 6},   {"INT", ZORTYPE_INT, 4},
                {"INT2", ZORTYPE_INT2, 2},   {"FLOAT", ZORTYPE_FLOAT, 8}, {"BCD", ZORTYPE_BCD, 8},
                {"BYTE", ZORTYPE_BYTE, 16}};
    const ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("ECHO_TEN_SCALARS", &error);
    check(error, "ZorCreateFunctionDesc");
    for (const char* prefix : {"I_", "E_"})
        for (const auto& row : rows) {
            const bool text = row.type == ZORTYPE_CHAR || row.type == ZORTYPE_NUM ||
                              row.type == ZORTYPE_DATE || row.type == ZORTYPE_TIME;
            add(function, (prefix + std::string(row.name)).c_str(), row.type,
                *prefix == 'I' ? ZOR_IMPORT : ZOR_EXPORT, row.length, text ? 2 * row.length : row.length);
        }
    return function;
}

Session::Session(std::uint16_t port, const char* traceLevel)
    : Session({{"GWHOST", "127.0.0.1"},
               {"GWSERV", std::to_string(port).c_str()},
               {"CLIENT", "100"},
               {"USER", "DEMO"},
               {"PASSWD", "welcome"},
               {"LANG", "EN"},
               {"TRACE", traceLevel}}) {}

Session::Session(const std::vector<ZOR_CONNECTION_PARAMETER>& parameters) {
    connection_ = ZorOpenConnection(parameters.data(), static_cast<unsigned>(parameters.size()), &error_);
    check(error_, "ZorOpenConnection");
    const ZOR_FUNCTION_DESC_HANDLE description = describeScalars();
    scalars_ = ZorCreateFunction(description, &error_);
    check(error_, "ZorCreateFunction");
}

Session::~Session() {
    ZorDestroyFunction(scalars_, nullptr);
    if (lines_ != nullptr) ZorDestroyFunction(lines_, nullptr);
    ZorCloseConnection(connection_, nullptr);
}

void Session::callScalars() {
    ZorInvoke(connection_, scalars_, &error_);
    check(error_, "ECHO_TEN_SCALARS");
}

void Session::callLines() {
    ZorInvoke(connection_, lines_, &error_);
    check(error_, "ECHO_TABLE");
}

void Session::makeLines(unsigned rows) {
    const ZOR_TYPE_DESC_HANDLE line = ZorCreateTypeDesc("ECHO_LINE", &error_);
    ZOR_FIELD_DESC text{};
    std::snprintf(text.name, sizeof text.name, "TEXT");
    text.type = ZORTYPE_CHAR;
    text.nucLength = 100;
    text.ucLength = 200;
    ZorAddTypeField(line, &text, &error_);
    ZorSetTypeLength(line, 100, 200, &error_);
    check(error_, "ZorSetTypeLength");
    const ZOR_FUNCTION_DESC_HANDLE function = ZorCreateFunctionDesc("ECHO_TABLE", &error_);
    add(function, "LINES", ZORTYPE_TABLE, ZOR_TABLES, 100, 200, line);
    lines_ = ZorCreateFunction(function, &error_);
    check(error_, "ZorCreateFunction");
    ZOR_TABLE_HANDLE table = nullptr;
    ZorGetTable(lines_, "LINES", &table, &error_);
    ZorAppendNewRows(table, rows, &error_);
    check(error_, "ZorAppendNewRows");
    ZorDestroyTypeDesc(line, nullptr);
}
