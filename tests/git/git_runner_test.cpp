#include "quernlight/git/git_runner.hpp"

#include <csignal>
#include <filesystem>
#include <future>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/git/git_sandbox.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using test::runGitNow;
using test::runGitScript;
using test::ScopedVariable;
using testing::HasSubstr;

class GitRunnerTest : public testing::Test {
  protected:
    test::GitSandbox sandbox;
    const std::string repository = sandbox.makeRepository("Acme");
};

TEST_F(GitRunnerTest, OutputComesWithoutItsTrailingLineBreak) {
    EXPECT_EQ(runGitNow({"-C", repository, "rev-parse", "--show-toplevel"}),
              (GitCommandResult{0, repository}));
}

TEST_F(GitRunnerTest, OutputIsTrimmedOfUnicodeWhiteSpaceAtBothEnds) {
    EXPECT_EQ(runGitScript("printf ' \\n\\t a b \\302\\240\\r\\n'").output, "a b");
}

TEST_F(GitRunnerTest, StandardOutputAndErrorInterleaveInTheOrderWritten) {
    EXPECT_EQ(runGitScript("echo one; echo two >&2; echo three").output, "one\ntwo\nthree");
}

TEST_F(GitRunnerTest, TheExitStatusIsGits) {
    EXPECT_EQ(runGitScript("exit 7").status, 7);
    EXPECT_EQ(runGitNow({"-C", sandbox.path("nowhere"), "status"}).status, 128);
}

TEST_F(GitRunnerTest, MoreThanAPipeHoldsDoesNotHang) {
    const GitCommandResult result = runGitScript("head -c 1048576 /dev/zero | tr '\\0' x");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, std::string(1048576, 'x'));
}

TEST_F(GitRunnerTest, OutputThatIsNoUtf8CountsAsEmpty) {
    EXPECT_EQ(runGitScript("printf 'before \\377 after'; exit 3"), (GitCommandResult{3, ""}));
}

TEST_F(GitRunnerTest, AGitThatCannotBeStartedGivesStatusOneAndTheReason) {
    const GitCommandResult result = runGitNow({"-C", std::string(4 << 20, 'x'), "status"});
    EXPECT_EQ(result, (GitCommandResult{1, "Unable to start /usr/bin/git: Argument list too long"}));
    EXPECT_EQ(result.systemError, std::errc::argument_list_too_long);
}

TEST_F(GitRunnerTest, AnArgumentWithANullCharacterIsRefusedRatherThanCut) {
    const GitCommandResult result = runGitNow({"-C", repository, "rev-parse", std::string("main\0~1", 7)});
    EXPECT_EQ(result, (GitCommandResult{1, "Unable to start /usr/bin/git: Invalid argument"}));
}

TEST_F(GitRunnerTest, AGitThatIsKilledIsNoSuccess) {
    EXPECT_EQ(runGitScript("kill -KILL $PPID").status, 128 + SIGKILL);
}

TEST_F(GitRunnerTest, AGitWhoseExitStatusIsLostIsNoSuccessAndNoAnswerOfGits) {
    const test::IgnoredSignal ignored(SIGCHLD);
    const GitCommandResult result = runGitScript("exit 0");
    EXPECT_LT(result.status, 0);
    EXPECT_THAT(result.output, testing::StartsWith("The exit status of /usr/bin/git is lost"));
}

TEST_F(GitRunnerTest, ArgumentsReachGitAsTheyAre) {
    const std::string format = "--format=tformat:$HOME '*' \"; exit 3";
    EXPECT_EQ(runGitNow({"-C", repository, "log", format}), (GitCommandResult{0, "$HOME '*' \"; exit 3"}));
}

TEST_F(GitRunnerTest, TheSystemsGitIsStartedWhateverThePathSays) {
    const std::string impostor = sandbox.path("bin/git");
    test::writeFile(impostor, "#!/bin/sh\necho impostor\n");
    std::filesystem::permissions(impostor, std::filesystem::perms::owner_all);
    const ScopedVariable path("PATH", sandbox.path("bin"));
    EXPECT_EQ(runGitNow({"-C", repository, "branch", "--show-current"}).output, "main");
}

