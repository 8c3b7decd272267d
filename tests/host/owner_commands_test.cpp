#include <csignal>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

/// What a person does while the dispatcher runs. Its agent works on bug 3f2a9c1d for ever.
class OwnerCommandsTest : public test::DispatchFixture {
  protected:
    OwnerCommandsTest() {
        reportClearBug("3f2a9c1d");
        agentDoes("3f2a9c1d", "idle");
    }
    /// Until the agent has its goal and its conversation is known.
    void work() {
        mapApp();
        startBackend();
        owner = start(runWith());
        ASSERT_TRUE(owner->says("3f2a9c1d  codexSessionStored: ") && owner->says("3f2a9c1d  goalAccepted: "))
            << owner->output();
    }
    test::Outcome command(std::vector<std::string> words) {
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    bool comesTo(const std::string& bugID, const std::string& wanted) {
        return eventually([&] { return status(bugID) == wanted; });
    }
    boost::json::object shown(const std::string& bugID) {
        return boost::json::parse(command({"queue", "show", bugID, "--json"}).output).as_object();
    }

    std::unique_ptr<test::DispatchProcess> owner;
};

TEST_F(OwnerCommandsTest, CancellingABugThatIsWorkedOnStopsItsAgent) {
    work();
    const pid_t worker = agent("3f2a9c1d");
    const auto outcome = command({"queue", "cancel", "3f2a"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.output, EndsWith(": cancelled; its agent is being stopped\n"));
    EXPECT_TRUE(owner->says("3f2a9c1d  agentExited: ")) << owner->output();
    EXPECT_TRUE(eventually([&] { return kill(worker, 0) != 0; }));
    EXPECT_EQ(status("3f2a9c1d"), "cancelled");
    EXPECT_TRUE(eventually([&] { return attempt("3f2a9c1d", "state") == "failed"; }));
    EXPECT_THAT(command({"queue", "list"}).output, HasSubstr("1 cancelled; see: "));
    EXPECT_THAT(command({"queue", "remove", "3f2a9c1d"}).error, HasSubstr("add --yes to have it removed"));
    EXPECT_EQ(command({"queue", "remove", "3f2a9c1d", "--yes"}).exitCode, 0);
    EXPECT_THAT(command({"queue", "show", "3f2a9c1d"}).error, HasSubstr("is not in the queue"));
}

TEST_F(OwnerCommandsTest, ASessionThatIsStoppedIsHeldAndGoesOnInItsConversation) {
    work();
    EXPECT_THAT(command({"sessions", "stop", "3f2a9c1d"}).output, HasSubstr("its agent is being stopped"));
    EXPECT_TRUE(owner->says("3f2a9c1d  sessionStopped: ")) << owner->output();
    EXPECT_TRUE(eventually([&] { return attempt("3f2a9c1d", "state") == "failed"; }));
    EXPECT_EQ(item("3f2a9c1d", "queue_mode"), "manual");
    EXPECT_THAT(command({"queue", "list"}).output, HasSubstr("needs start"));
    const std::string conversation = item("3f2a9c1d", "codex_session_id");
    agentDoesAsToldAgain();
    EXPECT_EQ(command({"sessions", "resume", "3f2a9c1d"}).exitCode, 0);
    EXPECT_EQ(item("3f2a9c1d", "queue_mode"), "auto");
    EXPECT_TRUE(comesTo("3f2a9c1d", "completed")) << owner->output();
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "2");
    EXPECT_EQ(attempt("3f2a9c1d", "codex_session_id"), conversation);
}

/// Its agent does not go when it is asked to, and the dispatcher is killed meanwhile.
TEST_F(OwnerCommandsTest, AStoppedSessionIsHeldThoughItsOwnerIsKilledBeforeItsAgentHasEnded) {
    agentDoes("3f2a9c1d", "ignore-exit");
    work();
    EXPECT_EQ(command({"sessions", "stop", "3f2a9c1d"}).exitCode, 0);
    owner->signal(SIGKILL);
    owner->exitCode();
    agentDoesAsToldAgain();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(item("3f2a9c1d", "queue_mode"), "manual");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "1");
    EXPECT_EQ(attempt("3f2a9c1d", "state"), "failed");
}

