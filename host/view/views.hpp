#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/any_io_executor.hpp>

#include "host/events/event_publisher.hpp"
#include "host/events/failure_notices.hpp"
#include "host/view/event_log.hpp"

namespace quernlight::host {

struct ViewOptions {
    LogFormat format = LogFormat::text;
    std::optional<std::string> logFile{};  ///< gets the log as well
    bool history = true;                   ///< on a terminal: events scroll by above the live view
};

/// What a person sees of a running dispatcher: the live view where standard output is a terminal (with
/// colours unless the environment asks for none), log lines otherwise, where that terminal moves no cursor,
/// or when JSON is asked for and has no file of its own; and the log file. Used on one executor.
class Views {
  public:
    /// Subscribes to `events`, which gets failures of background work as well. Throws UserError when the log
    /// file cannot be written.
    Views(const boost::asio::any_io_executor& executor, EventPublisher& events, const ViewOptions& options);

    /// Nothing is shown from now on; what is on the screen stays. Waits a moment for slow readers.
    void close();

  private:
    std::vector<std::unique_ptr<View>> views_;
    std::vector<EventPublisher::Subscription> subscriptions_;
    std::unique_ptr<FailureNotices> failures_;  // as long as somebody is shown them
};

}  // namespace quernlight::host
