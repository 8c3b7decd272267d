#include "host/service/session_resource.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/screen/session_screen.hpp"
#include "tests/host/screen/recordings.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using quernlight::test::runTask;
using testing::AllOf;
using testing::Gt;
using testing::HasSubstr;
using testing::Lt;
using testing::StartsWith;

/// Bug 3f2a9c1d is worked on by an agent whose terminal is fed by the test; 77777777 is queued.
class SessionResourceTest : public testing::Test {
  protected:
    SessionResourceTest() {
        resource.offerOn(router);
        now("3f2a9c1d", SessionStage::working);
        now("77777777", SessionStage::queued);
        boost::asio::co_spawn(io, screen.run(),
                              boost::asio::bind_cancellation_slot(stop.slot(), [](std::exception_ptr) {}));
    }
    ~SessionResourceTest() override {
        stop.emit(boost::asio::cancellation_type::terminal);
        io.restart();
        io.run();
    }
    void now(const std::string& bugID, SessionStage stage) {
        events.progress({.bugID = bugID, .appName = "Shop", .title = "Crash", .stage = stage});
    }
    /// The agent has written that, and all of it is on the screen.
    void writes(const std::string& bytes) {
        screen.feed(bytes);
        const auto deadline = std::chrono::steady_clock::now() + quernlight::test::generousBound;
        io.restart();
        while (screen.picture()->bytes < screen.fedBytes() && std::chrono::steady_clock::now() < deadline) {
            io.run_one_until(deadline);
        }
    }
    ControlResponse get(const std::string& target) {
        ControlRequest request{.target = target, .caller = {.isPerson = true}};
        return runTask(io, router.respond(std::move(request)));
    }
    json::value got(const std::string& target) {
        const ControlResponse response = get(target);
        EXPECT_EQ(response.status, 200U) << response.body;
        return json::parse(response.body);
    }
    json::object shown() { return got("/v1/sessions/3f2a9c1d/screen").as_object(); }

    boost::asio::io_context io;
    boost::asio::cancellation_signal stop;
    BackgroundExecutor drawing;
    SessionScreen screen{drawing, {.columns = 100, .rows = 30}, {}};
    std::optional<std::int32_t> pid = 4711;
    EventPublisher events;
    LiveScreens screens;
    SessionResource resource{events, screens};
    ControlRouter router;
    LiveScreens::Entry entry = screens.enter("3f2a9c1d", [this] {
        return LiveAgent{.attemptNumber = 2,
                         .pid = pid,
                         .since = *parseInstant("2026-03-01T10:00:00Z"),
                         .picture = screen.picture()};
    });
};

TEST_F(SessionResourceTest, ShowsASessionWithWhatItsAgentDoes) {
    writes(recording("idle-0.169.0"));
    EXPECT_THAT(json::serialize(shown()),
                StartsWith(R"({"bug":"3f2a9c1d","app":"Shop","title":"Crash","stage":"working",)"
                           R"("stage_text":"working","detail":"",)"
                           R"("agent":{"attempt":2,"pid":4711,"since":"2026-03-01T10:00:00.000Z",)"
                           R"("state":"idle","rule":"composer","reason":"row )"));
}

TEST_F(SessionResourceTest, AnAgentThatHasExitedIsNotShownAsReady) {
    writes(recording("idle-0.169.0"));
    pid.reset();
    const json::object agent = shown().at("agent").as_object();
    EXPECT_EQ(agent.at("state").as_string(), "exited");
    EXPECT_TRUE(agent.at("pid").is_null());
}

struct PictureRow {
    const char* recording;
    const char* member;
    const char* json;  // how its JSON begins
};

class ShownPictureTest : public SessionResourceTest, public testing::WithParamInterface<PictureRow> {};

TEST_P(ShownPictureTest, TellsWhatIsUnderstoodOfIt) {
    writes(recording(GetParam().recording));
    EXPECT_THAT(json::serialize(shown().at(GetParam().member)), StartsWith(GetParam().json));
}

INSTANTIATE_TEST_SUITE_P(
    Table, ShownPictureTest,
    testing::Values(PictureRow{"idle-0.169.0", "composer", R"("")"},
                    PictureRow{"idle-0.169.0", "dialog", "null"},
                    PictureRow{"idle-0.169.0", "usage_limit", "null"},
                    PictureRow{"idle-0.169.0", "notice", "null"},
                    PictureRow{"idle-0.169.0", "rules", R"(["options: no",)"},
                    PictureRow{"idle-0.169.0", "screen", R"({"columns":100,"rows":30,"cursor":{"row":)"},
                    PictureRow{"exit-typed-0.169.0", "composer", R"("/exit")"},
                    PictureRow{"trust-0.169.0", "composer", "null"},
                    PictureRow{"trust-0.169.0", "dialog", R"({"kind":"trust question","question":")"},
                    PictureRow{"trust-0.169.0", "rules", R"(["options: trust question)"},
                    PictureRow{"usage-limit-0.169.0", "usage_limit", R"(")"}),
    [](const auto& row) { return testName(row.param.recording) + "_" + row.param.member; });

TEST_F(SessionResourceTest, AHugeScreenIsBounded) {
    std::string line;
    for (int column = 0; column < 1000; ++column) {
        line += "a\u0301\u0302";
    }
    screen.resize({.columns = 1000, .rows = 3000});
    writes(line);
    const json::array lines = shown().at("screen").at("lines").as_array();
    EXPECT_EQ(lines.size(), 500U);
    EXPECT_THAT(lines.at(0).as_string().size(), AllOf(Gt(4000U), Lt(4200U)));
}

TEST_F(SessionResourceTest, ABugIsFoundByAnyFormOfItsId) {
    EXPECT_EQ(get("/v1/sessions/3F2A9C1D-0000-4000-8000-000000000000/screen").status, 200U);
}

TEST_F(SessionResourceTest, WithoutAnAgentThereIsNoScreen) {
    EXPECT_EQ(get("/v1/sessions/77777777/screen").status, 404U);
    EXPECT_THAT(get("/v1/sessions/77777777/screen").body,
                HasSubstr("No agent works on bug 77777777 now; it is: queued."));
    EXPECT_THAT(get("/v1/sessions/5a5a5a5a/screen").body,
                HasSubstr("No agent works on bug 5a5a5a5a now; see: "));
    entry.reset();
    EXPECT_EQ(get("/v1/sessions/3f2a9c1d/screen").status, 404U);
}

}  // namespace
}  // namespace quernlight::host
