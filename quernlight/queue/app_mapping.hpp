#pragma once

#include <optional>
#include <string>

#include "quernlight/platform/uuid.hpp"

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

}  // namespace quernlight
