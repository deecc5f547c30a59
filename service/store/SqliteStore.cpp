#include "store/SqliteStore.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include "store/SqliteSchema.h"

namespace AppConfigService {

namespace {

/// The file with its tables, of which this process is the only user: two services on one state would undo each other.
SQLite::Database opened(const std::string& file) {
    SQLite::Database connection(file, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    connection.exec("PRAGMA locking_mode = EXCLUSIVE");
    connection.exec("PRAGMA journal_mode = WAL");
    connection.exec("PRAGMA synchronous = FULL");
    prepareSchema(connection);
    return connection;
}

void bind(SQLite::Statement& statement, const ClientKey& client) {
    statement.bind(":uid", std::int64_t{client.uid});
    statement.bind(":endpoint", client.endpoint);
}

void bind(SQLite::Statement& statement, const char* name, const Value& texts) {
    const std::string packed = packTexts(texts);
    statement.bind(name, packed.data(), static_cast<int>(packed.size()));
}

void run(SQLite::Statement& statement) {
    statement.exec();
    statement.reset();
    statement.clearBindings();
}

ClientKey clientIn(SQLite::Statement& row) {
    return {row.getColumn("uid").getUInt(), textIn(row.getColumn("endpoint"))};
}

}  // namespace

/// The open file and what is done with it again and again. A call with an entry of a batch writes that.
struct SqliteStore::Database {
    explicit Database(const std::string& file) : connection(opened(file)) {}

    SQLite::Database connection;
    SQLite::Statement changeCounter{connection, "UPDATE state SET changes = :changes"};
    SQLite::Statement addTimeline{connection, "INSERT INTO timeline (id, begins_after) VALUES (:id, :begins_after)"};
    SQLite::Statement dropTimelines{
        connection, "DELETE FROM timeline WHERE position <= (SELECT MAX(position) FROM timeline) - :kept"};
    SQLite::Statement putVariable{
        connection,
        "INSERT OR REPLACE INTO variable (node, node_instance, attribute, attribute_instance, value, own_value, "
        "options, default_index, own_options, read_level, own_read_level, write_level, own_write_level, value_change, "
        "options_change, levels_change, hidden) VALUES (:node, :node_instance, :attribute, :attribute_instance, "
        ":value, "
        ":own_value, :options, :default_index, :own_options, :read_level, :own_read_level, :write_level, "
        ":own_write_level, :value_change, :options_change, :levels_change, :hidden)"};
    SQLite::Statement putClient{connection,
                                "INSERT OR REPLACE INTO client (uid, endpoint, role, role_since, claimed_role) "
                                "VALUES (:uid, :endpoint, :role, :role_since, :claimed_role)"};
    SQLite::Statement dropClient{connection, "DELETE FROM client WHERE uid = :uid AND endpoint = :endpoint"};
    SQLite::Statement dropRegistrations{connection,
                                        "DELETE FROM registration WHERE uid = :uid AND endpoint = :endpoint"};
    SQLite::Statement putRegistration{
        connection,
        "INSERT OR REPLACE INTO registration (uid, endpoint, requester, name, type, callback, since) "
        "VALUES (:uid, :endpoint, :requester, :name, :type, :callback, :since)"};
    SQLite::Statement dropRegistration{
        connection,
        "DELETE FROM registration WHERE uid = :uid AND endpoint = :endpoint AND requester = :requester AND "
        "name = :name AND type = :type AND callback = :callback"};

    void setCounter(ChangeNumber changes) {
        changeCounter.bind(":changes", toColumn(changes));
        run(changeCounter);
    }
    void operator()(const Timeline& timeline) {
        addTimeline.bind(":id", toColumn(timeline.id));
        addTimeline.bind(":begins_after", toColumn(timeline.after));
        run(addTimeline);
        dropTimelines.bind(":kept", static_cast<std::int64_t>(mostTimelines));
        run(dropTimelines);
    }
    void operator()(const VariableRow& row) {
        SQLite::Statement& s = putVariable;
        s.bind(":node", row.name.node);
        s.bind(":node_instance", row.name.nodeInstance);
        s.bind(":attribute", row.name.attribute);
        s.bind(":attribute_instance", row.name.attributeInstance);
        bind(s, ":value", row.value);
        s.bind(":own_value", int{row.ownValue});
        bind(s, ":options", row.options);
        s.bind(":default_index", std::int64_t{row.defaultIndex});
        s.bind(":own_options", int{row.ownOptions});
        s.bind(":read_level", row.readLevel);
        s.bind(":own_read_level", int{row.ownReadLevel});
        s.bind(":write_level", row.writeLevel);
        s.bind(":own_write_level", int{row.ownWriteLevel});
        s.bind(":value_change", toColumn(row.changes.value));
        s.bind(":options_change", toColumn(row.changes.options));
        s.bind(":levels_change", toColumn(row.changes.levels));
        s.bind(":hidden", int{row.hidden});
        run(s);
    }
    void operator()(const ClientRow& row) {
        bind(putClient, row.client);
        putClient.bind(":role", row.role);
        putClient.bind(":role_since", toColumn(row.roleSince));
        putClient.bind(":claimed_role", row.claimedRole);
        run(putClient);
    }
    void operator()(const ClientForgotten& forgotten) {
        for (SQLite::Statement* statement : {&dropClient, &dropRegistrations}) {
            bind(*statement, forgotten.client);
            run(*statement);
        }
    }
    void operator()(const RegistrationRow& row) {
        bindRegistration(putRegistration, row);
        putRegistration.bind(":since", toColumn(row.since));
        run(putRegistration);
    }
    void operator()(const RegistrationRemoved& removed) {
        bindRegistration(dropRegistration, removed.registration);
        run(dropRegistration);
    }

