#pragma once

#include <nlohmann/json.hpp>

namespace AppConfigTest {

using Json = nlohmann::json;

/// Carries out one command of a test in this process, by the library's public operations alone, and tells what came of
/// it. May be called from inside a handler. Any thread.
Json execute(const Json& command);

/// Writes one line for the test. Any thread.
void emit(const Json& line);

}  // namespace AppConfigTest
