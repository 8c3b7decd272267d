#include "host/process/standard_output.hpp"

#include <cerrno>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>

#include "host/process/user_error.hpp"

namespace quernlight::host {
namespace {

/// Waits where the descriptor takes nothing now. Returns the error that it ended on, or 0.
int writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd room{.fd = descriptor, .events = POLLOUT, .revents = 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

}  // namespace

void occupyClosedStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            // The lowest free number is this one. What is open for reading only cannot be written to.
            [[maybe_unused]] const int occupied = open("/dev/null", O_RDONLY);
        }
    }
}

StandardOutput::StandardOutput(int descriptor, std::ostream& stream)
    : descriptor_(descriptor), stream_(stream), before_(stream.rdbuf(this)) {
    setp(buffer_.data(), buffer_.data() + buffer_.size());
}

StandardOutput::~StandardOutput() {
    sync();
    stream_.rdbuf(before_);
}

void StandardOutput::finish() {
    stream_.flush();
    if (error_ != 0) {
        throw UserError("Standard output cannot be written (" + std::generic_category().message(error_) +
                        "), so not all is shown; look at where it leads.");
    }
}

StandardOutput::int_type StandardOutput::overflow(int_type character) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(character, traits_type::eof())) {
        sputc(traits_type::to_char_type(character));
    }
    return traits_type::not_eof(character);
}

int StandardOutput::sync() {
    const std::string_view text(pbase(), static_cast<std::size_t>(pptr() - pbase()));
    error_ = error_ != 0 ? error_ : writeAll(descriptor_, text);
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return error_ == 0 ? 0 : -1;
}

}  // namespace quernlight::host
