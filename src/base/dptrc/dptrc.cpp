// The statements: lines, error lines, and what holds them together.

#include "base/dptrc/dptrc.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/dptrc/dptrcadm.h"
#include "base/thr/thr.h"

namespace {

enum : unsigned { STAMP = 1, THREAD = 2, WARNING = 4 };

/** The characters that formats and texts of a statement are made of. */
enum CTRC_ENC { CTRC_ENC_UC, CTRC_ENC_A7 };

constexpr std::size_t FILE_WIDTH = 12;  // of a place's file name
constexpr int LINE_WIDTH = 5;           // of its number
constexpr std::size_t CONTEXT_MAX = 511;
constexpr std::size_t ERRNO_TEXT_MAX = 256;

THR_CS_TYPE ctrcadm_mtx;

/** Keeps `errno` for the caller of a statement. */
class ErrnoKeeper {
  public:
    ~ErrnoKeeper() { errno = value; }
    const int value = errno;
};

/** Whether the statement is to be written at all. */
bool wanted(const CTRCHDLINFO& info, int level) {
    if (info.component && info.component->level < level) return false;
    return !(CTrcState().thr_spec_trace && info.thread && info.thread->level < CTrcState().EntLev);
}

void putThread(std::FILE* stream) {
    DpIPrint(stream, "[Thr %02ld] ", ::syscall(SYS_gettid));
}

void putPrefix(const CTRCHDLINFO& info) {
    if (!info.component || info.component->compid == 0) return;
    constexpr int longest = 31;
    const int blanks = std::clamp(2 * info.component->indent, 0, longest);
    DpIPrint(info.stream, "%c  %s%*s", info.component->compid, CTrcState().dpTrcTag.data(), blanks, "");
}

/** What stands in front of a statement's first line. */
void putStart(const CTRCHDLINFO& info, unsigned flags) {
    const CTRCADM* open = CTrcState().unfinished;
    if (open && open != info.component) DpIPut(info.stream, "\n");
    if (flags & STAMP) DpITrcTime(info);
    if (!open || open != info.component) putPrefix(info);
    if (flags & THREAD && CTrcState().dpTrcPrintThreadId) putThread(info.stream);
}

/** Where the lines of a text are cut; the newline that ends the text is no cut. */
std::size_t lineEnd(std::string_view text) {
    const std::size_t newline = text.find('\n');
    if (newline == text.npos || text.find_first_not_of("\r", newline + 1) == text.npos) return text.npos;
    return newline + 1;
}

void putLines(const CTRCHDLINFO& info, unsigned flags, std::string_view text) {
    for (std::size_t end; (end = lineEnd(text)) != text.npos; text.remove_prefix(end)) {
        DpIPut(info.stream, text.substr(0, end));
        if (flags & STAMP && CTrcState().max_lines_between_timestamps == 1) DpITrcTime(info);
        putPrefix(info);
        if (flags & THREAD && CTrcState().dpTrcPrintThreadId) putThread(info.stream);
    }
    DpIPut(info.stream, text);
    CTrcState().unfinished = text.find('\n') != text.npos ? nullptr : info.component;
}

/** A formatted text in the shared buffer. */
struct Formatted {
    std::string_view text;
    bool cut = false;
    bool failed = false;
};

[[gnu::format(printf, 2, 0)]] Formatted format(CTRC_ENC encoding, const KEL_CHAR* pattern, va_list args) {
    CTRCSTATE& state = CTrcState();
    const int length = std::vsnprintf(state.scratch, sizeof state.scratch, pattern, args);
    if (length < 0) return {{}, false, true};
    const std::size_t kept =
        std::min<std::size_t>(static_cast<std::size_t>(length), sizeof state.scratch - 1);
    const auto beyond = [](KEL_CHAR c) { return static_cast<unsigned char>(c) >= 0x80; };
    if (encoding == CTRC_ENC_A7) std::replace_if(state.scratch, state.scratch + kept, beyond, '?');
    return {{state.scratch, kept}, kept < static_cast<std::size_t>(length)};
}

void putPlace(std::FILE* stream) {
    const KEL_CHAR* const place = CTrcState().savloc;
    const std::size_t file = std::min(std::strlen(place), FILE_WIDTH);
    DpIPrint(stream, " [%-12.12s %.*s]\n", place, LINE_WIDTH, place + file);
}

/** The end of every statement. */
void finish(CTRC_HDL handle, const CTRCHDLINFO& info, const Formatted& formatted) {
    if (formatted.cut) {
        DpIPrint(info.stream, "\n%sdata was truncated\n", CTRC_WARNING.data());
        CTrcState().unfinished = nullptr;
    }
    DpIFlush(info.stream);
    DpITrcWatch(handle, info, formatted.text);
}

[[gnu::format(printf, 4, 0)]] void DpITrc(unsigned flags, CTRC_ENC encoding, CTRC_HDL handle,
                                          const KEL_CHAR* pattern, va_list args) noexcept {
    const ErrnoKeeper keeper;
    const DpGuard guard;
    const CTRCHDLINFO info = CTrcIHandle(handle);
    if (!wanted(info, CTrcState().EntLev)) return;
    putStart(info, flags);
    const Formatted formatted = format(encoding, pattern, args);
    if (formatted.failed) {
        DpIPrint(info.stream, "%sDpTrcVSprintf err, errno=%d", CTRC_ERROR.data(), errno);
        putPlace(info.stream);
        CTrcState().unfinished = nullptr;
        return DpIFlush(info.stream);
    }
    putLines(info, flags, formatted.text);
    finish(handle, info, formatted);
}

/** A text of the caller in front of an error; the hook that gives it may trace, but not for itself. */
void putContext(std::FILE* stream) {
    CTRCSTATE& state = CTrcState();
    if (!state.contextinfo_hook_func || state.inContextHook) return;
    KEL_CHAR context[CONTEXT_MAX + 1] = "";
    state.inContextHook = true;
    const int rc = state.contextinfo_hook_func(state.contextinfo_hook_ctx, context, sizeof context);
    state.inContextHook = false;
    if (rc != 0)
        DpIPrint(stream, "\n%s contextinfo_hook_func failed %d\n", "*** ERROR =>", rc);
    else
        DpIPut(stream, {context, ::strnlen(context, CONTEXT_MAX)});
}

const KEL_CHAR* errnoText(int number) {
    const KEL_CHAR* const text = ::strerrordesc_np(number);
    if (!text) return "illegal errno";
    return std::strlen(text) < ERRNO_TEXT_MAX ? text : "error text too long";
}

/** An error line; `failure` is the errno to show, or nothing. */
[[gnu::format(printf, 5, 0)]] void DpITrcErr(unsigned flags, CTRC_ENC encoding, CTRC_HDL handle,
                                             const int* failure, const KEL_CHAR* pattern,
                                             va_list args) noexcept {
    const ErrnoKeeper keeper;
    const DpGuard guard;
    const CTRCHDLINFO info = CTrcIHandle(handle);
    if (!wanted(info, 1)) return;
    putContext(info.stream);
    putStart(info, flags);
    DpIPut(info.stream, flags & WARNING ? CTRC_WARNING : CTRC_ERROR);
    CTrcState().unfinished = nullptr;
    if (std::strlen(pattern) >= CTRC_SCRATCH) {
        DpIPut(info.stream, "Dptrc fmt string truncated\n");
        return DpIFlush(info.stream);
    }
    const Formatted formatted = format(encoding, pattern, args);
    DpIPut(info.stream, formatted.text);
    if (failure) DpIPrint(info.stream, " (%d: %s)", *failure, errnoText(*failure));
    putPlace(info.stream);
    finish(handle, info, formatted);
}

}  // namespace

