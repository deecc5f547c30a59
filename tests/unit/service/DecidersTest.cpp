// Who may decide on the value of a variable.
#include <gmock/gmock.h>

#include "support/RoleLimits.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::uint32_t thirdUid = 3000;

const std::string definitions = R"(
variable { node: "a" attribute: "open" type: INT }
variable { node: "a" attribute: "two" type: INT read_level: 1 write_level: 2 }
variable { node: "a" attribute: "read" type: INT read_level: 3 }
variable { node: "a" node_instance: 1 attribute: "four" type: INT write_level: 4 }
variable { node: "a.c" attribute: "four" type: INT write_level: 4 }
variable { node: "ab" attribute: "four" type: INT write_level: 4 }
)";

struct Deciding : ::testing::Test {
    Deciding() { bench.pass(10s); }

    bool isAsked(Peer& one, const std::string& variable) {
        const ConnectionId connection = writer.post(writeRequest(variable, {std::to_string(++m_value)}));
        const auto question = one.question();
        if (question) one.answer(*question);
        EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection)) << variable;
        return question.has_value();
    }

    CoreBench bench{limitedTo(2, definitions)};
    Peer provider{bench, "p", otherUid};
    Peer writer{bench, "w"};
    int m_value = 0;
};

TEST_F(Deciding, TakesAUserWhoMayClaimBothLevelsWhateverTheProcessHasClaimed) {
    EXPECT_EQ(provider.registerFor("a.two", dynamicValidate, 0), CommonIF::ERROR_NONE);
    EXPECT_TRUE(isAsked(provider, "a.two"));
}

TEST_F(Deciding, IsRefusedBelowTheWriteLevelAndBelowTheReadLevel) {
    for (const char* variable : {"a.four", "a.read"}) {
        EXPECT_EQ(provider.registerFor(variable, dynamicValidate), CommonIF::ERROR_ACCESS_DENIED) << variable;
        EXPECT_TRUE(bench.logged(std::string("ConfigIF.RegisterClientCallbackReq about ") + variable +
                                 " by p (uid 2000, pid 4711) refused: ERROR_ACCESS_DENIED"));
        EXPECT_FALSE(isAsked(provider, variable == std::string("a.four") ? "a[1].four" : variable));
    }
}

