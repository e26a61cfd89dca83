// Readers of what a gateway or a router sends: connect answer, request header, control message, error block,
// parameter block behind a header, secure network record, trace record.
// The first byte chooses the reader.

#include <cstdlib>

#include "base/dptrc/err.h"
#include "base/ni/nimsg.h"
#include "krn/si/gw/gwappchdr.h"
#include "krn/si/gw/gwcminit.h"
#include "krn/si/gw/gwconn.h"
#include "krn/si/gw/gwvsldata.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void connectAnswer(std::span<const KEL_RAW> data) {
    const auto answer = GwGetConn(data);
    require(!answer || answer->length <= data.size());
}

void requestHeader(std::span<const KEL_RAW> data) {
    const auto header = GwGetHdr(data);
    if (!header) return;
    KEL_RAW bytes[APPCHDR6_LAYOUT::length];
    GwPutHdr(bytes, *header);
    const auto again = GwGetHdr(bytes);
    require(again && again->nparams == header->nparams && again->conn_idx == header->conn_idx);
}

void controlMessage(std::span<const KEL_RAW> data) {
    const NiParsed parsed = NiParseMessage(data);
    require(parsed.errorText.size() <= data.size());
    require(parsed.kind == NiMessage::data || data.size() >= NI_PING_LENGTH);
}

void errorBlock(std::span<const KEL_RAW> data) {
    const int rc = ErrCpNetToInt(data);
    if (rc != ERR_OK) return;
    KEL_RAW wire[2 * ERR_BLOCK_MAX];
    std::size_t length = 0;
    require(*ErrPr() == '\0' || *ErrPr() == '\n');
    require(ErrCpIntToNet(wire, &length) == ERR_OK);
    require(ErrCpNetToInt({wire, length}) == ERR_OK);
}

/** A header, and the block that it announces. */
void parameterBlock(std::span<const KEL_RAW> data) {
    const auto header = GwGetHdr(data);
    if (!header) return;
    const std::span<const KEL_RAW> rest = data.subspan(APPCHDR6_LAYOUT::length);
    const auto block = GwGetCminit(*header, rest.first(std::min(GwKelParamsLen(*header), rest.size())));
    if (!block) return;
    require(block->long_LU_name.size() <= KELCMINIT7_LAYOUT::long_LU_name.length);
    KEL_RAW bytes[KELCMINIT7_LAYOUT::length];
    GwPutCminit(bytes, *block);
    const auto again = GwGetCminit(*header, bytes);
    require(again && again->options.has_value() >= block->options.has_value());
}

void smallRecords(std::span<const KEL_RAW> data) {
    if (const auto vsl = GwGetVslData(data)) require(vsl->lib.size() <= GW_VSL_DATA_V1_LAYOUT::lib.length);
    const auto trace = GwGetDistTrace(data);
    if (!trace) return;
    KEL_RAW bytes[DISTRIBUTED_TRACING_NET_1_LAYOUT::length];
    GwPutDistTrace(bytes, *trace);
    const auto again = GwGetDistTrace(bytes);
    require(again && again->root_id == trace->root_id && again->sequence_nr == trace->sequence_nr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) return 0;
    const std::span<const KEL_RAW> rest(data + 1, size - 1);
    switch (data[0] % 6) {
        case 0:
            connectAnswer(rest);
            break;
        case 1:
            requestHeader(rest);
            break;
        case 2:
            controlMessage(rest);
            break;
        case 3:
            errorBlock(rest);
            break;
        case 4:
            parameterBlock(rest);
            break;
        default:
            smallRecords(rest);
            break;
    }
    return 0;
}
