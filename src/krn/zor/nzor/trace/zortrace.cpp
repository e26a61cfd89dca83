#include "trace/zortrace.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

#include "config/buildinfo.h"
#include "config/immortal.h"
#include "config/zorconfig.h"
#include "config/zorsysteminfo.h"
#include "error/zorliterals.h"

namespace {

constexpr const KEL_UC* dev_trc_name = "dev_zor.trc";
/** A pause longer than this, in seconds, leaves a line with the time. */
constexpr std::time_t quietSeconds = 2;
constexpr unsigned dumpLineBytes = 16;
constexpr unsigned dumpGroupBytes = 4;
constexpr size_t longestDirectory = 512;

struct TraceFile {
    KEL_ofstream stream;
    KEL_string name;
    std::time_t lastModified = 0;
};

struct TraceState {
    std::recursive_mutex cs_zortrace;
    std::map<int, TraceFile> traceCache;        ///< By thread id; in thread mode.
    std::unique_ptr<TraceFile> static_trc_out;  ///< In process mode.
    std::recursive_mutex cs_devtrace;
    std::unique_ptr<TraceFile> dev_zor_trace;
};

/** Never destroyed: threads may trace until the process ends. */
TraceState& traceState() {
    static Immortal<TraceState> state;
    return state.value;
}

KEL_string localTime(const KEL_UC* format) {
    const std::time_t now = ZorTrace::clock();
    std::tm parts{};
    KEL_UC buffer[64];
    if (::localtime_r(&now, &parts) == nullptr) return {};
    return {buffer, std::strftime(buffer, sizeof buffer, format, &parts)};
}

KEL_string workingDirectory() {
    KEL_UC buffer[4096];
    const KEL_UC* const directory = ::getcwd(buffer, sizeof buffer);
    return KEL_string(directory != nullptr ? directory : "").substr(0, longestDirectory);
}

void writeHeader(KEL_ofstream& trace) {
    const auto& system = kelSystemInfo();
    const auto& host = initZorSysInfo();
    trace.print("\n**** Trace file opened at %s %s\n", ZorTrace::timeString().c_str(),
                ZorTrace::timeZone().c_str());
    trace.print("%s, Release %s Patch Level %u, Compiled on %s %s\n", kelzorPatchComment,
                system.kern_rel.c_str(), system.kern_patchlevel, system.kern_comp_on.c_str(),
                system.kern_comp_time.c_str());
    trace.print(" CPIC library: %s, NI library: %d, Kernel Release: %s Patch Level %u\n",
                host.cpicVersion.c_str(), kelzorNiVersion, system.kern_rel.c_str(), system.kern_patchlevel);
    trace.print(" Current working directory: %s, Program: %s\n", workingDirectory().c_str(),
                host.programName.c_str());
    trace.print(" Hardware: %s %s, Operating_system: %s %s\n", system.keltype_text.c_str(),
                system.mtype.c_str(), system.opsys.c_str(), system.opsys_rel.c_str());
    trace.print(" Hostname: %s, IP address: %s, IPv6 address: %s\n\n", host.hostName.c_str(),
                host.ip_address.c_str(), host.ip_addressv6.c_str());
}

void openTrace(TraceFile& file) {
    file.stream.open(file.name);
    writeHeader(file.stream);
    file.lastModified = ZorTrace::clock();
}

/** Opens a file of this name in the trace directory. */
TraceFile openedFile(const KEL_string& name) {
    TraceFile file;
    file.name = ZorConfig::getTraceDir() + name;
    openTrace(file);
    return file;
}

void rotateIfLarge(TraceFile& file) {
    if (file.stream.length() <= ZorConfig::getMaxTracefileSize()) return;
    file.stream.close();
    (void)std::rename(file.name.c_str(), (file.name + ".old").c_str());
    openTrace(file);
}

/** The same for a file that this process alone writes: the system is asked only once the limit seems near. */
void rotateIfCountedLarge(TraceFile& file) {
    if (file.stream.countedLength() > ZorConfig::getMaxTracefileSize()) rotateIfLarge(file);
}

/** The calling thread's file, opened and of a size within bounds. Under cs_zortrace. */
TraceFile& threadFile(TraceState& state) {
    const int thread = ZorTrace::getThreadNumber();
    auto entry = state.traceCache.find(thread);
    if (entry != state.traceCache.end()) {
        rotateIfCountedLarge(entry->second);
        return entry->second;
    }
    if (state.traceCache.size() >= ZorTrace::MAX_CACHE_ENTRIES) state.traceCache.clear();
    return state.traceCache.emplace(thread, openedFile(ZorTrace::getFileName())).first->second;
}

/** The file of all threads. Under cs_zortrace. */
TraceFile& processFile(TraceState& state) {
    if (state.static_trc_out != nullptr)
        rotateIfCountedLarge(*state.static_trc_out);
    else
        state.static_trc_out = std::make_unique<TraceFile>(openedFile(ZorTrace::getFileName()));
    return *state.static_trc_out;
}

/** The log, which other processes write too. Under cs_devtrace. */
TraceFile& logFile(TraceState& state) {
    if (state.dev_zor_trace != nullptr)
        rotateIfLarge(*state.dev_zor_trace);
    else
        state.dev_zor_trace = std::make_unique<TraceFile>(openedFile(dev_trc_name));
    return *state.dev_zor_trace;
}

/** After a pause the reader of the trace is told the time. */
void writeTimeLine(TraceFile& file) {
    const std::time_t now = ZorTrace::clock();
    if (now - file.lastModified > quietSeconds) {
        file.stream.write({"*** ", ZorTrace::timeString(), "\n"});
        file.stream.flush();
    }
    file.lastModified = now;
}

/** What is slow or takes other locks comes before the trace locks. */
void prepare() {
    (void)ZorConfig::getGlobalTraceLevel();
    (void)initZorSysInfo();
}

void writeDumpLine(KEL_ofstream& trace, unsigned offset, const KEL_RAW* data, unsigned length) {
    trace.print("%06x | ", offset);
    KEL_UC characters[dumpLineBytes];
    for (unsigned i = 0; i < dumpLineBytes; ++i) {
        const KEL_RAW byte = i < length ? data[i] : KEL_RAW{0};
        characters[i] = byte >= ' ' && byte < 0x7F ? static_cast<KEL_UC>(byte) : '.';
        trace.print(i % dumpGroupBytes == dumpGroupBytes - 1 ? "%02X " : "%02X", byte);
    }
    trace.write("|");
    trace.write({characters, sizeof characters});
    trace.write("|\n");
}

}  // namespace

