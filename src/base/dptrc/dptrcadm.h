/** @file What the trace keeps; private to this layer, and all of it under DpLock. */
#pragma once

#include <sys/time.h>

#include <array>
#include <ctime>
#include <memory>
#include <string>

#include "base/dptrc/dptrc.h"

inline constexpr int CTRC_HIGHEST = 3;
inline constexpr std::size_t CTRC_COMPS = 2000;
inline constexpr std::size_t CTRC_PATTERNS = 32;
inline constexpr std::size_t CTRC_SCRATCH = 8192;
inline constexpr unsigned CTRC_MAX_LINES = 40;
inline constexpr std::string_view CTRC_ERROR{"*** ERROR => "};
inline constexpr std::string_view CTRC_WARNING{"*** WARNING => "};

/** When the last stamp was written; zero for never. */
struct CTRCTIMES {
    std::time_t last_worldtime = 0;
    timeval last_timeval{};
};

/** One thread that has a private file, now or once. */
struct CTRCTHRADM {
    std::FILE* fp_priv = nullptr;
    KEL_INT level = 0x7FFFFFFF;
    CTRCTIMES times;
};

/** One component, or a thread's handle. */
struct CTRCADM {
    KEL_CHAR compid = 0;  ///< 0 for a thread's handle.
    KEL_INT level = 0;
    KEL_INT indent = 0;
    CTRC_LEVEL_HOOK func = nullptr;
    CTRCTHRADM* thr_adm = nullptr;
};

struct CTRCPATTERN {
    std::string pattern;
    CTRC_PATTERN_HOOK func = nullptr;
};

/** A handle, translated. */
struct CTRCHDLINFO {
    CTRCADM* component = nullptr;  ///< NULL for a stream.
    CTRCTHRADM* thread = nullptr;  ///< NULL for a thread without settings of its own.
    std::FILE* stream = nullptr;
};

struct CTRCSTATE {
    std::array<CTRCADM, CTRC_COMPS> ctrcadm;
    std::size_t next_free_comp = 1;  ///< Behind the last slot that was ever used; slot 0 never is.
    bool ct_no_new_comps = false;
    std::FILE* ctrc_fp = nullptr;

    int EntLev = 2;
    KEL_CHAR savloc[32] = "";
    KEL_CHAR scratch[CTRC_SCRATCH] = "";
    CTRCADM* unfinished = nullptr;  ///< Component whose last line has no end yet.

    int ct_time_res = 1;
    unsigned max_lines_between_timestamps = CTRC_MAX_LINES;
    unsigned linesSinceStamp = 0;
    CTRCTIMES times;

    bool dpTrcPrintThreadId = true;
    bool thr_spec_trace = false;
    std::array<KEL_CHAR, 32> dpTrcTag{};

    std::array<CTRCPATTERN, CTRC_PATTERNS> ctrc_pattern;
    std::size_t patternCount = 0;

    long ctrc_max_file_size = -1;
    CTRC_SIZE_HOOK ctrc_file_size_hook = nullptr;
    bool dpTrcFileSwitchAllowed = true;
    bool dp_in_file_size_hook = false;

    CTRC_OUTPUT output_func = nullptr;
    void* output_info = nullptr;
    CTRC_CONTEXT_HOOK contextinfo_hook_func = nullptr;
    void* contextinfo_hook_ctx = nullptr;
    bool inContextHook = false;
    DP_SYSLOG sysLog = nullptr;
};

/** The one state; never destroyed, since threads trace until the process ends. */
CTRCSTATE& CTrcState() noexcept;

/** Locks for the time of a block that is no statement. */
class DpGuard {
  public:
    DpGuard() noexcept { DpLock(); }
    ~DpGuard() { DpUnlock(); }
    DpGuard(const DpGuard&) = delete;
    DpGuard& operator=(const DpGuard&) = delete;
};

/** Writes to a stream, or to the function that stands for all of them. */
void DpIPut(std::FILE* stream, std::string_view text) noexcept;
[[gnu::format(printf, 2, 3)]] void DpIPrint(std::FILE* stream, const KEL_CHAR* format, ...) noexcept;
void DpIFlush(std::FILE* stream) noexcept;

CTRCHDLINFO CTrcIHandle(CTRC_HDL handle) noexcept;
/** The component behind a handle, NULL for a stream. */
CTRCADM* CTrcIComponent(CTRC_HDL handle) noexcept;
CTRC_HDL CTrcIHandleOf(CTRCADM& component) noexcept;
/** A slot that nobody has; NULL if there is none. */
CTRCADM* CTrcINewSlot() noexcept;
/** The calling thread's record, NULL if it has none. */
CTRCTHRADM* CTrcIThread() noexcept;
/** The same, made if need be; NULL without memory. */
CTRCTHRADM* CTrcIOwnThread() noexcept;
/** Opens a file and writes its head. */
std::FILE* CTrcOpen(const KEL_CHAR* path, int mode, int level) noexcept;

/** Writes a time stamp if one is due. */
void DpITrcTime(const CTRCHDLINFO& info) noexcept;
/** Looks for the watched patterns and at the size of the file, once a statement is written. */
void DpITrcWatch(CTRC_HDL handle, const CTRCHDLINFO& info, std::string_view text) noexcept;
