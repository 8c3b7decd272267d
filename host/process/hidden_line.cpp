#include "host/process/hidden_line.hpp"

#include <array>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/system/system_error.hpp>

#include "host/process/user_error.hpp"
#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::host {
namespace {

/// The terminal anew, since what is set on standard input's own description holds for every program that
/// shares it.
FileDescriptor openTerminal() {
    const char* name = ttyname(STDIN_FILENO);
    return FileDescriptor(name ? open(name, O_RDWR | O_NOCTTY | O_CLOEXEC) : -1);
}

/// A terminal that echoes nothing but line ends for as long as this lives.
class SilentTerminal {
  public:
    explicit SilentTerminal(int terminal) : terminal_(terminal) {
        if (tcgetattr(terminal_, &before_) != 0) {
            throw unusable();
        }
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= static_cast<tcflag_t>(ECHONL | ICANON | ISIG);
        silent.c_cc[VSUSP] = _POSIX_VDISABLE;  // a program that is suspended would leave the terminal silent
        silent.c_cc[VQUIT] = _POSIX_VDISABLE;
        if (tcsetattr(terminal_, TCSAFLUSH, &silent) != 0) {
            throw unusable();
        }
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;
    ~SilentTerminal() { tcsetattr(terminal_, TCSAFLUSH, &before_); }

    static UserError unusable() {
        return UserError(
            "The terminal cannot be kept from showing what is typed; give it on standard input, from a pipe.");
    }

  private:
    const int terminal_;
    termios before_{};
};

}  // namespace

Task<std::string> readHiddenLine(std::string prompt) {
    FileDescriptor opened = openTerminal();
    if (!opened) {
        throw SilentTerminal::unusable();
    }
    const SilentTerminal silent(opened.get());
    const auto executor = co_await boost::asio::this_coro::executor;
    boost::asio::posix::stream_descriptor terminal(executor, fcntl(opened.get(), F_DUPFD_CLOEXEC, 0));
    const auto shown = boost::asio::buffer(prompt);
    co_await boost::asio::async_write(terminal, shown, boost::asio::use_awaitable);
    std::array<char, 4096> bytes{};  // what a terminal gathers of one line
    const auto room = boost::asio::buffer(bytes);
    boost::system::error_code error;
    const std::size_t count = co_await terminal.async_read_some(
        room, boost::asio::redirect_error(boost::asio::use_awaitable, error));
    if (error && error != boost::asio::error::eof) {
        throw boost::system::system_error(error);
    }
    std::string line(bytes.data(), count);
    co_return line.substr(0, line.find('\n'));
}

}  // namespace quernlight::host
