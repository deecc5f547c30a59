#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "run/Runner.h"
#include "run/Shrink.h"
#include "script/ScriptText.h"

namespace Simulation {
namespace {

/// The copies are loaded once for all tests: loading takes longer than most of them.
Runner& runner() {
    static auto* const theRunner = new Runner;
    return *theRunner;
}

Script read(const std::string& text) {
    Script script;
    std::string error;
    EXPECT_TRUE(fromText(text, script, error)) << error;
    return script;
}

std::vector<std::uint64_t> digests(std::uint64_t count, bool backwards) {
    std::vector<std::uint64_t> result(count);
    runner().runAll(
        count, 2, [&](std::uint64_t i) { return generate(1 + (backwards ? count - 1 - i : i)); },
        [&](const Report& report) { result[report.seed - 1] = report.digest; });
    return result;
}

// One process reads and registers, another one writes.
constexpr char twoProcesses[] = R"(
seed 1
schedule switch 300 slow 0
weather 0
services 1
grace 300000
provider-deadline 2000

process uid 1000 deadline 5000
thread
  set-transport variable 0
then
  add-consumer variable 0 slot 1 number 1
  read-text variable 0
  pause number 50 variable 0

process uid 1000 deadline 5000
thread
  set-transport variable 0
then
  pause number 20 variable 0
  write variable 0 "w100"
  read-text variable 0
)";

TEST(Simulation, ReplaysASeedExactlyWhateverRanBefore) {
    constexpr std::uint64_t count = 40;
    const std::vector<std::uint64_t> forwards = digests(count, false);
    // Other addresses: what was allocated in between lies in the way.
    std::vector<std::unique_ptr<std::string>> others;
    for (std::size_t i = 1; i < 2000; ++i) others.push_back(std::make_unique<std::string>(i % 300, 'x'));
    EXPECT_EQ(digests(count, true), forwards);
}

TEST(Simulation, GivesEachSeedAnotherCourse) {
    const std::vector<std::uint64_t> all = digests(20, false);
    for (std::size_t i = 1; i < all.size(); ++i) EXPECT_NE(all[i - 1], all[i]);
}

TEST(Simulation, HoldsTwoHundredOperationsAndFiveFaultsInEachSeed) {
    runner().runAll(
        200, 2, [](std::uint64_t i) { return generate(i + 1); },
        [](const Report& report) {
            EXPECT_GE(report.operations, 200) << "seed " << report.seed;
            EXPECT_GE(report.faults, 5) << "seed " << report.seed;
            EXPECT_FALSE(report.has(Check::stuck)) << "seed " << report.seed;
            EXPECT_FALSE(report.has(Check::crashed)) << "seed " << report.seed;
        });
}

TEST(Simulation, MeetsEveryKindOfRace) {
    std::array<std::uint64_t, races> met{};
    runner().runAll(
        500, 2, [](std::uint64_t i) { return generate(i + 1); },
        [&](const Report& report) {
            for (std::size_t i = 0; i < races; ++i) met[i] += report.raceCounts[i];
        });
    for (std::size_t i = 0; i < races; ++i) EXPECT_NE(met[i], 0U) << nameOf(static_cast<Race>(i));
}

TEST(Simulation, FindsNothingWhereNothingIsWrong) {
    const Report report = runner().run(read(twoProcesses));
    for (const Finding& finding : report.findings) ADD_FAILURE() << nameOf(finding.check) << ": " << finding.sentence;
    EXPECT_EQ(report.operations, 6);
}

TEST(Simulation, NoticesThatNotificationsAreLost) {
    Script script = read(twoProcesses);
    script.sabotage = Sabotage::losesNotifications;
    const Report report = runner().run(script);
    EXPECT_TRUE(report.has(Check::cachedValue));
    EXPECT_TRUE(report.has(Check::consumer));
}

TEST(Simulation, NoticesThatAnAcknowledgedWriteIsNotStored) {
    Script script = read(twoProcesses);
    script.sabotage = Sabotage::storesNothing;
    EXPECT_TRUE(runner().run(script).has(Check::acknowledged));
}

TEST(Simulation, NoticesThatAReadIsServedWhichItsRoleDoesNotReach) {
    Script script = read(R"(
process uid 1000 deadline 5000
thread
  set-transport variable 0
then
  read-text variable 6
)");
    EXPECT_FALSE(runner().run(script).has(Check::role));
    script.sabotage = Sabotage::forgetsRoles;
    EXPECT_TRUE(runner().run(script).has(Check::role));
}

TEST(Simulation, LeavesOutOfAScriptWhatItsFailureDoesNotNeed) {
    Script script = generate(3);
    script.faults.clear();
    script.sabotage = Sabotage::losesNotifications;
    ASSERT_TRUE(runner().run(script).has(Check::cachedValue));
    const Script smaller = shrink(runner(), script, Check::cachedValue, 400);
    EXPECT_TRUE(runner().run(smaller).has(Check::cachedValue));
    EXPECT_LT(toText(smaller).size(), toText(script).size() / 4);
}

}  // namespace
}  // namespace Simulation
