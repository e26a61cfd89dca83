#include "base/si/sisel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <new>

namespace {

std::atomic<bool> standardPoll{false};

constexpr unsigned ALL_FLAGS = SISEL_READ | SISEL_WRITE | SISEL_PRIO_READ;

// The two system calls number their events alike, so that one pair of functions serves both.
static_assert(EPOLLIN == POLLIN && EPOLLOUT == POLLOUT && EPOLLPRI == POLLPRI && EPOLLERR == POLLERR &&
              EPOLLHUP == POLLHUP);

short toPoll(unsigned flags) {
    return static_cast<short>(((flags & SISEL_READ) != 0 ? POLLIN : 0) |
                              ((flags & SISEL_WRITE) != 0 ? POLLOUT : 0) |
                              ((flags & SISEL_PRIO_READ) != 0 ? POLLPRI : 0));
}

unsigned fromPoll(unsigned events) {
    if ((events & (POLLERR | POLLHUP | POLLNVAL)) != 0) return ALL_FLAGS;
    return ((events & POLLIN) != 0 ? SISEL_READ : 0) | ((events & POLLOUT) != 0 ? SISEL_WRITE : 0) |
           ((events & POLLPRI) != 0 ? SISEL_PRIO_READ : 0);
}

class SISEL_EPOLL : public SISEL {
  public:
    /** Takes the descriptor of an empty set over. */
    explicit SISEL_EPOLL(int descriptor) : descriptor(descriptor) {}
    ~SISEL_EPOLL() override { close(descriptor); }

  protected:
    SI_RC change(int socketNo, unsigned flags) override {
        epoll_event event{};
        event.events = static_cast<std::uint32_t>(toPoll(flags));
        event.data.fd = socketNo;
        if (flags == 0) {
            // A closed socket has left the set by itself.
            epoll_ctl(descriptor, EPOLL_CTL_DEL, socketNo, &event);
            return SI_OK;
        }
        if (epoll_ctl(descriptor, EPOLL_CTL_ADD, socketNo, &event) == 0) return SI_OK;
        if (errno == EEXIST && epoll_ctl(descriptor, EPOLL_CTL_MOD, socketNo, &event) == 0) return SI_OK;
        return failed("epoll_ctl", errno);
    }
    int collect(int timeout) override {
        // Those that don't fit are told by the next wait: the system goes on behind the ones it told.
        epoll_event events[128];
        const int count = epoll_wait(descriptor, events, std::size(events), timeout);
        for (int i = 0; i < count; ++i)
            happened(events[i].data.fd, fromPoll(events[i].events));
        return count;
    }

  private:
    int descriptor;
};

class SISEL_POLL : public SISEL {
  protected:
    SI_RC change(int socketNo, unsigned flags) override {
        const auto index = static_cast<std::size_t>(socketNo);
        if (places.size() <= index) places.resize(index + 1, NOWHERE);
        std::size_t& place = places[index];
        if (flags != 0 && place == NOWHERE) {
            entries.push_back({.fd = socketNo, .events = 0, .revents = 0});
            place = entries.size() - 1;
        }
        if (flags != 0) {
            entries[place].events = toPoll(flags);
        } else if (place != NOWHERE) {
            places[static_cast<std::size_t>(entries.back().fd)] = place;
            entries[place] = entries.back();
            entries.pop_back();
            place = NOWHERE;
        }
        return SI_OK;
    }
    int collect(int timeout) override {
        const int count = poll(entries.data(), entries.size(), timeout);
        for (const pollfd& entry : entries)
            if (count > 0 && entry.revents != 0)
                happened(entry.fd, fromPoll(static_cast<unsigned>(entry.revents)));
        return count;
    }

  private:
    static constexpr std::size_t NOWHERE = static_cast<std::size_t>(-1);
    std::vector<pollfd> entries;
    std::vector<std::size_t> places;  ///< Where a socket number stands in `entries`.
};

/** The system takes bit sets of any length, though its type has room for 1024 descriptors only. */
class BitSet {
  public:
    void clear(int highest) { words.assign(static_cast<std::size_t>(highest) / BITS + 1, 0); }
    void set(int bit) { word(bit) |= mask(bit); }
    bool test(int bit) { return (word(bit) & mask(bit)) != 0; }
    fd_set* get() { return reinterpret_cast<fd_set*>(words.data()); }

