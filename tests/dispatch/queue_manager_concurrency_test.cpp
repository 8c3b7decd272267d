#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"
#include "tests/support/eventually.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

// Operations at the same time

class ConcurrentQueueManagerTest : public QueueManagerFixture {
  protected:
    ~ConcurrentQueueManagerTest() override { threads_.join(); }

    /// Starts the operation on one of several threads.
    template <class Result>
    auto start(Task<Result> operation) {
        return boost::asio::co_spawn(threads_, std::move(operation), boost::asio::use_future);
    }

    boost::asio::thread_pool threads_{4};
};

TEST_F(ConcurrentQueueManagerTest, BugsEnqueuedAtOnceAreNumberedWithoutGapsOrDoubles) {
    constexpr std::size_t count = 60;
    std::vector<std::future<BugQueueItem>> added;
    for (std::size_t index = 0; index < count; ++index) {
        added.push_back(start(manager_.enqueue(bug("bug" + std::to_string(index)), automatic)));
    }
    for (auto& item : added) {
        item.get();
    }
    EXPECT_EQ(order().size(), count);
}

TEST_F(ConcurrentQueueManagerTest, OneBugEnqueuedManyTimesAtOnceIsOneItemWithOneEvent) {
    std::vector<std::future<BugQueueItem>> added;
    for (int index = 0; index < 20; ++index) {
        added.push_back(start(manager_.enqueue(bug("same"), automatic)));
    }
    for (auto& item : added) {
        EXPECT_EQ(item.get().bugID, "same");
    }
    EXPECT_THAT(order(), ElementsAre("same"));
    EXPECT_EQ(eventCount(), 1U);
}

TEST_F(ConcurrentQueueManagerTest, NoItemWaitsForEverWhenItsMappingIsSavedWhileItIsEnqueued) {
    std::vector<std::future<BugQueueItem>> added;
    for (int index = 0; index < 30; ++index) {
        added.push_back(start(manager_.enqueue(bug("bug" + std::to_string(index)), automatic)));
    }
    mapApp();
    start(manager_.releaseWaitingItems("com.acme.shop")).get();
    for (auto& item : added) {
        item.get();
    }
    for (const std::string& bugID : order()) {
        EXPECT_EQ(status(bugID), queued) << bugID;
    }
}

TEST_F(ConcurrentQueueManagerTest, OperationsOfOneThreadTakeEffectInTheOrderInWhichTheyWereStarted) {
    std::vector<std::future<BugQueueItem>> added;
    for (const auto* bugID : {"a", "b", "c", "d", "e"}) {
        added.push_back(
            boost::asio::co_spawn(io_, manager_.enqueue(bug(bugID), automatic), boost::asio::use_future));
    }
    io_.restart();
    io_.run_for(test::generousBound);
    EXPECT_THAT(order(), ElementsAre("a", "b", "c", "d", "e"));
}

// Operations that meet halfway

/// Before the fixture's database, so that it outlives the connection that it listens to.
struct RecordedStatements {
    test::StatementRecorder recorder_;
};

template <class Result>
std::future<Result> start(boost::asio::io_context& loop, Task<Result> operation) {
    return boost::asio::co_spawn(loop, std::move(operation), boost::asio::use_future);
}

/// A manager whose coroutines are resumed one by one, over a database whose statements are known.
class SteppedQueueManagerTest : protected RecordedStatements, public QueueManagerFixture {
  protected:
    /// Waits until the database has done all that it was given; its results lie ready on their loops.
    void settle() { test::runTask(database_->query("SELECT 1")); }

    /// Resumes coroutines of `io_` until a statement that begins so has been run, and not those after it.
    void runUntil(const std::string& statement) {
        io_.restart();
        settle();
        while (!hasRun(statement)) {
            ASSERT_EQ(io_.run_one_for(test::generousBound), 1U);
            settle();
        }
    }

    /// Lets the coroutines of `loop` come as far as they can without those of other loops.
    void runDry(boost::asio::io_context& loop) {
        loop.restart();
        while (loop.poll() > 0) {
            settle();
        }
    }

    template <class First, class Second>
    void finish(const std::future<First>& first, boost::asio::io_context& loop,
                const std::future<Second>& second) {
        const auto isReady = [](const auto& future) {
            return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        };
        ASSERT_TRUE(test::eventually([&] {
            io_.restart();
            io_.poll();
            loop.restart();
            loop.poll();
            return isReady(first) && isReady(second);
        }));
    }

  private:
    bool hasRun(const std::string& beginning) {
        const auto beginsSo = [&](const std::string& text) { return text.starts_with(beginning); };
        const std::vector<std::string> statements = recorder_.take();
        return std::any_of(statements.begin(), statements.end(), beginsSo);
    }
};

TEST_F(SteppedQueueManagerTest, BootstrapAndScheduleIfNeededDoNotTouchTheDatabase) {
    recorder_.take();
    run(manager_.bootstrap());
    run(manager_.scheduleIfNeeded());
    EXPECT_THAT(recorder_.take(), IsEmpty());
}

/// An item that has found no mapping is stored as waiting; were it released before it is stored, nobody would
/// release it again.
TEST_F(SteppedQueueManagerTest, AnItemWhoseMappingIsSavedBetweenItsLookupAndItsInsertIsReleased) {
    auto added = start(io_, manager_.enqueue(bug("a"), automatic));
    runUntil("SELECT * FROM app_mappings");
    boost::asio::io_context editor;
    test::runTask(editor, mappings_.upsert({.bundleID = "com.acme.shop", .appName = "Shop"}));
    auto released = start(editor, manager_.releaseWaitingItems("com.acme.shop"));
    runDry(editor);
    finish(added, editor, released);
    EXPECT_EQ(added.get().status, waitingForMapping);
    EXPECT_EQ(status("a"), queued);
}

/// The same for an interrupted session whose mapping had been removed.
TEST_F(SteppedQueueManagerTest, AnInterruptedItemWhoseMappingIsSavedBetweenItsLookupAndItsUpdateIsReleased) {
    const Uuid interrupted = enqueue("a").id;
    setStatus("a", running);
    recorder_.take();
    auto resumable = start(io_, manager_.markResumable(interrupted));
    runUntil("SELECT * FROM app_mappings");
    boost::asio::io_context editor;
    test::runTask(editor, mappings_.upsert({.bundleID = "com.acme.shop", .appName = "Shop"}));
    auto released = start(editor, manager_.releaseWaitingItems("com.acme.shop"));
    runDry(editor);
    finish(resumable, editor, released);
    EXPECT_EQ(status("a"), queued);
}

/// Two reports at once: what the first has read must not overwrite what the second has written.
TEST_F(SteppedQueueManagerTest, AReportThatArrivesWhileTheUserCancelsIsJudgedByWhatTheCancellationLeft) {
    const Uuid item = enqueue("a").id;
    recorder_.take();
    auto cancelledByUser = start(io_, manager_.cancel(item));
    runUntil("SELECT * FROM queue_items WHERE id = ?");
    boost::asio::io_context runner;
    auto failedLate = start(runner, manager_.markFailed(item, "It broke."));
    runDry(runner);
    finish(cancelledByUser, runner, failedLate);
    EXPECT_EQ(status("a"), cancelled);
    EXPECT_THAT(events("a"), ElementsAre(testing::_, event("cancelled", "Cancelled by user.")));
}

}  // namespace
}  // namespace quernlight
