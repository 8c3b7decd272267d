#include "host/app/owner_view.hpp"

#include <csignal>
#include <iterator>

#include <unistd.h>

#include "host/text/clock_time.hpp"
#include "host/text/terminal_text.hpp"
#include "host/view/terminal_style.hpp"

namespace quernlight::host {
namespace {

/// Whoever stops by a key does what Ctrl-C does.
void stopAsByControlC() {
    std::raise(SIGINT);
}

}  // namespace

OwnerView::OwnerView(const boost::asio::any_io_executor& executor, Views& views, EventPublisher& events,
                     DispatchService& service, Clock& clock, const std::filesystem::path& home)
    : views_(views),
      view_(executor, {.service = service,
                       .clock = clock,
                       .home = home,
                       .device = terminalDevice(STDOUT_FILENO),
                       .isColoured = terminalStyle(currentEnvironmentMap()) == TerminalStyle::colouredPicture,
                       .stop = stopAsByControlC}),
      listening_(events.subscribe([this](const DispatchEvent& event) { take(event); })),
      tasks_(executor, [this](const std::string& name, const std::exception_ptr& error) {
          views_.setLinesShown(true);
          reportFailure(name, error);
      }) {
    views_.setLinesShown(false);
    view_.leaveBehind([this] { return leftBehind(); });
    tasks_.add("showing the live view", view_.run());
}

void OwnerView::keep(const std::string& sentence) {
    told_.add(clockTime(currentInstant()) + "  " + withoutControls(sentence));
    view_.tell(sentence);
}

void OwnerView::take(const DispatchEvent& event) {
    if (const auto* notice = std::get_if<Notice>(&event)) {
        keep(notice->sentence);
    } else if (const auto* changed = std::get_if<SettingChanged>(&event)) {
        keep(changed->sentence);
    } else if (!std::holds_alternative<DetailChanged>(event)) {
        view_.lookSoon();
    }
}

std::vector<std::string> OwnerView::leftBehind() const {
    std::vector<std::string> lines = told_.lines();
    std::vector<std::string> last = view_.lastLines();
    std::move(last.begin(), last.end(), std::back_inserter(lines));
    return lines;
}

Task<void> OwnerView::end() {
    if (tasks_.size() > 0) {
        co_await view_.look();
    }
    co_await tasks_.end();
    listening_.reset();
    views_.setLinesShown(true);  // what is told from now on has no other place
}

}  // namespace quernlight::host
