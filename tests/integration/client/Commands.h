#pragma once

#include "Lines.h"

namespace AppConfigTest {

/// Carries out one command of a test in this process, by the library's public operations alone, and tells what came of
/// it. May be called from inside a handler. Any thread.
Json execute(const Json& command);

}  // namespace AppConfigTest
