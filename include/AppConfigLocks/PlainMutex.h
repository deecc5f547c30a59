#pragma once

#include <pthread.h>

#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfig {

/// The plain, non-recursive mutex of the cache and the registry: a pthread mutex made with an attribute object that
/// sets no type and is destroyed as soon as the mutex is made. Lock it with PlainLock only.
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

/// Holds a PlainMutex as long as it exists.
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
