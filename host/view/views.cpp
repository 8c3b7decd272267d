#include "host/view/views.hpp"

#include <unistd.h>

#include "host/view/live_view.hpp"

namespace quernlight::host {

Views::Views(const boost::asio::any_io_executor& executor, EventPublisher& events,
             const ViewOptions& options) {
    const bool wantsPicture = options.format == LogFormat::text || options.logFile;
    const TerminalStyle style = terminalStyle(currentEnvironmentMap());
    if (wantsPicture && isatty(STDOUT_FILENO) != 0 && style != TerminalStyle::lines) {
        views_.push_back(std::make_unique<LiveView>(executor, STDOUT_FILENO, options.history,
                                                    style == TerminalStyle::colouredPicture));
    } else {
        views_.push_back(std::make_unique<EventLog>(options.format));
    }
    if (options.logFile) {
        views_.push_back(std::make_unique<EventLog>(options.format, *options.logFile));
    }
    for (const auto& view : views_) {
        subscriptions_.push_back(
            events.subscribe([view = view.get()](const DispatchEvent& event) { view->handle(event); }));
    }
    failures_ = std::make_unique<FailureNotices>(executor, events);
}

void Views::close() {
    failures_.reset();
    subscriptions_.clear();
    for (const auto& view : views_) {
        view->close();
    }
}

}  // namespace quernlight::host
