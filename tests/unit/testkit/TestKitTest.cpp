#include <gtest/gtest.h>

#include <stdexcept>

#include "AppConfig/AppConfig.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/TestKit.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;
using List = std::list<std::string>;

const char* const definitions = R"(
variable { node: "kit" attribute: "number" type: INT default_value: "7" maximum: 10 }
variable { node: "kit" attribute: "kept" type: INT default_value: "7" }
variable { node: "kit" attribute: "text" type: TEXT default_value: "a" }
variable { node: "kit" node_instance: 2 attribute: "text" attribute_instance: 3 type: TEXT default_value: "b" }
)";

AppCfgManager& config() {
    return *AppCfgManager::getInstance();
}

int number() {
    return config().getConfigVarInt("kit", 0, "number", 0);
}

/// The class of the example in the kit's header.
class Display {
public:
    int brightness() const { return config().getConfigVarInt("display", 0, "brightness", 0); }
};

/// scripts/check-docs compares the header's example with this.
TEST(TestKit, DoesWhatTheExampleInItsHeaderShows) {
    TestKit kit(R"(variable { node: "display" attribute: "brightness" type: INT default_value: "70" })");
    kit.attach();
    Display display;
    ASSERT_EQ(display.brightness(), 70);
    kit.setValue("display.brightness", "30");
    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(display.brightness(), 30);
}

TEST(TestKit, RefusesDefinitionsThatAServiceWouldRefuse) {
    EXPECT_THROW(TestKit("variable { nodes: \"kit\" }"), std::invalid_argument);
}

TEST(TestKit, AnswersTheAttachedManager) {
    TestKit kit(definitions);
    kit.attach();

    EXPECT_EQ(number(), 7);
    EXPECT_EQ(kit.countRequests("ReadReq", "kit.number"), 1U);
}

TEST(TestKit, NamesInstancesInBrackets) {
    TestKit kit(definitions);

    EXPECT_EQ(kit.value("kit[2].text[3]"), List{"b"});
    EXPECT_EQ(kit.value("kit.text"), List{"a"});
    EXPECT_THROW(kit.value("kit"), std::invalid_argument);
}

TEST(TestKit, ChangesOfAnotherClientReachTheCache) {
    TestKit kit(definitions);
    kit.attach();
    number();

    EXPECT_EQ(kit.setValue("kit.number", "8").m_error, CFG_ERROR_NONE);

    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(number(), 8);
    EXPECT_EQ(kit.countRequests("ReadReq"), 1U);
}

TEST(TestKit, TellsWhyTheServiceRefusesAnotherClient) {
    TestKit kit(definitions);

    const ConfigResult result = kit.setValue("kit.number", "11");

    EXPECT_EQ(result.m_error, CFG_ERROR_OUT_OF_RANGE);
    ASSERT_FALSE(result.m_messages.empty());
    EXPECT_NE(result.m_messages.front().find("10"), std::string::npos) << result.m_messages.front();
}

TEST(TestKit, RemembersWhatWasSent) {
    TestKit kit(definitions);
    kit.attach();
    ConfigResult result;

    config().setConfigVar("kit", 0, "text", 0, "x", &result);
    config().setConfigVar("kit", 0, "text", 0, "y");

    std::vector<SentRequest> writes;
    for (const SentRequest& request : kit.requests()) {
        if (request.type == "WriteReq") writes.push_back(request);
    }
    ASSERT_EQ(writes.size(), 2U);
    EXPECT_EQ(writes[0].variable, "kit.text");
    EXPECT_EQ(writes[0].value, List{"x"});
    EXPECT_TRUE(writes[0].awaited);
    EXPECT_EQ(writes[1].value, List{"y"});
    EXPECT_FALSE(writes[1].awaited);
    kit.forgetRequests();
    EXPECT_TRUE(kit.requests().empty());
}

TEST(TestKit, SwitchesFailuresOnAndOff) {
    TestKit kit(definitions);
    kit.attach();
    ConfigResult result;

    kit.answerNothing();
    EXPECT_EQ(number(), 0);
    kit.breakConnections();
    EXPECT_EQ(number(), 0);
    kit.refuse(CFG_ERROR_STORAGE, "WriteReq");
    EXPECT_FALSE(config().setConfigVar("kit", 0, "number", 0, 1, &result));
    EXPECT_EQ(result.m_error, CFG_ERROR_STORAGE);
    EXPECT_EQ(number(), 7) << "only writes are refused";
    kit.answerNormally();
    EXPECT_TRUE(config().setConfigVar("kit", 0, "number", 0, 1, &result));
}

