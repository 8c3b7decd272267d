#include <thread>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_server.hpp"
#include "host/process/process_tree.hpp"
#include "host/service/direct_service.hpp"
#include "host/service/service_resource.hpp"
#include "host/service/session_resource.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/host/screen/recordings.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// Listens on a home's socket, from a thread of its own, as the owner of sessions that the test makes up
/// beforehand.
class SocketOwner {
  public:
    explicit SocketOwner(const std::filesystem::path& home, host::EventPublisher& events,
                         host::LiveScreens& screens)
        : service_(std::make_unique<host::HomeAccess>(home),
                   {.progress = [&events] { return events.bugs(); },
                    .agent = [&screens](const std::string& bugID) { return seenAgent(screens, bugID); }}),
          serviceResource_(service_),
          resource_(events, screens) {
        serviceResource_.offerOn(router_);
        resource_.offerOn(router_);
        control_ = std::make_unique<host::ControlServer>(io_.get_executor(), home, router_, clock_);
        thread_ = std::thread([this] { io_.run(); });
    }
    SocketOwner(const SocketOwner&) = delete;
    SocketOwner& operator=(const SocketOwner&) = delete;
    ~SocketOwner() {
        boost::asio::co_spawn(io_, control_->end(), boost::asio::use_future).get();
        thread_.join();
    }

  private:
    boost::asio::io_context io_;
    host::SystemClock clock_;
    host::DirectService service_;
    host::ServiceResource serviceResource_;
    host::SessionResource resource_;
    host::ControlRouter router_;
    std::unique_ptr<host::ControlServer> control_;
    std::thread thread_;
};

/// Bug 11111111 in the queue.
class SessionsCommandTest : public test::DispatchFixture {
  protected:
    SessionsCommandTest() {
        reportClearBug("11111111");
        startBackend();
        runOnce();
    }
    test::Outcome sessions(std::vector<std::string> words) {
        words.insert(words.begin(), "sessions");
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    /// From now on an owner's session works on the bug, and that is on its agent's screen.
    void works(const std::string& bugID, const std::string& recording) {
        events.progress({.bugID = bugID,
                         .appName = "Shop",
                         .title = "Crash on launch",
                         .stage = host::SessionStage::working});
        entry = screens.enter(bugID, [recording] {
            return host::LiveAgent{
                .attemptNumber = 1,
                .pid = 4711,
                .since = *parseInstant("2026-03-01T10:00:00Z"),
                .picture = std::make_shared<const host::ScreenPicture>(host::recordedScreen(recording))};
        });
        owner.emplace(home(), events, screens);
    }

    host::EventPublisher events;
    host::LiveScreens screens;
    host::LiveScreens::Entry entry;
    std::optional<SocketOwner> owner;
};

TEST_F(SessionsCommandTest, ListAsksTheOwnerWhatItsAgentsDo) {
    works("11111111", "trust-0.169.0");
    EXPECT_THAT(sessions({"list"}).output,
                MatchesRegex("11111111  Shop          working               dialog    "
                             "[0-9]+:00:00  Crash on launch\n"));
    const auto listed = boost::json::parse(sessions({"list", "--json"}).output).as_array();
    EXPECT_EQ(listed.at(0).at("agent").at("pid").to_number<int>(), 4711);
}

TEST_F(SessionsCommandTest, ShowPrintsThePictureAndWhatItIsTakenFor) {
    works("11111111", "trust-0.169.0");
    const std::string picture = sessions({"show", "11111111", "--screen"}).output;
    EXPECT_THAT(picture, AllOf(HasSubstr("› 1. "), Not(HasSubstr("trust question"))));
    EXPECT_EQ(sessions({"show", "11111111-0000-4000-8000-000000000000", "--screen", "--explain"}).output,
              picture + "\n" + sessions({"show", "11111111", "--explain"}).output);
    const auto shown =
        boost::json::parse(sessions({"show", "11111111", "--screen", "--json"}).output).as_object();
    EXPECT_EQ(shown.at("dialog").at("kind").as_string(), "trust question");
    EXPECT_TRUE(shown.at("dispatcher_runs").as_bool());
}

TEST_F(SessionsCommandTest, WhatCarriesASessionsMarkIsRefused) {
    works("11111111", "trust-0.169.0");
    const auto mark = host::markOf(randomUuid());
    environment[mark.name] = mark.value;
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"list"}, {"show", "11111111", "--screen"}}) {
        const auto refused = sessions(words);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_EQ(refused.output, "");
        EXPECT_THAT(refused.error, HasSubstr("This is for people only"));
    }
}

