#include "host/events/session_stage.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace quernlight::host {
namespace {

constexpr std::array<std::pair<SessionStage, std::string_view>, 19> texts{{
    {SessionStage::queued, "queued"},
    {SessionStage::needsMapping, "needs mapping"},
    {SessionStage::needsStart, "needs start"},
    {SessionStage::toReconcile, "to be reconciled"},
    {SessionStage::preparingWorktree, "preparing worktree"},
    {SessionStage::startingAgent, "starting codex"},
    {SessionStage::resumingAgent, "resuming codex"},
    {SessionStage::waitingForPrompt, "waiting for prompt"},
    {SessionStage::working, "working"},
    {SessionStage::needsPerson, "needs you"},
    {SessionStage::askingBackend, "asking backend"},
    {SessionStage::agentExited, "codex exited"},
    {SessionStage::stoppingAgent, "stopping codex"},
    {SessionStage::queuedToResume, "queued to resume"},
    {SessionStage::superseded, "superseded"},
    {SessionStage::inReview, "in review"},
    {SessionStage::needsReply, "needs reply"},
    {SessionStage::failed, "failed"},
    {SessionStage::cancelled, "cancelled"},
}};

}  // namespace

std::string_view stageText(SessionStage stage) {
    const auto* found =
        std::find_if(texts.begin(), texts.end(), [stage](const auto& text) { return text.first == stage; });
    return found->second;
}

SessionStage stageOf(const BugQueueItem& item) {
    switch (item.status) {
        case QueueItemStatus::waitingForMapping:
            return SessionStage::needsMapping;
        case QueueItemStatus::failed:
            return SessionStage::failed;
        case QueueItemStatus::awaitingUserInput:
            return SessionStage::needsReply;
        case QueueItemStatus::completed:
            return SessionStage::inReview;
        case QueueItemStatus::cancelled:
            return SessionStage::cancelled;
        case QueueItemStatus::startingCodex:
        case QueueItemStatus::running:
        case QueueItemStatus::codexCompleted:
            return SessionStage::toReconcile;
        default:
            return item.queueMode == QueueMode::manual ? SessionStage::needsStart : SessionStage::queued;
    }
}

bool isRunning(SessionStage stage) {
    return stage >= SessionStage::preparingWorktree && stage < SessionStage::queuedToResume;
}

bool hasEnded(SessionStage stage) {
    return stage >= SessionStage::queuedToResume;
}

bool needsAttention(SessionStage stage) {
    return stage == SessionStage::needsPerson || stage == SessionStage::failed ||
           stage == SessionStage::needsReply || stage == SessionStage::needsMapping ||
           stage == SessionStage::needsStart;
}

bool needsAttention(const BugQueueItem& item) {
    return needsAttention(stageOf(item));
}

std::string_view statusText(const BugQueueItem& item) {
    return statusText(stageOf(item));
}

/// Of an item whose session may still run, only its owner knows more.
std::string_view statusText(SessionStage stage) {
    return stage == SessionStage::toReconcile ? "running" : stageText(stage);
}

}  // namespace quernlight::host
