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

/** Starts the layer for at most `maxHandles` handles, 65536 at most. A further call changes nothing. */
KELRETURN NiInit2(KEL_INT maxHandles) noexcept;

/** Whether local targets are tried through a Unix-domain socket first; on by default. */
void NiSetConnLocal(bool on) noexcept;

/**
 * Bytes of the send and of the receive buffer of each connection that is made from now on; 0, the default,
 * leaves them to the system, which may also give less than it is asked for. More than
 * NI_SOCK_BUFFER_SIZE_MAX is NIEINVAL and changes nothing.
 */
inline constexpr KEL_UINT NI_SOCK_BUFFER_SIZE_MAX = 10000000;
KELRETURN NiSetSockBufferSize(KEL_UINT bytes) noexcept;

/**
 * Connects in message mode. `host` is a name, an address or a route of one hop; `service` a number or a
 * name. The caller closes the handle.
 */
KELRETURN NiHandle(const KEL_CHAR* host, const KEL_CHAR* service, KEL_INT timeout, NI_HDL* handle) noexcept;

/** Makes a handle of a connected stream socket, which it owns from then on; a failure closes it. */
KELRETURN NiSockToHdl(int socketNo, NI_HDL* handle) noexcept;

/** Closes a handle and its socket. */
KELRETURN NiCloseHandle(NI_HDL handle) noexcept;

/**
 * Sends one message made of at most NI_PARTS_MAX parts, in one system call if the system takes it whole.
 * On NIETIMEOUT a repeat with the same parts sends the rest.
 */
KELRETURN NiWriteV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout) noexcept;
KELRETURN NiWrite(NI_HDL handle, const KEL_RAW* data, KEL_INT length, KEL_INT timeout) noexcept;
inline constexpr std::size_t NI_PARTS_MAX = 4;

/**
 * Reads one message into at most NI_PARTS_MAX parts, filling one after the other. `read` is the number of
 * bytes put there. NIETIMEOUT keeps what came inside the handle. NIETOO_SMALL: the parts are full and the
 * next read goes on with the rest of the message. An error message of the network gives its code.
 */
KELRETURN NiReadV(NI_HDL handle, std::span<const iovec> parts, KEL_INT timeout, KEL_INT* read) noexcept;
KELRETURN NiRead(NI_HDL handle, KEL_RAW* data, KEL_INT length, KEL_INT timeout, KEL_INT* read) noexcept;

/** Refuses incoming messages of more bytes from now on; 0 lifts the limit. */
KELRETURN NiHdlSetMaxValidPacketLen(NI_HDL handle, KEL_INT bytes) noexcept;

/** The number of the handle's socket, which stays the handle's. */
KELRETURN NiHdlToSock(NI_HDL handle, int* socketNo) noexcept;

/** The peer's and the own address; loopback on a Unix-domain connection. */
KELRETURN NiHdlGetPeer(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept;
KELRETURN NiHdlGetName(NI_HDL handle, NI_NODEADDR* address, KEL_USHORT* port) noexcept;

/** Switches the keep-alive of the operating system. */
KELRETURN NiSetSO_KeepAlive(NI_HDL handle, bool on) noexcept;

/** The own host's name. */
KELRETURN NiMyHostName(KEL_CHAR* buffer, std::size_t size) noexcept;

/** Resolves a name or an address; NULL is the loopback address. */
KELRETURN NiHostToAddr(const KEL_CHAR* host, NI_NODEADDR* address) noexcept;

/** Writes an address as text; an IPv4 address in dots. */
KELRETURN NiAddrToStr(const NI_NODEADDR& address, KEL_CHAR* buffer, std::size_t size) noexcept;

/** Resolves a service: a number, the system's service table, or the forms that carry their number. */
KELRETURN NiServToNo(const KEL_CHAR* service, KEL_USHORT* port) noexcept;

/** Whether an address is an IPv4 address in the mapped form. */
bool NiIsIPv4(const NI_NODEADDR& address) noexcept;

/** Writes a host or route as texts may show it, "<pass>" in place of every password; cut to the buffer. */
void NiSecStr(std::string_view route, std::span<KEL_CHAR> buffer) noexcept;

/** Name of a code. */
const KEL_CHAR* NiErrStr(KELRETURN rc) noexcept;
