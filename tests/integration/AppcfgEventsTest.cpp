#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>

#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

using Words = std::vector<std::string>;
using Json = nlohmann::json;

/// A command-line client that runs until it is told to end.
class Running {
public:
    Running(const ServiceProcess& service, const Words& words, const std::string& readyText)
        : m_process(service.appcfgWords(words)) {
        const auto ready = m_process.waitForErrorLine(
            [&](const std::string& line) { return line.find(readyText) != std::string::npos; });
        if (!ready) throw std::runtime_error("not ready: " + m_process.errors());
    }

    /// \return the next line that holds \p text; a sentence that says so when none comes.
    std::string lineWith(const std::string& text) {
        return m_process.waitForLine([&](const std::string& line) { return line.find(text) != std::string::npos; })
            .value_or("no line with '" + text + "' in:\n" + m_process.output());
    }

    int interrupt() {
        m_process.signal(SIGINT);
        return m_process.waitForEnd().value_or(-1);
    }

    std::string output() const { return m_process.output(); }

private:
    ChildProcess m_process;
};

class AppcfgEvents : public ::testing::Test {
protected:
    AppcfgEvents() { service.start(); }

    static bool endsWith(const std::string& line, const std::string& end) {
        return line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
    }

    ServiceProcess service;
};

TEST_F(AppcfgEvents, WatchPrintsOneLinePerEvent) {
    Running watch(service, {"watch", "display.brightness", "--role", "1"}, "watching display.brightness");

    service.appcfg({"set", "display.brightness", "30"});
    service.appcfg({"access", "display.brightness", "--write", "1"});
    service.appcfg({"submit", "display.brightness", "--type", "1"});
    service.appcfg({"set", "display.mode", "night"});

    EXPECT_TRUE(endsWith(watch.lineWith("change"), "  change  display.brightness  30")) << watch.output();
    EXPECT_TRUE(endsWith(watch.lineWith("access"), "  access  display.brightness  read 0 write 1")) << watch.output();
    EXPECT_TRUE(endsWith(watch.lineWith("submit"), "  submit  display.brightness  type 1")) << watch.output();
    EXPECT_EQ(watch.interrupt(), 0);
    EXPECT_EQ(watch.output().find("display.mode"), std::string::npos) << watch.output();
}

TEST_F(AppcfgEvents, WatchPrintsObjectsWithJson) {
    Running watch(service, {"watch", "display", "--json"}, "watching display");

    service.appcfg({"options", "display.mode", "--set", "day,dusk"});

    const Json event = Json::parse(watch.lineWith("options"));
    EXPECT_EQ(event["kind"], "options");
    EXPECT_EQ(event["variable"], "display.mode");
    EXPECT_EQ(event["options"], Json::array({"day", "dusk"}));
    EXPECT_TRUE(event.contains("time"));
    EXPECT_EQ(watch.interrupt(), 0);
}

TEST_F(AppcfgEvents, WatchTakesKindsOneByOne) {
    Running watch(service, {"watch", "display.brightness", "--kind", "submit"}, "watching");

    service.appcfg({"set", "display.brightness", "30"});
    service.appcfg({"submit", "display.brightness"});

    watch.lineWith("submit");
    EXPECT_EQ(watch.interrupt(), 0);
    EXPECT_EQ(watch.output().find("change"), std::string::npos) << watch.output();
}

TEST_F(AppcfgEvents, WatchOfANodeCoversTheNodesBelowIt) {
    Running nested(service, {"watch", "net.wifi", "--role", "1"}, "watching net.wifi");
    Running outer(service, {"watch", "display"}, "watching display");

    service.appcfg({"set", "net.wifi[1].ssid", "home", "--role", "2"});
    service.appcfg({"set", "display.panel.name", "left"});

    EXPECT_TRUE(endsWith(nested.lineWith("change"), "net.wifi[1].ssid  home")) << nested.output();
    EXPECT_TRUE(endsWith(outer.lineWith("change"), "display.panel.name  left")) << outer.output();
}

TEST_F(AppcfgEvents, WatchOfAWrittenInstanceLeavesOthersOut) {
    ServiceProcess two(R"(
variable { node: "net" node_instance: 1 attribute: "name" type: TEXT default_value: "" }
variable { node: "net" node_instance: 2 attribute: "name" type: TEXT default_value: "" })");
    two.start();
    Running watch(two, {"watch", "net[2].name"}, "watching");

    two.appcfg({"set", "net[1].name", "one"});
    two.appcfg({"set", "net[2].name", "two"});

    EXPECT_TRUE(endsWith(watch.lineWith("change"), "net[2].name  two"));
    EXPECT_EQ(watch.output().find("net[1]"), std::string::npos) << watch.output();
}

TEST_F(AppcfgEvents, WatchTellsThatTheServiceWentAndCameBack) {
    Running watch(service, {"watch", "display.brightness"}, "watching");

    service.kill();
    EXPECT_TRUE(endsWith(watch.lineWith("service"), "  service  ConfigSrvc  lost")) << watch.output();
    service.start();
    EXPECT_TRUE(endsWith(watch.lineWith("service"), "  service  ConfigSrvc  back")) << watch.output();
    service.appcfg({"set", "display.brightness", "31"});

    EXPECT_TRUE(endsWith(watch.lineWith("change"), "display.brightness  31")) << watch.output();
    EXPECT_EQ(watch.interrupt(), 0);
}

TEST_F(AppcfgEvents, ProvideRejectsWithItsText) {
    Running provider(service, {"provide", "audio.volume", "--reject", "not tonight"}, "providing audio.volume");

    const Finished refused = service.appcfg({"set", "audio.volume", "9"});

    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("not tonight"), std::string::npos) << refused.err;
    EXPECT_TRUE(endsWith(provider.lineWith("refuse"), "audio.volume  9  (not tonight)")) << provider.output();
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "5\n");
    EXPECT_EQ(provider.interrupt(), 0);
    EXPECT_EQ(service.appcfg({"set", "audio.volume", "9"}).status, 0) << "nobody is asked any more";
}

TEST_F(AppcfgEvents, ProvideAcceptsAndTellsWhatIsToBeApplied) {
    Running provider(service, {"provide", "audio"}, "providing audio");

    EXPECT_EQ(service.appcfg({"set", "audio.volume", "9"}).status, 0);

    EXPECT_TRUE(endsWith(provider.lineWith("accept"), "audio.volume  9")) << provider.output();
    EXPECT_TRUE(endsWith(provider.lineWith("apply"), "audio.volume  9")) << provider.output();
}

TEST_F(AppcfgEvents, ProvideLetsACommandDecide) {
    Running provider(service,
                     {"provide", "audio.volume", "--exec",
                      "judge() { [ \"$2\" -le 10 ] || { echo \"$1 is loud at $2\"; exit 1; }; }; judge"},
                     "providing");

    EXPECT_EQ(service.appcfg({"set", "audio.volume", "10"}).status, 0);
    const Finished refused = service.appcfg({"set", "audio.volume", "11"});

    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("audio.volume is loud at 11"), std::string::npos) << refused.err;
    EXPECT_EQ(provider.interrupt(), 0);
}

TEST_F(AppcfgEvents, ACommandThatTakesTooLongRefusesBeforeTheServicesOwnDeadline) {
    Running provider(service, {"provide", "audio.volume", "--exec", "sleep 20 #", "--exec-timeout", "0.1"},
                     "providing");

    const Finished refused = service.appcfg({"set", "audio.volume", "11"});

    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("100 ms"), std::string::npos) << refused.err;
}

}  // namespace
}  // namespace AppConfigTest
