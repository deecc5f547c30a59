#pragma once

#include <string>
#include <utility>

#include "ExitStatus.h"
#include "wire/Result.h"

namespace AppConfigTool {

/// Why a command did not do what it was asked to: the status that the program ends with, and one sentence for people,
/// without the variable's name.
using Failure = AppConfigWire::FailureOf<ExitStatus>;

template <typename T = void>
using Result = AppConfigWire::ResultOf<T, ExitStatus>;

using AppConfigWire::failure;

}  // namespace AppConfigTool
