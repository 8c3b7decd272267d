#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/user_directories.hpp"

namespace quernlight {

/// Everything that a runner needs to know to launch one agent session.
struct StartSessionRequest {
    Uuid sessionID{};                   ///< the session's identity, chosen by the caller
    std::optional<Uuid> queueItemID{};  ///< the queue item that the session works on
    std::filesystem::path repoPath{};   ///< the child's working directory, which must be there
    std::vector<std::string>
        launchCommand{};           ///< program and arguments, at least one, never given to a shell
    EnvironmentMap environment{};  ///< the child's complete environment; nothing is inherited
    std::string initialInput{};    ///< typed once the agent's prompt is ready (see typeableText); empty: none
    std::filesystem::path transcriptANSIPath{};  ///< appended to: all bytes of the terminal
    std::filesystem::path transcriptTextPath{};  ///< appended to: the same as readable text
    int columns = 80;                            ///< in characters, at most 65535; less than 1 counts as 1
    int rows = 24;                               ///< in characters, at most 65535; less than 1 counts as 1

    bool operator==(const StartSessionRequest&) const = default;
};

/// What is known of a session once its child runs.
struct StartSessionResponse {
    Uuid sessionID{};
    std::int32_t pid = -1;  ///< of the child, which leads a session and process group of that number
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
