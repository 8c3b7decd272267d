#include "host/tools/line_stream.hpp"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>
#include <boost/asio.hpp>

namespace quernlight::host {
namespace {

namespace asio = boost::asio;

constexpr auto quietly = asio::as_tuple(asio::use_awaitable);

int duplicated(int descriptor) {
    const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        throw std::system_error(errno, std::generic_category(), "A standard stream cannot be used");
    }
    return copy;
}

}  // namespace

LentDescriptor::LentDescriptor(const asio::any_io_executor& executor, int descriptor)
    : flags_(fcntl(descriptor, F_GETFL)), stream_(executor, duplicated(descriptor)) {}

LentDescriptor::~LentDescriptor() {
    fcntl(stream_.native_handle(), F_SETFL, flags_);
}

Task<LineReader::Line> LineReader::next() {
    Line line;
    std::array<char, 64 * 1024> chunk{};
    while (!takeLine(line)) {
        if (isStopped_) {
            co_return Line{};
        }
        if (hasEnded_) {
            const bool isRest = !buffer_.empty() && !isSkipping_;
            co_return Line{isRest ? Kind::line : Kind::end, std::exchange(buffer_, {})};
        }
        const auto [error, size] = co_await input_.stream().async_read_some(asio::buffer(chunk), quietly);
        hasEnded_ = static_cast<bool>(error);
        buffer_.append(chunk.data(), size);
    }
    co_return line;
}

/// Whether the buffer held a whole line, or the beginning of one that is too long.
bool LineReader::takeLine(Line& line) {
    skipLong();
    const std::size_t end = buffer_.find('\n', searched_);
    if (end == std::string::npos && buffer_.size() <= longest_) {
        searched_ = buffer_.size();
        return false;
    }
    searched_ = 0;
    if (end == std::string::npos || end > longest_) {
        isSkipping_ = true;
        skipLong();
        line = {Kind::tooLong, ""};
        return true;
    }
    line = {Kind::line, buffer_.substr(0, end)};
    buffer_.erase(0, end + 1);
    return true;
}

void LineReader::skipLong() {
    if (!isSkipping_) {
        return;
    }
    const std::size_t end = buffer_.find('\n');
    isSkipping_ = end == std::string::npos;
    buffer_.erase(0, isSkipping_ ? buffer_.size() : end + 1);
    searched_ = 0;
}

Task<bool> LineWriter::write(std::string text) {
    const auto [error, size] = co_await asio::async_write(output_.stream(), asio::buffer(text), quietly);
    co_return !error;
}

}  // namespace quernlight::host
