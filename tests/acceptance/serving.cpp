#include "serving.h"

#include <unistd.h>

#include <atomic>
#include <cstring>
#include <map>
#include <mutex>

namespace {

/** What the installed functions do. Made at first use: a program that a gateway starts serves early. */
struct ServedFunctions {
    std::mutex lock;
    std::map<std::string, Served> byName;
};

ServedFunctions& servedFunctions() {
    static ServedFunctions all;
    return all;
}

/** The one function that is ever installed: what it does hangs on its name and system. */
ZOR_RC serve(const char* system, ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call,
             ZOR_ERROR_INFO* info) {
    ZOR_UBIX_NAME name;
    ZorGetFunctionName(ZorDescribeFunction(call, nullptr), name, nullptr);
    Served served;
    {
        const std::lock_guard lock(servedFunctions().lock);
        served = servedFunctions().byName[std::string(name) + system];
    }
    return served(connection, call, info);
}

ZOR_RC serveAll(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    return serve("", connection, call, info);
}

ZOR_RC serveSystem(ZOR_CONNECTION_HANDLE connection, ZOR_FUNCTION_HANDLE call, ZOR_ERROR_INFO* info) {
    return serve("@", connection, call, info);
}

std::string keyOf(const std::string& name, const std::string& system) {
    return system.empty() ? name : name + "@";
}

}  // namespace

ZOR_FUNCTION_DESC_HANDLE describeTextFunction(const char* name) {
    const ZOR_FUNCTION_DESC_HANDLE made = ZorCreateFunctionDesc(name, nullptr);
    const struct {
        const char* name;
        ZOR_DIRECTION direction;
    } parameters[] = {{"TEXT", ZOR_IMPORT}, {"RESULT", ZOR_EXPORT}, {"UNASKED", ZOR_EXPORT}};
    for (const auto& p : parameters) {
        ZOR_PARAMETER_DESC parameter{};
        std::strcpy(parameter.name, p.name);
        parameter.type = ZORTYPE_CHAR;
        parameter.direction = p.direction;
        parameter.nucLength = 100;
        parameter.ucLength = 200;
        EXPECT_EQ(ZorAddParameter(made, &parameter, nullptr), ZOR_OK);
    }
    return made;
}

ServedFunction::ServedFunction(const char* name, Served served, const char* system)
    : name(name), system(system != nullptr ? system : ""), description(describeTextFunction(name)) {
    {
        const std::lock_guard lock(servedFunctions().lock);
        servedFunctions().byName[keyOf(this->name, this->system)] = std::move(served);
    }
    EXPECT_EQ(
        ZorInstallServerFunction(system, description, system != nullptr ? serveSystem : serveAll, nullptr),
        ZOR_OK);
}

ServedFunction::~ServedFunction() {
    ZorInstallServerFunction(system.c_str(), description, nullptr, nullptr);
    ZorDestroyFunctionDesc(description, nullptr);
}

ZOR_RC reply(ZOR_FUNCTION_HANDLE call, std::string_view text) {
    return ZorSetString(call, "RESULT", text.data(), static_cast<unsigned>(text.size()), nullptr);
}

void fill(ZOR_ERROR_INFO* info, const char* key, const char* message) {
    std::strcpy(info->key, key);
    std::strcpy(info->message, message);
}

Served echoWith(std::string_view tail) {
    return [tail = std::string(tail)](auto, ZOR_FUNCTION_HANDLE call, auto) {
        return reply(call, textOf(call, "TEXT") + tail);
    };
}

zordev::DevOptions ServingTest::patient() {
    zordev::DevOptions options;
    options.programs.wait = std::chrono::seconds(60);
    return options;
}

std::vector<ZOR_CONNECTION_PARAMETER> ServingTest::registration(
    std::vector<ZOR_CONNECTION_PARAMETER> changes) {
    service = system.gatewayService();
    changes.push_back({"TPNAME", program});
    changes.push_back({"GWHOST", "127.0.0.1"});
    changes.push_back({"GWSERV", service.c_str()});
    return changes;
}

zordev::ProgramAnswer ServingTest::call(const char* function, std::string_view text) {
    return system.callRegistered(program, function, textCall(text));
}

std::future<zordev::ProgramAnswer> ServingTest::callLater(const char* function, std::string text) {
    return std::async(std::launch::async,
                      [this, function, text = std::move(text)] { return call(function, text); });
}

std::vector<zordev::ProgramParameter> textCall(std::string_view text) {
    return {zordev::wantedParameter("RESULT"), zordev::textParameter("TEXT", text, 100)};
}

std::string resultOf(const zordev::ProgramAnswer& answer) {
    const std::string result = answer.field("RESULT").value_or("no result: " + answer.failure);
    return result.substr(0, result.find_last_not_of(' ') + 1);
}

ZOR_SERVER_HANDLE launchOnFreePort(const char* threads, std::string& port, const Parameterized& create) {
    static std::atomic<unsigned> tries{static_cast<unsigned>(getpid()) * 7};
    for (int attempt = 0; attempt < 100; ++attempt) {
        port = std::to_string(20000 + (tries += 131) % 12000);
        const ZOR_SERVER_HANDLE server = create({{"SERVER_PORT", port.c_str()}, {"REG_COUNT", threads}});
        if (ZorLaunchServer(server, nullptr) == ZOR_OK) return server;
        ZorDestroyServer(server, nullptr);
    }
    return nullptr;
}

ZOR_CONNECTION_HANDLE openSocket(const std::string& port, ZOR_ERROR_INFO& error) {
    return open({{"SERVER_HOST", "127.0.0.1"}, {"SERVER_PORT", port}}, error);
}
