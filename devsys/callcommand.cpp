#include "devsys/callcommand.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <stdexcept>

#include "devsys/gatewaystream.h"
#include "devsys/programsession.h"
#include "wire/zorid.h"

namespace zordev {
namespace {

// Bytes from pairs of hexadecimal digits.
std::string fromHex(std::string_view digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        std::size_t used = 0;
        const std::string pair(digits.substr(i, 2));
        const int byte = std::stoi(pair, &used, 16);
        if (used != 2) throw std::invalid_argument(pair);
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

// NAME asks for a result; NAME=text, NAME=i:number, NAME=s:string and NAME=x:bytes give a value.
ProgramParameter parameterFrom(const std::string& text) {
    const std::size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    if (equals == std::string::npos) return wantedParameter(name);
    const std::string value = text.substr(equals + 1);
    const std::string kind = value.substr(0, 2);
    const std::string rest = value.size() < 2 ? std::string() : value.substr(2);
    try {
        if (kind == "i:") return intParameter(name, std::stoi(rest));
        if (kind == "s:") return stringParameter(name, rest);
        return {.name = name, .value = kind == "x:" ? fromHex(rest) : value};
    } catch (const std::logic_error&) {
        throw std::runtime_error("the value of " + name + " is no number");
    }
}

void print(const std::string& name, const std::string& value) {
    const bool plain = std::ranges::all_of(value, [](char c) { return c >= ' ' && c <= '~'; });
    std::printf("%s=%s", name.c_str(), plain ? value.c_str() : "x:");
    for (const char byte : plain ? std::string_view() : std::string_view(value))
        std::printf("%02X", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    std::printf("\n");
}

// Fields, rows and failures, in the order in which they came.
void print(const ProgramAnswer& answer) {
    std::string name;
    for (const RecordedItem& item : answer.items) {
        const std::string payload(item.payload.begin(), item.payload.end());
        switch (item.id) {
            case ZORID_FieldName:
            case ZORID_TableName:
                name = payload;
                break;
            case ZORID_FieldValue:
            case ZORID_TableContent:
                print(name, payload);
                break;
            case ZORID_Exception:
                print("exception", payload);
                break;
            case ZORID_SnapDump:
                print("dump", payload);
                break;
            case ZORID_ErrorMessage:
                print("message", payload);
                break;
            default:
                break;
        }
    }
}

}  // namespace

CLI::App* CallCommand::addTo(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("call", "Call a program that is registered at a running one");
    command->add_option("--gwserv", gatewayPort, "Port of the gateway")->required();
    command->add_option("--limit", limitMs, "Milliseconds that the answer may take");
    command->add_flag("--trace", trace, "Ask the program for a trace");
    command->add_option("program", programId, "Program id")->required();
    command->add_option("function", function, "Function")->required();
    command->add_option("parameters", parameters,
                        "NAME asks for a result; NAME=text, NAME=i:42, NAME=s:string, NAME=x:0A0B");
    return command;
}

int CallCommand::run() const {
    std::vector<ProgramParameter> values;
    std::ranges::transform(parameters, std::back_inserter(values), parameterFrom);
    ViolationLog log([](const std::string& line) { std::cerr << "violation: " << line << std::endl; });
    ProgramSession session(std::make_unique<GatewayStream>(gatewayPort, programId), {}, log);
    session.limit = std::chrono::milliseconds(limitMs);
    session.trace = trace;
    const ProgramAnswer answer = session.call(function, values);
    print(answer);
    if (!answer.failure.empty()) std::cerr << "zordev: " << answer.failure << std::endl;
    return answer.failure.empty() && log.all().empty() ? 0 : 1;
}

}  // namespace zordev
