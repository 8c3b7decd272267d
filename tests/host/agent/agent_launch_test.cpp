#include "host/agent/agent_launch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Words = std::vector<std::string>;

/// The values of the command line's configuration options, "KEY=VALUE".
Words configured(const AgentLaunch& launch) {
    const Words line = agentCommandLine(launch);
    Words values;
    for (std::size_t index = 0; index + 1 < line.size(); ++index) {
        if (line[index] == "-c") {
            values.push_back(line[index + 1]);
        }
    }
    return values;
}

AgentLaunch launchOf(Words command) {
    return {.command = std::move(command), .repository = "/src/shop", .worktree = "/src/shop-3f2a"};
}

TEST(AgentLaunchTest, WithoutAnythingSetByHandTheAgentWorksWithoutAPerson) {
    EXPECT_THAT(configured(launchOf({"codex"})),
                ElementsAre("projects={ \"/src/shop\" = { trust_level = \"trusted\" }, "
                            "\"/src/shop-3f2a\" = { trust_level = \"trusted\" } }",
                            "approval_policy=\"never\"", "sandbox_mode=\"workspace-write\"",
                            "sandbox_workspace_write.network_access=true", "features.goals=true",
                            "features.daemon_auto_start=false", "check_for_update_on_startup=false",
                            "notice.hide_rate_limit_model_nudge=true"));
    EXPECT_EQ(agentCommandLine(launchOf({"codex"})).back(), "--no-alt-screen");
}

TEST(AgentLaunchTest, APathCannotLeaveItsQuotes) {
    AgentLaunch launch = launchOf({"codex"});
    launch.worktree = "/src/a\" = {} }\n# \\ \x01";
    EXPECT_THAT(configured(launch), Contains(HasSubstr("\"/src/a\\\" = {} }\\n# \\\\ \\u0001\" = {")));
}

TEST(AgentLaunchTest, WhatThePersonSetsIsNotSetAgain) {
    const Words values =
        configured(launchOf({"codex", "-c", "features.goals=false", "--config=projects={}"}));
    EXPECT_THAT(values, Contains("features.goals=false"));
    EXPECT_THAT(values, Not(Contains("features.goals=true")));
    EXPECT_THAT(values, Not(Contains(HasSubstr("trust_level"))));
}

TEST(AgentLaunchTest, WhoeverChoosesHowFreelyTheAgentWorksHasChosenIt) {
    for (const Words& command :
         {Words{"codex", "--full-auto"}, Words{"codex", "-s", "read-only"},
          Words{"codex", "--sandbox=read-only"}, Words{"codex", "-c", "approval_policy=\"on-request\""},
          Words{"codex", "-csandbox_mode=\"read-only\""}}) {
        EXPECT_THAT(agentCommandLine(launchOf(command)), Not(Contains(HasSubstr("workspace-write"))))
            << command[1];
    }
}

TEST(AgentLaunchTest, WithoutTrustTheAgentAsksForIt) {
    AgentLaunch launch = launchOf({"codex"});
    launch.trustsRepository = false;
    EXPECT_THAT(configured(launch), Not(Contains(HasSubstr("projects"))));
}

TEST(AgentLaunchTest, TheToolServerIsNamedWithItsArgumentsAndRunsUnasked) {
    AgentLaunch launch = launchOf({"codex"});
    launch.toolServer = {"/opt/quernlight-dispatch", "mcp", "--home", "/home/a b"};
    const Words values = configured(launch);
    EXPECT_THAT(values, Contains("mcp_servers.quernlight.command=\"/opt/quernlight-dispatch\""));
    EXPECT_THAT(values, Contains("mcp_servers.quernlight.args=[ \"mcp\", \"--home\", \"/home/a b\" ]"));
    EXPECT_THAT(values, Contains("mcp_servers.quernlight.default_tools_approval_mode=\"approve\""));
    launch.command = {"codex", "-c", "mcp_servers.quernlight.command=\"mine\""};
    EXPECT_THAT(configured(launch), Not(Contains(HasSubstr("/opt/"))));
    launch.command = {"codex", "-c", "mcp_servers_of_mine=1"};
    EXPECT_THAT(configured(launch), Contains(HasSubstr("/opt/")));
}

TEST(AgentLaunchTest, AProfileAndAConversationComeLast) {
    AgentLaunch launch = launchOf({"/usr/bin/env", "codex"});
    launch.profile = "careful";
    launch.conversation = parseUuid("0A000000-0000-4000-8000-00000000000A");
    const Words line = agentCommandLine(launch);
    EXPECT_EQ(Words(line.begin(), line.begin() + 2), (Words{"/usr/bin/env", "codex"}));
    EXPECT_EQ(Words(line.end() - 4, line.end()),
              (Words{"--profile", "careful", "resume", "0a000000-0000-4000-8000-00000000000a"}));
    launch.profile = "default";
    EXPECT_THAT(agentCommandLine(launch), Not(Contains("--profile")));
}

class AgentsConfigurationTest : public testing::Test {
  protected:
    void write(const std::filesystem::path& file, const std::string& text) {
        test::writeFile(directory / file, text);
    }
    test::TemporaryDirectory directory;
};

TEST_F(AgentsConfigurationTest, AToolServerOfTheAgentsOwnConfigurationIsFound) {
    const EnvironmentMap environment{{"CODEX_HOME", directory.path().string()}};
    EXPECT_FALSE(hasOwnToolServer(environment));
    write("config.toml", "[mcp_servers.other]\ncommand = \"a\"\n");
    EXPECT_FALSE(hasOwnToolServer(environment));
    write("config.toml", "[mcp_servers.\"quernlight\"]\ncommand = \"a\"\n");
    EXPECT_TRUE(hasOwnToolServer(environment));
    write("config.toml", "[mcp_servers.quernlight\n");
    EXPECT_FALSE(hasOwnToolServer(environment));
}

}  // namespace
}  // namespace quernlight::host
