#include "host/events/session_stage.hpp"

#include <algorithm>
#include <array>

namespace quernlight::host {
namespace {

struct StageTexts {
    SessionStage stage;
    std::string_view text;
    std::string_view name;
};

constexpr std::array<StageTexts, 19> texts{{
    {SessionStage::queued, "queued", "queued"},
    {SessionStage::needsMapping, "needs mapping", "needs_mapping"},
    {SessionStage::needsStart, "needs start", "needs_start"},
    {SessionStage::toReconcile, "to be reconciled", "to_reconcile"},
    {SessionStage::preparingWorktree, "preparing worktree", "preparing_worktree"},
    {SessionStage::startingAgent, "starting codex", "starting_agent"},
    {SessionStage::resumingAgent, "resuming codex", "resuming_agent"},
    {SessionStage::waitingForPrompt, "waiting for prompt", "waiting_for_prompt"},
    {SessionStage::working, "working", "working"},
    {SessionStage::needsPerson, "needs you", "needs_person"},
    {SessionStage::askingBackend, "asking backend", "asking_backend"},
    {SessionStage::agentExited, "codex exited", "agent_exited"},
    {SessionStage::stoppingAgent, "stopping codex", "stopping_agent"},
    {SessionStage::queuedToResume, "queued to resume", "queued_to_resume"},
    {SessionStage::superseded, "superseded", "superseded"},
    {SessionStage::inReview, "in review", "in_review"},
    {SessionStage::needsReply, "needs reply", "needs_reply"},
    {SessionStage::failed, "failed", "failed"},
    {SessionStage::cancelled, "cancelled", "cancelled"},
}};

}  // namespace

std::string_view stageText(SessionStage stage) {
    return std::ranges::find(texts, stage, &StageTexts::stage)->text;
}

std::string_view stageName(SessionStage stage) {
    return std::ranges::find(texts, stage, &StageTexts::stage)->name;
}

std::optional<SessionStage> parseStageName(std::string_view name) {
    const auto* found = std::ranges::find(texts, name, &StageTexts::name);
    return found == texts.end() ? std::nullopt : std::optional(found->stage);
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
