// The files of the trace: the main one, those of threads, and the generations before them.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "base/dptrc/dptrcadm.h"
#include "base/thr/thr.h"

namespace {

constexpr mode_t FILE_MODE = 0644;
constexpr const KEL_CHAR* RULE = "---------------------------------------------------\n";
constexpr const KEL_CHAR* RELEASE = "753";
constexpr std::size_t NAME_MAX_LENGTH = 4096;

// The platform, as the head of a program has it.
constexpr int SYSTEM_ID = 387;
constexpr const KEL_CHAR* SYSTEM_TEXT =
    sizeof(void*) == 4 ? "Intel x86 with Linux" : "AMD/Intel x86_64 with Linux";

THR_KEY_TYPE ctrc_key;

/** A stream over a file, NULL if that can't be had; a pipe without a reader or a link isn't waited for. */
std::FILE* openStream(const KEL_CHAR* path, bool anew) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK;
    // A file of our own making gets its mode whatever the umask is, which belongs to the program.
    int descriptor = ::open(path, flags | O_CREAT | O_EXCL, FILE_MODE);
    if (descriptor >= 0)
        (void)::fchmod(descriptor, FILE_MODE);
    else
        descriptor = ::open(path, flags | (anew ? O_TRUNC : 0));
    if (descriptor < 0) return nullptr;
    std::FILE* const stream = ::fdopen(descriptor, "a");
    if (!stream) ::close(descriptor);
    return stream;
}

const KEL_CHAR* fileName(const KEL_CHAR* path) {
    const KEL_CHAR* const slash = ::strrchr(path, '/');
    const KEL_CHAR* const name = slash ? slash + 1 : path;
    const KEL_CHAR* const backslash = ::strrchr(name, '\\');
    return backslash ? backslash + 1 : name;
}

void closeStream(std::FILE* stream) {
    if (stream && stream != stderr) (void)std::fclose(stream);
}

/** The slot of a thread's handle is given free; the file goes with it. */
void dropThread(CTRCTHRADM& thread) {
    CTRCSTATE& state = CTrcState();
    closeStream(std::exchange(thread.fp_priv, nullptr));
    for (CTRCADM& slot : state.ctrcadm) {
        if (slot.thr_adm != &thread) continue;
        if (state.unfinished == &slot) state.unfinished = nullptr;
        slot = {};
    }
}

void threadEnds(void* record) {
    const std::unique_ptr<CTRCTHRADM> thread(static_cast<CTRCTHRADM*>(record));
    const DpGuard guard;
    dropThread(*thread);
}

bool haveKey() {
    static const bool made = ThrKeyGet(&ctrc_key, threadEnds) == 0;
    return made;
}

/** The thread behind a handle; a handle of another kind leaves a line in the trace. */
CTRCTHRADM* threadOf(CTRC_HDL handle, const KEL_CHAR* function) {
    const CTRCADM* const slot = CTrcIComponent(handle);
    if (slot && slot->thr_adm) return slot->thr_adm;
    if (ct_level > 0) DpTrc(tf, "%s: invalid handle\n", function);
    return nullptr;
}

}  // namespace

CTRCTHRADM* CTrcIThread() noexcept {
    return haveKey() ? static_cast<CTRCTHRADM*>(ThrKeyVarGet(ctrc_key)) : nullptr;
}

CTRCTHRADM* CTrcIOwnThread() noexcept {
    if (CTRCTHRADM* const known = CTrcIThread()) return known;
    std::unique_ptr<CTRCTHRADM> fresh(new (std::nothrow) CTRCTHRADM);
    if (!fresh || !haveKey() || ThrKeyVarSet(ctrc_key, fresh.get()) != 0) return nullptr;
    return fresh.release();  // the thread's key owns it from here on
}

std::FILE* CTrcOpen(const KEL_CHAR* path, int mode, int level) noexcept {
    CTRCSTATE& state = CTrcState();
    state.times = {};
    if (CTRCTHRADM* const thread = CTrcIThread()) thread->times = {};
    if (!path) return stderr;
    std::FILE* stream = stderr;
    if (!state.output_func) {
        stream = openStream(path, mode == 1);
        if (!stream) {
            (void)std::fprintf(stderr, "%sCTrcOpen: fopen %s\n", CTRC_ERROR.data(), path);
            stream = stderr;
        }
    } else if (level < 2) {
        return stream;
    }
    DpIPrint(stream, "\n%s", RULE);
    DpIPrint(stream, "trc file: \"%s\", trc level: %d, release: \"%s\"\n", fileName(path), level, RELEASE);
    DpIPut(stream, RULE);
    DpIFlush(stream);
    return stream;
}

