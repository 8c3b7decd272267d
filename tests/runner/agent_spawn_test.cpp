#include "quernlight/runner/open_terminal.hpp"

#include <gtest/gtest.h>

namespace quernlight {
namespace {

using Texts = std::vector<std::string>;

TEST(AgentSpawnTest, ACommandWithoutASlashIsSpawnedThroughEnv) {
    const SpawnRequest spawn = agentSpawnRequest({.launchCommand = {"codex", "--flag"}}, {});
    EXPECT_EQ(spawn.executable, "/usr/bin/env");
    EXPECT_EQ(spawn.arguments, (Texts{"/usr/bin/env", "codex", "--flag"}));
}

TEST(AgentSpawnTest, AnAbsolutePathIsSpawnedDirectlyWithTheCommandAsItsArguments) {
    const SpawnRequest spawn = agentSpawnRequest({.launchCommand = {"/opt/codex", "--flag"}}, {});
    EXPECT_EQ(spawn.executable, "/opt/codex");
    EXPECT_EQ(spawn.arguments, (Texts{"/opt/codex", "--flag"}));
}

TEST(AgentSpawnTest, ARelativePathIsSpawnedDirectlyToo) {
    const SpawnRequest spawn = agentSpawnRequest({.launchCommand = {"bin/codex"}}, {});
    EXPECT_EQ(spawn.executable, "bin/codex");
    EXPECT_EQ(spawn.arguments, (Texts{"bin/codex"}));
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
                                      .environment = {{"B", "2"}, {"A-", "3"}, {"A", "1=1"}}};
    const SpawnRequest spawn = agentSpawnRequest(request, {});
    EXPECT_EQ(spawn.environment, (Texts{"A=1=1", "A-=3", "B=2"}));  // "-" lies before "="
    EXPECT_EQ(spawn.workingDirectory, "/repo");
}

}  // namespace
}  // namespace quernlight
