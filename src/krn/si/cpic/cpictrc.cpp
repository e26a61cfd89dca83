// The trace file of the conversation layer and all below it.

#include <array>
#include <string_view>

#include "base/dptrc/dptrc.h"
#include "krn/si/cpic/cpicerr.h"

namespace {

constexpr CPIC_INT HIGHEST_LEVEL = 3;
constexpr int APPEND = 2;
/** Above this size, in bytes, the file becomes `<name>.old` and starts anew. */
constexpr long FILE_SIZE = 100L << 20;
constexpr unsigned BACKUPS = 1;

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
    DpTrcSetFileSizeHook(FILE_SIZE, switchFull);
}

}  // namespace

CM_RETCODE KEL_CMTRACE(CPIC_INT trace_level, const KEL_CHAR* trace_file, CM_RETCODE* return_code) noexcept {
    const std::string_view name = trace_file;
    if (trace_level < 0 || trace_level > HIGHEST_LEVEL || name.size() >= openName.size())
        return STIReturn(CM_PRODUCT_SPECIFIC_ERROR, return_code);
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
