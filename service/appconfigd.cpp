#include <signal.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "definitions/DefinitionsReader.h"
#include "server/Server.h"
#include "server/Signals.h"
#include "server/SocketListener.h"
#include "store/MemoryStore.h"
#include "store/SqliteStore.h"
#include "wire/Endpoint.h"

using namespace AppConfigService;

namespace {

enum ExitStatus { done = 0, failed = 1, badUsage = 2 };

struct CommandLine {
    std::vector<std::string> definitions;
    std::string state;
    std::string runtimeDirectory = AppConfigWire::defaultRuntimeDirectory();
    std::string logLevel = "info";
    double providerDeadline = 2;
    double grace = 300;
    bool check = false;
    ServiceOptions service;
};

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

void describe(CLI::App& app, CommandLine& line) {
    constexpr double longestSeconds = 1e6;
    app.add_option("--definitions", line.definitions, "Files that define the variables")->required();
    app.add_option("--state", line.state, "State file; without it, the state is lost when the service ends");
    app.add_option("--runtime-dir", line.runtimeDirectory, "Directory of the sockets")->capture_default_str();
    app.add_option("--namespace", line.service.namespaceNumber, "Namespace that is served; 0: names carry no namespace")
        ->check(CLI::Range(0, 0x7FFFFFFF))
        ->capture_default_str();
    app.add_option("--name", line.service.name, "Endpoint at which clients reach the service")
        ->check([](const std::string& name) {
            return AppConfigWire::isEndpointName(name) ? std::string() : "'" + name + "' is not a valid endpoint name";
        })
        ->capture_default_str();
    app.add_option("--log-level", line.logLevel, "Least important event that is logged")
        ->check(CLI::IsMember({"debug", "info", "warning", "error", "off"}))
        ->capture_default_str();
    app.add_option("--provider-deadline", line.providerDeadline, "Seconds that a provider has to answer a question")
        ->check(CLI::Range(0.001, longestSeconds))
        ->capture_default_str();
    app.add_option("--grace", line.grace, "Seconds for which a client that is away is remembered")
        ->check(CLI::Range(0.0, longestSeconds))
        ->capture_default_str();
    app.add_flag("--check", line.check, "Only check the definitions");
    app.set_version_flag("--version", "appconfigd " APPCONFIG_VERSION);
}

Log logTo(const std::shared_ptr<spdlog::logger>& logger) {
    return [logger](LogLevel level, const std::string& text) {
        switch (level) {
            case LogLevel::debug: return logger->debug(text);
            case LogLevel::info: return logger->info(text);
            case LogLevel::warning: return logger->warn(text);
            case LogLevel::error: return logger->error(text);
        }
    };
}

class Program {
public:
    Program(CommandLine line, const std::shared_ptr<spdlog::logger>& logger)
        : m_line(std::move(line)), m_logger(logger), m_log(logTo(logger)), m_signals(m_io), m_listener(m_io) {}

    int run(const Definitions& definitions) {
        // The name first: a second service must not touch the state of the one that runs.
        const Result<> claimed = m_listener.claim(m_line.runtimeDirectory, m_line.service.name);
        if (!claimed) return fail(claimed.error().reason);
        if (m_line.state.empty()) {
            m_store = std::make_unique<MemoryStore>();
            m_log(LogLevel::warning, "no --state: the state is lost when the service ends");
        } else {
            m_store = std::make_unique<SqliteStore>(m_line.state);
        }
        m_server = std::make_unique<Server>(m_io, *m_store, m_line.service, m_log);
        const Result<> started = m_server->start(definitions);
        if (!started) return fail(started.error().reason);
        if (!m_signals.open()) return fail("cannot wait for signals");
        awaitSignal();
        const Result<> listening = m_listener.listen(
            [this](asio::local::stream_protocol::socket socket) { m_server->adopt(std::move(socket)); });
        if (!listening) return fail(listening.error().reason);

        m_log(LogLevel::info,
              "serving " + std::to_string(definitions.variables.size()) + " variables at " + m_listener.path());
        std::printf("ready: %s\n", m_listener.path().c_str());
        std::fflush(stdout);
        m_io.run();
        m_log(LogLevel::info, "the service ends");
        return done;
    }

private:
    static int fail(const std::string& reason) {
        std::fprintf(stderr, "appconfigd: %s\n", reason.c_str());
        return failed;
    }

    void awaitSignal() {
        m_signals.wait([this](int number) {
            if (number != SIGHUP) return m_io.stop();
            reload();
            awaitSignal();
        });
    }

    void reload() {
        const auto definitions = readDefinitionFiles(m_line.definitions);
        if (!definitions) {
            for (const std::string& complaint : definitions.error()) m_log(LogLevel::error, complaint);
            m_log(LogLevel::error, "the definitions are refused; the old ones stay");
            return;
        }
        const Result<> reloaded = m_server->reload(*definitions);
        if (!reloaded) {
            m_log(LogLevel::error, "the definitions cannot be used: " + reloaded.error().reason);
            return;
        }
        m_log(LogLevel::info,
              "the definitions are read again: " + std::to_string(definitions->variables.size()) + " variables");
    }

    const CommandLine m_line;
    const std::shared_ptr<spdlog::logger> m_logger;
    const Log m_log;
    asio::io_context m_io{1};
    Signals m_signals;
    SocketListener m_listener;
    std::unique_ptr<StateStore> m_store;
    std::unique_ptr<Server> m_server;
};

int run(int argc, char** argv) {
    CommandLine line;
    CLI::App app{"Owns configuration variables and serves them to the processes of this machine.", "appconfigd"};
    describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? done : badUsage;
    }
    const auto definitions = readDefinitionFiles(line.definitions);
    if (!definitions) {
        for (const std::string& complaint : definitions.error()) {
            std::fprintf(stderr, "appconfigd: %s\n", complaint.c_str());
        }
        return badUsage;
    }
    if (line.check) {
        std::printf("%zu variables, no errors\n", definitions->variables.size());
        return done;
    }
    line.service.providerDeadline = milliseconds(line.providerDeadline);
    line.service.grace = milliseconds(line.grace);
    line.service.ownUid = getuid();

    const auto logger = spdlog::stderr_logger_st("appconfigd");
    logger->set_level(spdlog::level::from_str(line.logLevel));
    return Program(std::move(line), logger).run(*definitions);
}

}  // namespace

int main(int argc, char** argv) {
    // A state file that may not grow fails what was to be stored, and not the service.
    signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "appconfigd: %s\n", exception.what());
        return failed;
    }
}
