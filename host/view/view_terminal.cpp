#include "host/view/view_terminal.hpp"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

namespace quernlight::host {

TerminalStyle terminalStyle(const EnvironmentMap& environment) {
    const auto value = [&](const char* name) {
        const auto found = environment.find(name);
        return found == environment.end() ? "" : found->second;
    };
    if (value("TERM") == "dumb") {
        return TerminalStyle::lines;
    }
    return value("NO_COLOR").empty() ? TerminalStyle::colouredPicture : TerminalStyle::picture;
}

TerminalSize ViewTerminal::size() const {
    winsize size{};
    if (ioctl(terminal_, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {.columns = std::max<std::size_t>(size.ws_col, 10), .rows = std::max<std::size_t>(size.ws_row, 3)};
}

/// A terminal that is not the session's own has no foreground to be in.
bool ViewTerminal::isOurs() const {
    const pid_t foreground = tcgetpgrp(terminal_);
    return foreground < 0 || foreground == getpgrp();
}

void ViewTerminal::take() {
    if (taken_ || !isOurs()) {
        return;
    }
    termios quiet{};
    if (!before_ && tcgetattr(terminal_, &quiet) == 0) {
        before_ = quiet;
    }
    if (!before_) {
        return;
    }
    quiet = *before_;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON);
    taken_ = tcsetattr(terminal_, TCSANOW, &quiet) == 0;
}

void ViewTerminal::takeAgain() {
    taken_ = false;
    take();
}

/// Without waiting for what has not been written (TCSADRAIN): a terminal may be held.
void ViewTerminal::release() {
    if (taken_ && isOurs()) {
        tcflush(terminal_, TCIFLUSH);
        tcsetattr(terminal_, TCSANOW, &*before_);
    }
    taken_ = false;
    before_.reset();
}

}  // namespace quernlight::host
