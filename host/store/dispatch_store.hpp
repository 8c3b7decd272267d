#pragma once

#include <filesystem>
#include <memory>

#include "host/store/retired_bugs.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/queue_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight::host {

class ScratchDirectory;

// The listings that the program asks for.
inline constexpr QueueListing autoQueue{.queueMode = QueueMode::automatic};
inline constexpr QueueListing wholeQueue{.includeTerminal = true};

/// The repositories over one open database of the current layout. A value; copies share the database. Each
/// way to open one waits some seconds for other processes' locks, and throws UserError that names the file
/// when it cannot be used or is of a newer version.
struct DispatchStore {
    std::shared_ptr<Database> database;
    QueueRepository items;
    MappingRepository mappings;
    SessionAttemptRepository attempts;
    RetiredBugs retired;
    std::shared_ptr<const ScratchDirectory> scratch{};  ///< where the database lies when it is a copy

    /// For the home's owner: opens or creates the file and brings it to the current layout.
    static Task<DispatchStore> open(std::filesystem::path file);

    /// For a small change in a home that another process may own. Only a file that is new, or of an older
    /// layout, needs the home's lock, for the moment in which it is brought to the current one.
    static Task<DispatchStore> openBesideOwner(std::filesystem::path home);

    /// For reading only: needs neither the home's lock nor the right to write there. A file of an older
    /// layout is refused with what to do.
    static Task<DispatchStore> openForReading(std::filesystem::path home);

    /// A private copy of the database as it is now, taken without writing to `file`, which another process
    /// may own; an empty one when the file does not exist. `copy` must not exist yet.
    static Task<DispatchStore> openCopy(std::filesystem::path file, std::filesystem::path copy);

  private:
    explicit DispatchStore(std::shared_ptr<Database> shared);
    Task<void> migrate() const;
};

}  // namespace quernlight::host
