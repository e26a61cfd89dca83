// What goes along with the statements: time stamps, watched patterns, the limit of files, and the settings.

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/dptrc/dptrcadm.h"

namespace {

constexpr long MICROS = 1000000;
constexpr long SHORTEST_STEP = 100000;  // microseconds between two stamps of a fine resolution

/** Whether a stamp is due; both clocks are those of the thread if it has settings of its own. */
bool stampDue(const CTRCTIMES& last, const timeval& now) {
    const CTRCSTATE& state = CTrcState();
    if (state.linesSinceStamp >= state.max_lines_between_timestamps) return true;
    if (state.ct_time_res == 1) return now.tv_sec != last.last_worldtime;
    const long step = std::max(SHORTEST_STEP, MICROS / state.ct_time_res);
    return now.tv_sec != last.last_timeval.tv_sec || now.tv_usec - last.last_timeval.tv_usec >= step;
}

void putStamp(std::FILE* stream, const timeval& now) {
    const CTRCSTATE& state = CTrcState();
    const bool inLine = state.max_lines_between_timestamps == 1;
    const bool fine = state.ct_time_res > 1;
    if (!inLine && ct_level == 1) DpIPut(stream, "\n");
    std::tm parts{};
    const std::time_t seconds = now.tv_sec;
    KEL_CHAR text[64] = "";
    const KEL_CHAR* const form = inLine ? "%Y-%m-%d-%H:%M:%S" : "%a %b %e %H:%M:%S";
    if (!::localtime_r(&seconds, &parts) || std::strftime(text, sizeof text, form, &parts) == 0)
        return DpIPut(stream, "ERROR IN THRASCTIME\n");
    const long millis = now.tv_usec / 1000;
    if (inLine && fine)
        DpIPrint(stream, "[%s,%03ld] ", text, millis);
    else if (inLine)
        DpIPrint(stream, "[%s] ", text);
    else if (fine)
        DpIPrint(stream, "%.24s:%03ld %4.4d\n", text, millis, parts.tm_year + 1900);
    else
        DpIPrint(stream, "%.24s\n", ::asctime_r(&parts, text));
}

CTRCPATTERN* findPattern(std::string_view text) {
    CTRCSTATE& state = CTrcState();
    const auto end = state.ctrc_pattern.begin() + static_cast<std::ptrdiff_t>(state.patternCount);
    const auto found = std::find_if(state.ctrc_pattern.begin(), end,
                                    [&](const CTRCPATTERN& known) { return known.pattern == text; });
    return found != end ? &*found : nullptr;
}

void watchSize(CTRC_HDL handle, const CTRCHDLINFO& info) {
    CTRCSTATE& state = CTrcState();
    if (state.ctrc_max_file_size <= 0 || state.output_func || state.dp_in_file_size_hook ||
        !state.dpTrcFileSwitchAllowed)
        return;
    const long size = std::ftell(info.stream);
    if (size <= state.ctrc_max_file_size) return;
    state.dp_in_file_size_hook = true;
    DpIPrint(info.stream, "\nDpTrc: maximum file size reached: %ld\n", size);
    DpIFlush(info.stream);
    if (state.ctrc_file_size_hook) state.ctrc_file_size_hook(handle, size);
    state.dp_in_file_size_hook = false;
}

}  // namespace

void DpITrcTime(const CTRCHDLINFO& info) noexcept {
    CTRCSTATE& state = CTrcState();
    if (state.ct_time_res == 0 || (info.component && info.component->level < 1)) return;
    const int savedErrno = errno;
    ++state.linesSinceStamp;
    timeval now{};
    (void)::gettimeofday(&now, nullptr);
    CTRCTIMES& last = info.thread && info.thread->fp_priv ? info.thread->times : state.times;
    if (stampDue(last, now)) {
        putStamp(info.stream, now);
        last = {.last_worldtime = now.tv_sec, .last_timeval = now};
        state.linesSinceStamp = 0;
    }
    errno = savedErrno;
}

