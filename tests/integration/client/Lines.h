#pragma once

#include <nlohmann/json.hpp>

namespace AppConfigTest {

using Json = nlohmann::json;

/// Writes one line for the test. Any thread.
void emit(const Json& line);

}  // namespace AppConfigTest