CTRCSTATE& CTrcState() noexcept {
    alignas(CTRCSTATE) static unsigned char room[sizeof(CTRCSTATE)];
    static CTRCSTATE& state = *::new (room) CTRCSTATE;
    return state;
}

void DpLock() noexcept {
    ThrCSLock(&ctrcadm_mtx);
}

void DpUnlock() noexcept {
    ThrCSUnlock(&ctrcadm_mtx);
}

DpHold::DpHold(int level, const KEL_CHAR* path, int line) noexcept {
    DpLock();
    outer = CTrcState().EntLev;
    CTrcState().EntLev = level;
    CTrcSaveLocation(path, line);
}

DpHold::~DpHold() {
    CTrcState().EntLev = outer;
    DpUnlock();
}

void CTrcSaveLocation(const KEL_CHAR* path, int line) noexcept {
    const DpGuard guard;
    const KEL_CHAR* const slash = std::strrchr(path, '/');
    std::snprintf(CTrcState().savloc, sizeof CTrcState().savloc, "%-12.12s%d", slash ? slash + 1 : path,
                  line);
}

void DpIPut(std::FILE* stream, std::string_view text) noexcept {
    const CTRCSTATE& state = CTrcState();
    if (text.empty()) return;
    if (state.output_func)
        state.output_func(state.output_info, text);
    else
        (void)std::fwrite(text.data(), 1, text.size(), stream);
}

