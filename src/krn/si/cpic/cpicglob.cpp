#include "krn/si/cpic/cpicglob.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>

#include "base/thr/thr.h"
#include "krn/si/cpic/cpicerr.h"

namespace {

constexpr CPIC_INT NI_MAX_HANDLES = 65536;
constexpr std::size_t MY_HOSTNAME_SIZE = 129;

THR_CS_TYPE getenv_cs;
THR_CS_TYPE name_cs;
std::string programName THR_GUARDED_BY(name_cs);

std::optional<std::string> STIGetenv(const KEL_CHAR* name) {
    const ThrCSGuard guard(getenv_cs);
    const KEL_CHAR* value = std::getenv(name);
    if (!value) return std::nullopt;
    return value;
}

/** A setting that must be a whole number within its range. */
void number(const KEL_CHAR* name, CPIC_INT low, CPIC_INT high, CPIC_INT& setting) {
    const std::optional<std::string> text = STIGetenv(name);
    if (!text) return;
    CPIC_INT value = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    if (error == std::errc() && *end == '\0' && value >= low && value <= high) setting = value;
}

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/** The program's name as the system has it. */
std::string systemName() {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    std::string path;
    std::getline(file, path, '\0');
    const std::string name = lastComponent(path);
    return name.empty() ? "KELCPIC" : name;
}

std::string ownName() {
    const ThrCSGuard guard(name_cs);
    return (programName.empty() ? systemName() : programName).substr(0, CPIC_TP_NAME_SIZE - 1);
}

CPIC_GLOBALS readSettings() {
    CPIC_GLOBALS globals;
    number("CPIC_MAX_CONV", 1, 1023999, globals.cpic_max_conv);
    number("CPIC_CONNECT_TIMEOUT", 1, 86399999, globals.cpic_connect_timeout);
    number("CPIC_CONNECT_TIMEOUT", -1, -1, globals.cpic_connect_timeout);
    globals.cpic_buffering = !STIGetenv("CPIC_BUFFERING").value_or("1").starts_with('0');
    if (const auto local = STIGetenv("CPIC_USE_UDS")) NiSetConnLocal(std::atoi(local->c_str()) > 0);
    NiInit2(NI_MAX_HANDLES);
    KEL_CHAR host[MY_HOSTNAME_SIZE];
    globals.my_hostname = NiMyHostName(host, sizeof host) == NI_OK ? host : "";
    globals.my_TP_name = ownName();
    globals.user = STIGetenv("USER").value_or(globals.my_hostname);
    if (globals.user.empty()) globals.user = "?";
    return globals;
}

}  // namespace

const CPIC_GLOBALS& STInitGlobals() noexcept {
    static const CPIC_GLOBALS globals = readSettings();
    return globals;
}

void STISetProgramName(const KEL_CHAR* path) noexcept {
    const ThrCSGuard guard(name_cs);
    programName = lastComponent(path);
}

CM_RETCODE KEL_CPIC_PROCESS_ATTACH(KEL_CHAR** argv) noexcept {
    if (argv && argv[0]) STISetProgramName(argv[0]);
    STInitGlobals();
    return CM_OK;
}

CM_RETCODE KEL_CPIC_THREAD_ATTACH() noexcept {
    return CM_OK;
}

CM_RETCODE KEL_CMGETOWNNAME(KEL_CHAR* own_name, CPIC_INT* own_name_length, CM_RETCODE* return_code) noexcept {
    const std::string& name = STInitGlobals().my_TP_name;
    std::memcpy(own_name, name.c_str(), name.size() + 1);
    *own_name_length = static_cast<CPIC_INT>(name.size());
    return STIReturn(CM_OK, return_code);
}

CPIC_INT KEL_CMGETVERSION() noexcept {
    return CPIC_VERSION;
}

const KEL_CHAR* KEL_CMBUILDVERSION() noexcept {
    return "CPIC library release 753";
}
