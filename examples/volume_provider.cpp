// Provides the volume of an amplifier: validates each proposed value, and applies those that the service has stored.
//
// usage: volume_provider [RUNTIME_DIRECTORY]
//
// Runs until SIGINT or SIGTERM.

#include <AppConfig/AppConfig.h>
#include <UnixTransport.h>
#include <signal.h>

#include <cstdlib>
#include <iostream>
#include <list>
#include <string>

namespace {

/// The amplifier takes volumes in steps of 5.
class VolumeProvider : public ProviderConfigHandler {
public:
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                           AppConfig::SecurityRole, ConfigResult& result) override {
        // The service has checked type and limits; what only the hardware knows is checked here.
        if (std::strtol(value.front().c_str(), nullptr, 0) % 5 == 0) return true;
        result.addResultMessage("the amplifier takes steps of 5");
        return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }

    bool onChange(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                  AppConfig::SecurityRole, ConfigResult&) override {
        std::cout << "amplifier set to " << value.front() << std::endl;
        return true;
    }
};

}  // namespace

int main(int argc, char** argv) {
    // Blocked before the transport starts its thread, so that only sigwait gets them.
    sigset_t endSignals;
    sigemptyset(&endSignals);
    sigaddset(&endSignals, SIGINT);
    sigaddset(&endSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endSignals, nullptr);

    VolumeProvider provider;
    PbUtility::TransportOptions options;
    if (argc > 1) options.runtimeDirectory = argv[1];
    PbUtility::UnixTransport transport(options);

    AppConfig::AppCfgManager* config = AppConfig::AppCfgManager::getInstance();
    config->setPbInterface(&transport);
    registerHandler("audio", "volume", &provider, config);
    std::cout << "providing audio.volume" << std::endl;

    int signal = 0;
    sigwait(&endSignals, &signal);
    return 0;
}
