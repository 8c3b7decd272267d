#pragma once

#include <memory>
#include <string>
#include <utility>

#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// Brings a database file of any earlier layout to the current one, schema version 7. Run once at start,
/// before any repository is used. Every step is harmless on a file that already has it, so all of them run
/// on every start and the stored version is never read. Statements run on the database's thread; the value
/// must outlive the run that is awaited on it.
class Migrations {
  public:
    explicit Migrations(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// Throws the first failing step's DatabaseError; the steps before it stay done. A rebuild that fails
    /// half way leaves the attempts in "session_attempts_legacy_notnull" and foreign keys enforced.
    Task<void> run() const;

  private:
    Task<void> addColumnIfMissing(std::string table, std::string column, std::string definition) const;
    Task<void> createQueueTables() const;
    Task<void> createAttemptIndexes() const;
    Task<void> relaxAttemptQueueItemID() const;
    Task<bool> attemptsRequireQueueItemID() const;
    Task<void> rebuildAttempts() const;
    Task<void> restoreForeignKeys() const;

    std::shared_ptr<Database> database_;
};

}  // namespace quernlight
