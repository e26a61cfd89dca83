// The parameters of a call or an answer.

#include "data/zorfunction.h"
#include "wire/zoritemstream.h"

void ZorFunction::zorDeserialize(ZorItemStream& conn) {
    isCall = false;
    if (conn.readUpTo(ZORGET_DATA, this, ZORID_NotUsed) != ZORID_End) conn.protocolFault();
}

void ZorFunction::zorSerializeParams(ZorItemStream& conn) {
    if (!conn.isInCallbackMode())
        for (const auto& parameter : params)
            if (parameter->isActive()) parameter->zorSupplyOutParam(conn);
    for (const auto& parameter : params)
        parameter->zorSerialize(conn);
}