TEST_F(GitRunnerTest, TheCallersWorkingDirectoryAndEnvironmentAreGits) {
    const test::ScopedWorkingDirectory directory(repository);
    EXPECT_EQ(runGitNow({"rev-parse", "--show-toplevel"}).output, repository);
    const ScopedVariable variable("QUERNLIGHT_DISPATCH_TEST", "inherited");
    EXPECT_EQ(runGitScript("echo $QUERNLIGHT_DISPATCH_TEST").output, "inherited");
}

TEST_F(GitRunnerTest, WithVariablesOfItsOwnAHookDoesNotSeeWhatIsNoneOfItsBusiness) {
    const ScopedVariable secret("AWS_SECRET_ACCESS_KEY", "secret");
    const GitRunner git = runGitWith({});
    EXPECT_EQ(test::runTask(git({"-c", "alias.tell=!echo ${AWS_SECRET_ACCESS_KEY-unset} #", "tell"})),
              (GitCommandResult{0, "unset"}));
}

TEST_F(GitRunnerTest, GitWarnsInWordsThatAreToldFromAnAnswerWhateverTheUsersLanguage) {
    sandbox.warnAlways(repository);
    const ScopedVariable language("LANGUAGE", "de");
    EXPECT_THAT(runGitNow({"-C", repository, "rev-parse", "--show-toplevel"}).output,
                testing::StartsWith("warning: "));
}

TEST_F(GitRunnerTest, AnAnswerIsStandardOutputAlone) {
    sandbox.warnAlways(repository);
    const GitRunner ask = runGitWith({}, GitOutput::answer);
    EXPECT_EQ(test::runTask(ask({"-C", repository, "rev-parse", "--show-toplevel"})),
              (GitCommandResult{0, repository}));
}

TEST_F(GitRunnerTest, AFailureTellsBothStreamsWhateverWasAskedFor) {
    const GitRunner ask = runGitWith({}, GitOutput::answer);
    const std::string script = "alias.script=!echo words >&2; echo answer; exit 3";
    EXPECT_EQ(test::runTask(ask({"-c", script, "script"})), (GitCommandResult{3, "answer\nwords"}));
}

TEST_F(GitRunnerTest, VariablesThatAreGivenReachGitAndWhatItStarts) {
    const GitRunner marked = runGitWith({"MARK=ours"});
    EXPECT_EQ(test::runTask(marked({"-c", "alias.script=!echo $MARK", "script"})).output, "ours");
}

TEST_F(GitRunnerTest, StandardInputIsEmpty) {
    EXPECT_EQ(runGitScript("cat"), (GitCommandResult{0, ""}));
}

TEST_F(GitRunnerTest, GitHasNoTerminalToAskAt) {
    EXPECT_NE(runGitScript("exec 3</dev/tty").status, 0);
}

TEST_F(GitRunnerTest, GitLeadsASessionOfItsOwn) {
    // Of the script's own line there: its parent, which is git, and its session (proc(5)).
    const std::string parentAndSession = runGitScript("cut -d' ' -f4,6 /proc/$$/stat").output;
    const auto blank = parentAndSession.find(' ');
    ASSERT_NE(blank, std::string::npos) << parentAndSession;
    EXPECT_EQ(parentAndSession.substr(0, blank), parentAndSession.substr(blank + 1));
}

TEST_F(GitRunnerTest, NoProgramOfTheUsersIsAskedForCredentials) {
    const std::string impostor = sandbox.path("ask");
    test::writeFile(impostor, "#!/bin/sh\necho answered\n");
    std::filesystem::permissions(impostor, std::filesystem::perms::owner_all);
    const ScopedVariable ofGit("GIT_ASKPASS", impostor);
    const ScopedVariable ofSsh("SSH_ASKPASS", impostor);
    const GitCommandResult result =
        runGitScript("printf 'protocol=https\\nhost=git.example\\n\\n' | git -c core.askPass=" + impostor +
                     " credential fill");
    EXPECT_EQ(result.status, 128);
    EXPECT_THAT(result.output, testing::Not(HasSubstr("answered")));
}

