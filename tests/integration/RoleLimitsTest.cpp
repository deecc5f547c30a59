// A limit of roles that is read again while the service runs, or at a start, holds for clients that are there already.
#include <gtest/gtest.h>
#include <unistd.h>

#include "ClientProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

constexpr const char* secret = "system.secret";

/// Definitions under which the tests' own user may claim \p role at most. Everybody may write. \p mark is a default,
/// whose arrival at a client says that the definitions are in use.
std::string limitedTo(int role, const std::string& mark) {
    return R"(
variable { node: "system" attribute: "secret" type: TEXT read_level: 3 }
variable { node: "system" attribute: "label" type: TEXT }
variable { node: "system" attribute: "mark" type: TEXT default_value: ")" +
           mark + "\" }\nrole_limit { uid: " + std::to_string(getuid()) + " role: " + std::to_string(role) + " }\n";
}

class RoleLimits : public ::testing::Test {
protected:
    RoleLimits() {
        service.start();
        client.perform({{"do", "role"}, {"role", 4}});
        client.perform({{"do", "watch"}, {"var", "system"}, {"name", "w"}});
    }

    void set(const std::string& var, const std::string& value) {
        const Finished finished = service.appcfg({"set", var, value});
        EXPECT_EQ(finished.status, 0) << finished.err;
    }
    void limit(int role, const std::string& mark) {
        service.reload(limitedTo(role, mark));
        awaitChange("system.mark", mark);
    }
    void awaitChange(const std::string& var, const std::string& value) {
        client.waitForEvent({{"event", "change"}, {"var", var}, {"value", {value}}});
    }
    std::size_t toldOf(const std::string& value) const {
        return client.eventsSoFar({{"event", "change"}, {"var", secret}, {"value", {value}}}).size();
    }

    ServiceProcess service{limitedTo(4, "first")};
    ClientProcess client{service};
};

TEST_F(RoleLimits, OneThatFallsHoldsAtOnceAndOverARestartUntilItRises) {
    set(secret, "s1");
    awaitChange(secret, "s1");

    limit(2, "second");
    set(secret, "s2");
    set("system.label", "x2");
    awaitChange("system.label", "x2");
    EXPECT_EQ(toldOf("s2"), 0U);

    service.stop();
    service.start();
    set(secret, "s3");
    set("system.label", "x3");
    awaitChange("system.label", "x3");
    EXPECT_EQ(toldOf("s3"), 0U);

    limit(4, "third");
    awaitChange(secret, "s3");
    EXPECT_EQ(toldOf("s2"), 0U) << "only the newest state counts";
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", secret}})["value"], Json::array({"s3"}));
}

TEST_F(RoleLimits, OneThatRoseWhileTheServiceWasDownBringsWhatItReveals) {
    limit(2, "second");
    set(secret, "s1");
    set("system.label", "x1");
    awaitChange("system.label", "x1");
    service.stop();
    service.directory().write("test.textproto", limitedTo(4, "third"));

    service.start();

    awaitChange(secret, "s1");
}

TEST_F(RoleLimits, OneThatFallsEndsTheQuestionToAProviderThatIsStillThinking) {
    client.perform({{"do", "provide"}, {"var", secret}, {"name", "p"}, {"hang", true}, {"reject", "no"}});
    ClientProcess writer(service);
    const int writing = writer.start({{"do", "set"}, {"var", secret}, {"value", {"s1"}}});
    client.waitForEvent({{"event", "validate"}});

    // The client that thinks takes no notifications meanwhile.
    service.reload(limitedTo(2, "second"));

    EXPECT_EQ(writer.answerTo(writing)["ok"], true);
    client.perform({{"do", "release"}});
    awaitChange("system.mark", "second");
    set(secret, "s2");
    set("system.label", "x2");
    awaitChange("system.label", "x2");
    EXPECT_EQ(client.eventsSoFar({{"event", "validate"}}).size(), 1U);
    EXPECT_EQ(client.eventsSoFar({{"event", "apply"}}).size(), 0U);
}

}  // namespace
}  // namespace AppConfigTest
