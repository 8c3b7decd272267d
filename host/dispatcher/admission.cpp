#include "host/dispatcher/admission.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/text/shell_text.hpp"
#include "quernlight/platform/control_characters.hpp"

namespace quernlight::host {
namespace {

constexpr std::array<std::pair<WaitCause, std::string_view>, 16> names{{
    {WaitCause::running, "running"},
    {WaitCause::reconciling, "reconciling"},
    {WaitCause::retiring, "retiring"},
    {WaitCause::noMapping, "no_mapping"},
    {WaitCause::startNotRequested, "start_not_requested"},
    {WaitCause::restsAfterTrouble, "rests_after_trouble"},
    {WaitCause::startsPaused, "starts_paused"},
    {WaitCause::stopping, "stopping"},
    {WaitCause::homeAway, "home_away"},
    {WaitCause::homeUnwritable, "home_unwritable"},
    {WaitCause::mappingGone, "mapping_gone"},
    {WaitCause::repositoryBroken, "repository_broken"},
    {WaitCause::agentMissing, "agent_missing"},
    {WaitCause::noPlace, "no_place"},
    {WaitCause::memoryShort, "memory_short"},
    {WaitCause::worktreeInUse, "worktree_in_use"},
}};

using MaybeReason = std::optional<WaitReason>;

WaitReason because(WaitCause cause, std::string about = {}) {
    return {.cause = cause, .about = std::move(about)};
}

MaybeReason underWay(const ItemFacts& facts) {
    switch (facts.work) {
        case ItemWork::session:
            return because(WaitCause::running);
        case ItemWork::reconciliation:
            return because(WaitCause::reconciling);
        case ItemWork::retirement:
            return because(WaitCause::retiring);
        case ItemWork::none:
            break;
    }
    const QueueItemStatus status = facts.item.status;
    const bool rests = status == QueueItemStatus::queued || status == QueueItemStatus::waitingForMapping;
    return rests ? std::nullopt : MaybeReason(because(WaitCause::running));
}

MaybeReason ofItem(const ItemFacts& facts) {
    const BugQueueItem& item = facts.item;
    if (const MaybeReason reason = underWay(facts)) {
        return reason;
    }
    if (item.status == QueueItemStatus::waitingForMapping) {
        return because(WaitCause::noMapping, item.bundleID);
    }
    if (item.queueMode == QueueMode::manual && !facts.startRequested) {
        return because(WaitCause::startNotRequested, item.bugID);
    }
    // The manual queue has no status for it.
    if (item.queueMode == QueueMode::manual && !facts.repository) {
        return because(WaitCause::noMapping, item.bundleID);
    }
    if (facts.restsAfterTrouble) {
        return because(WaitCause::restsAfterTrouble);
    }
    if (facts.pause) {
        return WaitReason{
            .cause = WaitCause::startsPaused, .about = facts.pause->cause, .until = facts.pause->left};
    }
    return std::nullopt;
}

MaybeReason ofProgram(const ProgramFacts& program) {
    if (program.stopping) {
        return because(WaitCause::stopping);
    }
    if (!program.homeIsInPlace) {
        return because(WaitCause::homeAway);
    }
    if (!program.homeIsWritable) {
        return because(WaitCause::homeUnwritable);
    }
    return std::nullopt;
}

MaybeReason ofRoom(const ProgramFacts& program, int sessions) {
    if (sessions >= program.maxSessions) {
        return WaitReason{.cause = WaitCause::noPlace, .amount = sessions, .limit = program.maxSessions};
    }
    if (program.memoryAvailableMiB && *program.memoryAvailableMiB < program.memoryWantedMiB) {
        return WaitReason{.cause = WaitCause::memoryShort,
                          .amount = static_cast<std::int64_t>(*program.memoryAvailableMiB),
                          .limit = static_cast<std::int64_t>(program.memoryWantedMiB)};
    }
    return std::nullopt;
}

MaybeReason reasonOf(const ItemFacts& facts, const ProgramFacts& program, int sessions) {
    if (const MaybeReason reason = ofItem(facts)) {
        return reason;
    }
    if (const MaybeReason reason = ofProgram(program)) {
        return reason;
    }
    if (!facts.repository) {
        return because(WaitCause::mappingGone, facts.item.bundleID);
    }
    if (facts.repositoryTrouble) {
        return because(WaitCause::repositoryBroken, *facts.repositoryTrouble);
    }
    if (program.missingAgent) {
        return because(WaitCause::agentMissing, *program.missingAgent);
    }
    if (const MaybeReason reason = ofRoom(program, sessions)) {
        return reason;
    }
    if (facts.worktree && facts.worktree->process) {
        return WaitReason{.cause = WaitCause::worktreeInUse, .amount = *facts.worktree->process};
    }
    return std::nullopt;
}

std::string sentenceOfPause(const WaitReason& reason) {
    return reason.until
               ? "it is tried again in " + std::to_string(reason.until->count()) + " s: " + reason.about
               : reason.about;
}

}  // namespace

std::vector<AdmissionDecision> admit(const AdmissionFacts& facts) {
    std::vector<AdmissionDecision> decisions;
    int sessions = facts.program.sessionsRunning;
    for (const ItemFacts& item : facts.items) {
        decisions.push_back({.item = item.item, .reason = reasonOf(item, facts.program, sessions)});
        sessions += decisions.back().starts() ? 1 : 0;
    }
    return decisions;
}

std::string_view nameOf(WaitCause cause) {
    return std::ranges::find(names, cause, &std::pair<WaitCause, std::string_view>::first)->second;
}

std::optional<WaitCause> parseWaitCause(std::string_view name) {
    const auto* found = std::ranges::find(names, name, &std::pair<WaitCause, std::string_view>::second);
    return found == names.end() ? std::nullopt : std::optional(found->first);
}

std::string sentenceOf(const WaitReason& reason) {
    constexpr std::size_t mostShown = 300;
    constexpr std::size_t mostOfSentence = 2000;
    const std::string amount = std::to_string(reason.amount);
    const std::string limit = std::to_string(reason.limit);
    switch (reason.cause) {
        case WaitCause::running:
            return "its session runs";
        case WaitCause::reconciling:
            return "its last session was interrupted and has to be reconciled first";
        case WaitCause::retiring:
            return "its work is merged; it leaves the queue";
        case WaitCause::noMapping:
        case WaitCause::mappingGone:
            return "no mapping for " + escapedLine(reason.about, mostShown) +
                   "; add one with: quernlight-dispatch map set";
        case WaitCause::startNotRequested:
            return "until: queue start " + shellQuoted(reason.about);
        case WaitCause::restsAfterTrouble:
            return "its last session ended on trouble a moment ago";
        case WaitCause::startsPaused:
            return sentenceOfPause(reason);
        case WaitCause::stopping:
            return "the dispatcher is being stopped";
        case WaitCause::homeAway:
            return "the dispatch home is not in its place";
        case WaitCause::homeUnwritable:
            return "the dispatch home cannot be written";
        case WaitCause::repositoryBroken:
        case WaitCause::agentMissing:
            return escapedLine(reason.about, mostOfSentence);
        case WaitCause::noPlace:
            return amount + " of " + limit + " sessions run";
        case WaitCause::memoryShort:
            return amount + " MiB free, " + limit + " wanted";
        case WaitCause::worktreeInUse:
            return "process " + amount + " still runs in its worktree; it starts once that has ended.";
    }
    return "";
}

bool passesByItself(WaitCause cause) {
    switch (cause) {
        case WaitCause::reconciling:
        case WaitCause::restsAfterTrouble:
        case WaitCause::stopping:
        case WaitCause::homeAway:
        case WaitCause::homeUnwritable:
        case WaitCause::agentMissing:
        case WaitCause::mappingGone:
        case WaitCause::repositoryBroken:
        case WaitCause::noPlace:
        case WaitCause::memoryShort:
            return true;
        default:
            return false;
    }
}

}  // namespace quernlight::host
