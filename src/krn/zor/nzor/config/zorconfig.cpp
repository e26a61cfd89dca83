#include "config/zorconfig.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <mutex>
#include <vector>

#include "config/immortal.h"
#include "config/inireader.h"
#include "trace/zortrace.h"
#include "trace/zortracefunctions.h"

namespace {

constexpr const KEL_UC* iniFileName = "kelzor.ini";
constexpr unsigned highestTraceLevel = 3;
constexpr const KEL_UC* traceKey = "ZOR_TRACE";
constexpr const KEL_UC* cpicTraceKey = "CPIC_TRACE";

/** A decimal number; what doesn't parse is 0, what is too large is the largest. */
unsigned number(const KEL_string& text) noexcept {
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    constexpr long long largest = std::numeric_limits<unsigned>::max();
    return static_cast<unsigned>(std::clamp(value, 0LL, largest));
}

unsigned level(const KEL_string& text) noexcept {
    return std::min(number(text), highestTraceLevel);
}

/** A size with the suffix M or G in bytes; 0 without one, since a bare number is ignored. */
unsigned suffixedSize(const KEL_string& text) noexcept {
    unsigned long long unit = 0;
    switch (text.back()) {
        case 'M':
        case 'm':
            unit = 0x100000;
            break;
        case 'G':
        case 'g':
            unit = 0x40000000;
            break;
    }
    const unsigned long long size = number(text.substr(0, text.size() - 1)) * unit;
    return static_cast<unsigned>(std::min<unsigned long long>(size, std::numeric_limits<unsigned>::max()));
}

KEL_string withSlash(KEL_string directory) {
    if (!directory.ends_with('/')) directory += '/';
    return directory;
}

/** A name for the log, short enough that the key and the reason behind it aren't cut off. */
KEL_string shortened(const KEL_string& name) {
    constexpr size_t longest = 128;
    return name.size() <= longest ? name : name.substr(0, longest) + "...";
}

/** What one reading found. It counts only once all of it is in memory, so that a reading that fails for lack
 * of memory leaves path, destinations and defaults as they were. */
class IniContents final : public IniSink {
  public:
    std::map<KEL_string, ZorOptions, std::less<>> destinations;
    ZorOptionMap defaultSettings;
    std::vector<KEL_string> complaints;  ///< Told later: only then is it known where the log lies.

    void defaultSetting(std::string_view key, std::string_view value) override {
        defaultSettings.insert_or_assign(KEL_string(key), KEL_string(value));
    }

    void destination(const KEL_string& name, const ZorOptionMap& settings) override {
        try {
            ZorOptions options;
            options.setOptions(settings);
            destinations.insert_or_assign(name, options);
        } catch (const ZorOptionException& refusal) {
            complaints.push_back("kelzor.ini: destination " + shortened(name) + " is skipped, key " +
                                 KEL_string(refusal.getOption()) + ": " + refusal.getMessage());
        }
    }

    bool hasLevels() const noexcept {
        return std::any_of(destinations.begin(), destinations.end(), [](const auto& destination) {
            return destination.second.trace < ZorOptions::traceNotSet;
        });
    }
};

}  // namespace

/** The values behind ZorConfig. */
class ZorConfigState final {
  public:
    /** Guards the reading, the destinations, the defaults and the path of the file. */
    std::recursive_mutex cs_refresh;
    KEL_string iniPath;
    std::map<KEL_string, ZorOptions, std::less<>> destinations;
    ZorOptionMap defaultSettings;

    std::atomic<bool> trByThread{true};
    std::atomic<unsigned> minimumTraceLevel{0};
    std::atomic<unsigned> globalCpicTraceLevel{0};
    std::atomic<TRACE_ENCODING> traceEncoding{TRACE_NATIVE};
    std::atomic<int> logonGroupCheckInterval{300};
    std::atomic<bool> acceptExportedTrace{true};
    std::atomic<unsigned> maxTracefileSize{0x20000000};
    std::atomic<decltype(ZorLowerLayerHooks::setCpicTraceLevel)> setCpicTraceLevel{nullptr};
    std::atomic<decltype(ZorLowerLayerHooks::setNISocketBufferSize)> setNISocketBufferSize{nullptr};

