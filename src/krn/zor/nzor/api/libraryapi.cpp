// Exported functions of the family "Library control".

#include <kelzor/library.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "api/frame.h"
#include "api/startsteps.h"
#include "config/buildinfo.h"
#include "config/zorsysteminfo.h"
#include "error/zorexception.h"
#include "trace/zortracefunctions.h"

namespace {

/** Runs the steps up to the first that fails. */
ZOR_RC start() noexcept {
    ZOR_ERROR_INFO info{};
    const KEL_UC* step = "";
    try {
        for (const auto& [name, run] : startSteps()) {
            step = name;
            run();
        }
        return ZOR_OK;
    } catch (...) {
        const ZOR_RC rc = zorapi::mapCurrentException(&info);
        ZorLogWrite("Start of the library failed in %s: %s", step, info.message);
        return rc;
    }
}

// The last of the library's own constructors, as far as the order of the layers goes.
[[gnu::constructor]] void startAtLoad() noexcept {
    (void)ZorInit();
}

const KEL_string& versionText() {
    static const KEL_string text =
        KEL_string(kelzorRelease) + " Patch Level " + std::to_string(kelzorPatchLevel);
    return text;
}

/** A line of the report of the build: the value begins at a fixed column. */
void reportLine(KEL_string& report, const KEL_UC* label, const KEL_string& value) {
    constexpr size_t valueColumn = 31;
    const size_t lineStart = report.size();
    report += label;
    report.resize(lineStart + valueColumn - 1, ' ');
    report += value + "\n";
}

KEL_string buildReport() {
    const auto& system = kelSystemInfo();
    KEL_string report = "\nexecutable information\n\n";
    reportLine(report, "kernel release", system.kern_rel);
    reportLine(report, "kernel make variant", system.kern_rel + "_REL");
    reportLine(report, "compiled on", system.kern_comp_on);
    reportLine(report, "compilation mode", "Non-Unicode");
    reportLine(report, "compile time", system.kern_comp_time);
    reportLine(report, "update level", "0");
    reportLine(report, "patch number", std::to_string(system.kern_patchlevel));
    reportLine(report, "source id", "0." + std::to_string(system.kern_patchlevel));
    reportLine(report, "RKS compatibility level", "0");
    reportLine(report, "DW_GUI compatibility level", "0");
    report += "\nsupported environment\n\n";
    reportLine(report, "database", "none");
    reportLine(report, "operating system", system.opsys);
    return report;
}

/** Writes past the program's own buffers, which hold nothing of this report. */
void printReport() noexcept {
    const KEL_string report = buildReport();
    size_t done = 0;
    while (done < report.size()) {
        const ssize_t written = ::write(STDOUT_FILENO, report.data() + done, report.size() - done);
        if (written <= 0) return;
        done += static_cast<size_t>(written);
    }
}

void store(unsigned* target, unsigned value) noexcept {
    if (target != nullptr) *target = value;
}

}  // namespace

ZOR_RC ZorInit(void) {
    static constinit std::atomic<bool> initialized{false};
    static constinit std::mutex cs_zor_initialized;
    if (initialized.load(std::memory_order_acquire)) return ZOR_OK;
    const std::lock_guard lock(cs_zor_initialized);
    if (initialized.load(std::memory_order_relaxed)) return ZOR_OK;
    const ZOR_RC rc = start();
    initialized.store(true, std::memory_order_release);
    return rc;
}

const KEL_UC* ZorGetVersion(unsigned* majorVersion, unsigned* minorVersion, unsigned* patchLevel) {
    zorapi::FrameTrace trace(__func__, ZorConfig::getGlobalTraceLevel(), zorapi::callThreshold);
    try {
        (void)initZorSysInfo();
        store(majorVersion, kelzorMajorVersion);
        store(minorVersion, kelzorMinorVersion);
        store(patchLevel, kelzorPatchLevel);
        trace.end(ZOR_OK, nullptr);
        return versionText().c_str();
    } catch (...) {
        // Memory ran out; the release alone needs none.
        return kelzorRelease;
    }
}

ZOR_RC ZorGetVersionInternal(void) {
    printReport();
    std::exit(EXIT_SUCCESS);
}
