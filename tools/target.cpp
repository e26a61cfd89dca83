#include "target.h"

#include <string.h>

#include "keys.h"
#include "problem.h"

namespace zortool {

namespace fs = std::filesystem;

namespace {

std::string listed(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + name;
    return list;
}

// The library reads a file of this name only, so the directory is what counts.
fs::path iniFileOf(const std::string& given) {
    const fs::path path(given.empty() ? "." : given);
    const fs::path file = fs::is_directory(path) ? path / "kelzor.ini" : path;
    if (file.filename() != "kelzor.ini")
        throw Problem(exitUsage, given + " isn't called kelzor.ini",
                      "Give --ini a kelzor.ini or its directory.");
    return file;
}

}  // namespace

ConnectionParameters::~ConnectionParameters() {
    for (auto& [name, value] : all_)
        explicit_bzero(value.data(), value.size());
}

void Target::prepare(Role role) {
    readIni();
    const bool registers = !valueOf("TPNAME").empty() || !valueOf("PROGRAM_ID").empty();
    if (role == Role::server && !registers && valueOf("SERVER_PORT").empty())
        throw Problem(
            exitUsage, "nothing says where to serve",
            "Give --tpname, --gwhost and --gwserv to register at a gateway, or --server-port to listen on.");
    if (where().empty() && role == Role::client)
        throw Problem(
            exitUsage, "nothing says where to connect",
            "Give --gwhost and --gwserv, or --ashost and --sysnr, or a destination of kelzor.ini by --dest. "
            "`zor dev` starts a system to try with.");
    applyTrace();
    readSecrets(role);
}

void Target::readIni() {
    const fs::path file = iniFileOf(ini);
    const auto read = IniFile::read(file);
    if (!read && !ini.empty()) throw Problem(exitInput, file.string() + " can't be read", "Check --ini.");
    if (!ini.empty()) kelzor::setIniPath(file.has_parent_path() ? file.parent_path().string() : ".");
    const auto wanted = parameters.find("DEST");
    if (wanted == parameters.end()) return;
    if (!read)
        throw Problem(exitInput,
                      "there is no kelzor.ini in this directory, and so no destination " + wanted->second,
                      "Say where the file is: --ini DIRECTORY.");
    const IniFile::Section* section = read->destination(wanted->second);
    if (section == nullptr)
        throw Problem(
            exitUsage, file.string() + " has no destination " + wanted->second,
            read->names().empty() ? "It has none at all." : "It has: " + listed(read->names()) + ".");
    destination_ = *section;
}

void Target::applyTrace() const {
    if (!traceDirectory.empty()) {
        const auto set = kelzor::attempt([&] { kelzor::setTraceDirectory(traceDirectory); });
        if (!set)
            throw Problem(exitUsage, "no trace can be written to " + traceDirectory,
                          "--trace-dir has to be a directory that you may read and write.");
    }
    const auto level = parameters.find("TRACE");
    if (level == parameters.end()) return;
    if (level->second.size() != 1 || level->second[0] < '0' || level->second[0] > '3')
        throw Problem(exitUsage, "--trace takes a level from 0 to 3, not " + level->second);
    kelzor::setTraceLevel(static_cast<unsigned>(level->second[0] - '0'));
}

void Target::readSecrets(Role role) {
    for (const ConnectionKey& key : connectionKeys()) {
        const auto given = parameters.find(key.name);
        if (!key.secret || given == parameters.end()) continue;
        secrets_[key.name] = readSecret(given->second, std::string(key.name) + " of " + where());
    }
    const bool program = !valueOf("TPNAME").empty() || !valueOf("PROGRAM_ID").empty();
    if (role == Role::server || valueOf("USER").empty() || hasCredentials() || program || batch ||
        !canPrompt())
        return;
    secrets_["PASSWD"] = readSecret("prompt", "Password of " + valueOf("USER"));
}

bool Target::hasCredentials() const {
    for (const char* name : {"PASSWD", "MYKELSSO2", "X509CERT", "EXTIDDATA", "VSL_PARTNERNAME"})
        if (!valueOf(name).empty()) return true;
    return false;
}

std::string Target::valueOf(const std::string& name) const {
    const auto given = parameters.find(name);
    if (given != parameters.end()) return given->second;
    const auto known = destination_.find(name);
    return known != destination_.end() ? known->second : std::string();
}

std::string Target::where() const {
    std::string text;
    const auto add = [&](const char* label, const std::string& value) {
        if (!value.empty()) text += (text.empty() ? "" : ", ") + std::string(label) + value;
    };
    add("destination ", valueOf("DEST"));
    const std::string gateway = valueOf("GWHOST"), server = valueOf("ASHOST");
    add("route ", valueOf("KELROUTER"));
    add("message server ", valueOf("MSHOST"));
    add("", gateway.empty() ? server : gateway);
    add("service ", valueOf("GWSERV"));
    add("system number ", valueOf("SYSNR"));
    add("program ", valueOf("TPNAME") + valueOf("PROGRAM_ID"));
    add("port ", valueOf("SERVER_PORT"));
    add("client ", valueOf("CLIENT"));
    add("user ", valueOf("USER"));
    return text;
}

ConnectionParameters Target::list() const {
    ConnectionParameters list;
    for (const auto& [name, value] : parameters) {
        const auto secret = secrets_.find(name);
        list.add(name, kelzor::fromUtf8(secret != secrets_.end() ? secret->second.text() : value));
    }
    for (const auto& [name, secret] : secrets_)
        if (!parameters.contains(name)) list.add(name, kelzor::fromUtf8(secret.text()));
    return list;
}

kelzor::Connection Target::open() const {
    auto connection = kelzor::attempt([&] { return kelzor::Connection::open(list().all()); });
    if (connection) return std::move(connection).value();
    const bool logon = connection.error().code() == ZOR_LOGON_FAILURE;
    Problem problem(connection.error(), logon ? "logging on" : "opening the connection", where());
    if (connection.error().code() == ZOR_COMMUNICATION_FAILURE)
        problem.setHint(
            "Check host and service (--gwhost and --gwserv, or --ashost and --sysnr), and whether the "
            "partner runs. "
            "`zor dev` starts a system to try with.");
    if (logon && secrets_.empty() && !hasCredentials())
        problem.setHint(
            "No password was given: --passwd prompt, fd:N, file:PATH or env:NAME, or PASSWD in kelzor.ini.");
    throw problem;
}

}  // namespace zortool
