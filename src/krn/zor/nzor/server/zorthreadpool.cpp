#include "server/zorthreadpool.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

#include "base/thr/thr.h"
#include "error/zorexception.h"

namespace {

constexpr std::size_t serverStack = 0x400000;  // bytes

void runThread(void* argument) {
    const std::unique_ptr<ZorThreadPool::Work> work(static_cast<ZorThreadPool::Work*>(argument));
    (*work)();
}

}  // namespace

void zorStartServerThread(ZorThreadPool::Work run) {
    auto work = std::make_unique<ZorThreadPool::Work>(std::move(run));
    if (const int failure = ThrCreate2(serverStack, runThread, work.get()); failure != 0)
        throw ZorSystemException(std::system_category().message(failure));
    (void)work.release();
}

/** What the pool shares with its threads, which may outlive it. */
struct ZorThreadPool::Shared {
    std::mutex queueMutex;  ///< Guards the members below.
    std::condition_variable changed;
    std::deque<Work> requestQueue;
    bool isRunning = true;
    unsigned currentSize = 0;  ///< Living threads.
    unsigned maxSize = 0;
    unsigned busyCount = 0;  ///< Those that have work.

    void run() {
        std::unique_lock lock(queueMutex);
        for (;;) {
            changed.wait(lock, [this] { return !isRunning || !requestQueue.empty(); });
            if (!isRunning) break;
            Work work = std::move(requestQueue.front());
            requestQueue.pop_front();
            ++busyCount;
            lock.unlock();
            work();
            work = nullptr;  // what it holds goes before the lock
            lock.lock();
            --busyCount;
        }
        --currentSize;
        changed.notify_all();
    }
};

namespace {

/** Counts the thread before it runs. */
void startWorker(const std::shared_ptr<ZorThreadPool::Shared>& shared) {
    {
        const std::lock_guard lock(shared->queueMutex);
        ++shared->currentSize;
    }
    try {
        zorStartServerThread([shared] { shared->run(); });
    } catch (...) {
        const std::lock_guard lock(shared->queueMutex);
        --shared->currentSize;
        throw;
    }
}

}  // namespace

ZorThreadPool::ZorThreadPool(unsigned minimum, unsigned maximum) : shared(std::make_shared<Shared>()) {
    shared->maxSize = maximum;
    try {
        for (unsigned i = 0; i < minimum; ++i)
            startWorker(shared);
    } catch (...) {
        stop();
        throw;
    }
}

bool ZorThreadPool::schedule(Work work) {
    bool grow = false;
    {
        const std::lock_guard lock(shared->queueMutex);
        if (!shared->isRunning) return false;
        shared->requestQueue.push_back(std::move(work));
        grow = shared->busyCount + shared->requestQueue.size() > shared->currentSize &&
               shared->currentSize < shared->maxSize;
        shared->changed.notify_one();
    }
    try {
        if (grow) startWorker(shared);
    } catch (const std::exception&) {
        // The threads there are do it later.
    }
    return true;
}

bool ZorThreadPool::hasRoom() const noexcept {
    const std::lock_guard lock(shared->queueMutex);
    return shared->isRunning && shared->requestQueue.empty() && shared->busyCount < shared->maxSize;
}

void ZorThreadPool::stop() noexcept {
    std::deque<Work> dropped;
    std::unique_lock lock(shared->queueMutex);
    shared->isRunning = false;
    dropped.swap(shared->requestQueue);
    shared->changed.notify_all();
    shared->changed.wait(lock, [this] { return shared->currentSize <= shared->busyCount; });
}
