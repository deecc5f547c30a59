// Uses the library as an application does: without a service everything fails, and says so.
#include <AppConfig/AppConfig.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "UnixTransport.h"

namespace {

class Follower : public ConsumerConfigHandler {
public:
    Follower() { m_wantsChange = true; }
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    PbUtility::TransportOptions options;
    options.runtimeDirectory = argv[1];
    options.deadline = std::chrono::milliseconds(200);
    // The managers keep using the transport until the process ends.
    static PbUtility::UnixTransport transport(options);
    AppConfig::AppCfgManager* const manager = AppConfig::AppCfgManager::getInstance();
    manager->setPbInterface(&transport);

    Follower follower;
    registerHandler("display", &follower);
    ConfigResult result;
    const bool written = manager->setConfigVar("display", 0, "brightness", 0, 70, &result);
    const std::string value = manager->getConfigVar("display", 0, "brightness", 0);
    unregisterHandler("display", &follower);
    if (written || !value.empty()) return 1;
    std::printf("consumer: no service, no value, no crash (%s)\n", AppConfig::errorText(CFG_ERROR_UNAVAILABLE));
    return 0;
}
