// Exported functions of the family "Literal tables".

#include <kelzor/library.h>

#include "error/zorexception.h"
#include "error/zorliterals.h"

const KEL_UC* ZorGetRcAsString(ZOR_RC rc) {
    return zorRcName(rc);
}

const KEL_UC* ZorGetTypeAsString(ZORTYPE type) {
    return zorTypeName(type);
}

const KEL_UC* ZorGetDirectionAsString(ZOR_DIRECTION direction) {
    return zorDirectionName(direction);
}

const KEL_UC* ZorGetServerStateAsString(ZOR_SERVER_STATE serverState) {
    return zorServerStateName(serverState);
}
