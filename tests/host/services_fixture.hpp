#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/session/session_services.hpp"
#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "tests/host/published_events.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host::test {

/// Everything that the parts of the loop borrow, over a real database and a scripted backend.
class ServicesFixture : public testing::Test {
  protected:
    ServicesFixture() = default;

    /// By another clock than the system's, which outlives this.
    explicit ServicesFixture(Clock& chosen) : clock(chosen) {}

    template <class Result>
    Result run(Task<Result> task) {
        return quernlight::test::runTask(io, std::move(task));
    }

    /// A bug of the app that is mapped to `repository`.
    BugQueueItem enqueue(const std::string& bugID) {
        run(store.mappings.upsert({.bundleID = "com.acme.shop", .appName = "Shop", .repoPath = repository}));
        QLBugSummaryDTO bug;
        bug.id = bugID;
        bug.bundleID = "com.acme.shop";
        bug.appName = "Shop";
        bug.title = "Crash";
        return run(manager.enqueue(bug, QueueMode::automatic));
    }
    BugQueueItem item(const Uuid& id) { return run(store.items.item(id)).value(); }
    QueueItemStatus status(const Uuid& id) { return item(id).status; }
    SessionAttemptRecord attempt(const Uuid& id) { return run(store.attempts.latestAttempt(id)).value(); }

    /// The kinds of the item's events, a blank between two.
    std::string history(const Uuid& id) {
        std::string kinds;
        for (const QueueEvent& event : run(store.items.events(id))) {
            kinds += (kinds.empty() ? "" : " ") + event.kind;
        }
        return kinds;
    }

    /// Asio hands results over in values that can be made empty.
    static Task<std::optional<DispatchStore>> opened(std::filesystem::path file) {
        co_return co_await DispatchStore::open(std::move(file));
    }

    quernlight::test::TemporaryDirectory directory;
    boost::asio::io_context io;
    quernlight::test::RecordingServer server;
    std::string repository = directory / "shop";
    DispatchStore store = run(opened(directory / "queue.sqlite")).value();
    EventPublisher events;
    HistoryPublisher historyPublisher{events};
    QueueManager manager{store.items, store.mappings, *Url::parse(server.address())};
    SystemClock systemClock;
    Clock& clock = systemClock;
    StopRequest stop;
    ReadyPrompts readyPrompts{io.get_executor()};
    FirstLaunch firstLaunch{false};
    ToolAccess tools;
    LocalPTYCodexRunner runner{readyPrompts};
    BackgroundExecutor background;
    BackgroundExecutor drawing;
    LiveScreens screens;
    RepositoryLocks repositories;
    RateLimiter commentRateLimiter{1000, 1000};
    quernlight::test::PublishedEvents published{events};
    std::vector<std::string> healthChanges;
    BackendHealth health{clock, [this](const std::string& trouble) { healthChanges.push_back(trouble); }};
    std::vector<std::string> diskChanges;
    DiskHealth disk{clock, [this](const std::string& trouble) { diskChanges.push_back(trouble); }};
    RunningTime runningTime{readClocks(clock), [] {}};
    StartPauses startPauses{[this](const std::string& scope, const std::string& sentence) {
        events.alert({AlertTopic::starts, scope}, sentence);
    }};
    Settings settings;
    SessionServices services{
        .home = directory / "home",
        .store = store,
        .manager = manager,
        .client = QuernlightClient(*Url::parse(server.address()), "token", std::make_shared<HttpSession>()),
        .runner = runner,
        .readyPrompts = readyPrompts,
        .firstLaunch = firstLaunch,
        .tools = tools,
        .background = background,
        .drawing = drawing,
        .screens = screens,
        .repositories = repositories,
        .clock = clock,
        .stop = stop,
        .commentRateLimiter = commentRateLimiter,
        .health = health,
        .disk = disk,
        .runningTime = runningTime,
        .startPauses = startPauses,
        .instructions = {},
        .environment = {},
        .settings = settings,
        .events = events,
        .history = historyPublisher};
};

}  // namespace quernlight::host::test
