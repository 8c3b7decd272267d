#pragma once

#include <filesystem>
#include <memory>

#include "host/retire/retired_bugs.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/queue_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight::host {

// The listings that the program asks for.
inline constexpr QueueListing autoQueue{.queueMode = QueueMode::automatic};
inline constexpr QueueListing wholeQueue{.includeTerminal = true};

/// The repositories over one open, migrated database. A value; copies share the database.
struct DispatchStore {
    std::shared_ptr<Database> database;
    QueueRepository items;
    MappingRepository mappings;
    SessionAttemptRepository attempts;
    RetiredBugs retired;

    /// Opens or creates the file and brings it to the current layout. Throws UserError that names the file.
    static Task<DispatchStore> open(std::filesystem::path file);

    /// A private copy of the database as it is now, taken without writing to `file`, which another process
    /// may own; an empty one when the file does not exist. `copy` must not exist yet.
    static Task<DispatchStore> openCopy(std::filesystem::path file, std::filesystem::path copy);

  private:
    explicit DispatchStore(std::shared_ptr<Database> shared);
};

}  // namespace quernlight::host
