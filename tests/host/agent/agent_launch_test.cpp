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

TEST(AgentLaunchTest, ATableThatAPersonSetsHoldsTheirChoiceOfItsKeys) {
    const Words values = configured(launchOf(
        {"codex", "-c", "sandbox_workspace_write={network_access=false}", "-c", "features={goals=false}"}));
    EXPECT_THAT(values, Not(Contains(HasSubstr("network_access=true"))));
    EXPECT_THAT(values, Not(Contains("features.goals=true")));
    EXPECT_THAT(values, Contains("features.daemon_auto_start=false")) << "which they leave open";
    EXPECT_THAT(configured(launchOf({"codex", "-c", "sandbox_workspace_write=nothing"})),
                Not(Contains(HasSubstr("network_access"))))
        << "no table leaves room for a key";
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
    std::optional<std::string> found() const { return ownToolServer(configuration); }

    test::TemporaryDirectory directory;
    AgentConfiguration configuration{.environment = {{"CODEX_HOME", directory.path().string()}},
                                     .command = {"codex"},
                                     .profile = "careful",
                                     .directories = {directory / "shop"}};
};

TEST_F(AgentsConfigurationTest, AToolServerOfTheAgentsOwnConfigurationIsFound) {
    EXPECT_EQ(found(), std::nullopt);
    write("config.toml", "[mcp_servers.other]\ncommand = \"a\"\n");
    EXPECT_EQ(found(), std::nullopt);
    write("config.toml", "[mcp_servers.\"quernlight\"]\ncommand = \"a\"\n");
    EXPECT_EQ(found(), directory / "config.toml");
    write("config.toml", "[mcp_servers.quernlight\n");
    EXPECT_EQ(found(), std::nullopt);
}

/// Where the agent's own server stands, and the place that is told; empty: it does not count.
struct OwnServerRow {
    const char* name;
    const char* file;
    const char* text;
    Words command{"codex"};
    const char* place;
};

void PrintTo(const OwnServerRow& row, std::ostream* out) {
    *out << row.name;
}

class OwnToolServerTest : public AgentsConfigurationTest, public testing::WithParamInterface<OwnServerRow> {};

TEST_P(OwnToolServerTest, IsLookedForWhereTheAgentTakesItsConfigurationFrom) {
    const OwnServerRow& row = GetParam();
    if (*row.file != 0) {
        write(row.file, row.text);
    }
    configuration.command = row.command;
    const std::string place = found().value_or("");
    EXPECT_TRUE(*row.place == 0 ? place.empty() : place.ends_with(row.place)) << place;
}

constexpr const char* server = "[mcp_servers.quernlight]\ncommand = \"a\"\n";
constexpr const char* ofProfile = "[profiles.careful.mcp_servers.quernlight]\ncommand = \"a\"\n";

INSTANTIATE_TEST_SUITE_P(
    Places, OwnToolServerTest,
    testing::Values(
        OwnServerRow{.name = "a profile's own file",
                     .file = "careful.config.toml",
                     .text = server,
                     .place = "/careful.config.toml"},
        OwnServerRow{
            .name = "another profile's file", .file = "hasty.config.toml", .text = server, .place = ""},
        OwnServerRow{.name = "the profile that the command chooses",
                     .file = "hasty.config.toml",
                     .text = server,
                     .command = {"codex", "-p", "hasty"},
                     .place = "/hasty.config.toml"},
        OwnServerRow{
            .name = "a profile's table", .file = "config.toml", .text = ofProfile, .place = "/config.toml"},
        OwnServerRow{.name = "a profile's table and another profile",
                     .file = "config.toml",
                     .text = ofProfile,
                     .command = {"codex", "--profile=hasty"},
                     .place = ""},
        OwnServerRow{.name = "the repository",
                     .file = "shop/.codex/config.toml",
                     .text = server,
                     .place = "/shop/.codex/config.toml"},
        OwnServerRow{.name = "a table on the command line",
                     .file = "",
                     .text = "",
                     .command = {"codex", "-c", "mcp_servers={quernlight={command=\"a\"}}"},
                     .place = "agent.command"},
        OwnServerRow{.name = "a table of others on the command line",
                     .file = "",
                     .text = "",
                     .command = {"codex", "-c", "mcp_servers={other={command=\"a\"}}"},
                     .place = ""}));

}  // namespace
}  // namespace quernlight::host