void DpIPrint(std::FILE* stream, const KEL_CHAR* pattern, ...) noexcept {
    KEL_CHAR text[1024];
    va_list args;
    va_start(args, pattern);
    const int length = std::vsnprintf(text, sizeof text, pattern, args);
    va_end(args);
    if (length > 0)
        DpIPut(stream, {text, std::min<std::size_t>(static_cast<std::size_t>(length), sizeof text - 1)});
}

void DpIFlush(std::FILE* stream) noexcept {
    if (!CTrcState().output_func) (void)std::fflush(stream);
}

#define DP_FORM(name, encoding, call)                                   \
    void name(CTRC_HDL handle, const KEL_CHAR* pattern, ...) noexcept { \
        va_list args;                                                   \
        va_start(args, pattern);                                        \
        call(encoding, handle, pattern, args);                          \
        va_end(args);                                                   \
    }
/** The three forms of a statement; `call` writes it. */
#define DP_STATEMENT(name, call)                                                      \
    DP_FORM(name, CTRC_ENC_UC, call)                                                  \
    DP_FORM(name##A7, CTRC_ENC_A7, call)                                              \
    void name##Var(CTRC_HDL handle, const KEL_CHAR* pattern, va_list args) noexcept { \
        call(CTRC_ENC_UC, handle, pattern, args);                                     \
    }

namespace {

template <unsigned flags>
[[gnu::format(printf, 3, 0)]] void plain(CTRC_ENC encoding, CTRC_HDL handle, const KEL_CHAR* pattern,
                                         va_list args) noexcept {
    DpITrc(flags, encoding, handle, pattern, args);
}

template <unsigned flags>
[[gnu::format(printf, 3, 0)]] void failing(CTRC_ENC encoding, CTRC_HDL handle, const KEL_CHAR* pattern,
                                           va_list args) noexcept {
    DpITrcErr(flags, encoding, handle, nullptr, pattern, args);
}

[[gnu::format(printf, 3, 0)]] void systemCall(CTRC_ENC encoding, CTRC_HDL handle, const KEL_CHAR* pattern,
                                              va_list args) noexcept {
    const int failure = errno;
    DpITrcErr(STAMP | THREAD, encoding, handle, &failure, pattern, args);
}

}  // namespace

DP_STATEMENT(DpTrc, plain<STAMP | THREAD>)
DP_STATEMENT(DpTrcNoThr, plain<STAMP>)
DP_STATEMENT(DpTrcNoTi, plain<THREAD>)
DP_STATEMENT(DpTrcNoTiNoThr, plain<0>)
DP_STATEMENT(DpTrcErr, failing<STAMP | THREAD>)
DP_STATEMENT(DpTrcErrNoThr, failing<STAMP>)
DP_STATEMENT(DpTrcWarn, failing<STAMP | THREAD | WARNING>)
DP_STATEMENT(DpSysErr, systemCall)

void DpTrcTime(CTRC_HDL handle) noexcept {
    const ErrnoKeeper keeper;
    const DpGuard guard;
    const CTRCHDLINFO info = CTrcIHandle(handle);
    if (wanted(info, CTrcState().EntLev)) DpITrcTime(info);
}

void DpTrcTimeNoThr(CTRC_HDL handle) noexcept {
    DpTrcTime(handle);
}

void DpSetSysLog(DP_SYSLOG function) noexcept {
    const DpGuard guard;
    CTrcState().sysLog = function;
}

void DpSLogFun(const KEL_CHAR* key, const KEL_CHAR* text) noexcept {
    const DpGuard guard;
    const DP_SYSLOG function = CTrcState().sysLog;
    if (function && ct_log_level > 0) function(key, text);
}
