#pragma once

#include "host/events/event_publisher.hpp"
#include "host/live/live_view.hpp"
#include "host/view/kept_lines.hpp"
#include "host/view/views.hpp"

namespace quernlight::host {

/// The live view of the dispatcher that runs in this process, on its standard output, in place of log lines.
/// What is told of no bug, and the last picture, stay on the terminal. Where it cannot be shown there are
/// lines as ever. Used on one executor; outlived by what it is given.
class OwnerView {
  public:
    /// `service`: this process's own.
    OwnerView(const boost::asio::any_io_executor& executor, Views& views, EventPublisher& events,
              DispatchService& service, Clock& clock, const std::filesystem::path& home);

    /// Puts the terminal back.
    Task<void> end();

  private:
    void take(const DispatchEvent& event);
    void keep(const std::string& sentence);
    std::vector<std::string> leftBehind() const;

    Views& views_;
    LiveView view_;
    KeptLines told_;
    EventPublisher::Subscription listening_;
    TaskSet tasks_;
};

}  // namespace quernlight::host
