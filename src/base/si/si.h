/**
 * @file
 * The socket layer: the system calls on sockets with one set of return codes. Sockets are non-blocking and
 * closed on exec; sending never raises a signal. The errno of a failure stands in the socket's `lastError`.
 * A socket is used by one thread at a time.
 */
#pragma once

#include <kelzor/types.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstddef>
#include <span>

/** Results of the layer. */
enum SI_RC : int {
    SI_OK = 0,
    SI_EINVAL = 1,
    SI_EINVAL_SOCK = 2,
    SI_EINVAL_FAMI = 3,
    SI_EINVAL_OPT = 4,
    SI_EINTR = 5,  ///< A signal came first; the caller calls again with the time that is left.
    SI_ESYSCALL = 6,
    SI_EADDR_NAVAIL = 7,
    SI_EPORT_INUSE = 8,
    SI_ECONN_REFUSE = 10,
    SI_ECONN_INPROG = 11,
    SI_ECONN_BROKEN = 12,
    SI_ETIMEOUT = 13,
    SI_EINTERN = 14,
    SI_ENOTIMPL = 15,
    SI_EMEMORY = 16,
    SI_EMFILE = 17,
};

/** A socket with the system call and errno of its last failure. */
struct SI_SOCK {
    int socketNo = -1;
    int family = 0;
    int type = 0;
    int lastError = 0;
    const KEL_CHAR* lastCall = "";
};

/** Notes a failed system call in the socket; returns the code for its errno. */
SI_RC SiFail(SI_SOCK* sock, const KEL_CHAR* call, int error) noexcept;

/** What SiPoll waits for. */
enum SI_EVENT : short { SI_READ = 1, SI_WRITE = 4 };

/** Opens a stream socket; on TCP without delay of small packets, on IPv6 for IPv4 partners too. */
SI_RC SiSocket(int family, SI_SOCK* sock) noexcept;

/** Takes a descriptor that is a socket, and makes it non-blocking and closed on exec. */
SI_RC SiAdopt(int socketNo, SI_SOCK* sock) noexcept;

/** Gives a socket its own address. */
SI_RC SiBind(SI_SOCK* sock, const sockaddr* address, socklen_t length) noexcept;

/** Lets up to `queueLength` partners wait to be accepted. */
SI_RC SiListen(SI_SOCK* sock, int queueLength) noexcept;

/** Accepts a waiting partner. SI_ETIMEOUT: nobody waits now. SI_ECONN_BROKEN: one did, but is gone. */
SI_RC SiAccept(SI_SOCK* listening, SI_SOCK* accepted) noexcept;

/** Starts a connect. SI_ECONN_INPROG: SiPoll for SI_WRITE, then SiPeekPendConn tells the outcome. */
SI_RC SiConnect(SI_SOCK* sock, const sockaddr* address, socklen_t length) noexcept;

/** The outcome of a connect in progress. */
SI_RC SiPeekPendConn(SI_SOCK* sock) noexcept;

/** Sends what the system takes of the parts. `sent` in bytes; SI_ETIMEOUT if it takes nothing now. */
SI_RC SiSendV(SI_SOCK* sock, std::span<iovec> parts, std::size_t* sent) noexcept;

/**
 * Receives what is there into the parts. `received` in bytes. SI_ECONN_BROKEN with lastError 0: the peer
 * has closed. SI_ETIMEOUT: nothing is there now.
 */
SI_RC SiRecvV(SI_SOCK* sock, std::span<iovec> parts, std::size_t* received) noexcept;

/** Waits for an event, at most `timeout` ms; -1 waits for ever. */
SI_RC SiPoll(SI_SOCK* sock, SI_EVENT event, int timeout) noexcept;

/** Waits for a partner on either of two listening sockets, of which the second may be closed. */
SI_RC SiPollListen(SI_SOCK* first, SI_SOCK* second, int timeout) noexcept;

/** Closes the socket, if it is open. */
SI_RC SiClose(SI_SOCK* sock) noexcept;

/** The own address; `length` is the room before and the length after. */
SI_RC SiGetSockName(SI_SOCK* sock, sockaddr* address, socklen_t* length) noexcept;

/** The peer's address. */
SI_RC SiGetPeerName(SI_SOCK* sock, sockaddr* address, socklen_t* length) noexcept;

/** Sets an integer option. */
SI_RC SiSetSockOpt(SI_SOCK* sock, int level, int option, int value) noexcept;
