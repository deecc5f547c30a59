#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <ostream>

#include "ServiceProcess.h"
#include "SilentService.h"

namespace AppConfigTest {
namespace {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

/// What limits of time are multiplied with: builds under a sanitizer or an emulator are slower by nature.
constexpr int slowness = INTEGRATION_SLOWNESS;

class Appcfg : public ::testing::Test {
protected:
    Appcfg() { service.start(); }
    Finished appcfg(Words words) { return service.appcfg(std::move(words)); }
    ServiceProcess service;
};

/// Fails with everything that the tool wrote.
#define EXPECT_DONE(finished, text)              \
    do {                                         \
        const Finished ended = (finished);       \
        EXPECT_EQ(ended.status, 0) << ended.err; \
        EXPECT_EQ(ended.out, text) << ended.err; \
    } while (false)

#define EXPECT_REFUSED(finished, reason)                                   \
    do {                                                                   \
        const Finished ended = (finished);                                 \
        EXPECT_EQ(ended.status, 1) << ended.out << ended.err;              \
        EXPECT_NE(ended.err.find(reason), std::string::npos) << ended.err; \
    } while (false)

TEST_F(Appcfg, GetPrintsTheValue) {
    EXPECT_DONE(appcfg({"get", "display.brightness"}), "70\n");
    EXPECT_DONE(appcfg({"get", "system.servers"}), "a\nb\n");
    EXPECT_DONE(appcfg({"get", "Display.Brightness", "--json"}),
                "{\"variable\":\"display.brightness\",\"value\":[\"70\"]}\n");
}

TEST_F(Appcfg, GetReadsWithAType) {
    EXPECT_DONE(appcfg({"get", "display.brightness", "--as", "int"}), "70\n");
    EXPECT_DONE(appcfg({"get", "display.on", "--as", "bool", "--json"}),
                "{\"variable\":\"display.on\",\"value\":true}\n");
    EXPECT_DONE(appcfg({"get", "system.servers", "--as", "text"}), "a\n");
    EXPECT_DONE(appcfg({"get", "display.brightness", "--as", "bool"}), "false\n");
}

TEST_F(Appcfg, ARoleBelowTheReadLevelIsRefusedWithTheReason) {
    const Finished refused = appcfg({"get", "net.wifi[1].ssid", "--role", "0"});

    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_NE(refused.err.find("net.wifi[1].ssid"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("role"), std::string::npos) << refused.err;
    EXPECT_EQ(appcfg({"get", "net.wifi[1].ssid", "--role", "1"}).status, 0);
}

TEST_F(Appcfg, AnUnknownVariableIsRefusedWithTheReason) {
    EXPECT_REFUSED(appcfg({"get", "display.nothing"}), "no variable of that name");
    EXPECT_REFUSED(appcfg({"set", "display.nothing", "1"}), "no variable");
    EXPECT_REFUSED(appcfg({"show", "display.nothing"}), "no variable");
    EXPECT_REFUSED(appcfg({"reset", "display.nothing"}), "no variable");
    EXPECT_REFUSED(appcfg({"options", "display.nothing"}), "no variable");
    EXPECT_REFUSED(appcfg({"access", "display.nothing"}), "no variable");
    EXPECT_REFUSED(appcfg({"submit", "display.nothing"}), "no variable");
}

TEST_F(Appcfg, ListShowsTypesLevelsAndValues) {
    const Finished all = appcfg({"list"});
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_NE(all.out.find("display.brightness"), std::string::npos) << all.out;

    const Finished one = appcfg({"list", "*.ssid", "--json"});
    const Json line = Json::parse(one.out);
    EXPECT_EQ(line["variable"], "net.wifi[1].ssid");
    EXPECT_EQ(line["type"], "TEXT");
    EXPECT_EQ(line["read_level"], 1);
    EXPECT_EQ(line["write_level"], 2);
    EXPECT_EQ(line["value"], Json::array({""}));
    const Json hidden = Json::parse(appcfg({"list", "*.ssid", "--json", "--role", "0"}).out);
    EXPECT_FALSE(hidden.contains("value"));
    EXPECT_DONE(appcfg({"list", "nothing*"}), "");
}

TEST_F(Appcfg, SetWritesAndGetReadsItBack) {
    EXPECT_DONE(appcfg({"set", "display.brightness", "30"}), "display.brightness = 30\n");
    EXPECT_DONE(appcfg({"get", "display.brightness"}), "30\n");
    EXPECT_EQ(appcfg({"set", "system.servers", "x", "y", "z"}).status, 0);
    EXPECT_DONE(appcfg({"get", "system.servers"}), "x\ny\nz\n");
    EXPECT_EQ(appcfg({"set", "audio.volume", "-5"}).status, 0);
    EXPECT_DONE(appcfg({"get", "audio.volume", "--as", "int"}), "-5\n");
    EXPECT_EQ(appcfg({"set", "audio.volume", "--", "-6"}).status, 0);
    EXPECT_DONE(appcfg({"get", "audio.volume", "--as", "int"}), "-6\n");
}

TEST_F(Appcfg, SetWithoutWaitingHandsTheWriteOver) {
    EXPECT_EQ(appcfg({"set", "display.brightness", "30", "--no-wait"}).status, 0);
    // The write and this read come from two processes, so the write may still be on its way.
    Finished value;
    for (int attempt = 0; attempt < 200 && value.out != "30\n"; ++attempt)
        value = appcfg({"get", "display.brightness"});
    EXPECT_EQ(value.out, "30\n");
}

struct Refusal {
    const char* name;
    Words words;
    const char* limit;
};

/// Names the test in its full name, which else holds addresses.
void PrintTo(const Refusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

class AppcfgRefusal : public Appcfg, public ::testing::WithParamInterface<Refusal> {};

TEST_P(AppcfgRefusal, HasStatusOneAndNamesTheLimit) {
    const Finished before = appcfg({"list", "--json"});

    EXPECT_REFUSED(appcfg(GetParam().words), GetParam().limit);

    EXPECT_EQ(appcfg({"list", "--json"}).out, before.out) << "a refused write changes nothing";
}

INSTANTIATE_TEST_SUITE_P(
    OfAWrite, AppcfgRefusal,
    ::testing::Values(
        Refusal{"AboveTheMaximum", {"set", "display.brightness", "101"}, "100"},
        Refusal{"BelowTheMinimum", {"set", "display.brightness", "-1"}, "minimum 0"},
        Refusal{"NotANumber", {"set", "display.brightness", "bright"}, "bright"},
        Refusal{"TooManyForAScalar", {"set", "display.brightness", "1", "2"}, "display.brightness"},
        Refusal{"NotABool", {"set", "display.on", "maybe"}, "true"},
        Refusal{"NotAnOption", {"set", "display.mode", "dusk"}, "night"},
        Refusal{"TooLong", {"set", "display.panel.name", "far too long"}, "8"},
        Refusal{"TooManyElements", {"set", "system.servers", "1", "2", "3", "4", "5", "6", "7", "8", "9"}, "8"},
        Refusal{"NotOfThePattern", {"set", "system.label", "Not This"}, "[a-z0-9]{0,16}"},
        Refusal{"RoleBelowTheWriteLevel", {"set", "net.wifi[1].ssid", "x", "--role", "1"}, "role"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Appcfg, ValidateAsksWithoutWriting) {
    EXPECT_DONE(appcfg({"validate", "display.brightness", "30"}), "valid\n");
    EXPECT_REFUSED(appcfg({"validate", "display.brightness", "101"}), "maximum 100");
    EXPECT_DONE(appcfg({"get", "display.brightness"}), "70\n");
}

TEST_F(Appcfg, ResetReturnsToTheDefault) {
    appcfg({"set", "display.brightness", "30"});

    EXPECT_EQ(appcfg({"reset", "display.brightness"}).status, 0);

    EXPECT_DONE(appcfg({"get", "display.brightness"}), "70\n");
}

TEST_F(Appcfg, OptionsAreShownAndSet) {
    EXPECT_DONE(appcfg({"options", "display.mode"}), "day  (default)\nnight\nauto\n");
    EXPECT_EQ(appcfg({"options", "display.mode", "--set", "day,dusk", "--default-index", "1"}).status, 0);
    EXPECT_DONE(appcfg({"options", "display.mode", "--json"}),
                "{\"variable\":\"display.mode\",\"options\":[\"day\",\"dusk\"],\"default_index\":1}\n");
    EXPECT_DONE(appcfg({"options", "display.mode", "--default"}), "day  (default)\nnight\nauto\n");
    EXPECT_DONE(appcfg({"options", "display.brightness"}), "any value\n");
    EXPECT_REFUSED(appcfg({"options", "display.mode", "--set", "a", "--default-index", "1"}), "index");
}

TEST_F(Appcfg, AccessIsShownAndSet) {
    EXPECT_DONE(appcfg({"access", "display.on", "net.wifi[1].ssid"}),
                "display.on  read 0  write 0\nnet.wifi[1].ssid  read 1  write 2\n");
    EXPECT_EQ(appcfg({"access", "display.on", "--write", "1"}).status, 0);
    EXPECT_DONE(appcfg({"access", "display.on"}), "display.on  read 0  write 1\n");
    EXPECT_EQ(appcfg({"access", "display.on", "audio.muted", "--read-only", "--role", "4"}).status, 0);
    EXPECT_DONE(appcfg({"access", "audio.muted"}), "audio.muted  read 0  write 4\n");
    EXPECT_EQ(appcfg({"access", "audio.muted", "--hidden", "--role", "4"}).status, 0);
    EXPECT_REFUSED(appcfg({"access", "audio.muted"}), "role");
    EXPECT_REFUSED(appcfg({"access", "display.brightness", "audio.volume", "--write", "3", "--role", "2"}),
                   "audio.volume");
}

TEST_F(Appcfg, ShowPrintsTheWholeRecord) {
    const Finished shown = appcfg({"show", "display.mode", "--json"});

    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(Json::parse(shown.out), Json({{"variable", "display.mode"},
                                            {"value", {"day"}},
                                            {"is_default", true},
                                            {"read_level", 0},
                                            {"write_level", 0},
                                            {"options", {"day", "night", "auto"}},
                                            {"default_index", 0}}));
    EXPECT_NE(appcfg({"show", "display.mode"}).out.find("(the default)"), std::string::npos);
    EXPECT_TRUE(Json::accept(appcfg({"show", "display.brightness", "--json"}).out)) << "one object and nothing else";
}

TEST_F(Appcfg, BadUsageSendsNothingAndEndsWithTwo) {
    EXPECT_EQ(appcfg({"get"}).status, 2);
    EXPECT_EQ(appcfg({"get", "nodot"}).status, 2);
    EXPECT_EQ(appcfg({"--role", "7", "get", "display.on"}).status, 2);
    EXPECT_EQ(appcfg({"frobnicate"}).status, 2);
}

TEST_F(Appcfg, HelpAndVersionEndWellAndGoToStandardOutput) {
    EXPECT_NE(appcfg({"--help"}).out.find("watch"), std::string::npos);
    const Finished version = appcfg({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "appcfg " APPCONFIG_VERSION "\n");
    EXPECT_EQ(run({APPCONFIGD, "--version"}).out, "appconfigd " APPCONFIG_VERSION "\n");
}

TEST_F(Appcfg, ANamespaceIsServedOnlyByItsOwnService) {
    EXPECT_REFUSED(appcfg({"get", "3:display.brightness"}), "no variable");
    EXPECT_REFUSED(appcfg({"reset", "3:display.brightness"}), "no variable");
    ServiceProcess third(demoDefinitions, {"--namespace", "3"});
    third.start();
    EXPECT_DONE(third.appcfg({"get", "3:display.brightness"}), "70\n");
    EXPECT_DONE(third.appcfg({"set", "3:display.brightness", "5"}), "3:display.brightness = 5\n");
    EXPECT_DONE(third.appcfg({"reset", "3:display.brightness"}), "3:display.brightness reset\n");
    EXPECT_DONE(third.appcfg({"get", "display.brightness"}), "70\n");
}

TEST_F(Appcfg, AServiceMayBeReachedUnderAPath) {
    ServiceProcess other(demoDefinitions, {"--name", "node2/ConfigSrvc"});
    other.start();

    EXPECT_DONE(other.appcfg({"get", "display.brightness", "--service", "node2"}), "70\n");
    EXPECT_EQ(other.appcfg({"get", "display.brightness"}).status, 3);
    EXPECT_EQ(other.appcfg({"list", "--service", "node2"}).status, 0);
}

/// Runs the tool. \return how long it took from its start to its end.
std::chrono::steady_clock::duration timeOf(const ServiceProcess& service, const Words& words, Finished& finished) {
    const auto begin = std::chrono::steady_clock::now();
    finished = service.appcfg(words);
    return std::chrono::steady_clock::now() - begin;
}

/// Names a command line in a failure.
std::string text(const Words& words) {
    std::string line = "appcfg";
    for (const std::string& word : words) line += " " + word;
    return line;
}

TEST(AppcfgWithoutService, EndsWithThreeWithinASecondAndNamesTheEndpoint) {
    const ServiceProcess service;

    for (const Words& words :
         {Words{"get", "display.brightness"}, Words{"list"}, Words{"set", "display.brightness", "1"},
          Words{"watch", "display"}, Words{"set", "display.brightness", "1", "--no-wait"}}) {
        Finished finished;
        const auto taken = timeOf(service, words, finished);

        EXPECT_EQ(finished.status, 3) << text(words) << ": " << finished.out << finished.err;
        EXPECT_NE(finished.err.find("ConfigSrvc"), std::string::npos) << finished.err;
        EXPECT_LT(taken, std::chrono::seconds(1) * slowness) << text(words);
    }
}

TEST(AppcfgWithoutService, EndsWithFourAtTheDeadlineOfAServiceThatNeverAnswers) {
    const ServiceProcess service;
    const SilentService silent(service.runtimeDirectory());

    for (const Words& words : {Words{"get", "display.brightness"}, Words{"set", "display.brightness", "1"},
                               Words{"list"}, Words{"submit", "display.brightness"}}) {
        Words limited = words;
        limited.insert(limited.end(), {"--timeout", "1"});
        Finished finished;
        const auto taken = timeOf(service, limited, finished);

        EXPECT_EQ(finished.status, 4) << text(words) << ": " << finished.out << finished.err;
        EXPECT_NE(finished.err.find("1 s"), std::string::npos) << text(words) << ": " << finished.err;
        EXPECT_GE(taken, std::chrono::seconds(1)) << text(words);
        // Below the tool's own five seconds, and below two waits of one second each.
        EXPECT_LT(taken, std::chrono::milliseconds(1900) * slowness) << text(words);
    }
}

}  // namespace
}  // namespace AppConfigTest
