#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quernlight {

/// Where a bug is worked on: the names of its branch and directory, derived from the app's name and the bug's
/// id, and the rules that keep the directory inside its root. Functions of text, for any thread; nothing is
/// looked up on disk but the working directory, from which a relative path starts:
/// std::filesystem::filesystem_error is thrown when it cannot be told.
struct WorktreeNaming {
    WorktreeNaming() = delete;

    /// An absolute path without ".", ".." and needless separators; "~" is the user's home. Symbolic links are
    /// not resolved.
    static std::string standardizedPath(const std::string& path);

    /// The app's name as a slug, "-", and the bug's short id: "My-App-3f2a9c1d".
    static std::string branchName(std::string_view appName, std::string_view bugID);

    /// The branch name as a directory of the standardised root. Whether that lies inside the root is not
    /// looked at: an id may hold "/".
    static std::string worktreePath(const std::string& rootPath, std::string_view appName,
                                    std::string_view bugID);

    /// The root used when none is configured: a sibling of the repository, /src/Acme-worktrees for /src/Acme.
    static std::string defaultRootPath(const std::string& repoPath);

    /// Whether `path` lies below `rootPath`, compared as standardised text. The root is not inside itself.
    static bool isInside(const std::string& path, const std::string& rootPath);

    /// Why a bug id, which comes from outside, must not become part of a path; nothing when it may.
    static std::optional<std::string> refusal(std::string_view bugID);
};

}  // namespace quernlight
