#include "devsys/gwrequest.h"

#include <algorithm>

#include "krn/si/gw/gwenum.h"

namespace zordev {
namespace {

// Offsets in the block of the opening request, counted from the start of the message.
namespace init {
constexpr std::size_t base = hdr::length;
constexpr std::size_t zordest = base, zordestWidth = 32;
constexpr std::size_t activateStreaming = base + 32;
constexpr std::size_t distTrace = base + 33, distTraceWidth = 45;
constexpr std::size_t netProtocol = base + 88;
constexpr std::size_t longLuName = base + 105, longLuNameWidth = 128;
constexpr std::size_t user = base + 249, userWidth = 12;
constexpr std::size_t cmscsp = base + 261, cmscspWidth = 12;
constexpr std::size_t cmscsu = base + 273, cmscsuWidth = 16;
constexpr std::size_t numbers = base + 289, numbersWidth = 12;  // cmscst, cmsend, cmrcv
constexpr std::size_t longTpName = base + 309, longTpNameWidth = 64;
}  // namespace init

constexpr std::uint16_t NO_INDEX = 0xFFFF;
constexpr std::uint8_t CTYPE_OF_PROTOCOL[] = {0, 0, 'I', 'E', 'C', 0, 'F', 'R'};

bool hasLength(ByteSpan message, std::size_t length, std::string_view request, ViolationLog& log) {
    if (message.size() == length) return true;
    log.add({std::string(request), 0, std::to_string(length) + " bytes",
             std::to_string(message.size()) + " bytes"});
    return false;
}

// The flags announce exactly one parameter block of `length` bytes.
void checkParamsLength(RecordChecker& check, std::size_t length) {
    check.number2(hdr::kelParamsLen, static_cast<std::uint16_t>(length), "kel_params_len");
}

void checkVector(RecordChecker& check, ByteSpan message, std::uint8_t allowed) {
    const std::uint8_t vector = message[hdr::rqtype2];
    check.that(vector == 0 || vector == allowed, hdr::rqtype2, 1, "0 or " + std::to_string(allowed),
               "rqtype2");
}

void checkInitNames(RecordChecker& check) {
    check.padded(hdr::initSdest, hdr::initWidth, false, "sdest");
    check.padded(hdr::initLu, hdr::initWidth, true, "lu");
    check.padded(hdr::initTp, hdr::initWidth, true, "tp");
    check.terminated(init::longLuName, init::longLuNameWidth, 0, "long_LU_name");
    check.terminated(init::longTpName, init::longTpNameWidth, 0, "long_TP_name");
    check.padded(init::user, init::userWidth, false, "user");
    check.unused(init::cmscsp, init::cmscspWidth, "cmscsp");
    check.unused(init::cmscsu, init::cmscsuWidth, "cmscsu");
    check.zeros(init::numbers, init::numbersWidth, "cmscst, cmsend, cmrcv");
}

// Fields of the block that count only under a flag of the header.
void checkInitOptions(RecordChecker& check, ByteSpan message, const RequestContext& context) {
    const bool withZordest = (message[hdr::info4] & GW_WITH_ZORDEST) != 0;
    check.that(withZordest == context.zordestOffered, hdr::info4, 1,
               "GW_WITH_ZORDEST as the gateway offered it", "info4");
    if (withZordest) {
        check.padded(init::zordest, init::zordestWidth, false, "zordest");
    } else {
        check.unused(init::zordest, init::zordestWidth, "zordest");
    }
    check.that(message[init::activateStreaming] <= 1, init::activateStreaming, 1, "0 or 1",
               "activateStreaming");
    check.that((message[hdr::info3] & GW_DIST_TRACE) == 0, hdr::info3, 1,
               "no trace record, as none was offered", "info3");
    check.zeros(init::distTrace, init::distTraceWidth, "dt_net");
    check.number1(init::netProtocol, 0, "net_protocol");
}

void checkReceiveFields(RecordChecker& check) {
    check.zeros(hdr::rcvDataReceived, hdr::rcvClientInfo - hdr::rcvDataReceived,
                "answer fields of the receive");
}

}  // namespace

bool endsByError(ByteSpan message) {
    return message.size() >= hdr::length && message[hdr::rqtype] == GW_RQ_DEALLOCATE &&
           (message[hdr::info] & WITH_ERR_INFO) != 0;
}

bool checkHeader(ByteSpan message, const RequestContext& context, ViolationLog& log) {
    if (message.size() < hdr::length) {
        log.add({"request header", 0, "80 bytes",
                 std::to_string(message.size()) + " bytes: " + hexText(message)});
        return false;
    }
    RecordChecker check("request header", message, log);
    check.number1(hdr::version, 6, "version");
    check.number1(hdr::mode, 0, "mode");
    check.number2(hdr::uid, 0xFFFF, "uid");
    check.number2(hdr::gwId, 0, "gw_id");
    const bool error = endsByError(message);
    check.number2(hdr::errLen, error ? static_cast<std::uint16_t>(message.size() - hdr::length) : 0,
                  "err_len");
    check.that(message[hdr::traceLevel] <= 3, hdr::traceLevel, 1, "0 to 3", "trace_level");
    check.number4(hdr::blockSeqNr, 0, "block_seq_nr, fill_0");
    check.number4(hdr::timeout, 0, "timeout");
    check.number2(hdr::priority, 0, "priority, fill_1");
    check.number4(hdr::appcRc, error ? CM_DEALLOCATED_ABEND : CM_OK, "appc_rc");
    if (!error) check.number4(hdr::kelRc, 0, "kel_rc");
    check.bytes(hdr::conversationId, asBytes({context.conversationId.data(), hdr::conversationIdWidth}),
                "conversation_ID");
    const bool unnamed = context.indexOptional && loadBe16(message, hdr::connIdx) == NO_INDEX;
    if (!unnamed) check.number2(hdr::connIdx, context.connIdx, "conn_idx");
    if (context.protocol != 0) check.number1(hdr::protocol, context.protocol, "protocol");
    return check.ok();
}

bool checkInitialize(ByteSpan message, const RequestContext& context, ViolationLog& log) {
    if (!hasLength(message, hdr::length + INIT_PARAMS_LENGTH, "INITIALIZE_CONVERSATION", log)) return false;
    RecordChecker check("INITIALIZE_CONVERSATION", message, log);
    check.number1(hdr::info, SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR, "info");
    check.number1(hdr::info2, WITH_LONG_LU_NAME, "info2");
    checkVector(check, message, F_V_INITIALIZE_CONVERSATION);
    checkParamsLength(check, INIT_PARAMS_LENGTH);
    const std::uint8_t protocol = message[hdr::protocol];
    const bool known = protocol < std::size(CTYPE_OF_PROTOCOL) && CTYPE_OF_PROTOCOL[protocol] != 0;
    check.that(known, hdr::protocol, 1, "2, 3, 4, 6 or 7", "protocol");
    if (known) check.number1(hdr::initCtype, CTYPE_OF_PROTOCOL[protocol], "ctype");
    check.number1(hdr::initClientInfo, GW_EXTERNAL_CLIENT, "client_info");
    check.zeros(hdr::initClientInfo + 1, hdr::commIdx - hdr::initClientInfo - 1, "end of NCMINIT");
    check.that(loadBe16(message, hdr::commIdx) != 0xFFFF, hdr::commIdx, 2, "an index of the client's table",
               "comm_idx");
    checkInitNames(check);
    checkInitOptions(check, message, context);
    return check.ok();
}

bool asksForStreaming(ByteSpan message) {
    return message[init::activateStreaming] == 1;
}

std::string partnerProgram(ByteSpan message) {
    const std::string_view name = asText(message.subspan(init::longTpName, init::longTpNameWidth));
    return std::string(name.substr(0, name.find('\0')));
}

bool checkSetPartnerLuName(ByteSpan message, ViolationLog& log) {
    if (!hasLength(message, hdr::length + SPLN_PARAMS_LENGTH, "SET_PARTNER_LU_NAME", log)) return false;
    RecordChecker check("SET_PARTNER_LU_NAME", message, log);
    check.number1(hdr::info, WITH_GW_KEL_PARAMS_HDR, "info");
    check.number1(hdr::info2, WITH_LONG_LU_NAME, "info2");
    checkParamsLength(check, SPLN_PARAMS_LENGTH);
    const std::size_t length = loadBe32(message, hdr::splnLength);
    check.that(length >= 1 && length <= 128, hdr::splnLength, 4, "1 to 128", "partner_LU_name_length");
    check.padded(hdr::splnName, hdr::initWidth, false, "partner_LU_name");
    if (!check.ok()) return false;
    // The long name has the announced length, and the short one is its beginning.
    const std::string_view name = asText(message.subspan(hdr::length, length));
    const std::string_view start = trimmed(asText(message.subspan(hdr::splnName, hdr::initWidth)));
    check.that(name.find('\0') == std::string_view::npos, hdr::length, length,
               "a name of the announced length", "long_LU_name");
    check.that(name.substr(0, hdr::initWidth) == start, hdr::splnName, hdr::initWidth,
               "the start of the long name", "partner_LU_name");
    check.unused(hdr::length + 128, 16, "dummy");
    return check.ok();
}

bool checkBareRequest(ByteSpan message, std::uint8_t infoBits, std::uint8_t vector, ViolationLog& log) {
    if (!hasLength(message, hdr::length, "request without data", log)) return false;
    RecordChecker check("request without data", message, log);
    check.number1(hdr::info, infoBits, "info");
    checkVector(check, message, vector);
    checkParamsLength(check, 0);
    return check.ok();
}

DataRequest readSend(ByteSpan message, bool answered, ViolationLog& log) {
    RecordChecker check("send request", message, log);
    check.number1(hdr::info, answered ? SYNC_CPIC_FUNCTION : 0, "info");
    const std::uint8_t vector = message[hdr::rqtype2];
    check.that((vector & ~F_V_FLUSH) == F_V_SEND_DATA, hdr::rqtype2, 1, "4, or 20 with a flush", "rqtype2");
    checkParamsLength(check, 0);
    const std::size_t length = message.size() - hdr::length;
    check.number4(hdr::sendLength, static_cast<std::uint32_t>(length), "send_length");
    check.that(length >= 1 && length <= MAX_DATA, hdr::sendLength, 4, "1 to 32000", "send_length");
    check.number4(hdr::sendRequestToSend, 0, "request_to_send_received");
    check.number2(hdr::commIdx, 0xFFFF, "comm_idx");
    return {message.subspan(hdr::length), 0, check.ok()};
}

DataRequest readSendReceive(ByteSpan message, ViolationLog& log) {
    constexpr std::size_t start = hdr::length + SEND_PARAMS_LENGTH;
    if (message.size() < start) {
        hasLength(message, start, "KEL_SEND", log);
        return {};
    }
    RecordChecker check("KEL_SEND", message, log);
    check.number1(hdr::info, SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR, "info");
    const std::uint8_t vector = message[hdr::rqtype2];
    check.that((vector & ~F_V_FLUSH) == (F_V_SEND_DATA | F_V_RECEIVE), hdr::rqtype2, 1,
               "12, or 28 with a flush", "rqtype2");
    checkParamsLength(check, SEND_PARAMS_LENGTH);
    const std::uint32_t requested = loadBe32(message, hdr::length + 4);
    check.number4(hdr::length, static_cast<std::uint32_t>(message.size() - start), "send_length");
    check.that(message.size() - start <= MAX_DATA, hdr::length, 4, "at most 32000", "send_length");
    check.that(requested >= 1 && requested <= MAX_DATA, hdr::length + 4, 4, "1 to 32000", "requested_length");
    check.number2(hdr::commIdx, 0xFFFF, "comm_idx");
    return {message.subspan(start), requested, check.ok()};
}

DataRequest readReceive(ByteSpan message, ViolationLog& log) {
    DataRequest request;
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, F_V_RECEIVE, log)) return request;
    RecordChecker check("RECEIVE", message, log);
    request.requestedLength = loadBe32(message, hdr::rcvRequested);
    check.that(request.requestedLength >= 1 && request.requestedLength <= MAX_DATA, hdr::rcvRequested, 4,
               "1 to 32000", "requested_length");
    checkReceiveFields(check);
    check.number2(hdr::commIdx, 0xFFFF, "comm_idx");
    request.valid = check.ok();
    return request;
}

