#pragma once

#include <cstdint>

namespace Simulation {

/// Numbers that depend on the seed alone. A value: a copy goes on with the same numbers. One thread at a time.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) { next(); }

    /// \return any number of 64 bits.
    std::uint64_t next() {
        m_state += 0x9e3779b97f4a7c15U;
        std::uint64_t mixed = m_state;
        mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
        mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
        return mixed ^ (mixed >> 31U);
    }

    /// \return a number below \p bound, which is at least 1.
    std::uint32_t below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(((next() & 0xffffffffU) * bound) >> 32U);
    }

    /// \return a number from \p low to \p high, both included.
    int between(int low, int high) { return low + static_cast<int>(below(static_cast<std::uint32_t>(high - low + 1))); }

    /// \return true in \p part of \p whole cases.
    bool chance(std::uint32_t part, std::uint32_t whole) { return below(whole) < part; }

    /// \return numbers of its own, which do not depend on how many more this one gives.
    Random split() { return Random(next()); }

private:
    std::uint64_t m_state;
};

}  // namespace Simulation
