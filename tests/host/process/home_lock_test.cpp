#include "host/process/home_lock.hpp"

#include <future>
#include <optional>

#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

class HomeLockTest : public testing::Test {
  protected:
    /// Why the home cannot be locked; empty when it can.
    std::string refusal() const {
        try {
            const HomeLock lock(home);
            return "";
        } catch (const UserError& error) {
            return error.what();
        }
    }

    test::TemporaryDirectory directory;
    std::filesystem::path home = directory.path();
};

TEST_F(HomeLockTest, ASecondOwnerIsRefusedByTheFirstOnesProcessAndSinceWhen) {
    const HomeLock lock(home);
    EXPECT_THAT(refusal(),
                testing::MatchesRegex("The dispatch home " + home.string() + " belongs to process " +
                                      std::to_string(getpid()) +
                                      " since [0-9]+-[0-9]+-[0-9]+T[0-9:.]+Z; stop that one first, or choose "
                                      "another home with --home."));
}

TEST_F(HomeLockTest, TheHomeIsFreeAgainWhenTheOwnerIsGone) {
    std::optional<HomeLock> lock(home);
    lock.reset();
    EXPECT_EQ(refusal(), "");
}

TEST_F(HomeLockTest, ALockFileThatACrashLeftBehindDoesNotLock) {
    test::writeFile(home / "owner.lock", "process 1 since 2026-03-04T05:06:07.000Z\n");
    EXPECT_EQ(refusal(), "");
}

TEST_F(HomeLockTest, IsInPlaceUntilTheHomeIsRemovedMovedOrReplaced) {
    home /= "inner";
    std::filesystem::create_directories(home);
    const HomeLock lock(home);
    EXPECT_TRUE(lock.isInPlace());
    std::filesystem::rename(home, directory / "moved");
    EXPECT_FALSE(lock.isInPlace());
    test::writeFile(home / "owner.lock", "another's");
    EXPECT_FALSE(lock.isInPlace());
    std::filesystem::remove_all(home);
    std::filesystem::rename(directory / "moved", home);
    EXPECT_TRUE(lock.isInPlace());
}

TEST_F(HomeLockTest, OneWhoWaitsGetsTheHomeOnceItIsFree) {
    std::optional<HomeLock> first(home);
    auto second = std::async(std::launch::async, [this] { HomeLock(home, test::generousBound); });
    first.reset();
    EXPECT_NO_THROW(second.get());
}

TEST_F(HomeLockTest, HomesAreLockedOneByOne) {
    std::filesystem::create_directories(home / "other");
    const HomeLock lock(home);
    EXPECT_NO_THROW(HomeLock(home / "other"));
}

TEST_F(HomeLockTest, AHomeThatCannotBeWrittenIsToldByItsName) {
    test::writeFile(home / "file", "");
    home /= "file";
    EXPECT_EQ(refusal(), "The dispatch home " + home.string() +
                             " cannot be written (Not a directory); choose another with --home or check its "
                             "permissions.");
}

}  // namespace
}  // namespace quernlight::host
