// The trace file of the conversation layer and all below it.

#include "krn/si/cpic/cpictrc.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>
#include <vector>

#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"

namespace {

constexpr CPIC_INT HIGHEST_LEVEL = 3;
constexpr int APPEND = 2;
constexpr unsigned BACKUPS = 1;
constexpr unsigned MEBIBYTE_SHIFT = 20;
constexpr std::size_t DUMP_WIDTH = 16;

/** MiB above which the file becomes `<name>.old` and starts anew; 0: as the settings say. */
std::atomic<CPIC_INT> fileSize{0};
/** Level of all that has none of its own. */
std::atomic<int> processLevel{0};

/** Name of the file that is open; empty before the first. Under DpLock. */
std::array<KEL_CHAR, 4096> openName;

void switchFull(CTRC_HDL handle, long) {
    if (handle != tf || handle == stderr) return;
    const int level = ct_level;
    CTrcFileClose(handle);
    CTrcBackupFiles(openName.data(), BACKUPS);
    tf = CTrcInit(openName.data(), APPEND, level);
}

/** Opens the file in place of the one that is open. Under DpLock. */
void openFile(std::string_view name, int level) {
    if (tf) CTrcFileClose(tf);
    openName.fill(0);
    name.copy(openName.data(), name.size());
    tf = CTrcInit(openName.data(), APPEND, level);
    const CPIC_INT size = fileSize > 0 ? fileSize.load() : STInitGlobals().trace_file_size;
    DpTrcSetFileSizeHook(static_cast<long>(size) << MEBIBYTE_SHIFT, switchFull);
}

/** The file that the environment asks for. */
void openOwn(int level) {
    const CPIC_GLOBALS& globals = STInitGlobals();
    std::string path = globals.trace_dir.empty() ? "" : globals.trace_dir + "/";
    path += "CPICTRC" + std::to_string(::getpid());
    if (path.size() >= openName.size()) return;
    const DpHold hold(1);
    if (tf) return;
    openFile(path, level);
    DpTrc(tf, "opened by %s (version=%d.%d)\n", globals.my_TP_name.c_str(), KEL_CMGETVERSION(), 0);
}

void raise(int level) {
    if (level <= ct_level) return;
    openOwn(level);
    const DpHold hold(1);
    CTrcSetParam(tf, CTP_LEVEL, &level);
    ct_level = level;
}

/** The highest level that anything needs, one conversation left out. */
int highestLevel(const CONV_PROTO* but) {
    int highest = processLevel;
    for (int idx = 0; idx < STIConvPlaces(); ++idx)
        if (const CONV_PROTO* conv = STIConvAt(idx); conv && conv != but)
            highest = std::max(highest, conv->trace_level.load());
    return highest;
}

void traceRaw(const CONV_PROTO& conv, std::span<const KEL_RAW> data) noexcept {
    const DpHold hold(2);
    const auto limit = static_cast<std::size_t>(STInitGlobals().cpic_trace_len);
    const std::span<const KEL_RAW> shown = data.first(std::min(data.size(), limit));
    for (std::size_t at = 0; at < shown.size(); at += DUMP_WIDTH) {
        KEL_CHAR text[3 * DUMP_WIDTH + 1] = "";
        const std::span<const KEL_RAW> line = shown.subspan(at, std::min(DUMP_WIDTH, shown.size() - at));
        for (std::size_t i = 0; i < line.size(); ++i)
            std::snprintf(text + 3 * i, 4, " %02x", line[i]);
        DpTrcNoTiNoThr(STITraceFile(conv), "%06x %s\n", static_cast<unsigned>(at), text);
    }
}

}  // namespace

CM_RETCODE KEL_CMTRACE(CPIC_INT trace_level, const KEL_CHAR* trace_file, CM_RETCODE* return_code) noexcept {
    const std::string_view name = trace_file;
    if (trace_level < 0 || trace_level > HIGHEST_LEVEL || name.size() >= openName.size())
        return STIReturn(CM_PRODUCT_SPECIFIC_ERROR, return_code);
    processLevel = trace_level;
    for (int idx = 0; idx < STIConvPlaces(); ++idx)
        if (CONV_PROTO* conv = STIConvAt(idx)) conv->trace_level = trace_level;
    // A file that was opened once stays open at level 0: a statement of another thread may be on its way.
    if (trace_level == 0 && ct_level == 0) return STIReturn(CM_OK, return_code);
    const DpHold hold(1);
    if (trace_level > 0 && name != openName.data())
        openFile(name, trace_level);
    else if (ct_level != trace_level)
        CTrcSetParam(tf, CTP_LEVEL, &trace_level);
    ct_level = trace_level;
    return STIReturn(CM_OK, return_code);
}

void KEL_CMSetTraceFileSize(CPIC_INT size) noexcept {
    fileSize = size;
}

void CpicTrcInit() noexcept {
    static const bool done = [] {
        const int level = STInitGlobals().trace_level;
        if (level == 0 || ct_level > 0) return true;
        STIRaiseTrace(level);
        return true;
    }();
    (void)done;
}

void STIRaiseTrace(CPIC_INT level) noexcept {
    const int wanted = std::min(level, HIGHEST_LEVEL);
    if (wanted <= processLevel) return;
    processLevel = wanted;
    raise(wanted);
}

void STISetConvTrace(CONV_PROTO& conv, CPIC_INT level) noexcept {
    const int wanted = level < 0 ? processLevel.load() : std::min(level, HIGHEST_LEVEL);
    conv.trace_level = wanted;
    raise(wanted);
}

void STILowerTrace(const CONV_PROTO& conv) noexcept {
    if (conv.trace_level <= processLevel) return;
    const int level = highestLevel(&conv);
    if (level >= ct_level) return;
    const DpHold hold(1);
    CTrcSetParam(tf, CTP_LEVEL, &level);
    ct_level = level;
}

void STINoteData(CONV_PROTO& conv, bool incoming, std::span<const KEL_RAW> data) noexcept {
    if (data.empty()) return;
    (incoming ? conv.pieces_sent : conv.pieces_received) = 0;
    const unsigned piece = (incoming ? conv.pieces_received : conv.pieces_sent)++;
    if (!STITraces(conv, 2) || conv.trace_raw <= 0 || !conv.data_cover) return;
    try {
        std::vector<KEL_RAW> copy(data.begin(), data.end());
        conv.data_cover(conv.cover_context, incoming, piece, copy);
        traceRaw(conv, copy);
    } catch (const std::bad_alloc&) {
        // The trace lacks this piece; what follows in the message is covered.
    }
}
