/** @file The table of conversations; private to the layer. */
#pragma once

#include <atomic>
#include <ctime>
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
    CPIC_BUFFER_LISTEN = 6,    ///< Data were asked for; the select set tells when they come.
    CPIC_BUFFER_LISTEN3 = 7,   ///< Data are being asked for on behalf of the select set.
};

/** What may be called on a conversation that was accepted or registered. */
enum LOCAL_CONV_STATE : std::uint8_t {
    NO_LOCAL_STATE = 0,
    AFTER_CMRCV = 1,
    AFTER_CMACCP = 2,    ///< The partner has the right to send: a receive comes first.
    AFTER_REGISTER = 3,  ///< A registration, which carries no data itself.
};

/** How far the secure network is with a conversation. */
enum CPIC_VSL_STATE : std::uint8_t { CPIC_VSL_ENABLED = 1, CPIC_VSL_DISABLED = 2 };

/** Functions, as the state check counts them. */
enum CPIC_FUNCTION : std::uint8_t {
    CPIC_NO_FUNCTION = 0,
    CPIC_CMINIT = 1,
    CPIC_CMACCP = 3,
    CPIC_CMALLC = 5,
    CPIC_CMSEND = 7,
    CPIC_CMRCV = 9,
    CPIC_CMDEAL = 11,
    CPIC_CMSPLN = 19,
    CPIC_CMFLUS = 29,
    CPIC_KEL_SYNC = 46,
    CPIC_CMTIMEOUT2 = 47,
    CPIC_ACCPTP = 49,
    CPIC_UNACCPTP = 50,
    CPIC_UNREGTP = 51,
    CPIC_CMNIHANDLE = 52,
    CPIC_SENDERRINFO = 53,
    CPIC_KEEPALIVE = 57,
    CPIC_LISTEN3 = 58,
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

/** What only a registration, or a conversation that came from one, has. */
struct CPIC_REGISTRATION {
    GW_REG_STATE reg_state = REG_NOT_USED;
    int reg_hook = -1;           ///< Of a partner's conversation: place of the registration in the table.
    bool reg_from_accp = false;  ///< Made by a started server: ends with its conversation.
    bool use_nihandle = false;   ///< Named by its network handle, not by its socket.
    std::string reg_id;          ///< Program id.
    CONV_ID last_conv = BLANK_CONV_ID;  ///< Last partner's conversation: what it still sends doesn't count.
    int running = -1;                   ///< Place of the partner's conversation.
    void* select_set_ptr = nullptr;     ///< What KEL_CMGETNEXTHDL gives back.
};

/** One conversation. All but the atomics belongs to the thread that is in a call on it. */
struct CONV_PROTO {
    std::atomic<std::uint64_t> ext_conv_ID{0};  ///< The id that the caller knows, as a number.
    std::atomic<bool> in_use{false};

