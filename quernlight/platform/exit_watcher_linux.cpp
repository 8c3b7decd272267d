#include <cerrno>
#include <system_error>

#include <sys/syscall.h>
#include <unistd.h>

#include "quernlight/platform/exit_watcher.hpp"

namespace quernlight {

// pidfd_open(2): the descriptor polls readable when the process terminates, and is close-on-exec by itself.
FileDescriptor watchExit(pid_t processID) {
    FileDescriptor watcher(static_cast<int>(syscall(SYS_pidfd_open, processID, 0)));
    if (!watcher) {
        throw std::system_error(errno, std::generic_category());
    }
    return watcher;
}

// A process descriptor becomes readable when the process is a zombie, hence not before it can be reaped.
bool canBeReaped(int, pid_t) {
    return true;
}

}  // namespace quernlight