CTRC_HDL CTrcInit(const KEL_CHAR* path, int mode, int level) noexcept {
    const DpGuard guard;
    CTRCSTATE& state = CTrcState();
    std::FILE* const stream = CTrcOpen(path, mode, level);
    if (!state.ctrc_fp) {
        state.ctrc_fp = stream;
        ct_level = level;
    }
    return stream;
}

void CTrcFileClose(CTRC_HDL handle) noexcept {
    const DpGuard guard;
    CTRCSTATE& state = CTrcState();
    if (CTrcIComponent(handle)) return;
    if (handle && handle == state.ctrc_fp) {
        state.ctrc_fp = nullptr;
        state.ct_no_new_comps = false;
        state.unfinished = nullptr;
        for (CTRCADM& slot : state.ctrcadm)  // threads keep their files and handles
            if (!slot.thr_adm) slot = {};
    }
    if (!state.output_func) closeStream(handle);
}

CTRC_HDL CTrcThrOpen(const KEL_CHAR* path, int mode, int level) noexcept {
    const DpGuard guard;
    CTRCTHRADM* const thread = CTrcIOwnThread();
    if (!thread) return nullptr;
    dropThread(*thread);  // it has one file at a time
    CTRCADM* const slot = CTrcINewSlot();
    if (!slot) return nullptr;
    *slot = {.level = CTRC_HIGHEST, .thr_adm = thread};
    thread->fp_priv = CTrcOpen(path, mode, level);
    thread->level = CTRCTHRADM{}.level;
    return CTrcIHandleOf(*slot);
}

int CTrcThrClose(CTRC_HDL handle) noexcept {
    const DpGuard guard;
    CTRCTHRADM* const thread = threadOf(handle, "CTrcThrClose");
    if (!thread || thread != CTrcIThread()) return -1;
    dropThread(*thread);
    return 0;
}

int CTrcThrSetTraceLevel(CTRC_HDL handle, int level) noexcept {
    const DpGuard guard;
    CTRCTHRADM* const thread = threadOf(handle, "CTrcThrSetTraceLevel");
    if (!thread) return -1;
    thread->level = level;
    CTrcState().thr_spec_trace = true;
    return 0;
}

int CTrcThrGetTraceLevel(CTRC_HDL handle) noexcept {
    const DpGuard guard;
    const CTRCTHRADM* const thread = threadOf(handle, "CTrcThrGetTraceLevel");
    return thread ? thread->level : -1;
}

void CTrcThrResetTrace() noexcept {
    const DpGuard guard;
    CTrcState().thr_spec_trace = false;
}

void CTrcBackupFiles(const KEL_CHAR* name, unsigned count) noexcept {
    if (count == 0) {
        (void)::unlink(name);
        return;
    }
    KEL_CHAR from[NAME_MAX_LENGTH];
    KEL_CHAR to[NAME_MAX_LENGTH];
    for (unsigned generation = count - 1; generation > 0; --generation) {
        const KEL_CHAR* const older = generation > 1 ? "%s.old.%u" : "%s.old";
        (void)std::snprintf(from, sizeof from, older, name, generation - 1);
        (void)std::snprintf(to, sizeof to, "%s.old.%u", name, generation);
        (void)std::rename(from, to);
    }
    (void)std::snprintf(to, sizeof to, "%s.old", name);
    (void)std::rename(name, to);
}

void CTrcPrintPgmHeaderExt2(CTRC_HDL handle, const CTRC_PGM_HEADER& header) noexcept {
    const DpHold hold(1);
    const auto text = [](const KEL_CHAR* value) { return value ? value : ""; };
    const auto& make = header.make;
    DpTrcNoTiNoThr(handle, "sysno      %s\n", text(header.sysno));
    DpTrcNoTiNoThr(handle, "sid        %s\n", text(header.sid));
    DpTrcNoTiNoThr(handle, "systemid   %d (%s)\n", SYSTEM_ID, SYSTEM_TEXT);
    DpTrcNoTiNoThr(handle, "relno      %d\n", header.relno);
    DpTrcNoTiNoThr(handle, "patchlevel %d\n", header.patchlevel);
    DpTrcNoTiNoThr(handle, "patchno    %d\n", header.patchno);
    DpTrcNoTiNoThr(handle, "intno      %d\n", header.intno);
    DpTrcNoTiNoThr(handle, "make       %s, %s%s, %s%s\n", text(make[0]), text(make[1]), text(make[2]),
                   text(make[3]), text(make[4]));
    DpTrcNoTiNoThr(handle, "profile    %s\n", text(header.profile));
    DpTrcNoTiNoThr(handle, "pid        %d\n", static_cast<int>(::getpid()));
}
