#include "EventPrinter.h"

#include <signal.h>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace AppConfigTool {
namespace {

/// The present moment in UTC, to the millisecond.
std::string now() {
    const auto moment = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(moment);
    const auto rest =
        std::chrono::duration_cast<std::chrono::milliseconds>(moment.time_since_epoch()) % std::chrono::seconds(1);
    std::tm parts{};
    ::gmtime_r(&seconds, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(rest.count() % 1000));
    return text;
}

sigset_t endSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

}  // namespace

void EventPrinter::event(const std::string& kind, const std::string& variable, const char* key,
                         const nlohmann::ordered_json& state, const std::string& text) {
    const std::string time = now();
    m_output.result({{"time", time}, {"kind", kind}, {"variable", variable}, {key, state}},
                    time + "  " + kind + "  " + variable + "  " + text);
}

void EventPrinter::service(const std::string& endpoint, bool connected) {
    const std::string time = now();
    const char* state = connected ? "back" : "lost";
    m_output.result({{"time", time}, {"kind", "service"}, {"endpoint", endpoint}, {"state", state}},
                    time + "  service  " + endpoint + "  " + state);
}

ConfigVar varOf(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance) {
    ConfigVar var;
    var.init(0, node, nodeInstance, attribute, attributeInstance);
    return var;
}

EndSignals::EndSignals() {
    const sigset_t set = endSignals();
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

EndSignals::~EndSignals() {
    const sigset_t set = endSignals();
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void EndSignals::waitForEnd() const {
    const sigset_t set = endSignals();
    int signal = 0;
    ::sigwait(&set, &signal);
}

}  // namespace AppConfigTool