  private:
    static constexpr std::size_t BITS = 8 * sizeof(unsigned long);
    unsigned long& word(int bit) { return words[static_cast<std::size_t>(bit) / BITS]; }
    static unsigned long mask(int bit) { return 1UL << (static_cast<std::size_t>(bit) % BITS); }
    std::vector<unsigned long> words;
};

class SISEL_SELECT : public SISEL {
  protected:
    SI_RC change(int socketNo, unsigned flags) override {
        if (flags != 0)
            watched[socketNo] = flags;
        else
            watched.erase(socketNo);
        return SI_OK;
    }
    int collect(int timeout) override {
        const int highest = watched.empty() ? 0 : watched.rbegin()->first;
        for (BitSet* set : {&reads, &writes, &prios})
            set->clear(highest);
        for (const auto& [socketNo, flags] : watched) {
            if ((flags & SISEL_READ) != 0) reads.set(socketNo);
            if ((flags & SISEL_WRITE) != 0) writes.set(socketNo);
            if ((flags & SISEL_PRIO_READ) != 0) prios.set(socketNo);
        }
        timeval limit{.tv_sec = timeout / 1000, .tv_usec = timeout % 1000 * 1000};
        const int count =
            select(highest + 1, reads.get(), writes.get(), prios.get(), timeout < 0 ? nullptr : &limit);
        if (count < 0 && errno == EBADF) return tellClosed();
        for (auto at = watched.begin(); count > 0 && at != watched.end(); ++at)
            tell(at->first);
        return count;
    }

  private:
    void tell(int socketNo) {
        const unsigned flags = (reads.test(socketNo) ? SISEL_READ : 0) |
                               (writes.test(socketNo) ? SISEL_WRITE : 0) |
                               (prios.test(socketNo) ? SISEL_PRIO_READ : 0);
        if (flags != 0) happened(socketNo, flags);
    }
    int tellClosed() {
        int count = 0;
        for (const auto& [socketNo, flags] : watched)
            if (fcntl(socketNo, F_GETFD) < 0) {
                happened(socketNo, ALL_FLAGS);
                ++count;
            }
        return count;
    }

    std::map<int, unsigned> watched;
    BitSet reads, writes, prios;
};

}  // namespace

void SiInit() noexcept {
    standardPoll = std::getenv("KEL_USE_STD_POLL") != nullptr;
}

SI_RC SISEL::watch(int socketNo, unsigned flags, KEL_UINT key) noexcept {
    if (socketNo < 0) return failed("watch", EINVAL);
    try {
        const auto index = static_cast<std::size_t>(socketNo);
        if (owners.size() <= index) owners.resize(index + 1);
        Owner& owner = owners[index];
        if (flags == 0 && (!owner.used || owner.key != key)) return SI_OK;
        const SI_RC rc = change(socketNo, flags);
        if (rc == SI_OK) owner = {key, flags != 0};
        return rc;
    } catch (const std::bad_alloc&) {
        return failed("watch", ENOMEM);
    }
}

SI_RC SISEL::wait(int timeout) noexcept {
    try {
        found.clear();
        const int count = collect(timeout);
        if (count < 0) return failed("wait", errno);
        return count == 0 ? SI_ETIMEOUT : SI_OK;
    } catch (const std::bad_alloc&) {
        return failed("wait", ENOMEM);
    }
}

void SISEL::happened(int socketNo, unsigned flags) {
    const Owner& owner = owners[static_cast<std::size_t>(socketNo)];
    if (owner.used) found.push_back({owner.key, flags});
}

SI_RC SISEL::failed(const KEL_CHAR* call, int error) noexcept {
    return SiFail(&lastFailure, call, error);
}

SI_RC SiSelNew(SISEL_TYPE type, std::unique_ptr<SISEL>* set) noexcept {
    if (type == SISEL_TYPE::standard) type = standardPoll ? SISEL_TYPE::poll : SISEL_TYPE::epoll;
    set->reset();
    if (type == SISEL_TYPE::poll) set->reset(new (std::nothrow) SISEL_POLL);
    if (type == SISEL_TYPE::select) set->reset(new (std::nothrow) SISEL_SELECT);
    if (type == SISEL_TYPE::epoll) {
        const int descriptor = epoll_create1(EPOLL_CLOEXEC);
        if (descriptor < 0) return SI_EMFILE;
        set->reset(new (std::nothrow) SISEL_EPOLL(descriptor));
        if (!*set) close(descriptor);
    }
    return *set ? SI_OK : SI_EMEMORY;
}
