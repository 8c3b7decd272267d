#include "quernlight/platform/spawn.hpp"

#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "quernlight/platform/exit_watcher.hpp"
#include "quernlight/platform/process_table.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

class SpawnTest : public testing::Test {
  protected:
    pid_t spawnShell(const std::string& script) {
        return spawnProcess({.executable = "/bin/sh",
                             .arguments = {"/bin/sh", "-c", script},
                             .environment = {"PATH=/usr/bin:/bin", "GREETING=hello"},
                             .workingDirectory = directory_.path(),
                             .streams = DescriptorStreams{}});
    }

    int exitCodeOf(pid_t child) {
        const FileDescriptor watcher = watchExit(child);
        pollfd exited{watcher.get(), POLLIN, 0};
        do {
            EXPECT_EQ(poll(&exited, 1, 60000), 1);
        } while (!canBeReaped(watcher.get(), child));
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, WNOHANG), child) << "the watcher fires only after the exit";
        return exitCodeOfWaitStatus(status);
    }

    std::string written(const std::string& name) { return test::readFile(directory_ / name); }

    test::TemporaryDirectory directory_;
};

TEST_F(SpawnTest, RunsInItsDirectoryWithExactlyItsEnvironment) {
    EXPECT_EQ(exitCodeOf(spawnShell("env | grep -v -e ^PWD -e ^SHLVL -e ^_= | sort > seen")), 0);
    EXPECT_EQ(written("seen"), "GREETING=hello\nPATH=/usr/bin:/bin\n");
}

TEST_F(SpawnTest, LeadsASessionAndInheritsNoDescriptor) {
    const FileDescriptor leak(open("/dev/null", O_RDONLY));
    const pid_t child = spawnShell("ls /proc/self/fd | wc -l > count; cut -d' ' -f6 /proc/$$/stat > session");
    EXPECT_EQ(exitCodeOf(child), 0);
    EXPECT_EQ(written("session"), std::to_string(child) + "\n");
    EXPECT_EQ(std::stoi(written("count")), 4) << "0, 1, 2 and the directory that ls itself reads";
}

TEST_F(SpawnTest, IgnoredSignalsAreBackAtTheirDefaultInTheChild) {
    const auto before = std::signal(SIGTERM, SIG_IGN);
    const pid_t child = spawnShell("kill -TERM $$; exit 0");
    std::signal(SIGTERM, before);
    EXPECT_EQ(exitCodeOf(child), 128 + SIGTERM);
}

TEST_F(SpawnTest, BlockedSignalsAreNotBlockedInTheChild) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const pid_t child = spawnShell("kill -TERM $$; exit 0");
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(exitCodeOf(child), 128 + SIGTERM);
}

TEST_F(SpawnTest, StreamsThatAreNotGivenAreTheNullDevice) {
    EXPECT_EQ(
        exitCodeOf(spawnShell("for fd in 0 1 2; do test /proc/$$/fd/$fd -ef /dev/null || exit 1; done")), 0);
}

TEST(ExitCodeOfWaitStatusTest, IsTheExitStatusOr128AndTheSignalOrTheStatusAsItStands) {
    struct Row {
        const char* name;
        int status;
        int expected;
    };
    const Row rows[] = {
        {"a normal exit", 0, 0},
        {"a normal exit with a code", 3 << 8, 3},
        {"a normal exit with the largest code", 255 << 8, 255},
        {"killed by SIGINT", 2, 130},
        {"killed by SIGKILL", 9, 137},
        {"killed by SIGTERM", 15, 143},
        {"killed by SIGSEGV, with a core file", 0x80 | 11, 139},
        {"stopped", 19 << 8 | 0x7F, 19 << 8 | 0x7F},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(exitCodeOfWaitStatus(row.status), row.expected) << row.name;
    }
}

TEST_F(SpawnTest, AnExitCodeAndADeathBySignalAreToldApart) {
    EXPECT_EQ(exitCodeOf(spawnShell("exit 3")), 3);
    EXPECT_EQ(exitCodeOf(spawnShell("kill -KILL $$")), 137);
}

TEST_F(SpawnTest, WithoutADirectoryTheChildRunsInTheCallers) {
    const std::string seen = directory_ / "seen";
    const pid_t child =
        spawnProcess({.executable = "/bin/sh", .arguments = {"/bin/sh", "-c", "pwd -P > " + seen}});
    EXPECT_EQ(exitCodeOf(child), 0);
    EXPECT_EQ(test::readFile(seen), std::filesystem::canonical(".").string() + "\n");
}

TEST_F(SpawnTest, WhatItHasStartedIsKnownAndNothingElseIs) {
    const pid_t child = spawnShell("exec sleep 600");
    ProcessEntry entry = processEntry(child);
    EXPECT_TRUE(isStartedHere(entry));
    EXPECT_FALSE(isStartedHere(processEntry(getpid())));
    entry.startTime = "another process of the same pid";
    EXPECT_FALSE(isStartedHere(entry));
    kill(child, SIGKILL);
    exitCodeOf(child);
}

TEST_F(SpawnTest, AMissingProgramOrDirectoryIsTheSystemsError) {
    const SpawnRequest rows[] = {
        {.executable = "/no/such/program", .arguments = {"x"}},
        {.executable = "/bin/true", .arguments = {"true"}, .workingDirectory = "/no/such/directory"},
        {.executable = "/bin/true", .arguments = {"true"}, .workingDirectory = ""},
    };
    for (const SpawnRequest& request : rows) {
        try {
            spawnProcess(request);
            ADD_FAILURE() << request.executable << " was started";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory) << request.executable;
        }
    }
}

TEST_F(SpawnTest, ATextWithANullCharacterIsRefusedRatherThanCut) {
    const std::string cut("true\0!", 6);
    const SpawnRequest rows[] = {
        {.executable = "/bin/true", .arguments = {"true", cut}},
        {.executable = "/bin/true", .arguments = {"true"}, .environment = {"A=" + cut}},
        {.executable = "/bin/" + cut, .arguments = {"true"}},
        {.executable = "/bin/true", .arguments = {"true"}, .workingDirectory = std::string("/\0x", 3)},
    };
    for (const SpawnRequest& request : rows) {
        try {
            exitCodeOf(spawnProcess(request));
            ADD_FAILURE() << "it was started";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::invalid_argument);
        }
    }
}

TEST_F(SpawnTest, AProgramThatMayNotBeRunIsTheSystemsError) {
    test::writeFile(directory_ / "program", "no program");
    try {
        spawnProcess({.executable = directory_ / "program", .arguments = {"program"}});
        ADD_FAILURE() << "it was started";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::permission_denied);
    }
}

TEST(SignalNameTest, IsTheNameThatShellsUse) {
    EXPECT_EQ(signalName(SIGSEGV), "SIGSEGV");
    EXPECT_EQ(signalName(SIGKILL), "SIGKILL");
}

TEST(SignalNameTest, ANumberWithoutANameIsShownAsTheNumber) {
    EXPECT_EQ(signalName(999), "signal 999");
}

TEST(PipeTest, WhatIsWrittenCanBeReadAndNeitherEndSurvivesAnExec) {
    Pipe pipe = openPipe();
    char byte = 'x';
    ASSERT_EQ(write(pipe.writing.get(), &byte, 1), 1);
    pipe.writing.close();
    EXPECT_EQ(read(pipe.reading.get(), &byte, 1), 1);
    EXPECT_EQ(read(pipe.reading.get(), &byte, 1), 0) << "the end comes when the writing end is closed";
    EXPECT_NE(fcntl(pipe.reading.get(), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace quernlight
