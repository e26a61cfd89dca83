/**
 * @file
 * The network interface layer: connections as small integer handles, and messages on them. A message is a
 * 4-byte big-endian length and as many bytes. Control messages of the layer itself (pings, errors) are
 * dealt with inside.
 *
 * All functions return 0 or a negative NI code, and leave the cause in the thread's error block. A time
 * limit is in ms; -1 waits for ever, 0 not at all. A handle is used by one thread at a time; opening and
 * closing different handles is safe from any thread.
 */
#pragma once

#include <kelzor/types.h>
#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/** Return code of the C layers. */
using KELRETURN = int;

/** A connection. Stale values are recognised and refused with NIEINVAL. */
using NI_HDL = KEL_INT;
inline constexpr NI_HDL NI_INVALID_HDL = -1;

/** An address: IPv6 in network order, IPv4 in the mapped form. */
using NI_NODEADDR = std::array<KEL_RAW, 16>;

/** Return codes of the layer. */
enum NI_RC : int {
    NI_OK = 0,
    NIEINTERN = -1,
    NIEHOST_UNKNOWN = -2,
    NIESERV_UNKNOWN = -3,
    NIESERV_USED = -4,
    NIETIMEOUT = -5,      ///< The same call can be repeated; nothing is lost.
    NIECONN_BROKEN = -6,  ///< The partner has closed, or the network failed.
    NIETOO_SMALL = -7,    ///< The buffer is full and the message isn't at its end: read on.
    NIEINVAL = -8,
    NIECONN_REFUSED = -10,
    NIEPING = -11,  ///< A control message came and was dealt with; no data. Read on.
    NIECONN_PENDING = -12,
    NIEVERSION = -13,
    NIENOFREEPORT = -15,
    NIEMYHOST_VERIFY = -16,
    NIEVSL_FAILURE = -17,
    NIEOPCODE = -18,
    NIEQUE_FULL = -19,
    NIETOO_BIG = -20,
    NIEACCEPT = -21,
    NIEPASSED = -22,
    NIENO_ANSWER = -23,
    NIECALL = -24,
    NIEACLDENY = -25,
    NIEACLLOAD = -26,
    NIESSL_ERROR = -29,
    NIESSL_CONN_CLOSED = -30,
    NIESSL_BAD_SSSL_HDL = -31,
    NIESSL_BAD_AUTH_TYPE = -32,
    NIESSL_PEER_INFO_FAILED = -33,
    NIESSL_NO_CLIENT_CERT = -34,
    NIESSL_NO_SERVER_CERT = -35,
    NIESSL_NO_SSL3_REQUEST = -36,
    NIESSL_SERVER_CERT_MISMATCH = -37,
    NIESSL_PSE_ERROR = -38,
    NIESSL_CRED_NOT_FOUND = -39,
    NIESSL_BAD_TARGET_NAME = -40,
    NIESSL_BAD_MATCH_TYPE = -41,
    NIESSL_BAD_MATCH_VALUE = -42,
    NIEROUT_HOST_UNKNOWN = -90,
    NIEROUT_SERV_UNKNOWN = -91,
    NIEROUT_CONN_REFUSED = -92,
    NIEROUT_INTERN = -93,
    NIEROUT_PERM_DENIED = -94,
    NIEROUT_CONN_BROKEN = -95,
    NIEROUT_VERSION = -96,
    NIEROUT_CANCELED = -97,
    NIEROUT_SHUTDOWN = -98,
    NIEROUT_INFO_DENIED = -99,
    NIEROUT_OVERFLOW = -100,
    NIEROUT_MODE_DENIED = -101,
    NIEROUT_NOCLIENT = -102,
    NIEROUT_EXTERN = -103,
    NIEROUT_VSL_FAILURE = -104,
};

/** Lengths of names, their terminators included. */
inline constexpr std::size_t NI_HOST_MAX = 256;
inline constexpr std::size_t NI_SERV_MAX = 32;
/** Room for an address as text. */
inline constexpr std::size_t NI_ADDR_TEXT_MAX = 46;

/** Handles at one time, at most. */
inline constexpr KEL_INT NI_MAX_HANDLES = 65536;

/** State of a handle; one of at least NI_LISTEN is valid for a caller. */
enum NI_STAT : int {
    NI_FREE = 0,
    NI_INITIAL_LIS = 1,
    NI_INITIAL_CON = 3,
    NI_LISTEN = 17,
    NI_CONN_WAIT = 52,  ///< The connect is still under way.
    NI_CONNECTED = 53,
    NI_ACCEPTED = 54,
};