bool checkCancel(ByteSpan message, ViolationLog& log) {
    if (!checkBareRequest(message, SYNC_CPIC_FUNCTION, 0, log)) return false;
    RecordChecker check("KEL_CANCEL", message, log);
    check.number1(hdr::info3, GW_CANCEL_SOFT, "info3");
    return check.ok();
}

std::vector<Byte> makeRequest(std::uint8_t rqtype, std::uint8_t info, std::uint8_t vector,
                              std::uint8_t protocol, std::string_view conversationId, std::uint16_t connIdx) {
    std::vector<Byte> header(hdr::length);
    header[hdr::version] = 6;
    header[hdr::rqtype] = rqtype;
    header[hdr::protocol] = protocol;
    storeBe16(header, hdr::uid, 0xFFFF);
    header[hdr::info] = info;
    header[hdr::rqtype2] = vector;
    storeText(header, hdr::conversationId, hdr::conversationIdWidth, conversationId);
    storeBe16(header, hdr::commIdx, 0xFFFF);
    storeBe16(header, hdr::connIdx, connIdx);
    return header;
}

std::vector<Byte> makeInitialize(std::string_view destination, std::string_view host,
                                 std::string_view partner, std::string_view user, bool zordest) {
    std::vector<Byte> request =
        makeRequest(GW_RQ_INITIALIZE_CONVERSATION, SYNC_CPIC_FUNCTION | WITH_GW_KEL_PARAMS_HDR,
                    F_V_INITIALIZE_CONVERSATION, 2, "", 0xFFFF);
    request[hdr::info2] = WITH_LONG_LU_NAME;
    if (zordest) request[hdr::info4] = GW_WITH_ZORDEST;
    storeBe16(request, hdr::kelParamsLen, INIT_PARAMS_LENGTH);
    storeText(request, hdr::initSdest, hdr::initWidth, destination);
    storeText(request, hdr::initLu, hdr::initWidth, host);
    storeText(request, hdr::initTp, hdr::initWidth, partner);
    request[hdr::initCtype] = CTYPE_OF_PROTOCOL[2];
    request[hdr::initClientInfo] = GW_EXTERNAL_CLIENT;
    storeBe16(request, hdr::commIdx, 0);
    request.resize(hdr::length + INIT_PARAMS_LENGTH);
    if (zordest) storeText(request, init::zordest, init::zordestWidth, destination);
    request[init::activateStreaming] = 1;
    storeText(request, init::longLuName, init::longLuNameWidth, host, '\0');
    storeText(request, init::longTpName, init::longTpNameWidth, partner, '\0');
    storeText(request, init::user, init::userWidth, user);
    return request;
}

