#include "run/Shrink.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <vector>

namespace Simulation {

namespace {

class Shrinker {
public:
    Shrinker(Runner& runner, Script script, Check check, int attempts)
        : m_runner(runner), m_best(std::move(script)), m_check(check), m_left(attempts) {}

    Script make() {
        // What is left out of one kind may make another one superfluous.
        for (bool smaller = true; smaller && m_left > 0;) {
            smaller = processes();
            smaller = thin([](Script& script) { return &script.faults; }) || smaller;
            for (std::size_t i = 0; i < m_best.processes.size(); ++i) smaller = process(i) || smaller;
            smaller = frame() || smaller;
        }
        return m_best;
    }

private:
    /// \return whether \p candidate fails too; then it is the best. Faults come when so many operations have ended, so
    /// where some were left out they may have to come as much earlier.
    bool accept(const Script& candidate, int operationsLess = 0) {
        constexpr int seeds = 3;
        std::uint64_t seed = candidate.seed;
        for (int i = 0; i < seeds; ++i, seed = seed * 31 + 17) {
            for (const int earlier : {operationsLess, 0}) {
                if (m_left-- <= 0) return false;
                Script attempt = candidate;
                attempt.seed = seed;
                for (Fault& fault : attempt.faults) fault.after = std::max(0, fault.after - earlier);
                if (m_runner.run(attempt).has(m_check)) {
                    m_best = std::move(attempt);
                    return true;
                }
                if (operationsLess == 0 || attempt.faults.empty()) break;
            }
        }
        return false;
    }

    bool processes() {
        bool smaller = false;
        for (std::size_t i = m_best.processes.size(); i-- > 0;) {
            Script candidate = m_best;
            candidate.processes.erase(candidate.processes.begin() + static_cast<std::ptrdiff_t>(i));
            const int number = static_cast<int>(i);
            auto& faults = candidate.faults;
            faults.erase(std::remove_if(faults.begin(), faults.end(),
                                        [number](const Fault& fault) { return fault.process == number; }),
                         faults.end());
            for (Fault& fault : faults) {
                if (fault.process > number) --fault.process;
            }
            int operations = 0;
            for (const ThreadScript& thread : m_best.processes[i].threads) {
                operations += static_cast<int>(thread.operations.size());
            }
            smaller = (!candidate.processes.empty() && accept(candidate, operations)) || smaller;
        }
        return smaller;
    }

    bool process(std::size_t i) {
        bool smaller = false;
        for (std::size_t t = m_best.processes[i].threads.size(); t-- > 0 && m_best.processes[i].threads.size() > 1;) {
            Script candidate = m_best;
            auto& threads = candidate.processes[i].threads;
            threads.erase(threads.begin() + static_cast<std::ptrdiff_t>(t));
            const int operations = static_cast<int>(m_best.processes[i].threads[t].operations.size());
            smaller = accept(candidate, operations) || smaller;
        }
        for (std::size_t t = 0; t < m_best.processes[i].threads.size(); ++t) {
            smaller = thin([=](Script& s) { return &s.processes[i].threads[t].operations; }) || smaller;
            smaller = thin([=](Script& s) { return &s.processes[i].threads[t].setUp; }) || smaller;
        }
        for (std::size_t h = 0; h < m_best.processes[i].consumers.size(); ++h) {
            smaller = calm([=](Script& s) { return &s.processes[i].consumers[h]; }) || smaller;
        }
        for (std::size_t h = 0; h < m_best.processes[i].providers.size(); ++h) {
            smaller = calm([=](Script& s) { return &s.processes[i].providers[h]; }) || smaller;
        }
        return smaller;
    }

    /// Lets a handler do less.
    template <typename Plan>
    bool calm(const Plan& plan) {
        bool smaller = thin([&](Script& script) { return &plan(script)->reactions; });
        if (plan(m_best)->slowness == 0) return smaller;
        Script candidate = m_best;
        plan(candidate)->slowness = 0;
        return accept(candidate) || smaller;
    }

    /// Makes a list shorter: halves of it first, then ever smaller pieces.
    template <typename List>
    bool thin(const List& list) {
        bool smaller = false;
        for (std::size_t piece = list(m_best)->size(); piece > 0; piece /= 2) {
            for (std::size_t at = 0; at < list(m_best)->size() && m_left > 0;) {
                Script candidate = m_best;
                auto& elements = *list(candidate);
                const std::size_t end = std::min(at + piece, elements.size());
                elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(at),
                               elements.begin() + static_cast<std::ptrdiff_t>(end));
                const bool holdsOperations = std::is_same_v<std::decay_t<decltype(elements)>, std::vector<Operation>>;
                if (accept(candidate, holdsOperations ? static_cast<int>(end - at) : 0)) {
                    smaller = true;
                } else {
                    at += piece;
                }
            }
        }
        return smaller;
    }

    bool frame() {
        bool smaller = false;
        const auto attempt = [&](const auto& change) {
            Script candidate = m_best;
            change(candidate);
            smaller = accept(candidate) || smaller;
        };
        if (m_best.weather != 0) attempt([](Script& script) { script.weather = 0; });
        if (m_best.policy.slowChance != 0) attempt([](Script& script) { script.policy.slowChance = 0; });
        return smaller;
    }

    Runner& m_runner;
    Script m_best;
    const Check m_check;
    int m_left;
};

}  // namespace

Script shrink(Runner& runner, Script script, Check check, int attempts) {
    return Shrinker(runner, std::move(script), check, attempts).make();
}

}  // namespace Simulation
