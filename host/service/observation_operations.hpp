#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/events/dispatch_event.hpp"
#include "host/service/queue_operations.hpp"
#include "quernlight/platform/url.hpp"

namespace quernlight::host {

// What can be seen of the dispatcher's work, as values.

/// The agent of a session, by what stands on its screen.
struct SeenAgent {
    std::int64_t attemptNumber = 0;
    std::optional<std::int32_t> pid{};  ///< absent once it has exited
    Instant since{};                    ///< its start
    std::string state{};                ///< "working", say; "exited" once it has
    std::string rule{};                 ///< that told the state
    std::string reason{};
};

/// A session that runs, or that an owner which was killed has left behind.
struct RunningSession {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    QueueItemStatus status{};
    SessionStage stage = SessionStage::toReconcile;  ///< what it does, as a dispatcher that runs knows
    std::string detail{};                            ///< the agent's last line, mostly
    std::optional<int> exitCode{};                   ///< of its agent, once that has gone
    std::optional<SeenAgent> agent{};                ///< known to a dispatcher that runs
    std::optional<Instant> since{};  ///< its attempt's start; absent before the attempt is stored
    std::optional<Instant> lastOutputAt{};
    std::int64_t attemptNumber = 0;  ///< 0 before the attempt is stored
    std::filesystem::path transcriptText{};
    std::filesystem::path transcriptANSI{};
    std::filesystem::path workspace{};  ///< the worktree, where there is one
    std::string lastLine{};             ///< the last one with something to read; may be empty
};

/// Work that waits for a person to merge it.
struct ReviewItem {
    BugQueueItem item{};
    std::optional<Url> pullRequest{};  ///< as the backend listed it; known to a dispatcher that runs
    std::string branch{};
    std::optional<std::string> worktree{};    ///< absent when its attempt is not known
    std::optional<std::string> repository{};  ///< absent when its app is not mapped any more
};

/// Whether something that all sessions need is well.
struct Condition {
    enum class State {
        unknown,  ///< only a dispatcher that runs can tell
        well,
        troubled,
    };

    State state = State::unknown;
    std::string trouble{};  ///< one sentence; empty unless troubled
};

/// The dispatcher that runs.
struct OwnerReport {
    std::int64_t pid = 0;
    std::string version{};
    Instant since{};
    std::string backend{};  ///< its address
    int sessions = 0;       ///< that run
    int maxSessions = 0;
    std::optional<std::uint64_t> memoryMiB{};   ///< available to new ones; absent where it is not told
    std::optional<Instant> nextPollAt{};        ///< of the backend; absent with `--once`
    std::optional<std::string> agentVersion{};  ///< as the agent tells it; absent when it does not
    std::optional<std::string> listening{};     ///< the address, besides the socket, on which it answers
};

struct HealthReport {
    std::optional<OwnerReport> owner{};  ///< absent while none runs
    Condition backend{};
    Condition disk{};
    std::vector<std::string> alerts{};     ///< one sentence each, of what holds now
    std::vector<QueueEntry> needPerson{};  ///< nothing goes on with these until a person has acted
};

}  // namespace quernlight::host
