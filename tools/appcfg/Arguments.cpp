#include "Arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <utility>

namespace AppConfigTool {
namespace {

using Command = Arguments::Command;

// CLI11 takes a word in brackets for a list of words; a mark in front keeps values such as "[1]" in one piece.
constexpr char wholeWord = '\x01';

void protectBrackets(std::vector<std::string>& words) {
    for (std::string& word : words) {
        if (!word.empty() && word.front() == '[') word.insert(word.begin(), wholeWord);
    }
}

std::vector<std::string> unprotected(std::vector<std::string> words) {
    for (std::string& word : words) {
        if (!word.empty() && word.front() == wholeWord) word.erase(word.begin());
    }
    return words;
}

/// Parts \p text at its commas; `\,` is a comma inside an element. An empty text has no element.
std::vector<std::string> splitAtCommas(const std::string& text) {
    if (text.empty()) return {};
    std::vector<std::string> parts(1);
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == ',') {
            parts.back() += text[++i];
        } else if (text[i] == ',') {
            parts.emplace_back();
        } else {
            parts.back() += text[i];
        }
    }
    return parts;
}

const std::map<std::string, int> kindNumbers = {{"change", 0}, {"options", 2}, {"submit", 3}, {"access", 4}};
const std::map<std::string, Arguments::As> asTypes = {{"text", Arguments::As::text},
                                                      {"bool", Arguments::As::boolean},
                                                      {"int", Arguments::As::integer},
                                                      {"list", Arguments::As::list}};

/// The grammar of the command line and where each word goes.
class Grammar {
public:
    Grammar() {
        m_app.name("appcfg");
        m_app.description(
            "Looks at and changes the variables of a configuration service.\n\n"
            "VAR is [namespace:]node[instance].attribute[instance], such as display.brightness or\n"
            "net.wifi[1].ssid; an instance that is left out is 0. Put '--' before\n"
            "a value that begins with '-', unless it is a number.\n\n"
            "Exit status: 0 done, 1 refused by the service (or an internal error),\n"
            "2 bad usage, 3 service not reachable, 4 timed out.");
        m_app.set_version_flag("--version", "appcfg " APPCONFIG_VERSION);
        m_app.require_subcommand(1);
        m_app.fallthrough();
        m_app.add_option("--role", m_args.role, "Role that requests carry, 0 to 4 (default 1)")
            ->check(CLI::Range(0, 4));
        m_app.add_option("--runtime-dir", m_args.runtimeDirectory, "Directory of the service's socket");
        m_app.add_option("--service", m_args.servicePath, "Transport path of the service");
        m_app.add_option("--timeout", m_timeout, "Seconds to wait for each reply (default 5)")
            ->check(CLI::Range(0.001, 86400.0));
        m_app.add_flag("--json", m_args.json, "One JSON object per line");
        addReading();
        addWriting();
        addOptionsAndAccess();
        addServing();
    }

    ParsedArguments parse(std::vector<std::string> words) {
        protectBrackets(words);
        std::reverse(words.begin(), words.end());
        try {
            m_app.parse(std::move(words));
            return {finish(), false, {}};
        } catch (const CLI::CallForHelp&) {
            return {std::nullopt, false, m_app.help("", CLI::AppFormatMode::Normal)};
        } catch (const CLI::CallForAllHelp&) {
            return {std::nullopt, false, m_app.help("", CLI::AppFormatMode::All)};
        } catch (const CLI::CallForVersion& version) {
            return {std::nullopt, false, std::string(version.what()) + "\n"};
        } catch (const CLI::ParseError& error) {
            return {std::nullopt, true, error.what()};
        }
    }

private:
    CLI::App* command(const char* name, Command which, const char* help) {
        CLI::App* sub = m_app.add_subcommand(name, help);
        sub->final_callback([this, which] { m_args.command = which; });
        return sub;
    }

    CLI::App* variableCommand(const char* name, Command which, const char* help) {
        CLI::App* sub = command(name, which, help);
        sub->add_option("VAR", m_variable, "The variable")->required();
        return sub;
    }

    void addReading() {
        CLI::App* get = variableCommand("get", Command::get, "Print a variable's value, one element per line");
        get->add_option("--as", m_args.as, "Read it as text, bool, int or list")
            ->transform(CLI::CheckedTransformer(asTypes));
        variableCommand("show", Command::show, "Print everything that is known of a variable");
        CLI::App* list = command("list", Command::list, "Print the variables with their types, levels and values");
        list->add_option("PATTERN", m_args.pattern, "Only names that match this pattern, with * and ?");
        CLI::App* watch = command("watch", Command::watch, "Print each event until Ctrl-C");
        m_watched =
            watch->add_option("VAR|NODE", m_ignored, "Variables, or nodes with everything below them")->required();
        watch->add_option("--kind", m_kinds, "Only these of change, options, access, submit; separated by commas");
    }

    void addWriting() {
        CLI::App* set = variableCommand("set", Command::set, "Write a value; a list's elements one by one");
        m_setValue = set->add_option("VALUE", m_ignored, "The value")->required();
        set->add_flag("--no-wait", m_args.noWait, "Send a one-way write: do not wait for a reply");
        CLI::App* validate = variableCommand("validate", Command::validate, "Ask whether a value would be accepted");
        m_validateValue = validate->add_option("VALUE", m_ignored, "The value")->required();
        variableCommand("reset", Command::reset, "Return a variable to its default");
    }

