#include "store/SqliteStore.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdlib>

#include "store/TimelineId.h"

namespace AppConfigService {

namespace {

constexpr int schemaVersion = 3;

constexpr const char* schema = R"(
CREATE TABLE state (changes INTEGER NOT NULL);
CREATE TABLE timeline (position INTEGER PRIMARY KEY, id INTEGER NOT NULL, begins_after INTEGER NOT NULL);
CREATE TABLE variable (
  node TEXT NOT NULL, node_instance INTEGER NOT NULL, attribute TEXT NOT NULL, attribute_instance INTEGER NOT NULL,
  value BLOB NOT NULL, own_value INTEGER NOT NULL,
  options BLOB NOT NULL, default_index INTEGER NOT NULL, own_options INTEGER NOT NULL,
  read_level INTEGER NOT NULL, own_read_level INTEGER NOT NULL,
  write_level INTEGER NOT NULL, own_write_level INTEGER NOT NULL,
  value_change INTEGER NOT NULL, options_change INTEGER NOT NULL, levels_change INTEGER NOT NULL,
  hidden INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (node, node_instance, attribute, attribute_instance)) WITHOUT ROWID;
CREATE TABLE client (
  uid INTEGER NOT NULL, endpoint TEXT NOT NULL, role INTEGER NOT NULL, role_since INTEGER NOT NULL DEFAULT 0,
  claimed_role INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (uid, endpoint)) WITHOUT ROWID;
CREATE TABLE registration (
  uid INTEGER NOT NULL, endpoint TEXT NOT NULL, requester TEXT NOT NULL, name TEXT NOT NULL, type INTEGER NOT NULL,
  callback TEXT NOT NULL, since INTEGER NOT NULL DEFAULT 0,
  PRIMARY KEY (uid, endpoint, requester, name, type, callback)) WITHOUT ROWID;
)";

// Version 1 had one name per file, of 32 hexadecimal digits; half of them are its first timeline.
constexpr const char* fromVersion1 = R"(
CREATE TABLE timeline (position INTEGER PRIMARY KEY, id INTEGER NOT NULL, begins_after INTEGER NOT NULL);
CREATE TABLE counter (changes INTEGER NOT NULL);
INSERT INTO counter SELECT changes FROM state;
DROP TABLE state;
ALTER TABLE counter RENAME TO state;
ALTER TABLE variable ADD COLUMN hidden INTEGER NOT NULL DEFAULT 0;
ALTER TABLE client ADD COLUMN role_since INTEGER NOT NULL DEFAULT 0;
ALTER TABLE registration ADD COLUMN since INTEGER NOT NULL DEFAULT 0;
)";

// Up to version 2 a client was known by what its claim had been worth when it was made.
constexpr const char* fromVersion2 = R"(
ALTER TABLE client ADD COLUMN claimed_role INTEGER NOT NULL DEFAULT 0;
UPDATE client SET claimed_role = role;
)";

constexpr std::size_t lengthBytes = 4;

/// A list of texts, each preceded by its length in four bytes, the highest first. Texts may hold any bytes.
std::string pack(const Value& value) {
    std::string packed;
    for (const std::string& element : value) {
        for (std::size_t i = lengthBytes; i-- > 0;) packed += static_cast<char>(element.size() >> (8 * i) & 0xFFU);
        packed += element;
    }
    return packed;
}

Value unpack(const SQLite::Column& column) {
    const auto* at = static_cast<const unsigned char*>(column.getBlob());
    auto left = static_cast<std::size_t>(column.getBytes());
    Value value;
    while (left >= lengthBytes) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < lengthBytes; ++i) length = length << 8 | *at++;
        left -= lengthBytes;
        if (length > left) break;
        value.emplace_back(reinterpret_cast<const char*>(at), length);
        at += length;
        left -= length;
    }
    if (left != 0) throw SQLite::Exception("a stored value cannot be read");
    return value;
}

std::int64_t number(ChangeNumber value) {
    return static_cast<std::int64_t>(value);
}
ChangeNumber changeNumber(const SQLite::Column& column) {
    return static_cast<ChangeNumber>(column.getInt64());
}

/// Text as bytes: SQLite takes a text's end from its first zero byte otherwise.
std::string text(const SQLite::Column& column) {
    return {static_cast<const char*>(column.getBlob()), static_cast<std::size_t>(column.getBytes())};
}

void bind(SQLite::Statement& statement, int at, const ClientKey& client) {
    statement.bind(at, std::int64_t{client.uid});
    statement.bind(at + 1, client.endpoint);
}

}  // namespace

