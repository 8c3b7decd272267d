#include "host/dispatcher/home_watch.hpp"

#include <gmock/gmock.h>

#include "host/process/user_error.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class HomeWatchTest : public test::ServicesFixture {
  protected:
    HomeWatchTest() {
        services.homeIsInPlace = [this] { return inPlace; };
    }
    void homeIs(bool there) {
        inPlace = there;
        watch.lookForHome();
    }

    bool inPlace = true;
    std::vector<std::exception_ptr> ends;  // of the program
    ChoreContext context{.services = services,
                         .endProgram = [this](std::exception_ptr failure) { ends.push_back(failure); }};
    HomeWatch watch{context};
};

TEST_F(HomeWatchTest, AHomeThatIsAwayIsOneAlertUntilItIsBack) {
    homeIs(false);
    homeIs(false);
    EXPECT_THAT(published.alerts.at({AlertTopic::home}), HasSubstr("was removed, moved or replaced"));
    EXPECT_EQ(published.notices.size(), 1U);
    homeIs(true);
    EXPECT_THAT(published.alerts, IsEmpty());
    EXPECT_EQ(published.notices.back(), "The dispatch home is back in its place.");
    EXPECT_THAT(ends, IsEmpty());
}

TEST_F(HomeWatchTest, ARunOnceEndsWithTheReason) {
    context.once = true;
    homeIs(false);
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_THROW(std::rethrow_exception(ends.front()), UserError);
}

TEST_F(HomeWatchTest, AFailedWriteIsTriedUntilItIsPossibleAndToldOnce) {
    disk.failed(DatabaseError(DatabaseError::Kind::stepFailed, "database or disk is full"));
    run(watch.tryWriting());
    run(watch.tryWriting());
    EXPECT_THAT(diskChanges, ElementsAre(HasSubstr("disk is full"), ""));
}

TEST_F(HomeWatchTest, NothingIsTriedInAHomeThatIsAway) {
    disk.failed(DatabaseError(DatabaseError::Kind::stepFailed, "database or disk is full"));
    inPlace = false;
    run(watch.tryWriting());
    EXPECT_FALSE(disk.isWell());
}

}  // namespace
}  // namespace quernlight::host
