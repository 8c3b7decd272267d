#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// Brings a database file of any earlier layout to the current one. Run once at start, before any repository
/// is used. Every step is harmless on a file that already has it and then writes nothing, so all of them run
/// on every start; also one of a newer version is set back to this one. Statements run on the database's
/// thread; the value must outlive the run that is awaited on it.
class Migrations {
  public:
    /// What a file's "user_version" is after a run.
    static constexpr std::int64_t version = 7;

    explicit Migrations(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// Throws the first failing step's DatabaseError; the steps before it stay done. Cancelling it, too,
    /// stops it between two steps. The rebuild of the attempts is one step and keeps every row, whatever ends
    /// it.
    Task<void> run() const;

  private:
    Task<void> addColumnIfMissing(std::string table, std::string column, std::string definition) const;
    Task<void> createQueueTables() const;
    Task<void> createAttemptIndexes() const;
    Task<void> relaxAttemptQueueItemID() const;
    Task<void> shortenBugIDs() const;
    Task<bool> hasLongBugIDs(std::string table) const;
    Task<void> setVersion() const;

    std::shared_ptr<Database> database_;
};

}  // namespace quernlight
