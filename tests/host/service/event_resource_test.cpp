#include "host/service/event_resource.hpp"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "host/control/control_server.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using quernlight::test::runTask;
using testing::ElementsAre;

/// An owner of which six events are known at most.
class EventResourceTest : public testing::Test {
  protected:
    EventResourceTest() { resource.offerOn(router); }
    ~EventResourceTest() override { stop(); }

    void serve(ControlLimits limits = {}) {
        server = std::make_unique<ControlServer>(io.get_executor(), home.path(), router, clock, limits);
    }
    void stop() {
        if (server) {
            runTask(io, server->end());
            server.reset();
        }
    }
    std::unique_ptr<ControlChannel> follow(const std::string& query = "") {
        return runTask(io, openChannel(home.path(), "/v1/events" + query));
    }
    std::unique_ptr<ControlChannel> followAfter(std::uint64_t number) {
        return follow("?after=" + std::to_string(number));
    }
    json::object nextOf(ControlChannel& channel) {
        const auto frame = runTask(io, channel.receive());
        return frame ? json::parse(frame->bytes).as_object() : json::object{{"type", "closed"}};
    }
    /// The sentence of what is told next, or its type.
    std::string toldBy(ControlChannel& channel) {
        const json::object told = nextOf(channel);
        return json::value_to<std::string>(told.contains("sentence") ? told.at("sentence") : told.at("type"));
    }
    json::object listed(const std::string& query) {
        ControlRequest request{.target = "/v1/events" + query, .caller = {.isPerson = true}};
        return json::parse(runTask(io, router.respond(std::move(request))).body).as_object();
    }
    std::uint64_t last() { return listed("").at("last").to_number<std::uint64_t>(); }

    quernlight::test::TemporaryDirectory home;
    boost::asio::io_context io;
    SystemClock clock;
    EventPublisher events;
    EventResource resource{events, clock, {.events = 6}};
    ControlRouter router;
    std::unique_ptr<ControlServer> server;
};

TEST_F(EventResourceTest, WhoKnowsNothingIsToldSoAndThenAllThatHappens) {
    serve();
    events.notice("Before");
    const auto channel = follow();
    EXPECT_EQ(toldBy(*channel), "reset");
    events.notice("One");
    events.notice("Two");
    EXPECT_EQ(toldBy(*channel), "One");
    EXPECT_EQ(toldBy(*channel), "Two");
}

TEST_F(EventResourceTest, WhoComesBackIsToldWhatWasMissed) {
    serve();
    auto channel = follow();
    nextOf(*channel);
    events.notice("One");
    const auto known = nextOf(*channel).at("number").to_number<std::uint64_t>();
    channel.reset();
    events.notice("Two");
    channel = followAfter(known);
    EXPECT_EQ(toldBy(*channel), "Two");
    events.notice("Three");
    EXPECT_EQ(toldBy(*channel), "Three");
}

TEST_F(EventResourceTest, WhoHasMissedTooMuchIsToldToReadAnew) {
    serve();
    const std::uint64_t first = last();
    for (int count = 0; count < 7; ++count) {
        events.notice("Event " + std::to_string(count));
    }
    for (const std::uint64_t number : {first, std::uint64_t{0}, last() + 1}) {
        const auto channel = followAfter(number);
        const json::object told = nextOf(*channel);
        EXPECT_EQ(told.at("type").as_string(), "reset") << number;
        EXPECT_EQ(told.at("number").to_number<std::uint64_t>(), last());
    }
    EXPECT_THROW(follow("?after=nonsense"), UserError);
    EXPECT_EQ(toldBy(*followAfter(first + 1)), "Event 1");
}

TEST_F(EventResourceTest, WhoDoesNotReadHoldsUpNobodyAndIsDropped) {
    serve({.channels = 2, .channelSilence = std::chrono::seconds(2)});
    const auto stuck = follow();
    const auto reading = follow();
    EXPECT_EQ(toldBy(*reading), "reset");
    const std::string large(std::size_t{1} << 20U, 'x');
    for (int count = 0; count < 20; ++count) {
        events.notice(large);
        EXPECT_EQ(toldBy(*reading).size(), large.size());
    }
    std::unique_ptr<ControlChannel> inItsPlace;
    EXPECT_TRUE(quernlight::test::eventually([&] {
        events.notice("On and on");
        EXPECT_EQ(toldBy(*reading), "On and on");
        try {
            inItsPlace = follow();
        } catch (const UserError&) {  // two are connected already
        }
        return inItsPlace != nullptr;
    }));
    ASSERT_TRUE(inItsPlace);
    EXPECT_EQ(toldBy(*inItsPlace), "reset");
}

TEST_F(EventResourceTest, WithoutAWebSocketWhatHasHappenedIsListed) {
    const std::uint64_t first = last();
    for (const char* sentence : {"One", "Two", "Three"}) {
        events.notice(sentence);
    }
    const auto sentences = [](const json::object& list) {
        std::vector<std::string> all;
        for (const json::value& item : list.at("items").as_array()) {
            all.push_back(json::value_to<std::string>(item.at("sentence")));
        }
        return all;
    };
    const json::object page = listed("?limit=2&after=" + std::to_string(first));
    EXPECT_THAT(sentences(page), ElementsAre("One", "Two"));
    EXPECT_FALSE(page.at("reset").as_bool());
    EXPECT_EQ(page.at("last").to_number<std::uint64_t>(), first + 2);
    EXPECT_THAT(sentences(listed("?after=" + std::to_string(first + 2))), ElementsAre("Three"));
    EXPECT_TRUE(listed("?after=7").at("reset").as_bool());
    EXPECT_THAT(sentences(listed("?after=7")), ElementsAre());
}

TEST_F(EventResourceTest, AnAgentsProcessIsToldNothing) {
    ControlRequest request{.target = "/v1/events"};
    EXPECT_EQ(runTask(io, router.respond(std::move(request))).status, 403U);
}

TEST_F(EventResourceTest, AnOwnerThatEndsClosesWhatFollowsIt) {
    serve();
    const auto channel = follow();
    EXPECT_EQ(toldBy(*channel), "reset");
    stop();
    EXPECT_EQ(toldBy(*channel), "closed");
}

}  // namespace
}  // namespace quernlight::host
