#include <algorithm>
#include <fstream>

#include "host/events/session_stage.hpp"
#include "host/recovery/recovery_step.hpp"
#include "host/screen/last_line.hpp"
#include "host/service/stored_operations.hpp"
#include "host/settings/settings_store.hpp"
#include "host/store/readable_queue.hpp"
#include "quernlight/git/worktree_naming.hpp"

namespace quernlight::host {
namespace {

/// Of the end of a transcript, which may be being written.
std::string lastLineOf(const std::filesystem::path& transcript) {
    constexpr std::streamoff readablePart = 4096;
    std::ifstream file(transcript, std::ios::binary | std::ios::ate);
    if (!file) {
        return {};
    }
    const std::streamoff size = std::max(std::streamoff(file.tellg()), std::streamoff(0));
    std::string end(static_cast<std::size_t>(std::min(size, readablePart)), '\0');
    file.seekg(size - std::ssize(end));
    file.read(end.data(), std::ssize(end));
    return lastReadableLine(end);
}

RunningSession sessionOf(const BugQueueItem& item, const std::optional<SessionAttemptRecord>& attempt) {
    RunningSession session{
        .bugID = item.bugID, .appName = item.appName, .title = item.title, .status = item.status};
    if (attempt) {
        session.since = attempt->startedAt;
        session.lastOutputAt = attempt->lastOutputAt;
        session.attemptNumber = attempt->attemptNumber;
        session.transcriptText = attempt->transcriptTextPath;
        session.transcriptANSI = attempt->transcriptANSIPath;
        session.workspace = attempt->agentWorkspacePath.value_or("");
        session.lastLine = lastLineOf(session.transcriptText);
    }
    return session;
}

}  // namespace

/// An item that is being prepared may show the attempt before this one, which has ended.
Task<std::vector<RunningSession>> runningSessions(DispatchStore store) {
    std::vector<RunningSession> sessions;
    for (const BugQueueItem& item : co_await readableItems(store)) {
        if (isReorderLocked(item.status)) {
            const auto attempt = co_await store.attempts.latestAttempt(item.id);
            const bool isOfThisSession = attempt && isOpen(*attempt);
            sessions.push_back(sessionOf(item, isOfThisSession ? attempt : std::nullopt));
        }
    }
    co_return sessions;
}

Task<std::vector<ReviewItem>> reviewItems(DispatchStore store) {
    std::vector<ReviewItem> review;
    for (BugQueueItem& item : co_await readableItems(store, wholeQueue)) {
        if (item.status != QueueItemStatus::completed) {
            continue;
        }
        const auto attempt = co_await store.attempts.latestAttempt(item.id);
        const auto mapping = co_await store.mappings.mapping(item.bundleID);
        ReviewItem waiting{.branch = WorktreeNaming::branchName(item.appName, item.bugID)};
        waiting.worktree = attempt ? attempt->agentWorkspacePath : std::nullopt;
        waiting.repository = mapping ? std::optional(mapping->repoPath) : std::nullopt;
        waiting.item = std::move(item);
        review.push_back(std::move(waiting));
    }
    co_return review;
}

Task<HealthReport> storedHealth(DispatchStore store) {
    const SettingsStore settings(store.database);
    const StoredSettings stored = co_await settings.read();
    HealthReport report{.alerts = stored.troubles};
    QueueList queue = co_await queueList(std::move(store));
    for (UnreadableBug& bug : queue.unreadable) {
        report.alerts.push_back(std::move(bug.sentence));
    }
    for (QueueEntry& entry : queue.entries) {
        if (needsAttention(entry.stage)) {
            report.needPerson.push_back(std::move(entry));
        }
    }
    co_return report;
}

}  // namespace quernlight::host
