// The C library's functions for clocks, descriptors and sockets, as simulated processes see them. Outside a fibre each
// is the C library's own.
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <random>

#include "os/Interposed.h"
#include "os/System.h"

using Simulation::Fibre;
using Simulation::System;
using Simulation::Time;

namespace {

constexpr long nanosecondsPerSecond = 1'000'000'000;

/// Virtual clocks stand at an hour when a simulation begins: code may subtract from the present moment.
constexpr Time clockBegin = std::chrono::hours(1);

bool simulated(int fd) {
    return System::fibre() != nullptr && System::owns(fd);
}

int sleepUntil(Time deadline) {
    Simulation::Scheduler& scheduler = System::installed()->scheduler();
    while (scheduler.now() < deadline) scheduler.wait(&deadline, deadline, "sleep");
    return 0;
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* result) noexcept {
    if (System::fibre() == nullptr) {
        SIMULATION_NEXT(clock_gettime);
        return next(clock, result);
    }
    const auto now = (clockBegin + System::installed()->scheduler().now()).count();
    result->tv_sec = now / nanosecondsPerSecond;
    result->tv_nsec = now % nanosecondsPerSecond;
    return 0;
}

int nanosleep(const timespec* span, timespec* left) {
    if (System::fibre() == nullptr) {
        SIMULATION_NEXT(nanosleep);
        return next(span, left);
    }
    const Time time = std::chrono::seconds(span->tv_sec) + Time(span->tv_nsec);
    return sleepUntil(System::installed()->scheduler().now() + time);
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* span, timespec* left) {
    if (System::fibre() == nullptr) {
        SIMULATION_NEXT(clock_nanosleep);
        return next(clock, flags, span, left);
    }
    const Time time = std::chrono::seconds(span->tv_sec) + Time(span->tv_nsec);
    const bool absolute = (flags & TIMER_ABSTIME) != 0;
    return sleepUntil(absolute ? time - clockBegin : System::installed()->scheduler().now() + time);
}

pid_t getpid() noexcept {
    if (const Fibre* fibre = System::fibre()) return fibre->process().pid;
    SIMULATION_NEXT(getpid);
    return next();
}

int socket(int domain, int type, int protocol) noexcept {
    if (System::fibre() != nullptr && domain == AF_UNIX) return System::installed()->makeSocket();
    SIMULATION_NEXT(socket);
    return next(domain, type, protocol);
}

int connect(int fd, const sockaddr* address, socklen_t size) {
    if (simulated(fd)) {
        return System::installed()->connect(fd, reinterpret_cast<const sockaddr_un*>(address)->sun_path);
    }
    SIMULATION_NEXT(connect);
    return next(fd, address, size);
}

ssize_t send(int fd, const void* data, size_t count, int flags) {
    if (simulated(fd)) return System::installed()->send(fd, data, count);
    SIMULATION_NEXT(send);
    return next(fd, data, count, flags);
}

ssize_t recv(int fd, void* buffer, size_t count, int flags) {
    if (simulated(fd)) return System::installed()->receive(fd, buffer, count);
    SIMULATION_NEXT(recv);
    return next(fd, buffer, count, flags);
}

int shutdown(int fd, int how) noexcept {
    if (simulated(fd)) return System::installed()->shutDown(fd);
    SIMULATION_NEXT(shutdown);
    return next(fd, how);
}

int close(int fd) {
    if (simulated(fd)) return System::installed()->close(fd);
    SIMULATION_NEXT(close);
    return next(fd);
}

int fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    // Simulated descriptors are all non-blocking and know no exec.
    if (simulated(fd)) return 0;
    SIMULATION_NEXT(fcntl);
    return next(fd, command, argument);
}

int poll(pollfd* fds, nfds_t count, int timeout) {
    if (System::fibre() != nullptr) return System::installed()->poll(fds, count, timeout);
    SIMULATION_NEXT(poll);
    return next(fds, count, timeout);
}

int eventfd(unsigned int value, int flags) noexcept {
    if (System::fibre() != nullptr) return System::installed()->makeEvent();
    SIMULATION_NEXT(eventfd);
    return next(value, flags);
}

int eventfd_write(int fd, eventfd_t value) {
    if (simulated(fd)) return System::installed()->raise(fd);
    SIMULATION_NEXT(eventfd_write);
    return next(fd, value);
}

int eventfd_read(int fd, eventfd_t* value) {
    if (simulated(fd)) {
        *value = 1;
        return System::installed()->lower(fd);
    }
    SIMULATION_NEXT(eventfd_read);
    return next(fd, value);
}

}  // extern "C"

// The standard library's source of randomness, for everybody while a simulation runs: what a service draws must come
// from the seed as well.
namespace std {

void random_device::_M_init(const std::string& /*token*/) {}

void random_device::_M_fini() {}

random_device::result_type random_device::_M_getval() {
    if (System* const system = System::installed()) return static_cast<result_type>(system->random().next());
    result_type number = 0;
    if (getentropy(&number, sizeof number) != 0) number = static_cast<result_type>(time(nullptr));
    return number;
}

}  // namespace std