TEST_F(Deciding, IsRefusedWhenManyRegistrationsAreToldAtOnceAndTheOthersAreTaken) {
    const Frame reply =
        provider.sendRegistrations({registration("a.four", dynamicValidate), registration("a.two", dynamicValidate),
                                    registration("a.four", onChange)});
    ASSERT_EQ(reply.refusal_size(), 1);
    EXPECT_EQ(reply.refusal(0).index(), 0U);
    EXPECT_EQ(reply.refusal(0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_TRUE(isAsked(provider, "a.two"));
}

TEST_F(Deciding, IsNotNeededToBeToldToApply) {
    EXPECT_EQ(provider.registerFor("a.c.four", onChange), CommonIF::ERROR_NONE);
    EXPECT_TRUE(isAsked(provider, "a.c.four"));
}

TEST_F(Deciding, OfANodeReachesWhatTheUserMayDecideOnAndSaysWhatItDoesNot) {
    EXPECT_EQ(provider.registerFor("a", dynamicValidate), CommonIF::ERROR_NONE);
    EXPECT_TRUE(isAsked(provider, "a.open"));
    EXPECT_FALSE(isAsked(provider, "a.c.four"));
    EXPECT_TRUE(bench.logged("provider p (uid 2000, pid 4711) is not asked about a.c.four: its user may not decide"));
}

TEST_F(Deciding, OfANameThatNothingIsCalledYetWaitsForTheDefinition) {
    EXPECT_EQ(provider.registerFor("new", dynamicValidate), CommonIF::ERROR_NONE);
    ASSERT_TRUE(
        bench.reload(limitedTo(2, definitions + "variable { node: 'new' attribute: 'x' type: INT write_level: 4 }"
                                                "variable { node: 'new' attribute: 'y' type: INT write_level: 2 }")));
    EXPECT_FALSE(isAsked(provider, "new.x"));
    EXPECT_TRUE(isAsked(provider, "new.y"));
}

TEST_F(Deciding, BelongsToTheServicesOwnUserAndRootAndToOthersUpToRoleOne) {
    Peer root(bench, "root", 0);
    Peer own(bench, "own");
    Peer third(bench, "third", thirdUid);
    EXPECT_EQ(root.registerFor("a.c.four", dynamicValidate), CommonIF::ERROR_NONE);
    EXPECT_EQ(own.registerFor("a.read", dynamicValidate), CommonIF::ERROR_NONE);
    EXPECT_EQ(third.registerFor("a.two", dynamicValidate), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(third.registerFor("a.open", dynamicValidate), CommonIF::ERROR_NONE);
}

TEST_F(Deciding, IsGivenToAUserByTheDefinitionsForANodeAndAllBelowIt) {
    const std::string named = definitions + "provider { uid: 3000 node: 'A' } provider { uid: 3000 node: 'x.y' }";
    ASSERT_TRUE(bench.reload(limitedTo(2, named)));
    Peer third(bench, "third", thirdUid);
    EXPECT_EQ(third.registerFor("ab.four", dynamicValidate), CommonIF::ERROR_ACCESS_DENIED) << "it only begins alike";
    EXPECT_EQ(third.registerFor("a", dynamicValidate), CommonIF::ERROR_NONE);
    for (const char* variable : {"a[1].four", "a.c.four", "a.read"}) EXPECT_TRUE(isAsked(third, variable)) << variable;
    EXPECT_EQ(provider.registerFor("a.c.four", dynamicValidate), CommonIF::ERROR_ACCESS_DENIED)
        << "that is another user";
}

TEST_F(Deciding, StaysWithAProviderAndItsUserWhenSomebodyRaisesTheLevels) {
    provider.registerFor("a.two", dynamicValidate);
    ASSERT_EQ(writer.setLevels("a.two", 4, 4), CommonIF::ERROR_NONE);
    EXPECT_TRUE(isAsked(provider, "a.two"));
    Peer again(bench, "again", otherUid);
    EXPECT_EQ(again.registerFor("a.two", dynamicValidate), CommonIF::ERROR_NONE);
    bench.restart(limitedTo(2, definitions));
    provider.connect();
    EXPECT_TRUE(isAsked(provider, "a.two"));
}

TEST_F(Deciding, ComesWithLevelsThatSomebodyLowers) {
    ASSERT_EQ(writer.setLevels("a.c.four", 0, 1), CommonIF::ERROR_NONE);
    EXPECT_EQ(provider.registerFor("a.c.four", dynamicValidate), CommonIF::ERROR_NONE);
    EXPECT_TRUE(isAsked(provider, "a.c.four"));
}

TEST_F(Deciding, GoesAtOnceWithAnEntryThatGoesAlsoForAQuestionThatIsOpen) {
    const std::string named = definitions + "provider { uid: 3000 node: 'a.c.four' }";
    ASSERT_TRUE(bench.reload(limitedTo(2, named)));
    Peer third(bench, "third", thirdUid);
    third.registerFor("a.c.four", dynamicValidate);
    const ConnectionId connection = writer.post(writeRequest("a.c.four", {"7"}));
    const auto question = third.question();
    ASSERT_TRUE(question);
    ASSERT_TRUE(bench.reload(limitedTo(2, definitions)));
    EXPECT_EQ(writer.replyTo<ConfigIF::WriteRsp>(connection).value().result().error(), CommonIF::ERROR_NONE);
    EXPECT_TRUE(bench.logged("withdrew the question to provider third (uid 3000, pid 4711) about a.c.four"));
    third.answer(*question, CommonIF::ERROR_REJECTED, {"too late"});
    EXPECT_FALSE(isAsked(third, "a.c.four"));
}

TEST_F(Deciding, RefusalsAreLoggedWithTheUserAndTheProcess) {
    provider.registerFor("a.two", dynamicValidate);
    const ConnectionId connection = writer.post(writeRequest("a.two", {"5"}));
    provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"no"});
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection));
    EXPECT_TRUE(bench.logged("provider p (uid 2000, pid 4711) refused the write of a.two by w (uid 1000, pid 4711)"));
    EXPECT_THAT(bench.log, Not(::testing::Contains(HasSubstr("no such"))));
}

}  // namespace
}  // namespace ServiceTest
