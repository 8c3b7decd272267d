#pragma once

#include <utility>

namespace quernlight {

/// Owns one file descriptor and closes it; a failing close is ignored, since nothing can be done about it.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~FileDescriptor() { close(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release() { return std::exchange(descriptor_, -1); }
    void close();

  private:
    int descriptor_ = -1;
};

/// The two ends of a pipe (pipe(2)), both close-on-exec.
struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

/// Throws std::system_error.
Pipe openPipe();

}  // namespace quernlight