    static void bindRegistration(SQLite::Statement& statement, const RegistrationRow& row) {
        bind(statement, row.client);
        statement.bind(":requester", row.requester);
        statement.bind(":name", row.name);
        statement.bind(":type", row.type);
        statement.bind(":callback", row.callback);
    }

    StoredState read() {
        StoredState state;
        SQLite::Statement own(connection, "SELECT changes FROM state");
        if (!own.executeStep()) throw SQLite::Exception("it is not a state file");
        state.changes = numberIn(own.getColumn("changes"));
        SQLite::Statement timelines(connection, "SELECT id, begins_after FROM timeline ORDER BY position");
        while (timelines.executeStep()) {
            state.timelines.push_back(
                {numberIn(timelines.getColumn("id")), numberIn(timelines.getColumn("begins_after"))});
        }
        if (state.timelines.empty()) throw SQLite::Exception("it is not a state file");
        readVariables(state);
        SQLite::Statement clients(connection, "SELECT uid, endpoint, role, role_since, claimed_role FROM client");
        while (clients.executeStep()) {
            state.clients.push_back({clientIn(clients), clients.getColumn("claimed_role"), clients.getColumn("role"),
                                     numberIn(clients.getColumn("role_since"))});
        }
        readRegistrations(state);
        return state;
    }

    void readVariables(StoredState& state) {
        SQLite::Statement rows(
            connection,
            "SELECT node, node_instance, attribute, attribute_instance, value, own_value, options, default_index, "
            "own_options, read_level, own_read_level, write_level, own_write_level, value_change, options_change, "
            "levels_change, hidden FROM variable");
        const auto isSet = [&rows](const char* name) { return rows.getColumn(name).getInt() != 0; };
        while (rows.executeStep()) {
            VariableRow row;
            row.name = VariableName(textIn(rows.getColumn("node")), rows.getColumn("node_instance"),
                                    textIn(rows.getColumn("attribute")), rows.getColumn("attribute_instance"));
            row.value = unpackTexts(rows.getColumn("value"));
            row.ownValue = isSet("own_value");
            row.options = unpackTexts(rows.getColumn("options"));
            row.defaultIndex = rows.getColumn("default_index");
            row.ownOptions = isSet("own_options");
            row.readLevel = rows.getColumn("read_level");
            row.ownReadLevel = isSet("own_read_level");
            row.writeLevel = rows.getColumn("write_level");
            row.ownWriteLevel = isSet("own_write_level");
            row.changes.value = numberIn(rows.getColumn("value_change"));
            row.changes.options = numberIn(rows.getColumn("options_change"));
            row.changes.levels = numberIn(rows.getColumn("levels_change"));
            row.hidden = isSet("hidden");
            state.variables.push_back(std::move(row));
        }
    }

    void readRegistrations(StoredState& state) {
        SQLite::Statement rows(connection,
                               "SELECT uid, endpoint, requester, name, type, callback, since FROM registration");
        while (rows.executeStep()) {
            state.registrations.push_back({clientIn(rows), textIn(rows.getColumn("requester")),
                                           textIn(rows.getColumn("name")), rows.getColumn("type"),
                                           textIn(rows.getColumn("callback")), numberIn(rows.getColumn("since"))});
        }
    }

    /// Makes each statement usable again after an error in any of them.
    void reset() {
        for (SQLite::Statement* statement : {&changeCounter, &addTimeline, &dropTimelines, &putVariable, &putClient,
                                             &dropClient, &dropRegistrations, &putRegistration, &dropRegistration}) {
            statement->tryReset();
            statement->clearBindings();
        }
    }
};

SqliteStore::SqliteStore(std::string file) : m_file(std::move(file)) {}

SqliteStore::~SqliteStore() = default;

Result<StoredState> SqliteStore::load() {
    try {
        if (!m_database) m_database = std::make_unique<Database>(m_file);
        return m_database->read();
    } catch (const SQLite::Exception& exception) {
        m_database.reset();
        return failure(CommonIF::ERROR_STORAGE, "the state file " + m_file + " cannot be used: " + exception.what());
    }
}

Result<> SqliteStore::commit(const Batch& batch) {
    if (!m_database) return failure(CommonIF::ERROR_STORAGE, "the state file " + m_file + " is not open");
    try {
        SQLite::Transaction transaction(m_database->connection);
        if (batch.timeline) (*m_database)(*batch.timeline);
        for (const StoredChange& entry : batch.entries) std::visit(*m_database, entry);
        m_database->setCounter(batch.changes);
        transaction.commit();
        return {};
    } catch (const SQLite::Exception& exception) {
        m_database->reset();
        return failure(CommonIF::ERROR_STORAGE, m_file + ": " + exception.what());
    }
}

}  // namespace AppConfigService
