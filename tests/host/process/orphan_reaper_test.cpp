#include "host/process/orphan_reaper.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr pid_t self = 7;

/// A reaper that is shown tables, second by second.
class OrphanReaperTest : public testing::Test {
  protected:
    static ProcessEntry zombie(pid_t pid, pid_t parent = self) {
        return {.pid = pid, .parent = parent, .session = pid, .startTime = "b", .isZombie = true};
    }
    std::vector<pid_t> dueAt(int second, const std::vector<ProcessEntry>& table) {
        return reaper.due(table, self, OrphanReaper::TimePoint(seconds(second)));
    }

    OrphanReaper reaper;
};

TEST_F(OrphanReaperTest, AZombieThatNobodyReapsForTenSecondsIsReaped) {
    EXPECT_THAT(dueAt(0, {zombie(50)}), IsEmpty());
    EXPECT_THAT(dueAt(9, {zombie(50), zombie(51)}), IsEmpty());
    EXPECT_THAT(dueAt(10, {zombie(50), zombie(51)}), ElementsAre(50));
}

TEST_F(OrphanReaperTest, ChildrenThatLiveAndZombiesOfOthersAreLeftAlone) {
    ProcessEntry living = zombie(50);
    living.isZombie = false;
    dueAt(0, {living, zombie(51, 1)});
    EXPECT_THAT(dueAt(100, {living, zombie(51, 1)}), IsEmpty());
}

TEST_F(OrphanReaperTest, APidThatIsUsedAgainBeginsAnew) {
    dueAt(0, {zombie(50)});
    ProcessEntry later = zombie(50);
    later.startTime = "later";
    EXPECT_THAT(dueAt(20, {later}), IsEmpty());
    EXPECT_THAT(dueAt(25, {}), IsEmpty());
    EXPECT_THAT(dueAt(40, {later}), IsEmpty());
    EXPECT_THAT(dueAt(50, {later}), ElementsAre(50));
}

}  // namespace
}  // namespace quernlight::host