TEST(TestKit, BreaksTheDeliveriesAndResumesThem) {
    TestKit kit(definitions);
    kit.attach();
    number();
    kit.forgetRequests();

    kit.breakConnections();
    kit.setValue("kit.number", "8");
    EXPECT_FALSE(kit.waitForDeliveries(std::chrono::milliseconds(200)));
    EXPECT_EQ(number(), 7) << "the cache keeps what it holds";
    kit.answerNormally();

    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(number(), 8);
    EXPECT_TRUE(kit.requests().empty()) << "nobody asked: the change arrived";
}

TEST(TestKit, BreaksConnectionsAsOftenAsWanted) {
    TestKit kit(definitions);
    kit.attach();
    number();

    for (int value = 0; value < 5; ++value) {
        kit.breakConnections();
        kit.setValue("kit.number", std::to_string(value));
        kit.answerNormally();
        ASSERT_TRUE(kit.waitForDeliveries());
        EXPECT_EQ(number(), value);
    }
}

TEST(TestKit, AnotherFailureTakesThePlaceOfBrokenConnections) {
    TestKit kit(definitions);
    kit.attach();
    number();

    kit.breakConnections();
    kit.answerNothing();
    kit.setValue("kit.number", "8");

    EXPECT_TRUE(kit.waitForDeliveries()) << "only requests fail";
    EXPECT_EQ(number(), 8);
}

TEST(TestKit, RefusalsNameTheVariablesOfALevelsRequest) {
    TestKit kit(definitions);
    kit.attach();
    eErrorT error = CFG_ERROR_NONE;

    kit.refuse(CFG_ERROR_LIMIT);

    EXPECT_FALSE(config().setAccessReadOnly("kit", 0, "number", 0, error));
    EXPECT_EQ(error, CFG_ERROR_LIMIT);
}

TEST(TestKit, KeepsItsStateAcrossARestart) {
    TestKit kit(definitions);
    kit.attach();
    kit.setValue("kit.kept", "8");

    kit.stopService();
    EXPECT_EQ(config().getConfigVarInt("kit", 0, "kept", 0), 0);
    EXPECT_EQ(kit.setValue("kit.kept", "9").m_error, CFG_ERROR_UNAVAILABLE);
    EXPECT_FALSE(kit.waitForDeliveries(std::chrono::milliseconds(1)));
    kit.startService();

    EXPECT_EQ(config().getConfigVarInt("kit", 0, "kept", 0), 8);
}

TEST(TestKit, DeliversAfterARestartWithoutAnybodyRegisteringAgain) {
    TestKit kit(definitions);
    kit.attach();
    number();
    kit.forgetRequests();

    kit.restartService();
    kit.setValue("kit.number", "8");

    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(number(), 8);
    EXPECT_TRUE(kit.requests().empty());
}

TEST(TestKit, StartsAfreshInTheSameProcess) {
    {
        TestKit kit(definitions);
        kit.attach();
        number();
        kit.setValue("kit.number", "8");
    }
    EXPECT_EQ(config().getConfigVarInt("kit", 0, "nothing", 0), 0) << "without a kit nothing is reached";

    TestKit kit(definitions);
    kit.attach();

    EXPECT_EQ(number(), 7);
    kit.setValue("kit.number", "9");
    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(number(), 9) << "registrations of the first kit hold for the second";
}

TEST(TestKit, HandsOutItsTransportForLinksOfTheTestsOwn) {
    TestKit kit(definitions);
    AppConfig::PlatformCfgService link(0, "", "");
    AppCfgManager own(&link);

    own.setPbInterface(&kit.transport());

    EXPECT_EQ(own.getConfigVarInt("kit", 0, "number", 0), 7);
}

TEST(TestKit, WaitsUntilAConditionHolds) {
    TestKit kit(definitions);
    kit.attach();
    number();
    config().setConfigVar("kit", 0, "number", 0, 3);

    EXPECT_TRUE(kit.waitUntil([] { return number() == 3; }));
    EXPECT_FALSE(kit.waitUntil([] { return false; }, std::chrono::milliseconds(1)));
}

}  // namespace
}  // namespace AppConfigTest
