#include "host/session/agent_conversations.hpp"
#include "host/session/bug_session.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds lookInterval{1};
constexpr std::size_t lastWordsKept = 2000;

void appendWords(std::string& lastWords, const std::string& line) {
    lastWords += line + "\n";
    if (lastWords.size() > lastWordsKept) {
        lastWords.erase(0, lastWords.size() - lastWordsKept);
    }
}

}  // namespace

Task<NextStep> BugSession::watch() {
    while (true) {
        if (auto news = co_await agent_.nextUntil(std::max(nextLook_, steady_clock::now()))) {
            co_await take(std::move(*news));
        }
        if (steady_clock::now() >= nextLook_) {
            co_await lookAround();
            nextLook_ = steady_clock::now() + lookInterval;
        }
        NextStep step = nextStep(watched_, currentInstant(), timeouts());
        if (!std::holds_alternative<KeepWatching>(step)) {
            co_return step;
        }
    }
}

Task<void> BugSession::take(SessionNews news) {
    if (auto* output = std::get_if<OutputSeen>(&news)) {
        co_await noteOutput(std::move(*output));
    } else if (const auto* exit = std::get_if<AgentExited>(&news)) {
        watched_.activity.exitedAt = exit->at;
        watched_.activity.exitCode = exit->exitCode;
        co_await settleAgent();
    } else if (auto* comments = std::get_if<CommentsChanged>(&news)) {
        watched_.activity.lastCommentPollWithNewCommentAt = comments->at;
        watched_.detection = std::move(comments->detection);
    } else {
        co_await noteTyping(news);
    }
}

Task<void> BugSession::noteTyping(const SessionNews& news) {
    if (std::holds_alternative<GoalTypingBegins>(news)) {
        watched_.goalTyped = true;
    } else if (std::holds_alternative<GoalTyped>(news)) {
        goalTypedWhole_ = true;
        show("working", progress_.detail);
        co_await ifPossible(tellEvent(event_kind::typed, "The goal has been typed."));
    } else if (const auto* failure = std::get_if<GoalNotTyped>(&news)) {
        watched_.goalTrouble = failure->reason;
    }
}

/// Stored at most once a second: a flood of output must not become a flood of writes.
Task<void> BugSession::noteOutput(OutputSeen output) {
    watched_.activity.lastOutputAt = output.at;
    if (!output.lastLine.empty()) {
        appendWords(watched_.lastWords, output.lastLine);
        show(progress_.stage, std::move(output.lastLine));
    }
    if (!lastOutputStoredAt_ || output.at - *lastOutputStoredAt_ >= std::chrono::seconds(1)) {
        lastOutputStoredAt_ = output.at;
        co_await ifPossible(services_.store.attempts.markLastOutput(attempt_.id, output.at));
    }
}

/// What has to be looked at because nobody tells: whose the item is, the agent's own records, its processes.
Task<void> BugSession::lookAround() {
    agent_.look();
    const auto item = co_await services_.store.items.item(item_.id);
    watched_.superseded = !item || item->activeSessionID != sessionID_;
    if (!conversationKnown_) {
        co_await ifPossible(noteConversation());
    }
}

Task<void> BugSession::noteConversation() {
    auto lookUp = [environment = services_.environment, directory = *attempt_.agentWorkspacePath,
                   startedAt = attempt_.startedAt] {
        return findConversation(environment, directory, startedAt);
    };
    const auto found = co_await services_.background.run(std::move(lookUp));
    if (found) {
        co_await services_.manager.setCodexSession(item_.id, found->id, false);
        co_await services_.store.attempts.setCodexSession(attempt_.id, found->id);
        conversationKnown_ = true;
    }
}

/// A write without which the session can go on: a disk that is full for a while must not end it.
Task<void> BugSession::ifPossible(Task<void> write) {
    std::string trouble;
    try {
        co_await std::move(write);
    } catch (const DatabaseError& error) {
        trouble = error.what();
    }
    if (!trouble.empty()) {
        services_.board.noteOnce("The queue cannot be written at the moment (" + trouble +
                                 "); sessions go on. Free some disk space if the disk is full.");
    }
}

SessionTimeoutSettings BugSession::timeouts() const {
    return {.idleTimeoutSeconds = services_.settings.idleTimeoutSeconds,
            .postExitCommentGraceSeconds = services_.settings.postExitGraceSeconds};
}

}  // namespace quernlight::host
