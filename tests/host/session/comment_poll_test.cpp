#include "host/session/comment_poll.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/task_set.hpp"
#include "quernlight/platform/child_task.hpp"
#include "quernlight/platform/task.hpp"
#include "tests/host/published_events.hpp"
#include "tests/host/stepped_clock.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

/// The poll of one bug's comments against a scripted backend.
class CommentPollTest : public testing::Test {
  protected:
    ~CommentPollTest() override { end(); }

    void answers(const std::string& comments) {
        server.answer({.body = R"({"comments":[)" + comments + "]}"});
    }
    void fails(int status) { server.answer({.status = status, .body = "no"}); }
    std::string comment(const std::string& status, const std::string& createdAt) const {
        return R"({"id":"0A000000-0000-4000-8000-00000000000A","bug_id":"3f2a9c1d","body":"Words.",)"
               R"("attachments":[],"author_type":"agent","metadata":{"queue_item_id":")" +
               upperCaseText(state.queueItemID) + R"(","session_id":")" + upperCaseText(state.sessionID) +
               R"(","status":")" + status + R"("},"created_at":")" + createdAt + R"(","updated_at":")" +
               createdAt + R"("})";
    }
    void begin() { begin("3f2a9c1d", rateLimiter); }
    void begin(const std::string& bugID, RateLimiter& shared) {
        CompletionPollState polled = state;
        polled.bugID = bugID;
        polls.push_back(std::make_unique<ChildTask>(io.get_executor(), "polling",
                                                    pollComments({.fetch = fetch,
                                                                  .rateLimiter = shared,
                                                                  .health = health,
                                                                  .settings = settings,
                                                                  .events = events,
                                                                  .clock = clock},
                                                                 polled, mailbox.continuation())));
    }
    void end() {
        for (const auto& poll : polls) {
            quernlight::test::runTask(io, poll->end());
        }
        polls.clear();
    }
    template <class Event>
    Event next() {
        return std::get<Event>(quernlight::test::runTask(io, mailbox.next()));
    }

    /// Polls until the backend's health has been told so often.
    std::vector<std::string> healthAfter(std::size_t changes) {
        while (told.size() < changes) {
            io.run_one_for(std::chrono::milliseconds(10));
        }
        return told;
    }

    quernlight::test::RecordingServer server;
    boost::asio::io_context io;
    QuernlightClient client{*Url::parse(server.address()), "token", std::make_shared<HttpSession>()};
    FetchComments fetch = [this](std::string bugID) {
        return fetchCommentsIfAny(client, events, std::move(bugID));
    };
    RateLimiter rateLimiter{1000, 1000};
    RateLimiter oneForNow{0.001, 1};  // the next one in a quarter of an hour
    SystemClock clock;
    std::vector<std::string> told;  // of the backend's health
    BackendHealth health{clock, [this](const std::string& trouble) { told.push_back(trouble); }};
    Settings settings{.pollCommentsSeconds = 0.004};
    EventPublisher events;
    quernlight::test::PublishedEvents published{events};
    SessionMailbox mailbox;
    CompletionPollState state{.sessionID = randomUuid(),
                              .queueItemID = randomUuid(),
                              .bugID = "3f2a9c1d",
                              .startedAt = parseInstant("2026-03-04T05:06:00Z").value()};
    std::vector<std::unique_ptr<ChildTask>> polls;
};

TEST_F(CommentPollTest, ANewCommentIsNewsAndSaysWhetherItEndsTheSession) {
    answers("");
    answers(comment("working", "2026-03-04T05:06:07Z"));
    answers(comment("in_review", "2026-03-04T05:06:08Z"));
    begin();
    EXPECT_FALSE(next<CommentsChanged>().detection);
    EXPECT_EQ(next<CommentsChanged>().detection.value().outcome, CompletionOutcome::completed);
    EXPECT_EQ(server.lines().front(), "GET /v1/bugs/3f2a9c1d/comments");
}

