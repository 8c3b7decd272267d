#include <csignal>

#include <gmock/gmock.h>

#include "tests/standin/codex_session.hpp"

namespace quernlight::standin::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class StandinCodexStartTest : public CodexSession {};

TEST_F(StandinCodexStartTest, ModelAndServersAreAnnouncedInOrderBeforeThePrompt) {
    AgentTerminal& agent = start();
    for (const std::string text :
         {"model:", "loading", "Starting MCP servers (0/1)", "model:", "MCP startup complete", "›"}) {
        EXPECT_TRUE(agent.sees(text)) << text;
    }
    const std::string beforeServers = agent.output().substr(0, agent.output().find("Starting"));
    EXPECT_THAT(agent.output().substr(beforeServers.size()), Not(HasSubstr("loading")));
}

TEST_F(StandinCodexStartTest, ExitAndItsEnterAfterAPauseEndIt) {
    startAtPrompt();
    leave();
    EXPECT_EQ(terminal->exitCode(), 0);
}

TEST_F(StandinCodexStartTest, KeysTypedBeforeThePromptAreDropped) {
    AgentTerminal& agent = start({"STANDIN_CODEX=slow-start", "STANDIN_CODEX_DELAY_MS=40"});
    EXPECT_TRUE(agent.sees("Starting MCP servers (0/4)"));
    agent.type("/exit\r");
    EXPECT_TRUE(agent.sees("›"));
    agent.type("awake");
    EXPECT_TRUE(agent.sees("awake"));
}

TEST_F(StandinCodexStartTest, ItsThreadIsOnRecordWhileItRuns) {
    startAtPrompt();
    EXPECT_EQ(awaitState("SELECT cwd FROM threads WHERE source = 'cli' AND created_at = updated_at"),
              repository.directory().string());
    EXPECT_EQ(awaitState("SELECT length(id) FROM threads"), "36");
    EXPECT_EQ(awaitState("PRAGMA journal_mode"), "wal");
}

TEST_F(StandinCodexStartTest, AKnownSessionIsResumedWithoutANewThread) {
    startAtPrompt();
    leave();
    EXPECT_EQ(terminal->exitCode(), 0);
    const std::string id = awaitState("SELECT id FROM threads");
    AgentTerminal& agent = start({}, {"resume", id});
    EXPECT_TRUE(agent.sees("Resumed session " + id));
    EXPECT_TRUE(agent.sees("›"));
    EXPECT_EQ(awaitState("SELECT count(*) FROM threads"), "1");
}

TEST_F(StandinCodexStartTest, AnUnknownSessionIsNotResumed) {
    const std::string id = "00000000-0000-4000-8000-000000000000";
    AgentTerminal& agent = start({}, {"resume", id});
    EXPECT_TRUE(agent.sees("No saved session found with ID " + id));
    EXPECT_EQ(agent.exitCode(), 1);
}

TEST_F(StandinCodexStartTest, ItPrintsItsVersion) {
    AgentTerminal& agent = start({}, {"--version"});
    EXPECT_TRUE(agent.sees("standin-codex "));
    EXPECT_EQ(agent.exitCode(), 0);
    EXPECT_FALSE(std::filesystem::exists(home() / "state_5.sqlite"));
}

TEST_F(StandinCodexStartTest, ABehaviourThatDoesNotExistIsRefused) {
    AgentTerminal& agent = start({"STANDIN_CODEX=sulk"});
    EXPECT_TRUE(agent.sees("There is no behaviour named 'sulk'."));
    EXPECT_EQ(agent.exitCode(), 1);
}

TEST_F(StandinCodexStartTest, ItEndsWhenItsTerminalHangsUp) {
    startAtPrompt().hangUp();
    EXPECT_EQ(terminal->exitCode(), 128 + SIGHUP);
}

}  // namespace
}  // namespace quernlight::standin::test
