#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "VariableArgument.h"

namespace AppConfigTool {

/// What the command line asks for, read but not yet done. One struct per subcommand holds what only that one takes.
struct Arguments {
    enum class Command { get, set, watch, validate, options, reset, access, show, list, provide, submit };
    enum class As { elements, text, boolean, integer, list };
    enum class Validation { accept, reject, execute };

    Command command = Command::get;

    // every subcommand
    std::optional<int> role;
    std::string runtimeDirectory;  ///< empty: the transport's own choice
    std::string servicePath;       ///< empty: the service's plain name
    std::chrono::milliseconds timeout = std::chrono::seconds(5);
    bool json = false;

    std::vector<VariableArgument> variables;  ///< at least one, except for list
    std::vector<std::string> value;           ///< set, validate

    As as = As::elements;         // get
    bool noWait = false;          // set
    std::vector<int> kinds;       // watch: ConfigRegistrar::ConsumerCallbackType numbers
    bool defaultOptions = false;  // options
    std::optional<std::vector<std::string>> newOptions;
    std::optional<unsigned> defaultIndex;
    std::optional<int> readRole;  // access
    std::optional<int> writeRole;
    bool readOnly = false;
    bool hidden = false;
    std::string pattern;                         // list
    Validation validation = Validation::accept;  // provide
    std::string rejection;
    std::string validationCommand;
    std::chrono::milliseconds commandDeadline = std::chrono::milliseconds(1500);
    int submitType = 0;  // submit
};

/// How reading the command line went.
struct ParsedArguments {
    std::optional<Arguments> arguments;  ///< nothing: there is nothing to do; print text and end
    bool complaint = false;              ///< without arguments: text is a complaint, not help that was asked for
    std::string text;
};

/// Reads the words behind the program's name. Writes nothing itself and never ends the process.
ParsedArguments parseArguments(std::vector<std::string> words);

}  // namespace AppConfigTool
