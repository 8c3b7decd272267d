#include "host/view/live_view.hpp"

#include <algorithm>
#include <csignal>

#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/text/clock_time.hpp"
#include "host/text/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds frameTime{120};
constexpr std::chrono::seconds timeoutAtTheEnd{1};
constexpr std::chrono::milliseconds timeoutBeforeSuspension{200};

/// How many rows a line takes on a terminal that has been made narrower since it was drawn.
std::size_t rowsTaken(std::size_t drawnWidth, std::size_t width) {
    return width == 0 || drawnWidth <= width ? 1 : (drawnWidth + width - 1) / width;
}

std::string unkeptNotice(std::size_t lines) {
    return lines == 0 ? ""
                      : std::to_string(lines) + (lines == 1 ? " line was" : " lines were") +
                            " left out here, since the terminal took nothing.\n";
}

/// A picture is only handed over when nothing else waits.
std::string noLossNotice(std::size_t) {
    return "";
}

void listenTo(boost::asio::signal_set& signals) {
    for (const int number : {SIGTSTP, SIGCONT, SIGQUIT}) {
        signals.add(number);
    }
}

/// What the signal would do had nobody asked for it. Of a stop this returns once the program goes on.
void actAsUsual(boost::asio::signal_set& signals, int number) {
    signals.clear();
    raise(number);
    listenTo(signals);
}

}  // namespace

LiveView::LiveView(const boost::asio::any_io_executor& executor, int terminal, bool history, bool coloured)
    : executor_(executor),
      terminal_(terminal),
      writer_(terminal, noLossNotice),
      history_(history),
      coloured_(coloured) {}

void LiveView::handle(const DispatchEvent& event) {
    std::visit([this](const auto& what) { take(what); }, event);
}

void LiveView::take(const StageChanged& changed) {
    ViewLine& line = lineOf(changed.progress);
    line.since = currentInstant();
    line.progress = changed.progress;
    drawFromNowOn();
}

void LiveView::take(const DetailChanged& changed) {
    lineOf(changed.progress).progress = changed.progress;
    drawFromNowOn();
}

void LiveView::take(const ItemRemoved& removed) {
    std::erase_if(state_.lines, [&](const ViewLine& line) { return line.progress.bugID == removed.bugID; });
}

void LiveView::take(const SettingChanged& changed) {
    scroll(withoutControls(changed.sentence));
}

void LiveView::take(const Notice& notice) {
    scroll(withoutControls(notice.sentence));
}

/// The bug's own line shows where it is; the history is dimmed, so that notices stand out.
void LiveView::take(const ItemChanged& changed) {
    if (!history_) {
        return;
    }
    const std::string text = clockTime(changed.event.createdAt) + "  " + fitted(changed.bugID, 8) + "  " +
                             withoutControls(changed.event.message);
    scroll(coloured_ ? dim + text + plain : text);
}

void LiveView::scroll(const std::string& line) {
    constexpr std::size_t mostKept = 1 << 20;
    scrolled_ += line + "\n";
    if (scrolled_.size() > mostKept) {
        const auto kept =
            scrolled_.begin() + std::ssize(scrolled_) - static_cast<std::ptrdiff_t>(mostKept / 2);
        const auto cut = std::find(kept, scrolled_.end(), '\n') + 1;
        unkept_ += static_cast<std::size_t>(std::count(scrolled_.begin(), cut, '\n'));
        scrolled_.erase(scrolled_.begin(), cut);
    }
    draw();
}

void LiveView::take(const AlertRaised& raised) {
    state_.alerts[raised.key] = raised.sentence;
    drawFromNowOn();
}

void LiveView::take(const AlertCleared& cleared) {
    state_.alerts.erase(cleared.key);
}

/// The last picture is worth a short wait for a slow terminal.
void LiveView::close() {
    closed_ = true;
    redraw_.reset();
    jobControl_.reset();
    if (writer_.waitUntilIdle(timeoutAtTheEnd)) {
        draw();
        writer_.waitUntilIdle(timeoutAtTheEnd);
    }
    terminal_.release();
}

void LiveView::drawFromNowOn() {
    if (!redraw_ && !closed_) {
        redraw_ = std::make_unique<ChildTask>(executor_, "drawing", redrawRepeatedly());
        jobControl_ = std::make_unique<ChildTask>(executor_, "following job control", followJobControl());
    }
}

/// Ctrl-Z, the program's continuing, and Ctrl-\, which ends it without another word.
Task<void> LiveView::followJobControl() {
    boost::asio::signal_set signals(co_await boost::asio::this_coro::executor);
    listenTo(signals);
    while (true) {
        const int number = co_await signals.async_wait(boost::asio::use_awaitable);
        if (number != SIGCONT) {
            suspend();
            actAsUsual(signals, number);
        }
        resume();
    }
}

void LiveView::suspend() {
    writer_.waitUntilIdle(timeoutBeforeSuspension);
    terminal_.release();
}

/// Others have written meanwhile: what was drawn is theirs to keep or to scroll away.
void LiveView::resume() {
    drawnLines_ = 0;
    terminal_.takeAgain();
}

Task<void> LiveView::redrawRepeatedly() {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    while (true) {
        timer.expires_after(frameTime);
        co_await timer.async_wait(boost::asio::use_awaitable);
        ++frame_;
        draw();
    }
}

void LiveView::draw() {
    const bool isOthers = !terminal_.isOurs();
    drawnLines_ = isOthers ? 0 : drawnLines_;  // they write there
    if (!writer_.isIdle() || (isOthers && !closed_)) {
        return;
    }
    if (!closed_) {
        terminal_.take();
    }
    const TerminalSize size = terminal_.size();
    std::string text = eraseDrawn() + unkeptNotice(std::exchange(unkept_, 0)) + scrolled_;
    const PictureFrame frame{
        .columns = size.columns, .rows = size.rows - 1, .number = frame_, .coloured = coloured_};
    const auto drawn = pictureOf(state_, frame, currentInstant());
    for (const std::string& line : drawn) {
        text += line + "\n";
    }
    writer_.write(std::move(text));
    scrolled_.clear();
    drawnLines_ = drawn.size();
    drawnColumns_ = size.columns;
}

/// From the drawn picture's first row on. A terminal that has become narrower has wrapped its lines.
std::string LiveView::eraseDrawn() const {
    const std::size_t rows = drawnLines_ * rowsTaken(drawnColumns_, terminal_.size().columns);
    return rows == 0 ? "" : "\x1b[" + std::to_string(rows) + "A\r\x1b[J";
}

ViewLine& LiveView::lineOf(const BugProgress& progress) {
    const auto known = std::find_if(state_.lines.begin(), state_.lines.end(), [&](const ViewLine& line) {
        return line.progress.bugID == progress.bugID;
    });
    if (known != state_.lines.end()) {
        return *known;
    }
    state_.lines.push_back({.progress = progress, .since = currentInstant()});
    return state_.lines.back();
}

}  // namespace quernlight::host
