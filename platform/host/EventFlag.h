#pragma once

#include <atomic>

#include "WireNames.h"
#include "wire/FileDescriptor.h"

namespace AppConfigHost {

/// A flag that threads waiting in poll(2) can see: its descriptor is readable while the flag is set. Thread-safe; no
/// operation blocks.
class EventFlag {
public:
    /// Throws std::system_error when the system has no descriptor left.
    EventFlag();

    void set();
    void clear();
    bool isSet() const { return m_set.load(std::memory_order_acquire); }
    int fd() const { return m_fd.get(); }

private:
    std::atomic<bool> m_set{false};
    FileDescriptor m_fd;
};

}  // namespace AppConfigHost
