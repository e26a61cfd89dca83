#include "config/zorsysteminfo.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "config/buildinfo.h"
#include "config/immortal.h"

namespace {

constexpr size_t codepageDigits = 4;
constexpr const KEL_UC* latin1Codepage = "1100";

#if defined(__x86_64__)
constexpr const KEL_UC* hardware = "Linux x86_64";
#elif defined(__i386__)
constexpr const KEL_UC* hardware = "Linux i386";
#else
constexpr const KEL_UC* hardware = "Linux";
#endif

KEL_string systemCodepage() {
    const KEL_UC* const given = std::getenv("KEL_CODEPAGE");
    const KEL_string codepage = given != nullptr ? given : "";
    return codepage.size() >= codepageDigits ? codepage.substr(0, codepageDigits) : latin1Codepage;
}

struct FilledSystemInfo : KelSystemInfo {
    FilledSystemInfo() {
        kern_rel = kelzorRelease;
        kern_patchlevel = kelzorPatchLevel;
        kern_comp_on = hardware;
        kern_comp_time = __DATE__ " " __TIME__;
        charset = systemCodepage();
        keltype_text = hardware;
        utsname kernel{};
        if (::uname(&kernel) != 0) return;
        node = kernel.nodename;
        mtype = kernel.machine;
        opsys = kernel.sysname;
        opsys_rel = kernel.release;
    }
};

struct HostState {
    std::mutex lock;  ///< Guards the provider and the making of the answers.
    ZorHostProvider provider;
    std::unique_ptr<const ZorHostInfo> kept;
    std::atomic<const ZorHostInfo*> published{nullptr};
};

HostState& hostState() {
    static Immortal<HostState> state;
    return state.value;
}

KEL_string ask(KEL_string (*question)()) {
    return question != nullptr ? question() : KEL_string();
}

}  // namespace

const KelSystemInfo& kelSystemInfo() {
    static Immortal<FilledSystemInfo> info;
    return info.value;
}

void setZorHostProvider(const ZorHostProvider& provider) {
    auto& state = hostState();
    const std::lock_guard lock(state.lock);
    state.provider = provider;
}

const ZorHostInfo& initZorSysInfo() {
    auto& state = hostState();
    if (const auto* info = state.published.load(std::memory_order_acquire)) return *info;
    ZorHostProvider provider;
    {
        const std::lock_guard lock(state.lock);
        provider = state.provider;
    }
    // Two threads may ask at once; the answers of the first count.
    auto info = std::make_unique<ZorHostInfo>();
    info->hostName = provider.getOwnHostName != nullptr ? provider.getOwnHostName() : kelSystemInfo().node;
    info->ip_address = ask(provider.getOwnIPAddr);
    info->ip_addressv6 = ask(provider.getOwnIPV6Addr);
    info->programName = provider.getOwnProgramName != nullptr ? provider.getOwnProgramName()
                                                              : ::program_invocation_short_name;
    info->cpicVersion = ask(provider.getCpicVersion);
    const std::lock_guard lock(state.lock);
    if (state.kept == nullptr) {
        state.kept = std::move(info);
        state.published.store(state.kept.get(), std::memory_order_release);
    }
    return *state.kept;
}
