/** @file The threads that serve the calls of an automated server. */
#pragma once

#include <functional>
#include <memory>

/**
 * A queue of work and the threads that do it, first come, first served. The threads are detached: one whose
 * work hangs holds nobody up, and ends with its work when the pool was stopped meanwhile.
 */
class ZorThreadPool {
  public:
    using Work = std::function<void()>;

    /**
     * Starts `minimum` threads; grows up to `maximum` when all are busy. Throws ZorSystemException when a
     * thread can't be started; then none is left.
     */
    ZorThreadPool(unsigned minimum, unsigned maximum);
    ZorThreadPool(const ZorThreadPool&) = delete;
    ~ZorThreadPool() { stop(); }

    /** Queues work, which must not throw. False if the pool was stopped: it is dropped. */
    bool schedule(Work work);
    /** Whether work that came now would be begun at once, also if the caller went on with its own. */
    bool hasRoom() const noexcept;
    /** Drops what waits, and waits for the threads that have no work. */
    void stop() noexcept;

    struct Shared;

  private:
    std::shared_ptr<Shared> shared;
};

/** Starts a thread of a server. Throws ZorSystemException with the system's text when that isn't possible. */
void zorStartServerThread(ZorThreadPool::Work run);
