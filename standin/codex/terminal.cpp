#include "standin/codex/terminal.hpp"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quernlight::standin::codex {
namespace {

using namespace std::chrono_literals;

constexpr auto burstPause = 50ms;

/// A question to a terminal; its answer begins and ends so.
struct Question {
    std::string_view text, begins, ends;
};

constexpr Question questions[] = {{"\x1b[6n", "\x1b[", "R"},
                                  {"\x1b[?u", "\x1b[?", "u"},
                                  {"\x1b[c", "\x1b[?", "c"},
                                  {"\x1b]10;?\x1b\\", "\x1b]10;rgb:", "\x1b\\"},
                                  {"\x1b]11;?\x1b\\", "\x1b]11;rgb:", "\x1b\\"}};

/// A control sequence ends at its first letter.
bool isAnsweredBy(const Question& question, std::string_view answers) {
    constexpr std::string_view parameters = "0123456789;";
    const bool isSequence = question.ends.size() == 1;
    for (std::size_t at = answers.find(question.begins); at != answers.npos;
         at = answers.find(question.begins, at + 1)) {
        const std::string_view behind = answers.substr(at + question.begins.size());
        const std::size_t end =
            isSequence ? behind.find_first_not_of(parameters) : behind.find(question.ends);
        if (end != behind.npos && behind.substr(end).starts_with(question.ends)) {
            return true;
        }
    }
    return false;
}

std::size_t answered(std::string_view answers) {
    return static_cast<std::size_t>(
        std::count_if(std::begin(questions), std::end(questions),
                      [&](const Question& question) { return isAnsweredBy(question, answers); }));
}

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

std::size_t Terminal::ask(std::chrono::milliseconds patience) {
    for (const Question& question : questions) {
        write(question.text);
    }
    const auto deadline = Clock::now() + patience;
    std::string answers;
    while (answered(answers) < std::size(questions) && Clock::now() < deadline) {
        if (waitForKeys()) {
            readInto(answers);
        }
    }
    return answered(answers);
}

void Terminal::dropPendingKeys() {
    tcflush(STDIN_FILENO, TCIFLUSH);
}

std::string Terminal::readBurst() {
    std::string burst;
    while (true) {
        if (waitForKeys()) {
            readInto(burst);
        } else if (!burst.empty()) {
            return burst;
        }
    }
}

/// Waits for the pause at most that ends a burst.
bool Terminal::waitForKeys() {
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    return poll(&input, 1, static_cast<int>(burstPause.count())) > 0;
}

void Terminal::readInto(std::string& burst) {
    char bytes[4096];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        burst.append(bytes, static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        throw TerminalClosed();
    }
}

}  // namespace quernlight::standin::codex
