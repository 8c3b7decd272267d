#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/url.hpp"
#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

// What can be seen of the dispatcher's work, as values.

/// A session that runs, or that an owner which was killed has left behind.
struct RunningSession {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    QueueItemStatus status{};
    std::optional<Instant> since{};  ///< its attempt's start; absent before the attempt is stored
    std::optional<Instant> lastOutputAt{};
    std::int64_t attemptNumber = 0;
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

struct HealthReport {
    Condition backend{};
    Condition disk{};
    std::vector<std::string> alerts{};       ///< one sentence each, of what holds now
    std::vector<BugQueueItem> needPerson{};  ///< nothing goes on with these until a person has acted
};

}  // namespace quernlight::host
