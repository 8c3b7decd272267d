#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* bugID = "3f2a9c1d";

/// The real program with an agent that asks before it can be typed to.
class AgentDialogsTest : public test::DispatchFixture {
  protected:
    AgentDialogsTest() { reportClearBug(bugID); }

    void startRun() {
        mapApp();
        startBackend();
        program = start(runWith());
    }
    void configure(const std::string& key, const std::string& value) {
        const auto set = dispatch({"config", "set", key, value, "--home", home()});
        ASSERT_EQ(set.exitCode, 0) << set.error;
    }

    std::string screen() {
        return dispatch({"sessions", "show", bugID, "--screen", "--home", home()}).output;
    }
    bool comesInHistory(const std::string& kinds) {
        return test::eventually([&] { return history(bugID).find(kinds) != std::string::npos; });
    }
    void answer(const std::string& keys) {
        const auto sent = dispatch({"sessions", "send", bugID, keys, "--home", home()});
        EXPECT_EQ(sent.exitCode, 0) << sent.error;
    }

    /// Nothing was typed into the question, which stands as it came.
    void expectUntouched(const std::string& question) {
        EXPECT_THAT(screen(), AllOf(HasSubstr(question), HasSubstr("› 1. "), Not(HasSubstr("/goal"))));
        EXPECT_THAT(history(bugID), Not(HasSubstr("typing")));
    }
    void expectCompletion() {
        EXPECT_TRUE(test::eventually([&] { return status(bugID) == "completed"; }))
            << history(bugID) << program->output() << screen();
        end();
    }
    void end() {
        program->signal(SIGINT);
        program->exitCode();
    }

    std::unique_ptr<test::DispatchProcess> program;
};

TEST_F(AgentDialogsTest, APersonIsToldOfATrustQuestionAtOnceAndTheirAnswerLetsTheWorkBegin) {
    configure("agent.trust", "false");
    startRun();
    ASSERT_TRUE(program->says("The agent asks (trust question): Trust this folder?")) << program->output();
    expectUntouched("Trust this folder?");
    EXPECT_THAT(dispatch({"queue", "show", bugID, "--home", home()}).output, HasSubstr("needs you"));
    answer("1");
    expectCompletion();
}

TEST_F(AgentDialogsTest, NothingIsTypedIntoALoginMenu) {
    agentDoes(bugID, "login");
    startRun();
    ASSERT_TRUE(program->says("The agent is not logged in")) << program->output();
    expectUntouched("Sign in with an account");
    end();
}

/// An agent that is told to go on with a conversation asks first whether it should work for the goal of the
/// last session.
class PausedGoalTest : public AgentDialogsTest {
  protected:
    void interruptAndResume() {
        agentDoes(bugID, "approval,resume-question");
        startRun();
        ASSERT_TRUE(comesInHistory("goalAccepted")) << history(bugID);
        ASSERT_TRUE(comesInHistory("needsPerson")) << history(bugID);
        end();
        ASSERT_THAT(history(bugID), HasSubstr("resumable"));
        program = start(runWith());
    }
};

TEST_F(PausedGoalTest, IsLeftPausedAndTheNewOneTyped) {
    ASSERT_NO_FATAL_FAILURE(interruptAndResume());
    expectCompletion();
    const std::string all = history(bugID);
    EXPECT_THAT(all.substr(all.find("resumable")),
                AllOf(HasSubstr("goalAccepted"), Not(HasSubstr("needsPerson"))));
}

TEST_F(PausedGoalTest, IsAPersonsQuestionWhereTheyAnswerThemselves) {
    configure("agent.answer_dialogs", "false");
    ASSERT_NO_FATAL_FAILURE(interruptAndResume());
    ASSERT_TRUE(program->says("The agent asks (resume goal question)")) << program->output();
    EXPECT_THAT(screen(), HasSubstr("› 1. Resume goal"));
    answer("2");
    ASSERT_TRUE(program->says("The agent asks (replace goal question)")) << program->output();
    answer("1");
    expectCompletion();
}

/// Before its composer an agent asks its terminal what it can, and waits for the answers.
TEST_F(AgentDialogsTest, AnAgentsTerminalAnswersAllThatItIsAsked) {
    EXPECT_EQ(workAll().exitCode, 0);
    const std::string log = dispatch({"sessions", "log", bugID, "--home", home()}).output;
    EXPECT_THAT(log, HasSubstr("answers 5 of 5"));
}

}  // namespace
}  // namespace quernlight
