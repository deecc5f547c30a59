#pragma once

#include <string>
#include <vector>

#include "os/Process.h"
#include "process/ProcessCode.h"

namespace Simulation {

/// One copy of the code of simulated processes, loaded beside the others: its static variables are its own.
struct Image {
    ProcessCode* code = nullptr;
    ThreadLocals locals;
    std::vector<char> initialLocals;
};

/// The copies that are loaded. A copy serves one process, once: a process that is started again gets the next. Loaded
/// before the simulations are forked, so that each of them finds all copies as they were after loading.
class Images {
public:
    /// Loads \p count copies of the shared object \p file. Says on standard error what is wrong and ends the program
    /// when that is not possible.
    Images(const std::string& file, int count);

    /// \return a copy that has not been used; null when there is none left.
    Image* take();
    std::size_t left() const { return m_images.size() - m_next; }

private:
    std::vector<Image> m_images;
    std::size_t m_next = 0;
};

}  // namespace Simulation
