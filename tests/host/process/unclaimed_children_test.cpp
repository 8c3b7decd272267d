#include "host/process/unclaimed_children.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr pid_t self = 7;

/// The children that are to be told of, second by second; process 60 is somebody's.
class UnclaimedChildrenTest : public testing::Test {
  protected:
    static ProcessEntry child(pid_t pid, pid_t parent = self) {
        return {.pid = pid, .parent = parent, .session = pid, .startTime = "b"};
    }
    std::vector<pid_t> dueAt(int second, const std::vector<ProcessEntry>& table) {
        const auto isClaimed = [](const ProcessEntry& process) { return process.pid == 60; };
        std::vector<pid_t> pids;
        for (const ProcessEntry& process :
             children.due(table, self, isClaimed, UnclaimedChildren::TimePoint(seconds(second)))) {
            pids.push_back(process.pid);
        }
        return pids;
    }

    UnclaimedChildren children;
};

TEST_F(UnclaimedChildrenTest, AnOrphanThatStaysIsToldOfOnce) {
    EXPECT_THAT(dueAt(0, {child(50)}), IsEmpty());
    EXPECT_THAT(dueAt(4, {child(50)}), IsEmpty());
    EXPECT_THAT(dueAt(5, {child(50), child(51)}), ElementsAre(50));
    EXPECT_THAT(dueAt(10, {child(50), child(51)}), ElementsAre(51));
    EXPECT_THAT(dueAt(20, {child(50), child(51)}), IsEmpty());
}

TEST_F(UnclaimedChildrenTest, ClaimedChildrenZombiesAndOthersChildrenAreNotToldOf) {
    ProcessEntry zombie = child(51);
    zombie.isZombie = true;
    dueAt(0, {child(60), zombie, child(52, 1)});
    EXPECT_THAT(dueAt(100, {child(60), zombie, child(52, 1)}), IsEmpty());
}

TEST_F(UnclaimedChildrenTest, APidThatIsUsedAgainIsAnotherProcess) {
    dueAt(0, {child(50)});
    EXPECT_THAT(dueAt(5, {child(50)}), ElementsAre(50));
    ProcessEntry later = child(50);
    later.startTime = "later";
    EXPECT_THAT(dueAt(6, {later}), IsEmpty());
    EXPECT_THAT(dueAt(11, {later}), ElementsAre(50));
}

}  // namespace
}  // namespace quernlight::host
