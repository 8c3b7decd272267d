#include "host/session/session_outside.hpp"

#include <utility>

#include "host/agent/agent_conversations.hpp"
#include "host/worktree/guarded_git.hpp"

namespace quernlight::host {
namespace {

Task<std::optional<CodexSessionRecord>> findBeside(SessionServices& services, std::string directory,
                                                   Instant startedAt) {
    auto find = [environment = services.environment, directory = std::move(directory), startedAt] {
        return findConversation(environment, directory, startedAt);
    };
    co_return co_await services.background.run(std::move(find));
}

Task<GoalRecord> recordBeside(SessionServices& services, std::string objective) {
    auto find = [environment = services.environment, objective = std::move(objective)] {
        return findGoalRecord(environment, objective);
    };
    co_return co_await services.background.run(std::move(find));
}

}  // namespace

SessionOutside outsideOf(SessionServices& services) {
    return {
        .prepareWorktree = prepareUsableWorktree,
        .hasEarlierWork = hasEarlierWork,
        .guardGit = guarded,
        .fetchComments =
            [&services](std::string bugID) {
                return fetchCommentsIfAny(services.client, services.events, std::move(bugID));
            },
        .pullRequestURL =
            [&services](std::string bugID) { return services.client.fetchPullRequestURL(std::move(bugID)); },
        .findConversation =
            [&services](std::string directory, Instant startedAt) {
                return findBeside(services, std::move(directory), startedAt);
            },
        .findGoalRecord =
            [&services](std::string objective) { return recordBeside(services, std::move(objective)); }};
}

}  // namespace quernlight::host
