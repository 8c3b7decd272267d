#include "quernlight/platform/spawn.hpp"

#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "quernlight/platform/exit_watcher.hpp"
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
        EXPECT_EQ(poll(&exited, 1, 60000), 1);
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

TEST_F(SpawnTest, AnExitCodeAndADeathBySignalAreToldApart) {
    EXPECT_EQ(exitCodeOf(spawnShell("exit 3")), 3);
    EXPECT_EQ(exitCodeOf(spawnShell("kill -KILL $$")), 137);
}

TEST_F(SpawnTest, AMissingProgramOrDirectoryIsTheSystemsError) {
    SpawnRequest request{.executable = "/no/such/program", .arguments = {"x"}};
    EXPECT_THROW(spawnProcess(request), std::system_error);
    request = {.executable = "/bin/true", .arguments = {"true"}, .workingDirectory = "/no/such/directory"};
    EXPECT_THROW(spawnProcess(request), std::system_error);
}

}  // namespace
}  // namespace quernlight