TEST_F(GitRunnerTest, APromptForCredentialsFailsInsteadOfHanging) {
    const GitCommandResult result =
        runGitScript("printf 'protocol=https\\nhost=git.example\\n\\n' | git credential fill");
    EXPECT_EQ(result.status, 128);
    EXPECT_THAT(result.output, HasSubstr("terminal prompts disabled"));
}

TEST_F(GitRunnerTest, AGitDirectoryInTheEnvironmentDoesNotDefeatTheGivenPath) {
    const std::string other = sandbox.makeRepository("Other");
    const ScopedVariable directory("GIT_DIR", other + "/.git");
    const ScopedVariable workTree("GIT_WORK_TREE", other);
    EXPECT_EQ(runGitNow({"-C", repository, "rev-parse", "--show-toplevel"}).output, repository);
}

TEST_F(GitRunnerTest, ConfigurationLeftByAnOuterGitIsNotInherited) {
    const ScopedVariable count("GIT_CONFIG_COUNT", "1");
    const ScopedVariable key("GIT_CONFIG_KEY_0", "user.name");
    const ScopedVariable value("GIT_CONFIG_VALUE_0", "Somebody");
    EXPECT_EQ(runGitNow({"-C", repository, "config", "user.name"}).output, "Test");
}

TEST_F(GitRunnerTest, TracingDoesNotMixIntoTheAnswer) {
    const ScopedVariable trace("GIT_TRACE", "1");
    EXPECT_EQ(runGitNow({"-C", repository, "branch", "--show-current"}).output, "main");
}

TEST_F(GitRunnerTest, TracingThatTheUserHasConfiguredDoesNotMixIntoTheAnswer) {
    const std::string configuration = sandbox.path("traced");
    test::writeFile(configuration, "[trace2]\nnormalTarget = 2\nperfTarget = 2\neventTarget = 2\n");
    const ScopedVariable user("GIT_CONFIG_GLOBAL", configuration);
    EXPECT_EQ(runGitNow({"-C", repository, "branch", "--show-current"}), (GitCommandResult{0, "main"}));
}

TEST_F(GitRunnerTest, ColoursThatTheUserWantsEverywhereDoNotReachTheAnswer) {
    sandbox.git(repository, {"config", "color.ui", "always"});
    sandbox.git(repository, {"config", "color.branch", "always"});
    EXPECT_EQ(sandbox.git(repository, {"branch"}), "* main");
}

TEST_F(GitRunnerTest, PatternsAreBasicWhateverTheUserPrefers) {
    sandbox.git(repository, {"config", "grep.patternType", "extended"});
    sandbox.commit(repository, "mentions #7");
    sandbox.commit(repository, "merged (#7)");
    EXPECT_EQ(sandbox.git(repository, {"log", "--format=%s", "--grep=(#7)"}), "merged (#7)");
}

TEST_F(GitRunnerTest, NamesBeyondAsciiAreNotQuoted) {
    test::writeFile(repository + "/Ünïcode.txt", "");
    EXPECT_EQ(sandbox.git(repository, {"ls-files", "--others"}), "Ünïcode.txt");
}

TEST_F(GitRunnerTest, SeveralRunsAtOnceOnSeveralThreadsDoNotDisturbOneAnother) {
    boost::asio::thread_pool threads(4);
    std::vector<std::future<GitCommandResult>> runs;
    for (int number = 0; number < 12; ++number) {
        Task<GitCommandResult> run = runGit(
            {"-c", "alias.say=!echo " + std::to_string(number) + "; exit " + std::to_string(number), "say"});
        runs.push_back(boost::asio::co_spawn(threads, std::move(run), boost::asio::use_future));
    }
    for (int number = 0; number < 12; ++number) {
        EXPECT_EQ(runs[static_cast<std::size_t>(number)].get(),
                  (GitCommandResult{number, std::to_string(number)}));
    }
}

}  // namespace
}  // namespace quernlight
