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

#include "base/dptrc/dptrc.h"
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

/** What a host application's waiter is asked to wait for. */
enum CPIC_SOCK_OPCODE : int { CPIC_SOCK_READ = 1, CPIC_SOCK_WRITE = 2 };

/** Whether a code that a call on a conversation returned means that the conversation is gone. */
bool STIEndsConversation(CM_RETCODE rc) noexcept;

/** Settings of the secure network. Texts are terminated. */
struct CPIC_VSL_DATA {
    KEL_RAW version;
    KEL_RAW filler;
    KEL_CHAR partnername[257];
    KEL_CHAR myname[257];
    KEL_CHAR lib[257];
    CPIC_INT mode;  ///< 0 off, 1 on.
    CPIC_INT qop;
    CPIC_INT role;  ///< 2 the acceptor, any other the initiator.
};

/** Options of a new conversation; KEL_INIT_OPTIONS gives the defaults. */
struct CPIC_INIT_OPT {
    CPIC_INT cpic_timeout;       ///< Seconds, -2 not given.
    CPIC_INT keepalive_timeout;  ///< Seconds, -2 not given.
    CPIC_INT export_trace;       ///< 0 no, 1 yes, 2 not given.
    CPIC_INT start_type;         ///< A CPIC_INIT_REM_START.
    CPIC_INT network_protocol;   ///< 0.
    CTRC_HDL fp;                 ///< Where the conversation's trace goes; NULL: where all of it goes.
    CPIC_INT trace_level;        ///< Of the conversation; counts if it is above 0.
    CPIC_INT streaming;          ///< A CPIC_INIT_STREAMING.
};
void KEL_INIT_OPTIONS(CPIC_INIT_OPT* options) noexcept;

/**
 * Starts the layer. Without an argument vector the program's name comes from the system; with one it is that
 * of the vector, which is kept for STACCP.
 */
CM_RETCODE KEL_CPIC_PROCESS_ATTACH(KEL_CHAR** argv) noexcept;

/** Nothing to do; 0. */
CM_RETCODE KEL_CPIC_THREAD_ATTACH() noexcept;

/**
 * Sets the length of the table of conversations, 1 to 1023999. CM_PRODUCT_SPECIFIC_ERROR once a conversation
 * was asked for.
 */
CM_RETCODE KEL_CMMAXCONV(CPIC_INT conversations, CM_RETCODE* return_code) noexcept;

/** ms that conversations without a limit of their own wait; -1, the default, for ever. */
CM_RETCODE KEL_CMTIMEOUT(CPIC_INT ti, CM_RETCODE* return_code) noexcept;

/** Whether the side information file is read; it is to begin with. */
CM_RETCODE KEL_CMUSESIDEINFO(bool use, CM_RETCODE* return_code) noexcept;

/** A host application that waits itself, called before each blocking read and write; NULL for none. */
using CPIC_SOCK_WAITER = void (*)(int socketNo, CPIC_INT timeout, CPIC_SOCK_OPCODE kind);
void KEL_CPIC_SET_SOCK_WAITER(CPIC_SOCK_WAITER waiter) noexcept;

/**
 * Opens a conversation at a gateway; each step may take as long as a connect. What isn't given is looked up
 * in the side information. 20 on failure.
 *
 * @param conversation_ID takes the id, 8 bytes.
 * @param sym_dest_name entry of the side information, at most 8 characters of it go out.
 * @param lu,tp the partner's host and service; for protocol 'I' `lu` may be a route to both, which then
 *        names the gateway too.
 * @param prot one character, 'I' for a client; 0 or a blank if it isn't given.
 * @param cpic_trace trace level of the conversation; -1 leaves it.
 * @param vsl_data,init_opt may be NULL.
 */