std::time_t (*ZorTrace::clock)() noexcept = []() noexcept { return std::time(nullptr); };

KEL_ofstream* ZorTrace::getTrace() {
    prepare();
    auto& state = traceState();
    std::unique_lock lock(state.cs_zortrace);
    TraceFile& file = ZorConfig::traceByThread() ? threadFile(state) : processFile(state);
    writeTimeLine(file);
    lock.release();
    return &file.stream;
}

void ZorTrace::returnTrace() noexcept {
    traceState().cs_zortrace.unlock();
}

void ZorTrace::close() noexcept {
    auto& state = traceState();
    {
        const std::lock_guard lock(state.cs_zortrace);
        state.traceCache.clear();
        state.static_trc_out.reset();
    }
    const std::lock_guard lock(state.cs_devtrace);
    state.dev_zor_trace.reset();
}

void ZorTrace::writeLog(const KEL_UC* format, va_list arguments) {
    prepare();
    auto& state = traceState();
    const std::lock_guard lock(state.cs_devtrace);
    KEL_ofstream& log = logFile(state).stream;
    log.vprint(format, arguments);
    log.write("\n");
    log.flush();
}

void ZorTrace::beginEntry(KEL_ofstream* trace, std::string_view kind, std::string_view name) {
    if (kind.empty()) return;
    trace->write({">> ", kind});
    if (!name.empty()) trace->write({"name=\"", name, "\""});
    trace->write("\n");
}

