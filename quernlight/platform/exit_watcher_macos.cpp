#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/event.h>

#include "quernlight/platform/exit_watcher.hpp"

namespace quernlight {
namespace {

void addEvent(int queue, const struct kevent& change) {
    if (kevent(queue, &change, 1, nullptr, 0, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category());
    }
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
        struct kevent now {};
        EV_SET(&now, 0, EVFILT_TIMER, EV_ADD | EV_ONESHOT, 0, 0, nullptr);
        addEvent(watcher.get(), now);
    }
    return watcher;
}

}  // namespace quernlight
