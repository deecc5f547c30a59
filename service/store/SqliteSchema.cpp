#include "store/SqliteSchema.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <cstdlib>
#include <vector>

#include "state.pb.h"
#include "store/TimelineId.h"

namespace AppConfigService {

namespace {

constexpr int schemaVersion = 4;

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

/// Up to version 3 each text stood behind its length in four bytes, the highest first.
Value unpackVersion3(const SQLite::Column& column) {
    const auto* at = static_cast<const unsigned char*>(column.getBlob());
    auto left = static_cast<std::size_t>(column.getBytes());
    Value value;
    while (left >= lengthBytes) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < lengthBytes; ++i) length = length << 8 | *at++;
        left -= lengthBytes;
        if (length > left) throw SQLite::Exception("a stored value cannot be read");
        value.emplace_back(reinterpret_cast<const char*>(at), length);
        at += length;
        left -= length;
    }
    if (left != 0) throw SQLite::Exception("a stored value cannot be read");
    return value;
}

void beginWith(SQLite::Database& connection, std::uint64_t timeline) {
    SQLite::Statement insert(connection, "INSERT INTO timeline (position, id, begins_after) VALUES (1, ?, 0)");
    insert.bind(1, toColumn(timeline));
    insert.exec();
}

void create(SQLite::Database& connection) {
    connection.exec(schema);
    connection.exec("INSERT INTO state (changes) VALUES (0)");
    beginWith(connection, newTimelineId());
}

void takeOverVersion1(SQLite::Database& connection) {
    constexpr std::size_t digits = 16;
    const std::string name = connection.execAndGet("SELECT id FROM state").getString();
    connection.exec(fromVersion1);
    const std::uint64_t id = std::strtoull(name.substr(0, digits).c_str(), nullptr, digits);
    beginWith(connection, id != 0 ? id : newTimelineId());
}

void takeOverVersion3(SQLite::Database& connection) {
    struct Row {
        std::string node;
        int nodeInstance;
        std::string attribute;
        int attributeInstance;
        std::string value;
        std::string options;
    };
    // All before the first is changed: a table must not be changed under a statement that reads it.
    std::vector<Row> rows;
    SQLite::Statement all(connection,
                          "SELECT node, node_instance, attribute, attribute_instance, value, options FROM variable");
    while (all.executeStep()) {
        rows.push_back({textIn(all.getColumn("node")), all.getColumn("node_instance"),
                        textIn(all.getColumn("attribute")), all.getColumn("attribute_instance"),
                        packTexts(unpackVersion3(all.getColumn("value"))),
                        packTexts(unpackVersion3(all.getColumn("options")))});
    }
    SQLite::Statement update(connection,
                             "UPDATE variable SET value = :value, options = :options WHERE node = :node AND "
                             "node_instance = :node_instance AND attribute = :attribute AND "
                             "attribute_instance = :attribute_instance");
    for (const Row& row : rows) {
        update.bind(":value", row.value.data(), static_cast<int>(row.value.size()));
        update.bind(":options", row.options.data(), static_cast<int>(row.options.size()));
        update.bind(":node", row.node);
        update.bind(":node_instance", row.nodeInstance);
        update.bind(":attribute", row.attribute);
        update.bind(":attribute_instance", row.attributeInstance);
        update.exec();
        update.reset();
    }
}

}  // namespace

void prepareSchema(SQLite::Database& connection) {
    const int version = connection.execAndGet("PRAGMA user_version").getInt();
    if (version < 0 || version > schemaVersion) {
        throw SQLite::Exception("it has version " + std::to_string(version) + ", this service reads versions 1 to " +
                                std::to_string(schemaVersion));
    }
    if (version == schemaVersion) return;
    SQLite::Transaction transaction(connection);
    if (version == 0) {
        create(connection);
    } else {
        if (version < 2) takeOverVersion1(connection);
        if (version < 3) connection.exec(fromVersion2);
        takeOverVersion3(connection);
    }
    connection.exec("PRAGMA user_version = " + std::to_string(schemaVersion));
    transaction.commit();
}

std::string packTexts(const Value& texts) {
    StoredTexts stored;
    for (const std::string& text : texts) stored.add_text(text);
    return stored.SerializeAsString();
}

Value unpackTexts(const SQLite::Column& column) {
    StoredTexts stored;
    if (!stored.ParseFromArray(column.getBlob(), column.getBytes())) {
        throw SQLite::Exception("a stored value cannot be read");
    }
    return {stored.text().begin(), stored.text().end()};
}

std::uint64_t numberIn(const SQLite::Column& column) {
    return static_cast<std::uint64_t>(column.getInt64());
}

std::string textIn(const SQLite::Column& column) {
    return {static_cast<const char*>(column.getBlob()), static_cast<std::size_t>(column.getBytes())};
}

}  // namespace AppConfigService
