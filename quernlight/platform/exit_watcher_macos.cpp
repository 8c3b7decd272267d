#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/event.h>
#include <sys/wait.h>

#include "quernlight/platform/exit_watcher.hpp"

namespace quernlight {
namespace {

constexpr int millisecondsBetweenLooks = 1;
constexpr uintptr_t mostLooks = 1000;

void addEvent(int queue, const struct kevent& change) {
    if (kevent(queue, &change, 1, nullptr, 0, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

/// Makes the queue readable after that time. `looks` is how often it has been asked for the child by then;
/// the timer bears that number, because a queue has nothing else to remember it by.
void addTimer(int queue, uintptr_t looks, int milliseconds) {
    struct kevent timer {};
    EV_SET(&timer, looks, EVFILT_TIMER, EV_ADD | EV_ONESHOT, 0, milliseconds, nullptr);
    addEvent(queue, timer);
}

/// Whether `waitpid` would not find the child still running: it is a zombie, or no child of this process.
bool hasEnded(pid_t processID) {
    siginfo_t info{};
    const int result = waitid(P_PID, static_cast<id_t>(processID), &info, WEXITED | WNOHANG | WNOWAIT);
    return result != 0 || info.si_pid == processID;
}

}  // namespace

// A kernel queue is itself a descriptor that polls readable while it holds an event (kqueue(2)).
FileDescriptor watchExit(pid_t processID) {
    FileDescriptor watcher(kqueue());
    if (!watcher || fcntl(watcher.get(), F_SETFD, FD_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
    struct kevent exit {};
    EV_SET(&exit, static_cast<uintptr_t>(processID), EVFILT_PROC, EV_ADD, NOTE_EXIT, 0, nullptr);
    try {
        addEvent(watcher.get(), exit);
    } catch (const std::system_error& error) {
        if (error.code().value() != ESRCH) {
            throw;
        }
        // It exited before it could be watched: fire at once.
        addTimer(watcher.get(), 0, 0);
    }
    return watcher;
}

// NOTE_EXIT is told while the process is still on its way to become a zombie.
bool canBeReaped(int watcher, pid_t processID) {
    if (hasEnded(processID)) {
        return true;
    }
    struct kevent news {};
    const timespec noWait{};
    const int taken = kevent(watcher, nullptr, 0, &news, 1, &noWait);
    const uintptr_t looks = taken == 1 && news.filter == EVFILT_TIMER ? news.ident : 0;
    if (taken < 0 || looks >= mostLooks) {
        return true;
    }
    try {
        addTimer(watcher, looks + 1, millisecondsBetweenLooks);
        return false;
    } catch (const std::system_error&) {
        return true;
    }
}

}  // namespace quernlight
