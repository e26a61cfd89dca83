#include "api/frame.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "error/zorexception.h"
#include "trace/zortracefunctions.h"

namespace zorapi {

namespace {

template <size_t size>
void copyText(KEL_UC (&target)[size], const KEL_UC* text) noexcept {
    std::snprintf(target, size, "%s", text);
}

}  // namespace

ZOR_RC setErrorInfo(ZOR_ERROR_INFO* info, ZOR_RC rc, ZOR_ERROR_GROUP group, const KEL_UC* key,
                    const KEL_UC* message) noexcept {
    if (info == nullptr) return rc;
    info->code = rc;
    info->group = group;
    if (key != nullptr) copyText(info->key, key);
    copyText(info->message, message);
    return rc;
}

ZOR_RC mapCurrentException(ZOR_ERROR_INFO* info) noexcept {
    try {
        throw;
    } catch (const ZorBaseException& exception) {
        return exception.getErrorInfo(info);
    } catch (const std::bad_alloc&) {
        return setErrorInfo(info, ZOR_MEMORY_INSUFFICIENT, EXTERNAL_RUNTIME_FAILURE,
                            zorRcName(ZOR_MEMORY_INSUFFICIENT), "Out of memory error");
    } catch (...) {
        // The key stays what the caller left in it.
        if (info != nullptr) {
            info->code = ZOR_UNKNOWN_ERROR;
            info->group = EXTERNAL_RUNTIME_FAILURE;
            copyText(info->message, "Unknown error in lower level library");
        }
        return ZOR_UNKNOWN_ERROR;
    }
}

ZOR_RC refuse(const KEL_UC* name, ZOR_ERROR_INFO* info, const Verdict& verdict) noexcept {
    KEL_UC message[sizeof ZOR_ERROR_INFO::message];
    if (verdict.text != nullptr)
        std::snprintf(message, sizeof message, verdict.text, verdict.label);
    else if (verdict.rc == ZOR_INVALID_HANDLE)
        copyText(message,
                 verdict.label != nullptr ? verdict.label : "An invalid handle was passed to the API call");
    else
        std::snprintf(message, sizeof message, "Invalid parameter '%s' was passed to the API call",
                      verdict.label);
    setErrorInfo(info, verdict.rc, verdict.group,
                 verdict.key != nullptr ? verdict.key : zorRcName(verdict.rc), message);
    if (ZorConfig::getGlobalTraceLevel() > 0) ZorTraceEndApi(name, verdict.rc, info);
    return verdict.rc;
}

void FrameTrace::writeBegin(const KEL_UC* name) noexcept {
    ZorTraceBeginApi(name);
}

void FrameTrace::writeEnd(const KEL_UC* name, ZOR_RC rc, const ZOR_ERROR_INFO* info) noexcept {
    ZorTraceEndApi(name, rc, info);
}

}  // namespace zorapi
