#pragma once

#include <cstddef>
#include <string>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// A descriptor of the caller's, used without blocking while this lives; then it is as it was.
class LentDescriptor {
  public:
    /// Throws std::system_error for one that is not open.
    LentDescriptor(const boost::asio::any_io_executor& executor, int descriptor);
    LentDescriptor(const LentDescriptor&) = delete;
    LentDescriptor& operator=(const LentDescriptor&) = delete;
    ~LentDescriptor();

    boost::asio::posix::stream_descriptor& stream() { return stream_; }

  private:
    int flags_ = 0;
    boost::asio::posix::stream_descriptor stream_;
};

/// Reads lines of bounded length.
class LineReader {
  public:
    LineReader(const boost::asio::any_io_executor& executor, int descriptor, std::size_t longest)
        : input_(executor, descriptor), longest_(longest) {}

    enum class Kind { line, tooLong, end };

    struct Line {
        Kind kind = Kind::end;
        std::string text{};  ///< without its end
    };

    /// The next line; a last one without an end counts. Of one that is too long nothing is kept.
    Task<Line> next();

    /// Whoever waits for a line is told that there is none, also when a part of one is just being taken.
    void stop() {
        isStopped_ = true;
        input_.stream().cancel();
    }

  private:
    bool takeLine(Line& line);
    void skipLong();

    LentDescriptor input_;
    const std::size_t longest_;
    std::string buffer_;
    std::size_t searched_ = 0;  // of the buffer, without a line's end in it
    bool isSkipping_ = false;   // the rest of a line that is too long
    bool hasEnded_ = false;
    bool isStopped_ = false;
};

class LineWriter {
  public:
    LineWriter(const boost::asio::any_io_executor& executor, int descriptor)
        : output_(executor, descriptor) {}

    /// Writes all of it. False when nobody reads it.
    Task<bool> write(std::string text);

  private:
    LentDescriptor output_;
};

}  // namespace quernlight::host
