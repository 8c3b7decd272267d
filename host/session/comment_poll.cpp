#include "host/session/comment_poll.hpp"

#include <algorithm>
#include <exception>
#include <random>
#include <string>

#include <boost/asio/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/system/system_error.hpp>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;

struct Poll {
    std::vector<QLCommentDTO> comments{};
    std::string trouble{};
};

Task<Poll> pollOnce(const QuernlightClient& client, const std::string& bugID) {
    Poll poll;
    try {
        poll.comments = co_await client.fetchComments(bugID);
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            throw;
        }
        poll.trouble = error.what();
    } catch (const std::exception& error) {
        poll.trouble = error.what();
    }
    co_return poll;
}

std::optional<Instant> newestCreation(const std::vector<QLCommentDTO>& comments) {
    std::optional<Instant> newest;
    for (const QLCommentDTO& comment : comments) {
        newest = std::max(newest, std::optional(comment.createdAt));
    }
    return newest;
}

double chance() {
    thread_local std::minstd_rand random(std::random_device{}());
    return std::uniform_real_distribution<double>(0, 1)(random);
}

milliseconds interval(const Settings& settings) {
    return std::chrono::duration_cast<milliseconds>(
        std::chrono::duration<double>(settings.pollCommentsSeconds));
}

void note(BackendHealth& health, const std::string& trouble) {
    if (trouble.empty()) {
        health.answered();
    } else {
        health.failed(trouble);
    }
}

}  // namespace

milliseconds pauseBeforePoll(milliseconds interval, int failures, double chance) {
    const milliseconds longest = std::max<milliseconds>(interval, std::chrono::minutes(1));
    const milliseconds pause = std::min(interval * (1 << std::min(failures, 10)), longest);
    return pause - std::chrono::duration_cast<milliseconds>(pause * chance / 4);
}

Task<void> pollComments(CommentPolling polling, CompletionPollState state,
                        SessionMailbox::Continuation mailbox) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    for (int failures = 0;;) {
        timer.expires_after(pauseBeforePoll(interval(polling.settings), failures, chance()));
        co_await timer.async_wait(boost::asio::use_awaitable);
        timer.expires_at(polling.budget.reserve(std::chrono::steady_clock::now()));
        co_await timer.async_wait(boost::asio::use_awaitable);
        const Poll poll = co_await pollOnce(polling.client, state.bugID);
        failures = poll.trouble.empty() ? 0 : failures + 1;
        note(polling.health, poll.trouble);
        const auto newest = newestCreation(poll.comments);
        auto detection = CompletionDetector::detectOutcome(poll.comments, state);
        if (detection || newest > state.lastSeenCommentCreatedAt) {
            state.lastSeenCommentCreatedAt = newest;
            mailbox.deliver(CommentsChanged{currentInstant(), std::move(detection)});
        }
    }
}

}  // namespace quernlight::host
