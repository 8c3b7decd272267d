#include "host/session/goal_delivery.hpp"

#include <gmock/gmock.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// The goal of a session on bug 3f2a9c1d, about to be typed.
class GoalDeliveryTest : public test::ServicesFixture {
  protected:
    GoalDeliveryTest() {
        goalDelivery.follow(session,
                            {.itemID = bug,
                             .mailbox = mailbox.continuation(),
                             .onTrouble = [this](const DatabaseError& error) { meet(error.what()); }});
    }
    /// No event can be stored until one was tried.
    void fillDiskUntilTried() {
        run(
            store.database->execute("CREATE TRIGGER full BEFORE INSERT ON queue_events BEGIN"
                                    " SELECT RAISE(ABORT, 'disk is full'); END"));
    }
    void meet(const std::string& trouble) {
        troubles.push_back(trouble);
        Connection(directory / "queue.sqlite").executeOneShot("DROP TRIGGER full");
    }

    const Uuid bug = enqueue("3f2a9c1d").id;
    const Uuid session = randomUuid();
    SessionMailbox mailbox;
    std::vector<std::string> troubles;
};

TEST_F(GoalDeliveryTest, AGoalThatMetAFullDiskIsTypedOnceThereIsRoom) {
    fillDiskUntilTried();
    run(goalDelivery.aboutToType(session));
    EXPECT_THAT(troubles, ElementsAre(HasSubstr("disk is full")));
    EXPECT_EQ(history(bug), "enqueued typing");
    EXPECT_TRUE(std::holds_alternative<GoalTypingBegins>(run(mailbox.next())));
}

}  // namespace
}  // namespace quernlight::host
