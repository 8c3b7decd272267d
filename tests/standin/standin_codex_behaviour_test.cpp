#include <csignal>

#include <boost/json.hpp>
#include <gmock/gmock.h>

#include "standin/codex/behaviour.hpp"
#include "tests/standin/codex_session.hpp"

namespace quernlight::standin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class StandinCodexBehaviourTest : public CodexSession {};

TEST_F(StandinCodexBehaviourTest, AskPostsAQuestionEvenForAClearBug) {
    startAtPrompt({"STANDIN_CODEX=ask"});
    workOn(fixGoal(names()));
    ASSERT_THAT(comments(), SizeIs(1));
    EXPECT_EQ(boost::json::parse(comments()[0]).at("metadata").at("status"), "investigate");
    EXPECT_FALSE(std::filesystem::exists(names().worktree()));
}

TEST_F(StandinCodexBehaviourTest, CrashDiesOfASignalAfterALittleWork) {
    startAtPrompt({"STANDIN_CODEX=crash"});
    submit(fixGoal(names()));
    EXPECT_EQ(terminal->exitCode(), 128 + SIGSEGV);
    EXPECT_THAT(terminal->output(), HasSubstr("Read bug 3f2a9c1d"));
    EXPECT_THAT(comments(), IsEmpty());
}

TEST_F(StandinCodexBehaviourTest, SilentExitEndsWellWithoutAComment) {
    startAtPrompt({"STANDIN_CODEX=silent-exit"});
    submit(fixGoal(names()));
    EXPECT_EQ(terminal->exitCode(), 0);
    EXPECT_THAT(comments(), IsEmpty());
}

TEST_F(StandinCodexBehaviourTest, IdleTakesTheGoalAndPrintsNothingMore) {
    startAtPrompt({"STANDIN_CODEX=idle"});
    submit(fixGoal(names()));
    awaitState("SELECT title FROM threads WHERE title = 'Bug 3f2a9c1d'");
    EXPECT_TRUE(terminal->sees("Type a goal"));
    const std::size_t printed = terminal->output().size();
    terminal->type("anybody there?");
    terminal->signal(SIGINT);
    EXPECT_EQ(terminal->exitCode(), 128 + SIGINT);
    EXPECT_EQ(terminal->output().substr(printed), "");
    EXPECT_THAT(backend.requestLines(), IsEmpty());
}

TEST_F(StandinCodexBehaviourTest, IgnoreExitWorksThenHearsNeitherExitNorInterruptButDiesOfTerminate) {
    startAtPrompt({"STANDIN_CODEX=ignore-exit"});
    workOn(fixGoal(names()));
    EXPECT_THAT(comments(), SizeIs(1));
    leave();
    EXPECT_TRUE(terminal->sees("›"));
    terminal->signal(SIGINT);
    terminal->type("still here");
    EXPECT_TRUE(terminal->sees("still here"));
    terminal->signal(SIGTERM);
    EXPECT_EQ(terminal->exitCode(), 128 + SIGTERM);
}

TEST_F(StandinCodexBehaviourTest, AnInterruptEndsAnyOther) {
    startAtPrompt().signal(SIGINT);
    EXPECT_EQ(terminal->exitCode(), 128 + SIGINT);
}

TEST_F(StandinCodexBehaviourTest, FloodPrintsTensOfMebibytesAndCompletes) {
    startAtPrompt({"STANDIN_CODEX=flood"});
    workOn(fixGoal(names()));
    EXPECT_GT(terminal->output().size(), std::size_t{20} << 20U);
    EXPECT_THAT(comments(), SizeIs(1));
}

TEST_F(StandinCodexBehaviourTest, ABugsOwnBehaviourWinsOverTheEnvironments) {
    configure(R"(,"behaviours":{"3f2a9c1d":"silent-exit"})");
    startAtPrompt({"STANDIN_CODEX=idle"});
    submit(fixGoal(names()));
    EXPECT_EQ(terminal->exitCode(), 0);
    EXPECT_THAT(backend.requestLines(), Not(IsEmpty()));
}

TEST_F(StandinCodexBehaviourTest, SessionsOnABugBehaveOneAfterTheOther) {
    configure(R"(,"behaviours":{"3f2a9c1d":"ask","*":"early-exit:7,early-exit:8,obedient"})");
    EXPECT_EQ(start().exitCode(), 7);
    EXPECT_EQ(start().exitCode(), 8);
    startAtPrompt();
    workOn(fixGoal(names()));
    ASSERT_THAT(comments(), SizeIs(1));
    EXPECT_THAT(comments()[0], HasSubstr("investigate"));  // its own wins
}

TEST_F(StandinCodexBehaviourTest, ABugsOwnBehaviourCountsBeforeItsGoalInADirectoryNamedForIt) {
    configure(R"(,"behaviours":{"3f2a9c1d":"early-exit:5"})");
    const std::filesystem::path directory = repository.scratch("Shop-3f2a9c1d");
    std::filesystem::create_directories(directory);
    EXPECT_EQ(startIn(directory).exitCode(), 5);
    EXPECT_TRUE(startAtPrompt().sees("Type a goal"));
}

