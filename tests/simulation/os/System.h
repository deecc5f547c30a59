#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <vector>

#include "os/Network.h"
#include "os/Scheduler.h"

struct pollfd;
struct sockaddr_un;

namespace Simulation {

/// The operating system that simulated processes run on: their descriptors and sockets. The functions of the C library
/// that their code calls end here (SystemCalls.cpp, ThreadCalls.cpp), for as long as one is installed.
///
/// What is said to be called in a fibre concerns the process of that fibre and behaves like the call of that name:
/// -1 with errno on failure.
class System {
public:
    System(Scheduler& scheduler, Random random);
    ~System();

    System(const System&) = delete;
    System& operator=(const System&) = delete;

    /// \return the one that is installed; null outside a simulation.
    static System* installed();
    /// \return the fibre that runs; null outside a simulation and on the scheduler's own stack.
    static Fibre* fibre();

    Scheduler& scheduler() { return m_scheduler; }
    Network& network() { return m_network; }
    /// Numbers for std::random_device.
    Random& random() { return m_random; }

    static bool owns(int fd) { return fd >= firstDescriptor; }

    // In a fibre.
    int makeSocket();
    int makeEvent();
    int connect(int fd, const std::string& path);
    ssize_t send(int fd, const void* data, std::size_t count);
    ssize_t receive(int fd, void* buffer, std::size_t count);
    int shutDown(int fd);
    int close(int fd);
    int raise(int fd);  ///< writes to an event descriptor
    int lower(int fd);  ///< reads it
    int poll(pollfd* fds, std::size_t count, int timeout);

    /// Closes what \p process has open. Not in a fibre.
    void closeAll(Process& process);

private:
    static constexpr int firstDescriptor = 1 << 20;

    struct Descriptor {
        Process* process = nullptr;
        bool isEvent = false;
        bool raised = false;
        std::shared_ptr<Connection> connection;
        std::vector<Fibre*> pollers;
    };

    int add(Process& process, std::unique_ptr<Descriptor> descriptor);
    Descriptor* find(int fd);
    short state(const Descriptor& descriptor) const;
    void changed(Descriptor& descriptor);
    void release(Descriptor& descriptor);
    int examine(pollfd* fds, std::size_t count);

    Scheduler& m_scheduler;
    Random m_random;
    Network m_network;
    std::map<int, std::unique_ptr<Descriptor>> m_descriptors;
    int m_next = firstDescriptor;
};

}  // namespace Simulation
