#include <gmock/gmock.h>

#include "support/Peer.h"
#include "wire/Roles.h"

namespace ServiceTest {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

struct ServiceLog : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};

    ServiceLog() { bench.log.clear(); }

    /// Sends a request about a variable in the lowest role. \return what was logged meanwhile.
    template <typename Request>
    std::vector<std::string> about(const ConfigIF::Inst& variable) {
        Request request;
        *request.mutable_inst() = variable;
        bench.log.clear();
        peer.post(request);
        return bench.log;
    }
};

TEST_F(ServiceLog, HasOneLineForEachRefusedRead) {
    peer.read("system.secret", 1);
    EXPECT_THAT(
        bench.log,
        ElementsAre("ConfigIF.ReadReq about system.secret by p (uid 1000, pid 4711) refused: ERROR_ACCESS_DENIED"));
    bench.log.clear();
    peer.read("no.such");
    EXPECT_THAT(
        bench.log,
        ElementsAre("ConfigIF.ReadReq about no.such by p (uid 1000, pid 4711) refused: ERROR_UNKNOWN_VARIABLE"));
}

TEST_F(ServiceLog, HasNoRefusalForWhatIsServed) {
    peer.read("display.brightness");
    peer.registerFor("display", valueChanged);
    about<ConfigIF::GetAccessLevelsReq>(inst("display.brightness"));
    EXPECT_THAT(bench.log, Each(Not(HasSubstr("refused"))));
}

TEST_F(ServiceLog, HasOneLineForEachRefusedReadOfOptionsAndLevels) {
    EXPECT_THAT(about<ConfigIF::GetAttributeOptionsReq>(inst("system.secret")),
                ElementsAre("ConfigIF.GetAttributeOptionsReq about system.secret by p (uid 1000, pid 4711) refused: "
                            "ERROR_ACCESS_DENIED"));
    EXPECT_THAT(
        about<ConfigIF::GetAccessLevelsReq>(inst("system.secret")),
        ElementsAre(
            "ConfigIF.GetAccessLevelsReq about system.secret by p (uid 1000, pid 4711) refused: ERROR_ACCESS_DENIED"));
    bench.log.clear();
    ConfigIF::GetDefaultOptionsReq request;
    request.set_name("system.secret");
    peer.post(request);
    EXPECT_THAT(bench.log, ElementsAre("ConfigIF.GetDefaultOptionsReq about system.secret by p (uid 1000, pid 4711) "
                                       "refused: ERROR_ACCESS_DENIED"));
}

TEST_F(ServiceLog, HasOneLineForLevelsThatAreSetAndNoneForThoseThatStay) {
    peer.setLevels("system.secret", 2, 3);
    EXPECT_THAT(bench.log, ElementsAre("levels of system.secret set to 2 and 3 by p (uid 1000, pid 4711)"));
    bench.log.clear();
    peer.setLevels("system.secret", 2, 3);
    EXPECT_THAT(bench.log, IsEmpty());
}

TEST_F(ServiceLog, HasOneLineForLevelsThatAreRefusedThoughNobodyWaits) {
    ConfigIF::SetAccessLevelsReq request;
    *request.add_inst() = inst("system.secret");
    request.set_read_level(AppConfigWire::roleToWire(0));
    peer.tell(request);
    EXPECT_THAT(
        bench.log,
        ElementsAre(
            "ConfigIF.SetAccessLevelsReq about system.secret by p (uid 1000, pid 4711) refused: ERROR_ACCESS_DENIED"));
}

TEST_F(ServiceLog, HasOneLineForEachSubmitAndForEachRefusedOne) {
    EXPECT_THAT(about<ConfigAdmin::SubmitReq>(inst("display.mode")),
                ElementsAre("submit of display.mode by p (uid 1000, pid 4711)"));
    EXPECT_THAT(
        about<ConfigAdmin::SubmitReq>(inst("system.secret")),
        ElementsAre(
            "ConfigAdmin.SubmitReq about system.secret by p (uid 1000, pid 4711) refused: ERROR_ACCESS_DENIED"));
}

TEST_F(ServiceLog, HasOneLineForEachRefusedRegistration) {
    peer.registerFor("", valueChanged);
    EXPECT_THAT(
        bench.log,
        ElementsAre("ConfigIF.RegisterClientCallbackReq by p (uid 1000, pid 4711) refused: ERROR_INVALID_REQUEST"));
    bench.log.clear();
    peer.registerFor("display", valueChanged, 4, std::string(256, 'c'));
    EXPECT_THAT(
        bench.log,
        ElementsAre("ConfigIF.RegisterClientCallbackReq about display by p (uid 1000, pid 4711) refused: ERROR_LIMIT"));
}

TEST_F(ServiceLog, HasOneLineForAWriteToANameOrNamespaceThatIsNotServed) {
    peer.write("no.such", {"1"});
    EXPECT_THAT(
        bench.log,
        ElementsAre("ConfigIF.WriteReq about no.such by p (uid 1000, pid 4711) refused: ERROR_UNKNOWN_VARIABLE"));
    bench.log.clear();
    ConfigIF::WriteReq request = writeRequest("display.brightness", {"1"});
    request.mutable_inst_value()->clear_inst();
    AppConfigService::writeName(var("display.brightness"), false, 3, *request.mutable_inst_value()->mutable_inst());
    peer.post(request);
    EXPECT_THAT(
        bench.log,
        ElementsAre(
            "ConfigIF.WriteReq by p (uid 1000, pid 4711) refused: ERROR_UNKNOWN_VARIABLE, this service does not "
            "serve namespace 3"));
}

TEST_F(ServiceLog, HasOneLineForARequestWhoseSenderHasTooLongAName) {
    ConfigIF::WriteReq request = writeRequest("display.brightness", {"1"});
    request.set_client_name(std::string(256, 'n'));
    peer.post(request);
    EXPECT_THAT(bench.log, ElementsAre("ConfigIF.WriteReq by p (uid 1000, pid 4711) refused: ERROR_LIMIT"));
}

TEST_F(ServiceLog, KeepsValuesOfHiddenVariablesToItself) {
    peer.write("system.secret", {"hush"});
    peer.write("system.secret", {"hush2"}, 1);
    peer.read("system.secret", 1);
    EXPECT_THAT(bench.log, Contains(HasSubstr("refused")));
    EXPECT_THAT(bench.log, Each(Not(HasSubstr("hush"))));
}

TEST_F(ServiceLog, StaysOneLineWhateverANameHolds) {
    ConfigIF::GetDefaultOptionsReq request;
    request.set_name("a\nfake" + std::string(10'000, 'x'));
    peer.post(request);
    ASSERT_EQ(bench.log.size(), 1U);
    EXPECT_THAT(bench.log[0], HasSubstr("about a\\nfakexxx"));
    EXPECT_LT(bench.log[0].size(), 1000U);
}

}  // namespace
}  // namespace ServiceTest
