// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// ThreadSanitizer does not see what orders threads inside Qt, which is not instrumented. Linked
// into a test, these functions stand before Qt's exported ones, call them, and tell the sanitizer
// about the order that they give: locks, events and queued signals, blocking calls, ends of
// threads.
//
// An order is told by keys: who releases a key comes before who acquires it later. Each key is as
// narrow as what is known allows (one lock, one receiver, one sender), since a key that is shared
// by too many hides races. Names are the mangled ones of Qt 5.15 on 64-bit systems. This file
// itself is compiled without the sanitizer, so that its own bookkeeping orders nobody.
#include <QEvent>
#include <QMetaMethod>
#include <QThread>

#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <unordered_map>

static_assert(QT_VERSION_MAJOR == 5 && QT_VERSION_MINOR == 15,
              "compare the layout of MetaCall and the names below");

// Aligned as member functions are: the lowest bit of a pointer to one has a meaning of its own.
#define VANTRA_STAND_IN __attribute__((visibility("default"), aligned(16)))

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

/// Another key of the same object.
void *keyAt(const void *object, int offset)
{
    return const_cast<char *>(static_cast<const char *>(object)) + offset;
}
void *senderKey(const void *object)
{
    return keyAt(object, 0);
}
void *receiverKey(const void *object)
{
    return keyAt(object, 1);
}
void *replyKey(const void *object)
{
    return keyAt(object, 2);
} ///< end of a blocking call
void *readersKey(const void *lock)
{
    return keyAt(lock, 1);
}
/// Looks at what Qt keeps of an object.
struct Posted : QObject
{
    static bool isAnythingTo(QObject *receiver)
    {
        return static_cast<Posted *>(receiver)->d_ptr->postedEvents > 0;
    }
};

char droppedKey; ///< a blocking call may end because its event was thrown away, wherever that was
/// What is thrown away has been emitted before, by whichever thread; who throws it away destroys
/// the arguments.
char emittedKey;

} // namespace

// --- Ends of threads ----------------------------------------------------------------------------

namespace {

/// One run of a thread. Never freed: a QThread may be asked about it at any time.
struct Run
{
    pthread_t self;
    void *(*routine)(void *);
    void *argument;
    int isOver;
    Run *previous; ///< of the same thread object
};

/// Runs by the argument of their start routine, which is the QThread where Qt made them. Under a
/// lock that the sanitizer does not see.
class Runs
{
public:
    void add(Run *run)
    {
        lock();
        Run *&last = m_runs[run->argument];
        run->previous = last;
        last = run;
        unlock();
    }
    Run *of(const void *argument)
    {
        lock();
        const auto found = m_runs.find(argument);
        Run *run = found == m_runs.end() ? nullptr : found->second;
        unlock();
        return run;
    }

private:
    void lock()
    {
        while (__atomic_exchange_n(&m_locked, 1, __ATOMIC_ACQUIRE))
            sched_yield();
    }
    void unlock() { __atomic_store_n(&m_locked, 0, __ATOMIC_RELEASE); }

    int m_locked = 0;
    std::unordered_map<const void *, Run *> m_runs;
};

Runs &runs()
{
    static Runs *const instance = new Runs;
    return *instance;
}

void *runToTheEnd(void *argument)
{
    auto *run = static_cast<Run *>(argument);
    run->self = pthread_self();
    void *result = run->routine(run->argument);
    __tsan_release(run);
    __atomic_store_n(&run->isOver, 1, __ATOMIC_RELEASE);
    return result;
}

// QThread::isFinished() const
bool isFinished(const void *thread)
{
    static bool (*cache)(const void *);
    return next(cache, "_ZNK7QThread10isFinishedEv")(thread);
}

/// Qt has told that the thread has ended, or is just about to: nothing of ours runs on it any more.
/// Its very end is waited for, as only that is known to come after all that it did.
void acquireEndOf(const void *thread)
{
    Run *run = runs().of(thread);
    // An object whose run is not over is still there. It may have been started again meanwhile.
    if (run && !__atomic_load_n(&run->isOver, __ATOMIC_ACQUIRE) && !isFinished(thread))
        run = run->previous;
    if (!run || pthread_equal(run->self, pthread_self()))
        return;
    constexpr int kMaxSteps = 20000; // 2 s: a slot of finished() may wait for this very thread
    constexpr timespec kStep = {0, 100000};
    for (int i = 0; i < kMaxSteps && !__atomic_load_n(&run->isOver, __ATOMIC_ACQUIRE); ++i)
        nanosleep(&kStep, nullptr);
    if (__atomic_load_n(&run->isOver, __ATOMIC_ACQUIRE))
        __tsan_acquire(run);
}

} // namespace

