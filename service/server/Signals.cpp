#include "server/Signals.h"

#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <utility>

namespace AppConfigService {

bool Signals::open() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, number);
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0) return false;
    const int descriptor = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor < 0) return false;
    m_descriptor.assign(descriptor);
    return true;
}

void Signals::wait(std::function<void(int number)> handler) {
    m_descriptor.async_wait(asio::posix::stream_descriptor::wait_read,
                            [this, handler = std::move(handler)](const asio::error_code& error) mutable {
                                if (error) return;
                                signalfd_siginfo signal{};
                                if (::read(m_descriptor.native_handle(), &signal, sizeof signal) != sizeof signal) {
                                    return wait(std::move(handler));
                                }
                                handler(static_cast<int>(signal.ssi_signo));
                            });
}

}  // namespace AppConfigService
