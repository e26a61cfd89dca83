#include "krn/si/gw/gwtrace.h"

#include "krn/si/gw/gwnames.h"

void GwInfo(CTRC_HDL handle, const KEL_CHAR* direction, const APPCHDR6& header) noexcept {
    const CONV_ID& id = header.conversation_ID;
    DpTrc(handle, "%s %s, version %d, protocol %s, conversation %.*s, conn_idx %d, comm_idx %d\n", direction,
          GwFuncName(header.rqtype), header.version, GwConnProt(header.protocol), static_cast<int>(id.size()),
          reinterpret_cast<const KEL_CHAR*>(id.data()), header.conn_idx, header.comm_idx);
    DpTrc(handle, "  info %s, info2 %s\n", GwGetInfo(header.info).text, GwGetInfo2(header.info2).text);
    DpTrc(handle, "  info3 %s, info4 %s\n", GwGetInfo3(header.info3).text, GwGetInfo4(header.info4).text);
    DpTrc(handle, "  vector %s, params %u, error information %u, sequence %d, trace level %u\n",
          GwGetVector(header.rqtype2).text, header.kel_params_len, header.err_len, header.sequence_no,
          header.trace_level);
    DpTrc(handle, "  appc_rc %s, kel_rc %s\n", GwGetAppcRc(header.appc_rc), GwGetKelRc(header.kel_rc));
}
