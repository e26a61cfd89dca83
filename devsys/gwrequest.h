/**
 * @file
 * Requests of a client inside a conversation and the answers to them: an 80-byte header, for some
 * requests a parameter block, then data. Multi-byte numbers are big-endian.
 */
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "devsys/bytes.h"
#include "devsys/violations.h"

namespace zordev {

/** Offsets in the request header, in bytes. */
namespace hdr {
inline constexpr std::size_t version = 0, rqtype = 1, protocol = 2, mode = 3, uid = 4, gwId = 6, errLen = 8;
inline constexpr std::size_t info2 = 10, traceLevel = 11, blockSeqNr = 12, fill0 = 14, info3 = 16,
                             timeout = 17;
inline constexpr std::size_t info4 = 21, sequenceNo = 22, kelParamsLen = 26, priority = 28, fill1 = 29,
                             info = 30;
inline constexpr std::size_t rqtype2 = 31, appcRc = 32, kelRc = 36, conversationId = 40, nparams = 48;
inline constexpr std::size_t commIdx = 76, connIdx = 78, length = 80;
inline constexpr std::size_t conversationIdWidth = 8, nparamsWidth = 28;
// Union at `nparams`, by request.
inline constexpr std::size_t initSdest = 48, initLu = 56, initTp = 64, initCtype = 72, initClientInfo = 73;
inline constexpr std::size_t initWidth = 8;
inline constexpr std::size_t sendLength = 48, sendRequestToSend = 52;
inline constexpr std::size_t rcvRequested = 48, rcvDataReceived = 52, rcvLength = 56, rcvStatus = 60;
inline constexpr std::size_t rcvRequestToSend = 64, rcvClientInfo = 68, rcvCodePage = 69;
inline constexpr std::size_t splnName = 48, splnLength = 56, splnHostaddr = 60, splnHostaddrWidth = 16;
}  // namespace hdr

/** Lengths of the parameter blocks, and the most data that one message carries, in bytes. */
inline constexpr std::size_t INIT_PARAMS_LENGTH = 373;
inline constexpr std::size_t SPLN_PARAMS_LENGTH = 144;
inline constexpr std::size_t SEND_PARAMS_LENGTH = 8;
inline constexpr std::size_t MAX_DATA = 32000;

/** What the gateway holds against every request of one conversation. */
struct RequestContext {
    std::array<char, 8> conversationId = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
    std::uint16_t connIdx = 0xFFFF; /**< -1 until the gateway has named it. */
    bool indexOptional = false;     /**< -1 is right all the time: programs may have seen no index yet. */
    std::uint8_t protocol = 0;      /**< Of the first request; the same ever after. */
    bool zordestOffered = false;    /**< Whether the connect answer offered ZORDEST. */
};

/** A data request as the conversation needs it. `data` lies in the message. */
struct DataRequest {
    ByteSpan data;
    std::uint32_t requestedLength = 0; /**< Most bytes that the answer may carry. */
    bool valid = false;
};

/** Checks what all requests have in common, for a message of any length. Returns whether it is flawless. */
bool checkHeader(ByteSpan message, const RequestContext& context, ViolationLog& log);

/** Checks the opening request with its 373-byte block; the header was checked. */
bool checkInitialize(ByteSpan message, const RequestContext& context, ViolationLog& log);
/** Whether the opening request, which was checked, asks for streaming. */
bool asksForStreaming(ByteSpan message);
/** The partner's service or program in the opening request, which was checked. */
std::string partnerProgram(ByteSpan message);
/** Checks the request that names the partner. */
bool checkSetPartnerLuName(ByteSpan message, ViolationLog& log);
/** Checks a request that is a bare header: `infoBits` are its `info`, `vector` the `rqtype2` it may have. */
bool checkBareRequest(ByteSpan message, std::uint8_t infoBits, std::uint8_t vector, ViolationLog& log);
/** Whether a request is a DEALLOCATE that tells the partner of an error, whose block lies behind the header.
 */
bool endsByError(ByteSpan message);
/** Checks and reads SEND_DATA (`answered`) or ASEND_DATA. */
DataRequest readSend(ByteSpan message, bool answered, ViolationLog& log);
/** Checks and reads KEL_SEND: data and the receive that follows, in one message. */
DataRequest readSendReceive(ByteSpan message, ViolationLog& log);
/** Checks and reads RECEIVE, which has no data. */
DataRequest readReceive(ByteSpan message, ViolationLog& log);
/** Checks a soft cancel. */
bool checkCancel(ByteSpan message, ViolationLog& log);

/** @name Requests of a client of our own, made as the checks above want them. */
/** @{ */
/** A header without parameters. */
std::vector<Byte> makeRequest(std::uint8_t rqtype, std::uint8_t info, std::uint8_t vector,
                              std::uint8_t protocol, std::string_view conversationId, std::uint16_t connIdx);
/** The opening request, for `partner` on `host`. `user` is who asks; `zordest` was offered by the gateway. */
std::vector<Byte> makeInitialize(std::string_view destination, std::string_view host,
                                 std::string_view partner, std::string_view user, bool zordest);
/** Makes a header with WITH_GW_KEL_PARAMS_HDR name the partner's host. */
void addPartnerName(std::vector<Byte>& request, std::string_view host);
/** Adds data and the wish for at most `requested` bytes to a header with WITH_GW_KEL_PARAMS_HDR. */
void addSendReceive(std::vector<Byte>& request, ByteSpan data, std::uint32_t requested);
/** @} */

/** The parts of an answer that vary. */
struct Answer {
    std::uint8_t rqtype = 0; /**< That of the request. */
    std::int32_t appcRc = 0;
    std::int32_t kelRc = 0;
    std::uint8_t info = 0;
    std::uint8_t info3 = 0;
    std::uint8_t info4 = 0;
    std::uint16_t errLen = 0;
    // Read with requests that receive:
    std::uint32_t requestedLength = 0;
    std::uint32_t dataReceived = 0;
    std::uint32_t receivedLength = 0;
    std::uint32_t statusReceived = 0;
};

/** Writes the 80-byte header of an answer. */
void writeAnswer(std::span<Byte> header, const RequestContext& context, const Answer& answer);

}  // namespace zordev
