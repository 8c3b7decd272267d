#pragma once

#include <sys/types.h>

#include "quernlight/platform/file_descriptor.hpp"

namespace quernlight {

/// A descriptor that becomes readable once the child `processID`, which the caller has not reaped yet, has
/// exited; at once when it already has. It watches that one process and touches neither SIGCHLD nor other
/// children, which belong to the host. From any thread. Throws std::system_error when the operating system
/// refuses.
FileDescriptor watchExit(pid_t processID);

/// Asked when the watcher of that child has become readable: whether `waitpid` finds the child now. Where the
/// news of an exit may come before that (macOS) the answer may be false; the watcher then becomes readable
/// again a millisecond later, to be asked anew. After a second of that it is true all the same. Never waits,
/// never fails.
bool canBeReaped(int watcher, pid_t processID);

}  // namespace quernlight
