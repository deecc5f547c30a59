#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TemporaryDirectory.h"

namespace AppConfigTest {

/// Variables that most tests do with.
extern const char* const demoDefinitions;

/// A real configuration service with its own runtime directory, definitions and state, all in a temporary directory.
/// Ended by its own process id at the end. Not thread-safe.
class ServiceProcess {
public:
    /// Prepares, but does not start. \p options are further words of the command line.
    explicit ServiceProcess(const std::string& definitions = demoDefinitions, std::vector<std::string> options = {});

    /// Starts the service and waits until clients can connect. Throws std::runtime_error, with what the service wrote,
    /// when it does not get there.
    void start();

    /// Asks the service to end and waits for it. \return its exit status.
    int stop();

    /// Ends the service as a power cut would.
    void kill();

    /// Whether the next start keeps its state in a file; it does so at first.
    void keepState(bool keep) { m_keepsState = keep; }

    /// Puts a copy of the state aside, or back in its place. The service does not run.
    void saveState() const;
    void restoreState() const;

    /// From now on the running service can write no byte into a file, or can again.
    void letWrite(bool mayWrite) const;

    /// Replaces the definitions and asks the service to read them, without waiting.
    void reload(const std::string& definitions);

    ChildProcess& process() { return *m_process; }
    const TemporaryDirectory& directory() const { return m_directory; }
    const std::string& runtimeDirectory() const { return m_runtimeDirectory; }

    /// The command line that start() uses.
    std::vector<std::string> words() const;

    /// Runs the command-line client against this service. \p words stand behind the program's name.
    Finished appcfg(std::vector<std::string> words) const;

    /// The words with which the command-line client is started against this service.
    std::vector<std::string> appcfgWords(std::vector<std::string> words) const;

private:
    TemporaryDirectory m_directory;
    std::string m_runtimeDirectory;
    std::string m_definitions;
    std::vector<std::string> m_options;
    bool m_keepsState = true;
    std::unique_ptr<ChildProcess> m_process;
};

}  // namespace AppConfigTest
