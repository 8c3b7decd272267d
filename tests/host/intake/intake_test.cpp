#include "host/intake/intake.hpp"

#include <set>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>

#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

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
    void userHasCommented(const std::optional<json::object>& another = std::nullopt) {
        const std::string later = formatInstant(currentInstant() + std::chrono::hours(1));
        const json::object comment{{"id", "0A000000-0000-4000-8000-00000000000A"},
                                   {"bug_id", "3f2a9c1d"},
                                   {"body", "Still red."},
                                   {"author_type", "user"},
                                   {"attachments", json::array()},
                                   {"created_at", later},
                                   {"updated_at", later}};
        json::array comments{comment};
        if (another) {
            comments.push_back(*another);
        }
        server.answer({.body = json::serialize(json::object{{"comments", comments}})});
    }
    void takeIn() { run(intake.takeIn()); }

    static json::object createdAt(const std::string& time, json::object bug) {
        bug["created_at"] = time;
        return bug;
    }
    /// What the backend answers when it is asked for so many bugs of a status.
    void lists(const std::string& status, int limit, const json::array& bugs) {
        server.answerTo("GET /v1/bugs?status=" + status + "&limit=" + std::to_string(limit),
                        {.body = json::serialize(json::object{{"bugs", bugs}})});
    }
    void listsOpen(const json::array& bugs) {
        lists("open", 200, bugs);
        lists("investigate", 200, {});
        lists("in_review", 200, {});
    }
    std::vector<std::string> queuedBugs() {
        std::vector<std::string> ids;
        for (const BugQueueItem& item : run(store.items.items())) {
            ids.push_back(item.bugID);
        }
        return ids;
    }

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

TEST_F(IntakeTest, ABugThatCannotBeReadIsLeftOutAndNamedOnce) {
    for (int round = 0; round < 2; ++round) {
        listsOpen({createdAt("yesterday", bug("11111111-AAAA", "open")), bug("77777777", "open")});
        takeIn();
    }
    EXPECT_THAT(queuedBugs(), ElementsAre("77777777"));
    EXPECT_THAT(published.notices, ElementsAre(AllOf(HasSubstr("11111111-AAAA"), HasSubstr("created_at"))));
}

/// Three open bugs, of which the backend is asked for two at first.
class LongListTest : public IntakeTest {
  protected:
    void listsNewest() {
        lists("open", 2, {newest, newer});
        lists("investigate", 2, {});
        lists("in_review", 2, {});
    }
    void listsAll() {
        listsNewest();
        lists("open", 4, {newest, newer, oldest});
    }
    std::ptrdiff_t asked(const std::string& line) {
        const auto lines = server.lines();
        return std::count(lines.begin(), lines.end(), line);
    }

    const json::object newest = createdAt("2026-03-03T00:00:00Z", bug("33333333", "open"));
    const json::object newer = createdAt("2026-03-02T00:00:00Z", bug("22222222", "open"));
    const json::object oldest = createdAt("2026-03-01T00:00:00Z", bug("11111111", "open"));
    Intake small{services, IntakeScope::openBugs, 2, [](const Uuid&) { return false; }};
};

TEST_F(LongListTest, TheOldestBugComesFirstHoweverManyNewerOnesThereAre) {
    settings.intakePerDay = 1;
    listsAll();
    run(small.takeIn());
    EXPECT_THAT(queuedBugs(), ElementsAre("11111111"));
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("2 new bugs are left for another day")));
}

TEST_F(LongListTest, WhileNoneIsTakenOnlyTheNewestAreAskedFor) {
    settings.intakePerDay = 1;
    listsAll();
    run(small.takeIn());
    listsNewest();
    run(small.takeIn());
    EXPECT_EQ(asked("GET /v1/bugs?status=open&limit=4"), 1);
    EXPECT_THAT(queuedBugs(), ElementsAre("11111111"));
    EXPECT_NE(small.listed().pullRequest("11111111"), nullptr);
}

TEST_F(LongListTest, ABugThatIsTakenIsListedAtThatMoment) {
    settings.intakePerDay = 0;
    listsAll();
    run(small.takeIn());
    settings.intakePerDay = 1;
    listsNewest();
    lists("open", 4, {newest, newer});  // the oldest has been closed
    lists("investigate", 2, {});
    lists("in_review", 2, {});
    run(small.takeIn());
    EXPECT_THAT(queuedBugs(), ElementsAre("22222222"));
}

TEST_F(LongListTest, WhatDoesNotFitAnAnswerIsToldAndTheRestIsTaken) {
    services.client =
        QuernlightClient(*Url::parse(server.address()), "token",
                         std::make_shared<HttpSession>(HttpSession::Options{.maximumAnswerSize = 750}));
    Intake bounded(services, IntakeScope::openBugs, 2, [](const Uuid&) { return false; });
    listsAll();
    run(bounded.takeIn());
    EXPECT_THAT(queuedBugs(), ElementsAre("22222222", "33333333"));
    EXPECT_THAT(
        published.notices,
        ElementsAre("The backend returned 2 bugs in status \"open\" and no more when it was asked for 4: "
                    "either these are all, or the backend lists no more and older ones are not seen."));
}

/// The newest bugs alone would be taken before the oldest.
TEST_F(LongListTest, WhileTheBackendIsBusyTheNewestBugsAreNotTakenForAll) {
    listsNewest();
    server.answerTo("GET /v1/bugs?status=open&limit=4", {.status = 503});
    EXPECT_THROW(run(small.takeIn()), BackendUnavailable);
    EXPECT_THAT(queuedBugs(), IsEmpty());
}

