#pragma once

#include <functional>

#include "Arguments.h"
#include "ExitStatus.h"
#include "Output.h"

namespace AppConfigTool {

class Session;

/// The subcommands. Each writes its results and complaints to the session's output and returns what the process ends
/// with.
ExitStatus getValue(Session& session);
ExitStatus setValue(Session& session);
ExitStatus validateValue(Session& session);
ExitStatus resetVariable(Session& session);
ExitStatus showRecord(Session& session);
ExitStatus showOrSetOptions(Session& session);
ExitStatus showOrSetAccess(Session& session);
ExitStatus listVariables(Session& session);
ExitStatus submitVariable(Session& session);

/// Both run until SIGINT or SIGTERM, which the caller has blocked in every thread.
ExitStatus watchVariables(const Arguments& arguments, Output& output);
ExitStatus provideVariable(const Arguments& arguments, Output& output);

/// Carries out what \p arguments ask for.
ExitStatus runCommandLine(const Arguments& arguments, Output& output);

/// Runs \p work. An exception, which no command lets out on purpose, is told as an internal error in one sentence.
/// \return what \p work returned; internalError after an exception.
ExitStatus catchingFailures(const std::function<ExitStatus()>& work, Output& output);

}  // namespace AppConfigTool
