#pragma once

#include "Deadline.h"

namespace AppConfigHost {

class EventFlag;

/// How a thread waits for a descriptor. Separate, since the delivery thread has other things to do meanwhile.
class Waiter {
public:
    enum class Event { ready, timedOut, ended };

    virtual ~Waiter() = default;

    /// Waits until \p fd has one of \p events (those of poll(2)) or an error, the deadline has passed, or the transport
    /// has been ended. A negative \p fd never gets ready.
    virtual Event wait(int fd, short events, Deadline deadline) = 0;
};

/// Waits and does nothing else. Any thread.
class PlainWaiter final : public Waiter {
public:
    /// \p ended, not owned, may be null: then nothing but the deadline ends the wait.
    explicit PlainWaiter(const EventFlag* ended) : m_ended(ended) {}

    Event wait(int fd, short events, Deadline deadline) override;

private:
    const EventFlag* m_ended;
};

}  // namespace AppConfigHost
