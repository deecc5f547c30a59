#pragma once

#include <pthread.h>

#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfig {

/// A mutex for objects with static storage: initialised before any code runs and never destroyed, so that the first and
/// the last caller of a process may use it. Lock it with StaticLock only.
class APPCONFIG_CAPABILITY("mutex") StaticMutex {
public:
    void lock() APPCONFIG_ACQUIRE() { pthread_mutex_lock(&m_mutex); }
    void unlock() APPCONFIG_RELEASE() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

class APPCONFIG_SCOPED_CAPABILITY StaticLock {
public:
    explicit StaticLock(StaticMutex& mutex) APPCONFIG_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~StaticLock() APPCONFIG_RELEASE() { m_mutex.unlock(); }

    StaticLock(const StaticLock&) = delete;
    StaticLock& operator=(const StaticLock&) = delete;

private:
    StaticMutex& m_mutex;
};

}  // namespace AppConfig
