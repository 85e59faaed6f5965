// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// ThreadSanitizer does not see the locks inside Qt, which is not instrumented. Linked into a test,
// these functions stand before Qt's exported locks, call them, and tell the sanitizer about the
// order that they give. Names are the mangled ones of Qt 5 on 64-bit systems.
#include <dlfcn.h>

extern "C" {
void __tsan_acquire(void *address);
void __tsan_release(void *address);
}

namespace {

/// The function of that name behind this one.
template<typename Function>
Function next(Function &cache, const char *name)
{
    Function found = __atomic_load_n(&cache, __ATOMIC_ACQUIRE);
    if (!found) {
        found = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
        __atomic_store_n(&cache, found, __ATOMIC_RELEASE);
    }
    return found;
}

using Plain = void (*)(void *);
using WithInt = void (*)(void *, int);
using TryInt = bool (*)(void *, int);
using WaitMs = bool (*)(void *, void *, unsigned long);
using WaitDeadline = bool (*)(void *, void *, unsigned long long, unsigned long long);

} // namespace

#define VANTRA_ACQUIRING(name)                                                                     \
    __attribute__((visibility("default"))) void name(void *lock)                                   \
    {                                                                                              \
        static Plain cache;                                                                        \
        next(cache, #name)(lock);                                                                  \
        __tsan_acquire(lock);                                                                      \
    }
#define VANTRA_RELEASING(name)                                                                     \
    __attribute__((visibility("default"))) void name(void *lock)                                   \
    {                                                                                              \
        static Plain cache;                                                                        \
        __tsan_release(lock);                                                                      \
        next(cache, #name)(lock);                                                                  \
    }

extern "C" {

VANTRA_ACQUIRING(_ZN6QMutex4lockEv)                   // QMutex::lock()
VANTRA_RELEASING(_ZN6QMutex6unlockEv)                 // QMutex::unlock()
VANTRA_ACQUIRING(_ZN11QBasicMutex12lockInternalEv)    // QBasicMutex::lockInternal()
VANTRA_ACQUIRING(_ZN14QReadWriteLock12lockForWriteEv) // QReadWriteLock::lockForWrite()
VANTRA_ACQUIRING(_ZN14QReadWriteLock11lockForReadEv)  // QReadWriteLock::lockForRead()
VANTRA_RELEASING(_ZN14QReadWriteLock6unlockEv)        // QReadWriteLock::unlock()

// QMutex::tryLock(int)
__attribute__((visibility("default"))) bool _ZN6QMutex7tryLockEi(void *lock, int timeout)
{
    static TryInt cache;
    const bool locked = next(cache, "_ZN6QMutex7tryLockEi")(lock, timeout);
    if (locked)
        __tsan_acquire(lock);
    return locked;
}

// QWaitCondition::wait(QMutex *, unsigned long)
__attribute__((visibility("default"))) bool
_ZN14QWaitCondition4waitEP6QMutexm(void *condition, void *mutex, unsigned long milliseconds)
{
    static WaitMs cache;
    __tsan_release(mutex);
    const bool woken = next(cache, "_ZN14QWaitCondition4waitEP6QMutexm")(condition, mutex,
                                                                          milliseconds);
    __tsan_acquire(mutex);
    return woken;
}

// QWaitCondition::wait(QMutex *, QDeadlineTimer)
__attribute__((visibility("default"))) bool
_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer(void *condition, void *mutex,
                                                  unsigned long long deadline1,
                                                  unsigned long long deadline2)
{
    static WaitDeadline cache;
    __tsan_release(mutex);
    const bool woken = next(cache, "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer")(
            condition, mutex, deadline1, deadline2);
    __tsan_acquire(mutex);
    return woken;
}

// QSemaphore::acquire(int)
__attribute__((visibility("default"))) void _ZN10QSemaphore7acquireEi(void *semaphore, int count)
{
    static WithInt cache;
    next(cache, "_ZN10QSemaphore7acquireEi")(semaphore, count);
    __tsan_acquire(semaphore);
}

// QSemaphore::release(int)
__attribute__((visibility("default"))) void _ZN10QSemaphore7releaseEi(void *semaphore, int count)
{
    static WithInt cache;
    __tsan_release(semaphore);
    next(cache, "_ZN10QSemaphore7releaseEi")(semaphore, count);
}

} // extern "C"
