#include <poll.h>

#include "quernlight/platform/exit_watcher.hpp"
#include "tests/runner/pty_process_fixture.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Children that leave processes of their own behind on the terminal. Those ignore the hang-up that the end
/// of the session's leader brings.
class PTYProcessGrandchildrenTest : public PTYProcessFixture {
  protected:
    static std::string leaving(const std::string& grandchild) {
        return "trap '' HUP; " + grandchild + " & exit 4";
    }

    static bool exits(const FileDescriptor& watcher) {
        pollfd exit{.fd = watcher.get(), .events = POLLIN, .revents = 0};
        const auto bound = std::chrono::duration_cast<std::chrono::milliseconds>(generousBound);
        return ::poll(&exit, 1, static_cast<int>(bound.count())) == 1;
    }
};

// The grandchild ends when the terminal is closed, because it reads from it.
TEST_F(PTYProcessGrandchildrenTest, AGrandchildThatHoldsTheTerminalDoesNotDelayTheExit) {
    shell(leaving("cat <&1 >/dev/null"));
    EXPECT_EQ(log->exitCode(), 4);
    EXPECT_EQ(log->kinds(), "SX");
}

TEST_F(PTYProcessGrandchildrenTest, AGrandchildThatFloodsTheTerminalDoesNotDelayTheExit) {
    shell(leaving("yes"));
    EXPECT_EQ(log->exitCode(), 4);
    EXPECT_TRUE(log->kinds().ends_with("X"));
}

TEST_F(PTYProcessGrandchildrenTest, ASignalReachesTheWholeGroup) {
    shell("sleep 1000 & printf '%s.' $!; wait");
    const FileDescriptor grandchild = watchExit(std::stoi(log->outputWith(".")));
    terminate(TerminationMode::kill);
    EXPECT_EQ(log->exitCode(), 137);
    EXPECT_TRUE(exits(grandchild));
}

TEST_F(PTYProcessGrandchildrenTest, ASignalAfterTheExitReachesWhatIsLeftOfTheGroup) {
    shell("trap '' HUP; sleep 1000 >/dev/null 2>&1 & printf '%s.' $!; exit 0");
    const FileDescriptor grandchild = watchExit(std::stoi(log->outputWith(".")));
    EXPECT_EQ(log->exitCode(), 0);
    terminate(TerminationMode::kill);
    EXPECT_TRUE(exits(grandchild));
}

}  // namespace
}  // namespace quernlight
