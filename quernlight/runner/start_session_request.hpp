#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// Everything that a runner needs to know to launch one agent session.
struct StartSessionRequest {
    Uuid sessionID{};                          ///< the session's identity, chosen by the caller
    std::optional<Uuid> queueItemID{};         ///< the queue item that the session works on
    std::filesystem::path repoPath{};          ///< the child's working directory
    std::vector<std::string> launchCommand{};  ///< program and arguments, never passed through a shell
    EnvironmentMap environment{};              ///< the child's complete environment; nothing is inherited
    std::string initialInput{};                ///< typed once the agent's prompt is ready; empty: nothing
    std::filesystem::path transcriptANSIPath{};
    std::filesystem::path transcriptTextPath{};
    int columns = 80;  ///< at most 65535; less than 1 counts as 1
    int rows = 24;     ///< at most 65535; less than 1 counts as 1

    bool operator==(const StartSessionRequest&) const = default;
};

/// What is known of a session once its child runs.
struct StartSessionResponse {
    Uuid sessionID{};
    std::int32_t pid = -1;
    Instant startedAt{};

    bool operator==(const StartSessionResponse&) const = default;
};

/// One live session of a runner.
struct RunnerSessionSnapshot {
    Uuid sessionID{};
    std::int32_t pid = -1;
    Instant startedAt{};

    bool operator==(const RunnerSessionSnapshot&) const = default;
};

}  // namespace quernlight
