#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "quernlight/platform/file_manager.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// One conversation in the agent's own records.
struct CodexSessionRecord {
    Uuid id{};
    std::string cwd{};  ///< the working directory it was started in
    std::string title{};
    Instant createdAt{};  ///< whole seconds, as the agent records them
    Instant updatedAt{};

    bool operator==(const CodexSessionRecord&) const = default;
};

/// Finds the agent's own id of a conversation that was started here, so that it can be resumed later. Only
/// ever reads the agent's state database. Functions without state that block for as long as the file takes.
struct CodexSessionResolver {
    CodexSessionResolver() = delete;

    /// The agent's state database: the most recently modified "state_*.sqlite" in the agent's home, whatever
    /// version the agent has come to, or the version known here when there is none. Never fails.
    static std::filesystem::path stateDatabaseURL(const EnvironmentMap& environment,
                                                  const FileManager& fileManager = defaultFileManager());

    /// The newest conversation on the command line that was started in `cwd` no earlier than ten seconds
    /// before `createdAfter`. Nothing when there is none, or when its id is no UUID. Throws DatabaseError:
    /// openFailed, prepareFailed (the agent has changed its tables) or stepFailed.
    static std::optional<CodexSessionRecord> latest(const std::string& cwd, Instant createdAfter,
                                                    const std::filesystem::path& databaseURL);
};

}  // namespace quernlight