TEST_F(OwnerCommandsTest, ABugIsHeldAndCancelledAfterACrashWithoutAnotherStart) {
    work();
    const pid_t worker = agent("3f2a9c1d");
    owner->signal(SIGKILL);
    owner->exitCode();
    EXPECT_THAT(command({"map", "remove", "com.acme.shop"}).error, HasSubstr("queue hold 3f2a9c1d"));
    EXPECT_EQ(command({"config", "set", "backend.url", address()}).exitCode, 0);
    environment["QUERNLIGHT_TOKEN_FILE"] = tokenFile();
    const auto held = command({"queue", "hold", "3f2a9c1d"});
    EXPECT_EQ(held.exitCode, 0) << held.error;
    EXPECT_THAT(held.output, EndsWith(": needs start\n"));
    EXPECT_FALSE(test::isAlive(worker));
    EXPECT_EQ(attempt("3f2a9c1d", "state"), "failed");
    EXPECT_EQ(command({"queue", "cancel", "3f2a9c1d"}).exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "cancelled");
}

TEST_F(OwnerCommandsTest, AWishForABugWhoseBackendIsAwayIsGrantedByTheNextStart) {
    work();
    owner->signal(SIGKILL);
    owner->exitCode();
    const auto wished = command({"queue", "cancel", "3f2a9c1d"});
    EXPECT_EQ(wished.exitCode, 0) << wished.error;
    EXPECT_THAT(wished.output, HasSubstr(": to be cancelled once the backend has told"));
    EXPECT_EQ(status("3f2a9c1d"), "running");
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "cancelled");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "1");
}

TEST_F(OwnerCommandsTest, AnAppThatIsMappedWhileItRunsHasItsBugsWorkedOn) {
    agentDoesAsToldAgain();
    startBackend();
    owner = start(runWith());
    ASSERT_TRUE(eventually([&] { return command({"queue", "show", "3f2a9c1d"}).exitCode == 0; }));
    EXPECT_EQ(shown("3f2a9c1d").at("waits").at("cause").as_string(), "no_mapping");
    mapApp();
    EXPECT_EQ(command({"queue", "wait", "3f2a9c1d", "--exit-status", "--timeout", "60"}).exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(command({"map", "remove", "com.acme.shop"}).exitCode, 0);
    EXPECT_THAT(command({"map", "list"}).output, StartsWith("No mappings yet;"));
}

TEST_F(OwnerCommandsTest, WhatAnAgentDoesIsShownWhereverTheBugIs) {
    work();
    EXPECT_THAT(command({"queue", "list"}).output, HasSubstr("  working  "));
    EXPECT_EQ(shown("3f2a9c1d").at("stage").as_string(), "working");
    const auto told = command({"status"});
    EXPECT_EQ(told.exitCode, 0) << told.error;
    EXPECT_THAT(
        told.output,
        AllOf(HasSubstr("dispatcher  runs since "), HasSubstr("\nqueue       1 running\n"),
              HasSubstr(" of 2 at work (codex, standin-codex "), HasSubstr("\n3f2a9c1d  Shop  working")));
}

TEST_F(OwnerCommandsTest, WorkInReviewIsListedWithItsPullRequest) {
    agentDoesAsToldAgain();
    work();
    ASSERT_TRUE(comesTo("3f2a9c1d", "completed")) << owner->output();
    EXPECT_TRUE(eventually([&] {
        return command({"review", "list"}).output.find("  Shop-3f2a9c1d  http") != std::string::npos;
    })) << command({"review", "list"}).output;
    EXPECT_THAT(command({"queue", "list"}).output,
                AllOf(StartsWith("No bug of the queue is like that.\n"), HasSubstr("1 in review; see: ")));
    EXPECT_THAT(command({"queue", "list", "--state", "in review"}).output, HasSubstr("3f2a9c1d  Shop"));
}

TEST_F(OwnerCommandsTest, StatusSaysWhatNeedsAPerson) {
    startBackend();
    owner = start(runWith());
    ASSERT_TRUE(eventually([&] { return command({"queue", "show", "3f2a9c1d"}).exitCode == 0; }));
    const auto told = command({"status"});
    EXPECT_EQ(told.exitCode, 1);
    EXPECT_THAT(told.output, HasSubstr("! 3f2a9c1d  needs mapping: "));
    EXPECT_THAT(told.output, HasSubstr("map set --bundle com.acme.shop --app Shop --repo PATH"));
    const auto json = boost::json::parse(command({"status", "--json"}).output).as_object();
    EXPECT_EQ(json.at("queue").at("needs_mapping").as_int64(), 1);
    owner->signal(SIGTERM);
    owner->exitCode();
    EXPECT_THAT(command({"status"}).output, StartsWith("dispatcher  does not run; start it with: "));
}

TEST_F(OwnerCommandsTest, TheQueueIsPutInOrder) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        reportClearBug(bugID);
    }
    work();
    ASSERT_TRUE(comesTo("33333333", "completed") || comesTo("33333333", "queued"));
    EXPECT_THAT(command({"queue", "next", "3f2a9c1d"}).error, HasSubstr("an agent works on it"));
    EXPECT_THAT(command({"queue", "hold", "9999"}).error, HasSubstr("is not in the queue"));
    EXPECT_EQ(command({"config", "set", "sessions.max", "3"}).exitCode, 0);
    EXPECT_EQ(boost::json::parse(command({"config", "get", "sessions.max", "--json"}).output)
                  .at("text")
                  .as_string(),
              "3");
}