    void addOptionsAndAccess() {
        CLI::App* options = variableCommand("options", Command::options, "Print or set the options of a variable");
        CLI::Option* defaults = options->add_flag("--default", m_args.defaultOptions, "Print the default options");
        CLI::Option* set =
            options->add_option("--set", m_newOptions, "New options, separated by commas (\\, is a comma itself)");
        defaults->excludes(set);
        options->add_option("--default-index", m_args.defaultIndex, "Which of the new options is the default, from 0")
            ->needs(set);
        CLI::App* access = command("access", Command::access, "Print or set the roles that may read and write");
        m_accessed = access->add_option("VAR", m_ignored, "The variables")->required();
        CLI::Option* read = access->add_option("--read", m_args.readRole, "Lowest role that may read, 0 to 4");
        CLI::Option* write = access->add_option("--write", m_args.writeRole, "Lowest role that may write, 0 to 4");
        read->check(CLI::Range(0, 4));
        write->check(CLI::Range(0, 4));
        CLI::Option* readOnly = access->add_flag("--read-only", m_args.readOnly, "Only role 4 may write");
        CLI::Option* hidden = access->add_flag("--hidden", m_args.hidden, "Only roles 3 and 4 may read");
        readOnly->excludes(read)->excludes(write)->excludes(hidden);
        hidden->excludes(read)->excludes(write);
    }

    void addServing() {
        CLI::App* provide =
            command("provide", Command::provide, "Provide a variable: validate proposed values until Ctrl-C");
        m_provided = provide->add_option("VAR|NODE", m_ignored, "The variable, or a node with everything below it");
        m_provided->required();
        CLI::Option* accept = provide->add_flag("--accept", "Accept every value (the default)");
        CLI::Option* reject = provide->add_option("--reject", m_rejection, "Refuse every value with this message");
        CLI::Option* execute = provide->add_option(
            "--exec", m_validationCommand,
            "Run this shell command with the variable and the proposed elements as arguments; status 0 accepts");
        accept->excludes(reject)->excludes(execute);
        reject->excludes(execute);
        provide->add_option("--exec-timeout", m_commandTimeout, "Seconds that the command may take (default 1.5)")
            ->check(CLI::Range(0.001, 86400.0))
            ->needs(execute);
        CLI::App* submit =
            variableCommand("submit", Command::submit, "Send a submit to every client that registered for it");
        submit->add_option("--type", m_args.submitType, "0 or 1")->check(CLI::Range(0, 1));
    }

    static std::chrono::milliseconds milliseconds(double seconds) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
    }

    void addVariable(const std::string& text, bool nodeAllowed) {
        const Result<VariableArgument> name =
            nodeAllowed ? VariableArgument::parseVariableOrNode(text) : VariableArgument::parse(text);
        if (!name) throw CLI::ValidationError("VAR '" + text + "'", name.error().reason);
        if (!m_args.variables.empty() && m_args.variables.front().namespaceId != name->namespaceId) {
            throw CLI::ValidationError("VAR '" + text + "'", "all names must have the same namespace");
        }
        m_args.variables.push_back(*name);
    }

    void addVariables(const CLI::Option* option, bool nodesAllowed) {
        for (const std::string& text : option->results()) addVariable(text, nodesAllowed);
    }

    Arguments finish() {
        m_args.timeout = milliseconds(m_timeout);
        m_args.commandDeadline = milliseconds(m_commandTimeout);
        if (!m_variable.empty()) addVariable(m_variable, false);
        addVariables(m_watched, true);
        addVariables(m_accessed, false);
        addVariables(m_provided, true);
        if (m_args.variables.empty() && m_args.command != Command::list) {
            throw CLI::ValidationError("VAR", "a variable's name must not be empty");
        }
        for (const CLI::Option* option : {m_setValue, m_validateValue}) {
            if (option->count() > 0) m_args.value = unprotected(option->results());
        }
        for (const std::string& kind : m_kinds ? splitAtCommas(*m_kinds) : std::vector<std::string>()) {
            const auto found = kindNumbers.find(kind);
            if (found == kindNumbers.end()) {
                throw CLI::ValidationError("--kind", "'" + kind + "' is not one of change, options, access, submit");
            }
            m_args.kinds.push_back(found->second);
        }
        if (m_args.kinds.empty()) m_args.kinds = {0, 2, 3, 4};
        if (m_newOptions) m_args.newOptions = splitAtCommas(unprotected({*m_newOptions}).front());
        if (m_rejection) {
            m_args.validation = Arguments::Validation::reject;
            m_args.rejection = unprotected({*m_rejection}).front();
        }
        if (m_validationCommand) {
            m_args.validation = Arguments::Validation::execute;
            m_args.validationCommand = unprotected({*m_validationCommand}).front();
        }
        return m_args;
    }

    CLI::App m_app;
    Arguments m_args;
    std::string m_variable;
    std::vector<std::string> m_ignored;  // words are taken as they stand from the options themselves
    double m_timeout = 5;
    double m_commandTimeout = 1.5;
    std::optional<std::string> m_kinds;
    std::optional<std::string> m_newOptions;
    std::optional<std::string> m_rejection;
    std::optional<std::string> m_validationCommand;
    CLI::Option* m_watched = nullptr;
    CLI::Option* m_accessed = nullptr;
    CLI::Option* m_provided = nullptr;
    CLI::Option* m_setValue = nullptr;
    CLI::Option* m_validateValue = nullptr;
};

}  // namespace

ParsedArguments parseArguments(std::vector<std::string> words) {
    return Grammar().parse(std::move(words));
}

}  // namespace AppConfigTool
