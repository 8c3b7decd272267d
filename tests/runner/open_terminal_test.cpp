#include "quernlight/runner/open_terminal.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using Texts = std::vector<std::string>;

TEST(AgentSpawnTest, OnlyACommandWithoutASlashIsSpawnedThroughEnv) {
    const std::pair<Texts, Texts> rows[] = {
        {{"codex", "--flag"}, {"/usr/bin/env", "codex", "--flag"}},
        {{"/opt/codex", "--flag"}, {"/opt/codex", "--flag"}},
        {{"bin/codex"}, {"bin/codex"}},
    };
    for (const auto& [command, arguments] : rows) {
        const SpawnRequest spawn = agentSpawnRequest({.launchCommand = command}, {});
        EXPECT_EQ(spawn.executable, arguments.front());
        EXPECT_EQ(spawn.arguments, arguments);
    }
}

TEST(AgentSpawnTest, TheStreamsAreTheTerminalWhoseMasterIsClosedInTheChild) {
    const SpawnRequest spawn = agentSpawnRequest({.launchCommand = {"codex"}}, {"/dev/pts/7", 12});
    const auto* terminal = std::get_if<TerminalStreams>(&spawn.streams);
    ASSERT_TRUE(terminal);
    EXPECT_EQ(terminal->device, "/dev/pts/7");
    EXPECT_EQ(terminal->masterDescriptor, 12);
}

TEST(AgentSpawnTest, TheEnvironmentIsTheRequestsAloneSortedByKey) {
    const StartSessionRequest request{.repoPath = "/repo",
                                      .launchCommand = {"codex"},
                                      .environment = {{"B", "2"}, {"A-", "3"}, {"A", "1=1"}, {"C", ""}}};
    const SpawnRequest spawn = agentSpawnRequest(request, {});
    EXPECT_EQ(spawn.environment, (Texts{"A=1=1", "A-=3", "B=2", "C="}));  // "-" lies before "="
    EXPECT_EQ(spawn.workingDirectory, "/repo");
}

TEST(WindowSizeTest, EachValueIsAtLeastOneAndPixelsAreNotSaid) {
    const winsize size = windowSize(0, -5);
    EXPECT_EQ(size.ws_col, 1);
    EXPECT_EQ(size.ws_row, 1);
    EXPECT_EQ(size.ws_xpixel, 0);
    EXPECT_EQ(size.ws_ypixel, 0);
}

TEST(WindowSizeTest, TheLargestSizeHasSixteenBits) {
    EXPECT_EQ(windowSize(65535, 1).ws_col, 65535);
    EXPECT_EQ(windowSize(1, 65535).ws_row, 65535);
}

TEST(WindowSizeDeathTest, AnythingLargerStopsTheProgram) {
    EXPECT_DEATH(windowSize(65536, 24), "at most 65535");
    EXPECT_DEATH(windowSize(80, 1000000), "not 1000000");
}

}  // namespace
}  // namespace quernlight
