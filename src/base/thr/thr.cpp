#include "base/thr/thr.h"

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