/// No agent is started, since a bug of the manual queue waits for a person.
TEST_F(OwnerCommandsTest, ABugThatIsHeldIsNotStarted) {
    startBackend();
    owner = start(runWith());
    ASSERT_TRUE(eventually([&] { return command({"queue", "hold", "3f2a9c1d"}).exitCode == 0; }));
    mapApp();
    EXPECT_EQ(shown("3f2a9c1d").at("waits").at("cause").as_string(), "start_not_requested");
    EXPECT_EQ(command({"queue", "wait", "3f2a9c1d", "--exit-status"}).exitCode, 3);
    EXPECT_EQ(command({"queue", "wait", "3f2a9c1d", "--exit-status", "--until", "Needs Start"}).exitCode, 0);
    EXPECT_THAT(command({"queue", "wait", "3f2a9c1d", "--until", "in review", "--timeout", "0.1"}).error,
                HasSubstr("needs start after the time given with --timeout"));
    agentDoesAsToldAgain();
    EXPECT_EQ(command({"queue", "start", "3f2a9c1d"}).exitCode, 0);
    EXPECT_TRUE(comesTo("3f2a9c1d", "completed")) << owner->output();
}

/// The same, whether a dispatcher runs that asks the backend, or the command does so itself.
class BugCommandsTest : public OwnerCommandsTest, public testing::WithParamInterface<bool> {
  protected:
    BugCommandsTest() {
        report("b05d83f7", "It does not work");
        agentDoesAsToldAgain();
        startBackend();
        mapApp();
        runOnce();
        if (GetParam()) {
            owner = start(runWith());
            EXPECT_TRUE(eventually([&] { return command({"status"}).output.find("runs since") != npos; }));
        }
    }
    test::Outcome bug(std::vector<std::string> words) {
        if (!GetParam()) {
            words.insert(words.end(), {"--backend", address(), "--token-file", tokenFile()});
        }
        return command(std::move(words));
    }

    static constexpr auto npos = std::string::npos;
};

