#include "krn/si/cpic/cpicglob.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <optional>

#include "base/thr/thr.h"
#include "krn/si/cpic/cpicerr.h"

namespace {

constexpr CPIC_INT NI_MAX_HANDLES = 65536;
constexpr std::size_t MY_HOSTNAME_SIZE = 129;

THR_CS_TYPE getenv_cs;
THR_CS_TYPE name_cs;
std::string programName THR_GUARDED_BY(name_cs);

/** Length of the table that KEL_CMMAXCONV asks for; 0 none, -1 once it is too late. */
std::atomic<CPIC_INT> maxConvWanted{0};

std::optional<std::string> STIGetenv(const KEL_CHAR* name) {
    const ThrCSGuard guard(getenv_cs);
    const KEL_CHAR* value = std::getenv(name);
    if (!value) return std::nullopt;
    return value;
}

std::optional<CPIC_INT> wholeNumber(const std::string& text) {
    CPIC_INT value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || *end != '\0') return std::nullopt;
    return value;
}

/** Settings that are whole numbers, each with its range. */
struct NumberRow {
    const KEL_CHAR* name;
    CPIC_INT CPIC_GLOBALS::*setting;
    CPIC_INT low;
    CPIC_INT high;
};
constexpr CPIC_INT ANY = std::numeric_limits<CPIC_INT>::max();
constexpr CPIC_INT DAY_S = 86400;
constexpr CPIC_INT MAX_CONV = 1023999;
constexpr NumberRow NUMBERS[] = {
    {"CPIC_MAX_CONV", &CPIC_GLOBALS::cpic_max_conv, 1, MAX_CONV},
    {"CPIC_TRACE_LEN", &CPIC_GLOBALS::cpic_trace_len, 0, ANY},
    {"CPIC_CONNECT_TIMEOUT", &CPIC_GLOBALS::cpic_connect_timeout, 1, DAY_S * 1000 - 1},
    {"CPIC_CONNECT_TIMEOUT", &CPIC_GLOBALS::cpic_connect_timeout, -1, -1},
    {"CPIC_TRACE_RAW", &CPIC_GLOBALS::cpic_trace_raw, 0, ANY},
    {"CPIC_TRACE_APPCHDR", &CPIC_GLOBALS::cpic_trace_appchdr, 0, ANY},
    {"CPIC_PING_REPLY", &CPIC_GLOBALS::cpic_ping_reply, 0, ANY},
    {"CPIC_PING_PERIOD", &CPIC_GLOBALS::cpic_ping_period, 1, DAY_S},
    {"CPIC_PING_TIMEOUT", &CPIC_GLOBALS::cpic_ping_timeout, 1, DAY_S * 1000 - 1},
    {"CPIC_SELECT_CHECK_PERIOD", &CPIC_GLOBALS::cpic_select_check_period, 10, DAY_S},
    {"CPIC_SELECT_CHECK_TIMEOUT", &CPIC_GLOBALS::cpic_select_check_timeout, 1, DAY_S},
    {"CPIC_NO_NICHECK", &CPIC_GLOBALS::cpic_no_nicheck, 1, ANY},
    {"CPIC_TRACE", &CPIC_GLOBALS::trace_level, 0, 3},
    {"CPIC_TRACE_LOGGING", &CPIC_GLOBALS::trace_file_size, 1, 1 << 20},
};

/** Settings that are switches. */
struct SwitchRow {
    const KEL_CHAR* name;
    bool CPIC_GLOBALS::*setting;
};
constexpr SwitchRow SWITCHES[] = {
    {"CPIC_USE_UDS", &CPIC_GLOBALS::cpic_use_uds},
    {"CPIC_WITH_LU_ADDR", &CPIC_GLOBALS::cpic_with_lu_addr},
    {"CPIC_PING", &CPIC_GLOBALS::cpic_ping},
};

std::string lastComponent(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/** The program's name as the system has it; other ways to ask for it would read the same file. */
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
    CPIC_GLOBALS globals = STIReadSettings(STIGetenv);
    if (const CPIC_INT wanted = maxConvWanted.exchange(-1); wanted > 0) globals.cpic_max_conv = wanted;
    NiSetConnLocal(globals.cpic_use_uds);
    NiInit2(NI_MAX_HANDLES);
    KEL_CHAR host[MY_HOSTNAME_SIZE];
    globals.my_hostname = NiMyHostName(host, sizeof host) == NI_OK ? host : "";
    globals.my_TP_name = ownName();
    if (globals.user.empty()) globals.user = globals.my_hostname.empty() ? "?" : globals.my_hostname;
    return globals;
}

}  // namespace

CPIC_GLOBALS STIReadSettings(const CPIC_GETENV& environment) {
    CPIC_GLOBALS globals;
    for (const NumberRow& row : NUMBERS) {
        const auto value = wholeNumber(environment(row.name).value_or(""));
        if (value && *value >= row.low && *value <= row.high) globals.*row.setting = *value;
    }
    for (const SwitchRow& row : SWITCHES)
        if (const auto text = environment(row.name)) globals.*row.setting = std::atoi(text->c_str()) > 0;
    globals.cpic_buffering = !environment("CPIC_BUFFERING").value_or("1").starts_with('0');
    globals.trace_dir = environment("CPIC_TRACE_DIR").value_or("");
    if (const auto file = environment("SIDE_INFO"); file && !file->empty()) globals.side_info = *file;
    globals.user = environment("USER").value_or("");
    return globals;
}

const CPIC_GLOBALS& STInitGlobals() noexcept {
    static const CPIC_GLOBALS globals = readSettings();
    return globals;
}

void STISetProgramName(const KEL_CHAR* path) noexcept {
    const ThrCSGuard guard(name_cs);
    programName = lastComponent(path);
}

CM_RETCODE KEL_CPIC_PROCESS_ATTACH(KEL_CHAR** argv) noexcept {
    if (argv && argv[0]) {
        STISetProgramName(argv[0]);
        KEL_CMACCP(argv, nullptr);
    }
    STInitGlobals();
    return CM_OK;
}

CM_RETCODE KEL_CPIC_THREAD_ATTACH() noexcept {
    return CM_OK;
}

CM_RETCODE KEL_CMMAXCONV(CPIC_INT conversations, CM_RETCODE* return_code) noexcept {
    if (conversations < 1 || conversations > MAX_CONV)
        return STIReturn(STIBadArgument("KEL_CMMAXCONV", "conversations", conversations), return_code);
    CPIC_INT present = maxConvWanted;
    while (present >= 0 && !maxConvWanted.compare_exchange_weak(present, conversations)) {
    }
    return STIReturn(present >= 0 ? CM_OK : CM_PRODUCT_SPECIFIC_ERROR, return_code);
}

CM_RETCODE KEL_CMTIMEOUT(CPIC_INT ti, CM_RETCODE* return_code) noexcept {
    if (ti < -1) return STIReturn(STIBadArgument("KEL_CMTIMEOUT", "ti", ti), return_code);
    cpic_timeout = ti;
    return STIReturn(CM_OK, return_code);
}

CM_RETCODE KEL_CMUSESIDEINFO(bool use, CM_RETCODE* return_code) noexcept {
    cpic_use_sideinfo = use;
    return STIReturn(CM_OK, return_code);
}

void KEL_CPIC_SET_SOCK_WAITER(CPIC_SOCK_WAITER waiter) noexcept {
    cpic_sock_waiter = waiter;
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
