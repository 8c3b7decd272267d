#pragma once

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {

/// The two ends of a pipe (pipe(2)), both close-on-exec.
struct Pipe {
    FileDescriptor reading;
    FileDescriptor writing;
};

/// Throws std::system_error.
Pipe openPipe();

}  // namespace quernlight
