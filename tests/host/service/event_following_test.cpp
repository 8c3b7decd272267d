#include "host/service/event_following.hpp"

#include <algorithm>
#include <array>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_server.hpp"
#include "host/service/event_resource.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::runTask;
using testing::ElementsAre;

TEST(PauseBeforeFollowingTest, GrowsUpToTwoSeconds) {
    std::vector<std::int64_t> pauses;
    for (const int failures : {0, 1, 2, 3, 4, 1000}) {
        pauses.push_back(pauseBeforeFollowing(failures).count());
    }
    EXPECT_THAT(pauses, ElementsAre(250, 500, 1000, 2000, 2000, 2000));
}

/// An owner whose events are followed; its sentences are written down, and "look" for each word to look anew.
class EventFollowingTest : public testing::Test {
  protected:
    ~EventFollowingTest() override { stop(); }

    void serve() { server = std::make_unique<ControlServer>(io.get_executor(), home.path(), *router, clock); }
    void stop() {
        if (server) {
            runTask(io, server->end());
            server.reset();
        }
    }
    /// Another owner, which knows nothing of the events before.
    void begin() {
        stop();
        router.emplace();
        resource.emplace(events, clock);
        resource->offerOn(*router);
        serve();
    }
    void follow() {
        subscription = followEvents(
            io.get_executor(), home.path(),
            {.happened = [this](const auto& event) { note(event); }, .lookAnew = [this] { note("look"); }});
    }
    void note(const DispatchEvent& event) {
        const auto* notice = std::get_if<Notice>(&event);
        note(notice ? notice->sentence : "another event");
    }
    void note(const std::string& what) {
        told.push_back(what);
        news.notify();
    }
    /// What is told next, up to this.
    std::vector<std::string> toldUpTo(const std::string& last) {
        while (std::ranges::find(told, last) == told.end()) {
            runTask(io, news.wait());
        }
        const auto end = std::next(std::ranges::find(told, last));
        std::vector<std::string> taken(told.begin(), end);
        told.erase(told.begin(), end);
        return taken;
    }

    quernlight::test::TemporaryDirectory home;
    boost::asio::io_context io;
    SystemClock clock;
    EventPublisher events;
    std::optional<EventResource> resource;
    std::optional<ControlRouter> router;
    std::unique_ptr<ControlServer> server;
    AsyncSignal news;
    std::vector<std::string> told;
    EventSubscription subscription;
};

TEST_F(EventFollowingTest, WhoFollowsLooksFirstAndIsThenToldEachEvent) {
    begin();
    events.notice("Before");
    follow();
    EXPECT_THAT(toldUpTo("look"), ElementsAre("look"));
    events.notice("One");
    events.notice("Two");
    EXPECT_THAT(toldUpTo("Two"), ElementsAre("One", "Two"));
}

TEST_F(EventFollowingTest, ALostConnectionIsMadeAgainAndGoesOnBehindTheLastEvent) {
    begin();
    follow();
    toldUpTo("look");
    events.notice("One");
    toldUpTo("One");
    stop();
    toldUpTo("look");
    events.notice("Two");
    told.clear();
    serve();
    EXPECT_EQ(toldUpTo("Two").back(), "Two");
    events.notice("Three");
    EXPECT_THAT(toldUpTo("Three"), ElementsAre("Three"));
}

TEST_F(EventFollowingTest, AnotherOwnersEventsAreToldOnceAllWasLookedAtAnew) {
    begin();
    follow();
    toldUpTo("look");
    events.notice("One");
    toldUpTo("One");
    begin();
    std::vector<std::string> since;
    while (std::ranges::find(since, "Two") == since.end()) {  // until the other one is followed
        events.notice("Two");
        runTask(io, news.wait());
        since = std::exchange(told, {});
        EXPECT_EQ(std::ranges::count(since, "One"), 0);
    }
}

TEST_F(EventFollowingTest, WithoutAnOwnerItIsToBeLookedAtAgainAndAgain) {
    follow();
    for (int count = 0; count < 3; ++count) {
        EXPECT_THAT(toldUpTo("look"), ElementsAre("look"));
    }
}

constexpr std::array strangeTexts{R"({"number":7,"type":"of tomorrow"})",
                                  R"({"number":8,"type":"notice","sentence":"Known"})", "no JSON"};

TEST_F(EventFollowingTest, WhatIsNotKnownHereIsLookedAtAnew) {
    router.emplace();
    router->add("GET", "/v1/events", Audience::people, [](const ControlRequest&) -> Task<ControlResponse> {
        ControlResponse response;
        response.takeOver = [](ControlChannel& channel) -> Task<void> {
            for (const char* text : strangeTexts) {
                ControlFrame frame{.bytes = text};
                co_await channel.send(std::move(frame));
            }
            co_await channel.receive();
        };
        co_return response;
    });
    serve();
    follow();
    EXPECT_THAT(toldUpTo("Known"), ElementsAre("look", "Known"));
    EXPECT_THAT(toldUpTo("look"), ElementsAre("look"));
}

TEST_F(EventFollowingTest, WhoHasLeftIsToldNothingMore) {
    begin();
    follow();
    toldUpTo("look");
    events.notice("On its way");
    subscription.reset();
    AsyncSignal other;
    const auto still =
        followEvents(io.get_executor(), home.path(), {.lookAnew = [other] { other.notify(); }});
    runTask(io, other.wait());
    EXPECT_THAT(told, testing::IsEmpty());
}

}  // namespace
}  // namespace quernlight::host
