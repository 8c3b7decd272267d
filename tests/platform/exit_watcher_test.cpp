#include "quernlight/platform/exit_watcher.hpp"

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"

namespace quernlight {
namespace {

/// A child that lives until its standard input is closed.
class ExitWatcherTest : public testing::Test {
  protected:
    ~ExitWatcherTest() override { waitpid(child_, nullptr, 0); }

    static bool fires(const FileDescriptor& watcher, int milliseconds = 60000) {
        pollfd exited{watcher.get(), POLLIN, 0};
        return poll(&exited, 1, milliseconds) == 1;
    }

    bool endsAndFires(const FileDescriptor& watcher) {
        input_.writing.close();
        while (fires(watcher)) {
            if (canBeReaped(watcher.get(), child_)) {
                return true;
            }
        }
        return false;
    }

    Pipe input_ = openPipe();
    pid_t child_ = spawnProcess({.executable = "/bin/cat",
                                 .arguments = {"/bin/cat"},
                                 .streams = DescriptorStreams{.input = input_.reading.get()}});
};

TEST_F(ExitWatcherTest, FiresWhenTheChildHasExitedAndNotBefore) {
    const FileDescriptor watcher = watchExit(child_);
    EXPECT_FALSE(fires(watcher, 0));
    EXPECT_TRUE(endsAndFires(watcher));
}

TEST_F(ExitWatcherTest, TheChildIsThereToBeReapedWithoutWaitingOnceItSaysSo) {
    const FileDescriptor watcher = watchExit(child_);
    ASSERT_TRUE(endsAndFires(watcher));
    EXPECT_EQ(waitpid(child_, nullptr, WNOHANG), child_);
}

TEST_F(ExitWatcherTest, FiresAtOnceForAChildThatHasExitedBefore) {
    ASSERT_TRUE(endsAndFires(watchExit(child_)));
    EXPECT_TRUE(endsAndFires(watchExit(child_)));
}

TEST_F(ExitWatcherTest, IsNotInheritedByOtherChildren) {
    const FileDescriptor watcher = watchExit(child_);
    EXPECT_EQ(fcntl(watcher.get(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    input_.writing.close();
}

TEST_F(ExitWatcherTest, APidThatIsNoProcessIsRefused) {
    EXPECT_THROW(watchExit(-1), std::system_error);
    input_.writing.close();
}

TEST_F(ExitWatcherTest, TheSignalOfTheChildsEndIsLeftToTheHost) {
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &before), 0);
    EXPECT_TRUE(endsAndFires(watchExit(child_)));
    struct sigaction after {};
    ASSERT_EQ(sigaction(SIGCHLD, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

}  // namespace
}  // namespace quernlight