/** How the ends of a connection talk; routers on the way are told. */
enum NI_TALKMODE : KEL_RAW {
    MESG_IO = 0,  ///< Messages: NiRead, NiWrite.
    RAW_IO = 1,   ///< Plain bytes: NiRawRead, NiRawWrite.
};

/**
 * Starts the layer for at most `maxHandles` handles (NI_MAX_HANDLES at most, else NIEINVAL). A further call
 * only counts, and its size is ignored. Without it, the first handle starts the layer with NI_MAX_HANDLES.
 */
KELRETURN NiInit2(KEL_INT maxHandles) noexcept;
KELRETURN NiInit() noexcept;

/**
 * The counterpart of NiInit. The last one closes all handles and forgets caches and settings; the next start
 * reads the environment anew. No other thread uses the layer meanwhile.
 */
KELRETURN NiExit() noexcept;

/** Settings of the process. They count for what is made from then on. */
enum NI_PARAM : int {
    NIP_CONNLOCAL = 1,  ///< Whether local targets are tried through a Unix domain socket first; 1.
    NIP_QUEUE_LEN = 2,  ///< Partners that wait to be accepted; 20.
    NIP_PORTRANGE = 3,  ///< Whether own ports come from NIP_MINPORT to NIP_MAXPORT; 0.
    NIP_MINPORT = 4,
    NIP_MAXPORT = 5,
    NIP_LOCAL_ADDR = 6,              ///< Own address of connections; all zero leaves it to the system.
    NIP_AUTO_RESOLVE_KEL_PORTS = 7,  ///< Whether service names may carry their port; 1.
    /**
     * Bytes of the send and of the receive buffer of a connection; 0 leaves them to the system, which may
     * also give less than it is asked for.
     */
    NIP_SOCK_BUFFER_SIZE = 23,
};
inline constexpr KEL_INT NI_SOCK_BUFFER_SIZE_MAX = 10000000;

/** A setting; `address` is that of NIP_LOCAL_ADDR, `value` that of all others. */
struct NI_PARAM_DATA {
    NI_PARAM no;
    KEL_INT value = 0;
    NI_NODEADDR address{};
};

/** Changes a setting; NIEINVAL, and nothing changes, for a value that it doesn't take. */
KELRETURN NiSetParam(NI_PARAM no, KEL_INT value) noexcept;
KELRETURN NiSetParamEx(const NI_PARAM_DATA& param) noexcept;
/** Reads the setting `param->no`. */
KELRETURN NiGetParamEx(NI_PARAM_DATA* param) noexcept;
/** NIP_CONNLOCAL and NIP_SOCK_BUFFER_SIZE. */
void NiSetConnLocal(bool on) noexcept;
KELRETURN NiSetSockBufferSize(KEL_UINT bytes) noexcept;

/** Bits of `protocol` in the calls below; 0 leaves the choice to the layer. */
inline constexpr KEL_UINT NI_PROTO_LOCAL = 1;  ///< A Unix domain socket of this host, and nothing else.
inline constexpr KEL_UINT NI_PROTO_IPV4 = 2;
inline constexpr KEL_UINT NI_PROTO_IPV6 = 4;

/**
 * Connects. `host` is a name, an address, or a route "/H/host/S/service/P/password/H/..."; `service` a number
 * or a name, and that of the last hop if it has none. NiHandle is for messages, NiRawHandle for plain bytes.
 * Each step - name, connect, route - may take `timeout` ms; 0 counts as -1. The caller closes the handle.
 * Failures: NIEINVAL for arguments, NIEHOST_UNKNOWN, NIESERV_UNKNOWN, NIECONN_REFUSED (also when the time was
 * up), NIETIMEOUT when no answer to a route came, and the codes of routers.
 */
KELRETURN NiHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout, NI_HDL* handle) noexcept;
KELRETURN NiRawHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                      NI_HDL* handle) noexcept;
KELRETURN NiHandleForProto(const KEL_CHAR* host, const KEL_CHAR* service, KEL_UINT protocol, KEL_INT timeout,
                           NI_HDL* handle) noexcept;
KELRETURN NiRawHandleForProto(const KEL_CHAR* host, const KEL_CHAR* service, KEL_UINT protocol,
                              KEL_INT timeout, NI_HDL* handle) noexcept;

