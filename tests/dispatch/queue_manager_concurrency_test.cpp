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

namespace quernlight {
namespace {

using testing::ElementsAre;
using enum QueueItemStatus;

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

}  // namespace
}  // namespace quernlight
