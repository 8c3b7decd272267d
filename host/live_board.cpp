#include "host/live_board.hpp"

#include <algorithm>
#include <array>

#include <sys/ioctl.h>
#include <unistd.h>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds frameTime{120};
constexpr std::array<const char*, 10> spinner{"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};
constexpr const char* green = "\x1b[32m";
constexpr const char* yellow = "\x1b[33m";
constexpr const char* red = "\x1b[31m";
constexpr const char* dim = "\x1b[2m";
constexpr const char* plain = "\x1b[0m";

struct TerminalSize {
    std::size_t columns = 80;
    std::size_t rows = 24;
};

/// At least three rows, so that there is room for one line.
TerminalSize sizeOfTerminal(int terminal) {
    winsize size{};
    if (ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {.columns = size.ws_col, .rows = std::max<std::size_t>(size.ws_row, 3)};
}

/// The sign at the head of a line: what state the bug is in, told by form and not by colour alone.
std::string signOf(const BugProgress& progress, std::size_t frame) {
    if (progress.stage == "in review") {
        return std::string(green) + "✓" + plain;
    }
    if (progress.stage == "failed") {
        return std::string(red) + "✗" + plain;
    }
    if (progress.finished) {
        return std::string(yellow) + "?" + plain;
    }
    if (progress.stage == "queued" || progress.stage == "waits for a mapping") {
        return "·";
    }
    return spinner[frame % spinner.size()];
}

std::string clockText(std::chrono::seconds time) {
    const auto minutes = std::to_string(time.count() / 60);
    const auto seconds = std::to_string(time.count() % 60);
    return minutes + ":" + (seconds.size() < 2 ? "0" : "") + seconds;
}

bool isWaiting(const BugProgress& progress) {
    return progress.stage == "queued" || progress.stage == "waits for a mapping";
}

bool isUnderWay(const BugProgress& progress) {
    return !isWaiting(progress) && !progress.finished;
}

}  // namespace

LiveBoard::LiveBoard(const boost::asio::any_io_executor& executor, int terminal)
    : executor_(executor), terminal_(terminal) {}

void LiveBoard::show(const BugProgress& progress) {
    Line& line = lineOf(progress);
    if (isWaiting(line.progress) && !isWaiting(progress)) {
        line.since = currentInstant();
    }
    line.progress = progress;
    if (!redraw_ && !closed_) {
        redraw_ = std::make_unique<ChildTask>(executor_, "drawing", redrawRepeatedly());
    }
}

void LiveBoard::note(const std::string& sentence) {
    write(eraseDrawn() + sentence + "\n");
    drawnLines_ = 0;
    draw();
}

void LiveBoard::close() {
    closed_ = true;
    redraw_.reset();
    draw();
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
    keepTime();
    const TerminalSize size = sizeOfTerminal(terminal_);
    const auto shown = linesThatFit(size.rows - 2);
    std::string picture = eraseDrawn();
    for (const Line* line : shown) {
        picture += textOf(*line, size.columns) + "\n";
    }
    drawnLines_ = shown.size();
    if (shown.size() < lines_.size()) {
        picture += "  and " + std::to_string(lines_.size() - shown.size()) + " more\n";
        ++drawnLines_;
    }
    write(picture);
}

void LiveBoard::keepTime() {
    for (Line& line : lines_) {
        if (isUnderWay(line.progress)) {
            line.took = std::chrono::duration_cast<std::chrono::seconds>(currentInstant() - line.since);
        }
    }
}

/// All lines, or as many as there is room for: those under way, then the last that ended, then the first that
/// wait. What is above the screen's top cannot be drawn over.
std::vector<const LiveBoard::Line*> LiveBoard::linesThatFit(std::size_t room) const {
    std::vector<const Line*> shown;
    const auto take = [&](const Line& line, bool wanted) {
        if (wanted && shown.size() < room) {
            shown.push_back(&line);
        }
    };
    for (const Line& line : lines_) {
        take(line, isUnderWay(line.progress));
    }
    for (auto line = lines_.rbegin(); line != lines_.rend(); ++line) {
        take(*line, line->progress.finished);
    }
    for (const Line& line : lines_) {
        take(line, isWaiting(line.progress) && !line.progress.finished);
    }
    std::sort(shown.begin(), shown.end());  // back into the order in which the bugs came
    return shown;
}

std::string LiveBoard::eraseDrawn() const {
    return drawnLines_ == 0 ? "" : "\x1b[" + std::to_string(drawnLines_) + "A\r\x1b[J";
}

/// Sign, bug, title, stage, time, and with what room is left the agent's last line.
std::string LiveBoard::textOf(const Line& line, std::size_t width) const {
    const BugProgress& progress = line.progress;
    const std::size_t titleWidth = width >= 100 ? 30 : 18;
    std::string text = signOf(progress, frame_) + " " + fitted(progress.bugID, 8) + "  " +
                       fitted(progress.title, titleWidth) + "  " + fitted(progress.stage, 19) + "  " +
                       fitted(isWaiting(progress) ? "" : clockText(line.took), 5);
    const std::size_t used = 2 + 8 + 2 + titleWidth + 2 + 19 + 2 + 5;
    if (width > used + 12 && !progress.detail.empty()) {
        text += std::string("  ") + dim + fitted(progress.detail, width - used - 3) + plain;
    }
    return width > used ? text : fitted(progress.bugID + " " + progress.stage, width - 1);
}

LiveBoard::Line& LiveBoard::lineOf(const BugProgress& progress) {
    const auto known = std::find_if(lines_.begin(), lines_.end(),
                                    [&](const Line& line) { return line.progress.bugID == progress.bugID; });
    if (known != lines_.end()) {
        return *known;
    }
    lines_.push_back({.progress = progress, .since = currentInstant()});
    return lines_.back();
}

void LiveBoard::write(const std::string& text) const {
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t count = ::write(terminal_, text.data() + written, text.size() - written);
        if (count <= 0) {
            return;  // the terminal is gone; the work goes on without a picture
        }
        written += static_cast<std::size_t>(count);
    }
}

}  // namespace quernlight::host
