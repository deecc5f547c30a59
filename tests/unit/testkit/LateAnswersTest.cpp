#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "AppConfig/AppConfig.h"
#include "AppConfig/TestKit.h"
#include "ForwardingTransport.h"

// What a thread learns from the service's answer may be out of date by the time that it reaches the cache: others
// write, and their changes are announced on another thread.

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;

const char* const definitions = "variable { node: \"late\" attribute: \"number\" type: INT default_value: \"1\" }";

/// Lets things happen between the service's answer and the library's next step.
class Dawdling : public PbUtility::ForwardingTransport {
public:
    Dawdling(PbUtility::PbUtils& next, std::function<void()> before, std::function<void()> after)
        : ForwardingTransport(next), m_before(std::move(before)), m_after(std::move(after)) {}

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override {
        m_before();
        const int status = ForwardingTransport::sendWaitResponse(request, response, endpoint);
        m_after();
        return status;
    }

private:
    std::function<void()> m_before;
    std::function<void()> m_after;
};

int number() {
    return AppCfgManager::getInstance()->getConfigVarInt("late", 0, "number", 0);
}

// Each in a process of its own, since the process-wide link takes another transport for good.
class LateAnswers : public ::testing::Test {
protected:
    LateAnswers() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(LateAnswers, AChangeBetweenAReadAndItsRegistrationIsNotOverwrittenByTheRead) {
    EXPECT_EXIT(
        {
            TestKit kit(definitions);
            int requests = 0;
            Dawdling transport(
                kit.transport(),
                [&] {
                    if (++requests == 2) kit.setValue("late.number", "2");
                },
                [&] {
                    if (requests == 2) kit.waitForDeliveries();
                });
            AppCfgManager::getInstance()->setPbInterface(&transport);

            number();

            std::_Exit(number());
        },
        ::testing::ExitedWithCode(2), "");
}

TEST_F(LateAnswers, ALaterWriteOfSomebodyElseIsNotOverwrittenByTheOwnOne) {
    EXPECT_EXIT(
        {
            TestKit kit(definitions);
            bool late = false;
            Dawdling transport(
                kit.transport(), [] {},
                [&] {
                    if (!late) return;
                    kit.setValue("late.number", "3");
                    kit.waitForDeliveries();
                });
            AppCfgManager::getInstance()->setPbInterface(&transport);
            number();
            late = true;
            ConfigResult result;

            AppCfgManager::getInstance()->setConfigVar("late", 0, "number", 0, 2, &result);
            late = false;

            std::_Exit(number());
        },
        ::testing::ExitedWithCode(3), "");
}

TEST_F(LateAnswers, TheOwnWritesNotificationKeepsTheRecord) {
    EXPECT_EXIT(
        {
            TestKit kit(definitions);
            Dawdling transport(
                kit.transport(), [] {}, [&] { kit.waitForDeliveries(); });
            AppCfgManager::getInstance()->setPbInterface(&transport);
            number();
            ConfigResult result;

            AppCfgManager::getInstance()->setConfigVar("late", 0, "number", 0, 2, &result);

            kit.forgetRequests();
            const int value = number();
            std::_Exit(kit.requests().empty() ? value : 99);
        },
        ::testing::ExitedWithCode(2), "");
}

TEST_F(LateAnswers, OptionsThatWereAnnouncedMeanwhileAreNotOverwritten) {
    EXPECT_EXIT(
        {
            TestKit kit("variable { node: \"late\" attribute: \"number\" type: TEXT default_value: \"a\" }");
            bool late = false;
            Dawdling transport(
                kit.transport(), [] {},
                [&] {
                    if (!late) return;
                    kit.setOptions("late.number", {"a", "b", "c"}, 0);
                    kit.waitForDeliveries();
                });
            AppCfgManager::getInstance()->setPbInterface(&transport);
            number();
            std::vector<std::string> options;
            late = true;

            AppCfgManager::getInstance()->getConfigOptions("late", 0, "number", 0, options);
            late = false;

            AppCfgManager::getInstance()->getConfigOptions("late", 0, "number", 0, options);
            std::_Exit(static_cast<int>(options.size()));
        },
        ::testing::ExitedWithCode(3), "");
}

TEST_F(LateAnswers, LevelsThatWereAnnouncedMeanwhileAreNotOverwritten) {
    EXPECT_EXIT(
        {
            TestKit kit(definitions);
            bool late = false;
            Dawdling transport(
                kit.transport(), [] {},
                [&] {
                    if (!late) return;
                    kit.setLevels("late.number", AppConfig::SECURITY_ROLE_NONE, AppConfig::SECURITY_ROLE_2);
                    kit.waitForDeliveries();
                });
            AppCfgManager::getInstance()->setPbInterface(&transport);
            number();
            AppConfig::SecurityRole write{};
            late = true;

            AppCfgManager::getInstance()->getAccessLevels("late", 0, "number", 0, nullptr, &write);
            late = false;

            AppCfgManager::getInstance()->getAccessLevels("late", 0, "number", 0, nullptr, &write);
            std::_Exit(static_cast<int>(write));
        },
        ::testing::ExitedWithCode(2), "");
}

}  // namespace
}  // namespace AppConfigTest
