#include "host/comment_poll.hpp"

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

/// The pause before the next poll: doubled for every failure in a row, at most a minute, varied by a quarter.
milliseconds pauseBefore(milliseconds interval, int failures) {
    const milliseconds longest = std::max<milliseconds>(interval, std::chrono::minutes(1));
    const milliseconds pause = std::min(interval * (1 << std::min(failures, 10)), longest);
    thread_local std::minstd_rand random(std::random_device{}());
    return milliseconds(
        std::uniform_int_distribution<std::int64_t>(pause.count() * 3 / 4, pause.count())(random));
}

}  // namespace

Task<void> pollComments(QuernlightClient client, CompletionPollState state, milliseconds interval,
                        SessionMailbox::Continuation mailbox) {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    for (int failures = 0;;) {
        timer.expires_after(pauseBefore(interval, failures));
        co_await timer.async_wait(boost::asio::use_awaitable);
        const Poll poll = co_await pollOnce(client, state.bugID);
        const bool wasFailing = failures > 0;
        failures = poll.trouble.empty() ? 0 : failures + 1;
        if (wasFailing != (failures > 0)) {
            mailbox.deliver(BackendHealthChanged{poll.trouble});
        }
        const auto newest = newestCreation(poll.comments);
        if (newest > state.lastSeenCommentCreatedAt) {
            state.lastSeenCommentCreatedAt = newest;
            mailbox.deliver(
                CommentsChanged{currentInstant(), CompletionDetector::detectOutcome(poll.comments, state)});
        }
    }
}

}  // namespace quernlight::host