    /** The one object. It is never destroyed: a thread may still trace while the process ends. */
    static ZorConfigState& get() {
        static Immortal<ZorConfigState> state;
        return state.value;
    }

    static unsigned currentLevel() noexcept {
        return ZorConfig::levelWord.load(std::memory_order_acquire) & ~ZorConfig::refreshDue;
    }

    KEL_string traceDirectory() {
        const std::lock_guard lock(directoryLock);
        return traceDir;
    }

    bool setTraceDirectory(const KEL_UC* name) {
        if (::access(name, R_OK | W_OK) != 0) return false;
        KEL_string directory = withSlash(name);
        const std::lock_guard lock(directoryLock);
        traceDir.swap(directory);
        return true;
    }

    /** Reads the environment and the file in this directory, which is the directory from then on. Under
     * cs_refresh. */
    void read(KEL_string path) {
        if (reading) return;
        const ReadingMark mark(reading);
        const KEL_string oldDirectory = traceDirectory();
        const bool oldByThread = trByThread;
        IniContents found;
        readEnvironment(found.defaultSettings);
        readFile(path, found);
        ZorOptionMap known = defaultSettings;
        found.defaultSettings.merge(known);
        applyDefaults(found.defaultSettings);
        const bool filesMove = oldDirectory != traceDirectory() || oldByThread != trByThread;
        // From here on nothing is allocated and nothing fails.
        if (found.hasLevels()) ZorConfig::destinationLevels.store(true, std::memory_order_release);
        found.destinations.merge(destinations);
        destinations.swap(found.destinations);
        defaultSettings.swap(found.defaultSettings);
        iniPath.swap(path);
        const auto trace = defaultSettings.find(traceKey);
        ZorConfig::levelWord.store(level(trace->second), std::memory_order_release);
        // Files that were opened before are closed, so that the next line goes where it now belongs.
        if (filesMove) ZorTrace::close();
        for (const auto& complaint : found.complaints)
            ZorLogWrite("%s", complaint.c_str());
    }

    void applyCpicTraceLevel(unsigned wanted) {
        globalCpicTraceLevel = std::min(wanted, highestTraceLevel);
        const auto hook = setCpicTraceLevel.load();
        if (hook == nullptr) return;
        const KEL_string fileName = traceDirectory() + "cpic_" + std::to_string(::getpid()) + ".trc";
        hook(globalCpicTraceLevel, fileName.c_str());
    }

    void applySocketBufferSize(unsigned size) noexcept {
        const auto hook = setNISocketBufferSize.load();
        if (size != 0 && hook != nullptr) hook(size);
    }

  private:
    /** A trace line that is written while the file is read comes back to the configuration. */
    struct ReadingMark {
        explicit ReadingMark(bool& flag) noexcept : flag(flag) { flag = true; }
        ~ReadingMark() { flag = false; }
        bool& flag;
    };

    /** One key of the default section and what its value does. */
    struct DefaultKey {
        const KEL_UC* key;
        void (*apply)(ZorConfigState& state, const KEL_string& value);
    };
    static const DefaultKey defaultKeys[];

    static void readEnvironment(ZorOptionMap& settings) {
        const KEL_UC* const trace = std::getenv(traceKey);
        const bool valid = trace != nullptr && trace[0] >= '0' && trace[0] <= '3' && trace[1] == 0;
        settings[traceKey] = valid ? trace : "0";
        const KEL_UC* const cpicTrace = std::getenv(cpicTraceKey);
        settings[cpicTraceKey] = cpicTrace != nullptr ? cpicTrace : "";
    }

    static void readFile(const KEL_string& path, IniSink& sink) {
        const KEL_string name = path.empty() ? iniFileName : path + "/" + iniFileName;
        const IniFile file = openIniFile(name.c_str());
        if (!file) return;
        const bool traced = currentLevel() > 2;
        if (traced) ZorTraceWrite("Reading config settings from %s\n", name.c_str());
        if (traced) ZorTraceBeginMethod("ZorConfig::readConfigFile");
        if (traced) ZorTraceWrite("Parsing kelzor.ini contents\n");
        readIniFile(file.get(), sink);
        if (traced) ZorTraceEndMethod("ZorConfig::readConfigFile", 0);
    }

