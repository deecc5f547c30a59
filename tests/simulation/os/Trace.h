#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "os/Time.h"

namespace Simulation {

/// What happens in a simulation, in order. Each event goes into a digest, by which two runs are compared; printed it is
/// only on request. Nothing that is noted may depend on addresses, on real time or on the real process. One thread.
class Trace {
public:
    /// \p out, not owned, gets a line for each event; null: none is printed.
    explicit Trace(std::FILE* out = nullptr) : m_out(out) {}

    /// Notes that \p what happened to \p who (see name()). The texts may go away.
    void note(Time when, std::string_view who, std::string_view what, std::string_view text = {});
    void note(Time when, std::string_view who, std::string_view what, std::int64_t number);

    /// \return whether events are printed, so that it is worth while to compose texts for people.
    bool isPrinted() const { return m_out != nullptr; }

    /// \return what stands for all events so far.
    std::uint64_t digest() const { return m_digest; }
    std::uint64_t events() const { return m_events; }

private:
    void mix(std::uint64_t word);
    void mix(std::string_view text);

    std::FILE* m_out;
    std::uint64_t m_digest = 0;
    std::uint64_t m_events = 0;
};

}  // namespace Simulation
