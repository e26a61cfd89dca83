#include "krn/si/cpic/cpicgw.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/thr/deadline.h"
#include "krn/si/cpic/cpicerr.h"
#include "krn/si/cpic/cpicglob.h"
#include "krn/si/cpic/cpictrc.h"
#include "krn/si/gw/gwcminit.h"
#include "krn/si/gw/gwtrace.h"

namespace {

iovec partOf(std::span<const KEL_RAW> bytes) {
    return {const_cast<KEL_RAW*>(bytes.data()), bytes.size()};
}

/** Where the data of a message came to lie: first in the caller's buffer, then in the conversation's. */
class Received {
  public:
    Received(const CONV_PROTO& conv, std::span<KEL_RAW> target, std::size_t length)
        : first(target.first(std::min(length, target.size()))), second(conv.data(), length - first.size()) {}

    std::size_t size() const { return first.size() + second.size(); }

    /** Copies the first bytes out. */
    std::size_t copy(std::span<KEL_RAW> to) const {
        const std::size_t front = std::min(to.size(), first.size());
        const std::size_t rest = std::min(to.size() - front, second.size());
        std::copy_n(first.begin(), front, to.begin());
        std::copy_n(second.begin(), rest, to.begin() + static_cast<std::ptrdiff_t>(front));
        return front + rest;
    }

    /** Drops the first bytes; what follows moves up. */
    void drop(std::size_t count) {
        const std::size_t rest = size() - count;
        for (std::size_t i = 0; i < rest; ++i)
            at(i) = at(i + count);
        second = second.first(rest - std::min(rest, first.size()));
        first = first.first(std::min(rest, first.size()));
    }

    /** Keeps the first bytes only. */
    void cut(std::size_t count) {
        second = second.first(count - std::min(count, first.size()));
        first = first.first(std::min(count, first.size()));
    }

    std::size_t inTarget() const { return first.size(); }
    std::size_t beyond() const { return second.size(); }

  private:
    KEL_RAW& at(std::size_t i) { return i < first.size() ? first[i] : second[i - first.size()]; }

