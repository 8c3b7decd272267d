#pragma once

#include <mutex>
#include <optional>

#include <sys/types.h>

namespace quernlight {

/// A child that leads a session and process group of its own, and what may still be done with its number: a
/// lock keeps signalling and reaping apart, so that a signal never reaches a process that the kernel has
/// given the number to since. Safe from any thread.
class SessionLeader {
  public:
    /// -1 before `launched`.
    pid_t processID() const;
    void launched(pid_t processID);

    /// Signals the whole group, or the child alone when there is no group to signal. After the child was
    /// reaped only what is left of its group. Never throws, never waits; nothing before the launch.
    void signal(int number) const;

    /// Takes the exit status of the child without waiting, and returns its exit code; nothing when there is
    /// none to take, because SIGCHLD is ignored or somebody else has taken it.
    std::optional<int> reap();

    /// Kills the child and waits for it; for a launch that cannot be completed.
    void killAndReap();

  private:
    bool groupIsForeign() const;

    mutable std::mutex lock_;
    pid_t processID_ = -1;
    bool reaped_ = false;
};

}  // namespace quernlight