extern "C" {

VANTRA_STAND_IN int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                                   void *(*routine)(void *), void *argument) noexcept
{
    static int (*cache)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    auto *run = new Run{pthread_t(), routine, argument, 0, nullptr};
    if (argument)
        runs().add(run);
    return next(cache, "pthread_create")(thread, attributes, runToTheEnd, run);
}

// QThread::wait(QDeadlineTimer)
VANTRA_STAND_IN bool _ZN7QThread4waitE14QDeadlineTimer(void *thread, unsigned long long deadline1,
                                                       unsigned long long deadline2)
{
    static bool (*cache)(void *, unsigned long long, unsigned long long);
    const bool ended =
        next(cache, "_ZN7QThread4waitE14QDeadlineTimer")(thread, deadline1, deadline2);
    if (ended)
        acquireEndOf(thread);
    return ended;
}

// QThread::wait(unsigned long)
VANTRA_STAND_IN bool _ZN7QThread4waitEm(void *thread, unsigned long time)
{
    static bool (*cache)(void *, unsigned long);
    const bool ended = next(cache, "_ZN7QThread4waitEm")(thread, time);
    if (ended)
        acquireEndOf(thread);
    return ended;
}

// QThread::isFinished() const
VANTRA_STAND_IN bool _ZNK7QThread10isFinishedEv(const void *thread)
{
    const bool ended = isFinished(thread);
    if (ended)
        acquireEndOf(thread);
    return ended;
}

// QThread::isRunning() const
VANTRA_STAND_IN bool _ZNK7QThread9isRunningEv(const void *thread)
{
    static bool (*cache)(const void *);
    const bool runs = next(cache, "_ZNK7QThread9isRunningEv")(thread);
    if (!runs)
        acquireEndOf(thread);
    return runs;
}

} // extern "C"

// --- Locks --------------------------------------------------------------------------------------