void addPartnerName(std::vector<Byte>& request, std::string_view host) {
    request[hdr::info2] = WITH_LONG_LU_NAME;
    storeBe16(request, hdr::kelParamsLen, SPLN_PARAMS_LENGTH);
    storeText(request, hdr::splnName, hdr::initWidth, host);
    storeBe32(request, hdr::splnLength, static_cast<std::uint32_t>(host.size()));
    request.resize(hdr::length + SPLN_PARAMS_LENGTH);
    storeText(request, hdr::length, 128, host, '\0');
}

void addSendReceive(std::vector<Byte>& request, ByteSpan data, std::uint32_t requested) {
    storeBe16(request, hdr::kelParamsLen, SEND_PARAMS_LENGTH);
    request.resize(hdr::length + SEND_PARAMS_LENGTH);
    storeBe32(request, hdr::length, static_cast<std::uint32_t>(data.size()));
    storeBe32(request, hdr::length + 4, requested);
    request.insert(request.end(), data.begin(), data.end());
}

void writeAnswer(std::span<Byte> header, const RequestContext& context, const Answer& answer) {
    std::ranges::fill(header.first(hdr::length), Byte{0});
    header[hdr::version] = 6;
    header[hdr::rqtype] = answer.rqtype;
    header[hdr::protocol] = context.protocol;
    storeBe16(header, hdr::uid, 0xFFFF);
    storeBe16(header, hdr::errLen, answer.errLen);
    header[hdr::info3] = answer.info3;
    header[hdr::info4] = answer.info4;
    header[hdr::info] = answer.info;
    storeBe32(header, hdr::appcRc, static_cast<std::uint32_t>(answer.appcRc));
    storeBe32(header, hdr::kelRc, static_cast<std::uint32_t>(answer.kelRc));
    storeText(header, hdr::conversationId, hdr::conversationIdWidth,
              {context.conversationId.data(), hdr::conversationIdWidth});
    storeBe32(header, hdr::rcvRequested, answer.requestedLength);
    storeBe32(header, hdr::rcvDataReceived, answer.dataReceived);
    storeBe32(header, hdr::rcvLength, answer.receivedLength);
    storeBe32(header, hdr::rcvStatus, answer.statusReceived);
    storeBe16(header, hdr::commIdx, 0xFFFF);
    storeBe16(header, hdr::connIdx, context.connIdx);
}

}  // namespace zordev
