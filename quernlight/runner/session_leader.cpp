#include "quernlight/runner/session_leader.hpp"

#include <cerrno>
#include <csignal>

#include <sys/wait.h>

#include "quernlight/platform/spawn.hpp"

namespace quernlight {

pid_t SessionLeader::processID() const {
    const std::lock_guard guard(lock_);
    return processID_;
}

void SessionLeader::launched(pid_t processID) {
    const std::lock_guard guard(lock_);
    processID_ = processID;
}

void SessionLeader::signal(int number) const {
    const std::lock_guard guard(lock_);
    if (processID_ < 1 || (reaped_ && groupIsForeign())) {
        return;
    }
    if (::kill(-processID_, number) != 0 && !reaped_) {
        ::kill(processID_, number);
    }
}

std::optional<int> SessionLeader::reap() {
    const std::lock_guard guard(lock_);
    int status = 0;
    const pid_t result = processID_ < 1 || reaped_ ? 0 : waitpid(processID_, &status, WNOHANG);
    // Without a child of that number (the host may ignore SIGCHLD) the kernel is free to give it away.
    reaped_ = reaped_ || result > 0 || (result < 0 && errno == ECHILD);
    return result > 0 ? std::optional(exitCodeOfWaitStatus(status)) : std::nullopt;
}

void SessionLeader::killAndReap() {
    const std::lock_guard guard(lock_);
    ::kill(-processID_, SIGKILL);
    ::kill(processID_, SIGKILL);
    while (waitpid(processID_, nullptr, 0) < 0 && errno == EINTR) {
    }
    reaped_ = true;
}

// The kernel does not give a number away while a group still bears it. So a live process of that number
// means that our group is gone, and that this process leads another one or belongs to one.
bool SessionLeader::groupIsForeign() const {
    return ::kill(processID_, 0) == 0 || errno != ESRCH;
}

}  // namespace quernlight
