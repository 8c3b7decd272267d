#include "standin/codex/terminal.hpp"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quernlight::standin::codex {
namespace {

using namespace std::chrono_literals;

constexpr auto burstPause = 50ms;
/// Keys this old may have come with a pause between them that this process did not see. It is shorter than
/// the pause that a careful typist leaves before Enter, and longer than two waits.
constexpr auto lateAfter = 250ms;

}  // namespace

Terminal::Terminal() {
    if (tcgetattr(STDIN_FILENO, &original_) != 0) {
        throw std::system_error(errno, std::generic_category(), "Standard input is no terminal");
    }
    termios raw = original_;
    cfmakeraw(&raw);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
}

Terminal::~Terminal() {
    tcsetattr(STDIN_FILENO, TCSANOW, &original_);
}

void Terminal::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (written < 0 && errno != EINTR) {
            throw TerminalClosed();
        }
    }
}

Terminal::Size Terminal::size() const {
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 10 && size.ws_row > 5;
    return isKnown ? Size{.columns = size.ws_col, .rows = size.ws_row} : Size{};
}

void Terminal::askForCursor(std::chrono::milliseconds patience) {
    write("\x1b[6n");
    const auto deadline = Clock::now() + patience;
    Burst answer;
    while (answer.bytes.find('R') == std::string::npos && Clock::now() < deadline) {
        if (waitForKeys()) {
            readInto(answer);
        }
    }
}

void Terminal::dropPendingKeys() {
    tcflush(STDIN_FILENO, TCIFLUSH);
    lastKnownEmpty_ = Clock::now();
}

Burst Terminal::readBurst() {
    Burst burst;
    while (true) {
        const auto beforeWait = Clock::now();
        if (waitForKeys()) {
            readInto(burst);
        } else if (!burst.bytes.empty()) {
            return burst;
        } else {
            lastKnownEmpty_ = beforeWait;
        }
    }
}

/// Waits for one pause at most, so that `lastKnownEmpty_` stays young while nothing comes.
bool Terminal::waitForKeys() {
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    return poll(&input, 1, static_cast<int>(burstPause.count())) > 0;
}

void Terminal::readInto(Burst& burst) {
    char bytes[4096];
    const auto beforeRead = Clock::now();
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        burst.bytes.append(bytes, static_cast<std::size_t>(count));
        burst.late = burst.late || Clock::now() - lastKnownEmpty_ > lateAfter;
        lastKnownEmpty_ = beforeRead;
    } else if (count == 0 || errno != EINTR) {
        throw TerminalClosed();
    }
}

}  // namespace quernlight::standin::codex
