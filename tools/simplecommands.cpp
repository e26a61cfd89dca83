#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "keys.h"
#include "texttable.h"

namespace zortool {

namespace {

namespace fs = std::filesystem;

struct AttributeRow {
    const char* name;
    const char* text;
    std::string value;
};

// The members of the attributes that say something.
std::vector<AttributeRow> rowsOf(const ZOR_ATTRIBUTES& a) {
    std::vector<AttributeRow> rows = {
        {"dest", "destination", a.dest},
        {"host", "own host", a.host},
        {"partnerHost", "partner's host", a.partnerHost},
        {"sysNumber", "system number", a.sysNumber},
        {"sysId", "system", a.sysId},
        {"client", "client", a.client},
        {"user", "user", a.user},
        {"language", "language key", a.language},
        {"isoLanguage", "language", a.isoLanguage},
        {"trace", "trace level", a.trace},
        {"codepage", "own code page", a.codepage},
        {"partnerCodepage", "partner's code page", a.partnerCodepage},
        {"partnerSystemCodepage", "partner's system code page", a.partnerSystemCodepage},
        {"partnerBytesPerChar", "partner's bytes per character", a.partnerBytesPerChar},
        {"zorRole", "own role", a.zorRole},
        {"type", "own type", a.type},
        {"partnerType", "partner's type", a.partnerType},
        {"rel", "own release", a.rel},
        {"partnerRel", "partner's release", a.partnerRel},
        {"kernelRel", "partner's kernel release", a.kernelRel},
        {"cpicConvId", "conversation", a.cpicConvId},
        {"progName", "partner's program", a.progName},
    };
    for (AttributeRow& row : rows)
        row.value = kelzor::toUtf8(row.value);
    return rows;
}

std::string milliseconds(std::chrono::steady_clock::duration duration) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f ms", std::chrono::duration<double, std::milli>(duration).count());
    return text;
}

double inMilliseconds(std::chrono::steady_clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

}  // namespace

void writeJson(std::ostream& out, const Json& json) {
    out << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

int ping(Settings& settings, const PingOptions& options) {
    using Clock = std::chrono::steady_clock;
    Interrupts interrupts;
    settings.target.prepare();
    const Clock::time_point start = Clock::now();
    kelzor::Connection connection = settings.target.open();
    const auto opened = Clock::now() - start;
    const Interrupts::Watch watch(interrupts, connection);
    const std::string system = kelzor::toUtf8(connection.attributes().sysId);
    Json times = Json::array();
    for (unsigned i = 0; i < options.count && interrupts.stopping() == 0; i++) {
        const Clock::time_point before = Clock::now();
        const auto pinged = kelzor::attempt([&] { connection.ping(); });
        const auto took = Clock::now() - before;
        if (interrupts.stopping() != 0) break;
        if (!pinged) throw Problem(pinged.error(), "the ping", settings.target.where());
        times.push_back(inMilliseconds(took));
        if (!settings.json)
            std::cout << "answer of " << (system.empty() ? "the partner" : system) << " in "
                      << milliseconds(took)
                      << (i == 0 ? " (connection and logon took " + milliseconds(opened) + ")" : "")
                      << std::endl;
    }
    if (settings.json)
        writeJson(std::cout,
                  {{"system", system}, {"openedMs", inMilliseconds(opened)}, {"answeredMs", times}});
    return interrupts.stopping() != 0 ? interrupts.exitStatus() : 0;
}

int info(Settings& settings) {
    const Interrupts interrupts;
    settings.target.prepare();
    const kelzor::Connection connection = settings.target.open();
    Json json = Json::object();
    TextList list;
    for (const AttributeRow& row : rowsOf(connection.attributes())) {
        json[row.name] = row.value;
        if (!row.value.empty()) list.add(row.text, oneLine(row.value));
    }
    if (settings.json)
        writeJson(std::cout, json);
    else
        list.write(std::cout);
    return 0;
}

int keys(const Settings& settings) {
    Json json = Json::array();
    std::string group;
    TextTable table({{"OPTION"}, {"VALUE"}, {"IN KELZOR.INI"}, {"MEANING"}});
    const auto flush = [&] {
        if (table.empty()) return;
        std::cout << group << ":\n";
        table.write(std::cout, "  ");
        std::cout << '\n';
        table = TextTable({{"OPTION"}, {"VALUE"}, {"IN KELZOR.INI"}, {"MEANING"}});
    };
    for (const ConnectionKey& key : connectionKeys()) {
        json.push_back(
            {{"option", optionOf(key)}, {"key", key.name}, {"group", key.group}, {"meaning", key.help}});
        if (settings.json) continue;
        if (group != key.group) flush();
        group = key.group;
        table.add({optionOf(key), key.argument, key.name, key.help});
    }
    if (settings.json)
        writeJson(std::cout, json);
    else
        flush();
    return 0;
}

int dev(const std::vector<std::string>& arguments) {
    std::error_code error;
    const fs::path own = fs::read_symlink("/proc/self/exe", error);
    const fs::path program = own.parent_path() / "zordev";
    std::string name = program.string();
    std::vector<char*> pointers = {name.data()};
    std::vector<std::string> copies = arguments;
    for (std::string& argument : copies)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    execv(name.c_str(), pointers.data());
    throw Problem(exitInput, "the development system " + name + " can't be started: " + std::strerror(errno),
                  "It is installed beside zor, or built by the target zordev.");
}

}  // namespace zortool
