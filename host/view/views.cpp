#include "host/view/views.hpp"

#include <unistd.h>

#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

bool isForPicture(const ViewOptions& options) {
    const bool wantsPicture = options.format == LogFormat::text || options.logFile;
    return wantsPicture && isatty(STDOUT_FILENO) != 0 &&
           terminalStyle(currentEnvironmentMap()) != TerminalStyle::lines;
}

}  // namespace

Views::Views(const boost::asio::any_io_executor& executor, EventPublisher& events, const ViewOptions& options)
    : events_(events),
      wantsLiveView_(isForPicture(options)),
      lines_(std::make_unique<EventLog>(wantsLiveView_ ? LogFormat::text : options.format,
                                        BoundedLog(options.serviceLog))),
      showingLines_(shownBy(*lines_)) {
    if (options.logFile) {
        file_ = std::make_unique<EventLog>(options.format, *options.logFile);
        writingFile_ = shownBy(*file_);
    }
    failures_ = std::make_unique<FailureNotices>(executor, events);
}

EventPublisher::Subscription Views::shownBy(View& view) {
    return events_.subscribe([&view](const DispatchEvent& event) { view.handle(event); });
}

void Views::setLinesShown(bool areShown) {
    showingLines_ = areShown ? shownBy(*lines_) : nullptr;
}

void Views::close() {
    failures_.reset();
    showingLines_.reset();
    writingFile_.reset();
    lines_->close();
    if (file_) {
        file_->close();
    }
}

}  // namespace quernlight::host
