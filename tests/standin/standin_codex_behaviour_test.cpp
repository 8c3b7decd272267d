#include <csignal>

#include <boost/json.hpp>
#include <gmock/gmock.h>

#include "tests/standin/codex_session.hpp"

namespace quernlight::standin::test {
namespace {

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

}  // namespace
}  // namespace quernlight::standin::test
