// The C library's functions for threads, as simulated processes see them. Outside a fibre each is the C library's own.
#include <pthread.h>
#include <signal.h>

#include <cerrno>

#include "os/Interposed.h"
#include "os/System.h"

using Simulation::Fibre;
using Simulation::Scheduler;
using Simulation::System;
using Simulation::Time;

namespace {

Scheduler& scheduler() {
    return System::installed()->scheduler();
}

using MutexFunction = int(pthread_mutex_t*);

/// The mutex itself is the C library's: taken without waiting here, it is the same for code that runs outside a fibre.
int tryLock(pthread_mutex_t* mutex) {
    static MutexFunction* next = nullptr;
    if (next == nullptr) next = Simulation::nextFunction<MutexFunction>("pthread_mutex_trylock");
    return next(mutex);
}

int unlock(pthread_mutex_t* mutex) {
    static MutexFunction* next = nullptr;
    if (next == nullptr) next = Simulation::nextFunction<MutexFunction>("pthread_mutex_unlock");
    return next(mutex);
}

int lockInFibre(pthread_mutex_t* mutex) {
    for (;;) {
        const int result = tryLock(mutex);
        if (result != EBUSY) return result;
        scheduler().wait(mutex, Simulation::never, "mutex");
    }
}

/// Waits for \p condition without its mutex. \return 0 or ETIMEDOUT.
int waitInFibre(pthread_cond_t* condition, pthread_mutex_t* mutex, Time deadline) {
    unlock(mutex);
    scheduler().wake(mutex, true);
    const bool woken = scheduler().wait(condition, deadline, "condition");
    lockInFibre(mutex);
    return woken ? 0 : ETIMEDOUT;
}

/// All clocks of a simulation show the same: see clock_gettime().
Time deadlineOf(const timespec* moment) {
    constexpr Time clockBegin = std::chrono::hours(1);
    return std::chrono::seconds(moment->tv_sec) + Time(moment->tv_nsec) - clockBegin;
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*begin)(void*), void* argument) {
    if (Fibre* const self = System::fibre()) {
        *thread = scheduler().start(self->process(), [begin, argument] { begin(argument); }).handle();
        scheduler().point();
        return 0;
    }
    SIMULATION_NEXT(pthread_create);
    return next(thread, attributes, begin, argument);
}

int pthread_join(pthread_t thread, void** result) {
    if (System::fibre() != nullptr) {
        Fibre* const fibre = scheduler().find(thread);
        if (fibre == nullptr) return ESRCH;
        while (!fibre->isFinished()) scheduler().wait(fibre, Simulation::never, "join");
        return 0;
    }
    SIMULATION_NEXT(pthread_join);
    return next(thread, result);
}

int pthread_detach(pthread_t thread) noexcept {
    if (System::fibre() != nullptr) return 0;
    SIMULATION_NEXT(pthread_detach);
    return next(thread);
}

pthread_t pthread_self() noexcept {
    if (const Fibre* const self = System::fibre()) return self->handle();
    SIMULATION_NEXT(pthread_self);
    return next();
}

int pthread_sigmask(int how, const sigset_t* set, sigset_t* before) noexcept {
    if (System::fibre() != nullptr) return 0;
    SIMULATION_NEXT(pthread_sigmask);
    return next(how, set, before);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (System::fibre() != nullptr) {
        scheduler().point();
        return lockInFibre(mutex);
    }
    SIMULATION_NEXT(pthread_mutex_lock);
    return next(mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
    if (System::fibre() != nullptr) scheduler().point();
    return tryLock(mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    const int result = unlock(mutex);
    if (System::fibre() != nullptr) {
        scheduler().wake(mutex, true);
        scheduler().point();
    }
    return result;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    if (System::fibre() != nullptr) return waitInFibre(condition, mutex, Simulation::never);
    SIMULATION_NEXT(pthread_cond_wait);
    return next(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* moment) {
    if (System::fibre() != nullptr) return waitInFibre(condition, mutex, deadlineOf(moment));
    SIMULATION_NEXT(pthread_cond_timedwait);
    return next(condition, mutex, moment);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* moment) {
    if (System::fibre() != nullptr) return waitInFibre(condition, mutex, deadlineOf(moment));
    SIMULATION_NEXT(pthread_cond_clockwait);
    return next(condition, mutex, clock, moment);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
    if (System::fibre() != nullptr) {
        scheduler().wake(condition, true);
        scheduler().point();
        return 0;
    }
    SIMULATION_NEXT(pthread_cond_signal);
    return next(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    if (System::fibre() != nullptr) {
        scheduler().wake(condition);
        scheduler().point();
        return 0;
    }
    SIMULATION_NEXT(pthread_cond_broadcast);
    return next(condition);
}

}  // extern "C"