#define VANTRA_ACQUIRING(name)                                                                     \
    VANTRA_STAND_IN void name(void *lock)                                                          \
    {                                                                                              \
        static void (*cache)(void *);                                                              \
        next(cache, #name)(lock);                                                                  \
        __tsan_acquire(lock);                                                                      \
    }
#define VANTRA_RELEASING(name)                                                                     \
    VANTRA_STAND_IN void name(void *lock)                                                          \
    {                                                                                              \
        static void (*cache)(void *);                                                              \
        __tsan_release(lock);                                                                      \
        next(cache, #name)(lock);                                                                  \
    }

namespace {

/// Read-write locks that this thread holds for writing: their unlock() does not tell.
thread_local void *t_writeHeld[8];

void lockedForWrite(void *lock)
{
    __tsan_acquire(lock);
    __tsan_acquire(readersKey(lock));
    for (void *&held : t_writeHeld) {
        if (!held) {
            held = lock;
            return;
        }
    }
}

/// Readers come after the last writer, and are not ordered among themselves.
void lockedForRead(void *lock)
{
    __tsan_acquire(lock);
}

void unlocking(void *lock)
{
    for (void *&held : t_writeHeld) {
        if (held == lock) {
            held = nullptr;
            __tsan_release(lock);
            return;
        }
    }
    __tsan_release(readersKey(lock));
}

} // namespace

extern "C" {

VANTRA_ACQUIRING(_ZN6QMutex4lockEv)                  // QMutex::lock()
VANTRA_RELEASING(_ZN6QMutex6unlockEv)                // QMutex::unlock()
VANTRA_ACQUIRING(_ZN11QBasicMutex12lockInternalEv)   // QBasicMutex::lockInternal()
VANTRA_RELEASING(_ZN11QBasicMutex14unlockInternalEv) // QBasicMutex::unlockInternal()

// QMutex::tryLock(int)
VANTRA_STAND_IN bool _ZN6QMutex7tryLockEi(void *lock, int timeout)
{
    static bool (*cache)(void *, int);
    const bool locked = next(cache, "_ZN6QMutex7tryLockEi")(lock, timeout);
    if (locked)
        __tsan_acquire(lock);
    return locked;
}

// QReadWriteLock::lockForWrite()
VANTRA_STAND_IN void _ZN14QReadWriteLock12lockForWriteEv(void *lock)
{
    static void (*cache)(void *);
    next(cache, "_ZN14QReadWriteLock12lockForWriteEv")(lock);
    lockedForWrite(lock);
}

// QReadWriteLock::lockForRead()
VANTRA_STAND_IN void _ZN14QReadWriteLock11lockForReadEv(void *lock)
{
    static void (*cache)(void *);
    next(cache, "_ZN14QReadWriteLock11lockForReadEv")(lock);
    lockedForRead(lock);
}

// QReadWriteLock::unlock()
VANTRA_STAND_IN void _ZN14QReadWriteLock6unlockEv(void *lock)
{
    static void (*cache)(void *);
    unlocking(lock);
    next(cache, "_ZN14QReadWriteLock6unlockEv")(lock);
}

// QWaitCondition::wait(QMutex *, unsigned long)
VANTRA_STAND_IN bool _ZN14QWaitCondition4waitEP6QMutexm(void *condition, void *mutex,
                                                        unsigned long milliseconds)
{
    static bool (*cache)(void *, void *, unsigned long);
    __tsan_release(mutex);
    const bool woken =
        next(cache, "_ZN14QWaitCondition4waitEP6QMutexm")(condition, mutex, milliseconds);
    __tsan_acquire(mutex);
    return woken;
}

// QWaitCondition::wait(QMutex *, QDeadlineTimer)
VANTRA_STAND_IN bool _ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer(void *condition, void *mutex,
                                                                       unsigned long long deadline1,
                                                                       unsigned long long deadline2)
{
    static bool (*cache)(void *, void *, unsigned long long, unsigned long long);
    __tsan_release(mutex);
    const bool woken = next(cache, "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer")(
        condition, mutex, deadline1, deadline2);
    __tsan_acquire(mutex);
    return woken;
}

// QSemaphore::acquire(int)
VANTRA_STAND_IN void _ZN10QSemaphore7acquireEi(void *semaphore, int count)
{
    static void (*cache)(void *, int);
    next(cache, "_ZN10QSemaphore7acquireEi")(semaphore, count);
    __tsan_acquire(semaphore);
}

// QSemaphore::tryAcquire(int)
VANTRA_STAND_IN bool _ZN10QSemaphore10tryAcquireEi(void *semaphore, int count)
{
    static bool (*cache)(void *, int);
    const bool acquired = next(cache, "_ZN10QSemaphore10tryAcquireEi")(semaphore, count);
    if (acquired)
        __tsan_acquire(semaphore);
    return acquired;
}

// QSemaphore::tryAcquire(int, int)
VANTRA_STAND_IN bool _ZN10QSemaphore10tryAcquireEii(void *semaphore, int count, int timeout)
{
    static bool (*cache)(void *, int, int);
    const bool acquired = next(cache, "_ZN10QSemaphore10tryAcquireEii")(semaphore, count, timeout);
    if (acquired)
        __tsan_acquire(semaphore);
    return acquired;
}

// QSemaphore::release(int)
VANTRA_STAND_IN void _ZN10QSemaphore7releaseEi(void *semaphore, int count)
{
    static void (*cache)(void *, int);
    __tsan_release(semaphore);
    next(cache, "_ZN10QSemaphore7releaseEi")(semaphore, count);
}

} // extern "C"

// --- Events and queued calls --------------------------------------------------------------------

namespace {

/// What Qt's own event of a queued call begins with.
struct MetaCall : QEvent
{
    int signal;            ///< number among the signals of the sender
    const QObject *sender; ///< null for an invoked method
    const void *semaphore; ///< null unless the caller waits
};

/// Number of QThread::finished among the signals of a thread.
int finishedSignal()
{
    static const int number = [] {
        const QMetaMethod finished = QMetaMethod::fromSignal(&QThread::finished);
        int count = 0;
        for (int i = 0; i < finished.methodIndex(); ++i)
            count += QThread::staticMetaObject.method(i).methodType() == QMetaMethod::Signal;
        return count;
    }();
    return number;
}

using Deliver = bool (*)(QObject *, QEvent *);

bool deliver(Deliver function, QObject *receiver, QEvent *event)
{
    __tsan_acquire(receiverKey(receiver));
    const QObject *sender = nullptr;
    bool callerWaits = false;
    if (event->type() == QEvent::MetaCall) {
        const auto *call = static_cast<const MetaCall *>(event);
        sender = call->sender;
        callerWaits = call->semaphore;
        if (sender) {
            __tsan_acquire(senderKey(sender));
            if (call->signal == finishedSignal() && runs().of(sender))
                acquireEndOf(sender);
        }
    }
    const bool isHandled = function(receiver, event);
    if (callerWaits)
        __tsan_release(sender ? replyKey(sender) : replyKey(receiver));
    return isHandled;
}

/// As wide as QGenericArgument and QGenericReturnArgument.
struct Argument
{
    const void *data;
    const char *name;
};

} // namespace

extern "C" {

// QObject::event(QEvent *): also what QWidget::event() ends in
VANTRA_STAND_IN bool _ZN7QObject5eventEP6QEvent(QObject *receiver, QEvent *event)
{
    static Deliver cache;
    return deliver(next(cache, "_ZN7QObject5eventEP6QEvent"), receiver, event);
}

// QThread::event(QEvent *)
VANTRA_STAND_IN bool _ZN7QThread5eventEP6QEvent(QObject *receiver, QEvent *event)
{
    static Deliver cache;
    return deliver(next(cache, "_ZN7QThread5eventEP6QEvent"), receiver, event);
}

// QMetaObject::activate(QObject *, const QMetaObject *, int, void **): every emit
VANTRA_STAND_IN void _ZN11QMetaObject8activateEP7QObjectPKS_iPPv(QObject *sender,
                                                                 const void *metaObject, int signal,
                                                                 void **arguments)
{
    static void (*cache)(QObject *, const void *, int, void **);
    __tsan_release(senderKey(sender));
    const bool isFar = sender->thread() != QThread::currentThread();
    if (isFar)
        __tsan_release(&emittedKey);
    next(cache, "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv")(sender, metaObject, signal,
                                                               arguments);
    if (isFar)
        __tsan_release(&emittedKey); // with the copies of the arguments
    __tsan_acquire(replyKey(sender));
    __tsan_acquire(&droppedKey);
}

// QMetaObject::invokeMethod(QObject *, const char *, Qt::ConnectionType, return, 10 arguments)
VANTRA_STAND_IN bool
_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturnArgument16QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_(
    QObject *receiver, const char *name, int type, Argument result, Argument a, Argument b,
    Argument c, Argument d, Argument e, Argument f, Argument g, Argument h, Argument i, Argument j)
{
    static bool (*cache)(QObject *, const char *, int, Argument, Argument, Argument, Argument,
                         Argument, Argument, Argument, Argument, Argument, Argument, Argument);
    if (receiver)
        __tsan_release(receiverKey(receiver));
    const bool isCalled =
        next(cache,
             "_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturn"
             "Argument16QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_")(receiver, name, type, result,
                                                                      a, b, c, d, e, f, g, h, i, j);
    if (type == Qt::BlockingQueuedConnection)
        __tsan_acquire(replyKey(receiver));
    return isCalled;
}

// QMetaObject::invokeMethodImpl(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void
// *)
VANTRA_STAND_IN bool
_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv(
    QObject *receiver, void *slot, int type, void *result)
{
    static bool (*cache)(QObject *, void *, int, void *);
    if (receiver)
        __tsan_release(receiverKey(receiver));
    const bool isCalled = next(
        cache, "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14"
               "ConnectionTypeEPv")(receiver, slot, type, result);
    if (type == Qt::BlockingQueuedConnection)
        __tsan_acquire(replyKey(receiver));
    return isCalled;
}

// QCoreApplication::postEvent(QObject *, QEvent *, int)
VANTRA_STAND_IN void _ZN16QCoreApplication9postEventEP7QObjectP6QEventi(QObject *receiver,
                                                                        QEvent *event, int priority)
{
    static void (*cache)(QObject *, QEvent *, int);
    if (receiver)
        __tsan_release(receiverKey(receiver));
    next(cache, "_ZN16QCoreApplication9postEventEP7QObjectP6QEventi")(receiver, event, priority);
}

// QCoreApplication::removePostedEvents(QObject *, int)
VANTRA_STAND_IN void _ZN16QCoreApplication18removePostedEventsEP7QObjecti(QObject *receiver,
                                                                          int type)
{
    static void (*cache)(QObject *, int);
    __tsan_release(&droppedKey);
    __tsan_acquire(&emittedKey);
    next(cache, "_ZN16QCoreApplication18removePostedEventsEP7QObjecti")(receiver, type);
}

// QObject::~QObject(), QWidget::~QWidget(): what was emitted to it and never arrived goes with it
#define VANTRA_DESTROYING(name)                                                                    \
    VANTRA_STAND_IN void name(QObject *receiver)                                                   \
    {                                                                                              \
        static void (*cache)(QObject *);                                                           \
        if (Posted::isAnythingTo(receiver)) {                                                      \
            __tsan_release(&droppedKey);                                                           \
            __tsan_acquire(&emittedKey);                                                           \
        }                                                                                          \
        next(cache, #name)(receiver);                                                              \
    }
VANTRA_DESTROYING(_ZN7QObjectD2Ev)
VANTRA_DESTROYING(_ZN7QWidgetD2Ev)

// QObject::deleteLater()
VANTRA_STAND_IN void _ZN7QObject11deleteLaterEv(QObject *receiver)
{
    static void (*cache)(QObject *);
    __tsan_release(receiverKey(receiver));
    next(cache, "_ZN7QObject11deleteLaterEv")(receiver);
}

} // extern "C"
