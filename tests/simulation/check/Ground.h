#pragma once

#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "os/Time.h"

namespace Simulation {

/// What the checks need of whatever they run on: virtual time and fibres, or real time and threads.
class Ground {
public:
    virtual ~Ground() = default;

    virtual Time now() const = 0;
    /// \return what stands for the calling thread, and for no other one.
    virtual const void* thread() const = 0;
    /// Lets the calling thread rest.
    virtual void pause(std::chrono::milliseconds time) = 0;
    /// An event for people and for the digest.
    virtual void note(std::string_view who, std::string_view what, std::string_view text) = 0;
    /// \return whether people read the events, so that it is worth while to compose texts for them.
    virtual bool isPrinted() const = 0;
    /// \return held as long as one event is judged; without threads, nothing.
    virtual std::unique_lock<std::recursive_mutex> lock() = 0;
};

}  // namespace Simulation
