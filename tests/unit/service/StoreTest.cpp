#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "TemporaryDirectory.h"
#include "store/MemoryStore.h"
#include "store/SqliteStore.h"

namespace AppConfigService {
namespace {

using AppConfigTest::TemporaryDirectory;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

VariableRow variable(const std::string& attribute, const Value& value) {
    VariableRow row;
    row.name = VariableName("node", 1, attribute, 2);
    row.value = value;
    row.ownValue = true;
    row.options = {"x", std::string("\0\xff,", 3)};
    row.defaultIndex = 1;
    row.ownOptions = true;
    row.readLevel = 3;
    row.ownReadLevel = true;
    row.writeLevel = 4;
    row.ownWriteLevel = true;
    row.changes = {7, 8, 9};
    return row;
}

const ClientKey someone{1000, "p"};
const ClientKey another{2000, "p"};

enum class Kind { memory, sqlite };

class Store : public ::testing::TestWithParam<Kind> {
protected:
    Store() { reopen(); }

    /// What the next service finds.
    void reopen() {
        if (GetParam() == Kind::memory) {
            if (!m_store) m_store = std::make_unique<MemoryStore>();
            return;
        }
        m_store.reset();
        m_store = std::make_unique<SqliteStore>(m_directory.file("state.db"));
    }
    StoredState load() { return m_store->load().value(); }
    void commit(ChangeNumber changes, std::vector<StoredChange> entries) {
        EXPECT_TRUE(m_store->commit({changes, {}, std::move(entries)}));
    }

