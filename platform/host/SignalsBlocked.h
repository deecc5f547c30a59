#pragma once

#include <pthread.h>
#include <signal.h>

namespace AppConfigHost {

/// As long as it stands, threads that the calling thread starts take no signals: an application's handlers of signals
/// expect its own threads.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before;
};

}  // namespace AppConfigHost
