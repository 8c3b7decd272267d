#include "quernlight/runner/session_leader.hpp"

#include <csignal>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "quernlight/platform/exit_watcher.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using namespace test;

/// A process that is not this one's child, in a session of its own.
class Stranger {
  public:
    Stranger() {
        parent_ = spawnProcess({.executable = "/bin/sh",
                                .arguments = {"sh", "-c", "setsid sleep 1000 & echo $! > pid; wait"},
                                .environment = {"PATH=/usr/bin:/bin"},
                                .workingDirectory = directory_.path()});
        const auto file = directory_ / "pid";
        eventually([&] { return std::filesystem::exists(file) && readFile(file).ends_with('\n'); });
        pid_ = std::stoi(readFile(file));
    }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;
    ~Stranger() {
        ::kill(pid_, SIGKILL);
        ::kill(-parent_, SIGKILL);
        ::waitpid(parent_, nullptr, 0);
    }

    pid_t pid() const { return pid_; }

  private:
    TemporaryDirectory directory_;
    pid_t parent_ = -1;
    pid_t pid_ = -1;
};

TEST(SessionLeaderTest, BeforeTheLaunchNothingIsSignalledAndNothingReaped) {
    SessionLeader leader;
    leader.signal(SIGKILL);
    EXPECT_EQ(leader.reap(), std::nullopt);
    EXPECT_EQ(leader.processID(), -1);
}

TEST(SessionLeaderTest, AChildWithoutAGroupOfItsOwnIsSignalledAlone) {
    const pid_t child = fork();
    if (child == 0) {
        while (true) {
            pause();
        }
    }
    SessionLeader leader;
    leader.launched(child);
    leader.signal(SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(SessionLeaderTest, AProcessThatHasTheNumberNowIsNotSignalled) {
    const Stranger stranger;
    SessionLeader leader;
    leader.launched(stranger.pid());
    EXPECT_EQ(leader.reap(), std::nullopt);  // no child of this process bears the number any more
    const FileDescriptor watcher = watchExit(stranger.pid());
    leader.signal(SIGKILL);
    pollfd ended{.fd = watcher.get(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(poll(&ended, 1, 200), 0);
}

}  // namespace
}  // namespace quernlight