struct SqliteStore::Database {
    explicit Database(const std::string& file) : connection(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE) {
        // The process that has the file open keeps it to itself: two services on one state would undo each other.
        connection.exec("PRAGMA locking_mode = EXCLUSIVE");
        connection.exec("PRAGMA journal_mode = WAL");
        connection.exec("PRAGMA synchronous = FULL");
        const int version = connection.execAndGet("PRAGMA user_version").getInt();
        if (version < 0 || version > schemaVersion) {
            throw SQLite::Exception("it has version " + std::to_string(version) +
                                    ", this service reads versions 1 to " + std::to_string(schemaVersion));
        }
        if (version == schemaVersion) return;
        // Whole or not at all: a file that is cut off on the way is found as it was.
        SQLite::Transaction transaction(connection);
        if (version == 0) create();
        if (version == 1) takeOverVersion1();
        if (version == 1 || version == 2) connection.exec(fromVersion2);
        connection.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
        transaction.commit();
    }

    void create() {
        connection.exec(schema);
        connection.exec("INSERT INTO state VALUES (0)");
        beginWith(newTimelineId());
    }

    void takeOverVersion1() {
        constexpr std::size_t digits = 16;
        const std::string name = connection.execAndGet("SELECT id FROM state").getString();
        connection.exec(fromVersion1);
        const std::uint64_t id = std::strtoull(name.substr(0, digits).c_str(), nullptr, digits);
        beginWith(id != 0 ? id : newTimelineId());
    }

    void beginWith(std::uint64_t timeline) {
        SQLite::Statement insert(connection, "INSERT INTO timeline VALUES (1, ?, 0)");
        insert.bind(1, number(timeline));
        insert.exec();
    }

    SQLite::Database connection;
    // Prepared once the tables are there.
    std::unique_ptr<SQLite::Statement> setChanges, addTimeline, dropTimelines, putVariable, putClient, dropClient,
        dropRegistrations, putRegistration, dropRegistration;

