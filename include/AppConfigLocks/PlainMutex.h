#pragma once

#include <pthread.h>

#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfig {

/// A plain, non-recursive mutex as the cache and the registry hold it: a pthread mutex made from an attribute object
/// without a type, which is destroyed right after the mutex has been made from it. Lock it with PlainLock only.
class APPCONFIG_CAPABILITY("mutex") PlainMutex {
public:
    PlainMutex() {
        pthread_mutexattr_init(&m_mutexAttr);
        pthread_mutex_init(&m_mutex, &m_mutexAttr);
        pthread_mutexattr_destroy(&m_mutexAttr);
    }
    ~PlainMutex() { pthread_mutex_destroy(&m_mutex); }

    PlainMutex(const PlainMutex&) = delete;
    PlainMutex& operator=(const PlainMutex&) = delete;

    void lock() APPCONFIG_ACQUIRE() { pthread_mutex_lock(&m_mutex); }
    void unlock() APPCONFIG_RELEASE() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex;
    pthread_mutexattr_t m_mutexAttr;
};

/// Holds a PlainMutex for its own lifetime, also when an exception passes.
class APPCONFIG_SCOPED_CAPABILITY PlainLock {
public:
    explicit PlainLock(PlainMutex& mutex) APPCONFIG_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~PlainLock() APPCONFIG_RELEASE() { m_mutex.unlock(); }

    PlainLock(const PlainLock&) = delete;
    PlainLock& operator=(const PlainLock&) = delete;

private:
    PlainMutex& m_mutex;
};

}  // namespace AppConfig
