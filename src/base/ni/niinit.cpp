// Start and end of the layer.

#include "base/ni/nierr.h"
#include "base/ni/niparam.h"
#include "base/ni/niresolve.h"
#include "base/ni/nitab.h"
#include "base/si/sisel.h"
#include "base/thr/thr.h"

namespace {

THR_CS_TYPE init_section;
int starts THR_GUARDED_BY(init_section) = 0;

}  // namespace

KELRETURN NiInit2(KEL_INT maxHandles) noexcept {
    const ThrCSGuard guard(init_section);
    if (maxHandles < 1 || maxHandles > NI_MAX_HANDLES)
        return NiErrSet(NIEINVAL, {.function = __func__,
                                   .line = __LINE__,
                                   .module = __FILE__,
                                   .detail = "parameter invalid (maxHandles)"});
    if (starts == 0) SiInit();
    const KELRETURN rc = starts == 0 ? NiTabInit(maxHandles) : static_cast<KELRETURN>(NI_OK);
    if (rc == NI_OK) ++starts;
    return rc;
}

KELRETURN NiInit() noexcept {
    return NiInit2(NI_MAX_HANDLES);
}

KELRETURN NiIStart() noexcept {
    const ThrCSGuard guard(init_section);
    return starts != 0 ? static_cast<KELRETURN>(NI_OK) : NiInit();
}

KELRETURN NiExit() noexcept {
    const ThrCSGuard guard(init_section);
    if (starts == 0 || --starts != 0) return NI_OK;
    NiTabExit();
    NiIResetCaches();
    NiIResetSettings();
    return NI_OK;
}
