#include "host/terminal_output.hpp"

#include <algorithm>
#include <array>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

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

TerminalOutput::TerminalOutput(int terminal)
    : own_(reopened(terminal)), terminal_(own_.get() >= 0 ? own_.get() : terminal) {}

TerminalSize TerminalOutput::size() const {
    winsize size{};
    if (ioctl(terminal_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {.columns = std::max<std::size_t>(size.ws_col, 10), .rows = std::max<std::size_t>(size.ws_row, 3)};
}

bool TerminalOutput::hasRoom(milliseconds patience) const {
    pollfd room{.fd = terminal_, .events = POLLOUT, .revents = 0};
    return poll(&room, 1, static_cast<int>(patience.count())) != 0;
}

bool TerminalOutput::flush() {
    while (!unwritten_.empty()) {
        if (!hasRoom(milliseconds(0))) {
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

void TerminalOutput::flush(milliseconds patience) {
    const auto end = steady_clock::now() + patience;
    while (!flush() && steady_clock::now() < end) {
        hasRoom(milliseconds(100));
    }
}

}  // namespace quernlight::host
