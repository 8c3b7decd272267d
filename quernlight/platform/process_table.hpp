#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace quernlight {

/// One process as the kernel describes it at one moment.
struct ProcessEntry {
    pid_t pid = -1;
    pid_t parent = -1;
    pid_t session = -1;       ///< the session leader's pid; -1 where the system does not tell
    std::string startTime{};  ///< when it was started, in the system's own terms; with the pid it names this
                              ///< process and no later one that gets the same pid, also after a reboot
    bool isZombie = false;    ///< it has ended and waits to be reaped
    std::string name{};       ///< of its program, without a path and cut to what the system keeps

    bool operator==(const ProcessEntry&) const = default;
};

/// Whether both describe the same process, not only the same pid.
inline bool isSameProcess(const ProcessEntry& left, const ProcessEntry& right) {
    return left.pid == right.pid && left.startTime == right.startTime;
}

// All of these may be called from any thread, never wait and throw nothing of their own: what cannot be seen
// is missing in the answer.

/// The processes that this user can see, ordered by pid. A process that ends during the call may be missing.
std::vector<ProcessEntry> processTable();

/// The process of that pid; pid is -1 in the answer when there is none.
ProcessEntry processEntry(pid_t pid);

/// The environment with which the process was started ("NAME=value"). Empty for zombies and where the system
/// does not let this user look.
std::vector<std::string> startingEnvironmentOf(pid_t pid);

/// Whether that environment holds exactly `assignment`.
bool startedWith(pid_t pid, std::string_view assignment);

/// Where the process works now, links resolved; empty when it has ended or the system does not tell this
/// user.
std::filesystem::path workingDirectoryOf(pid_t pid);

/// The files that the process has open for writing, links resolved; none when it has ended or the system does
/// not tell this user.
std::vector<std::filesystem::path> filesOpenForWriting(pid_t pid);

/// Sends a signal to that very process, and to no later one of its pid. False when it is gone, or the system
/// refuses; true for a zombie, which takes no notice.
bool signalProcess(const ProcessEntry& process, int signal);

/// From now on orphaned descendants become children of this process, so that it can see them end. False where
/// the system has no such thing (macOS); there, launchd adopts and reaps them.
bool adoptOrphans();

/// Reaps that one child if it is a zombie of this process. Never waits, never touches another child.
void reapChild(pid_t pid);

/// Whether `spawnProcess` of this program has started that very process. A child of this program that it has
/// not started came to it as an orphan (see adoptOrphans). From any thread.
bool isStartedHere(const ProcessEntry& process);

/// Remembers a child that was just started and cannot have been reaped yet; for `spawnProcess`.
void rememberStarted(pid_t child);

/// The file that the running program was started from, links resolved. Throws
/// std::filesystem::filesystem_error.
std::filesystem::path programLocation();

}  // namespace quernlight