    void prepare() {
        const auto make = [this](const char* sql) { return std::make_unique<SQLite::Statement>(connection, sql); };
        setChanges = make("UPDATE state SET changes = ?");
        addTimeline = make("INSERT INTO timeline (id, begins_after) VALUES (?, ?)");
        dropTimelines = make("DELETE FROM timeline WHERE position <= (SELECT MAX(position) FROM timeline) - ?");
        putVariable =
            make("INSERT OR REPLACE INTO variable VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
        putClient = make("INSERT OR REPLACE INTO client VALUES (?, ?, ?, ?, ?)");
        dropClient = make("DELETE FROM client WHERE uid = ? AND endpoint = ?");
        dropRegistrations = make("DELETE FROM registration WHERE uid = ? AND endpoint = ?");
        putRegistration = make("INSERT OR REPLACE INTO registration VALUES (?, ?, ?, ?, ?, ?, ?)");
        dropRegistration = make(
            "DELETE FROM registration WHERE uid = ? AND endpoint = ? AND requester = ? AND name = ? AND type = ? "
            "AND callback = ?");
    }

    void run(SQLite::Statement& statement) {
        statement.exec();
        statement.reset();
        statement.clearBindings();
    }

    void operator()(const VariableRow& row) {
        SQLite::Statement& s = *putVariable;
        s.bind(1, row.name.m_node);
        s.bind(2, row.name.m_nodeInstance);
        s.bind(3, row.name.m_attribute);
        s.bind(4, row.name.m_attributeInstance);
        const std::string value = pack(row.value);
        s.bind(5, value.data(), static_cast<int>(value.size()));
        s.bind(6, int{row.ownValue});
        const std::string options = pack(row.options);
        s.bind(7, options.data(), static_cast<int>(options.size()));
        s.bind(8, std::int64_t{row.defaultIndex});
        s.bind(9, int{row.ownOptions});
        s.bind(10, row.readLevel);
        s.bind(11, int{row.ownReadLevel});
        s.bind(12, row.writeLevel);
        s.bind(13, int{row.ownWriteLevel});
        s.bind(14, number(row.changes.value));
        s.bind(15, number(row.changes.options));
        s.bind(16, number(row.changes.levels));
        s.bind(17, int{row.hidden});
        run(s);
    }
    void operator()(const ClientRow& row) {
        bind(*putClient, 1, row.client);
        putClient->bind(3, row.role);
        putClient->bind(4, number(row.roleSince));
        putClient->bind(5, row.claimedRole);
        run(*putClient);
    }
    void operator()(const ClientForgotten& forgotten) {
        bind(*dropClient, 1, forgotten.client);
        run(*dropClient);
        bind(*dropRegistrations, 1, forgotten.client);
        run(*dropRegistrations);
    }
    void operator()(const RegistrationRow& row) {
        putRegistration->bind(7, number(row.since));
        registration(*putRegistration, row);
    }
    void operator()(const RegistrationRemoved& removed) { registration(*dropRegistration, removed.registration); }
    void operator()(const Timeline& timeline) {
        addTimeline->bind(1, number(timeline.id));
        addTimeline->bind(2, number(timeline.after));
        run(*addTimeline);
        dropTimelines->bind(1, static_cast<std::int64_t>(mostTimelines));
        run(*dropTimelines);
    }

    void registration(SQLite::Statement& statement, const RegistrationRow& row) {
        bind(statement, 1, row.client);
        statement.bind(3, row.requester);
        statement.bind(4, row.name);
        statement.bind(5, row.type);
        statement.bind(6, row.callback);
        run(statement);
    }

    /// Fills \p state, which is empty.
    void read(StoredState& state) {
        SQLite::Statement own(connection, "SELECT changes FROM state");
        if (!own.executeStep()) throw SQLite::Exception("it is no service's state");
        state.changes = changeNumber(own.getColumn(0));
        SQLite::Statement timelines(connection, "SELECT id, begins_after FROM timeline ORDER BY position");
        while (timelines.executeStep()) {
            state.timelines.push_back({changeNumber(timelines.getColumn(0)), changeNumber(timelines.getColumn(1))});
        }
        if (state.timelines.empty()) throw SQLite::Exception("it is no service's state");
        readVariables(state);
        SQLite::Statement clients(connection, "SELECT uid, endpoint, claimed_role, role, role_since FROM client");
        while (clients.executeStep()) {
            state.clients.push_back({{clients.getColumn(0).getUInt(), text(clients.getColumn(1))},
                                     clients.getColumn(2).getInt(),
                                     clients.getColumn(3).getInt(),
                                     changeNumber(clients.getColumn(4))});
        }
        SQLite::Statement registrations(
            connection, "SELECT uid, endpoint, requester, name, type, callback, since FROM registration");
        while (registrations.executeStep()) {
            state.registrations.push_back({{registrations.getColumn(0).getUInt(), text(registrations.getColumn(1))},
                                           text(registrations.getColumn(2)),
                                           text(registrations.getColumn(3)),
                                           registrations.getColumn(4).getInt(),
                                           text(registrations.getColumn(5)),
                                           changeNumber(registrations.getColumn(6))});
        }
    }

    void readVariables(StoredState& state) {
        SQLite::Statement variables(
            connection,
            "SELECT node, node_instance, attribute, attribute_instance, value, own_value, options, default_index, "
            "own_options, read_level, own_read_level, write_level, own_write_level, value_change, options_change, "
            "levels_change, hidden FROM variable");
        while (variables.executeStep()) {
            VariableRow row;
            row.name.init(0, text(variables.getColumn(0)), variables.getColumn(1).getInt(),
                          text(variables.getColumn(2)), variables.getColumn(3).getInt());
            row.value = unpack(variables.getColumn(4));
            row.ownValue = variables.getColumn(5).getInt() != 0;
            row.options = unpack(variables.getColumn(6));
            row.defaultIndex = variables.getColumn(7).getUInt();
            row.ownOptions = variables.getColumn(8).getInt() != 0;
            row.readLevel = variables.getColumn(9).getInt();
            row.ownReadLevel = variables.getColumn(10).getInt() != 0;
            row.writeLevel = variables.getColumn(11).getInt();
            row.ownWriteLevel = variables.getColumn(12).getInt() != 0;
            row.changes.value = changeNumber(variables.getColumn(13));
            row.changes.options = changeNumber(variables.getColumn(14));
            row.changes.levels = changeNumber(variables.getColumn(15));
            row.hidden = variables.getColumn(16).getInt() != 0;
            state.variables.push_back(std::move(row));
        }
    }

    void reset() {
        for (SQLite::Statement* statement :
             {setChanges.get(), addTimeline.get(), dropTimelines.get(), putVariable.get(), putClient.get(),
              dropClient.get(), dropRegistrations.get(), putRegistration.get(), dropRegistration.get()}) {
            statement->tryReset();
            statement->clearBindings();
        }
    }
};

SqliteStore::SqliteStore(std::string file) : m_file(std::move(file)) {}

SqliteStore::~SqliteStore() = default;

bool SqliteStore::load(StoredState& state, std::string& error) {
    state = {};
    try {
        if (!m_database) m_database = std::make_unique<Database>(m_file);
        if (!m_database->setChanges) m_database->prepare();

        m_database->read(state);
        return true;
    } catch (const SQLite::Exception& exception) {
        error = "the state file " + m_file + " cannot be used: " + exception.what();
        m_database.reset();
        return false;
    }
}

bool SqliteStore::commit(const Batch& batch, std::string& error) {
    if (!m_database) {
        error = "the state file " + m_file + " is not open";
        return false;
    }
    try {
        SQLite::Transaction transaction(m_database->connection);
        if (batch.timeline) (*m_database)(*batch.timeline);
        for (const StoredChange& entry : batch.entries) std::visit(*m_database, entry);
        m_database->setChanges->bind(1, number(batch.changes));
        m_database->run(*m_database->setChanges);
        transaction.commit();
        return true;
    } catch (const SQLite::Exception& exception) {
        m_database->reset();
        error = m_file + ": " + exception.what();
        return false;
    }
}

}  // namespace AppConfigService
