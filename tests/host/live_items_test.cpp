#include "host/live_items.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

/// Asio hands results over in values that can be made empty.
Task<std::optional<DispatchStore>> opened(std::filesystem::path file) {
    co_return co_await DispatchStore::open(std::move(file));
}

/// A queue as a dispatcher that ended without warning leaves it.
class LiveItemsTest : public testing::Test {
  protected:
    LiveItemsTest() { run(store.mappings.upsert({.bundleID = "com.acme.shop", .appName = "Shop"})); }

    template <class Result>
    Result run(Task<Result> task) {
        return test::runTask(io, std::move(task));
    }
    /// A bug whose session runs.
    Uuid running(const std::string& bugID) {
        QLBugSummaryDTO bug;
        bug.id = bugID;
        bug.bundleID = "com.acme.shop";
        const Uuid item = run(manager.enqueue(bug, QueueMode::automatic)).id;
        run(manager.markStarting(item, randomUuid()));
        run(manager.markRunning(item, randomUuid()));
        run(store.attempts.insert({.id = randomUuid(),
                                   .queueItemID = item,
                                   .bugID = bugID,
                                   .state = SessionAttemptState::running,
                                   .startedAt = currentInstant()}));
        return item;
    }
    int settle() { return run(settleLiveItems(store, manager)); }
    QueueItemStatus status(const Uuid& item) { return run(store.items.item(item))->status; }
    SessionAttemptRecord attempt(const Uuid& item) { return *run(store.attempts.latestAttempt(item)); }
    QueueEvent lastEvent(const Uuid& item) { return run(store.items.events(item)).back(); }

    test::TemporaryDirectory directory;
    boost::asio::io_context io;
    DispatchStore store = run(opened(directory / "queue.sqlite")).value();
    QueueManager manager{store.items, store.mappings, *Url::parse("https://bugs.example")};
};

TEST_F(LiveItemsTest, ARunningItemIsPutBackToBeResumedAndItsAttemptHasFailed) {
    const Uuid item = running("3f2a9c1d");
    EXPECT_EQ(settle(), 1);
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_EQ(lastEvent(item).kind, "resumable");
    EXPECT_EQ(attempt(item).state, SessionAttemptState::failed);
    EXPECT_EQ(attempt(item).failureReason, "Dispatcher stopped while the session was running.");
    EXPECT_TRUE(attempt(item).endedAt);
}

TEST_F(LiveItemsTest, AnItemWhoseCompletionHadBeenSeenIsCompletedWithThatComment) {
    const Uuid item = running("3f2a9c1d");
    const Uuid comment = randomUuid();
    run(manager.markCodexCompleted(item, comment));
    EXPECT_EQ(settle(), 1);
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_EQ(lastEvent(item).kind, "completed");
    EXPECT_EQ(lastEvent(item).metadataJSON, R"({"completion_comment_id":")" + upperCaseText(comment) + "\"}");
}

TEST_F(LiveItemsTest, TheAttemptOfAnItemWhoseCompletionHadBeenSeenIsCompletedToo) {
    const Uuid item = running("3f2a9c1d");
    const Uuid comment = randomUuid();
    run(manager.markCodexCompleted(item, comment));
    settle();
    EXPECT_EQ(attempt(item).state, SessionAttemptState::completed);
    EXPECT_EQ(attempt(item).completionCommentID, comment);
}

TEST_F(LiveItemsTest, AnItemThatHadNoAttemptYetIsPutBackToo) {
    const Uuid item = running("3f2a9c1d");
    run(store.database->execute("DELETE FROM session_attempts"));
    EXPECT_EQ(settle(), 1);
    EXPECT_EQ(status(item), QueueItemStatus::queued);
}

TEST_F(LiveItemsTest, AnAttemptThatHadEndedKeepsItsEnd) {
    const Uuid item = running("3f2a9c1d");
    run(store.attempts.markFailed(attempt(item).id, "Idle timeout elapsed before completion.",
                                  currentInstant()));
    settle();
    EXPECT_EQ(attempt(item).failureReason, "Idle timeout elapsed before completion.");
}

TEST_F(LiveItemsTest, WhatIsNotLiveIsLeftAlone) {
    const Uuid failed = running("3f2a9c1d");
    run(manager.markFailed(failed, "It broke."));
    QLBugSummaryDTO unmapped;
    unmapped.id = "77777777";
    const Uuid waiting = run(manager.enqueue(unmapped, QueueMode::automatic)).id;
    EXPECT_EQ(settle(), 0);
    EXPECT_EQ(status(failed), QueueItemStatus::failed);
    EXPECT_EQ(status(waiting), QueueItemStatus::waitingForMapping);
}

TEST_F(LiveItemsTest, SettlingTwiceChangesNothingMore) {
    running("3f2a9c1d");
    running("77777777");
    EXPECT_EQ(settle(), 2);
    EXPECT_EQ(settle(), 0);
}

}  // namespace
}  // namespace quernlight::host
