// What a process has written or registered for, against announcements that come late.
#include <gtest/gtest.h>

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "AppConfig/AppConfig.h"
#include "AppConfig/TestKit.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;

constexpr int writes = 300;
constexpr int lag = 7;

/// Lets each announcement wait until the process has written some times more.
class Laggard final : public ConsumerConfigHandler {
public:
    Laggard() { m_wantsChange = true; }

    void wrote() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_written;
        m_more.notify_all();
    }

private:
    void onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>&,
                         const std::string&) override {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_heard;
        m_more.wait(lock, [this] { return m_written >= m_heard + lag || m_written == writes; });
    }

    std::mutex m_mutex;
    std::condition_variable m_more;
    int m_written = 0;
    int m_heard = 0;
};

TEST(OwnWrites, AreReadBackHoweverSlowTheHandlersAre) {
    TestKit kit(R"(variable { node: "own" node_instance: 3 attribute: "number" attribute_instance: 1 type: INT
                              default_value: "0" })");
    kit.attach();
    AppCfgManager* const manager = AppCfgManager::getInstance();
    const ConfigVar var(0, "own", 3, "number", 1);
    Laggard laggard;
    registerHandler("own", "number", &laggard);
    for (int i = 0; i < writes; ++i) {
        // Few values, so that an old one is not told from a new one by its contents.
        ConfigResult result;
        const int value = i % 10 == 9 ? 0 : 1 + i % 2;
        const bool written = value == 0 ? manager->resetValue("own", 3, "number", 1)
                                        : manager->setConfigVar(var, std::to_string(value), &result);
        EXPECT_TRUE(written) << result.m_error;
        EXPECT_EQ(manager->getConfigVarInt(var), value) << "after write " << i;
        laggard.wrote();
    }
    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(manager->getConfigVarInt(var), 0);
    unregisterHandlerAndWait("own", "number", &laggard);
}

/// Writes down the values that it is told.
class Listening final : public ConsumerConfigHandler {
public:
    Listening() { m_wantsChange = true; }

    std::vector<std::string> heard() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_heard;
    }

private:
    void onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                         const std::string&) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_heard.push_back(value.front());
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_heard;
};

TEST(NewsThatComeWithARegistration, ReachItsHandler) {
    constexpr int variables = 100;
    std::string definitions;
    const auto nameOf = [](int i) { return "n_" + std::to_string(i); };
    for (int i = 0; i < variables; ++i) {
        definitions += "variable { node: \"news\" attribute: \"" + nameOf(i) + "\" type: INT default_value: \"1\" }\n";
    }
    TestKit kit(definitions);
    kit.attach();
    EXPECT_EQ(AppCfgManager::getInstance()->getConfigVarInt("news", 0, "n_0", 0), 1) << "so that there is a connection";
    for (int i = 1; i < variables; ++i) kit.setValue("news." + nameOf(i), "2");

    std::vector<std::unique_ptr<Listening>> handlers;
    for (int i = 1; i < variables; ++i) {
        handlers.push_back(std::make_unique<Listening>());
        registerHandler("news", nameOf(i), handlers.back().get());
    }
    ASSERT_TRUE(kit.waitForDeliveries());
    for (int i = 1; i < variables; ++i) {
        Listening& handler = *handlers[static_cast<std::size_t>(i) - 1];
        EXPECT_EQ(handler.heard(), std::vector<std::string>{"2"}) << nameOf(i);
        unregisterHandlerAndWait("news", nameOf(i), &handler);
    }
}

}  // namespace
}  // namespace AppConfigTest
