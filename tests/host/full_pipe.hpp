#pragma once

#include <array>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight::test {

/// A pipe that takes nothing more, and whose writer waits for that.
class FullPipe {
  public:
    FullPipe() {
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) {
            throw std::runtime_error("no pipe can be made");
        }
        reading_ = FileDescriptor(ends[0]);
        writing_ = FileDescriptor(ends[1]);
        setBlocking(writing_, false);
        while (write(writing_.get(), ".", 1) == 1) {
            ++filling_;
        }
        setBlocking(writing_, true);
    }

    int writingEnd() const { return writing_.get(); }

    /// What was written since the last time, up to the line that ends with `last`.
    std::string readUpTo(const std::string& last) {
        std::string text;
        std::array<char, 4096> bytes{};
        while (!text.ends_with(last + "\n")) {
            const ssize_t count = read(reading_.get(), bytes.data(), bytes.size());
            if (count <= 0) {
                throw std::runtime_error("the pipe ends with " + text.substr(0, 200));
            }
            text.append(bytes.data(), static_cast<std::size_t>(count));
        }
        return text.substr(std::exchange(filling_, 0));
    }

    void closeReadingEnd() { reading_.close(); }

  private:
    static void setBlocking(const FileDescriptor& end, bool blocking) {
        const int flags = fcntl(end.get(), F_GETFL);
        fcntl(end.get(), F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
    }

    FileDescriptor reading_;
    FileDescriptor writing_;
    std::size_t filling_ = 0;
};

}  // namespace quernlight::test
