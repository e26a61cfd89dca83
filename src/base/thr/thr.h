/** @file The thread layer: critical sections and thread keys over POSIX threads. */
#pragma once

#include <pthread.h>

#include <cstddef>

#if defined(__clang__)
#define THR_ATTRIBUTE(x) __attribute__((x))
#else
#define THR_ATTRIBUTE(x)
#endif
/** The member is read and written with the named section held. */
#define THR_GUARDED_BY(section) THR_ATTRIBUTE(guarded_by(section))
/** The function is called with the named section held. */
#define THR_REQUIRES(section) THR_ATTRIBUTE(requires_capability(section))

/** A recursive critical section. Constant-initialised, so that a static one can be locked at any time. */
struct THR_ATTRIBUTE(capability("section")) THR_CS_TYPE {
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

/** Enters a section; a thread may enter one that it holds already. */
void ThrCSLock(THR_CS_TYPE* section) noexcept THR_ATTRIBUTE(acquire_capability(section));

/** Leaves a section that the calling thread has entered. */
void ThrCSUnlock(THR_CS_TYPE* section) noexcept THR_ATTRIBUTE(release_capability(section));

/** Holds a section for the time of a block. */
class THR_ATTRIBUTE(scoped_lockable) ThrCSGuard {
  public:
    explicit ThrCSGuard(THR_CS_TYPE& section) noexcept THR_ATTRIBUTE(acquire_capability(section))
        : section(section) {
        ThrCSLock(&section);
    }
    ~ThrCSGuard() THR_ATTRIBUTE(release_capability()) { ThrCSUnlock(&section); }
    ThrCSGuard(const ThrCSGuard&) = delete;
    ThrCSGuard& operator=(const ThrCSGuard&) = delete;

  private:
    THR_CS_TYPE& section;
};

/** Key of a value that every thread has one of. */
using THR_KEY_TYPE = pthread_key_t;

/** Makes a key; `destructor` gets a thread's value at its end unless it is NULL. 0, or an errno value. */
int ThrKeyGet(THR_KEY_TYPE* key, void (*destructor)(void*)) noexcept;

/** The calling thread's value; NULL until it is set. */
void* ThrKeyVarGet(THR_KEY_TYPE key) noexcept;

/** Sets the calling thread's value. 0, or an errno value. */
int ThrKeyVarSet(THR_KEY_TYPE key, const void* value) noexcept;

/**
 * Starts a detached thread with a stack of `stackSize` bytes. It takes no signals, which are the program's
 * business. 0, or an errno value.
 */
int ThrCreate2(std::size_t stackSize, void (*run)(void* argument), void* argument) noexcept;
