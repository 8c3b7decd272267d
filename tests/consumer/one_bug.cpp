// A host in a few lines: bugs of a backend, each worked on in its worktree until the agent's comment says how
// it ended. Without arguments it only opens a queue in the current directory, to show that the library is
// there.

#include <cstdlib>
#include <iostream>
#include <system_error>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/completion_detector.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "quernlight/storage/file_locations.hpp"
#include "quernlight/storage/migrations.hpp"

using namespace quernlight;

namespace {

/// The library's pieces, wired once when a host starts.
struct Host {
    Host(const std::filesystem::path& homeDirectory, const Url& backend, const std::string& token)
        : home(homeDirectory),
          database(std::make_shared<Database>(FileLocations::databaseURL(home))),
          queue(database),
          manager(queue, MappingRepository(database), backend),
          client(backend, token, std::make_shared<HttpSession>()) {}

    boost::asio::io_context io;  // first, so that it goes last: the others' threads resume coroutines on it
    std::filesystem::path home;
    std::shared_ptr<Database> database;
    QueueRepository queue;
    QueueManager manager;
    QuernlightClient client;
    GitWorktreePreparer worktrees;
    LocalPTYCodexRunner runner;
};

GoalContext goalOf(const Host& host, const BugQueueItem& item, const AppMapping& app) {
    const auto instructions = host.home / "instructions";
    return {.queueItemID = item.id,
            .sessionID = randomUuid(),
            .appName = item.appName,
            .bundleID = item.bundleID,
            .bugID = item.bugID,
            .bugShareURL = item.bugURL,
            .repoPath = app.repoPath,
            .worktreeRootPath = app.resolvedWorktreeRootPath(),
            .baseBranch = app.baseBranch,
            .investigationInstructionsPath = instructions / "investigation.md",
            .reproduceInstructionPath = instructions / "reproduction.md",
            .completionInstructionsPath = instructions / "completion.md",
            .prURL = std::nullopt};
}

PrepareBugRequest placeOf(const GoalContext& goal) {
    return {goal.repoPath, goal.worktreeRootPath, goal.appName, goal.bugID, goal.baseBranch};
}

StartSessionRequest sessionOf(const Host& host, const BugQueueItem& item, const GoalContext& goal) {
    const auto files = FileLocations::sessionAttemptDirectory(host.home, item.id, 1);
    return {.sessionID = goal.sessionID,
            .queueItemID = item.id,
            .repoPath = goal.worktreePath(),
            .launchCommand = {"codex"},
            .environment = currentEnvironmentMap(),
            .initialInput = GoalBuilder::build(goal),
            .transcriptANSIPath = files / "transcript.ansi",
            .transcriptTextPath = files / "transcript.txt"};
}

/// The goal of a bug that has its worktree now; an item that gets none has failed.
Task<std::optional<GoalContext>> prepareWorktree(Host& host, const BugQueueItem& item,
                                                 const AppMapping& app) {
    GoalContext goal = goalOf(host, item, app);
    const GitWorktreePrepareResult prepared = co_await host.worktrees.prepareBug(placeOf(goal));
    if (const auto* failed = std::get_if<WorktreeFailed>(&prepared)) {
        co_await host.manager.markFailed(item.id, failed->message);
        co_return std::nullopt;
    }
    co_return goal;
}

CompletionPollState runOf(const BugQueueItem& item, const StartSessionResponse& started) {
    return {started.sessionID, item.id, item.bugID, started.startedAt, {}};
}

/// The comment by which the agent ends the run; nothing when it exits without one. A host that waits for more
/// than one bug looks at the comments on a timer instead, and asks SessionTimeoutEvaluator how long to wait.
Task<std::optional<QLCommentDTO>> completionOf(Host& host, CompletionPollState run,
                                               EventStream<RunnerEvent>& events) {
    while (co_await events.next()) {
        const auto comments = co_await host.client.fetchComments(run.bugID);
        if (auto comment = CompletionDetector::detectCompletion(comments, run)) {
            co_return comment;
        }
    }
    co_return std::nullopt;
}

/// An agent that has exited by itself, or whose terminal is gone, need not be asked.
Task<void> askToExit(Host& host, const Uuid& sessionID) {
    try {
        co_await host.runner.terminate(sessionID, TerminationMode::requestExitCommand);
    } catch (const RunnerError&) {
    } catch (const PTYProcessError&) {
    } catch (const std::system_error&) {
    }
}

/// With its comment the agent is done and may go; without one the item has failed.
Task<void> finish(Host& host, const BugQueueItem& item, const GoalContext& goal,
                  const std::optional<QLCommentDTO>& comment) {
    if (!comment) {
        co_return co_await host.manager.markFailed(item.id, "The agent ended without its comment.");
    }
    co_await host.manager.markCodexCompleted(item.id, comment->id);
    co_await askToExit(host, goal.sessionID);
    co_await host.manager.markCompleted(item.id, comment->id);
}

Task<void> workOn(Host& host, QLBugSummaryDTO bug, AppMapping app) {
    const BugQueueItem item = co_await host.manager.enqueue(bug, QueueMode::manual);
    const auto goal = co_await prepareWorktree(host, item, app);
    if (!goal) {
        co_return;
    }
    co_await host.manager.markStarting(item.id, goal->sessionID);
    auto events = host.runner.events(goal->sessionID);  // before the start, to miss nothing
    const auto started = co_await host.runner.startSession(sessionOf(host, item, *goal));
    co_await host.manager.markRunning(item.id, goal->sessionID);
    const auto comment = co_await completionOf(host, runOf(item, started), events);
    co_await finish(host, item, *goal, comment);
}

Task<void> workOnOpenBugs(Host& host, AppMapping app) {
    const Migrations migrations(host.database);
    co_await migrations.run();
    const MappingRepository mappings(host.database);
    co_await mappings.upsert(app);
    for (const QLBugSummaryDTO& bug : co_await host.client.fetchOpenBugs(50)) {
        co_await workOn(host, bug, app);
    }
}

Task<void> openQueue(Host& host) {
    const Migrations migrations(host.database);
    co_await migrations.run();
    std::cout << (co_await host.queue.items()).size() << " items\n";
}

}  // namespace

/// one_bug BACKEND TOKEN HOME BUNDLE REPOSITORY
int main(int argc, char** argv) {
    const bool works = argc == 6;
    Host host(works ? argv[3] : ".", Url::parse(works ? argv[1] : "http://127.0.0.1").value(),
              works ? argv[2] : "");
    AppMapping app{.bundleID = works ? argv[4] : "", .repoPath = works ? argv[5] : ""};
    app.worktreeRootPath = app.repoPath + "-worktrees";
    std::exception_ptr failure;
    boost::asio::co_spawn(host.io, works ? workOnOpenBugs(host, app) : openQueue(host),
                          [&](std::exception_ptr thrown) { failure = thrown; });
    host.io.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}
