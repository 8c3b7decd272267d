// The library in a few lines: one open bug from the backend to an agent at work in its worktree. Without
// arguments it only opens an empty queue in memory's place, a new file beside it, to show that the library is
// there.

#include <cstdlib>
#include <iostream>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>

#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/dispatch/goal_builder.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/git/git_worktree_preparer.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/storage/migrations.hpp"

using namespace quernlight;

// [the road of one bug]
Task<void> workOnOldestBug(Url backend, std::string token, std::filesystem::path home, AppMapping app) {
    auto database = std::make_shared<Database>(home / "queue.sqlite");
    const Migrations migrations(database);
    co_await migrations.run();
    const QueueRepository queue(database);
    QueueManager manager(queue, MappingRepository(database), backend);
    const QuernlightClient client(backend, token, std::make_shared<HttpSession>());
    for (const QLBugSummaryDTO& bug : co_await client.fetchOpenBugs(50)) {
        co_await manager.enqueue(bug, QueueMode::manual);
    }
    const BugQueueItem item = (co_await queue.items()).at(0);
    const PrepareBugRequest place{app.repoPath, *app.worktreeRootPath, item.appName, item.bugID,
                                  app.baseBranch};
    const GitWorktreePreparer worktrees;
    const auto worktree = std::get<WorktreeCreated>(co_await worktrees.prepareBug(place));
    StartSessionRequest session{.sessionID = randomUuid(),
                                .repoPath = worktree.worktreePath,
                                .launchCommand = {"codex"},
                                .environment = currentEnvironmentMap(),
                                .initialInput = "/goal Look at " + item.bugURL.text() + "\n",
                                .transcriptANSIPath = home / "ansi",
                                .transcriptTextPath = home / "text"};
    LocalPTYCodexRunner runner;
    auto events = runner.events(session.sessionID);
    co_await manager.markStarting(item.id, session.sessionID);
    co_await runner.startSession(session);
    while (const auto event = co_await events.next()) {
        if (const auto* output = event->output())
            std::cout << output->bytes << std::flush;
    }
}
// [the road of one bug]

Task<void> openQueue(std::filesystem::path file) {
    auto database = std::make_shared<Database>(file);
    const Migrations migrations(database);
    co_await migrations.run();
    const QueueRepository queue(database);
    std::cout << (co_await queue.items()).size() << " items\n";
}

int main(int argc, char** argv) {
    boost::asio::io_context io;
    std::exception_ptr failure;
    const auto keep = [&](std::exception_ptr thrown) { failure = thrown; };
    if (argc == 6) {
        AppMapping app{.bundleID = "com.example.app", .appName = "App", .repoPath = argv[4]};
        app.worktreeRootPath = argv[5];
        boost::asio::co_spawn(io, workOnOldestBug(Url::parse(argv[1]).value(), argv[2], argv[3], app), keep);
    } else {
        boost::asio::co_spawn(io, openQueue("queue.sqlite"), keep);
    }
    io.run();
    if (failure) {
        std::rethrow_exception(failure);
    }
}
