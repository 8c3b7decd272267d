#include "host/process/process_tree.hpp"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <set>

#include <unistd.h>

#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include "quernlight/platform/process_table.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr const char* sessionMark = "QUERNLIGHT_DISPATCH_SESSION";

bool isRemembered(const ProcessEntry& process, const std::vector<ProcessEntry>& remembered) {
    return std::any_of(remembered.begin(), remembered.end(),
                       [&](const ProcessEntry& known) { return isSameProcess(known, process); });
}

/// Whether the process is in a session that `known` was seen to lead. A leader's pid is not used again while
/// its session has members, so once somebody else has that pid the session is somebody else's too.
bool isLedBy(const ProcessEntry& process, const ProcessEntry& known, const std::vector<ProcessEntry>& table) {
    const bool wasLeader = known.session == known.pid && process.session == known.pid;
    return wasLeader && std::none_of(table.begin(), table.end(), [&](const ProcessEntry& other) {
               return other.pid == known.pid && !isSameProcess(other, known);
           });
}

bool isLedByRemembered(const ProcessEntry& process, const std::vector<ProcessEntry>& remembered,
                       const std::vector<ProcessEntry>& table) {
    return std::any_of(remembered.begin(), remembered.end(),
                       [&](const ProcessEntry& known) { return isLedBy(process, known, table); });
}

/// Whether the process, or a session that it led, is still there. What is not is forgotten, for its pid may
/// be used again.
bool isStillThere(const ProcessEntry& known, const std::vector<ProcessEntry>& table) {
    return std::any_of(table.begin(), table.end(), [&](const ProcessEntry& process) {
        return isSameProcess(known, process) || isLedBy(process, known, table);
    });
}

/// Adds the pids of all descendants; parents may stand anywhere in the table.
void addDescendants(const std::vector<ProcessEntry>& table, std::set<pid_t>& pids) {
    for (bool grew = true; grew;) {
        grew = false;
        for (const ProcessEntry& process : table) {
            grew |= pids.contains(process.parent) && pids.insert(process.pid).second;
        }
    }
}

/// Agents belong to the whole program, and so does what was there before the first of them.
struct ProcessesBeforeAgents {
    std::mutex lock;
    std::optional<std::vector<ProcessEntry>> table{};
};

ProcessesBeforeAgents& beforeAgents() {
    static ProcessesBeforeAgents processes;
    return processes;
}

void noteFirstAgent() {
    const std::lock_guard guard(beforeAgents().lock);
    if (!beforeAgents().table) {
        beforeAgents().table = processTable();
    }
}

bool isWithin(const std::filesystem::path& path, const std::filesystem::path& directory) {
    return path == directory || path.string().starts_with(directory.string() + "/");
}

}  // namespace

ProcessMark markOf(const Uuid& sessionID) {
    return {.name = sessionMark, .value = upperCaseText(sessionID)};
}

std::string sessionMarkOf(pid_t pid) {
    const std::string beginning = std::string(sessionMark) + "=";
    for (const std::string& entry : startingEnvironmentOf(pid)) {
        if (entry.starts_with(beginning)) {
            return entry.substr(beginning.size());
        }
    }
    return "";
}

bool isOlderThanAgents(const ProcessEntry& process) {
    const std::lock_guard guard(beforeAgents().lock);
    return !beforeAgents().table || isRemembered(process, *beforeAgents().table);
}

std::vector<ProcessEntry> sessionMembers(const std::vector<ProcessEntry>& table,
                                         const std::vector<ProcessEntry>& remembered,
                                         const std::function<bool(const ProcessEntry&)>& carriesMark,
                                         pid_t self) {
    std::set<pid_t> pids;
    for (const ProcessEntry& process : table) {
        if (isRemembered(process, remembered) || isLedByRemembered(process, remembered, table) ||
            carriesMark(process)) {
            pids.insert(process.pid);
        }
    }
    addDescendants(table, pids);
    std::vector<ProcessEntry> members;
    std::copy_if(table.begin(), table.end(), std::back_inserter(members), [&](const ProcessEntry& process) {
        return pids.contains(process.pid) && !process.isZombie && process.pid != self;
    });
    return members;
}