    CONV_ID gwy_conv_ID = BLANK_CONV_ID;  ///< The id on the wire.
    int idx = 0;                          ///< Place in the table.
    bool allocated = false;               ///< STALLC is done, or the conversation was accepted.
    std::uint8_t appchdr_version = APPCHDR6_VERSION;
    LOCAL_CONV_STATE local_state = NO_LOCAL_STATE;
    CPIC_FUNCTION interrupted_call = CPIC_NO_FUNCTION;  ///< Ended with a time-out; may be repeated.
    std::uint8_t int_protocol = GW_PROT_NONE;
    std::int16_t conn_idx = -1;
    unsigned continues_send_count = 0;  ///< Sends in a row without an answer.
    unsigned timeouts = 0;              ///< Time-outs in a row.
    std::string gwhost;                 ///< For texts: without the passwords of a route.
    std::string gwserv;
    std::string lu;  ///< Partner's host and service, for texts.
    std::string tp;
    NI_HDL gw_socket = NI_INVALID_HDL;  ///< The registration's, if the conversation came from one.
    bool gw_conn_lost = false;
    std::unique_ptr<KEL_RAW[]> buf;    ///< CPIC_BUFFER_SIZE bytes, made once.
    bool timeout_initialized = false;  ///< `timeout` counts.
    CPIC_INT timeout = -1;             ///< ms for waits.
    CPIC_INT connect_timeout = -1;     ///< ms for the steps of the opening.
    std::vector<KEL_RAW> unsent;  ///< A message that the gateway hasn't taken whole, as long as that is so.
    bool answer_owed = false;     ///< The last send asked for an answer.
    bool ping_received = false;   ///< A ping came during the last wait.
    unsigned nicheck = 0;         ///< Pings that are unanswered.
    KEL_INT nicheck_written = 0;  ///< Bytes of a ping that the gateway hasn't taken whole.
    std::array<KEL_RAW, 4> rem_code_page{};
    bool buffering = true;  ///< The first block after a receive is kept.
    CPIC_BUFFER_STATE buffer_state = CPIC_BUFFER_EMPTY;
    std::size_t buffer_len = 0;
    CPIC_LOCAL_BUFFER local_buffer;
    bool cancel_requested = false;
    std::uint8_t accept_info = 0;
    std::uint8_t accept_info2 = 0;
    CPIC_INT trace_raw = 0;
    CPIC_INT trace_appchdr = 0;
    std::atomic<int> trace_level{0};
    CPIC_DATA_COVER data_cover = nullptr;  ///< NULL: a trace must not show the data.
    void* cover_context = nullptr;
    unsigned pieces_sent = 0;       ///< Since the last receive.
    unsigned pieces_received = 0;   ///< Since the last send.
    CTRC_HDL trace_file = nullptr;  ///< NULL: the layer's.
    bool streamingActive = false;
    bool localReceive = false;  ///< The gateway sends on without being asked.
    std::optional<DISTRIBUTED_TRACING> dt_net;
    std::int32_t sequence_no = 0;
    std::time_t created = 0;
    std::time_t last_send = 0;  ///< Of the last ping.
    bool vsl_mode = false;      ///< The secure network is asked for.
    CPIC_VSL_STATE vsl_state = CPIC_VSL_DISABLED;
    CPIC_REGISTRATION reg;

    KEL_RAW* data() const { return buf.get() + CPIC_DATA_OFFSET; }
    std::span<KEL_RAW, APPCHDR6_LAYOUT::length> header() const {
        return std::span<KEL_RAW, APPCHDR6_LAYOUT::length>(buf.get() + CPIC_HEADER_OFFSET,
                                                           APPCHDR6_LAYOUT::length);
    }
    /** State of the buffer when nothing is kept. */
    CPIC_BUFFER_STATE emptyState() const { return buffering ? CPIC_BUFFER_EMPTY : CPIC_BUFFER_DISABLED; }
};

/** An id as the number by which it is compared. */
std::uint64_t STIConvKey(const KEL_RAW* conversation_ID) noexcept;

/** Takes a free entry, with its buffer made; NULL with the error set when there is none. */
CONV_PROTO* STIGetNewConv() noexcept;

/** Conversations in use, and the most there ever were at a time. */
struct CPIC_COUNT {
    int current;
    int peak;
};
CPIC_COUNT STIConvCount() noexcept;

/** Gives an entry its id; an id that another entry has is replaced by a fresh one for the caller. */
void STIAssignConvId(CONV_PROTO& conv, const CONV_ID& gatewayId) noexcept;

/** Finds a conversation; NULL with the error set. */
CONV_PROTO* STISearchConv(const KEL_RAW* conversation_ID) noexcept;

/** The entry at a place, if it is in use; NULL otherwise. */
CONV_PROTO* STIConvAt(int idx) noexcept;

/** Number of places that were ever used. */
int STIConvPlaces() noexcept;

/** Frees an entry whose connection is closed or handed on. */
void STIFreeConv(CONV_PROTO& conv) noexcept;

/**
 * Ends a conversation and frees its entry. Its connection is closed, or goes back to the registration that it
 * came from. The current error stays.
 */
void STIDEAL(CONV_PROTO& conv) noexcept;

/** ms that a wait on a conversation may take; -1 for ever. */
CPIC_INT STIWaitLimit(const CONV_PROTO& conv) noexcept;

/** Whether a function may be called now; CM_OK, or the code for the caller. */
CM_RETCODE STIQ7LocCheckState(CONV_PROTO& conv, CPIC_FUNCTION function, const KEL_CHAR* name) noexcept;

/** Finds a conversation on which a function may be called; else the code for the caller. */
CM_RETCODE STIEnter(const KEL_RAW* conversation_ID, CPIC_FUNCTION function, const KEL_CHAR* name,
                    CONV_PROTO** conv) noexcept;
