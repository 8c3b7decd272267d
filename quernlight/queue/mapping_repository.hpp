#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/task.hpp"
#include "quernlight/storage/database.hpp"

namespace quernlight {

/// Which local repository an application's bugs are worked on in.
struct AppMapping {
    std::string bundleID{};       ///< the key
    std::optional<Uuid> appID{};  ///< the backend's id of the application
    std::string appName{};
    std::string repoPath{};  ///< the main checkout
    std::optional<std::string> worktreeRootPath{};
    std::string baseBranch = "main";  ///< where worktrees start from
    std::string codexProfile = "default";

    bool operator==(const AppMapping&) const = default;

    /// The directory under which the application's worktrees are created: `worktreeRootPath` as a
    /// standardised absolute path (a leading "~" is the user's home, a relative path starts at the current
    /// directory), or `repoPath` as it stands when there is none or it is blank. Throws
    /// std::filesystem::filesystem_error for a relative path when the current directory is gone.
    std::string resolvedWorktreeRootPath() const;
};

/// The application mappings in the database, one per bundle identifier. A value that may be copied freely,
/// but that must outlive the operations awaited on it; statements run on the database's thread. Every
/// operation throws DatabaseError: SQLite's own, or missingColumn for a row that is no mapping.
class MappingRepository {
  public:
    explicit MappingRepository(std::shared_ptr<Database> database) : database_(std::move(database)) {}

    /// Saves the mapping in place of one of the same bundle, whose time of creation is kept.
    Task<void> upsert(const AppMapping& mapping, Instant now = currentInstant()) const;

    /// Nothing for a bundle without one; `bundleID` matches exactly, by case.
    Task<std::optional<AppMapping>> mapping(std::string bundleID) const;

    /// By display name, compared byte by byte: upper-case letters before lower-case ones.
    Task<std::vector<AppMapping>> allMappings() const;

    /// An unknown bundle is no error.
    Task<void> remove(std::string_view bundleID) const;

  private:
    std::shared_ptr<Database> database_;
};

}  // namespace quernlight
