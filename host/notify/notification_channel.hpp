#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>

#include <boost/asio/any_io_executor.hpp>

#include "host/events/event_publisher.hpp"
#include "host/process/clock.hpp"
#include "host/process/task_set.hpp"

namespace quernlight::host {

/// One way by which notifications leave. A few are delivered at the same time, each within a limit of time
/// and tried once; the others wait in order, up to a bound. A failure is published as a notice, and the next
/// only after one was delivered in between; so is how many found no room. Nobody ever waits for a delivery.
/// Used on one executor; `end` comes before its end.
class NotificationChannel {
  public:
    /// Delivers one line; whatever it throws is why it could not.
    using Delivery = std::function<Task<void>(std::string line)>;

    static constexpr std::size_t mostAtOnce = 4;
    static constexpr std::size_t mostWaiting = 100;
    static constexpr std::chrono::seconds timeLimit{10};

    /// `setting`: what the channel is called in notices.
    NotificationChannel(const boost::asio::any_io_executor& executor, std::string setting, Delivery deliver,
                        EventPublisher& events, Clock& clock);

    void add(std::string line);

    /// Returns once nothing waits or is under way.
    Task<void> awaitDelivered();

    /// Ends what is under way, and drops what waits.
    Task<void> end();

  private:
    class Working;

    Task<void> deliverWaiting();
    Task<void> deliver(std::string line);
    void failed(const std::string& why);
    void tellLeftOut();

    const std::string setting_;
    const Delivery deliver_;
    EventPublisher& events_;
    Clock& clock_;
    std::deque<std::string> waiting_;
    std::size_t working_ = 0;
    std::size_t leftOut_ = 0;
    bool isFailing_ = false;
    AsyncSignal delivered_;
    TaskSet tasks_;
};

}  // namespace quernlight::host
