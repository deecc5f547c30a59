#include <atomic>
#include <thread>

#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;

class ManagerStress : public Manager {};

// Meant for the sanitizers: whatever the managers' readers hold must survive what happens to the record meanwhile.
TEST_F(ManagerStress, ReadersSurviveUpdatesResetsAndRemovals) {
    constexpr int rounds = 400;
    answerRead({"a value long enough to be allocated", "a value long enough to be allocated"}, true);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({"an option long enough to be allocated", "another option, long enough too"}, 1);
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};

    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&, i] {
            while (!done.load()) {
                List value;
                manager.getConfigVar(brightness, value);
                if (value.front() != value.back()) ++torn;
                const auto record = manager.retrieveConfigVar(brightness);
                if (record != manager.cacheEnd()) record->second.getValue();
                if (i % 2 == 0) {
                    Vector options;
                    unsigned int index = 0;
                    manager.getConfigOptions(brightness, options);
                    manager.getConfigOptionDefaultIndex(brightness, index);
                    manager.getConfigValue("display", 0, "brightness", 0);
                } else {
                    manager.getConfigVarBool(brightness);
                    manager.getConfigVarInt(brightness);
                    manager.isDefault("display", 0, "brightness", 0);
                    manager.getAccessLevels(brightness, nullptr, nullptr);
                }
                transport.forget();
            }
        });
    }
    std::vector<std::thread> writers;
    writers.emplace_back([&] {
        for (int i = 0; i < rounds; ++i) {
            const std::string text = "a value long enough to be allocated " + std::to_string(i);
            manager.updateConfigVar(brightness, {text, text});
            manager.updateIsDefault(brightness, i % 2 == 0);
            manager.updateConfigVarOptions("display", 0, "brightness", 0, {text});
        }
    });
    writers.emplace_back([&] {
        ConfigResult result;
        for (int i = 0; i < rounds; ++i) {
            manager.setConfigVar(brightness, i, &result);
            manager.resetValue("display", 0, "brightness", 0);
            manager.removeVars(i % 2 == 0 ? "" : "play");
            manager.setSecurityRole(AppConfig::SECURITY_ROLE_2);
        }
    });
    for (std::thread& writer : writers) writer.join();
    done = true;
    for (std::thread& reader : readers) reader.join();

    EXPECT_EQ(torn.load(), 0) << "a record was changed while it was read";
}

}  // namespace
