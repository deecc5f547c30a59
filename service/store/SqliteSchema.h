#pragma once

#include <cstdint>
#include <string>

#include "core/Types.h"

namespace SQLite {
class Column;
class Database;
}  // namespace SQLite

namespace AppConfigService {

/// Creates the tables of a new state file in \p connection, or upgrades those of an earlier version: completely or not
/// at all, so an interrupted upgrade leaves the file as it was. Throws SQLite::Exception, with one sentence for people,
/// if the file has a later version or cannot be read.
void prepareSchema(SQLite::Database& connection);

// How values look in the columns.

/// Texts may hold any bytes.
std::string packTexts(const Value& texts);
/// Throws SQLite::Exception where \p column holds no texts.
Value unpackTexts(const SQLite::Column& column);

/// SQLite counts to half as far. Only differences and equality matter.
inline std::int64_t toColumn(std::uint64_t number) {
    return static_cast<std::int64_t>(number);
}
std::uint64_t numberIn(const SQLite::Column& column);

/// As bytes: SQLite takes a text's end from its first zero byte otherwise.
std::string textIn(const SQLite::Column& column);

}  // namespace AppConfigService
