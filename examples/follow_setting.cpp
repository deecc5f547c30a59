// Follows the brightness of a display: prints it once, and again after each change.
//
// usage: follow_setting [RUNTIME_DIRECTORY [CHANGES]]
//
// With CHANGES the program ends after that many changes; without, it runs until it is killed.

#include <AppConfig/AppConfig.h>
#include <UnixTransport.h>

#include <condition_variable>
#include <cstdlib>
#include <iostream>
#include <list>
#include <mutex>
#include <string>

namespace {

/// Is notified of each change on the transport's own thread, and lets main wait for the next one.
class BrightnessFollower : public ConsumerConfigHandler {
public:
    BrightnessFollower() { m_wantsChange = true; }

    void onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                         const std::string&) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_values.push_back(value.front());
        m_arrived.notify_one();
    }

    std::string next() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_arrived.wait(lock, [this] { return !m_values.empty(); });
        std::string value = m_values.front();
        m_values.pop_front();
        return value;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_arrived;
    std::list<std::string> m_values;
};

}  // namespace

int main(int argc, char** argv) {
    // The handler outlives the transport, whose thread calls it.
    BrightnessFollower follower;
    PbUtility::TransportOptions options;
    if (argc > 1) options.runtimeDirectory = argv[1];
    PbUtility::UnixTransport transport(options);

    AppConfig::AppCfgManager* config = AppConfig::AppCfgManager::getInstance();
    config->setPbInterface(&transport);

    // Registered before the first read: no change can fall between the two.
    registerHandler("display", "brightness", &follower, config);
    std::cout << "brightness is " << config->getConfigVarInt("display", 0, "brightness", 0) << std::endl;

    const int changes = argc > 2 ? std::atoi(argv[2]) : -1;
    for (int seen = 0; seen != changes; ++seen) {
        std::cout << "brightness changed to " << follower.next() << std::endl;
    }
    return 0;
}
