#include "host/session/patient_git.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/child_task.hpp"
#include "tests/support/eventually.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

/// A repository whose remote takes the connection and never answers.
class PatientGitTest : public testing::Test {
  protected:
    PatientGitTest() {
        const auto silent = repository.scratch("silent");
        quernlight::test::writeFile(silent, "#!/bin/sh\ntouch \"$0.asked\"\nexec sleep 6000\n");
        std::filesystem::permissions(silent, std::filesystem::perms::owner_all);
        repository.git({"config", "core.sshCommand", silent});
    }
    Task<void> fetch() {
        std::vector<std::string> arguments{"-C", repository.directory(), "fetch", "origin", "main"};
        result = co_await git(std::move(arguments));
    }
    bool isAsked() const { return std::filesystem::exists(repository.scratch("silent.asked")); }

    standin::test::HostedRepository repository;
    boost::asio::io_context io;
    StopSwitch stop;
    StopSwitch kill;
    Settings settings;
    GitRunner git = patientGit(stop, kill, settings);
    GitCommandResult result;
};

TEST_F(PatientGitTest, AFetchThatTakesTooLongIsEndedAndSaysWhatToDo) {
    settings.gitFetchSeconds = 0.2;
    quernlight::test::runTask(io, fetch());
    EXPECT_FALSE(result.succeeded());
    EXPECT_THAT(result.output, HasSubstr("git fetch did not end within 1 s (setting git.fetch_seconds);"));
}

TEST_F(PatientGitTest, AStopEndsAFetchAtOnce) {
    ChildTask fetching(io.get_executor(), "fetching", fetch());
    while (!isAsked()) {
        io.run_one_for(std::chrono::milliseconds(5));
    }
    stop.press();
    io.run();
    EXPECT_FALSE(result.succeeded());
}

TEST_F(PatientGitTest, AfterAKillNoCommandRuns) {
    kill.press();
    const auto status = quernlight::test::runTask(io, git({"-C", repository.directory(), "status"}));
    EXPECT_FALSE(status.succeeded());
}

TEST_F(PatientGitTest, AfterAStopNoFetchBeginsButOtherCommandsRun) {
    stop.press();
    quernlight::test::runTask(io, fetch());
    EXPECT_FALSE(result.succeeded());
    EXPECT_FALSE(isAsked());
    const auto status = quernlight::test::runTask(io, git({"-C", repository.directory(), "status"}));
    EXPECT_TRUE(status.succeeded()) << status.output;
}

}  // namespace
}  // namespace quernlight::host
