#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/service/direct_service.hpp"
#include "host/service/service_error.hpp"
#include "quernlight/storage/file_locations.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host::test {

/// The direct service on a home of its own, and a second look at the same database. The home is there from
/// the first use of `store()` on. Apps are mapped only where a test does so.
class ServiceFixture : public testing::Test {
  protected:
    template <class Result>
    Result run(Task<Result> task) {
        return quernlight::test::runTask(io, std::move(task));
    }

    /// The error that the operation ends with; fails the test when it does not.
    template <class Result>
    ServiceError errorOf(Task<Result> task) {
        try {
            run(std::move(task));
        } catch (const ServiceError& error) {
            return error;
        }
        ADD_FAILURE() << "no error";
        return {ServiceErrorCode::unavailable, ""};
    }
    template <class Result>
    ServiceErrorCode codeOf(Task<Result> task) {
        return errorOf(std::move(task)).code();
    }

    /// Past the service, as a dispatcher would use it.
    DispatchStore& store() {
        if (!opened_) {
            std::filesystem::create_directories(home);
            opened_ = run(opened(FileLocations::databaseURL(home)));
            manager = std::make_unique<QueueManager>(opened_->items, opened_->mappings,
                                                     *Url::parse("https://bugs.example"));
        }
        return *opened_;
    }

    BugQueueItem enqueue(const std::string& bugID, QueueMode mode = QueueMode::automatic) {
        store();
        QLBugSummaryDTO bug;
        bug.id = bugID;
        bug.bundleID = "com.acme.shop";
        bug.appName = "Shop";
        bug.title = "Crash";
        return run(manager->enqueue(bug, mode));
    }
    void mapApp() {
        run(store().mappings.upsert(
            {.bundleID = "com.acme.shop", .appName = "Shop", .repoPath = "/code/shop"}));
    }

    /// The bug as a session leaves it.
    BugQueueItem enqueueAs(const std::string& bugID, QueueItemStatus status) {
        BugQueueItem item = enqueue(bugID);
        item.status = status;
        run(store().items.update(item));
        return item;
    }

    SessionAttemptRecord addAttempt(const BugQueueItem& item, std::int64_t number,
                                    SessionAttemptState state = SessionAttemptState::running) {
        SessionAttemptRecord attempt{.id = randomUuid(),
                                     .queueItemID = item.id,
                                     .attemptNumber = number,
                                     .bugID = item.bugID,
                                     .agentWorkspacePath = "/code/shop-worktrees/Shop-" + item.bugID,
                                     .transcriptANSIPath = directory / "transcript.ansi",
                                     .transcriptTextPath = directory / "transcript.txt",
                                     .state = state,
                                     .startedAt = *parseInstant("2026-03-01T10:00:00Z")};
        run(store().attempts.insert(attempt));
        return attempt;
    }

    BugQueueItem stored(const BugQueueItem& item) { return run(store().items.item(item.id)).value(); }

    quernlight::test::TemporaryDirectory directory;
    std::filesystem::path home = directory / "home";
    boost::asio::io_context io;
    std::unique_ptr<QueueManager> manager;  // from the first use of `store()` on
    std::unique_ptr<DispatchService> service = std::make_unique<DirectService>(access());

    std::unique_ptr<StoreAccess> access() const { return std::make_unique<HomeAccess>(home); }

  private:
    /// Asio hands results over in values that can be made empty.
    static Task<std::optional<DispatchStore>> opened(std::filesystem::path file) {
        co_return co_await DispatchStore::open(std::move(file));
    }

    std::optional<DispatchStore> opened_;
};

}  // namespace quernlight::host::test
