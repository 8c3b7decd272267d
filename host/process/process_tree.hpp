#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/process_table.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// What the agent of a session, or a git, is started with ("NAME=ID"), so that all its descendants are known
/// by it, whatever process group or parent they have chosen.
struct ProcessMark {
    std::string name;
    std::string value;

    std::string assignment() const { return name + "=" + value; }
};

ProcessMark markOf(const Uuid& sessionID);

/// The session whose mark the process carries; empty when it carries none that can be seen.
std::string sessionMarkOf(pid_t pid);

/// Whether the process was there before the first tree of a session was made, so that no agent that this
/// program has started can have started it. From any thread.
bool isOlderThanAgents(const ProcessEntry& process);

/// The processes that belong to a session, out of all: those in `remembered` that are still the same, those
/// whose session (setsid(2)) one of `remembered` led when it was seen, those that carry the mark, and the
/// descendants of all of these. Without zombies and without `self`.
std::vector<ProcessEntry> sessionMembers(const std::vector<ProcessEntry>& table,
                                         const std::vector<ProcessEntry>& remembered,
                                         const std::function<bool(const ProcessEntry&)>& carriesMark,
                                         pid_t self);

/// An orphan (a process whose parent is gone, so that `self`, the first process or a user's systemd has it)
/// that works in the directory or below it: what is left of a session and carries no mark any more. Nothing
/// when there is none.
std::optional<ProcessEntry> orphanIn(const std::filesystem::path& directory,
                                     const std::vector<ProcessEntry>& table, pid_t self);

/// All processes of one agent session, the agent's own one, its children, and those that left its group or
/// whose parent has gone. Used on one executor.
class ProcessTree {
  public:
    /// Made before the agent is started.
    explicit ProcessTree(const Uuid& sessionID);

    using Choice = std::function<bool(const ProcessEntry&)>;

    /// All that carries another mark, or what `isMeant` chooses of it.
    explicit ProcessTree(
        const ProcessMark& mark, Choice isMeant = [](const ProcessEntry&) { return true; })
        : assignment_(mark.assignment()), isMeant_(std::move(isMeant)) {}

    /// The agent's own process, which leads a terminal session of its own.
    void remember(const ProcessEntry& leader);

    /// Where the session works: an orphan that has come to this process (see adoptOrphans) and works there or
    /// below is the session's, though nothing else tells so any more.
    void worksIn(const std::filesystem::path& directory);

    /// Remembers who is descended from whom now, and which orphans work in the session's directory: a
    /// descendant that drops its environment and then loses its parent, or its directory, can be recognised
    /// later only if it was seen before. Reads the process table once.
    void look();

    /// Whether the process was seen to belong to the session.
    bool knows(const ProcessEntry& process) const;

    /// What lives, as of now. Reads every process's environment.
    std::vector<ProcessEntry> alive() const;

    /// Ends what lives: asked to terminate, and after `grace` killed, until nothing lives or `timeout` is
    /// over as well. Returns what is left. Descendants that this process has adopted are reaped by their
    /// pids; the agent's own process is left to whoever started it.
    Task<std::vector<ProcessEntry>> end(std::chrono::milliseconds grace, std::chrono::milliseconds timeout);

  private:
    Task<std::vector<ProcessEntry>> signalUntilGone(int signal, std::chrono::milliseconds timeout);
    void reapOrphans() const;
    bool isOwnOrphan(const ProcessEntry& process) const;

    std::string assignment_;
    Choice isMeant_ = [](const ProcessEntry&) { return true; };  // of those that carry the mark
    std::filesystem::path directory_;                            // canonical; empty when it is not known
    pid_t leader_ = -1;
    std::vector<ProcessEntry> remembered_;
};

}  // namespace quernlight::host
