#pragma once

#include <optional>
#include <string>
#include <vector>

#include "quernlight/backend/records.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"

namespace quernlight {

/// What a poll of a bug's comments looks for: the current run of one queue item.
struct CompletionPollState {
    Uuid sessionID{};  ///< of the current run, given by the dispatcher
    Uuid queueItemID{};
    std::string bugID{};                                ///< whose comments these are
    Instant startedAt{};                                ///< of the run
    std::optional<Instant> lastSeenCommentCreatedAt{};  ///< kept by the caller, not read here

    bool operator==(const CompletionPollState&) const = default;
};

/// What the agent's comment says of its work.
enum class CompletionOutcome {
    completed,    ///< the bug went to review
    investigate,  ///< the agent needs the user
};

/// A comment that ends a run, and what it says.
struct CompletionDetection {
    QLCommentDTO comment{};
    CompletionOutcome outcome = CompletionOutcome::completed;

    bool operator==(const CompletionDetection&) const = default;
};

/// Finds the comment by which the agent ends a run. Its metadata names the queue item, the run's session and
/// the bug's new status. Pure functions, for any thread, over comments in the order in which the backend
/// returned them; nothing fails.
struct CompletionDetector {
    CompletionDetector() = delete;

    /// The first comment in the list that ends this run, and what it means; nothing when none does. Such a
    /// comment is by an author of type "agent" exactly, and its metadata is an object whose "queue_item_id"
    /// and "session_id" are this run's ids, in any case of letters, and whose "status" is "in_review", "in
    /// review" (completed) or "investigate", in any case and with white space around. Comments from more than
    /// five seconds before the run are those of earlier runs; so much may the two clocks differ.
    static std::optional<CompletionDetection> detectOutcome(const std::vector<QLCommentDTO>& comments,
                                                            const CompletionPollState& state);

    /// The comment that `detectOutcome` finds, when its outcome is `completed`; otherwise nothing.
    static std::optional<QLCommentDTO> detectCompletion(const std::vector<QLCommentDTO>& comments,
                                                        const CompletionPollState& state);
};

}  // namespace quernlight
