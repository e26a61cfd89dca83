/** @file The result of the functions that look descriptions up. */
#pragma once

#include "api/frame.h"
#include "error/zorexception.h"
#include "meta/zormetadatastatics.h"

namespace zorapi {

/** The handle of what a lookup found; throws if that is nothing, in the same words for all kinds. */
template <class T>
auto requireFound(const ZorMetaDataRef<T>& found, const KEL_UC* name) {
    if (!found)
        throw ZorBaseException(ZOR_NOT_FOUND, EXTERNAL_RUNTIME_FAILURE, zorRcName(ZOR_NOT_FOUND),
                               "Type " + KEL_string(name) + " not found");
    return ZorMetaDataStatics::toHandle(found.get());
}

}  // namespace zorapi
