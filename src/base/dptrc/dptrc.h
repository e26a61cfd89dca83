/**
 * @file
 * The trace of the C layers: lines of components at levels, in one file of the process and, where asked
 * for, in private files of threads. A statement has this form, and costs one load while its level is off:
 *
 *     if (ct_level >= 1) {
 *         const DpHold hold(1);
 *         DpTrcErr(tf, "no answer from %s", host);
 *     }
 *
 * DpHold keeps the lines of threads apart, and notes the level of the statement and its place in the source.
 * What can't be written is lost. Nothing here throws, sets `errno` or allocates per statement.
 */
#pragma once

#include <kelzor/types.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string_view>

/**
 * Where a statement writes: NULL is standard error; a handle of CTrcNewComp or CTrcThrOpen is a component,
 * whose lines go to the thread's private file if it has one, else to the main file; anything else is a
 * stream.
 */
using CTRC_HDL = std::FILE*;

/** Called when the level of a component changes, with the level that counts. */
using CTRC_LEVEL_HOOK = void (*)(CTRC_HDL handle, int level);
/** Called when a pattern was found in a statement. */
using CTRC_PATTERN_HOOK = void (*)(CTRC_HDL handle, const KEL_CHAR* pattern);
/** Called when a file has grown over the limit; may close, move and open files. */
using CTRC_SIZE_HOOK = void (*)(CTRC_HDL handle, long size);
/** Takes all output in place of files. */
using CTRC_OUTPUT = void (*)(void* info, std::string_view text);
/** Fills a buffer with a text that stands in front of every error; not 0 on failure. */
using CTRC_CONTEXT_HOOK = int (*)(void* context, KEL_CHAR* buffer, std::size_t size);

/** The level 0 to 3 of the process, tested by every statement before anything else. */
inline constinit std::atomic<int> ct_level{0};
/** Level of the lines that ask for an entry in a system log. */
inline constinit std::atomic<int> ct_log_level{3};
/** Generations of a full file that its owner keeps beside it. */
inline constinit std::atomic<unsigned> ct_backup_files_max{1};
/** The handle that the layers pass; read and set between DpLock and DpUnlock. */
inline constinit CTRC_HDL tf = nullptr;

/** The lock that every statement runs under; recursive, and the last of all locks. */
void DpLock() noexcept;
void DpUnlock() noexcept;

/** A statement of a level: locked, its place noted for an error line. */
class DpHold {
  public:
    // Builtins, since the compiler of the fuzz targets has no std::source_location.
    explicit DpHold(int level, const KEL_CHAR* path = __builtin_FILE(), int line = __builtin_LINE()) noexcept;
    ~DpHold();
    DpHold(const DpHold&) = delete;
    DpHold& operator=(const DpHold&) = delete;

  private:
    int outer;  ///< Level of the statement around this one.
};

/**
 * Declares a statement in its three forms: with a list of arguments, with a format and text of 7 bits (A7),
 * and with a va_list (Var). In a 7-bit text a byte beyond is shown as '?'.
 */
#define DP_DECLARE_STATEMENT(name)                                                                      \
    [[gnu::format(printf, 2, 3)]] void name(CTRC_HDL handle, const KEL_CHAR* format, ...) noexcept;     \
    [[gnu::format(printf, 2, 3)]] void name##A7(CTRC_HDL handle, const KEL_CHAR* format, ...) noexcept; \
    [[gnu::format(printf, 2, 0)]] void name##Var(CTRC_HDL handle, const KEL_CHAR* format,               \
                                                 va_list arguments) noexcept

/** A line with time stamp and thread id; NoTi leaves out the stamp, NoThr the id. */
DP_DECLARE_STATEMENT(DpTrc);
DP_DECLARE_STATEMENT(DpTrcNoThr);
DP_DECLARE_STATEMENT(DpTrcNoTi);
DP_DECLARE_STATEMENT(DpTrcNoTiNoThr);
/** An error line, or a warning line, with the place in the source; the format has no newline. */
DP_DECLARE_STATEMENT(DpTrcErr);
DP_DECLARE_STATEMENT(DpTrcErrNoThr);
DP_DECLARE_STATEMENT(DpTrcWarn);
/** An error line with `errno` as it is at the call. */
DP_DECLARE_STATEMENT(DpSysErr);
#undef DP_DECLARE_STATEMENT
/** A time stamp alone, which names no thread anyway. */
void DpTrcTime(CTRC_HDL handle) noexcept;
void DpTrcTimeNoThr(CTRC_HDL handle) noexcept;

/** Takes a text for the log of the system, with the key of its kind. */
using DP_SYSLOG = void (*)(const KEL_CHAR* key, const KEL_CHAR* text);
/** Sets where such texts go; NULL, as at the start, drops them. */
void DpSetSysLog(DP_SYSLOG function) noexcept;
/** Hands a text to the log of the system, if there is one and `ct_log_level` isn't 0. */
void DpSLogFun(const KEL_CHAR* key, const KEL_CHAR* text) noexcept;

/** Notes the place that the next error line names; `path` may have directories. */
void CTrcSaveLocation(const KEL_CHAR* path, int line) noexcept;

/**
 * Opens a file, 0644 whatever the umask, and writes a head of three lines. The first one is the main file and
 * sets the level. NULL, or a file that can't be opened, is standard error.
 *
 * @param mode 1 starts the file anew, any other appends.
 */
