#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/session/comment_poll.hpp"
#include "host/session/goal_typist.hpp"
#include "host/session/session_services.hpp"
#include "host/worktree/worktree_preparation.hpp"
#include "quernlight/dispatch/codex_session_resolver.hpp"

namespace quernlight::host {

/// What a session reaches outside of the program, but for its agent: git, the backend, the agent's records.
struct SessionOutside {
    std::function<Task<GitWorktreePrepareResult>(PrepareBugRequest, PreparationGit, WorktreeUse)>
        prepareWorktree;

    /// Whether a first attempt finds work of an agent that the queue has forgotten; see hasEarlierWork.
    std::function<Task<bool>(PrepareBugRequest, GitRunner ask)> hasEarlierWork;

    /// Keeps git from programs that an agent may have written; see guarded.
    std::function<Task<GitRunner>(GitRunner git, std::string repository)> guardGit;
    FetchComments fetchComments;
    std::function<Task<std::optional<Url>>(std::string bugID)> pullRequestURL;

    /// The conversation that the agent has begun in `directory` since `startedAt`; see findConversation.
    std::function<Task<std::optional<CodexSessionRecord>>(std::string directory, Instant startedAt)>
        findConversation;

    /// What the agent's records say of a goal's text; see findGoalRecord.
    FindGoalRecord findGoalRecord;
};

/// The real ones. They borrow the services.
SessionOutside outsideOf(SessionServices& services);

}  // namespace quernlight::host
