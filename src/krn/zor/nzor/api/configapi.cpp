// Exported functions of the family "Configuration".

#include <kelzor/config.h>

#include "api/frame.h"

using namespace zorapi;

ZOR_RC ZorSetIniPath(const KEL_UC* pathName, ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [&] { ZorConfig::setIniPath(pathName); });
}

ZOR_RC ZorReloadIniFile(ZOR_ERROR_INFO* errorInfo) {
    return guarded(__func__, errorInfo, GlobalLevel{}, checks(), [] { ZorConfig::reload(); });
}
