#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>

#include <boost/asio/any_io_executor.hpp>

#include "host/events/event_publisher.hpp"

namespace quernlight::host {

/// Who wants to know what happens in a dispatcher that may be another process. Both must neither wait nor
/// throw.
struct EventListener {
    EventPublisher::Handler happened{};

    /// How all stands is to be read anew: at first, and whenever some events may have been missed, because a
    /// dispatcher has come or gone. Where none can be followed, now and then.
    std::function<void()> lookAnew{};
};

/// The listener is told for as long as this lives, and never afterwards.
using EventSubscription = std::shared_ptr<const void>;

/// How long after so many attempts in vain a dispatcher is looked for again. Pure.
std::chrono::milliseconds pauseBeforeFollowing(int failures);

/// Tells the listener, on the executor, what the dispatcher of a home tells over its socket, each event once:
/// a connection that is lost is made again, and goes on behind the last event. The home need not be there,
/// nor a dispatcher, and that may be another one later.
[[nodiscard]] EventSubscription followEvents(const boost::asio::any_io_executor& executor,
                                             std::filesystem::path home, EventListener listener);

}  // namespace quernlight::host