void ZorTrace::endEntry(KEL_ofstream* trace, std::string_view kind, std::string_view) {
    trace->write({"<< ", kind, "\n\n"});
}

void ZorTrace::writeKeyValue(KEL_ofstream* trace, std::string_view key, const KEL_UC* value, size_t length,
                             bool lineEnd) {
    trace->write({"\t", key, ": ", std::string_view(value, length), lineEnd ? "\n" : "\t"});
}

void ZorTrace::writeKeyValue(KEL_ofstream* trace, std::string_view key, bool value, bool lineEnd) {
    const std::string_view text = value ? "true" : "false";
    writeKeyValue(trace, key, text.data(), text.size(), lineEnd);
}

void ZorTrace::writeParameter(KEL_ofstream* trace, std::string_view name, ZORTYPE type, unsigned length,
                              bool active, bool requested) {
    /** By the two truth values, which a call's closing lines repeat for each parameter. */
    static constexpr std::string_view ends[2][2] = {
        {", Active: false, Requested: false\n", ", Active: false, Requested: true\n"},
        {", Active: true, Requested: false\n", ", Active: true, Requested: true\n"}};
    KEL_UC digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, length).ptr;
    trace->write({">> ", name, ", ", zorTypeName(type), ", Length: ",
                  std::string_view(digits, static_cast<size_t>(end - digits)), ends[active][requested]});
}

void ZorTrace::writeEndApi(KEL_ofstream* trace, std::string_view name, ZOR_RC rc,
                           const ZOR_ERROR_INFO* info) {
    trace->write({"<< ", name, " returned ", zorRcName(rc), "\n"});
    if (rc != ZOR_OK && info != nullptr) {
        if (info->key[0] != 0) trace->write({"\tZOR_ERROR_INFO.key: ", info->key, "\n"});
        if (info->message[0] != 0) trace->write({"\tZOR_ERROR_INFO.message: ", info->message, "\n"});
    }
    trace->write("\n");
}

void ZorTrace::writeTextEntry(KEL_ofstream* trace, std::string_view kind, const KEL_UC* format,
                              va_list arguments) {
    beginEntry(trace, kind, {});
    trace->vprint(format, arguments);
    trace->write("\n");
    endEntry(trace, kind, {});
}

void ZorTrace::writeHexEntry(KEL_ofstream* trace, const KEL_RAW* data, unsigned length, const KEL_UC* format,
                             va_list arguments) {
    constexpr std::string_view kind = "HEXDUMP";
    beginEntry(trace, kind, {});
    trace->vprint(format, arguments);
    trace->write("\n");
    const unsigned dumped = data != nullptr ? length : 0;
    for (unsigned offset = 0; offset < dumped; offset += dumpLineBytes)
        writeDumpLine(*trace, offset, data + offset, std::min(dumpLineBytes, dumped - offset));
    endEntry(trace, kind, {});
}

KEL_string ZorTrace::timeString() {
    return localTime("%Y-%m-%d, %H:%M:%S");
}

KEL_string ZorTrace::timeZone() {
    return localTime("%Z");
}

int ZorTrace::getThreadNumber() noexcept {
    // Kept, since the question is a call of the system and each line asks it. The child of a fork has a
    // number of its own.
    static thread_local int number = 0;
    static const int registered [[maybe_unused]] = ::pthread_atfork(nullptr, nullptr, [] { number = 0; });
    if (number == 0) number = static_cast<int>(::syscall(SYS_gettid));
    return number;
}

KEL_string ZorTrace::getFileName() {
    KEL_UC name[64];
    if (ZorConfig::traceByThread())
        std::snprintf(name, sizeof name, "zor%.5d_%05u.trc", static_cast<int>(::getpid()),
                      static_cast<unsigned>(getThreadNumber()));
    else
        std::snprintf(name, sizeof name, "zor%.5d.trc", static_cast<int>(::getpid()));
    return name;
}
