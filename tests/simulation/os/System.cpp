#include "os/System.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace Simulation {

namespace {

System* theSystem = nullptr;

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

System::System(Scheduler& scheduler, Random random) : m_scheduler(scheduler), m_random(random) {
    theSystem = this;
}

System::~System() {
    theSystem = nullptr;
}

System* System::installed() {
    return theSystem;
}

Fibre* System::fibre() {
    return theSystem == nullptr ? nullptr : theSystem->m_scheduler.current();
}

int System::add(Process& process, std::unique_ptr<Descriptor> descriptor) {
    const int fd = m_next++;
    descriptor->process = &process;
    process.open.push_back(fd);
    m_descriptors.emplace(fd, std::move(descriptor));
    return fd;
}

System::Descriptor* System::find(int fd) {
    const auto found = m_descriptors.find(fd);
    return found == m_descriptors.end() ? nullptr : found->second.get();
}

/// Something about \p descriptor may be different: whoever polls it looks again.
void System::changed(Descriptor& descriptor) {
    for (Fibre* fibre : descriptor.pollers) m_scheduler.wake(*fibre);
}

int System::makeSocket() {
    return add(fibre()->process(), std::make_unique<Descriptor>());
}

int System::makeEvent() {
    auto descriptor = std::make_unique<Descriptor>();
    descriptor->isEvent = true;
    return add(fibre()->process(), std::move(descriptor));
}

int System::connect(int fd, const std::string& path) {
    m_scheduler.point();
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr || descriptor->isEvent) return fail(EBADF);
    if (descriptor->connection) return fail(EISCONN);
    Listener* const listener = m_network.find(path);
    if (listener == nullptr) return fail(ENOENT);
    int error = 0;
    descriptor->connection = listener->admit(*descriptor->process, error);
    if (!descriptor->connection) return fail(error);
    descriptor->connection->down.onReadable = [this, descriptor] { changed(*descriptor); };
    descriptor->connection->up.onWritable = [this, descriptor] { changed(*descriptor); };
    return 0;
}

ssize_t System::send(int fd, const void* data, std::size_t count) {
    m_scheduler.point();
    const Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return fail(EBADF);
    if (!descriptor->connection) return fail(ENOTCONN);
    Connection& connection = *descriptor->connection;
    if (connection.serverClosed || connection.up.isEnded()) return fail(EPIPE);
    const std::size_t taken = connection.up.send({static_cast<const char*>(data), count});
    if (taken == 0) return fail(EAGAIN);
    m_scheduler.trace().note(m_scheduler.now(), fibre()->name(), "sends", static_cast<std::int64_t>(taken));
    return static_cast<ssize_t>(taken);
}

ssize_t System::receive(int fd, void* buffer, std::size_t count) {
    m_scheduler.point();
    const Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return fail(EBADF);
    if (!descriptor->connection) return fail(ENOTCONN);
    Pipe& pipe = descriptor->connection->down;
    if (pipe.hasArrived()) {
        const std::size_t taken = pipe.receive(static_cast<char*>(buffer), count);
        m_scheduler.trace().note(m_scheduler.now(), fibre()->name(), "receives", static_cast<std::int64_t>(taken));
        return static_cast<ssize_t>(taken);
    }
    return pipe.atEnd() ? 0 : fail(EAGAIN);
}

int System::shutDown(int fd) {
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return fail(EBADF);
    if (!descriptor->connection) return fail(ENOTCONN);
    descriptor->connection->closeClient();
    changed(*descriptor);
    return 0;
}

void System::release(Descriptor& descriptor) {
    if (!descriptor.connection) return;
    descriptor.connection->down.onReadable = nullptr;
    descriptor.connection->up.onWritable = nullptr;
    if (!descriptor.connection->clientClosed) descriptor.connection->closeClient();
}

int System::close(int fd) {
    m_scheduler.point();
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr) return fail(EBADF);
    release(*descriptor);
    std::vector<int>& open = descriptor->process->open;
    open.erase(std::find(open.begin(), open.end(), fd));
    m_descriptors.erase(fd);
    return 0;
}

void System::closeAll(Process& process) {
    for (const int fd : process.open) {
        release(*m_descriptors.at(fd));
        m_descriptors.erase(fd);
    }
    process.open.clear();
}

int System::raise(int fd) {
    m_scheduler.point();
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr || !descriptor->isEvent) return fail(EBADF);
    descriptor->raised = true;
    changed(*descriptor);
    return 0;
}

int System::lower(int fd) {
    m_scheduler.point();
    Descriptor* const descriptor = find(fd);
    if (descriptor == nullptr || !descriptor->isEvent) return fail(EBADF);
    if (!descriptor->raised) return fail(EAGAIN);
    descriptor->raised = false;
    return 0;
}

/// \return everything that poll(2) could tell of it now.
short System::state(const Descriptor& descriptor) const {
    if (descriptor.isEvent) return static_cast<short>(POLLOUT | (descriptor.raised ? POLLIN : 0));
    if (!descriptor.connection) return POLLOUT | POLLHUP;
    const Connection& connection = *descriptor.connection;
    int result = 0;
    const bool gone = connection.down.endHasArrived();
    if (connection.down.hasArrived() || gone) result |= POLLIN;
    if (gone) result |= POLLRDHUP;
    if (gone && connection.up.isEnded()) result |= POLLHUP;
    if (connection.up.hasRoom() || connection.up.isEnded()) result |= POLLOUT;
    return static_cast<short>(result);
}

int System::examine(pollfd* fds, std::size_t count) {
    int ready = 0;
    for (std::size_t i = 0; i < count; ++i) {
        fds[i].revents = 0;
        if (fds[i].fd < 0) continue;
        const Descriptor* const descriptor = find(fds[i].fd);
        if (descriptor == nullptr) {
            fds[i].revents = POLLNVAL;
        } else {
            fds[i].revents = static_cast<short>(state(*descriptor) & (fds[i].events | POLLHUP | POLLERR));
        }
        if (fds[i].revents != 0) ++ready;
    }
    return ready;
}

int System::poll(pollfd* fds, std::size_t count, int timeout) {
    m_scheduler.point();
    Fibre* const self = m_scheduler.current();
    const Time deadline = timeout < 0 ? never : m_scheduler.now() + std::chrono::milliseconds(timeout);
    for (;;) {
        const int ready = examine(fds, count);
        if (ready != 0 || m_scheduler.now() >= deadline) return ready;
        for (std::size_t i = 0; i < count; ++i) {
            if (Descriptor* const descriptor = find(fds[i].fd)) descriptor->pollers.push_back(self);
        }
        m_scheduler.wait(fds, deadline, "poll");
        for (std::size_t i = 0; i < count; ++i) {
            // The descriptor may have been closed meanwhile.
            Descriptor* const descriptor = find(fds[i].fd);
            if (descriptor == nullptr) continue;
            auto& pollers = descriptor->pollers;
            pollers.erase(std::remove(pollers.begin(), pollers.end(), self), pollers.end());
        }
    }
}

}  // namespace Simulation
