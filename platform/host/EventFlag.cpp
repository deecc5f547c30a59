#include "EventFlag.h"

#include <sys/eventfd.h>

#include <system_error>

namespace AppConfigHost {

EventFlag::EventFlag() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_fd.isOpen()) throw std::system_error(errno, std::generic_category(), "eventfd");
}

void EventFlag::set() {
    m_set.store(true, std::memory_order_release);
    // Fails only when the counter is full, and then the descriptor is readable already.
    (void)eventfd_write(m_fd.get(), 1);
}

void EventFlag::clear() {
    eventfd_t count = 0;
    (void)eventfd_read(m_fd.get(), &count);
    m_set.store(false, std::memory_order_release);
}

}  // namespace AppConfigHost
