#pragma once

#include <memory>
#include <string>

#include "store/StateStore.h"

namespace AppConfigService {

/// Keeps the state in a SQLite file. What commit() has acknowledged is on disk: a write-ahead log that is synchronised
/// with each transaction. Owns the file's connection.
class SqliteStore final : public StateStore {
public:
    /// Opens nothing yet; load() does.
    explicit SqliteStore(std::string file);
    ~SqliteStore() override;

    /// Opens the file, or makes it; one that another version of the service wrote in a way that is unknown here is
    /// refused and left alone, and so is one that another process has open as its state.
    Result<StoredState> load() override;
    Result<> commit(const Batch& batch) override;

private:
    struct Database;

    const std::string m_file;
    std::unique_ptr<Database> m_database;
};

}  // namespace AppConfigService