/**
 * Connects a buffered handle: with a `timeout` of 0 nothing but the lookup of names is waited for, and the
 * route isn't waited for at all. NIECONN_PENDING comes with a valid handle, whose connect or route completes
 * while it is used: its reads, its writes, a select set that it stands in move it on. What is written goes
 * through a queue (NIEQUE_FULL: no room within the time); a select set tells of it when a message is
 * complete. A failure of the background is the result of the next call.
 */
KELRETURN NiBufHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                      NI_HDL* handle) noexcept;
KELRETURN NiBufRawHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout,
                         NI_HDL* handle) noexcept;

/**
 * The handle of a connected stream socket: the one that has it, or a new one, which owns the socket from then
 * on. A failure closes the socket.
 */
KELRETURN NiSockToHdl(int socketNo, NI_HDL* handle) noexcept;

/** Runs on each handle that is accepted; a failure closes the handle and is the result of the accept. */
using NI_INIT_FUNC = KELRETURN (*)(NI_HDL handle);

/**
 * Listens on a port of all own addresses and, where NIP_CONNLOCAL is on, on the Unix domain socket of that
 * port. Port 0 takes a free one; `*port` is the port taken. NIESERV_USED: somebody else listens there.
 */
KELRETURN NiServerHandleForPort(KEL_USHORT* port, NI_HDL* handle) noexcept;
KELRETURN NiServerHandle(const KEL_CHAR* service, NI_HDL* handle) noexcept;
/** Sets what runs on each handle that this one accepts; NULL for nothing. */
KELRETURN NiHdlSetInitFunc(NI_HDL handle, NI_INIT_FUNC function) noexcept;

/**
 * Accepts a partner, waiting for one at most `timeout` ms. `address` and `port` of the partner may be NULL.
 * NIETIMEOUT: none came. NIEINVAL: no listening handle, or no descriptor or handle is free; the partner goes
 * on waiting then.
 */
KELRETURN NiAcceptEx(NI_HDL listening, KEL_INT timeout, NI_HDL* accepted, NI_NODEADDR* address,
                     KEL_USHORT* port) noexcept;

/** Closes a handle and its socket. */
KELRETURN NiCloseHandle(NI_HDL handle) noexcept;

/**
 * Sends one message made of at most NI_PARTS_MAX parts, in one system call if the system takes it whole.
 * On NIETIMEOUT a repeat with the same parts sends the rest; `written` is the number of bytes, the header not
 * counted, that are out by then.
 */
KELRETURN NiWriteV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout) noexcept;
KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept;
KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout,
                  KEL_INT* written) noexcept;
inline constexpr std::size_t NI_PARTS_MAX = 4;

/**
 * Reads one message into at most NI_PARTS_MAX parts, filling one after the other. `read` is the number of
 * bytes put there. NIETIMEOUT keeps what came inside the handle. NIETOO_SMALL: the parts are full and the
 * next read goes on with the rest of the message. An error message of the network gives its code.
 */
KELRETURN NiReadV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout, KEL_INT* read) noexcept;
KELRETURN NiRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept;

/**
 * Sends plain bytes. `written` counts those that are out; on NIETIMEOUT the caller goes on with the rest.
 */
KELRETURN NiRawWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout,
                     KEL_INT* written) noexcept;

/** Receives what is there, at least one byte and at most `length`. NIECONN_BROKEN: the partner has closed. */
KELRETURN NiRawRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept;

/**
 * Waits until something can be read - data, a control message, the partner's end - or, on a listening handle,
 * accepted. NIETIMEOUT: nothing yet.
 */
KELRETURN NiPeek(NI_HDL handle, KEL_INT timeout) noexcept;

/** Waits until something can be written. */
KELRETURN NiWriteOK(NI_HDL handle, KEL_INT timeout) noexcept;

/**
 * Checks a connection: sends a ping if an answer is wanted (`answer`), which a later read swallows as
 * NIEPING; else sends a pong. On NIETIMEOUT with `*written` above 0, the message is cut, and a repeat with
 * the same
 * `*written` sends the rest; nothing else can be written before. `*written` is 0 to begin with, and after
 * success.
 */
KELRETURN NiCheckEx(NI_HDL handle, KEL_INT timeout, bool answer, KEL_INT* written) noexcept;

/** Asks the peer for the version of its network layer. The answer is read as a message of one byte. */
KELRETURN NiVersionEx(NI_HDL handle, KEL_INT timeout) noexcept;

/** Refuses incoming messages of more bytes from now on; 0 lifts the limit. */
KELRETURN NiHdlSetMaxValidPacketLen(NI_HDL handle, KEL_INT bytes) noexcept;

