#include "host/terminal/own_terminal.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <boost/asio.hpp>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace {

namespace asio = boost::asio;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);
constexpr int longestWrite =
    1000;  // milliseconds that a terminal which takes nothing is waited for at the end

/// Of a program that crashes, without knowing what was switched on.
constexpr std::string_view crashUndo =
    "\x1b\\\x1b[?1000l\x1b[?1002l\x1b[?1003l\x1b[?1004l\x1b[?1006l\x1b[?2004l\x1b[?2026l\x1b[?1l\x1b[?1049l"
    "\x1b[?7h\x1b[?25h\x1b[4l\x1b[m\x1b(B\x0f\x1b>\x1b[r\r\n";
constexpr std::array crashes{SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGQUIT};

std::atomic<int> lentTerminal{-1};  // for the signal handler
termios lentBefore{};
std::array<struct sigaction, crashes.size()> handlersBefore{};

/// Only what a signal handler may call.
void putBackAndDie(int number) {
    const int terminal = lentTerminal.load();
    if (terminal >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(terminal, crashUndo.data(), crashUndo.size());
        ::tcsetattr(terminal, TCSANOW, &lentBefore);
    }
    for (std::size_t at = 0; at < crashes.size(); ++at) {
        if (crashes[at] == number) {
            ::sigaction(number, &handlersBefore[at], nullptr);
        }
    }
    ::raise(number);
}

void lend(int terminal, const termios& before) {
    lentBefore = before;
    lentTerminal = terminal;
    struct sigaction action {};
    action.sa_handler = putBackAndDie;
    for (std::size_t at = 0; at < crashes.size(); ++at) {
        ::sigaction(crashes[at], &action, &handlersBefore[at]);
    }
}

void takeBack() {
    for (std::size_t at = 0; at < crashes.size(); ++at) {
        ::sigaction(crashes[at], &handlersBefore[at], nullptr);
    }
    lentTerminal = -1;
}

std::string ownDevice() {
    const std::string name = terminalDevice(STDIN_FILENO);
    if (name.empty() || isatty(STDOUT_FILENO) == 0) {
        throw UserError(
            "There is no terminal to attach to: standard input and output must be one. To look at the agent's "
            "screen use: quernlight-dispatch sessions show BUG --screen");
    }
    return name;
}

int openedTerminal(const std::string& device) {
    const int opened = ::open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (opened < 0) {
        throw UserError("The terminal " + device + " cannot be opened: " + std::strerror(errno));
    }
    return opened;
}

termios lent(termios settings, TerminalKeys keys) {
    const auto before = settings;
    cfmakeraw(&settings);
    if (keys == TerminalKeys::signals) {
        settings.c_lflag |= before.c_lflag & static_cast<tcflag_t>(ISIG);
        settings.c_iflag |= before.c_iflag & static_cast<tcflag_t>(IXON | IXOFF);
    }
    return settings;
}

/// As much as the terminal takes within a while; it may be stopped (Ctrl-S) or gone.
void writeNow(int terminal, std::string_view bytes) {
    pollfd room{.fd = terminal, .events = POLLOUT, .revents = 0};
    while (!bytes.empty() && ::poll(&room, 1, longestWrite) == 1 && (room.revents & POLLOUT) != 0) {
        const ssize_t count = ::write(terminal, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            return;
        }
        bytes.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

/// Where the terminal is set so (stty tostop) who writes from the background is stopped, unless the signal
/// for that is blocked.
class HeldStops {
  public:
    HeldStops() {
        sigset_t stops;
        sigemptyset(&stops);
        sigaddset(&stops, SIGTTOU);
        pthread_sigmask(SIG_BLOCK, &stops, &before_);
    }
    HeldStops(const HeldStops&) = delete;
    HeldStops& operator=(const HeldStops&) = delete;
    ~HeldStops() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  private:
    sigset_t before_{};
};

}  // namespace

std::string terminalDevice(int descriptor) {
    const char* name = isatty(descriptor) != 0 ? ttyname(descriptor) : nullptr;
    return name ? name : "";
}

/// A terminal that is not the session's own has no foreground to be in.
bool isInForeground(const std::string& device) {
    const FileDescriptor terminal(::open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    const pid_t foreground = tcgetpgrp(terminal.get());
    return foreground < 0 || foreground == getpgrp();
}

void leaveLines(const std::string& device, const std::vector<std::string>& lines) {
    const FileDescriptor terminal(::open(device.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    std::string text = isInForeground(device) || lines.empty() ? "" : "\r\n";
    for (const std::string& line : lines) {
        text += line + "\r\n";
    }
    const HeldStops held;
    if (terminal.get() >= 0) {
        writeNow(terminal.get(), text);
    }
}

OwnTerminal::OwnTerminal(const asio::any_io_executor& executor)
    : OwnTerminal(executor, ownDevice(), TerminalKeys::allBytes) {}

OwnTerminal::OwnTerminal(const asio::any_io_executor& executor, const std::string& device, TerminalKeys keys)
    : terminal_(executor, openedTerminal(device)) {
    ::tcgetattr(terminal_.native_handle(), &before_);
    lend(terminal_.native_handle(), before_);
    const termios raw = lent(before_, keys);
    ::tcsetattr(terminal_.native_handle(), TCSANOW, &raw);
}

/// What the terminal has answered or reported meanwhile is not for the shell. In the background the terminal
/// is somebody else's, and who sets it from there is stopped.
OwnTerminal::~OwnTerminal() {
    const pid_t foreground = ::tcgetpgrp(terminal_.native_handle());
    if (foreground >= 0 && foreground != getpgrp()) {
        takeBack();
        return;
    }
    if (undo_) {
        writeNow(terminal_.native_handle(), undo_());
    }
    ::tcsetattr(terminal_.native_handle(), TCSANOW, &before_);
    ::tcflush(terminal_.native_handle(), TCIFLUSH);
    takeBack();
}

TerminalSize OwnTerminal::size() const {
    winsize size{};
    const int terminal = const_cast<asio::posix::stream_descriptor&>(terminal_).native_handle();
    const bool isKnown = ::ioctl(terminal, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0;
    return isKnown ? TerminalSize{.columns = size.ws_col, .rows = size.ws_row} : TerminalSize{};
}

Task<std::string> OwnTerminal::read() {
    std::array<char, 4096> keys{};
    const auto [error, count] = co_await terminal_.async_read_some(asio::buffer(keys), quietly);
    if (error == asio::error::operation_aborted) {
        throw boost::system::system_error(error);
    }
    co_return error ? std::string() : std::string(keys.data(), count);
}

Task<void> OwnTerminal::write(std::string bytes) {
    co_await asio::async_write(terminal_, asio::buffer(bytes), quietly);
}

}  // namespace quernlight::host
