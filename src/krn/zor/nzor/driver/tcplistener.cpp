#include "driver/tcplistener.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/dptrc/err.h"
#include "base/ni/nisel.h"
#include "base/thr/thr.h"
#include "trace/zortracefunctions.h"

namespace {

constexpr std::size_t LISTENER_STACK = 0x400000;  // bytes
constexpr KEL_INT SELECT_TIMEOUT = 2000;          // ms
/** ms for which a port that can't accept isn't asked: the partner goes on waiting, and would be told at once.
 */
constexpr KEL_INT PAUSE = 100;

/** For which a thread waits until the listener, which may be in a call of a server, lets go of a handle. */
constexpr std::chrono::seconds FORGET_LIMIT(5);

/** What the set has under a handle. */
struct Watched {
    std::shared_ptr<TcpServer> server;
    bool listening = false;
};

/** A wish of another thread. Without a server the handle is to be forgotten. */
struct Wish {
    NI_HDL handle;
    Watched watched;
};

/** What the threads share with the listener. Never destroyed: the listener may outlive all else. */
struct Shared {
    std::mutex cs_tcp_conn;
    std::condition_variable applied;
    std::deque<Wish> selectQueue;
    unsigned long queued = 0;   ///< Wishes so far.
    unsigned long handled = 0;  ///< Those that the listener knows of.
    bool running = false;
    pthread_t listenerThread{};
    NI_WAKEUP_HDL wakeup = NI_INVALID_WAKEUP;
};

Shared& shared() {
    static auto* const all = new Shared;
    return *all;
}

[[noreturn]] void throwNi(KELRETURN rc) {
    throw ZorCommunicationException(NiErrStr(rc));
}

void wake(NI_WAKEUP_HDL wakeup) noexcept {
    constexpr KEL_RAW record[] = {1};
    // A full pipe wakes as well.
    NiWakeupExec2(wakeup, record, sizeof record, 0);
}

/** The thread's own part. */
class Listener {
  public:
    explicit Listener(NISEL_HDL set) : selSet(set) {}
    ~Listener() { NiSelDeleteSet(&selSet); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void run() {
        while (takeWishes()) {
            for (const NI_HDL handle : std::exchange(unwatchable, {}))
                tellReadable(handle);
            const KELRETURN rc = NiSelSelect(selSet, paused.empty() ? SELECT_TIMEOUT : PAUSE);
            if (rc == NI_OK) handleReady();
            if (rc != NI_OK || !paused.empty()) resume();
        }
    }

  private:
    /** Applies what the queue holds. False: nothing is left to be watched, and the thread is no longer the
     * one. */
    bool takeWishes() {
        std::unique_lock lock(shared().cs_tcp_conn);
        while (!shared().selectQueue.empty()) {
            Wish wish = std::move(shared().selectQueue.front());
            shared().selectQueue.pop_front();
            ++shared().handled;
            if (applied(wish)) continue;
            lock.unlock();
            tellLost(wish);
            lock.lock();
        }
        shared().applied.notify_all();
        if (!watched.empty()) return true;
        shared().running = false;
        NiWakeupClose(shared().wakeup);
        return false;
    }

    /** False without memory. */
    bool applied(const Wish& wish) noexcept {
        if (!wish.watched.server) {
            forget(wish.handle);
            return true;
        }
        const KEL_RAW flags = wish.watched.listening ? NI_CONNECT : NI_READ;
        try {
            watched[wish.handle] = wish.watched;
            if (NiSelSet(selSet, wish.handle, flags, nullptr) != NI_OK) unwatchable.push_back(wish.handle);
            return true;
        } catch (const std::bad_alloc&) {
            forget(wish.handle);
            return false;
        }
    }

    /** What can't be watched is told as readable, so that its use reports what is wrong. */
    static void tellLost(const Wish& wish) noexcept {
        if (wish.watched.listening)
            wish.watched.server->acceptFailed(NiErrStr(NIEINTERN));
        else
            wish.watched.server->readable(wish.handle);
    }

    void forget(NI_HDL handle) noexcept {
        if (NiSelIsMember(selSet, handle)) NiSelClear(selSet, handle, NI_SEL_ALL);
        std::erase(paused, handle);
        std::erase(unwatchable, handle);
        watched.erase(handle);
    }

    void handleReady() {
        bool read, connect;
        NI_HDL wakeupHandle = NI_INVALID_HDL;
        NiWakeupGetNiHdl(shared().wakeup, &wakeupHandle);
        for (NI_HDL handle;
             (handle = NiSelNext(selSet, &read, nullptr, &connect, nullptr)) != NI_INVALID_HDL;) {
            KEL_RAW record[1];
            KEL_INT length;
            if (handle == wakeupHandle)
                while (NiWakeupCollect2(shared().wakeup, record, sizeof record, &length) == NI_OK) {
                }
            else if (connect)
                acceptPartner(handle);
            else if (read)
                tellReadable(handle);
        }
    }

    void acceptPartner(NI_HDL listening) {
        const std::shared_ptr<TcpServer> server = watched.at(listening).server;
        NI_HDL handle;
        // A partner that has gone again isn't waited for: the others would have to wait too.
        const KELRETURN rc = NiAcceptEx(listening, 0, &handle, nullptr, nullptr);
        if (rc == NIETIMEOUT || rc == NIECONN_BROKEN) return;
        if (rc != NI_OK) {
            NiSelClear(selSet, listening, NI_CONNECT);
            paused.push_back(listening);
            server->acceptFailed(KEL_string(NiErrStr(rc)) + ": " + ErrPr());
        } else if (server->isRunning()) {
            server->accepted(handle);
        } else {
            NiSelClear(selSet, listening, NI_CONNECT);
            NiCloseHandle(handle);
        }
    }

    void tellReadable(NI_HDL handle) {
        const auto found = watched.find(handle);
        if (found == watched.end()) return;
        const std::shared_ptr<TcpServer> server = found->second.server;
        forget(handle);
        server->readable(handle);
    }

    void resume() {
        for (const NI_HDL handle : std::exchange(paused, {}))
            if (NiSelSet(selSet, handle, NI_CONNECT, nullptr) != NI_OK) paused.push_back(handle);
    }

    NISEL_HDL selSet;
    std::unordered_map<NI_HDL, Watched> watched;
    std::vector<NI_HDL> paused;       ///< Ports that couldn't accept a moment ago.
    std::vector<NI_HDL> unwatchable;  ///< Connections that the set didn't take.
};

void listenerRun(void* argument) {
    const std::unique_ptr<Listener> listener(static_cast<Listener*>(argument));
    {
        const std::lock_guard lock(shared().cs_tcp_conn);
        shared().listenerThread = pthread_self();
    }
    listener->run();
}

/** Starts the thread with its set and its pipe. The lock is held. */
KELRETURN startServerListener() {
    NISEL_HDL set = nullptr;
    NI_HDL handle = NI_INVALID_HDL;
    KELRETURN rc = NiWakeupOpen(&shared().wakeup);
    if (rc == NI_OK) rc = NiWakeupAttach(shared().wakeup);
    if (rc == NI_OK) rc = NiWakeupGetNiHdl(shared().wakeup, &handle);
    if (rc == NI_OK) rc = NiSelNewSet(&set);
    if (rc == NI_OK) rc = NiSelSet(set, handle, NI_READ, nullptr);
    if (rc != NI_OK) {
        NiSelDeleteSet(&set);
        NiWakeupClose(shared().wakeup);
        return rc;
    }
    auto listener = std::make_unique<Listener>(set);
    if (ThrCreate2(LISTENER_STACK, listenerRun, listener.get()) != 0) {
        listener.reset();
        NiWakeupClose(shared().wakeup);
        throw ZorCommunicationException("Failed to start TCP server listening thread");
    }
    (void)listener.release();
    shared().running = true;
    return NI_OK;
}

/** Puts a wish into the queue, and starts the thread for it if need be. Number of the wish. */
unsigned long addObjectSelectQueue(Wish wish) {
    const std::lock_guard lock(shared().cs_tcp_conn);
    if (!shared().running)
        if (const KELRETURN rc = startServerListener(); rc != NI_OK) throwNi(rc);
    shared().selectQueue.push_back(std::move(wish));
    wake(shared().wakeup);
    return ++shared().queued;
}

}  // namespace

NI_HDL TcpListener::startTCPServer(const KEL_UC* port, std::shared_ptr<TcpServer> server) {
    NI_HDL handle = NI_INVALID_HDL;
    if (const KELRETURN rc = NiServerHandle(port, &handle); rc != NI_OK) throwNi(rc);
    try {
        addObjectSelectQueue({handle, {std::move(server), true}});
    } catch (...) {
        NiCloseHandle(handle);
        throw;
    }
    return handle;
}

void TcpListener::stopTCPServer(NI_HDL handle) noexcept {
    forget(handle);
    NiCloseHandle(handle);
}

void TcpListener::watch(NI_HDL handle, const std::shared_ptr<TcpServer>& server) noexcept {
    try {
        addObjectSelectQueue({handle, {server, false}});
    } catch (...) {
        server->readable(handle);
    }
}

void TcpListener::forget(NI_HDL handle) noexcept {
    try {
        std::unique_lock lock(shared().cs_tcp_conn);
        if (!shared().running) return;
        shared().selectQueue.push_back({handle, {}});
        wake(shared().wakeup);
        const unsigned long mine = ++shared().queued;
        // On the listener's own thread the wish is heard before the next wait, and nothing happens till then.
        if (pthread_equal(shared().listenerThread, pthread_self())) return;
        shared().applied.wait_for(lock, FORGET_LIMIT,
                                  [mine] { return shared().handled >= mine || !shared().running; });
    } catch (...) {
        // Without memory the handle is noticed as a closed one.
    }
}