    void applyDefaults(const ZorOptionMap& settings);

    /** A leaf lock: the trace functions ask for the directory with their own locks held. */
    std::mutex directoryLock;
    KEL_string traceDir = "./";
    bool reading = false;
    bool typeApplied = false;  ///< The mode of the trace files is taken from the file once only.
};

// In the order in which they are applied.
const ZorConfigState::DefaultKey ZorConfigState::defaultKeys[] = {
    {cpicTraceKey, [](auto& state, const auto& value) { state.applyCpicTraceLevel(level(value)); }},
    {"NI_SOCKET_BUFFER_SIZE",
     [](auto& state, const auto& value) { state.applySocketBufferSize(number(value)); }},
    {"LOGON_GROUP_CHECK_INTERVAL",
     [](auto& state, const auto& value) {
         constexpr unsigned longest = std::numeric_limits<int>::max();
         if (const unsigned seconds = std::min(number(value), longest); seconds != 0)
             state.logonGroupCheckInterval = static_cast<int>(seconds);
     }},
    {"ZOR_TRACE_ENCODING",
     [](auto& state, const auto& value) {
         state.traceEncoding = value == "UTF-16" ? TRACE_UTF16 : value == "UTF-8" ? TRACE_UTF8 : TRACE_NATIVE;
     }},
    {"ZOR_TRACE_DIR", [](auto& state, const auto& value) { (void)state.setTraceDirectory(value.c_str()); }},
    {"ZOR_TRACE_TYPE",
     [](auto& state, const auto& value) {
         if (!state.typeApplied && value == "PROCESS") state.trByThread = false;
     }},
    {"ZOR_ACCEPT_EXPORTED_TRACE",
     [](auto& state, const auto& value) { state.acceptExportedTrace = value.front() != '0'; }},
    {"ZOR_TRACE_MAX_FILE_SIZE",
     [](auto& state, const auto& value) {
         if (const unsigned size = suffixedSize(value); size != 0) state.maxTracefileSize = size;
     }},
    {"ZOR_MINIMUM_TRACE_LEVEL",
     [](auto& state, const auto& value) {
         if (value.size() == 1 && value[0] >= '0' && value[0] <= '3')
             state.minimumTraceLevel = static_cast<unsigned>(value[0] - '0');
     }},
};

void ZorConfigState::applyDefaults(const ZorOptionMap& settings) {
    for (const auto& [key, apply] : defaultKeys)
        if (const auto found = settings.find(key); found != settings.end()) apply(*this, found->second);
    typeApplied = true;
}

void ZorConfig::init() {
    (void)ZorConfigState::get();
}

void ZorConfig::refresh() {
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    if (levelWord.load(std::memory_order_acquire) >= refreshDue) state.read(state.iniPath);
}

void ZorConfig::reload() {
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    state.read(state.iniPath);
}

unsigned ZorConfig::refreshedTraceLevel() noexcept {
    try {
        refresh();
    } catch (...) {
        // Memory ran out. The refresh stays due, and the next use tries again.
    }
    return ZorConfigState::currentLevel();
}

void ZorConfig::setGlobalTraceLevel(unsigned level) noexcept {
    refreshIfDue();
    levelWord.store(level & ~refreshDue, std::memory_order_release);
}

void ZorConfig::setIniPath(const KEL_UC* pathName) {
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    KEL_string path = pathName != nullptr ? pathName : "";
    if (path != state.iniPath) state.read(std::move(path));
}

bool ZorConfig::traceByThread() noexcept {
    refreshIfDue();
    return ZorConfigState::get().trByThread;
}

KEL_string ZorConfig::getTraceDir() {
    refreshIfDue();
    return ZorConfigState::get().traceDirectory();
}

void ZorConfig::setTraceDirectory(const KEL_UC* name) {
    refreshIfDue();
    if (!ZorConfigState::get().setTraceDirectory(name))
        throw ZorInvalidParameterException("Directory does not exist");
}

