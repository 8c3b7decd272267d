#pragma once

#include <filesystem>
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
    std::filesystem::path serviceLog{};    ///< bounded where standard output is that file
};

/// What a person sees of a running dispatcher: log lines on standard output, unless that is a terminal on
/// which a live view takes their place; and the log file. Used on one executor.
class Views {
  public:
    /// Subscribes to `events`, which gets failures of background work as well. Throws UserError when the log
    /// file cannot be written.
    Views(const boost::asio::any_io_executor& executor, EventPublisher& events, const ViewOptions& options);

    /// Whether standard output is a terminal for a live view: it moves its cursor, and no JSON is to be
    /// printed there.
    bool wantsLiveView() const { return wantsLiveView_; }

    /// While a live view has the terminal there are no lines on it.
    void setLinesShown(bool areShown);

    /// Nothing is shown from now on. Waits a moment for slow readers.
    void close();

  private:
    EventPublisher::Subscription shownBy(View& view);

    EventPublisher& events_;
    const bool wantsLiveView_;
    std::unique_ptr<View> lines_, file_;
    EventPublisher::Subscription showingLines_, writingFile_;
    std::unique_ptr<FailureNotices> failures_;  // as long as somebody is shown them
};

}  // namespace quernlight::host
