#include "host/worktree/worktree_blocker.hpp"

#include <filesystem>
#include <optional>
#include <utility>

#include "host/process/process_tree.hpp"
#include "host/worktree/worktree_occupant.hpp"
#include "quernlight/git/worktree_naming.hpp"
#include "quernlight/platform/file_manager.hpp"

namespace quernlight::host {
namespace {

std::string mappedPath(const BugQueueItem& item, const AppMapping& mapping) {
    return WorktreeNaming::worktreePath(mapping.resolvedWorktreeRootPath(), item.appName, item.bugID);
}

/// Where the bug was last worked on, when that is still there and today's mapping has it elsewhere.
std::optional<std::string> strayWorktree(const SessionAttemptRecord& attempt, const std::string& mapped) {
    if (!attempt.agentWorkspacePath) {
        return std::nullopt;
    }
    const std::string& path = *attempt.agentWorkspacePath;
    std::error_code ignored;
    const bool isMapped = WorktreeNaming::standardizedPath(path) == mapped ||
                          std::filesystem::equivalent(path, mapped, ignored);
    return isMapped || !defaultFileManager().exists(path) ? std::nullopt : std::optional(path);
}

std::string describe(const ProcessEntry& process) {
    return "process " + std::to_string(process.pid) + " (" + process.name + ")";
}

/// Who works in the worktree, or is left of the session that did; empty when nobody does.
std::string occupant(const std::optional<SessionAttemptRecord>& attempt, const std::string& mapped) {
    if (const auto inside = processIn(mapped, processTable())) {
        return describe(*inside) + " works in it";
    }
    const auto sessionID = attempt ? parseUuid(attempt->completionMarker) : std::nullopt;
    const auto left = sessionID ? ProcessTree(*sessionID).alive() : std::vector<ProcessEntry>{};
    return left.empty() ? "" : describe(left.front()) + " of its last session still runs";
}

}  // namespace

Task<std::string> worktreeBlocker(DispatchStore store, BugQueueItem item, AppMapping mapping) {
    const std::string merged = "Bug " + item.bugID + " is merged, but its worktree ";
    const std::string mapped = mappedPath(item, mapping);
    const auto attempt = co_await store.attempts.latestAttempt(item.id);
    const auto stray = attempt ? strayWorktree(*attempt, mapped) : std::nullopt;
    if (stray) {
        co_return merged + "at " + *stray +
            " is not where its mapping has worktrees now, so it is left alone; map that directory again, or "
            "remove the worktree.";
    }
    const std::string occupied = occupant(attempt, mapped);
    co_return occupied.empty() ? "" : merged + "stays: " + occupied + "; it goes once that has ended.";
}

}  // namespace quernlight::host