TRACE_ENCODING ZorConfig::getTraceEncoding() noexcept {
    refreshIfDue();
    return ZorConfigState::get().traceEncoding;
}

void ZorConfig::setTraceEncoding(TRACE_ENCODING encoding) noexcept {
    refreshIfDue();
    ZorConfigState::get().traceEncoding = encoding;
}

void ZorConfig::setTraceType(bool byThread) noexcept {
    refreshIfDue();
    ZorConfigState::get().trByThread = byThread;
}

unsigned ZorConfig::getGlobalCpicTraceLevel() noexcept {
    refreshIfDue();
    return ZorConfigState::get().globalCpicTraceLevel;
}

void ZorConfig::setGlobalCpicTraceLevel(unsigned level) {
    refreshIfDue();
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    state.applyCpicTraceLevel(level);
}

void ZorConfig::setGlobalNISocketBufferSize(unsigned size) noexcept {
    ZorConfigState::get().applySocketBufferSize(size);
}

void ZorConfig::setLowerLayerHooks(const ZorLowerLayerHooks& hooks) noexcept {
    auto& state = ZorConfigState::get();
    state.setCpicTraceLevel = hooks.setCpicTraceLevel;
    state.setNISocketBufferSize = hooks.setNISocketBufferSize;
}

void ZorConfig::getDestinationOptions(const KEL_UC* destination, ZorOptions& options) {
    const bool traced = getGlobalTraceLevel() >= 2;
    if (traced) ZorTraceBeginMethod("ZorConfig::getDestinationOptions");
    bool found = false;
    if (destination == nullptr) {
        if (traced) ZorTraceWrite("Destination is empty.");
    } else {
        if (traced) ZorTraceWrite("Look up for logon parameters for destination %s.", destination);
        auto& state = ZorConfigState::get();
        const std::lock_guard lock(state.cs_refresh);
        const auto entry = state.destinations.find(destination);
        found = entry != state.destinations.end();
        if (found) options = entry->second;
        if (found && options.trace == ZorOptions::traceNotSet)
            options.trace = static_cast<unsigned short>(getGlobalTraceLevel());
    }
    if (traced && destination != nullptr) ZorTraceWrite(found ? "Found them." : "Nothing found.");
    if (traced) ZorTraceEndMethod("ZorConfig::getDestinationOptions", 0);
}

unsigned ZorConfig::getDestinationTraceLevel(std::string_view destination) noexcept {
    refreshIfDue();
    if (!destinationLevels.load(std::memory_order_acquire)) return getGlobalTraceLevel();
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    const auto entry = state.destinations.find(destination);
    const bool set = entry != state.destinations.end() && entry->second.trace < ZorOptions::traceNotSet;
    return set ? entry->second.trace : getGlobalTraceLevel();
}

void ZorConfig::setDestinationTraceLevel(const KEL_string& destination, unsigned level) {
    refreshIfDue();
    auto& state = ZorConfigState::get();
    const std::lock_guard lock(state.cs_refresh);
    const auto entry = state.destinations.find(destination);
    if (entry == state.destinations.end()) throw ZorInvalidParameterException("Destination does not exist");
    constexpr unsigned highest = ZorOptions::traceNotSet - 1;
    entry->second.trace = static_cast<unsigned short>(std::min(level, highest));
    destinationLevels.store(true, std::memory_order_release);
}

int ZorConfig::getLogonGroupCheckInterval() noexcept {
    refreshIfDue();
    return ZorConfigState::get().logonGroupCheckInterval;
}

unsigned ZorConfig::getMinimumTraceLevel() noexcept {
    refreshIfDue();
    return ZorConfigState::get().minimumTraceLevel;
}

bool ZorConfig::getAcceptExportedTrace() noexcept {
    refreshIfDue();
    return ZorConfigState::get().acceptExportedTrace;
}

unsigned ZorConfig::getMaxTracefileSize() noexcept {
    refreshIfDue();
    return ZorConfigState::get().maxTracefileSize;
}
