#pragma once

#include <optional>
#include <string_view>

namespace quernlight::host {

/// The kinds of an item's history. The queue manager writes those up to `codexSessionRestored`, the program
/// the others.
enum class EventKind {
    enqueued,
    retried,
    queueModeChanged,
    reordered,
    queuedNext,
    cancelled,
    startingCodex,
    running,
    codexCompleted,
    completed,
    awaitingUserInput,
    failed,
    resumable,
    codexSessionStored,
    codexSessionPreserved,
    codexSessionRestored,
    worktreeReady,
    agentStarted,      ///< metadata: "pid" and "birth"
    awaitingComposer,  ///< of the agent, before its goal can be typed; told once it lasts
    typing,            ///< before the goal's first key
    typed,             ///< after its last Enter
    goalAccepted,      ///< the agent has it, whole
    goalRefused,       ///< the agent has none, or not all of it
    goalNotTyped,      ///< the session ended without it
    agentBlocked,      ///< no fault of its bug's; metadata: "codex_session_id" that was resumed in vain
    needsPerson,       ///< the agent asks something that is not answered for a person
    questionAsked,     ///< by a comment, which the message is
    agentExited,
    agentLeftovers,       ///< processes that had to be killed
    agentSurvived,        ///< processes that could not be ended
    conversationUnknown,  ///< metadata: "codex_session_id"
    followUpWanted,
    startRequested,   ///< of an item of the manual queue
    holdRequested,    ///< of an item whose session has to end, or be reconciled, first
    cancelRequested,  ///< the same
    sessionStopped,   ///< by a person; the item is held
    recovered,
    mappingGone,    ///< of its app, while it waited for a place
    toolRefused,    ///< a call of the agent's to a tool; metadata: "tool"
    workPreserved,  ///< metadata: "ref" and "commit"
    retired,        ///< merged; the last event of an item
};

/// The kind as it is stored.
std::string_view storedText(EventKind kind);

/// Nothing for a kind that this version does not know.
std::optional<EventKind> parseEventKind(std::string_view stored);

/// Whether the program itself writes it, and not the queue manager.
bool isOwnKind(std::string_view stored);

/// Whether it ends the session that began with `startingCodex`.
bool endsSession(EventKind kind);

}  // namespace quernlight::host
