#pragma once

#include <chrono>
#include <functional>

#include "host/agent/session_mailbox.hpp"
#include "host/events/event_publisher.hpp"
#include "host/health/backend_health.hpp"
#include "host/health/rate_limiter.hpp"
#include "host/settings/settings.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// Fetches a bug's comments, at once; throws as the client does.
using FetchComments = std::function<Task<ReadableList<QLCommentDTO>>(std::string bugID)>;

/// What all comment polls of the program share.
struct CommentPolling {
    FetchComments fetch;
    RateLimiter& rateLimiter;
    BackendHealth& health;
    const Settings& settings;  ///< as it is at each poll
    EventPublisher& events;
    Clock& clock;
};

/// Returns when the next request for comments may be sent: there are many who ask and one backend.
Task<void> turnToAsk(RateLimiter& rateLimiter, Clock& clock);

/// The bug's comments; none when the backend does not know the bug any more. Those that cannot be read are
/// left out, and told. Throws as the client does.
Task<ReadableList<QLCommentDTO>> fetchCommentsIfAny(QuernlightClient client, EventPublisher& events,
                                                    std::string bugID);

/// The same, once it is this request's turn.
Task<ReadableList<QLCommentDTO>> fetchCommentsInTurn(QuernlightClient client, EventPublisher& events,
                                                     RateLimiter& rateLimiter, Clock& clock,
                                                     std::string bugID);

/// When the newest of them was written; nothing without comments.
std::optional<Instant> newestCreation(const std::vector<QLCommentDTO>& comments);

/// Polls a bug's comments until it is cancelled and tells the mailbox what changed. A poll that fails ends
/// nothing: the next one comes after a longer pause, up to a minute, and not before the backend wants to be
/// asked again. Pauses vary by a quarter, so that sessions which started together do not ask together.
Task<void> pollComments(CommentPolling polling, CompletionPollState state,
                        SessionMailbox::Continuation mailbox);

/// The pause before the next poll: `interval` doubled for every failure in a row, at most a minute (or the
/// interval, when that is longer); `chance` from 0 to 1 takes up to a quarter of it away.
std::chrono::milliseconds pauseBeforePoll(std::chrono::milliseconds interval, int failures, double chance);

}  // namespace quernlight::host
