#include "run/Shrink.h"

#include <algorithm>
#include <utility>

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
    /// \return whether \p candidate fails too; then it is the best.
    bool accept(Script candidate) {
        constexpr int seeds = 4;
        for (int i = 0; i < seeds && m_left > 0; ++i) {
            --m_left;
            if (m_runner.run(candidate).has(m_check)) {
                m_best = std::move(candidate);
                return true;
            }
            candidate.seed = candidate.seed * 31 + 17;
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
            smaller = (!candidate.processes.empty() && accept(std::move(candidate))) || smaller;
        }
        return smaller;
    }

    bool process(std::size_t i) {
        bool smaller = false;
        for (std::size_t t = m_best.processes[i].threads.size(); t-- > 0 && m_best.processes[i].threads.size() > 1;) {
            Script candidate = m_best;
            auto& threads = candidate.processes[i].threads;
            threads.erase(threads.begin() + static_cast<std::ptrdiff_t>(t));
            smaller = accept(std::move(candidate)) || smaller;
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
        return accept(std::move(candidate)) || smaller;
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
                if (accept(std::move(candidate))) {
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
            smaller = accept(std::move(candidate)) || smaller;
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
