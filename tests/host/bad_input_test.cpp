#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

/// Two bugs whose ids begin alike, one in review and one that asks. The same, whether a dispatcher runs or
/// not.
class BadInputTest : public test::DispatchFixture, public testing::WithParamInterface<bool> {
  protected:
    BadInputTest() {
        reportClearBug("3f2a9c1d");
        report("3f2b0000", "It does not work");
        workAll();
        EXPECT_EQ(command({"config", "set", "backend.url", address()}).exitCode, 0);
        environment["QUERNLIGHT_TOKEN_FILE"] = tokenFile();
        if (GetParam()) {
            owner = start(runWith());
            EXPECT_TRUE(test::eventually([&] {
                return command({"status"}).output.find("runs since") != std::string::npos;
            })) << owner->output();
        }
    }
    test::Outcome command(Words words) {
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    /// It fails, says this, and prints nothing else.
    void isRefused(const Words& words, const std::string& sentence) {
        const auto outcome = command(words);
        std::string line;
        for (const std::string& word : words) {
            line += word + " ";
        }
        EXPECT_EQ(outcome.exitCode, 1) << line << outcome.output;
        EXPECT_EQ(outcome.output, "") << line;
        EXPECT_THAT(outcome.error, AllOf(StartsWith("quernlight-dispatch: "), HasSubstr(sentence))) << line;
    }
    /// Of the queue's commands and those of sessions, each for that bug.
    static std::vector<Words> commandsFor(const std::string& bugID) {
        return {{"queue", "show", bugID},
                {"queue", "events", bugID},
                {"queue", "wait", bugID},
                {"queue", "next", bugID},
                {"queue", "move", bugID, "--before", "3f2a9c1d"},
                {"queue", "move", bugID},
                {"queue", "cancel", bugID},
                {"queue", "retry", bugID},
                {"queue", "hold", bugID},
                {"queue", "release", bugID},
                {"queue", "remove", bugID, "--yes"},
                {"queue", "start", bugID},
                {"answer", bugID, "Yes."},
                {"sessions", "show", bugID},
                {"sessions", "stop", bugID},
                {"sessions", "resume", bugID},
                {"sessions", "log", bugID},
                {"sessions", "log", bugID, "-f"},
                {"sessions", "replay", bugID}};
    }

    std::unique_ptr<test::DispatchProcess> owner;
};

TEST_P(BadInputTest, ABugThatIsNotThereIsNamed) {
    for (const Words& words : commandsFor("99999999")) {
        isRefused(words, "Bug 99999999 is not in the queue");
    }
    isRefused({"preserved", "show", "99999999"}, "99999999");
    isRefused({"preserved", "restore", "99999999", "--branch", "kept"}, "99999999");
    isRefused({"map", "show", "com.none"}, "No repository is mapped for com.none");
    isRefused({"map", "remove", "com.none"}, "No repository is mapped for com.none");
}

TEST_P(BadInputTest, ABugThatMayBeTwoIsAskedForInFull) {
    for (const Words& words : commandsFor("3f2")) {
        isRefused(words, "Several bugs' ids begin with 3f2 (");
    }
}

TEST_P(BadInputTest, ABugThatTheBackendDoesNotKnowIsNamed) {
    const std::string sentence = "There is no bug 99999999";
    isRefused({"bugs", "show", "99999999"}, sentence);
    isRefused({"bugs", "comment", "99999999", "Text."}, sentence);
    isRefused({"bugs", "status", "99999999", "open"}, sentence);
    isRefused({"bugs", "pr", "99999999", "https://git.example/pull/1"}, sentence);
    isRefused({"bugs", "delete", "99999999", "--yes"}, sentence);
    isRefused({"queue", "add", "99999999"}, sentence);
}

TEST_P(BadInputTest, ABackendThatIsAwayIsNamed) {
    stopBackend();
    const std::string sentence = "Failed to connect to 127.0.0.1 port";
    isRefused({"bugs", "list"}, sentence);
    isRefused({"bugs", "show", "3f2a9c1d"}, sentence);
    isRefused({"bugs", "file", "--bundle", "com.acme.shop", "--title", "New"}, sentence);
    isRefused({"bugs", "comment", "3f2a9c1d", "Text."}, sentence);
    isRefused({"bugs", "status", "3f2a9c1d", "open"}, sentence);
    isRefused({"bugs", "pr", "3f2a9c1d", "https://git.example/pull/1"}, sentence);
    isRefused({"bugs", "delete", "3f2a9c1d", "--yes"}, sentence);
    isRefused({"answer", "3f2b0000", "Twice."}, sentence);
    isRefused({"queue", "add", "99999999"}, sentence);
    for (const Words& words : std::vector<Words>{{"queue", "list"}, {"report"}, {"sessions", "list"}}) {
        EXPECT_EQ(command(words).exitCode, 0) << words.front();
    }
}

TEST_P(BadInputTest, WhatWantsASessionSaysThatThereIsNone) {
    const std::string sentence =
        GetParam() ? "No agent works on bug 3f2a9c1d now" : "No dispatcher is running";
    isRefused({"sessions", "send", "3f2a9c1d", "text"}, sentence);
    isRefused({"sessions", "show", "3f2a9c1d", "--screen"}, sentence);
    isRefused({"sessions", "attach", "3f2a9c1d"}, sentence);
    isRefused({"watch"}, "There is no terminal to draw on");
    if (!GetParam()) {
        isRefused({"unpause"}, "No dispatcher is running");
    }
}

INSTANTIATE_TEST_SUITE_P(All, BadInputTest, testing::Bool(),
                         [](const auto& runs) { return runs.param ? "AskedOfTheOwner" : "WithoutAnOwner"; });

}  // namespace
}  // namespace quernlight
