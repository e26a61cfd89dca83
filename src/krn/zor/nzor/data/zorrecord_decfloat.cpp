// The one-time start of decimal floating point.

#include <atomic>

#include "base/keldecf/keldecf.h"
#include "base/thr/thr.h"
#include "config/zorconfig.h"
#include "data/zorrecord.h"
#include "trace/zortracefunctions.h"

namespace {

/** One thread at a time loads; the traces and the configuration are asked within. */
THR_CS_TYPE cs_decfloatLib;
std::atomic<bool> decfloatLibLoaded = false;

void logLine(const KEL_CHAR* text) noexcept {
    ZorLogWrite("%s", text);
}

void traceLine(const KEL_CHAR* text) noexcept {
    ZorTraceWrite("%s", text);
}

}  // namespace

void ZorRecord::initDecfloatLib() {
    if (decfloatLibLoaded.load(std::memory_order_acquire)) return;
    const ThrCSGuard guard(cs_decfloatLib);
    const bool traced = ZorConfig::getGlobalTraceLevel() >= 2;
    const DECF_RETURN rc = InitDecFloatLib({logLine, traced ? traceLine : nullptr});
    if (rc != DECF_OK) throw ZorSystemException(DecfReturnText(rc));
    decfloatLibLoaded.store(true, std::memory_order_release);
}