    std::span<KEL_RAW> first;
    std::span<KEL_RAW> second;
};

/** Makes the gateway's return codes the current error. */
void reportCodes(const CONV_PROTO& conv, const APPCHDR6& header) {
    CPIC_ERRSET(C_RETURN_CODES, "", GwFuncName(header.rqtype), GwGetAppcRc(header.appc_rc),
                GwGetKelRc(header.kel_rc));
    KEL_CHAR location[ERR_BLOCK_MAX];
    std::snprintf(location, sizeof location, "KEL-Gateway on host %s / %s", conv.gwhost.c_str(),
                  conv.gwserv.c_str());
    ErrReplace(ERR_LOCATION, location);
}

/** Takes the error block behind a header, if there is one. True if it is the current error now. */
bool takeErrorBlock(const APPCHDR6& header, Received& data) {
    if ((header.info & WITH_ERR_INFO) == 0 || (header.appc_rc == CM_OK && header.kel_rc == 0)) return false;
    KEL_RAW block[ERR_BLOCK_MAX];
    const std::size_t announced = header.err_len != 0 ? header.err_len : data.size();
    const std::size_t length = std::min(announced, data.size());
    const std::size_t taken = data.copy(std::span(block).first(std::min(length, sizeof block)));
    data.drop(length);
    return ErrCpNetToInt({block, taken}) == ERR_OK;
}

bool needsReport(CM_RETCODE rc) {
    return rc != CM_OK && rc != CM_CANCEL_REQUEST && rc != CM_DEALLOCATED_NORMAL;
}

/** Tells the host application that a wait may follow. */
void announceWait(const CONV_PROTO& conv, CPIC_INT timeout, CPIC_SOCK_OPCODE kind) {
    CPIC_SOCK_WAITER const waiter = cpic_sock_waiter.load(std::memory_order_relaxed);
    int socketNo = -1;
    if (waiter && NiHdlToSock(conv.gw_socket, &socketNo) == NI_OK) waiter(socketNo, timeout, kind);
}

/** Reads one message as it stands. `length` is that of the message, its header included. */
CPIC_READ readMessage(CONV_PROTO& conv, std::span<KEL_RAW> target, CPIC_INT timeout, KEL_INT* length) {
    const std::size_t room = static_cast<std::size_t>(GW_MAX_PACKET) - APPCHDR6_LAYOUT::length;
    const iovec parts[] = {partOf(conv.header()), partOf(target), {conv.data(), room}};
    announceWait(conv, timeout, CPIC_SOCK_READ);
    const KELRETURN rc = NiReadV(conv.gw_socket, parts, timeout, length);
    if (rc == NIETIMEOUT) return CPIC_READ_TIMEOUT;
    if (rc == NIEPING) {
        *length = 0;
        return CPIC_READ_OK;
    }
    if (rc != NI_OK) return CPIC_READ_FAILED;  // the network layer has said why
    if (static_cast<std::size_t>(*length) < APPCHDR6_LAYOUT::length) {
        CPIC_ERRSET(READ_FROM_GW_FAILED, "message of %d bytes is shorter than a header", *length);
        return CPIC_READ_FAILED;
    }
    if (const int version = conv.header()[0]; version != conv.appchdr_version) {
        CPIC_ERRSET(WRONG_APPCHDR_VERSION, "client version %d, gateway version %d (%s/%s)",
                    conv.appchdr_version, version, conv.gwhost.c_str(), conv.gwserv.c_str());
        return CPIC_READ_VERSION;
    }
    return CPIC_READ_OK;
}

/** Sorts what lies behind the header: parameter block, error block, then data. */
CPIC_READ digest(CONV_PROTO& conv, Received data, CPIC_MESSAGE* message) {
    const APPCHDR6& header = message->header;
    if (header.appc_rc == CM_CANCEL_REQUEST) conv.cancel_requested = true;
    if (const std::size_t block = GwKelParamsLen(header); block != 0) data.drop(std::min(block, data.size()));
    if (!takeErrorBlock(header, data) && needsReport(header.appc_rc)) reportCodes(conv, header);
    message->received = data.inTarget();
    message->overflow = data.beyond();
    return CPIC_READ_OK;
}

/** Keeps a message that the gateway hasn't taken whole: the network layer goes on where it stopped. */
bool keepUnsent(CONV_PROTO& conv, std::span<const iovec> parts) {
    try {
        conv.unsent.clear();
        for (const iovec& part : parts) {
            const auto* bytes = static_cast<const KEL_RAW*>(part.iov_base);
            conv.unsent.insert(conv.unsent.end(), bytes, bytes + part.iov_len);
        }
        return true;
    } catch (const std::bad_alloc&) {
        CPIC_ERRSET(C_NO_MEM, "", static_cast<int>(CPIC_BUFFER_SIZE));
        return false;
    }
}

CM_RETCODE writeInterrupted(CONV_PROTO& conv, CPIC_CALL call) {
    conv.interrupted_call = call.function;
    CPIC_ERRSET(WRITE_TO_GW_FAILED, "timeout %d msecs", call.timeout);
    return CM_KEL_TIMEOUT_RETRY;
}

/** A header in front of what it belongs to, in the conversation's trace. */
void traceMessage(const CONV_PROTO& conv, const KEL_CHAR* direction, const APPCHDR6& header,
                  std::size_t length) {
    const DpHold hold(2);
    CTRC_HDL const file = STITraceFile(conv);
    DpTrc(file, "%s %s, %u bytes behind the header\n", direction, GwFuncName(header.rqtype),
          static_cast<unsigned>(length));
    if (conv.trace_appchdr > 0 || conv.trace_level >= 3) GwInfo(file, direction, header);
}

/** Writes parts as one message, behind a ping that may still be on its way. */
KELRETURN writeParts(CONV_PROTO& conv, std::span<const iovec> parts, CPIC_INT timeout) {
    announceWait(conv, timeout, CPIC_SOCK_WRITE);
    if (conv.nicheck_written != 0)
        if (const KELRETURN rc = NiCheckEx(conv.gw_socket, timeout, true, &conv.nicheck_written); rc != NI_OK)
            return rc;
    return NiWriteV(conv.gw_socket, parts, timeout);
}

/** Whether a message is meant for a conversation; one without a name is. */
bool isFor(const CONV_PROTO& conv, const CONV_ID& id) {
    return id == conv.gwy_conv_ID || conv.local_state == AFTER_REGISTER ||
           conv.gwy_conv_ID == BLANK_CONV_ID || id == BLANK_CONV_ID || id == CONV_ID{};
}

CPIC_READ refuseForeign(const CONV_ID& foreign) {
    KEL_CHAR id[KEL_CONV_ID_LN + 1] = "";
    std::memcpy(id, foreign.data(), KEL_CONV_ID_LN);
    CPIC_ERRSET(C_NO_CONV, "message for another conversation", id);
    return CPIC_READ_FAILED;
}

}  // namespace

CM_RETCODE STIConnectionLost(CONV_PROTO& conv) noexcept {
    conv.gw_conn_lost = true;
    STIDEAL(conv);
    return CM_PRODUCT_SPECIFIC_ERROR;
}

CM_RETCODE STIBadArgument(const KEL_CHAR* function, const KEL_CHAR* parameter, CPIC_INT value) noexcept {
    return STIBadArgument(function, parameter, std::to_string(value).c_str());
}

