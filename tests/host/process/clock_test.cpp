#include "host/process/clock.hpp"

#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/task.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;

class ClockTest : public testing::Test {
  protected:
    Task<void> noteAfter(seconds time) {
        co_await clock.sleepFor(time);
        woken.push_back(static_cast<int>(time.count()));
    }
    Task<void> noteTwice(seconds time) {
        co_await noteAfter(time);
        co_await noteAfter(time);
    }
    Task<void> waitUntil(AsyncSignal signal, seconds time) {
        co_await clock.waitUntil(std::move(signal), clock.steadyNow() + time);
        woken.push_back(0);
    }
    void begin(Task<void> work) { spawnLogged(io.get_executor(), "sleeping", std::move(work)); }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    std::vector<int> woken;
};

TEST_F(ClockTest, AStepWakesWhoIsDueInTheOrderOfTheirMoments) {
    begin(noteAfter(seconds(5)));
    begin(noteTwice(seconds(2)));
    begin(noteAfter(seconds(9)));
    clock.advance(seconds(8));
    EXPECT_THAT(woken, ElementsAre(2, 2, 5));
    EXPECT_EQ(clock.sleepers(), 1U);
}

TEST_F(ClockTest, AWaitForASignalEndsWithItsNotification) {
    const AsyncSignal signal;
    begin(waitUntil(signal, seconds(60)));
    clock.advance(seconds(59));
    EXPECT_THAT(woken, ElementsAre());
    signal.notify();
    clock.advance(seconds(0));
    EXPECT_THAT(woken, ElementsAre(0));
    EXPECT_EQ(clock.sleepers(), 0U);
}

TEST_F(ClockTest, AWaitForASignalEndsAtItsDeadline) {
    begin(waitUntil(AsyncSignal(), seconds(60)));
    clock.advance(seconds(60));
    EXPECT_THAT(woken, ElementsAre(0));
}

TEST(SystemClockTest, AContextThatGoesTakesAWaitWithIt) {
    SystemClock clock;
    bool isGone = false;
    {
        boost::asio::io_context io;
        const auto wait = [](Clock& time, bool& gone) -> Task<void> {
            const std::shared_ptr<void> atEnd(nullptr, [&gone](void*) { gone = true; });
            co_await time.waitUntil(AsyncSignal(), time.steadyNow() + std::chrono::hours(1));
        };
        spawnLogged(io.get_executor(), "waiting", wait(clock, isGone));
        io.poll();
    }
    EXPECT_TRUE(isGone);
}

TEST(SystemClockTest, AMomentThatHasPassedIsNotAwaited) {
    SystemClock clock;
    quernlight::test::runTask(clock.sleepUntil(clock.steadyNow() - seconds(1)));
    quernlight::test::runTask(clock.waitUntil(AsyncSignal(), clock.steadyNow()));
}

}  // namespace
}  // namespace quernlight::host
