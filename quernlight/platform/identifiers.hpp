#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_hash.hpp>

namespace quernlight {

/// Identifies queue items, runner sessions, attempts, comments and apps (RFC 4122). The functions below may
/// be called from any thread.
using Uuid = boost::uuids::uuid;

/// A random UUID (version 4) from the operating system's generator.
Uuid randomUuid();

/// Canonical text, 36 characters in upper case: as stored, sent and used in paths.
std::string upperCaseText(const Uuid& uuid);

/// Canonical text, 36 characters in lower case: as goals show it to the agent.
std::string lowerCaseText(const Uuid& uuid);

/// Reads the canonical form only (8-4-4-4-12 hexadecimal digits with dashes), in any case; nothing for any
/// other text.
std::optional<Uuid> parseUuid(std::string_view text);

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
