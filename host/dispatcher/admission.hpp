#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "host/health/start_pauses.hpp"
#include "quernlight/queue/bug_queue_item.hpp"

namespace quernlight::host {

/// Why an item does not start now, in the order in which reasons are looked for: the first one counts.
enum class WaitCause {
    running,            ///< a session works on it
    reconciling,        ///< nobody saw its last session to its end
    retiring,           ///< its work is merged, and it leaves the queue
    noMapping,          ///< its app has no repository; of the manual queue once a start was asked for
    startNotRequested,  ///< it is in the manual queue
    restsAfterTrouble,  ///< its last session ended a moment ago on something that could not be stored
    startsPaused,       ///< the last start, of its repository or of any, failed for an outside cause
    stopping,           ///< the dispatcher ends
    homeAway,           ///< the dispatch home is not in its place
    homeUnwritable,     ///< the dispatch home cannot be written
    mappingGone,        ///< it had a repository when it was queued, and is to wait for a new one
    repositoryBroken,   ///< its repository, or the place of its worktrees, cannot be used
    agentMissing,       ///< there is no agent program
    noPlace,            ///< as many sessions run as may
    memoryShort,        ///< less memory is available than a session should find
    worktreeInUse,      ///< a process of an earlier session still runs
};

/// The first reason of one item, with what its sentence names.
struct WaitReason {
    WaitCause cause{};
    std::string about{};                          ///< a bundle, a bug, or the trouble in words
    std::int64_t amount = 0;                      ///< sessions, MiB or a pid
    std::int64_t limit = 0;                       ///< sessions or MiB
    std::optional<std::chrono::seconds> until{};  ///< of a pause that ends by itself

    bool operator==(const WaitReason&) const = default;
};

/// The cause's name for programs: "no_place".
std::string_view nameOf(WaitCause cause);

/// Nothing for a name that this version does not know.
std::optional<WaitCause> parseWaitCause(std::string_view name);

/// "2 of 2 sessions run"; on one line, and without a name of the bug.
std::string sentenceOf(const WaitReason& reason);

/// Whether a run that is to end when nothing is left waits for it: the dispatcher itself, or the machine, may
/// let the item start in a while.
bool passesByItself(WaitCause cause);

/// Who works on an item in this process.
enum class ItemWork { none, session, reconciliation, retirement };

/// What a look at the processes of an item's last session has shown.
struct WorktreeLook {
    std::optional<pid_t> process{};  ///< one that still runs
};

/// What is known of one item.
struct ItemFacts {
    BugQueueItem item{};
    std::optional<std::string> repository{};         ///< resolved; absent without a mapping
    std::optional<std::string> repositoryTrouble{};  ///< why it cannot be used, in one sentence
    bool startRequested = false;                     ///< by a person; the automatic queue asks nobody
    ItemWork work = ItemWork::none;
    bool restsAfterTrouble = false;
    std::optional<StartPause> pause{};
    std::optional<WorktreeLook> worktree{};  ///< absent: not looked at yet
};

/// What is known of the program and the machine. Who does not own the home leaves out what only its owner
/// knows.
struct ProgramFacts {
    int sessionsRunning = 0;
    int maxSessions = 1;
    std::optional<std::uint64_t> memoryAvailableMiB{};  ///< absent where the system does not tell
    std::uint64_t memoryWantedMiB = 0;
    bool stopping = false;
    bool homeIsInPlace = true;
    bool homeIsWritable = true;
    std::optional<std::string> missingAgent{};  ///< in one sentence
};

struct AdmissionFacts {
    std::vector<ItemFacts> items{};  ///< not terminal, in list order
    ProgramFacts program{};
};

/// One item, and why it does not start now; it starts without a reason.
struct AdmissionDecision {
    BugQueueItem item{};
    std::optional<WaitReason> reason{};

    bool starts() const { return !reason; }
};

/// Which items start now, in list order, and why the others do not. Earlier starts take the places of later
/// ones. A worktree that was not looked at counts as free.
std::vector<AdmissionDecision> admit(const AdmissionFacts& facts);

}  // namespace quernlight::host