CTRC_HDL CTrcInit(const KEL_CHAR* path, int mode, int level) noexcept;
/** Closes a file. The components go with the main file. */
void CTrcFileClose(CTRC_HDL handle) noexcept;
/** Opens a private file of the calling thread; its handle, or NULL when there are too many. */
CTRC_HDL CTrcThrOpen(const KEL_CHAR* path, int mode, int level) noexcept;
/** Closes the calling thread's private file. 0, or -1 for the handle of another. */
int CTrcThrClose(CTRC_HDL handle) noexcept;
/** Level of a thread: what is above isn't written by it. 0, or -1 for a wrong handle. */
int CTrcThrSetTraceLevel(CTRC_HDL handle, int level) noexcept;
/** The level, or -1 for a wrong handle. */
int CTrcThrGetTraceLevel(CTRC_HDL handle) noexcept;
/** Makes the levels of threads count no longer. */
void CTrcThrResetTrace() noexcept;
/** Moves a file to `<name>.old`, the older ones to `.old.1` and on; `count` are kept, with 0 none. */
void CTrcBackupFiles(const KEL_CHAR* name, unsigned count) noexcept;

/** A component with a letter, level 1 (3 for M). `handle` is NULL if there can be none. */
void CTrcNewComp(KEL_CHAR letter, CTRC_HDL* handle, CTRC_LEVEL_HOOK hook) noexcept;
/** The same for the last one: there can be no more. */
void CTrcLastComp(KEL_CHAR letter, CTRC_HDL* handle, CTRC_LEVEL_HOOK hook) noexcept;

/** Blanks in front of a component's texts, two for each step; 31 at most are written. */
void CTrcSetIndent(CTRC_HDL handle, int steps) noexcept;

/** What CTrcGetParam and CTrcSetParam know of a handle. */
enum CTRC_PARAM : unsigned {
    CTP_LEVEL = 0x10000000,     ///< int
    CTP_FILE = 0x10000001,      ///< CTRC_HDL, to be read only.
    CTP_HOOKFUNC = 0x10000002,  ///< CTRC_LEVEL_HOOK
};
/** 0, or -1 for what isn't known. */
int CTrcGetParam(CTRC_HDL handle, unsigned id, void* value) noexcept;
int CTrcSetParam(CTRC_HDL handle, unsigned id, const void* value) noexcept;

/** Flag of CTrcSwitch's mode: the full level is the argument, and the process takes the highest level. */
inline constexpr unsigned CTRC_SWITCH_LEVEL = 0x80000000;
/** Room for the text of CTrcActComps. */
inline constexpr std::size_t CTRC_ACTIVE_MAX = 40;

/**
 * Switches components by their letters, lower case for level 1, upper case for the full level, 3.
 *
 * @param mode 1: those named; 2: those named, one level lower (0 and 1); 3: those named, and all others to 0,
 *             where "All" or "all" in front stands for all components.
 * @param level the process's level, unless it is negative.
 * @param active receives the text of CTrcActComps; may be NULL.
 * @param result receives the process's level; may be NULL.
 * @return 0, or -1 for a mode that isn't known or doesn't take "all"; nothing is switched then.
 */
int CTrcSwitch(const KEL_CHAR* components, unsigned mode, int level, KEL_CHAR (*active)[CTRC_ACTIVE_MAX],
               int* result) noexcept;
/** The active components in short: "All", "all", "All, bc", or letters. */
void CTrcActComps(KEL_CHAR (&text)[CTRC_ACTIVE_MAX]) noexcept;
/** Writes level and components into the main file. */
void CTrcPrintAct() noexcept;

/** What a program tells about itself at the head of a trace. Texts may be NULL. */
struct CTRC_PGM_HEADER {
    const KEL_CHAR* sysno;
    const KEL_CHAR* sid;
    int relno;
    int patchlevel;
    int patchno;
    int intno;
    std::array<const KEL_CHAR*, 5> make;  ///< Mode, bits and platform of the build, as the line puts them.
    const KEL_CHAR* profile;
};
/** Writes such a head, each line as one of the handle's component. */
void CTrcPrintPgmHeaderExt2(CTRC_HDL handle, const CTRC_PGM_HEADER& header) noexcept;

/** Watches for a text in the statements; `hook` may be NULL. 0, or -1 when 32 are watched already. */
int DpTrcAddPattern(const KEL_CHAR* text, CTRC_PATTERN_HOOK hook) noexcept;
/** 0, or -1 for one that isn't watched. */
int DpTrcRmPattern(const KEL_CHAR* text) noexcept;
void DpTrcRmAllPattern() noexcept;
/** Number of patterns; the first `room` of them are stored. Valid until one is removed. */
std::size_t DpTrcGetPatterns(const KEL_CHAR** patterns, std::size_t room) noexcept;

/** Limits files to a size in bytes; 0 and less is none. */
void DpTrcSetFileSizeHook(long size, CTRC_SIZE_HOOK hook) noexcept;
void DpTrcRmFileSizeHook() noexcept;
long DpTrcGetFileSize() noexcept;
void CTrcSetFileSwitchAllowed(bool allowed) noexcept;

void CTrcSetOutputMethod(CTRC_OUTPUT function, void* info) noexcept;
void CTrcSetContextInfoHook(CTRC_CONTEXT_HOOK function, void* context) noexcept;
/** A text in every line of a component, at most 31 characters. */
void CTrcSetTag(const KEL_CHAR* text) noexcept;
void CTrcClearTag() noexcept;
void CTrcSetPrintThreadId(bool print) noexcept;
/** Resolution of time stamps: 0 none, 1 seconds, above fractions of a second. */
void CTrcSetTimeResolution(int resolution) noexcept;
/** Statements after which a time stamp is due, 40 to begin with; 1 puts one into each line. */
void CTrcSetMaxLinesBetweenTimestamps(unsigned lines) noexcept;
void CTrcResetMaxLinesBetweenTimestamps() noexcept;