TEST_P(BugCommandsTest, AQuestionIsAnsweredAndTheBugWorkedOnAgain) {
    ASSERT_EQ(status("b05d83f7"), "awaitingUserInput") << history("b05d83f7");
    EXPECT_THAT(command({"queue", "show", "b05d83f7"}).output,
                HasSubstr("next:         answer it: quernlight-dispatch answer b05d83f7 TEXT\n"));
    const auto outcome = bug({"answer", "b05d", "Press the red button twice."});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(bug({"bugs", "show", "b05d83f7"}).output, HasSubstr("\nuser, "));
    EXPECT_THAT(bug({"bugs", "show", "b05d83f7"}).output, HasSubstr("\n    Press the red button twice.\n"));
}

TEST_P(BugCommandsTest, BugsAreListedFiledCommentedAndDeleted) {
    EXPECT_THAT(bug({"bugs", "list"}).output, AllOf(HasSubstr("BUG "), HasSubstr("It does not work")));
    const auto filed = bug({"bugs", "file", "--bundle", "com.acme.shop", "--title", "A new one", "--json"});
    ASSERT_EQ(filed.exitCode, 0) << filed.error;
    const std::string bugID(boost::json::parse(filed.output).at("id").as_string());
    EXPECT_EQ(bug({"bugs", "status", bugID, "investigate"}).exitCode, 0);
    EXPECT_EQ(bug({"bugs", "pr", bugID, "https://git.example/pull/7"}).exitCode, 0);
    test::writeFile(repository.scratch("note.txt"), "A note.");
    EXPECT_EQ(
        bug({"bugs", "comment", bugID, "See this.", "--attach", repository.scratch("note.txt")}).exitCode, 0);
    EXPECT_THAT(bug({"bugs", "show", bugID}).output,
                AllOf(HasSubstr("A new one"), HasSubstr("status:       investigate\n"),
                      HasSubstr("https://git.example/pull/7\n"), HasSubstr("note.txt (text/plain")));
    EXPECT_THAT(bug({"bugs", "delete", bugID}).error, HasSubstr("add --yes"));
    EXPECT_EQ(bug({"bugs", "delete", bugID, "--yes"}).exitCode, 0);
    EXPECT_EQ(bug({"bugs", "show", bugID}).exitCode, 1);
}

TEST_P(BugCommandsTest, WhatCannotBeIsRefusedWithASentence) {
    EXPECT_THAT(bug({"answer", "3f2a9c1d", "Yes."}).error, HasSubstr("waits for no answer"));
    EXPECT_THAT(bug({"bugs", "comment", "b05d83f7", " "}).error, HasSubstr("The comment is empty"));
    EXPECT_THAT(bug({"bugs", "comment", "b05d83f7", "x", "--attach", "/no/such/file"}).error,
                HasSubstr("/no/such/file"));
    EXPECT_THAT(bug({"bugs", "file", "--bundle", "com.none", "--title", "X"}).error,
                HasSubstr("knows no app with the bundle identifier com.none"));
    EXPECT_THAT(bug({"bugs", "pr", "b05d83f7", "not a link"}).error, HasSubstr("is no URL"));
    EXPECT_THAT(bug({"queue", "add", "b05d83f7"}).error, HasSubstr("is in the queue already"));
    stopBackend();
    EXPECT_EQ(bug({"bugs", "list"}).exitCode, 1);
}

/// The owner that runs may have been faster.
TEST_P(BugCommandsTest, ABugIsTakenInByHand) {
    const std::string bugID = reportClearBugNow();
    const auto added = bug({"queue", "add", bugID, "--manual"});
    const bool wasTakenIn = added.error.find("is in the queue already") != npos;
    EXPECT_TRUE(added.exitCode == 0 || (GetParam() && wasTakenIn)) << added.error;
    EXPECT_EQ(command({"queue", "show", bugID}).exitCode, 0);
}

INSTANTIATE_TEST_SUITE_P(All, BugCommandsTest, testing::Bool(),
                         [](const auto& runs) { return runs.param ? "AskedOfTheOwner" : "WithoutAnOwner"; });

}  // namespace
}  // namespace quernlight
