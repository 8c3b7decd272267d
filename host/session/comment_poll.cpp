#include "host/session/comment_poll.hpp"

#include <algorithm>
#include <exception>
#include <random>
#include <string>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/health/unreadable_records.hpp"
#include "host/text/failure_sentence.hpp"
#include "quernlight/backend/backend_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

struct Poll {
    std::optional<std::vector<QLCommentDTO>> comments{};
    std::string trouble{};  // with this bug alone
};

Task<Poll> pollOnce(CommentPolling polling, std::string bugID) {
    Poll poll;
    try {
        co_await turnToAsk(polling.rateLimiter, polling.clock);
        auto fetched = co_await polling.fetch(std::move(bugID));
        poll.comments = std::move(fetched.records);
        polling.health.answered();
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        polling.health.failed(error);
    } catch (const std::exception& error) {
        poll.trouble = polling.health.failed(error) ? "" : failureSentence(error);
    }
    co_return poll;
}

double chance() {
    thread_local std::minstd_rand random(std::random_device{}());
    return std::uniform_real_distribution<double>(0, 1)(random);
}

milliseconds interval(const Settings& settings) {
    return std::chrono::duration_cast<milliseconds>(
        std::chrono::duration<double>(settings.pollCommentsSeconds));
}

/// In short steps, so that a changed setting counts for the pause that has begun.
Task<void> rest(CommentPolling polling, int failures) {
    constexpr std::chrono::seconds longestStep{1};
    const double luck = chance();
    Clock& clock = polling.clock;
    const auto begun = clock.steadyNow();
    const auto end = [&] {
        const auto pause = pauseBeforePoll(interval(polling.settings), failures, luck);
        return std::max<Clock::TimePoint>(begun + pause, polling.health.askAgainAt());
    };
    for (auto now = begun; now < end(); now = clock.steadyNow()) {
        co_await clock.sleepUntil(std::min<Clock::TimePoint>(end(), now + longestStep));
    }
}

}  // namespace

milliseconds pauseBeforePoll(milliseconds interval, int failures, double chance) {
    const milliseconds longest = std::max<milliseconds>(interval, std::chrono::minutes(1));
    const milliseconds pause = std::min(interval * (1 << std::min(failures, 10)), longest);
    return pause - std::chrono::duration_cast<milliseconds>(pause * chance / 4);
}

std::optional<Instant> newestCreation(const std::vector<QLCommentDTO>& comments) {
    std::optional<Instant> newest;
    for (const QLCommentDTO& comment : comments) {
        newest = std::max(newest, std::optional(comment.createdAt));
    }
    return newest;
}

Task<void> turnToAsk(RateLimiter& rateLimiter, Clock& clock) {
    co_await clock.sleepUntil(rateLimiter.reserve(clock.steadyNow()));
}

Task<ReadableList<QLCommentDTO>> fetchCommentsInTurn(QuernlightClient client, EventPublisher& events,
                                                     RateLimiter& rateLimiter, Clock& clock,
                                                     std::string bugID) {
    co_await turnToAsk(rateLimiter, clock);
    co_return co_await fetchCommentsIfAny(std::move(client), events, std::move(bugID));
}

Task<ReadableList<QLCommentDTO>> fetchCommentsIfAny(QuernlightClient client, EventPublisher& events,
                                                    std::string bugID) {
    constexpr int notFound = 404;
    try {
        auto comments = co_await client.fetchReadableComments(bugID);
        tellUnreadableComments(events, bugID, comments.unreadable);
        co_return comments;
    } catch (const BackendError& error) {
        if (!error.isServer(notFound)) {
            throw;
        }
    }
    co_return ReadableList<QLCommentDTO>{};
}

Task<void> pollComments(CommentPolling polling, CompletionPollState state,
                        SessionMailbox::Continuation mailbox) {
    std::string trouble;
    for (int failures = 0;;) {
        co_await rest(polling, failures);
        const Poll poll = co_await pollOnce(polling, state.bugID);
        failures = poll.comments ? 0 : failures + 1;
        if (poll.trouble != std::exchange(trouble, poll.trouble)) {
            mailbox.deliver(CommentTrouble{trouble});
        }
        if (!poll.comments) {
            continue;
        }
        const auto newest = newestCreation(*poll.comments);
        auto detection = CompletionDetector::detectOutcome(*poll.comments, state);
        if (detection || newest > state.lastSeenCommentCreatedAt) {
            state.lastSeenCommentCreatedAt = newest;
            mailbox.deliver(CommentsChanged{polling.clock.now(), newest, std::move(detection)});
        }
    }
}

}  // namespace quernlight::host
