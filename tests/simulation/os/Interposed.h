#pragma once

#include <dlfcn.h>

namespace Simulation {

/// \return the function of the C library that one of ours stands in front of. \p name is a literal.
/// Looked up anew by each caller that keeps it in a plain static pointer: these functions are called before the first
/// constructor has run.
template <typename Function>
Function* nextFunction(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace Simulation

/// Within a function of ours of that name: the C library's.
#define SIMULATION_NEXT(name)              \
    static decltype(name)* next = nullptr; \
    if (next == nullptr) next = Simulation::nextFunction<decltype(name)>(#name)