void DpITrcWatch(CTRC_HDL handle, const CTRCHDLINFO& info, std::string_view text) noexcept {
    CTRCSTATE& state = CTrcState();
    for (std::size_t i = 0; i < state.patternCount; ++i) {
        const CTRCPATTERN& watched = state.ctrc_pattern[i];
        if (text.find(watched.pattern) == text.npos) continue;
        DpIPrint(info.stream, "\nDpTrc: found match for pattern >%s< in output\n", watched.pattern.c_str());
        DpIFlush(info.stream);
        if (watched.func) watched.func(handle, watched.pattern.c_str());
    }
    watchSize(handle, info);
}

int DpTrcAddPattern(const KEL_CHAR* text, CTRC_PATTERN_HOOK hook) noexcept {
    const DpGuard guard;
    CTRCSTATE& state = CTrcState();
    if (state.patternCount == CTRC_PATTERNS || *text == 0) return -1;
    try {
        state.ctrc_pattern[state.patternCount] = {text, hook};
    } catch (...) {
        return -1;
    }
    ++state.patternCount;
    return 0;
}

int DpTrcRmPattern(const KEL_CHAR* text) noexcept {
    const DpGuard guard;
    CTRCSTATE& state = CTrcState();
    CTRCPATTERN* const found = findPattern(text);
    if (!found) return -1;
    CTRCPATTERN* const last = &state.ctrc_pattern[state.patternCount - 1];
    std::rotate(found, found + 1, last + 1);
    *last = {};
    --state.patternCount;
    return 0;
}

void DpTrcRmAllPattern() noexcept {
    const DpGuard guard;
    CTrcState().ctrc_pattern.fill({});
    CTrcState().patternCount = 0;
}

std::size_t DpTrcGetPatterns(const KEL_CHAR** patterns, std::size_t room) noexcept {
    const DpGuard guard;
    const CTRCSTATE& state = CTrcState();
    for (std::size_t i = 0; i < std::min(room, state.patternCount); ++i)
        patterns[i] = state.ctrc_pattern[i].pattern.c_str();
    return state.patternCount;
}

void DpTrcSetFileSizeHook(long size, CTRC_SIZE_HOOK hook) noexcept {
    const DpGuard guard;
    CTrcState().ctrc_max_file_size = std::max(size, 0L);
    CTrcState().ctrc_file_size_hook = hook;
}

void DpTrcRmFileSizeHook() noexcept {
    DpTrcSetFileSizeHook(0, nullptr);
}

long DpTrcGetFileSize() noexcept {
    const DpGuard guard;
    return CTrcState().ctrc_max_file_size;
}

void CTrcSetFileSwitchAllowed(bool allowed) noexcept {
    const DpGuard guard;
    CTrcState().dpTrcFileSwitchAllowed = allowed;
}

void CTrcSetOutputMethod(CTRC_OUTPUT function, void* info) noexcept {
    const DpGuard guard;
    CTrcState().output_func = function;
    CTrcState().output_info = info;
}

void CTrcSetContextInfoHook(CTRC_CONTEXT_HOOK function, void* context) noexcept {
    const DpGuard guard;
    CTrcState().contextinfo_hook_func = function;
    CTrcState().contextinfo_hook_ctx = context;
}

void CTrcSetTag(const KEL_CHAR* text) noexcept {
    const DpGuard guard;
    auto& tag = CTrcState().dpTrcTag;
    tag.fill(0);
    std::memcpy(tag.data(), text, ::strnlen(text, tag.size() - 1));
}

void CTrcClearTag() noexcept {
    CTrcSetTag("");
}

void CTrcSetPrintThreadId(bool print) noexcept {
    const DpGuard guard;
    CTrcState().dpTrcPrintThreadId = print;
}

void CTrcSetTimeResolution(int resolution) noexcept {
    const DpGuard guard;
    CTrcState().ct_time_res = std::max(resolution, 0);
}

void CTrcSetMaxLinesBetweenTimestamps(unsigned lines) noexcept {
    const DpGuard guard;
    CTrcState().max_lines_between_timestamps = lines;
}

void CTrcResetMaxLinesBetweenTimestamps() noexcept {
    CTrcSetMaxLinesBetweenTimestamps(CTRC_MAX_LINES);
}