TEST_F(StandinCodexBehaviourTest, EarlyExitEndsOnceItsComposerIsShown) {
    startAtPrompt({"STANDIN_CODEX=early-exit"});
    EXPECT_EQ(terminal->exitCode(), 0);
}

TEST_F(StandinCodexBehaviourTest, ExitWhileTypingEndsAtTheFirstKeys) {
    startAtPrompt({"STANDIN_CODEX=exit-while-typing:3"});
    terminal->type("/goal");
    EXPECT_EQ(terminal->exitCode(), 3);
    EXPECT_THAT(terminal->output(), HasSubstr("/goal"));
}

TEST_F(StandinCodexBehaviourTest, ResumeDiesEndsWithWordsOfItsOwnWhereAFreshSessionBegins) {
    startAtPrompt({"STANDIN_CODEX=resume-dies"});
    leave();
    EXPECT_EQ(terminal->exitCode(), 0);
    AgentTerminal& agent =
        start({"STANDIN_CODEX=resume-dies"}, {"resume", awaitState("SELECT id FROM threads")});
    EXPECT_TRUE(agent.sees("The journal does not fit the ledger"));
    EXPECT_EQ(agent.exitCode(), 1);
}

TEST_F(StandinCodexBehaviourTest, UsageLimitIsToldWithoutATimeAndKept) {
    startAtPrompt({"STANDIN_CODEX=usage-limit"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("You've hit your usage limit."));
    EXPECT_TRUE(terminal->sees("try again later."));
    EXPECT_TRUE(terminal->sees("Type a goal"));
    EXPECT_EQ(awaitState("SELECT status FROM thread_goals WHERE status != 'active'"), "usage_limited");
    EXPECT_THAT(backend.requestLines(), IsEmpty());
}

TEST_F(StandinCodexBehaviourTest, UsageLimitIsToldWithTheTimeAtWhichItEnds) {
    startAtPrompt({"STANDIN_CODEX=usage-limit:90"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("try again at "));
    EXPECT_TRUE(terminal->sees("M."));
}

TEST_F(StandinCodexBehaviourTest, ApprovalIsAskedForBeforeTheWork) {
    startAtPrompt({"STANDIN_CODEX=approval"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("› 1. Yes, proceed"));
    EXPECT_THAT(backend.requestLines(), IsEmpty());
    terminal->type("\r");
    EXPECT_TRUE(terminal->sees("Posted the completion comment"));
}

TEST_F(StandinCodexBehaviourTest, ARefusedApprovalEndsTheWorkButNotTheAgent) {
    startAtPrompt({"STANDIN_CODEX=approval"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("› 1. Yes, proceed"));
    terminal->type("2");
    EXPECT_TRUE(terminal->sees("The command was not allowed."));
    EXPECT_TRUE(terminal->sees("Type a goal"));
    EXPECT_THAT(backend.requestLines(), IsEmpty());
}

TEST_F(StandinCodexBehaviourTest, ApprovalForEverHearsNoAnswer) {
    startAtPrompt({"STANDIN_CODEX=approval-for-ever"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("› 1. Yes, proceed"));
    terminal->type("\r");
    EXPECT_TRUE(terminal->sees("› 1. Yes, proceed"));
    terminal->signal(SIGTERM);
    EXPECT_EQ(terminal->exitCode(), 128 + SIGTERM);
}

TEST_F(StandinCodexBehaviourTest, ALateComposerComesWithTheSwitchToPastes) {
    AgentTerminal& agent = start({"STANDIN_CODEX=late-composer:1"});
    EXPECT_TRUE(agent.sees("MCP startup complete"));
    EXPECT_THAT(agent.output(), Not(HasSubstr("›")));
    EXPECT_TRUE(agent.sees("\x1b[?2004h"));
    EXPECT_TRUE(agent.sees("›"));
}

TEST_F(StandinCodexBehaviourTest, NoGoalOffersNoSuchCommandAndTakesNone) {
    startAtPrompt({"STANDIN_CODEX=no-goal"});
    terminal->type("/goal");
    EXPECT_TRUE(terminal->sees("/goal"));
    terminal->type("\r");
    EXPECT_TRUE(terminal->sees("Unrecognized command: /goal"));
    EXPECT_THAT(terminal->output(), Not(HasSubstr("set the goal")));
    leave();
    EXPECT_EQ(terminal->exitCode(), 0);
    EXPECT_EQ(awaitState("SELECT count(*) FROM sqlite_master WHERE name = 'thread_goals'"), "0");
}

TEST_F(StandinCodexBehaviourTest, AnyOtherOffersItsCommands) {
    startAtPrompt();
    terminal->type("/");
    EXPECT_TRUE(terminal->sees("  /exit    end the agent"));
    EXPECT_TRUE(terminal->sees("  /goal    set the goal"));
}

TEST(StandinCodexConductsTest, NamesAreReadWithTheirNumbers) {
    const auto conducts = codex::parseConducts("idle,early-exit:3,,late-composer");
    ASSERT_TRUE(conducts);
    EXPECT_THAT(*conducts, ElementsAre(codex::Conduct{codex::Behaviour::idle},
                                       codex::Conduct{codex::Behaviour::earlyExit, 3}, codex::Conduct{},
                                       codex::Conduct{codex::Behaviour::lateComposer}));
    EXPECT_EQ(codex::conductOf(*conducts, 1), (codex::Conduct{codex::Behaviour::earlyExit, 3}));
    EXPECT_EQ(codex::conductOf(*conducts, 9), codex::Conduct{codex::Behaviour::lateComposer});
}

TEST(StandinCodexConductsTest, WhatIsNoBehaviourIsRefused) {
    for (const std::string text :
         {"sulk", "idle,sulk", "idle:3", "early-exit:", "early-exit:x", "early-exit:-1"}) {
        EXPECT_FALSE(codex::parseConducts(text)) << text;
    }
}

class StandinCodexDialogTest : public CodexSession {
  protected:
    /// What a dispatcher gives it, but one of the options with the word behind "-c".
    std::vector<std::string> without(const std::string& key) {
        const std::string trust =
            "projects={'" + repository.directory().string() + "'={trust_level='trusted'}}";
        std::vector<std::string> arguments;
        for (const std::string& value :
             {trust, std::string("features.goals=true"), std::string("features.daemon_auto_start=false"),
              std::string("check_for_update_on_startup=false")}) {
            if (!value.starts_with(key)) {
                arguments.insert(arguments.end(), {"-c", value});
            }
        }
        return arguments;
    }
};

TEST_F(StandinCodexDialogTest, AFolderThatIsNotTrustedIsAskedAboutAfterTheComposer) {
    AgentTerminal& agent = startWith(without("projects"));
    EXPECT_TRUE(agent.sees("Type a goal"));
    EXPECT_TRUE(agent.sees("Trust this folder?"));
    EXPECT_TRUE(agent.sees("› 1. Yes, continue"));
    agent.type("lost");
    agent.type("\r");
    EXPECT_TRUE(agent.sees("Type a goal"));
    EXPECT_THAT(agent.output(), Not(HasSubstr("lost")));
}

TEST_F(StandinCodexDialogTest, AFolderThatAPersonDoesNotTrustEndsIt) {
    AgentTerminal& agent = startWith(without("projects"));
    EXPECT_TRUE(agent.sees("› 1. Yes, continue"));
    agent.type("2");
    EXPECT_EQ(agent.exitCode(), 1);
}

TEST_F(StandinCodexDialogTest, AnUpdateIsOfferedUnlessItIsNotToLookForOne) {
    EXPECT_TRUE(startWith(without("check_for")).sees("Update available!"));
    terminal->type("2");
    EXPECT_TRUE(terminal->sees("Type a goal"));
}

TEST_F(StandinCodexDialogTest, ThereAreNoGoalsUnlessTheFeatureIsOn) {
    EXPECT_TRUE(startWith(without("features.goals")).sees("Type a goal"));
    terminal->type("/goal");
    EXPECT_TRUE(terminal->sees("/goal"));
    terminal->type("\r");
    EXPECT_TRUE(terminal->sees("Unrecognized command: /goal"));
}

TEST_F(StandinCodexDialogTest, AServiceLeadsItsConversationUnlessItIsOff) {
    startWith(without("features.daemon"));
    EXPECT_EQ(awaitState("SELECT source FROM threads"), "vscode");
}

TEST_F(StandinCodexDialogTest, ALoginMenuHearsNoAnswer) {
    AgentTerminal& agent = start({"STANDIN_CODEX=login"});
    EXPECT_TRUE(agent.sees("› 1. Sign in with an account"));
    agent.type("\r");
    EXPECT_TRUE(agent.sees("› 1. Sign in with an account"));
    EXPECT_THAT(agent.output(), Not(HasSubstr("Type a goal")));
}

TEST_F(StandinCodexDialogTest, ThePausedGoalOfAResumedConversationIsAskedAboutBeforeItsComposer) {
    startAtPrompt({"STANDIN_CODEX=approval"});
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("› 1. Yes, proceed"));
    terminal->signal(SIGTERM);
    terminal->exitCode();
    AgentTerminal& agent =
        start({"STANDIN_CODEX=resume-question"}, {"resume", awaitState("SELECT id FROM threads")});
    EXPECT_TRUE(agent.sees("Resume paused goal?"));
    EXPECT_TRUE(agent.sees("2. Leave paused"));
    EXPECT_THAT(agent.output(), Not(HasSubstr("Type a goal")));
    agent.type("2");
    EXPECT_TRUE(agent.sees("Type a goal"));
    EXPECT_EQ(awaitState("SELECT status FROM thread_goals WHERE status != 'active'"), "paused");
}

}  // namespace
}  // namespace quernlight::standin::test
