#include "host/live_board.hpp"

#include <algorithm>
#include <array>

#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "host/terminal_text.hpp"

namespace quernlight::host {
namespace {

constexpr std::chrono::milliseconds frameTime{120};
constexpr std::size_t stageWidth = 19;  // of the longest stage, "waits for a mapping"
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

/// At least three rows of ten columns, so that there is room for one line.
TerminalSize sizeOfTerminal(int terminal) {
    winsize size{};
    if (ioctl(terminal, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {.columns = std::max<std::size_t>(size.ws_col, 10), .rows = std::max<std::size_t>(size.ws_row, 3)};
}

bool isWaiting(const BugProgress& progress) {
    return progress.stage == "queued" || progress.stage == "waits for a mapping" ||
           progress.stage == "waits for a start";
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
    if (isWaiting(progress)) {
        return "·";
    }
    return spinner[frame % spinner.size()];
}

/// The hour as the person's own clock has it.
std::string clockTime(Instant instant) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(instant);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

std::string clockText(std::chrono::seconds time) {
    const auto hours = time.count() / 3600;
    const auto minutes = std::to_string(time.count() / 60 % 60);
    const auto seconds = std::to_string(time.count() % 60);
    const auto twoDigits = [](const std::string& number) { return (number.size() < 2 ? "0" : "") + number; };
    return hours > 0 ? std::to_string(hours) + ":" + twoDigits(minutes) + "h"
                     : minutes + ":" + twoDigits(seconds);
}

bool isUnderWay(const BugProgress& progress) {
    return !isWaiting(progress) && !progress.finished;
}

bool needsPerson(const BugProgress& progress) {
    return progress.stage == "failed" || progress.stage == "waits for the user" ||
           progress.stage == "waits for a mapping" || progress.stage == "waits for a start";
}

std::string counted(std::ptrdiff_t number, const std::string& what) {
    return number == 0 ? "" : std::to_string(number) + " " + what;
}

/// How many rows a line takes on a terminal that has been made narrower since it was drawn.
std::size_t rowsTaken(std::size_t drawnWidth, std::size_t width) {
    return width == 0 || drawnWidth <= width ? 1 : (drawnWidth + width - 1) / width;
}

/// The terminal once more, for writing without waiting. Its other holders, a shell above all, share the first
/// opening and its flags.
FileDescriptor reopened(int terminal) {
    std::array<char, 256> name{};
    if (ttyname_r(terminal, name.data(), name.size()) != 0) {
        return {};
    }
    return FileDescriptor(open(name.data(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
}

}  // namespace

LiveBoard::LiveBoard(const boost::asio::any_io_executor& executor, int terminal, bool history)
    : executor_(executor),
      ownTerminal_(reopened(terminal)),
      terminal_(ownTerminal_.get() >= 0 ? ownTerminal_.get() : terminal),
      history_(history) {}

void LiveBoard::show(const BugProgress& progress) {
    Line& line = lineOf(progress);
    if (line.progress.stage != progress.stage) {
        line.since = currentInstant();
    }
    line.progress = progress;
    drawFromNowOn();
}

void LiveBoard::gone(const std::string& bugID) {
    std::erase_if(lines_, [&](const Line& line) { return line.progress.bugID == bugID; });
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
        conditions_.erase(topic);
    } else {
        conditions_[topic] = sentence;
        drawFromNowOn();
    }
}

/// The last picture is worth a short wait for a slow terminal.
void LiveBoard::close() {
    closed_ = true;
    redraw_.reset();
    for (int wait = 0; wait < 10 && !flush(); ++wait) {
        pollfd room{.fd = terminal_, .events = POLLOUT, .revents = 0};
        poll(&room, 1, 100);
    }
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
    if (!flush()) {
        return;
    }
    const TerminalSize size = sizeOfTerminal(terminal_);
    unwritten_ = eraseDrawn() + scrolled_;
    const auto drawn = picture(size.columns, size.rows - 1);
    for (const std::string& line : drawn) {
        unwritten_ += line + "\n";
    }
    scrolled_.clear();
    drawnLines_ = drawn.size();
    drawnColumns_ = size.columns;
    flush();
}

/// What holds now, then bugs as far as there is room, then the sum. What is above the screen's top cannot be
/// drawn over, so the picture is never taller than the screen.
std::vector<std::string> LiveBoard::picture(std::size_t columns, std::size_t rows) const {
    std::vector<std::string> text;
    for (const auto& [topic, sentence] : conditions_) {
        if (text.size() + 2 < rows) {
            text.push_back(std::string(yellow) + "! " + fitted(sentence, columns - 3) + plain);
        }
    }
    const auto lines = linesInOrder();
    const std::size_t room = rows - text.size() - 1;
    const std::size_t shown = lines.size() <= room ? lines.size() : room - std::min<std::size_t>(room, 1);
    for (std::size_t index = 0; index < shown; ++index) {
        text.push_back(textOf(*lines[index], columns));
    }
    if (shown < lines.size() && room > 0) {
        text.push_back("  and " + std::to_string(lines.size() - shown) + " more");
    }
    if (!lines.empty()) {
        text.push_back(std::string(dim) + fitted("  " + summary(), columns - 1) + plain);
    }
    return text;
}

/// Those under way, then those that wait, in the order in which the bugs came, then those that ended, the
/// last one first.
std::vector<const LiveBoard::Line*> LiveBoard::linesInOrder() const {
    std::vector<const Line*> ordered;
    for (const Line& line : lines_) {
        ordered.push_back(&line);
    }
    const auto group = [](const Line* line) {
        return isUnderWay(line->progress) ? 0 : line->progress.finished ? 2 : 1;
    };
    std::sort(ordered.begin(), ordered.end(), [&](const Line* left, const Line* right) {
        const bool bothEnded = group(left) == 2 && group(right) == 2;
        if (bothEnded && left->since != right->since) {
            return left->since > right->since;
        }
        return std::pair(group(left), left) < std::pair(group(right), right);
    });
    return ordered;
}

/// "2 working, 3 queued, 1 in review; 1 needs a person".
std::string LiveBoard::summary() const {
    const auto count = [&](auto predicate) {
        return std::count_if(lines_.begin(), lines_.end(),
                             [&](const Line& line) { return predicate(line.progress); });
    };
    const auto inReview = [](const BugProgress& progress) { return progress.stage == "in review"; };
    const auto queued = [](const BugProgress& progress) { return progress.stage == "queued"; };
    std::string text;
    for (const std::string& part : {counted(count(isUnderWay), "under way"), counted(count(queued), "queued"),
                                    counted(count(inReview), "in review")}) {
        text += (text.empty() || part.empty() ? "" : ", ") + part;
    }
    const std::string person = counted(count(needsPerson), "for a person to look at");
    text += (text.empty() || person.empty() ? "" : "; ") + person;
    return conditions_.contains("backend") ? text + "; the backend does not answer" : text;
}

/// From the drawn picture's first row on. A terminal that has become narrower has wrapped its lines.
std::string LiveBoard::eraseDrawn() const {
    const std::size_t columns = sizeOfTerminal(terminal_).columns;
    const std::size_t rows = drawnLines_ * rowsTaken(drawnColumns_, columns);
    return rows == 0 ? "" : "\x1b[" + std::to_string(rows) + "A\r\x1b[J";
}

/// Sign, bug, app, on a wide terminal the title, stage, how long, and with what room is left the agent's last
/// line or why it failed.
std::string LiveBoard::textOf(const Line& line, std::size_t width) const {
    const BugProgress& progress = line.progress;
    const std::size_t titleWidth = width >= 110 ? 28 : 0;
    const auto time = std::chrono::duration_cast<std::chrono::seconds>(currentInstant() - line.since);
    std::string text =
        signOf(progress, frame_) + " " + fitted(progress.bugID, 8) + "  " + fitted(progress.appName, 10) +
        "  " + (titleWidth > 0 ? fitted(progress.title, titleWidth) + "  " : "") +
        fitted(progress.stage, stageWidth) + " " + fitted(isUnderWay(progress) ? clockText(time) : "", 5);
    const std::size_t used = 2 + 8 + 2 + 10 + 2 + (titleWidth > 0 ? titleWidth + 2 : 0) + stageWidth + 1 + 5;
    const std::string& detail = progress.detail.empty() && titleWidth == 0 ? progress.title : progress.detail;
    if (width > used + 8 && !detail.empty()) {
        text += std::string("  ") + dim + fitted(detail, width - used - 3) + plain;
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

/// Whether the terminal has taken all there was. One that is gone has: the work goes on without a picture.
bool LiveBoard::flush() {
    while (!unwritten_.empty()) {
        pollfd room{.fd = terminal_, .events = POLLOUT, .revents = 0};
        if (poll(&room, 1, 0) == 0) {
            return false;
        }
        const ssize_t count = write(terminal_, unwritten_.data(), unwritten_.size());
        if (count < 0 && errno == EAGAIN) {
            return false;
        }
        unwritten_.erase(0, count > 0 ? static_cast<std::size_t>(count) : unwritten_.size());
    }
    return true;
}

}  // namespace quernlight::host
