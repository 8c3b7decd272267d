#include "host/service/event_following.hpp"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>

#include "host/control/control_client.hpp"
#include "host/process/clock.hpp"
#include "host/service/event_record.hpp"
#include "host/service/json_fields.hpp"
#include "quernlight/platform/child_task.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds shortestPause{250};
constexpr std::chrono::milliseconds longestPause{2000};

/// Held weakly, so that nobody is told who has left.
using Told = std::weak_ptr<const EventListener>;

/// Where one who follows stands.
struct Position {
    std::optional<std::uint64_t> last{};  // the number of the latest event that is known
    int failures = 0;                     // since something was told
};

void tellToLookAnew(const Told& told) {
    const auto listener = told.lock();
    if (listener && listener->lookAnew) {
        listener->lookAnew();
    }
}

void tell(const Told& told, const RecordedEvent& recorded) {
    if (!recorded.event) {
        return tellToLookAnew(told);
    }
    const auto listener = told.lock();
    if (listener && listener->happened) {
        listener->happened(*recorded.event);
    }
}

/// None where there is no dispatcher, or one that cannot be followed now, for whatever reason.
Task<std::unique_ptr<ControlChannel>> openedFor(std::filesystem::path home,
                                                std::optional<std::uint64_t> last) {
    std::string target = "/v1/events";
    target += last ? "?after=" + std::to_string(*last) : "";
    try {
        co_return co_await openChannel(std::move(home), std::move(target));
    } catch (const UserError&) {
        co_return nullptr;
    }
}

/// Until the connection is lost, or tells what is no event.
Task<void> takeEvents(ControlChannel& channel, Told told, Position& position) {
    while (true) {
        const auto frame = co_await channel.receive();
        if (!frame) {
            co_return;
        }
        try {
            const RecordedEvent recorded = readRecordedEvent(frame->bytes);
            position = {.last = recorded.number};
            tell(told, recorded);
        } catch (const Misread&) {
            co_return;
        }
    }
}

Task<void> keepFollowing(std::filesystem::path home, Told told) {
    SystemClock clock;
    Position position;
    while (true) {
        const auto channel = co_await openedFor(home, position.last);
        if (channel) {
            co_await takeEvents(*channel, told, position);
        }
        tellToLookAnew(told);
        co_await clock.sleepFor(pauseBeforeFollowing(position.failures++));
    }
}

/// The listener goes first.
struct Following {
    Following(const boost::asio::any_io_executor& executor, std::filesystem::path home,
              std::shared_ptr<const EventListener> told)
        : task(executor, "following the dispatcher's events", keepFollowing(std::move(home), told)),
          listener(std::move(told)) {}

    const ChildTask task;
    const std::shared_ptr<const EventListener> listener;
};

}  // namespace

std::chrono::milliseconds pauseBeforeFollowing(int failures) {
    constexpr int mostDoublings = 10;
    return std::min(longestPause, shortestPause * (1 << std::min(failures, mostDoublings)));
}

EventSubscription followEvents(const boost::asio::any_io_executor& executor, std::filesystem::path home,
                               EventListener listener) {
    auto told = std::make_shared<const EventListener>(std::move(listener));
    return std::make_shared<const Following>(executor, std::move(home), std::move(told));
}

}  // namespace quernlight::host
