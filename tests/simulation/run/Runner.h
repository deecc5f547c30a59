#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "core/VariableDefinition.h"
#include "run/Report.h"
#include "script/Script.h"
#include "world/Image.h"

namespace Simulation {

/// Carries scripts out, each in a process of its own that is forked from this one: every simulation begins with the
/// same memory, whatever ran before, and what it leaves behind goes with it. One thread.
class Runner {
public:
    Runner();

    /// Carries \p script out and waits for it. \p trace, not owned, gets its events; null: nobody does.
    Report run(const Script& script, std::FILE* trace = nullptr);

    /// Calls \p make for 0 to \p count - 1 and carries the scripts out, \p workers at a time. \p done gets each report,
    /// in the order of the numbers.
    void runAll(std::uint64_t count, int workers, const std::function<Script(std::uint64_t)>& make,
                const std::function<void(const Report&)>& done);

private:
    struct Slot;

    void begin(Slot& slot, const Script& script, std::FILE* trace);
    Report collect(Slot& slot, int status) const;
    void simulate(const Script& script, std::FILE* trace, Slot& slot);

    std::vector<AppConfigService::Definitions> m_definitions;
    Images m_images;
};

}  // namespace Simulation
