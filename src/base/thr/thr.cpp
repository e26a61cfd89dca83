#include "base/thr/thr.h"

#include <signal.h>

#include <cerrno>
#include <memory>
#include <new>

namespace {

struct Start {
    void (*run)(void*);
    void* argument;
};

void* runThread(void* start) {
    const std::unique_ptr<Start> owner(static_cast<Start*>(start));
    const Start mine = *owner;
    mine.run(mine.argument);
    return nullptr;
}

/** Creates the thread with all signals blocked, which it inherits. */
int createQuiet(const pthread_attr_t& attributes, Start* start) noexcept {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const int rc = pthread_create(&thread, &attributes, runThread, start);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return rc;
}

}  // namespace

// The annotations describe these two; their bodies are where the analysis can't see the lock.
void THR_ATTRIBUTE(no_thread_safety_analysis) ThrCSLock(THR_CS_TYPE* section) noexcept {
    pthread_mutex_lock(&section->mutex);
}

void THR_ATTRIBUTE(no_thread_safety_analysis) ThrCSUnlock(THR_CS_TYPE* section) noexcept {
    pthread_mutex_unlock(&section->mutex);
}

int ThrKeyGet(THR_KEY_TYPE* key, void (*destructor)(void*)) noexcept {
    return pthread_key_create(key, destructor);
}

void* ThrKeyVarGet(THR_KEY_TYPE key) noexcept {
    return pthread_getspecific(key);
}

int ThrKeyVarSet(THR_KEY_TYPE key, const void* value) noexcept {
    return pthread_setspecific(key, value);
}

int ThrCreate2(std::size_t stackSize, void (*run)(void* argument), void* argument) noexcept {
    auto start = std::unique_ptr<Start>(new (std::nothrow) Start{run, argument});
    pthread_attr_t attributes;
    if (!start || pthread_attr_init(&attributes) != 0) return ENOMEM;
    int rc = pthread_attr_setstacksize(&attributes, stackSize);
    if (rc == 0) rc = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (rc == 0) rc = createQuiet(attributes, start.get());
    if (rc == 0) (void)start.release();
    pthread_attr_destroy(&attributes);
    return rc;
}
