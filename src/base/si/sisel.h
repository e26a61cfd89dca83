/**
 * @file
 * Sets of sockets to wait on at once, over epoll, poll or select. A socket stands in a set under a key of the
 * caller's. A set belongs to one thread at a time.
 */
#pragma once

#include <memory>
#include <vector>

#include "base/si/si.h"

/** What a socket is watched for, and what happened to it. */
inline constexpr unsigned SISEL_READ = 1;
inline constexpr unsigned SISEL_WRITE = 2;
inline constexpr unsigned SISEL_PRIO_READ = 8;

/** Sockets in a set, at most; who makes the set counts them. */
inline constexpr int SISEL_MAX_SOCKETS = 65536;

/** System call behind a set. */
enum class SISEL_TYPE {
    standard,  ///< epoll, or poll if the environment has KEL_USE_STD_POLL when SiInit looks.
    epoll,
    poll,
    select,
};

/** Reads the environment; runs before the first set is made. */
void SiInit() noexcept;

/** An event: what happened to the socket that stands under the key. */
struct SISEL_EVENT {
    KEL_UINT key = 0;
    unsigned flags = 0;
};

/** A set. */
class SISEL {
  public:
    virtual ~SISEL() = default;
    SISEL(const SISEL&) = delete;
    SISEL& operator=(const SISEL&) = delete;

    /**
     * Watches a socket for `flags`, in place of what was watched before; 0 takes it out, if it still stands
     * under this key: its number may have been closed and given to another socket of the set.
     */
    SI_RC watch(int socketNo, unsigned flags, KEL_UINT key) noexcept;

    /**
     * Waits at most `timeout` ms (-1: for ever) until a socket has something to tell. SI_ETIMEOUT: none has.
     * A socket in error, at its end or closed is told as ready for all, so that its next use reports it.
     */
    SI_RC wait(int timeout) noexcept;

    /** The events of the last wait. */
    const std::vector<SISEL_EVENT>& events() const noexcept { return found; }
    /** The system call that failed last, with its errno. */
    const SI_SOCK& failure() const noexcept { return lastFailure; }

  protected:
    SISEL() = default;
    /** Tells the system. `flags` 0 for a socket that is taken out; */
    virtual SI_RC change(int socketNo, unsigned flags) = 0;
    /** Waits and calls happened() for each socket that is ready. Number of these, or -1 with errno. */
    virtual int collect(int timeout) = 0;
    void happened(int socketNo, unsigned flags);
    SI_RC failed(const KEL_CHAR* call, int error) noexcept;

  private:
    struct Owner {
        KEL_UINT key = 0;
        bool used = false;
    };
    std::vector<Owner> owners;  ///< By socket number.
    std::vector<SISEL_EVENT> found;
    SI_SOCK lastFailure;
};

/** Makes a set; NULL with SI_EMEMORY or SI_EMFILE. */
SI_RC SiSelNew(SISEL_TYPE type, std::unique_ptr<SISEL>* set) noexcept;
