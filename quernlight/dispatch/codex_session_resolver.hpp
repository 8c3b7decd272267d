#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

/// One conversation in the agent's own records.
struct CodexSessionRecord {
    Uuid id{};          ///< the agent's id of the conversation
    std::string cwd{};  ///< the working directory it was started in
    std::string title{};
    Instant createdAt{};  ///< whole seconds, as the agent records them
    Instant updatedAt{};

    bool operator==(const CodexSessionRecord&) const = default;
};

/// Finds the agent's own id of a conversation that was started here, so that it can be resumed later. Only
/// ever reads the agent's state database. Functions without state, for any thread; they block for as long as
/// the file takes.
struct CodexSessionResolver {
    CodexSessionResolver() = delete;

    /// The agent's state database: the most recently modified "state_*.sqlite" in the agent's home, whatever
    /// version the agent has come to, or "state_5.sqlite", the version known here, when there is none or the
    /// home cannot be listed. The agent's home is "CODEX_HOME" of `environment`, as it is spelled and from
    /// the current directory when it is relative, or ".codex" in the user's home when that is missing or
    /// empty. Never fails; the file need not exist.
    static std::filesystem::path stateDatabaseURL(const EnvironmentMap& environment,
                                                  const FileManager& fileManager = defaultFileManager());

    /// The newest conversation on the command line that was started in `cwd`, a directory spelled as the
    /// agent spells it, no earlier than ten seconds before `createdAfter`, whose fraction of a second does
    /// not count. Nothing when there is none, or when the newest one's id is no UUID. Throws DatabaseError:
    /// openFailed ("Unable to open Codex state database.", also for what is no regular file), or with
    /// SQLite's message prepareFailed (the agent has changed its tables, or the file is locked or no
    /// database) or stepFailed. The file is closed in any case.
    static std::optional<CodexSessionRecord> latest(const std::string& cwd, Instant createdAfter,
                                                    const std::filesystem::path& databaseURL);
};

}  // namespace quernlight
