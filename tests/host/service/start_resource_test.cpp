#include "host/service/start_resource.hpp"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::runTask;
using std::chrono::seconds;
using testing::HasSubstr;

class StartResourceTest : public testing::Test {
  protected:
    StartResourceTest() { resource().offerOn(router); }

    StartResource& resource(bool triesAgain = true) {
        made.push_back(std::make_unique<StartResource>(
            StartResource::Uses{.pauses = pauses,
                                .clock = clock,
                                .triesAgain = triesAgain,
                                .lookNow = [this] { ++looks; },
                                .remember = [this](Instant at) { return remember(at); }}));
        return *made.back();
    }
    Task<void> remember(Instant at) {
        remembered = at;
        co_return;
    }
    static ControlResponse unpause(boost::asio::io_context& io, const ControlRouter& router,
                                   bool isPerson = true) {
        ControlRequest request{
            .method = "POST", .target = "/v1/starts/unpause", .caller = {.isPerson = isPerson}};
        return runTask(io, router.respond(std::move(request)));
    }
    std::string told() { return endedPausesText(boost::json::parse(unpause(io, router).body).as_object()); }
    void fails(std::optional<std::string> repository, seconds lasts) {
        pauses.failed({.repository = std::move(repository), .cause = "Why.", .lasts = lasts},
                      clock.steadyNow());
    }

    boost::asio::io_context io;
    SystemClock clock;
    StartPauses pauses{[](const std::string&, const std::string&) {}};
    int looks = 0;
    std::optional<Instant> remembered;
    ControlRouter router;
    std::vector<std::unique_ptr<StartResource>> made;
};

TEST_F(StartResourceTest, EndsEachPauseMakesTheLoopLookAndTellsWhatWasInForce) {
    EXPECT_EQ(told(), "No pause of starts was in force.\n");
    fails(std::nullopt, seconds(100000));
    fails("/shop", seconds(600));
    EXPECT_EQ(told(),
              "Starts are tried again now: it had paused for another 28 h because: Why.\n"
              "Starts in /shop are tried again now: it had paused for another 10 min because: Why.\n");
    EXPECT_FALSE(pauses.pauseOf("/shop", clock.steadyNow()));
    EXPECT_EQ(looks, 2);
    EXPECT_TRUE(remembered);
}

TEST_F(StartResourceTest, AnAgentMayNot) {
    fails(std::nullopt, seconds(600));
    EXPECT_EQ(unpause(io, router, false).status, 403U);
    EXPECT_TRUE(pauses.pauseOf("/shop", clock.steadyNow()));
}

TEST_F(StartResourceTest, ARunThatTriesNothingTwiceSaysSo) {
    ControlRouter once;
    resource(false).offerOn(once);
    EXPECT_THAT(unpause(io, once).body, HasSubstr("A run with --once tries nothing twice"));
}

}  // namespace
}  // namespace quernlight::host
