#include "host/agent/agent_answer.hpp"

#include <gtest/gtest.h>

#include "tests/host/stepped_clock.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

/// Agents are shell scripts that note each time they are asked.
class AgentVersionTest : public testing::Test {
  protected:
    AgentCommand agent(const std::string& script) {
        const auto file = directory / "agent";
        quernlight::test::writeFile(file, "#!/bin/sh\necho >> \"$ASKED\"\n" + script);
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
        return {.words = {"agent", "-q"},
                .environment = {{"PATH", directory.path().string() + ":/usr/bin:/bin"},
                                {"ASKED", directory / "asked"}}};
    }
    std::optional<std::string> told(const AgentCommand& command) {
        return quernlight::test::runTask(version.text(command));
    }
    std::size_t timesAsked() { return quernlight::test::readFile(directory / "asked").size(); }

    quernlight::test::TemporaryDirectory directory;
    test::SteppedClock clock{[] {}};
    AgentVersion version{clock};
};

TEST_F(AgentVersionTest, IsTheFirstLineThatTheAgentPrintsMadeSafe) {
    EXPECT_EQ(told(agent("printf 'agent\\033[2J 1.2 %s %s\\nmore\\n' \"$1\" \"$2\"")),
              "agent\\x1b[2J 1.2 -q --version");
}

TEST_F(AgentVersionTest, IsNotKnownOfAnAgentThatFailsSaysNothingOrIsNotThere) {
    EXPECT_EQ(told(agent("echo 1.2; exit 1")), std::nullopt);
    clock.advance(std::chrono::minutes(10));
    EXPECT_EQ(told(agent("exit 0")), std::nullopt);
    EXPECT_EQ(told({.words = {"agent"}, .environment = {{"PATH", "/nowhere"}}}), std::nullopt);
}

TEST_F(AgentVersionTest, IsAskedForOnceInTenMinutesAndOfAnotherCommandAtOnce) {
    AgentCommand command = agent("echo 1.2");
    EXPECT_EQ(told(command), "1.2");
    agent("echo 1.3");
    EXPECT_EQ(told(command), "1.2");
    EXPECT_EQ(timesAsked(), 1U);
    clock.advance(std::chrono::minutes(10));
    EXPECT_EQ(told(command), "1.3");
    command.words = {"agent", "-v"};
    EXPECT_EQ(told(command), "1.3");
    EXPECT_EQ(timesAsked(), 3U);
}

/// What a worktree holds is run nowhere else.
TEST_F(AgentVersionTest, ARelativeProgramIsNotRun) {
    EXPECT_EQ(told({.words = {"./agent"}, .environment = agent("echo 1.2").environment}), std::nullopt);
    EXPECT_FALSE(std::filesystem::exists(directory / "asked"));
}

}  // namespace
}  // namespace quernlight::host