CM_RETCODE KEL_STINIT4(KEL_RAW* conversation_ID, const KEL_CHAR* sym_dest_name, const KEL_CHAR* lu,
                       const KEL_CHAR* tp, const KEL_CHAR* gw_host, const KEL_CHAR* gw_serv, KEL_CHAR prot,
                       CPIC_INT cpic_trace, const CPIC_VSL_DATA* vsl_data, const CPIC_INIT_OPT* init_opt,
                       CM_RETCODE* return_code) noexcept;

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

/** Sends what is kept and tells the gateway to pass it on. */
CM_RETCODE STFLUS(const KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept;

/** @name Serving
 * A program that is started by the gateway takes over its conversation by KEL_CMACCP and STACCP. A program
 * that registers itself is given partners one after the other on one connection, which carries the
 * registration and, in turn, the conversation of its partner. It is known by its handle: the number of its
 * socket in the functions without, its network handle in those with a 3 at the end.
 */
/** @{ */
/** Keeps the argument vector, which stays the caller's, and takes a trace level from it. */
CM_RETCODE KEL_CMACCP(KEL_CHAR** argv, CM_RETCODE* return_code) noexcept;

/**
 * Takes over the conversation that this process was started for. 20 if an argument is missing or the gateway
 * can't be reached.
 */
CM_RETCODE STACCP(KEL_RAW* conversation_ID, CM_RETCODE* return_code) noexcept;

/** Registers a program id of at most 64 characters without "*"; `handle` takes the registration's handle. */
CM_RETCODE KEL_CMREGTP2(const KEL_CHAR* tpname, const KEL_CHAR* gwhost, const KEL_CHAR* gwserv,
                        CPIC_INT* handle, const CPIC_VSL_DATA* vsl_data, CM_RETCODE* return_code) noexcept;
CM_RETCODE KEL_CMREGTP3(const KEL_CHAR* tpname, const KEL_CHAR* gwhost, const KEL_CHAR* gwserv,
                        CPIC_INT* handle, const CPIC_VSL_DATA* vsl_data, CM_RETCODE* return_code) noexcept;

/** Leaves; a conversation of the registration ends with it. */
CM_RETCODE KEL_CMUNREGTP(CPIC_INT handle, CM_RETCODE* return_code) noexcept;
CM_RETCODE KEL_CMUNREGTP3(CPIC_INT handle, CM_RETCODE* return_code) noexcept;
/** What KEL_CMACCPTP3 was given with a registration; NULL when the handle is none. */
void* KEL_CMREGPTR3(CPIC_INT handle) noexcept;

/** The time limit of an accept that doesn't wait: KEL_CMLISTEN tells when a partner is there. */
inline constexpr CPIC_INT CPIC_ACCEPT_BY_LISTEN = -2;

/**
 * Waits `timeout` seconds for a partner; -1 for ever; -2 not at all: KEL_CMLISTEN reports it, with `ptr`.
 * CM_KEL_TIMEOUT_RETRY or CM_KEL_PING_RECEIVED when nobody came; 18 when the gateway ended the registration,
 * which is gone then.
 */
CM_RETCODE KEL_CMACCPTP(CPIC_INT handle, CPIC_INT timeout, KEL_RAW* conversation_ID,
                        CM_RETCODE* return_code) noexcept;
CM_RETCODE KEL_CMACCPTP3(CPIC_INT handle, CPIC_INT timeout, KEL_RAW* conversation_ID, void* ptr,
                         CM_RETCODE* return_code) noexcept;

/**
 * Waits at most `timeout` ms (-1 for ever) until a registration or a conversation that was put into the
 * select set has something to be read; KEL_CMGETNEXTHDL tells which. One thread at a time:
 * CM_PROGRAM_STATE_CHECK for a second one. CM_KEL_TIMEOUT_RETRY when nothing came. It may come back without a
 * handle to tell when other threads changed the set.
 */
CM_RETCODE KEL_CMLISTEN(CPIC_INT timeout, CM_RETCODE* return_code) noexcept;

/** The next handle that is ready, which leaves the select set, and what it was put in with; 0 at the end. */
CM_RETCODE KEL_CMGETNEXTHDL(CPIC_INT* handle, void** ptr, CM_RETCODE* return_code) noexcept;

/**
 * Puts an accepted conversation into the select set: what is kept is sent, and data are asked for. A receive
 * takes them once KEL_CMLISTEN has told that they are there. `req_length` may be NULL.
 */
CM_RETCODE KEL_CMLISTEN3(const KEL_RAW* conversation_ID, const CPIC_INT* req_length,
                         CM_RETCODE* return_code) noexcept;
inline constexpr CPIC_INT CPIC_LISTEN_LENGTH = 28000;

/**
 * A sign of life of a registration that waits: it is taken back, and the next accept offers it anew. Does
 * nothing if a message of the gateway waits already.
 */
CM_RETCODE KEL_CMUNACCPTP(CPIC_INT handle, CM_RETCODE* return_code) noexcept;
/** @} */

/** Limits the waits of a conversation to `ti` ms; -1 lifts the limit. */
CM_RETCODE KEL_CMTIMEOUT2(const KEL_RAW* conversation_ID, CPIC_INT ti, CM_RETCODE* return_code) noexcept;

/**
 * Cancels what the partner does for us, and waits for the gateway's answer. CM_DEALLOCATED_NORMAL if the
 * conversation ended with it: so it does when the gateway takes nothing or says nothing for a second.
 */
CM_RETCODE KEL_CMCANCEL(const KEL_RAW* conversation_ID, const CPIC_INT* cancel_type,
                        CM_RETCODE* return_code) noexcept;

/**
 * Tells the partner why its conversation can't go on; the caller ends it then. The code is one of the
 * gateway's.
 */
CM_RETCODE KEL_CMSENDERRINFO(const KEL_RAW* conversation_ID, CPIC_INT code, CM_RETCODE* return_code) noexcept;

/** The network handle of a conversation, which stays the conversation's. */
CM_RETCODE KEL_CMNIHANDLE(const KEL_RAW* conversation_ID, NI_HDL* handle, CM_RETCODE* return_code) noexcept;

/**
 * Level 0 to 3 of the trace that this layer and those below write, and the name of its file, which is opened
 * at the first level above 0 and whenever the name changes. CM_PRODUCT_SPECIFIC_ERROR for any other level.
 */
CM_RETCODE KEL_CMTRACE(CPIC_INT trace_level, const KEL_CHAR* trace_file, CM_RETCODE* return_code) noexcept;

/**
 * Covers what a trace must not show in the copy of a piece of data. Pieces are counted from 0 at each change
 * of direction, whether they are traced or not.
 */
using CPIC_DATA_COVER = void (*)(void* context, bool incoming, unsigned piece,
                                 std::span<KEL_RAW> copy) noexcept;

/** From here on a trace of raw data may show what the function lets it; it is called in sends and receives.
 */
CM_RETCODE KEL_CMDATAOPEN(const KEL_RAW* conversation_ID, CPIC_DATA_COVER cover, void* context,
                          CM_RETCODE* return_code) noexcept;

/** Mebibytes at which the trace file is moved aside and starts anew. */
void KEL_CMSetTraceFileSize(CPIC_INT size) noexcept;

/** Text of the thread's current error, which goes to the trace too; valid until the next call in this thread.
 */
const KEL_CHAR* KEL_CMPERR() noexcept;

/** The own program's name, terminated; at most CPIC_TP_NAME_SIZE bytes. Its length without terminator. */
CM_RETCODE KEL_CMGETOWNNAME(KEL_CHAR* own_name, CPIC_INT* own_name_length, CM_RETCODE* return_code) noexcept;

/** Version number and name of the layer. */
CPIC_INT KEL_CMGETVERSION() noexcept;
const KEL_CHAR* KEL_CMBUILDVERSION() noexcept;
