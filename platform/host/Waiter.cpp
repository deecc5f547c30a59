#include "Waiter.h"

#include <poll.h>

#include "EventFlag.h"

namespace AppConfigHost {

Waiter::Event PlainWaiter::wait(int fd, short events, Deadline deadline) {
    pollfd fds[2] = {{fd, events, 0}, {m_ended == nullptr ? -1 : m_ended->fd(), POLLIN, 0}};
    for (;;) {
        const int count = poll(fds, 2, deadline.pollTimeout());
        if (count > 0) return fds[1].revents != 0 ? Event::ended : Event::ready;
        if (deadline.passed()) return Event::timedOut;
    }
}

}  // namespace AppConfigHost
