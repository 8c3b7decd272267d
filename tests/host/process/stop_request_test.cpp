#include "host/process/stop_request.hpp"

#include <boost/asio/error.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::hours;

Task<int> answerAfter(Clock& clock, std::chrono::nanoseconds time) {
    co_await clock.sleepFor(time);
    co_return 7;
}

class StopRequestTest : public testing::Test {
  protected:
    /// Whether the work, which takes an hour, is cancelled when the wish rises meanwhile.
    bool isCancelled(StopLevel awaited, StopLevel raised) {
        auto result = boost::asio::co_spawn(io, stop.unlessRaised(awaited, answerAfter(clock, hours(1))),
                                            boost::asio::use_future);
        clock.advance(hours(0));
        stop.raise(raised);
        clock.advance(hours(1));
        try {
            return result.get() != 7;
        } catch (const boost::system::system_error& error) {
            return error.code() == boost::asio::error::operation_aborted;
        }
    }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    StopRequest stop;
};

TEST_F(StopRequestTest, OnlyRises) {
    EXPECT_FALSE(stop.isStopping());
    stop.raise(StopLevel::kill);
    stop.raise(StopLevel::stop);
    EXPECT_EQ(stop.level(), StopLevel::kill);
    EXPECT_TRUE(stop.isStopping() && stop.isKilling());
}

TEST_F(StopRequestTest, WorkIsCancelledByTheLevelItIsToEndAt) {
    EXPECT_TRUE(isCancelled(StopLevel::stop, StopLevel::stop));
}

TEST_F(StopRequestTest, AKillCancelsWhatAStopWouldHave) {
    EXPECT_TRUE(isCancelled(StopLevel::stop, StopLevel::kill));
}

TEST_F(StopRequestTest, WorkThatOnlyAKillEndsGoesOnAfterAStop) {
    EXPECT_FALSE(isCancelled(StopLevel::kill, StopLevel::stop));
}

TEST_F(StopRequestTest, WorkIsNotBegunOnceTheLevelIsReached) {
    stop.raise(StopLevel::stop);
    bool hasBegun = false;
    const auto work = [](bool& begun) -> Task<void> {
        begun = true;
        co_return;
    };
    EXPECT_THROW(quernlight::test::runTask(io, stop.unlessRaised(StopLevel::stop, work(hasBegun))),
                 boost::system::system_error);
    EXPECT_FALSE(hasBegun);
}

TEST_F(StopRequestTest, EveryListenerHearsOfEachRiseUntilItLeaves) {
    int heard = 0;
    const auto stays = stop.onRise([&] { ++heard; });
    {
        const auto leaves = stop.onRise([&] { heard += 10; });
        stop.raise(StopLevel::stop);
        stop.raise(StopLevel::stop);
    }
    stop.raise(StopLevel::kill);
    EXPECT_EQ(heard, 12);
}

}  // namespace
}  // namespace quernlight::host