APPCHDR6 STIHeader(const CONV_PROTO& conv, GW_RQTYPE rqtype) noexcept {
    APPCHDR6 header;
    header.version = conv.appchdr_version;
    header.rqtype = rqtype;
    header.protocol = conv.int_protocol;
    header.sequence_no = conv.sequence_no;
    header.conversation_ID = conv.gwy_conv_ID;
    header.conn_idx = conv.conn_idx;
    header.trace_level = static_cast<std::uint8_t>(conv.trace_level);
    return header;
}

CM_RETCODE STISendToGw(CONV_PROTO& conv, CPIC_CALL call, const APPCHDR6& header,
                       std::span<const KEL_RAW> params, std::span<const KEL_RAW> data) noexcept {
    KEL_RAW bytes[APPCHDR6_LAYOUT::length];
    GwPutHdr(bytes, header);
    const iovec parts[] = {partOf(bytes), partOf(params), partOf(data)};
    if (STITraces(conv, 2)) traceMessage(conv, "sending", header, params.size() + data.size());
    STINoteData(conv, false, data);
    const KELRETURN rc = writeParts(conv, parts, call.timeout);
    if (rc == NI_OK) return CM_OK;
    return rc == NIETIMEOUT && keepUnsent(conv, parts) ? writeInterrupted(conv, call)
                                                       : STIConnectionLost(conv);
}

CM_RETCODE STIWriteRest(CONV_PROTO& conv, CPIC_CALL call) noexcept {
    if (conv.unsent.empty()) return CM_OK;
    const iovec part = partOf(conv.unsent);
    const KELRETURN rc = writeParts(conv, {&part, 1}, call.timeout);
    if (rc == NIETIMEOUT) return writeInterrupted(conv, call);
    if (rc != NI_OK) return STIConnectionLost(conv);
    conv.unsent.clear();
    return CM_OK;
}

CM_RETCODE STISendInternal(CONV_PROTO& conv, GW_RQTYPE rqtype, CPIC_CALL call) noexcept {
    APPCHDR6 header = STIHeader(conv, rqtype);
    header.info = SYNC_CPIC_FUNCTION;
    header.nparams = GwPutNcmsend({.send_length = static_cast<std::int32_t>(APPCHDR6_LAYOUT::length)});
    return STISendToGw(conv, call, header);
}

CPIC_READ STIAsRcvFromGw(CONV_PROTO& conv, std::span<KEL_RAW> target, CPIC_INT timeout,
                         CPIC_MESSAGE* message) noexcept {
    const Deadline deadline(timeout);
    conv.ping_received = false;
    for (;;) {
        KEL_INT length = 0;
        const CPIC_READ read = readMessage(conv, target, deadline.left(), &length);
        if (read != CPIC_READ_OK) return read;
        conv.nicheck = 0;
        const std::optional<APPCHDR6> header =
            length != 0 ? GwGetHdr(conv.header()) : std::optional<APPCHDR6>();
        if (!header || header->rqtype == GW_RQ_KEL_PING) {
            conv.ping_received = true;
            // However fast pings follow each other, they don't prolong the wait.
            if (timeout >= 0 && deadline.left() == 0) return CPIC_READ_TIMEOUT;
            continue;
        }
        if (!isFor(conv, header->conversation_ID)) return refuseForeign(header->conversation_ID);
        message->header = *header;
        const std::size_t rest = static_cast<std::size_t>(length) - APPCHDR6_LAYOUT::length;
        if (STITraces(conv, 2)) traceMessage(conv, "received", *header, rest);
        return digest(conv, {conv, target, rest}, message);
    }
}

CM_RETCODE STIAwaitAnswer(CONV_PROTO& conv, CPIC_CALL call, std::span<KEL_RAW> target,
                          CPIC_MESSAGE* message) noexcept {
    switch (STIAsRcvFromGw(conv, target, call.timeout, message)) {
        case CPIC_READ_OK:
            conv.interrupted_call = CPIC_NO_FUNCTION;
            conv.timeouts = 0;
            if (message->header.conn_idx != -1) conv.conn_idx = message->header.conn_idx;
            return CM_OK;
        case CPIC_READ_TIMEOUT:
            conv.interrupted_call = call.function;
            ++conv.timeouts;
            return CM_KEL_TIMEOUT_RETRY;
        default:
            return STIConnectionLost(conv);
    }
}

bool STIEndsConversation(CM_RETCODE rc) noexcept {
    return rc == CM_DEALLOCATED_ABEND || rc == CM_DEALLOCATED_NORMAL || rc == CM_PRODUCT_SPECIFIC_ERROR ||
           rc == CM_RESOURCE_FAILURE_NO_RETRY || rc == CM_RESOURCE_FAILURE_RETRY;
}
