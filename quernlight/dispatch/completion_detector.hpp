#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/platform/uuid.hpp"

namespace quernlight {

/// What a poll of a bug's comments looks for: the current run of one queue item.
struct CompletionPollState {
    Uuid sessionID{};
    Uuid queueItemID{};
    std::string bugID{};
    Instant startedAt{};                                ///< of the run
    std::optional<Instant> lastSeenCommentCreatedAt{};  ///< kept by the caller, not read here

    bool operator==(const CompletionPollState&) const = default;
};

/// What the agent's comment says of its work.
enum class CompletionOutcome {
    completed,    ///< the bug went to review
    investigate,  ///< the agent needs the user
};

struct CompletionDetection {
    QLCommentDTO comment{};
    CompletionOutcome outcome = CompletionOutcome::completed;

    bool operator==(const CompletionDetection&) const = default;
};

/// Finds the comment by which the agent ends a run. Its metadata names the queue item, the run's session and
/// the bug's new status. Pure functions over comments in the order in which the backend returned them.
struct CompletionDetector {
    CompletionDetector() = delete;

    /// The first comment that ends this run, and what it means. Comments from more than five seconds before
    /// the run are those of earlier runs; so much may the two clocks differ.
    static std::optional<CompletionDetection> detectOutcome(const std::vector<QLCommentDTO>& comments,
                                                            const CompletionPollState& state);

    /// The comment that `detectOutcome` finds, when its outcome is `completed`.
    static std::optional<QLCommentDTO> detectCompletion(const std::vector<QLCommentDTO>& comments,
                                                        const CompletionPollState& state);
};

}  // namespace quernlight