/** Whether calls on the handle wait at all; a handle that doesn't block treats every time limit as 0. */
KELRETURN NiHdlSetBlockmode(NI_HDL handle, bool blocking) noexcept;

/** State of a handle. */
KELRETURN NiHdlGetStatus(NI_HDL handle, NI_STAT* status) noexcept;

/** What went over a connection; messages are those of message mode, control messages included. */
struct NI_COUNTERS {
    std::uint64_t mOutOctets = 0;
    std::uint64_t mInOctets = 0;
    std::uint64_t mOutMsgs = 0;
    std::uint64_t mInMsgs = 0;
};
KELRETURN NiHdlGetCounters(NI_HDL handle, NI_COUNTERS* counters) noexcept;

/** The number of the handle's socket, which stays the handle's; of a listening handle the one for IP. */
KELRETURN NiHdlToSock(NI_HDL handle, int* socketNo) noexcept;

/** The peer's and the own address; loopback on a Unix-domain connection. */
KELRETURN NiHdlGetPeer(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept;
KELRETURN NiHdlGetName(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept;

/** Switches the keep-alive of the operating system. */
KELRETURN NiSetSO_KeepAlive(NI_HDL handle, bool on) noexcept;

/** The own host's name. */
KELRETURN NiMyHostName(KEL_CHAR* buffer, std::size_t size) noexcept;

/**
 * Resolves a name or an address; NULL is the loopback address. Answers of the system, failures too, are kept
 * for a while. NIEHOST_UNKNOWN: there is no such host. NIEINVAL: too long, or IPv6 where it isn't active.
 */
KELRETURN NiHostToAddr(const KEL_CHAR* host, NI_NODEADDR* address) noexcept;

/** The name of the host with an address, by the system and a cache; NIEHOST_UNKNOWN if it has none. */
KELRETURN NiAddrToHost2(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size) noexcept;

/**
 * Writes an address as text; an IPv4 address in dots. In the fixed format each number has all its digits, so
 * that all texts of a family are equally long. NIETOO_SMALL: the buffer is.
 */
KELRETURN NiAddrToStr(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size,
                      bool fixedFormat = false) noexcept;
/** The same in memory of the thread; valid until its next call in this thread. */
const KEL_CHAR* NiAddrToStrStatic(const NI_NODEADDR& address) noexcept;
/** Reads an address; IPv6 whether it is active or not. */
KELRETURN NiStrToAddr(const KEL_CHAR* text, NI_NODEADDR* address) noexcept;

/** Resolves a service: a number, the system's service table, or the forms that carry their number. */
KELRETURN NiServToNo(const KEL_CHAR* service, KEL_USHORT* port) noexcept;
/** The name of a port: by the forms that carry their number, then by the system's service table. */
KELRETURN NiNoToServ2(KEL_USHORT port, KEL_CHAR* buffer, std::size_t size) noexcept;
/** The port as decimal text. */
KELRETURN NiServToStr(KEL_USHORT port, KEL_CHAR* buffer, std::size_t size) noexcept;
/** Whether a service is of a form that carries its number, or a number of the ranges of these forms. */
bool NiIKelServNameCheck(std::string_view service) noexcept;

/** Whether an address is an IPv4 address in the mapped form. */
bool NiIsIPv4(const NI_NODEADDR& address) noexcept;
/** The mapped form of an IPv4 address, its 4 bytes in network order; and back, false for another address. */
NI_NODEADDR NiTransRawToNode(const KEL_RAW (&address)[4]) noexcept;
bool NiTransNodeToRaw(const NI_NODEADDR& address, KEL_RAW (&raw)[4]) noexcept;

/** A hop of a route, without its password. */
struct NI_ROUTE_TABLE {
    KEL_CHAR hostname[NI_HOST_MAX];
    KEL_CHAR service[NI_SERV_MAX];
};

/**
 * Lists the hops of a route; a host alone is one hop. `count` is their number in the table; when it has too
 * little room, the last hops win.
 */
KELRETURN NiRouteToTable(KEL_INT* count, const KEL_CHAR* route, NI_ROUTE_TABLE* table, KEL_INT size) noexcept;

/** Writes a host or route as texts may show it, "<pass>" in place of every password; cut to the buffer. */
void NiSecStr(std::string_view route, std::span<KEL_CHAR> buffer) noexcept;

/** Name of a code. */
const KEL_CHAR* NiErrStr(KELRETURN rc) noexcept;

/** Makes a code the current error of the thread, with the code's text, and returns it. */
KELRETURN NiErrSet(KELRETURN rc) noexcept;
