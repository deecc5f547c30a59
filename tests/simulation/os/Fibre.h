#pragma once

#include <boost/context/fiber.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "os/Process.h"

namespace Simulation {

/// One simulated thread. Made, run and kept by the scheduler; a fibre of a process that was killed stays as it stands.
class Fibre {
public:
    Fibre(Process& process, int number, std::function<void()> body);

    Fibre(const Fibre&) = delete;
    Fibre& operator=(const Fibre&) = delete;
    ~Fibre() = default;

    Process& process() const { return m_process; }
    /// \return its name in traces, such as "p2.1".
    const std::string& name() const { return m_name; }
    /// \return what pthread_self() returns in it: another number than that of any real thread.
    std::uint64_t handle() const { return m_handle; }
    bool isFinished() const { return m_state == State::finished; }
    /// \return for people, what it waits for; null when it does not.
    const char* waitsFor() const { return m_state == State::blocked ? m_reason : nullptr; }

    /// For whatever code has to tell what the thread is doing, such as the operation that it carries out.
    void* note = nullptr;

private:
    friend class Scheduler;
    enum class State : std::uint8_t { ready, running, blocked, finished };

    void exchangeLocals();

    Process& m_process;
    const int m_number;
    const std::string m_name;
    const std::uint64_t m_handle;
    std::function<void()> m_body;
    boost::context::fiber m_context;  ///< where it goes on; empty while it runs and at its end
    State m_state = State::ready;
    bool m_slow = false;
    bool m_detached = false;
    bool m_timedOut = false;
    std::uint64_t m_wait = 0;          ///< counts its waits, so that a timer of an earlier one finds nobody
    const void* m_key = nullptr;       ///< what it waits for
    const char* m_reason = "";         ///< the same for people
    std::vector<char> m_locals;        ///< its thread-local variables while another fibre's stand in their place
    unsigned char m_exceptions[16]{};  ///< what the runtime keeps per thread about exceptions on their way
};

/// Stacks for fibres. They are mapped once and used again; a page below each one stops what runs over.
class StackPool {
public:
    static constexpr std::size_t stackSize = std::size_t{512} * 1024;

    /// Maps stacks ahead, untouched.
    static void prepare(int count);

    // What boost.context asks of an allocator.
    boost::context::stack_context allocate();
    void deallocate(boost::context::stack_context& stack);
};

}  // namespace Simulation