    TemporaryDirectory m_directory;
    std::unique_ptr<StateStore> m_store;
};

TEST_P(Store, IsEmptyAtFirstAndKeepsItsName) {
    const StoredState state = load();
    ASSERT_EQ(state.timelines.size(), 1U);
    EXPECT_NE(state.timelines[0].id, 0U);
    EXPECT_EQ(state.timelines[0].after, 0U);
    EXPECT_EQ(state.changes, 0U);
    EXPECT_THAT(state.variables, IsEmpty());
    reopen();
    EXPECT_EQ(load().timelines[0].id, state.timelines[0].id);
}

TEST_P(Store, KeepsEachFieldOfAVariable) {
    load();
    const Value value{"", "a", std::string("zero\0byte", 9), "\xff\xfe"};
    commit(9, {variable("b", value)});
    reopen();
    const StoredState state = load();
    EXPECT_EQ(state.changes, 9U);
    ASSERT_EQ(state.variables.size(), 1U);
    const VariableRow& row = state.variables.front();
    const VariableRow expected = variable("b", value);
    EXPECT_TRUE(row.name == expected.name);
    EXPECT_EQ(row.value, value);
    EXPECT_EQ(row.options, expected.options);
    EXPECT_EQ(row.defaultIndex, 1U);
    EXPECT_EQ(row.readLevel, 3);
    EXPECT_EQ(row.writeLevel, 4);
    EXPECT_TRUE(row.ownValue && row.ownOptions && row.ownReadLevel && row.ownWriteLevel);
    EXPECT_EQ(row.changes, expected.changes);
}

TEST_P(Store, ReplacesAVariableOfTheSameName) {
    load();
    commit(1, {variable("b", {"1"}), variable("c", {"2"})});
    commit(2, {variable("b", {"3"})});
    reopen();
    const StoredState state = load();
    ASSERT_EQ(state.variables.size(), 2U);
    EXPECT_THAT(state.variables[0].value, ElementsAre("3"));
}

TEST_P(Store, KeepsClientsAndTheirRegistrationsAndForgetsThemTogether) {
    load();
    const RegistrationRow one{someone, "self", "display", 3, "link"};
    const RegistrationRow two{someone, "self", "display", 5, "link"};
    const RegistrationRow three{another, "self", "display", 3, "link"};
    commit(0, {ClientRow{someone, 2, 2}, ClientRow{another, 1, 1}, one, two, three, one, ClientRow{someone, 4, 3}});
    reopen();
    StoredState state = load();
    ASSERT_EQ(state.clients.size(), 2U);
    EXPECT_EQ(state.clients[0].client.endpoint, "p");
    EXPECT_EQ(state.clients[0].role, 3);
    EXPECT_EQ(state.registrations.size(), 3U);
    commit(0, {RegistrationRemoved{two}});
    reopen();
    EXPECT_EQ(load().registrations.size(), 2U);
    commit(0, {ClientForgotten{someone}});
    reopen();
    state = load();
    ASSERT_EQ(state.clients.size(), 1U);
    ASSERT_EQ(state.registrations.size(), 1U);
    EXPECT_TRUE(state.registrations[0].client == another);
    EXPECT_EQ(state.registrations[0].name, "display");
    EXPECT_EQ(state.registrations[0].type, 3);
    EXPECT_EQ(state.registrations[0].callback, "link");
    EXPECT_EQ(state.registrations[0].requester, "self");
}

TEST_P(Store, CarriesABatchOutInItsOrder) {
    load();
    const RegistrationRow row{someone, "self", "display", 3, "link"};
    commit(0, {ClientRow{someone, 1, 1}, row, RegistrationRemoved{row}, row, ClientForgotten{someone},
               ClientRow{someone, 2, 2}});
    reopen();
    EXPECT_EQ(load().clients.size(), 1U);
    EXPECT_THAT(load().registrations, IsEmpty());
}

TEST_P(Store, KeepsTheNewestTimelinesAndTheNumbersOfRegistrationsAndRoles) {
    load();
    for (std::uint64_t id = 1; id <= mostTimelines + 3; ++id) {
        ASSERT_TRUE(m_store->commit({id, Timeline{id << 56U, id - 1}, {}}));
    }
    VariableRow hidden = variable("h", {"x"});
    hidden.hidden = true;
    commit(100, {ClientRow{someone, 4, 3, 98}, RegistrationRow{someone, "self", "display", 3, "link", 99}, hidden});
    reopen();
    const StoredState state = load();
    ASSERT_EQ(state.timelines.size(), mostTimelines);
    EXPECT_EQ(state.timelines.front().id, std::uint64_t{4} << 56U) << "its own and the first three are forgotten";
    EXPECT_EQ(state.timelines.back().id, std::uint64_t{mostTimelines + 3} << 56U);
    EXPECT_EQ(state.timelines.back().after, mostTimelines + 2);
    EXPECT_EQ(state.clients.at(0).claimedRole, 4);
    EXPECT_EQ(state.clients.at(0).role, 3);
    EXPECT_EQ(state.clients.at(0).roleSince, 98U);
    EXPECT_EQ(state.registrations.at(0).since, 99U);
    EXPECT_TRUE(state.variables.at(0).hidden);
}

INSTANTIATE_TEST_SUITE_P(, Store, ::testing::Values(Kind::memory, Kind::sqlite),
                         [](const auto& parameter) { return parameter.param == Kind::memory ? "Memory" : "Sqlite"; });

TEST(SqliteStore, RefusesAFileOfAnotherVersionAndLeavesItAlone) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("state.db");
    ASSERT_TRUE(SqliteStore(file).load());
    SQLite::Database(file, SQLite::OPEN_READWRITE).exec("PRAGMA user_version = 99");
    const Result<StoredState> refused = SqliteStore(file).load();
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().reason, HasSubstr("it has version 99, this service reads versions 1 to 4"));
    EXPECT_THAT(refused.error().reason, HasSubstr(file));
}