TEST_F(CommentPollTest, CommentsThatWereSeenBeforeAreNoNews) {
    for (int poll_ = 0; poll_ < 3; ++poll_) {
        answers(comment("working", "2026-03-04T05:06:07Z"));
    }
    fails(503);
    begin();
    next<CommentsChanged>();
    EXPECT_THAT(healthAfter(1).front(), HasSubstr("503"));
    EXPECT_FALSE(quernlight::test::runTask(io, mailbox.nextUntil(clock, clock.steadyNow())));
}

TEST_F(CommentPollTest, ACompletionIsNewsAlsoWhenAnotherCommentOfTheSameMomentWasSeenBefore) {
    const std::string note = comment("working", "2026-03-04T05:06:07Z");
    answers(note);
    answers(note + "," + comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_FALSE(next<CommentsChanged>().detection);
    EXPECT_TRUE(next<CommentsChanged>().detection);
}

TEST_F(CommentPollTest, ABackendThatFailsIsToldOnceAndSoIsItsRecovery) {
    fails(503);
    fails(500);
    server.answer({.fault = quernlight::test::ScriptedAnswer::Fault::noAnswer});
    answers(comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_TRUE(next<CommentsChanged>().detection);
    ASSERT_EQ(told.size(), 2U);
    EXPECT_THAT(told[0], HasSubstr("503"));
    EXPECT_EQ(told[1], "");
}

TEST_F(CommentPollTest, CommentsThatCannotBeReadAreTheBugsTroubleAndNotTheBackends) {
    server.answer({.body = "no json"});
    server.answer({.body = "no json"});
    answers(comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_THAT(next<CommentTrouble>().reason, HasSubstr("not valid JSON"));
    EXPECT_EQ(next<CommentTrouble>().reason, "");
    EXPECT_TRUE(next<CommentsChanged>().detection);
    EXPECT_THAT(told, testing::IsEmpty());
}

TEST_F(CommentPollTest, ACommentThatCannotBeReadIsLeftOutAndTheOthersCount) {
    answers(comment("working", "yesterday") + "," + comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_TRUE(next<CommentsChanged>().detection);
    EXPECT_THAT(told, testing::IsEmpty());
    EXPECT_THAT(published.notices,
                ElementsAre(HasSubstr("0A000000-0000-4000-8000-00000000000A (created_at: Invalid ISO-8601")));
}

TEST_F(CommentPollTest, ABugThatIsGoneHasNoCommentsAndIsNoTrouble) {
    fails(404);
    answers(comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_TRUE(next<CommentsChanged>().detection);
    EXPECT_THAT(told, testing::IsEmpty());
}

TEST_F(CommentPollTest, TwoPollsShareOneRateLimiter) {
    settings.pollCommentsSeconds = 0;  // both want to ask at once
    answers(comment("working", "2026-03-04T05:06:07Z"));
    begin("3f2a9c1d", oneForNow);
    begin("77777777", oneForNow);
    next<CommentsChanged>();
    io.restart();
    io.poll();
    answers("");
    quernlight::test::runTask(
        io, fetchCommentsIfAny(client, events, "00000000"));  // later than all that had been sent by then
    EXPECT_THAT(server.lines(),
                ElementsAre("GET /v1/bugs/3f2a9c1d/comments", "GET /v1/bugs/00000000/comments"));
}

TEST(PauseBeforePollTest, FailuresInARowDoubleItUpToAMinuteAndChanceTakesUpToAQuarterAway) {
    using std::chrono::milliseconds;
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 0, 0), milliseconds(5000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 2, 0), milliseconds(20000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 20, 0), milliseconds(60000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(90000), 3, 0), milliseconds(90000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(4000), 0, 1), milliseconds(3000));
}

TEST_F(CommentPollTest, CancellingEndsItAlsoWhileTheBackendIsSilent) {
    server.answer({.fault = quernlight::test::ScriptedAnswer::Fault::silence});
    begin();
    while (server.requests().empty()) {
        io.run_one_for(std::chrono::milliseconds(10));  // the request is seen on the server's thread
    }
    end();
    EXPECT_FALSE(quernlight::test::runTask(io, mailbox.nextUntil(clock, clock.steadyNow())));
}

/// When it asks: every five seconds, by a clock that the test steps.
class CommentPollTimesTest : public testing::Test {
  protected:
    CommentPollTimesTest() {
        tasks.add("polling", pollComments({.fetch = [this](const std::string&) { return answer(); },
                                           .rateLimiter = rateLimiter,
                                           .health = health,
                                           .settings = settings,
                                           .events = events,
                                           .clock = clock},
                                          {.bugID = "3f2a9c1d"}, mailbox.continuation()));
    }
    ~CommentPollTimesTest() override { quernlight::test::runTask(io, tasks.end()); }

    int askedWithin(std::chrono::nanoseconds duration) {
        asked = 0;
        clock.advance(duration);
        return asked;
    }

    Task<void> takeTwoTurns(RateLimiter& limiter) {
        co_await turnToAsk(limiter, clock);
        co_await turnToAsk(limiter, clock);
        isSecondTurn = true;
    }

    boost::asio::io_context io;
    test::SteppedClock clock{io};
    RateLimiter rateLimiter{1000, 1000};
    BackendHealth health{clock, [](const std::string&) {}};
    Settings settings{.pollCommentsSeconds = 5};
    EventPublisher events;
    quernlight::test::PublishedEvents published{events};
    SessionMailbox mailbox;
    bool isAway = false;
    int asked = 0;
    bool isSecondTurn = false;
    TaskSet tasks{io.get_executor(), reportFailure};

  private:
    Task<ReadableList<QLCommentDTO>> answer() {
        ++asked;
        if (isAway) {
            throw BackendError::server(503, "");
        }
        co_return ReadableList<QLCommentDTO>{};
    }
};

TEST_F(CommentPollTimesTest, PausesVaryByUpToAQuarterOfTheInterval) {
    const int count = askedWithin(std::chrono::seconds(60));
    EXPECT_GE(count, 12);
    EXPECT_LE(count, 16);
}

TEST_F(CommentPollTimesTest, ABackendThatFailsIsAskedAfterEverLongerPauses) {
    isAway = true;
    EXPECT_LE(askedWithin(std::chrono::seconds(60)), 4);
    EXPECT_LE(askedWithin(std::chrono::minutes(10)), 14);
    isAway = false;
    askedWithin(std::chrono::minutes(1));
    EXPECT_GE(askedWithin(std::chrono::seconds(60)), 12);
}

TEST_F(CommentPollTimesTest, ABackendThatSaysWhenItMayBeAskedAgainIsLeftAloneUntilThen) {
    health.heed(std::chrono::minutes(9));
    EXPECT_EQ(askedWithin(std::chrono::minutes(8)), 0);
    EXPECT_GE(askedWithin(std::chrono::minutes(2)), 1);
}

TEST_F(CommentPollTimesTest, AChangedSettingCountsForThePauseThatHasBegun) {
    settings.pollCommentsSeconds = 3600;
    EXPECT_EQ(askedWithin(std::chrono::minutes(1)), 0);
    settings.pollCommentsSeconds = 1;
    EXPECT_GE(askedWithin(std::chrono::seconds(2)), 1);
}

TEST_F(CommentPollTimesTest, ARequestWaitsForItsTurn) {
    RateLimiter onePerMinute{1.0 / 60, 1};
    tasks.add("asking", takeTwoTurns(onePerMinute));
    clock.advance(std::chrono::seconds(59));
    EXPECT_FALSE(isSecondTurn);
    clock.advance(std::chrono::seconds(2));
    EXPECT_TRUE(isSecondTurn);
}

}  // namespace
}  // namespace quernlight::host
