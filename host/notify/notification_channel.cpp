#include "host/notify/notification_channel.hpp"

#include <exception>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/time_limit.hpp"
#include "host/text/counted.hpp"
#include "host/text/failure_sentence.hpp"

namespace quernlight::host {

/// Counts a worker for as long as it works, however it ends.
class NotificationChannel::Working {
  public:
    explicit Working(NotificationChannel& channel) : channel_(channel) {}
    Working(const Working&) = delete;
    Working& operator=(const Working&) = delete;
    ~Working() {
        --channel_.working_;
        channel_.delivered_.notify();
    }

  private:
    NotificationChannel& channel_;
};

NotificationChannel::NotificationChannel(const boost::asio::any_io_executor& executor, std::string setting,
                                         Delivery deliver, EventPublisher& events, Clock& clock)
    : setting_(std::move(setting)),
      deliver_(std::move(deliver)),
      events_(events),
      clock_(clock),
      tasks_(executor, reportFailure) {}

void NotificationChannel::add(std::string line) {
    if (waiting_.size() >= mostWaiting) {
        ++leftOut_;
        return;
    }
    waiting_.push_back(std::move(line));
    if (working_ < mostAtOnce) {
        ++working_;
        tasks_.add("notifying (" + setting_ + ")", deliverWaiting());
    }
}

Task<void> NotificationChannel::deliverWaiting() {
    const Working working(*this);
    while (!waiting_.empty()) {
        std::string line = std::move(waiting_.front());
        waiting_.pop_front();
        co_await deliver(std::move(line));
    }
    tellLeftOut();
}

/// What is cancelled has not failed, but has not reached anybody either.
Task<void> NotificationChannel::deliver(std::string line) {
    try {
        co_await withTimeLimit(clock_, timeLimit, deliver_(std::move(line)));
        isFailing_ = false;
    } catch (const TimeLimitExceeded&) {
        failed("It did not end within " + std::to_string(timeLimit.count()) + " s.");
    } catch (const boost::system::system_error& error) {
        if (error.code() == boost::asio::error::operation_aborted) {
            ++leftOut_;
            throw;
        }
        failed(failureSentence(error));
    } catch (const std::exception& error) {
        failed(failureSentence(error));
    }
}

void NotificationChannel::failed(const std::string& why) {
    if (!std::exchange(isFailing_, true)) {
        events_.notice(
            "A notification was not delivered (setting " + setting_ + "): " + why +
            " The next ones are tried all the same, and nothing more is said until one is delivered.");
    }
}

void NotificationChannel::tellLeftOut() {
    if (const std::size_t count = std::exchange(leftOut_, 0)) {
        const std::string what =
            counted(static_cast<std::int64_t>(count), "notification was", "notifications were");
        events_.notice(what + " left out (setting " + setting_ + "), since delivering them took too long.");
    }
}

Task<void> NotificationChannel::awaitDelivered() {
    while (working_ > 0) {
        co_await delivered_.wait();
    }
}

Task<void> NotificationChannel::end() {
    leftOut_ += std::exchange(waiting_, {}).size();
    co_await tasks_.end();
    tellLeftOut();
}

}  // namespace quernlight::host
