/**
 * @file
 * Conversations: named, half-duplex exchanges of byte blocks with a partner behind a gateway. A
 * conversation is known by an id of 8 characters. Any thread may use it, one at a time.
 *
 * Every function returns its code, stores it through its last argument unless that is NULL, and leaves the
 * cause of a failure in the thread's error block, which KEL_CMPERR prints. Codes are those of APPC_RC:
 * CM_KEL_TIMEOUT_RETRY means that a bounded wait ended and the same call may be repeated; after 17, 18, 20,
 * 26 and 27 the conversation is gone. One thing leaves it with 20 as it was: a call out of turn, while
 * another one is interrupted.
 */
#pragma once

#include <kelzor/types.h>

#include "base/ni/ni.h"
#include "krn/si/gw/gwenum.h"

using CM_RETCODE = KEL_INT;
using CPIC_INT = KEL_INT;

inline constexpr std::size_t KEL_CONV_ID_LN = 8;
/** Most bytes of one send or receive. */
inline constexpr CPIC_INT CPIC_MAX_BLOCK = 32000;
/** Room for the own program's name, its terminator included. */
inline constexpr std::size_t CPIC_TP_NAME_SIZE = 65;

enum CPIC_INIT_STREAMING : int { CPIC_INIT_NO_STREAMING = 0, CPIC_INIT_USE_STREAMING = 1 };

enum CPIC_INIT_REM_START : int {
    CPIC_INIT_REMOTE_UNKNOWN = 0,
    CPIC_INIT_REMOTE_SHELL = 1,
    CPIC_INIT_REMOTE_EXEC = 2,
    CPIC_INIT_REMOTE_DISABLED = 3,
    CPIC_INIT_REMOTE_SSH = 4,
};

/** Whether a code that a call on a conversation returned means that the conversation is gone. */
bool STIEndsConversation(CM_RETCODE rc) noexcept;

/** Options of a new conversation; KEL_INIT_OPTIONS gives the defaults. */
struct CPIC_INIT_OPT {
    CPIC_INT cpic_timeout;       ///< Seconds, -2 not given.
    CPIC_INT keepalive_timeout;  ///< Seconds, -2 not given.
    CPIC_INT export_trace;       ///< 0 no, 1 yes, 2 not given.
    CPIC_INT start_type;         ///< A CPIC_INIT_REM_START.
    CPIC_INT streaming;          ///< A CPIC_INIT_STREAMING.
};
void KEL_INIT_OPTIONS(CPIC_INIT_OPT* options) noexcept;

/** Starts the layer. Without an argument vector the program's name comes from the system. */
CM_RETCODE KEL_CPIC_PROCESS_ATTACH(KEL_CHAR** argv) noexcept;

/** Nothing to do; 0. */
CM_RETCODE KEL_CPIC_THREAD_ATTACH() noexcept;

/**
 * Opens a conversation at a gateway; each step may take as long as a connect. `conversation_ID` takes the id;
 * `lu` and `tp` are the partner's host and service; `prot` is one character, 'I' for a client. `options` may
 * be NULL.
 */
CM_RETCODE KEL_STINIT4(KEL_RAW* conversation_ID, const KEL_CHAR* sym_dest_name, const KEL_CHAR* lu,
                       const KEL_CHAR* tp, const KEL_CHAR* gw_host, const KEL_CHAR* gw_serv, KEL_CHAR prot,
                       const CPIC_INIT_OPT* options, CM_RETCODE* return_code) noexcept;

/** Names the partner, in at most 128 characters. */
CM_RETCODE STSPLN(const KEL_RAW* conversation_ID, const KEL_CHAR* partner_LU_name,
                  const CPIC_INT* partner_LU_name_length, CM_RETCODE* return_code) noexcept;

/**
 * Allocates the conversation and waits for the answer, for as long as a connect may take unless the
 * conversation has a limit of its own.
 */
CM_RETCODE STALLC(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept;

/**
 * Sends a block, or keeps it to go out with the receive that follows. After CM_KEL_TIMEOUT_RETRY the repeat
 * has to bring the same block: it goes on where the gateway stopped taking, or waits for the answer.
 */
CM_RETCODE STSEND(const KEL_RAW* conversation_ID, const KEL_RAW* buffer, const CPIC_INT* send_length,
                  REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept;

/**
 * Receives at most `requested_length` bytes. CM_DEALLOCATED_NORMAL may come with data. A repeat after
 * CM_KEL_TIMEOUT_RETRY sends no second request.
 */
CM_RETCODE STRCV(const KEL_RAW* conversation_ID, KEL_RAW* buffer, const CPIC_INT* requested_length,
                 DATA_RECEIVED* data_received, CPIC_INT* received_length, STATUS_RECEIVED* status_received,
                 REQUEST_TO_SEND_RECEIVED* request_to_send_received, CM_RETCODE* return_code) noexcept;

/**
 * Sends what is kept and ends the conversation, which is gone in any case. A gateway that takes nothing for
 * 5 seconds isn't waited for any longer: CM_PRODUCT_SPECIFIC_ERROR.
 */
CM_RETCODE STDEAL(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept;

/** Limits the waits of a conversation to `ti` ms; -1 lifts the limit. */
CM_RETCODE KEL_CMTIMEOUT2(const KEL_RAW* conversation_ID, CPIC_INT ti, CM_RETCODE* return_code) noexcept;

/**
 * Cancels what the partner does for us, and waits for the gateway's answer. CM_DEALLOCATED_NORMAL if the
 * conversation ended with it: so it does when the gateway takes nothing or says nothing for a second.
 */
CM_RETCODE KEL_CMCANCEL(const KEL_RAW* conversation_ID, const CPIC_INT* cancel_type,
                        CM_RETCODE* return_code) noexcept;

/** The network handle of a conversation, which stays the conversation's. */
CM_RETCODE KEL_CMNIHANDLE(const KEL_RAW* conversation_ID, NI_HDL* handle, CM_RETCODE* return_code) noexcept;

/**
 * Level 0 to 3 of the trace that this layer and those below write, and the name of its file, which is opened
 * at the first level above 0 and whenever the name changes. CM_PRODUCT_SPECIFIC_ERROR for any other level.
 */
CM_RETCODE KEL_CMTRACE(CPIC_INT trace_level, const KEL_CHAR* trace_file, CM_RETCODE* return_code) noexcept;

/** Text of the thread's current error, which goes to the trace too; valid until the next call in this thread.
 */
const KEL_CHAR* KEL_CMPERR() noexcept;

/** The own program's name, terminated; at most CPIC_TP_NAME_SIZE bytes. Its length without terminator. */
CM_RETCODE KEL_CMGETOWNNAME(KEL_CHAR* own_name, CPIC_INT* own_name_length, CM_RETCODE* return_code) noexcept;

/** Version number and name of the layer. */
CPIC_INT KEL_CMGETVERSION() noexcept;
const KEL_CHAR* KEL_CMBUILDVERSION() noexcept;
