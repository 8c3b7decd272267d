#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class TranscriptCommandsTest : public test::DispatchFixture {
  protected:
    TranscriptCommandsTest() { reportClearBug("11111111"); }

    std::vector<std::string> line(std::vector<std::string> words) {
        words.insert(words.begin(), "sessions");
        words.insert(words.end(), {"--home", home()});
        return words;
    }
    test::Outcome sessions(const std::vector<std::string>& words) { return dispatch(line(words)); }
    std::filesystem::path timing() {
        return std::filesystem::path(attempt("11111111", "transcript_ansi_path")).parent_path() /
               "timing.txt";
    }
    std::unique_ptr<test::DispatchProcess> work(const std::string& behaviour) {
        agentDoes("11111111", behaviour);
        mapApp();
        startBackend();
        auto program = start(runWith());
        EXPECT_TRUE(program->says("11111111  goalAccepted: ")) << program->output() << program->errorText();
        return program;
    }
};

TEST_F(TranscriptCommandsTest, TheLastAttemptsTranscriptIsPrintedWithoutAnOwner) {
    workAll();
    const auto plain = sessions({"log", "11111111"});
    EXPECT_EQ(plain.exitCode, 0) << plain.error;
    EXPECT_THAT(plain.output, AllOf(HasSubstr("Starting MCP servers"), Not(HasSubstr("\x1b"))));
    EXPECT_EQ(sessions({"log", "11111111", "--attempt", "1"}).output, plain.output);
    EXPECT_EQ(sessions({"log", "11111111", "--ansi"}).output,
              test::readFile(attempt("11111111", "transcript_ansi_path")));
}

TEST_F(TranscriptCommandsTest, WhatIsNotThereIsNamed) {
    startBackend();
    runOnce();
    const struct {
        std::vector<std::string> words;
        const char* sentence;
    } rows[] = {
        {{"log", "11111111"}, "Bug 11111111 has no attempt yet"},
        {{"replay", "11111111"}, "Bug 11111111 has no attempt yet"},
        {{"log", "99999999"}, "99999999 is not in the queue"},
    };
    for (const auto& row : rows) {
        const auto refused = sessions(row.words);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_THAT(refused.error, HasSubstr(row.sentence));
    }
    EXPECT_EQ(sessions({"log", "11111111", "--attempt", "0"}).exitCode, 2);
    EXPECT_EQ(sessions({"replay", "11111111", "--speed", "0"}).exitCode, 2);
}

TEST_F(TranscriptCommandsTest, AFollowedTranscriptEndsWithItsAttempt) {
    const auto program = work("approval");
    const auto following = start(line({"log", "11111111", "-f"}));
    ASSERT_TRUE(following->says("Yes, proceed")) << following->errorText();
    const auto sent = sessions({"send", "1111", "", "--enter", "--json"});
    EXPECT_EQ(sent.exitCode, 0) << sent.error;
    EXPECT_EQ(sent.output, R"({"text":"","enter":true,"raw":false,"bug":"11111111"})"
                           "\n");
    EXPECT_EQ(following->exitCode(), 0) << following->errorText();
    EXPECT_THAT(following->output(), HasSubstr("/exit"));
}

TEST_F(TranscriptCommandsTest, FollowingEndsAtCtrlCAndWithItsOwner) {
    const auto program = work("idle");
    const auto stopped = start(line({"log", "11111111", "-f"})),
               left = start(line({"log", "11111111", "-f"}));
    ASSERT_TRUE(stopped->says("Starting MCP servers"));
    ASSERT_TRUE(left->says("Starting MCP servers"));
    stopped->signal(SIGINT);
    EXPECT_EQ(stopped->exitCode(), 130);
    program->signal(SIGKILL);
    EXPECT_EQ(left->exitCode(), 0) << left->errorText();
}

TEST_F(TranscriptCommandsTest, AnAttemptIsPlayedByItsTiming) {
    workAll();
    const auto played = sessions({"replay", "11111111", "--speed", "1000"});
    EXPECT_EQ(played.exitCode, 0) << played.error;
    EXPECT_THAT(played.output,
                AllOf(HasSubstr("Starting MCP servers"), HasSubstr("/exit"), Not(HasSubstr("\x1b[6n"))));
    std::filesystem::remove(timing());
    const auto refused = sessions({"replay", "11111111"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("No timing was recorded of attempt 1; to see what it wrote use: "
                                         "quernlight-dispatch sessions log 11111111"));
}

}  // namespace
}  // namespace quernlight