TEST_F(LongListTest, AfterABrokenConnectionTheNewestBugsAreNotTakenForAll) {
    listsNewest();
    server.answerTo("GET /v1/bugs?status=open&limit=4",
                    {.body = "cut", .fault = quernlight::test::ScriptedAnswer::Fault::cutBody});
    EXPECT_THROW(run(small.takeIn()), BackendUnavailable);
    EXPECT_THAT(queuedBugs(), IsEmpty());
}

TEST_F(LongListTest, APauseThatTheBackendWantsBeforeItListsMoreIsKept) {
    lists("open", 2, {newest, newer});
    server.answerTo("GET /v1/bugs?status=open&limit=4", {.status = 429, .headers = {{"Retry-After", "90"}}});
    try {
        run(small.takeIn());
        ADD_FAILURE() << "the backend gave a list";
    } catch (const BackendUnavailable& error) {
        EXPECT_EQ(error.retryAfter(), std::chrono::seconds(90));
    }
}

TEST_F(LongListTest, ABugThatHasChangedItsStatusIsSeenAsItIsNow) {
    settings.intakePerDay = 0;
    listsAll();
    run(small.takeIn());
    json::object moved = oldest;
    moved["status"] = "in_review";
    moved["pr_url"] = "https://git.example/acme/shop/pull/1";
    lists("open", 2, {newest, newer});
    lists("investigate", 2, {});
    lists("in_review", 2, {moved});
    run(small.takeIn());
    ASSERT_NE(small.listed().pullRequest("11111111"), nullptr);
    EXPECT_TRUE(small.listed().pullRequest("11111111")->has_value());
}

TEST_F(IntakeTest, ABackendThatWantsAPauseIsUnavailableForThatLong) {
    server.answer({.status = 429, .headers = {{"Retry-After", "90"}}});
    try {
        takeIn();
        ADD_FAILURE() << "the backend gave a list";
    } catch (const BackendUnavailable& error) {
        EXPECT_EQ(error.retryAfter(), std::chrono::seconds(90));
    }
}

TEST_F(IntakeTest, ACommentThatCannotBeReadHidesNoOther) {
    const Uuid item = finished("3f2a9c1d", QueueItemStatus::completed);
    backendLists(bug("3f2a9c1d", "in_review"));
    userHasCommented(json::object{{"id", "no uuid"}});
    takeIn();
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("A comment on bug 3f2a9c1d is left out")));
}

TEST_F(IntakeTest, OfBugsWithTheSameShortIdTheYoungerIsNamedOnceWithTheOther) {
    for (int round = 0; round < 2; ++round) {
        listsOpen({createdAt("2026-03-02T00:00:00Z", bug("3f2a9c1d-2222", "open")),
                   createdAt("2026-03-01T00:00:00Z", bug("3F2A9C1D-1111", "open"))});
        takeIn();
    }
    EXPECT_THAT(queuedBugs(), ElementsAre("3f2a9c1d"));
    EXPECT_THAT(published.notices,
                ElementsAre(AllOf(HasSubstr("3f2a9c1d-2222"), HasSubstr("3F2A9C1D-1111"))));
}

TEST_F(IntakeTest, AnOpenBugWithTheShortIdOfARetiredOneOfAnotherTitleIsNamed) {
    const BugQueueItem retired{.id = randomUuid(), .bugID = "3f2a9c1d", .title = "Typo"};
    run(store.retired.remember(retired, {}, currentInstant()));
    listsOpen({bug("3F2A9C1D-2222", "open")});
    takeIn();
    EXPECT_THAT(queuedBugs(), IsEmpty());
    EXPECT_THAT(published.notices, ElementsAre(AllOf(HasSubstr("3F2A9C1D-2222"), HasSubstr("bug 3f2a9c1d"))));
}

TEST_F(IntakeTest, ARetiredBugThatIsOpenAgainIsNoOther) {
    const BugQueueItem retired{.id = randomUuid(), .bugID = "3f2a9c1d", .title = "Crash"};
    run(store.retired.remember(retired, {}, currentInstant()));
    listsOpen({bug("3f2a9c1d-2222", "open")});
    takeIn();
    EXPECT_THAT(queuedBugs(), IsEmpty());
    EXPECT_THAT(published.notices, IsEmpty());
}

/// Finished bugs whose comments have not been read since the start.
class FollowUpRoundTest : public IntakeTest {
  protected:
    void add(int count) {
        for (int number = 0; number < count; ++number) {
            const std::string bugID = std::to_string(10000000 + number);
            finished(bugID, QueueItemStatus::completed);
            bugs.push_back(bug(bugID, "in_review"));
        }
    }
    void takeInWhileCommentsAreAnsweredWith(int status, int answers) {
        lists("open", 200, {});
        lists("investigate", 200, {});
        lists("in_review", 200, bugs);
        for (int answer = 0; answer < answers; ++answer) {
            server.answer({.status = status});
        }
        takeIn();
    }
    /// The requests for comments.
    std::vector<std::string> asked() {
        auto lines = server.lines();
        std::erase_if(lines, [](const std::string& line) { return line.find("limit=200") != line.npos; });
        return lines;
    }

    json::array bugs;
};

TEST_F(FollowUpRoundTest, AFewFinishedBugsAreLookedAtInARoundInTurn) {
    add(30);
    takeInWhileCommentsAreAnsweredWith(400, 60);
    EXPECT_EQ(asked().size(), 20U);
    takeInWhileCommentsAreAnsweredWith(400, 0);
    const auto lines = asked();
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 30U);
}

TEST_F(FollowUpRoundTest, ABackendThatWantsToBeLeftAloneIsAskedForNoFurtherComments) {
    add(3);
    takeInWhileCommentsAreAnsweredWith(429, 3);
    EXPECT_EQ(asked().size(), 1U);
}

}  // namespace
}  // namespace quernlight::host
