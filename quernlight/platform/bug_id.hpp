#pragma once

#include <string>
#include <string_view>

namespace quernlight {

/// The canonical short form of a bug's identifier: the bug's key in the database, in backend paths, in
/// worktree and branch names and in goals. It lies this deep because storage, backend and git all need the
/// one rule.
struct BugID {
    BugID() = delete;

    /// Trimmed of white space, lower-cased, and cut to its first 8 user-perceived characters.
    static std::string normalized(std::string_view text);

    /// Whether a normalised id may name a file: not empty, not "." or "..", no "/", no control character. An
    /// id comes from outside; one that fails this never becomes part of a path on disk.
    static bool isSafeFileName(std::string_view normalizedID);
};

}  // namespace quernlight