/// What version 1 of the service wrote.
constexpr const char* version1 = R"(
CREATE TABLE state (id TEXT NOT NULL, changes INTEGER NOT NULL);
CREATE TABLE variable (
  node TEXT NOT NULL, node_instance INTEGER NOT NULL, attribute TEXT NOT NULL, attribute_instance INTEGER NOT NULL,
  value BLOB NOT NULL, own_value INTEGER NOT NULL,
  options BLOB NOT NULL, default_index INTEGER NOT NULL, own_options INTEGER NOT NULL,
  read_level INTEGER NOT NULL, own_read_level INTEGER NOT NULL,
  write_level INTEGER NOT NULL, own_write_level INTEGER NOT NULL,
  value_change INTEGER NOT NULL, options_change INTEGER NOT NULL, levels_change INTEGER NOT NULL,
  PRIMARY KEY (node, node_instance, attribute, attribute_instance)) WITHOUT ROWID;
CREATE TABLE client (
  uid INTEGER NOT NULL, endpoint TEXT NOT NULL, role INTEGER NOT NULL,
  PRIMARY KEY (uid, endpoint)) WITHOUT ROWID;
CREATE TABLE registration (
  uid INTEGER NOT NULL, endpoint TEXT NOT NULL, requester TEXT NOT NULL, name TEXT NOT NULL, type INTEGER NOT NULL,
  callback TEXT NOT NULL,
  PRIMARY KEY (uid, endpoint, requester, name, type, callback)) WITHOUT ROWID;
INSERT INTO state VALUES ('0123456789abcdef0011223344556677', 42);
INSERT INTO variable VALUES ('node', 1, 'b', 2, X'0000000361626300000000', 1, X'', 0, 0, 1, 0, 2, 1, 40, 41, 42);
INSERT INTO client VALUES (1000, 'p', 3);
INSERT INTO registration VALUES (1000, 'p', 'self', 'display', 3, 'link');
PRAGMA user_version = 1;
)";

TEST(SqliteStore, TakesOverAFileOfVersion1WithAllThatItHolds) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("state.db");
    SQLite::Database(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE).exec(version1);
    {
        SqliteStore store(file);
        ASSERT_TRUE(store.load());
        ASSERT_TRUE(store.commit({43, Timeline{7, 42}, {variable("c", {"new"})}}));
    }
    const StoredState state = SqliteStore(file).load().value();
    EXPECT_EQ(state.changes, 43U);
    ASSERT_EQ(state.timelines.size(), 2U);
    EXPECT_EQ(state.timelines[0].id, 0x0123456789abcdefU) << "the first half of the file's former name";
    EXPECT_EQ(state.timelines[0].after, 0U);
    EXPECT_EQ(state.timelines[1].id, 7U);
    EXPECT_EQ(state.timelines[1].after, 42U);
    ASSERT_EQ(state.variables.size(), 2U);
    const VariableRow& row = state.variables[0];
    EXPECT_EQ(row.name.fullyQualified(), "node.b");
    EXPECT_EQ(row.name.nodeInstance, 1);
    EXPECT_EQ(row.name.attributeInstance, 2);
    EXPECT_THAT(row.value, ElementsAre("abc", ""));
    EXPECT_TRUE(row.ownValue);
    EXPECT_EQ(row.readLevel, 1);
    EXPECT_EQ(row.writeLevel, 2);
    EXPECT_TRUE(row.ownWriteLevel);
    EXPECT_EQ(row.changes, (AppConfigService::PerKind<ChangeNumber>{40, 41, 42}));
    EXPECT_FALSE(row.hidden);
    ASSERT_EQ(state.clients.size(), 1U);
    EXPECT_EQ(state.clients[0].claimedRole, 3) << "as far as it is known";
    EXPECT_EQ(state.clients[0].role, 3);
    EXPECT_EQ(state.clients[0].roleSince, 0U);
    ASSERT_EQ(state.registrations.size(), 1U);
    EXPECT_EQ(state.registrations[0].name, "display");
    EXPECT_EQ(state.registrations[0].since, 0U);
}

