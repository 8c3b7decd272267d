#include "host/live_board.hpp"

#include <algorithm>
#include <array>
#include <ctime>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds frameTime{120};

/// The hour as the person's own clock has it.
std::string clockTime(Instant instant) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(instant);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

/// How many rows a line takes on a terminal that has been made narrower since it was drawn.
std::size_t rowsTaken(std::size_t drawnWidth, std::size_t width) {
    return width == 0 || drawnWidth <= width ? 1 : (drawnWidth + width - 1) / width;
}

}  // namespace

LiveBoard::LiveBoard(const boost::asio::any_io_executor& executor, int terminal, bool history)
    : executor_(executor), terminal_(terminal), history_(history) {}

void LiveBoard::show(const BugProgress& progress) {
    BoardLine& line = lineOf(progress);
    if (line.progress.stage != progress.stage) {
        line.since = currentInstant();
    }
    line.progress = progress;
    drawFromNowOn();
}

void LiveBoard::gone(const std::string& bugID) {
    std::erase_if(state_.lines, [&](const BoardLine& line) { return line.progress.bugID == bugID; });
}

void LiveBoard::note(const std::string& sentence) {
    scroll(withoutControls(sentence));
}

/// The bug's own line shows where it is; the history is dimmed, so that notes stand out.
void LiveBoard::event(const LoggedEvent& logged) {
    if (!history_) {
        return;
    }
    const std::string text = clockTime(logged.event.createdAt) + "  " + fitted(logged.bugID, 8) + "  " +
                             withoutControls(logged.event.message);
    scroll(dim + text + plain);
}

void LiveBoard::scroll(const std::string& line) {
    constexpr std::size_t mostKept = 1 << 20;
    scrolled_ += line + "\n";
    if (scrolled_.size() > mostKept) {
        scrolled_.erase(0, scrolled_.find('\n', scrolled_.size() - mostKept) + 1);
    }
    draw();
}

void LiveBoard::condition(const std::string& topic, const std::string& sentence) {
    if (sentence.empty()) {
        state_.conditions.erase(topic);
    } else {
        state_.conditions[topic] = sentence;
        drawFromNowOn();
    }
}

/// The last picture is worth a short wait for a slow terminal.
void LiveBoard::close() {
    closed_ = true;
    redraw_.reset();
    terminal_.flush(std::chrono::seconds(1));
    draw();
}

void LiveBoard::drawFromNowOn() {
    if (!redraw_ && !closed_) {
        redraw_ = std::make_unique<ChildTask>(executor_, "drawing", redrawRepeatedly());
    }
}

Task<void> LiveBoard::redrawRepeatedly() {
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    while (true) {
        timer.expires_after(frameTime);
        co_await timer.async_wait(boost::asio::use_awaitable);
        ++frame_;
        draw();
    }
}

void LiveBoard::draw() {
    if (!terminal_.flush()) {
        return;
    }
    const TerminalSize size = terminal_.size();
    terminal_.append(eraseDrawn() + scrolled_);
    const PictureFrame frame{.columns = size.columns, .rows = size.rows - 1, .number = frame_};
    const auto drawn = pictureOf(state_, frame, currentInstant());
    for (const std::string& line : drawn) {
        terminal_.append(line + "\n");
    }
    scrolled_.clear();
    drawnLines_ = drawn.size();
    drawnColumns_ = size.columns;
    terminal_.flush();
}

/// From the drawn picture's first row on. A terminal that has become narrower has wrapped its lines.
std::string LiveBoard::eraseDrawn() const {
    const std::size_t rows = drawnLines_ * rowsTaken(drawnColumns_, terminal_.size().columns);
    return rows == 0 ? "" : "\x1b[" + std::to_string(rows) + "A\r\x1b[J";
}

BoardLine& LiveBoard::lineOf(const BugProgress& progress) {
    const auto known = std::find_if(state_.lines.begin(), state_.lines.end(), [&](const BoardLine& line) {
        return line.progress.bugID == progress.bugID;
    });
    if (known != state_.lines.end()) {
        return *known;
    }
    state_.lines.push_back({.progress = progress, .since = currentInstant()});
    return state_.lines.back();
}

}  // namespace quernlight::host
