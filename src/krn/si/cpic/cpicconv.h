/** @file The table of conversations; private to the layer. */
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "krn/si/cpic/cpic.h"
#include "krn/si/gw/gwappchdr.h"
#include "krn/si/gw/gwconnect.h"
#include "krn/si/gw/gwdisttrace.h"

/** State of the block that is kept for the next message. */
enum CPIC_BUFFER_STATE {
    CPIC_BUFFER_DISABLED = 0,  ///< Nothing is ever kept.
    CPIC_BUFFER_EMPTY = 1,     ///< The next block is kept.
    CPIC_BUFFER_DEACT = 2,     ///< Blocks go out at once until the next receive.
    CPIC_BUFFER_DATA2 = 3,     ///< The kept block is being sent.
    CPIC_BUFFER_FLUSH = 4,     ///< The kept block is being sent at the end.
    CPIC_BUFFER_DATA = 5,      ///< A block is kept.
};

/** Functions, as the state check counts them. */
enum CPIC_FUNCTION : std::uint8_t {
    CPIC_NO_FUNCTION = 0,
    CPIC_CMINIT = 1,
    CPIC_CMALLC = 5,
    CPIC_CMSEND = 7,
    CPIC_CMRCV = 9,
    CPIC_CMDEAL = 11,
    CPIC_CMSPLN = 19,
    CPIC_CMCANCEL = 59,
};

/** Parts of the conversation buffer. */
inline constexpr std::size_t CPIC_BUFFER_SIZE = 34581;
inline constexpr std::size_t CPIC_HEADER_OFFSET = 80;
inline constexpr std::size_t CPIC_DATA_OFFSET = CPIC_HEADER_OFFSET + APPCHDR6_LAYOUT::length;

/** Received data beyond what a caller asked for; they lie in the conversation buffer. */
struct CPIC_LOCAL_BUFFER {
    std::size_t offset = 0;
    std::size_t bytes_to_read = 0;
    NCMRCV last{};  ///< What the caller hears with the last piece.
    CM_RETCODE return_code = CM_OK;
};

/** One conversation. All but the two atomics belongs to the thread that is in a call on it. */
struct CONV_PROTO {
    std::atomic<std::uint64_t> ext_conv_ID{0};  ///< The id that the caller knows, as a number.
    std::atomic<bool> in_use{false};

    CONV_ID gwy_conv_ID = BLANK_CONV_ID;  ///< The id on the wire.
    int idx = 0;                          ///< Place in the table.
    std::uint8_t appchdr_version = APPCHDR6_VERSION;
    CPIC_FUNCTION interrupted_call = CPIC_NO_FUNCTION;  ///< Ended with a time-out; may be repeated.
    std::uint8_t int_protocol = 0;
    std::int16_t conn_idx = -1;
    unsigned continues_send_count = 0;  ///< Sends in a row without an answer.
    std::string gwhost;                 ///< For texts: without the passwords of a route.
    std::string gwserv;
    std::string lu;  ///< Partner's host and service, for texts.
    std::string tp;
    NI_HDL gw_socket = NI_INVALID_HDL;
    std::unique_ptr<KEL_RAW[]> buf;  ///< CPIC_BUFFER_SIZE bytes, made once.
    CPIC_INT timeout = -1;           ///< ms for waits.
    std::vector<KEL_RAW> unsent;  ///< A message that the gateway hasn't taken whole, as long as that is so.
    bool answer_owed = false;     ///< The last send asked for an answer.
    std::array<KEL_RAW, 4> rem_code_page{};
    CPIC_BUFFER_STATE buffer_state = CPIC_BUFFER_EMPTY;
    std::size_t buffer_len = 0;
    CPIC_LOCAL_BUFFER local_buffer;
    bool cancel_requested = false;
    std::uint8_t accept_info = 0;
    std::uint8_t accept_info2 = 0;
    bool streamingActive = false;
    bool localReceive = false;  ///< The gateway sends on without being asked.
    std::optional<DISTRIBUTED_TRACING> dt_net;
    std::int32_t sequence_no = 0;

    KEL_RAW* data() const { return buf.get() + CPIC_DATA_OFFSET; }
    std::span<KEL_RAW, APPCHDR6_LAYOUT::length> header() const {
        return std::span<KEL_RAW, APPCHDR6_LAYOUT::length>(buf.get() + CPIC_HEADER_OFFSET,
                                                           APPCHDR6_LAYOUT::length);
    }
};

/** An id as the number by which it is compared. */
std::uint64_t STIConvKey(const KEL_RAW* conversation_ID) noexcept;

/** Takes a free entry, with its buffer made; NULL with the error set when there is none. */
CONV_PROTO* STIGetNewConv() noexcept;

/** Gives an entry its id; an id that another entry has is replaced by a fresh one for the caller. */
void STIAssignConvId(CONV_PROTO& conv, const CONV_ID& gatewayId) noexcept;

/** Finds a conversation; NULL with the error set. */
CONV_PROTO* STISearchConv(const KEL_RAW* conversation_ID) noexcept;

/** Closes the connection and frees the entry. The current error stays. */
void STIDEAL(CONV_PROTO& conv) noexcept;

/** Whether a function may be called now; CM_OK, or the code for the caller. */
CM_RETCODE STIQ7LocCheckState(const CONV_PROTO& conv, CPIC_FUNCTION function, const KEL_CHAR* name) noexcept;