std::optional<ProcessEntry> orphanIn(const std::filesystem::path& directory,
                                     const std::vector<ProcessEntry>& table, pid_t self) {
    constexpr pid_t firstProcess = 1;
    std::set<pid_t> adopters{self, firstProcess};
    for (const ProcessEntry& process : table) {
        if (process.name == "systemd") {
            adopters.insert(process.pid);
        }
    }
    std::error_code error;
    const std::filesystem::path place = std::filesystem::canonical(directory, error);
    for (const ProcessEntry& process : table) {
        const std::filesystem::path cwd =
            adopters.contains(process.parent) && !error ? workingDirectoryOf(process.pid) : "";
        if (!cwd.empty() && isWithin(cwd, place)) {
            return process;
        }
    }
    return std::nullopt;
}

ProcessTree::ProcessTree(const Uuid& sessionID) : assignment_(markOf(sessionID).assignment()) {
    noteFirstAgent();
}

void ProcessTree::remember(const ProcessEntry& leader) {
    leader_ = leader.pid;
    remembered_.push_back(leader);
}

void ProcessTree::worksIn(const std::filesystem::path& directory) {
    std::error_code isUnknown;
    directory_ = std::filesystem::canonical(directory, isUnknown);
}

/// Of an orphan that has come to this process.
bool ProcessTree::isOwnOrphan(const ProcessEntry& process) const {
    if (process.parent != getpid() || process.isZombie || isStartedHere(process)) {
        return false;
    }
    return (startedWith(process.pid, assignment_) && isMeant_(process)) ||
           (!directory_.empty() && isWithin(workingDirectoryOf(process.pid), directory_));
}

bool ProcessTree::knows(const ProcessEntry& process) const {
    return isRemembered(process, remembered_);
}

void ProcessTree::look() {
    const auto table = processTable();
    if (table.empty()) {
        return;  // it could not be read; that tells nothing of who has ended
    }
    std::erase_if(remembered_, [&](const ProcessEntry& known) { return !isStillThere(known, table); });
    const auto isOurs = [this](const ProcessEntry& process) { return isOwnOrphan(process); };
    for (ProcessEntry& process : sessionMembers(table, remembered_, isOurs, getpid())) {
        if (!isRemembered(process, remembered_)) {
            remembered_.push_back(std::move(process));
        }
    }
}

std::vector<ProcessEntry> ProcessTree::alive() const {
    const auto marked = [this](const ProcessEntry& process) {
        const bool isMarked = startedWith(process.pid, assignment_) && isMeant_(process);
        return !process.isZombie && (isMarked || isOwnOrphan(process));
    };
    return sessionMembers(processTable(), remembered_, marked, getpid());
}

Task<std::vector<ProcessEntry>> ProcessTree::end(std::chrono::milliseconds grace,
                                                 std::chrono::milliseconds timeout) {
    std::vector<ProcessEntry> living = co_await signalUntilGone(SIGTERM, grace);
    if (!living.empty()) {
        living = co_await signalUntilGone(SIGKILL, timeout);
    }
    reapOrphans();
    co_return living;
}

/// Again and again, because what is asked to end may have started something in between.
Task<std::vector<ProcessEntry>> ProcessTree::signalUntilGone(int signal, std::chrono::milliseconds timeout) {
    constexpr std::chrono::milliseconds pause{20};
    const auto deadline = steady_clock::now() + timeout;
    boost::asio::steady_timer timer(co_await boost::asio::this_coro::executor);
    std::vector<ProcessEntry> living = alive();
    while (!living.empty() && steady_clock::now() < deadline) {
        for (const ProcessEntry& process : living) {
            signalProcess(process, signal);
            if (!isRemembered(process, remembered_)) {
                remembered_.push_back(process);
            }
        }
        timer.expires_after(pause);
        co_await timer.async_wait(boost::asio::use_awaitable);
        living = alive();
    }
    co_return living;
}

void ProcessTree::reapOrphans() const {
    const auto table = processTable();
    for (const ProcessEntry& process : table) {
        const bool ours =
            isRemembered(process, remembered_) || isLedByRemembered(process, remembered_, table);
        if (process.isZombie && process.parent == getpid() && process.pid != leader_ && ours) {
            reapChild(process.pid);
        }
    }
}

}  // namespace quernlight::host
