// State files that earlier versions of the service wrote, and every later one has to open; see golden/make.sh.
#include <SQLiteCpp/SQLiteCpp.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>

#include "TemporaryDirectory.h"
#include "store/SqliteStore.h"

namespace ServiceTest {
namespace {

using namespace AppConfigService;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class GoldenState : public ::testing::TestWithParam<int> {
protected:
    GoldenState() {
        std::filesystem::copy_file(std::string(APPCONFIG_GOLDEN_DIR) + "/state-" + std::to_string(GetParam()) + ".db",
                                   m_file);
    }

    /// \return what the file holds, as a service that starts finds it.
    StoredState load() { return SqliteStore(m_file).load().value(); }

    const AppConfigTest::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path() + "/state.db";
};

std::map<std::string, VariableRow> byName(const StoredState& state) {
    std::map<std::string, VariableRow> rows;
    for (const VariableRow& row : state.variables) {
        const VariableName& name = row.name;
        rows[name.node + std::to_string(name.nodeInstance) + name.attribute + std::to_string(name.attributeInstance)] =
            row;
    }
    return rows;
}

TEST_P(GoldenState, HoldsEachValueWithItsOptionsAndLevels) {
    const StoredState state = load();
    const auto rows = byName(state);
    ASSERT_EQ(rows.size(), 5U);
    const VariableRow& text = rows.at("net.wifi1ssid2");
    EXPECT_THAT(text.value, ElementsAre("Häuschen"));
    EXPECT_TRUE(text.ownValue);
    EXPECT_EQ(text.readLevel, 1);
    EXPECT_FALSE(text.ownReadLevel);
    EXPECT_THAT(text.options, IsEmpty());
    EXPECT_THAT(rows.at("net.wifi2ssid0").value, ElementsAre(""));
    EXPECT_THAT(rows.at("system0servers0").value, ElementsAre("one", "", std::string(300, 'x')));
    const VariableRow& mode = rows.at("display0mode0");
    EXPECT_THAT(mode.options, ElementsAre("dawn", "day", "dusk"));
    EXPECT_EQ(mode.defaultIndex, 2U);
    EXPECT_TRUE(mode.ownOptions);
    EXPECT_GT(mode.changes.options, 0U);
    EXPECT_LE(mode.changes.options, state.changes);
    const VariableRow& brightness = rows.at("display0brightness0");
    EXPECT_THAT(brightness.value, ElementsAre("70"));
    EXPECT_FALSE(brightness.ownValue);
    EXPECT_EQ(brightness.readLevel, 2);
    EXPECT_EQ(brightness.writeLevel, 3);
    EXPECT_TRUE(brightness.ownReadLevel && brightness.ownWriteLevel);
    EXPECT_GT(brightness.changes.levels, 0U);
    EXPECT_FALSE(brightness.hidden);
}

TEST_P(GoldenState, HoldsTheClientThatDidNotSayGoodbyeAndItsRegistrations) {
    const StoredState state = load();
    ASSERT_EQ(state.clients.size(), 1U);
    EXPECT_EQ(state.clients.front().claimedRole, 4);
    EXPECT_EQ(state.clients.front().role, 4);
    std::set<std::string> names;
    for (const RegistrationRow& row : state.registrations) {
        EXPECT_EQ(row.client, state.clients.front().client);
        names.insert(row.name);
    }
    EXPECT_THAT(names, ElementsAre("display.mode", "net.wifi.ssid"));
}

TEST_P(GoldenState, GoesOnWhereItEnded) {
    const StoredState before = load();
    ASSERT_FALSE(before.timelines.empty());
    {
        SqliteStore store(m_file);
        const StoredState state = store.load().value();
        VariableRow row = byName(state).at("system0servers0");
        row.value = {"new", ""};
        ASSERT_TRUE(store.commit({state.changes + 1, Timeline{7, state.changes}, {row}}));
    }
    const StoredState after = load();
    EXPECT_EQ(after.changes, before.changes + 1);
    EXPECT_EQ(after.timelines.size(), before.timelines.size() + 1);
    EXPECT_EQ(after.timelines.front().id, before.timelines.front().id);
    EXPECT_THAT(byName(after).at("system0servers0").value, ElementsAre("new", ""));
    EXPECT_THAT(byName(after).at("display0mode0").options, ElementsAre("dawn", "day", "dusk"));
}

TEST_P(GoldenState, IsTakenOverWholeOrLeftAsItWas) {
    // Found only after all other steps.
    SQLite::Database(m_file, SQLite::OPEN_READWRITE)
        .exec("UPDATE variable SET options = X'00000005' WHERE attribute = 'mode'");
    const Result<StoredState> refused = SqliteStore(m_file).load();
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().reason, HasSubstr("a stored value cannot be read"));
    SQLite::Database file(m_file, SQLite::OPEN_READWRITE);
    EXPECT_EQ(file.execAndGet("PRAGMA user_version").getInt(), GetParam());
    EXPECT_EQ(file.execAndGet("SELECT value FROM variable WHERE attribute = 'mode'").getString().size(), 4U + 3U);
    EXPECT_EQ(file.tableExists("timeline"), GetParam() != 1);
}

INSTANTIATE_TEST_SUITE_P(OfVersion, GoldenState, ::testing::Values(1, 2, 3), ::testing::PrintToStringParamName());

}  // namespace
}  // namespace ServiceTest
