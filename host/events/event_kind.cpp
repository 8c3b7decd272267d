#include "host/events/event_kind.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quernlight::host {
namespace {

/// In the order of the enumeration.
constexpr std::array<std::string_view, 41> texts{"enqueued",
                                                 "retried",
                                                 "queueModeChanged",
                                                 "reordered",
                                                 "queuedNext",
                                                 "cancelled",
                                                 "startingCodex",
                                                 "running",
                                                 "codexCompleted",
                                                 "completed",
                                                 "awaitingUserInput",
                                                 "failed",
                                                 "resumable",
                                                 "codexSessionStored",
                                                 "codexSessionPreserved",
                                                 "codexSessionRestored",
                                                 "worktreeReady",
                                                 "agentStarted",
                                                 "awaitingComposer",
                                                 "typing",
                                                 "typed",
                                                 "goalAccepted",
                                                 "goalRefused",
                                                 "goalNotTyped",
                                                 "agentBlocked",
                                                 "needsPerson",
                                                 "questionAsked",
                                                 "agentExited",
                                                 "agentLeftovers",
                                                 "agentSurvived",
                                                 "conversationUnknown",
                                                 "followUpWanted",
                                                 "startRequested",
                                                 "holdRequested",
                                                 "cancelRequested",
                                                 "sessionStopped",
                                                 "recovered",
                                                 "mappingGone",
                                                 "toolRefused",
                                                 "workPreserved",
                                                 "retired"};
static_assert(texts.size() == static_cast<std::size_t>(EventKind::retired) + 1);

}  // namespace

std::string_view storedText(EventKind kind) {
    return texts.at(static_cast<std::size_t>(kind));
}

std::optional<EventKind> parseEventKind(std::string_view stored) {
    const auto* found = std::find(texts.begin(), texts.end(), stored);
    return found == texts.end() ? std::nullopt
                                : std::optional(static_cast<EventKind>(std::distance(texts.begin(), found)));
}

bool isOwnKind(std::string_view stored) {
    const auto kind = parseEventKind(stored);
    return kind && *kind > EventKind::codexSessionRestored;
}

bool endsSession(EventKind kind) {
    return kind == EventKind::completed || kind == EventKind::failed || kind == EventKind::resumable ||
           kind == EventKind::awaitingUserInput;
}

}  // namespace quernlight::host
