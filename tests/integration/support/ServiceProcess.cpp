#include "ServiceProcess.h"

#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <stdexcept>
#include <utility>

namespace AppConfigTest {

const char* const demoDefinitions = R"(
variable { node: "display" attribute: "brightness" type: INT default_value: "70" minimum: 0 maximum: 100 }
variable { node: "display" attribute: "mode" type: TEXT default_value: "day"
           option: "day" option: "night" option: "auto" default_index: 0 }
variable { node: "display" attribute: "on" type: BOOL default_value: "true" }
variable { node: "display.panel" attribute: "name" type: TEXT default_value: "main" max_length: 8 }
variable { node: "net.wifi" node_instance: 1 attribute: "ssid" type: TEXT default_value: "" max_length: 32
           read_level: 1 write_level: 2 }
variable { node: "system" attribute: "servers" type: LIST default_value: "a" default_value: "b" max_elements: 8 }
variable { node: "system" attribute: "label" type: TEXT default_value: "none" pattern: "[a-z0-9]{0,16}" }
variable { node: "audio" attribute: "volume" type: INT default_value: "5" }
variable { node: "audio" attribute: "muted" type: BOOL default_value: "false" }
)";

ServiceProcess::ServiceProcess(const std::string& definitions, std::vector<std::string> options)
    : m_runtimeDirectory(m_directory.file("run")),
      m_definitions(m_directory.write("test.textproto", definitions)),
      m_options(std::move(options)) {}

std::vector<std::string> ServiceProcess::words() const {
    std::vector<std::string> words = {APPCONFIGD, "--definitions", m_definitions};
    if (m_keepsState) words.insert(words.end(), {"--state", m_directory.file("state.db")});
    words.insert(words.end(), {"--runtime-dir", m_runtimeDirectory});
    words.insert(words.end(), m_options.begin(), m_options.end());
    return words;
}

void ServiceProcess::start() {
    m_process = std::make_unique<ChildProcess>(words());
    const auto ready = m_process->waitForLine([](const std::string& line) { return line.rfind("ready: ", 0) == 0; });
    if (!ready) throw std::runtime_error("the service did not get ready: " + m_process->errors());
}

int ServiceProcess::stop() {
    m_process->signal(SIGTERM);
    return m_process->waitForEnd().value_or(-1);
}

void ServiceProcess::kill() {
    m_process->signal(SIGKILL);
    m_process->waitForEnd();
}

void ServiceProcess::saveState() const {
    std::filesystem::copy_file(m_directory.file("state.db"), m_directory.file("saved.db"),
                               std::filesystem::copy_options::overwrite_existing);
}

void ServiceProcess::restoreState() const {
    // What belongs to the other file goes with it.
    for (const char* rest : {"state.db-wal", "state.db-shm"}) std::filesystem::remove(m_directory.file(rest));
    std::filesystem::copy_file(m_directory.file("saved.db"), m_directory.file("state.db"),
                               std::filesystem::copy_options::overwrite_existing);
}

void ServiceProcess::letWrite(bool mayWrite) const {
    const rlimit limit{mayWrite ? RLIM_INFINITY : 0, RLIM_INFINITY};
    if (::prlimit(m_process->pid(), RLIMIT_FSIZE, &limit, nullptr) != 0) {
        throw std::runtime_error("the service's limits cannot be changed");
    }
}

void ServiceProcess::reload(const std::string& definitions) {
    m_directory.write("test.textproto", definitions);
    m_process->signal(SIGHUP);
}

std::vector<std::string> ServiceProcess::appcfgWords(std::vector<std::string> words) const {
    words.insert(words.begin(), {APPCFG, "--runtime-dir", m_runtimeDirectory});
    return words;
}

Finished ServiceProcess::appcfg(std::vector<std::string> words) const {
    return run(appcfgWords(std::move(words)));
}

}  // namespace AppConfigTest
