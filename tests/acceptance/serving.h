/** What the tests of servers share: functions that partners call, and calls of the development system. */
#pragma once

#include <functional>
#include <future>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "session.h"

/** What an installed function does. */
using Served = std::function<ZOR_RC(ZOR_CONNECTION_HANDLE, ZOR_FUNCTION_HANDLE, ZOR_ERROR_INFO*)>;

/** A description with a text in (TEXT), a text back (RESULT) and a result that nobody asks for (UNASKED). */
ZOR_FUNCTION_DESC_HANDLE describeTextFunction(const char* name);

/** A function with a text in and one back, installed for a system or for all as long as this lives. */
class ServedFunction {
  public:
    ServedFunction(const char* name, Served served, const char* system = nullptr);
    ServedFunction(const ServedFunction&) = delete;
    ~ServedFunction();

  private:
    std::string name;
    std::string system;
    ZOR_FUNCTION_DESC_HANDLE description;
};

/** Writes RESULT. */
ZOR_RC reply(ZOR_FUNCTION_HANDLE call, std::string_view text);
void fill(ZOR_ERROR_INFO* info, const char* key, const char* message);

/** Gives back the text that came, with something behind it. */
Served echoWith(std::string_view tail);

/** A development system whose callers wait for programs, and a server's parameters for it. */
class ServingTest : public SessionTest {
  protected:
    explicit ServingTest(zordev::DevOptions options = patient()) : SessionTest(std::move(options)) {}

    static zordev::DevOptions patient();
    /** Parameters of a registration as `program`; those given go in front. */
    std::vector<ZOR_CONNECTION_PARAMETER> registration(std::vector<ZOR_CONNECTION_PARAMETER> changes = {});
    zordev::ProgramAnswer call(const char* function, std::string_view text = "");
    std::future<zordev::ProgramAnswer> callLater(const char* function, std::string text = "");
    template <class Condition>
    static bool await(Condition condition) {
        for (int i = 0; i < 3000; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(10)))
            if (condition()) return true;
        return false;
    }
    /** The gateway hears of an end a moment after it. */
    bool awaitUnregistered() {
        return await([this] { return system.programs(program).instances == 0; });
    }

    static constexpr const char* program = "acceptance.program";

  private:
    std::string service;
};

/** The parameters of a call, and the text that came back without its blanks. */
std::vector<zordev::ProgramParameter> textCall(std::string_view text);
std::string resultOf(const zordev::ProgramAnswer& answer);

/** A call of a function with a text in and one back, by a client. */
class TextCall {
  public:
    explicit TextCall(const char* name) : description(describeTextFunction(name)) {
        container = ZorCreateFunction(description, nullptr);
    }
    TextCall(const TextCall&) = delete;
    ~TextCall() {
        ZorDestroyFunction(container, nullptr);
        ZorDestroyFunctionDesc(description, nullptr);
    }
    std::string operator()(ZOR_CONNECTION_HANDLE client, std::string_view text) {
        ZOR_ERROR_INFO info;
        ZorSetString(container, "TEXT", text.data(), static_cast<unsigned>(text.size()), nullptr);
        ZorSetParameterActive(container, "UNASKED", 0, nullptr);
        rc = ZorInvoke(client, container, &info);
        return rc == ZOR_OK ? textOf(container, "RESULT") : info.message;
    }
    ZOR_RC rc = ZOR_OK;

  private:
    ZOR_FUNCTION_DESC_HANDLE description;
    ZOR_FUNCTION_HANDLE container;
};

using Parameterized = std::function<ZOR_SERVER_HANDLE(const std::vector<ZOR_CONNECTION_PARAMETER>&)>;

/**
 * Launches a socket server that `create` makes, on a port that is free, which `port` takes. Makes another one
 * where it isn't. NULL if none starts.
 */
ZOR_SERVER_HANDLE launchOnFreePort(const char* threads, std::string& port, const Parameterized& create);

/** Logs on to a socket server; NULL with the record filled on failure. */
ZOR_CONNECTION_HANDLE openSocket(const std::string& port, ZOR_ERROR_INFO& error);
