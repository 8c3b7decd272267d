#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"
#include "tests/support/run_task.hpp"

// Operations that meet halfway.

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using enum QueueItemStatus;

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
    void settle() { test::runTask(database_->query(settled)); }

    /// The statement by which the test itself waits.
    static constexpr const char* settled = "SELECT 1";

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

/// An operation on an item, its result left out.
struct Operation {
    const char* name;
    std::function<Task<void>(QueueManager&, Uuid)> run;
};

void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

Task<void> enqueueShopsBug(QueueManager& manager) {
    QLBugSummaryDTO summary;
    summary.id = "new";
    summary.bundleID = "com.acme.shop";
    return withoutResult(manager.enqueue(std::move(summary), automatic));
}

std::vector<Operation> operations() {
    using M = QueueManager&;
    const Uuid given = *parseUuid("5E550000-0000-0000-0000-00000000000a");
    return {
        {"enqueue", [](M m, Uuid) { return enqueueShopsBug(m); }},
        {"reorder", [](M m, Uuid id) { return m.reorder(id, std::nullopt); }},
        {"queueNext", [](M m, Uuid id) { return m.queueNext(id); }},
        {"cancel", [](M m, Uuid id) { return m.cancel(id); }},
        {"remove", [](M m, Uuid id) { return withoutResult(m.remove(id)); }},
        {"removeImplementedReviewItem",
         [](M m, Uuid) { return withoutResult(m.removeImplementedReviewItem("bug")); }},
        {"retry", [](M m, Uuid id) { return withoutResult(m.retry(id, QueueItemGoalFlow::fixBug)); }},
        {"move", [](M m, Uuid id) { return withoutResult(m.move(id, manual)); }},
        {"releaseWaitingItems", [](M m, Uuid) { return m.releaseWaitingItems("com.acme.shop"); }},
        {"markStarting", [given](M m, Uuid id) { return m.markStarting(id, given); }},
        {"markRunning", [given](M m, Uuid id) { return m.markRunning(id, given); }},
        {"markCodexCompleted", [given](M m, Uuid id) { return m.markCodexCompleted(id, given); }},
        {"markCompleted", [given](M m, Uuid id) { return m.markCompleted(id, given); }},
        {"markAwaitingUserInput", [given](M m, Uuid id) { return m.markAwaitingUserInput(id, given); }},
        {"markFailed", [](M m, Uuid id) { return m.markFailed(id, "It broke."); }},
        {"markResumable", [](M m, Uuid id) { return m.markResumable(id); }},
        {"setCodexSession", [given](M m, Uuid id) { return m.setCodexSession(id, given, false); }},
    };
}

class EveryOperationTest : public SteppedQueueManagerTest, public testing::WithParamInterface<Operation> {};

TEST_P(EveryOperationTest, TouchesNothingBeforeTheOneInFrontOfItHasEnded) {
    enqueueAll({"held", "bug"});
    const Uuid held = id("held");
    const Uuid item = id("bug");
    recorder_.take();
    auto first = start(io_, manager_.cancel(held));
    runUntil("SELECT * FROM queue_items WHERE id = ?");
    boost::asio::io_context loop;
    auto second = start(loop, GetParam().run(manager_, item));
    runDry(loop);
    EXPECT_THAT(recorder_.take(), testing::Each(settled));
    finish(first, loop, second);
    second.get();
    EXPECT_EQ(status("held"), cancelled);
}

INSTANTIATE_TEST_SUITE_P(Table, EveryOperationTest, testing::ValuesIn(operations()),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace quernlight