TEST_F(SessionsCommandTest, WithoutAnOwnerShowTellsWhatIsStored) {
    EXPECT_EQ(sessions({"show", "11111111"}).output,
              "11111111  Shop          needs mapping         Crash on launch\n"
              "agent:      no dispatcher is running\nattempt:    none yet\n");
}

TEST_F(SessionsCommandTest, WhatOnlyAnOwnerKnowsNeedsOne) {
    const auto refused = sessions({"show", "11111111", "--screen"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_EQ(refused.output, "");
    EXPECT_THAT(refused.error, HasSubstr("No dispatcher is running for " + home().string() + ". "));
}

TEST_F(SessionsCommandTest, WithoutAnOwnerListSaysSo) {
    const auto listed = sessions({"list"});
    EXPECT_EQ(listed.exitCode, 0) << listed.error;
    EXPECT_EQ(listed.output,
              "No session was left without an end, and no dispatcher runs. Start it with: "
              "quernlight-dispatch run\n");
    EXPECT_EQ(sessions({"list", "--json"}).output, "[]\n");
}

TEST_F(SessionsCommandTest, ABugWithoutAnAgentOrThatIsNotThereIsNamed) {
    works("22222222", "idle-0.169.0");
    const auto waiting = sessions({"show", "11111111", "--screen"});
    EXPECT_EQ(waiting.exitCode, 1);
    EXPECT_THAT(waiting.error, HasSubstr("No agent works on bug 11111111 now; see: "));
    const auto unknown = sessions({"show", "99999999", "--screen"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_THAT(unknown.error, HasSubstr("Bug 99999999 is not in the queue; see: "));
    EXPECT_THAT(sessions({"show", "11111111"}).output, HasSubstr("\nagent:      none runs\n"));
}

/// The whole program, with an agent that has its goal and does nothing more.
TEST_F(SessionsCommandTest, TheScreenOfAnAgentThatWorksIsShown) {
    agentDoes("11111111", "idle");
    mapApp();
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("11111111  goalAccepted: ")) << program->output() << program->errorText();
    EXPECT_THAT(sessions({"list"}).output, StartsWith("11111111  Shop          working               "));
    EXPECT_THAT(sessions({"show", "11111111", "--screen"}).output, HasSubstr("›"));
    EXPECT_THAT(sessions({"show", "11111111", "--explain"}).output, HasSubstr("\ncomposer: "));
    const std::string status = sessions({"show", "11111111"}).output;
    EXPECT_THAT(status, HasSubstr("\nprocess:    " + std::to_string(agent("11111111")) + "\n"));
    EXPECT_THAT(
        status,
        HasSubstr("\nworktree:   " + repository.scratch("shop-worktrees/Shop-11111111").string() + "\n"));
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
    EXPECT_THAT(sessions({"show", "11111111"}).output,
                AllOf(HasSubstr("agent:      no dispatcher is running\n"), HasSubstr("attempt:    1 (")));
}

/// Whose command looks at the others before it begins, without its environment.
TEST_F(SessionsCommandTest, AnAgentSeesNoSessionsAndItsHistoryTellsThatItTried) {
    const auto script = repository.scratch("curious");
    test::writeFile(script, "#!/bin/sh\nenv -i " + executable.string() + " sessions list --home " +
                                home().string() + " >\"$0.seen\" 2>&1\nexec codex \"$@\"\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    dispatch({"config", "set", "agent.command", script, "--home", home()});
    mapApp();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_THAT(test::readFile(script.string() + ".seen"), HasSubstr("This is for people only"));
    EXPECT_THAT(history("11111111"), HasSubstr(" toolRefused "));
}

}  // namespace
}  // namespace quernlight