TEST(SqliteStore, TakesOverAFileOfVersion2WithItsTimelineAndTheRolesOfClients) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("state.db");
    std::uint64_t timeline = 0;
    {
        SqliteStore store(file);
        timeline = store.load().value().timelines.at(0).id;
        ASSERT_TRUE(store.commit({5, std::nullopt, {ClientRow{someone, 3, 3, 4}}}));
    }
    // Version 2 had everything but the claimed role.
    SQLite::Database(file, SQLite::OPEN_READWRITE)
        .exec("ALTER TABLE client DROP COLUMN claimed_role; PRAGMA user_version = 2;");
    const StoredState state = SqliteStore(file).load().value();
    EXPECT_EQ(state.changes, 5U);
    ASSERT_EQ(state.timelines.size(), 1U);
    EXPECT_EQ(state.timelines[0].id, timeline);
    ASSERT_EQ(state.clients.size(), 1U);
    EXPECT_EQ(state.clients[0].claimedRole, 3);
    EXPECT_EQ(state.clients[0].role, 3);
    EXPECT_EQ(state.clients[0].roleSince, 4U);
}

TEST(SqliteStore, RefusesWhatIsNoDatabaseAndWhatCannotBeMade) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("garbage");
    std::ofstream(file) << std::string(5000, 'g');
    const Result<StoredState> refused = SqliteStore(file).load();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, CommonIF::ERROR_STORAGE);
    EXPECT_THAT(refused.error().reason, HasSubstr(file));
    EXPECT_FALSE(SqliteStore(directory.file("no/such/directory.db")).load());
}

TEST(SqliteStore, RefusesAFileThatAnotherServiceHasOpen) {
    const TemporaryDirectory directory;
    SqliteStore first(directory.file("state.db"));
    ASSERT_TRUE(first.load());
    const Result<StoredState> refused = SqliteStore(directory.file("state.db")).load();
    ASSERT_FALSE(refused);
    EXPECT_THAT(refused.error().reason, HasSubstr("locked"));
}

TEST(SqliteStore, CommitsNothingBeforeItIsLoaded) {
    const TemporaryDirectory directory;
    const Result<> refused = SqliteStore(directory.file("state.db")).commit({});
    ASSERT_FALSE(refused);
    EXPECT_FALSE(refused.error().reason.empty());
}

/// Commits one number after the other and says so once each is acknowledged, until it is killed.
[[noreturn]] void writeUntilKilled(const std::string& file, int out) {
    SqliteStore store(file);
    const Result<StoredState> state = store.load();
    if (!state) _exit(1);
    for (ChangeNumber number = state->changes + 1;; ++number) {
        if (!store.commit({number, {}, {variable("b", {std::to_string(number)})}})) _exit(2);
        if (write(out, &number, sizeof(number)) != sizeof(number)) _exit(3);
    }
}

TEST(SqliteStore, HoldsEachAcknowledgedBatchAfterItsWriterWasKilled) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("state.db");
    ChangeNumber acknowledged = 0;
    for (int round = 0; round < 3; ++round) {
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        const pid_t writer = fork();
        ASSERT_GE(writer, 0);
        if (writer == 0) {
            close(pipe[0]);
            writeUntilKilled(file, pipe[1]);
        }
        close(pipe[1]);
        ChangeNumber number = 0;
        for (int i = 0; i < 20; ++i) {
            ASSERT_EQ(read(pipe[0], &number, sizeof(number)), static_cast<ssize_t>(sizeof(number)));
        }
        kill(writer, SIGKILL);
        waitpid(writer, nullptr, 0);
        do acknowledged = number;
        while (read(pipe[0], &number, sizeof(number)) == static_cast<ssize_t>(sizeof(number)));
        close(pipe[0]);

        const StoredState state = SqliteStore(file).load().value();
        EXPECT_GE(state.changes, acknowledged);
        EXPECT_LE(state.changes, acknowledged + 1) << "at most the one that was not acknowledged any more";
        ASSERT_EQ(state.variables.size(), 1U);
        EXPECT_THAT(state.variables.front().value, ElementsAre(std::to_string(state.changes)));
    }
}

}  // namespace
}  // namespace AppConfigService
