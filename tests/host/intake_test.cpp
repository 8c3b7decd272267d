#include "host/intake/intake.hpp"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>

#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using testing::ElementsAre;

/// A queue with bug 3f2a9c1d, on which a user has commented since it was finished.
class IntakeTest : public test::ServicesFixture {
  protected:
    /// The bug's item after its session has ended so.
    Uuid finished(const std::string& bugID, QueueItemStatus status) {
        const Uuid item = enqueue(bugID).id;
        const Uuid comment = randomUuid();
        run(manager.markStarting(item, randomUuid()));
        run(status == QueueItemStatus::completed ? manager.markCompleted(item, comment)
                                                 : manager.markAwaitingUserInput(item, comment));
        return item;
    }
    static json::object bug(const std::string& id, const std::string& status) {
        return {{"id", id},
                {"title", "Crash"},
                {"metadata", json::object()},
                {"status", status},
                {"occurred_at", "2026-03-01T09:00:00Z"},
                {"created_at", "2026-03-01T10:20:30Z"},
                {"updated_at", "2026-03-02T10:20:30Z"},
                {"attachment_count", 0},
                {"comment_count", 1},
                {"app_id", "00000000-0000-4000-8000-000000000001"},
                {"bundle_id", "com.acme.shop"},
                {"app_name", "Shop"}};
    }
    /// What the backend lists, in one of the three statuses it is asked for, and the user's comment.
    void backendLists(const json::object& listed) {
        for (const char* status : {"open", "investigate", "in_review"}) {
            const json::array bugs = listed.at("status") == status ? json::array{listed} : json::array();
            server.answer({.body = json::serialize(json::object{{"bugs", bugs}})});
        }
    }
    void userHasCommented() {
        const std::string later = formatInstant(currentInstant() + std::chrono::hours(1));
        const json::object comment{{"id", "0A000000-0000-4000-8000-00000000000A"},
                                   {"bug_id", "3f2a9c1d"},
                                   {"body", "Still red."},
                                   {"author_type", "user"},
                                   {"attachments", json::array()},
                                   {"created_at", later},
                                   {"updated_at", later}};
        server.answer({.body = json::serialize(json::object{{"comments", json::array{comment}}})});
    }
    void takeIn() { run(intake.takeIn()); }

    std::vector<bool> busy;  // answers to come; free when there are none
    Intake intake{services, IntakeScope::openBugs, 200, [this](const Uuid&) {
                      const bool answer = !busy.empty() && busy.front();
                      busy.erase(busy.begin(), busy.begin() + (busy.empty() ? 0 : 1));
                      return answer;
                  }};
};

TEST_F(IntakeTest, ACommentOnWorkInReviewQueuesTheBugForAFollowUp) {
    const Uuid item = finished("3f2a9c1d", QueueItemStatus::completed);
    backendLists(bug("3f2a9c1d", "in_review"));
    userHasCommented();
    takeIn();
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_EQ(this->item(item).goalFlow, QueueItemGoalFlow::addressReview);
    EXPECT_THAT(history(item), testing::EndsWith("retried followUpWanted"));
}

TEST_F(IntakeTest, AnAnswerToTheAgentsQuestionQueuesTheBugAgain) {
    const Uuid item = finished("3f2a9c1d", QueueItemStatus::awaitingUserInput);
    backendLists(bug("3f2a9c1d", "investigate"));
    userHasCommented();
    takeIn();
    EXPECT_EQ(status(item), QueueItemStatus::queued);
}

TEST_F(IntakeTest, AnItemThatBecameBusyMeanwhileIsLookedAtAgain) {
    const Uuid item = finished("3f2a9c1d", QueueItemStatus::completed);
    busy = {false, true};
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(status(item), QueueItemStatus::completed);
        backendLists(bug("3f2a9c1d", "in_review"));
        userHasCommented();
        takeIn();
    }
    EXPECT_EQ(status(item), QueueItemStatus::queued);
}

TEST_F(IntakeTest, CommentsAreReadAgainOnlyWhenTheBugHasChanged) {
    finished("3f2a9c1d", QueueItemStatus::completed);
    backendLists(bug("3f2a9c1d", "in_review"));
    server.answer({.body = R"({"comments":[]})"});
    takeIn();
    backendLists(bug("3f2a9c1d", "in_review"));
    takeIn();
    EXPECT_EQ(server.lines().size(), 7U);  // twice three lists, once the comments
}

TEST_F(IntakeTest, WhileIntakeIsOffFinishedBugsAreStillFollowedUp) {
    const Uuid item = finished("3f2a9c1d", QueueItemStatus::completed);
    settings.intakeEnabled = false;
    backendLists(bug("3f2a9c1d", "in_review"));
    userHasCommented();
    takeIn();
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    backendLists(bug("77777777", "open"));
    takeIn();
    EXPECT_EQ(run(store.items.items()).size(), 1U);
}

}  // namespace
}  // namespace quernlight::host
