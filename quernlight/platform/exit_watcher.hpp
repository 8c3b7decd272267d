#pragma once

#include <sys/types.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {

/// A descriptor that becomes readable once the child `processID`, which the caller has not reaped yet, has
/// exited; at once when it already has. It watches that one process and touches neither SIGCHLD nor other
/// children, which belong to the host. Throws std::system_error when the operating system refuses.
FileDescriptor watchExit(pid_t processID);

}  // namespace quernlight
