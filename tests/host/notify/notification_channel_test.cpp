#include "host/notify/notification_channel.hpp"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/published_events.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A channel whose deliveries take a second each, and fail when the line says so.
class NotificationChannelTest : public testing::Test {
  protected:
    Task<void> deliver(std::string line) {
        ++begun;
        most = std::max(most, begun - ended);
        co_await clock.sleepFor(line == "never" ? std::chrono::hours(1) : std::chrono::seconds(1));
        ++ended;
        if (line == "bad") {
            throw std::runtime_error("It broke.");
        }
    }
    void add(const std::string& line, std::size_t count = 1) {
        for (std::size_t index = 0; index < count; ++index) {
            channel.add(line);
        }
        clock.advance(std::chrono::seconds(0));
    }

    std::size_t begun = 0;
    std::size_t ended = 0;
    std::size_t most = 0;  // at the same time
    boost::asio::io_context io;
    quernlight::host::test::SteppedClock clock{io};
    EventPublisher events;
    quernlight::test::PublishedEvents published{events};
    NotificationChannel channel{io.get_executor(), "notify.command",
                                [this](std::string line) { return deliver(std::move(line)); }, events, clock};
};

TEST_F(NotificationChannelTest, FourAreDeliveredAtOnceAndTheOthersAfterThem) {
    add("good", 10);
    EXPECT_EQ(begun, 4U);
    clock.advance(std::chrono::seconds(3));
    EXPECT_EQ(ended, 10U);
    EXPECT_EQ(most, 4U);
    EXPECT_THAT(published.notices, IsEmpty());
}

TEST_F(NotificationChannelTest, WhatFindsNoRoomIsCountedOnceTheOthersAreDelivered) {
    add("good", 4);
    add("good", NotificationChannel::mostWaiting + 3);
    EXPECT_THAT(published.notices, IsEmpty());
    clock.advance(std::chrono::minutes(1));
    EXPECT_EQ(ended, 4 + NotificationChannel::mostWaiting);
    EXPECT_THAT(published.notices,
                ElementsAre("3 notifications were left out (setting notify.command), since "
                            "delivering them took too long."));
}

TEST_F(NotificationChannelTest, AFailureIsToldOnceUntilOneIsDelivered) {
    const auto told = HasSubstr("not delivered (setting notify.command): It broke.");
    add("bad", 3);
    clock.advance(std::chrono::seconds(1));
    EXPECT_THAT(published.notices, ElementsAre(told));
    add("good");
    clock.advance(std::chrono::seconds(1));
    add("bad");
    clock.advance(std::chrono::seconds(1));
    EXPECT_THAT(published.notices, ElementsAre(told, told));
}

TEST_F(NotificationChannelTest, OneThatTakesTooLongIsEndedAndTheNextIsDelivered) {
    add("never", 4);
    add("good");
    clock.advance(NotificationChannel::timeLimit + std::chrono::seconds(1));
    EXPECT_EQ(ended, 1U);
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("It did not end within 10 s.")));
}

TEST_F(NotificationChannelTest, AtTheEndWhatIsUnderWayOrWaitsIsDroppedAndCounted) {
    add("never", 5);
    quernlight::test::runTask(io, channel.end());
    EXPECT_EQ(begun, 4U);
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("5 notifications were left out")));
}

}  // namespace
}  // namespace quernlight::host
