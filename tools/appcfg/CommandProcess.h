#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace AppConfigTool {

/// How a command that validates a value ended.
struct CommandVerdict {
    bool accepted = false;
    std::string message;  ///< when not accepted: the command's first output line, or why there is none
};

/// Runs \p command in a shell with \p arguments as its positional parameters appended, and waits for its end. The
/// arguments are never read by the shell as commands. What the command writes to standard output is taken, at most
/// 64 KiB of it; standard input is empty.
/// Blocks up to \p deadline; a command that takes longer is killed with all that it started in its process group, and
/// counts as a refusal. Any thread.
CommandVerdict runCommand(const std::string& command, const std::vector<std::string>& arguments,
                          std::chrono::milliseconds deadline);

}  // namespace AppConfigTool
