#include "host/session/comment_poll.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/platform/child_task.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class NotingBoard final : public ProgressBoard {
  public:
    void show(const BugProgress&) override {}
    void note(const std::string& sentence) override { notes.push_back(sentence); }

    std::vector<std::string> notes;
};

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
                                                    pollComments({.client = client,
                                                                  .rateLimiter = shared,
                                                                  .health = health,
                                                                  .settings = settings,
                                                                  .board = board,
                                                                  .clock = clock},
                                                                 polled, mailbox.continuation())));
    }
    void end() {
        for (const auto& poll : polls) {
            test::runTask(io, poll->end());
        }
        polls.clear();
    }
    template <class Event>
    Event next() {
        return std::get<Event>(test::runTask(io, mailbox.next()));
    }

    /// Polls until the backend's health has been told so often.
    std::vector<std::string> healthAfter(std::size_t changes) {
        while (told.size() < changes) {
            io.run_one_for(std::chrono::milliseconds(10));
        }
        return told;
    }

    test::RecordingServer server;
    boost::asio::io_context io;
    QuernlightClient client{*Url::parse(server.address()), "token", std::make_shared<HttpSession>()};
    RateLimiter rateLimiter{1000, 1000};
    RateLimiter oneForNow{0.001, 1};  // the next one in a quarter of an hour
    std::vector<std::string> told;    // of the backend's health
    BackendHealth health{[this](const std::string& trouble) { told.push_back(trouble); }};
    Settings settings{.pollCommentsSeconds = 0.004};
    NotingBoard board;
    SystemClock clock;
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
    EXPECT_FALSE(test::runTask(io, mailbox.nextUntil(clock, clock.steadyNow())));
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
    server.answer({.fault = test::ScriptedAnswer::Fault::noAnswer});
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
    EXPECT_THAT(board.notes,
                ElementsAre(HasSubstr("0A000000-0000-4000-8000-00000000000A (created_at: Invalid ISO-8601")));
}

TEST_F(CommentPollTest, ABugThatIsGoneHasNoCommentsAndIsNoTrouble) {
    fails(404);
    answers(comment("in_review", "2026-03-04T05:06:07Z"));
    begin();
    EXPECT_TRUE(next<CommentsChanged>().detection);
    EXPECT_THAT(told, testing::IsEmpty());
}

TEST_F(CommentPollTest, TwoPollsShareOneBudget) {
    settings.pollCommentsSeconds = 0;  // both want to ask at once
    answers(comment("working", "2026-03-04T05:06:07Z"));
    begin("3f2a9c1d", oneForNow);
    begin("77777777", oneForNow);
    next<CommentsChanged>();
    io.restart();
    io.poll();
    answers("");
    test::runTask(
        io, fetchCommentsIfAny(client, board, "00000000"));  // later than all that had been sent by then
    EXPECT_THAT(server.lines(),
                ElementsAre("GET /v1/bugs/3f2a9c1d/comments", "GET /v1/bugs/00000000/comments"));
}

TEST_F(CommentPollTest, ARequestWaitsForItsTurn) {
    test::runTask(io, turnToAsk(oneForNow, clock));
    const auto second = boost::asio::co_spawn(io, turnToAsk(oneForNow, clock), boost::asio::use_future);
    io.restart();
    io.poll();
    EXPECT_EQ(second.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    RateLimiter oneInAMillisecond{1000, 1};
    test::runTask(io, turnToAsk(oneInAMillisecond, clock));
    test::runTask(io, turnToAsk(oneInAMillisecond, clock));
}

TEST(PauseBeforePollTest, FailuresInARowDoubleItUpToAMinuteAndChanceTakesUpToAQuarterAway) {
    using std::chrono::milliseconds;
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 0, 0), milliseconds(5000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 2, 0), milliseconds(20000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(5000), 20, 0), milliseconds(60000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(90000), 3, 0), milliseconds(90000));
    EXPECT_EQ(pauseBeforePoll(milliseconds(4000), 0, 1), milliseconds(3000));
}

TEST_F(CommentPollTest, ABackendThatSaysWhenItMayBeAskedAgainIsLeftAloneUntilThen) {
    server.answer({.status = 429, .headers = {{"Retry-After", "3600"}}});
    begin();
    healthAfter(1);
    io.run_for(std::chrono::milliseconds(300));  // dozens of intervals
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(CommentPollTest, CancellingEndsItAlsoWhileTheBackendIsSilent) {
    server.answer({.fault = test::ScriptedAnswer::Fault::silence});
    begin();
    while (server.requests().empty()) {
        io.run_one_for(std::chrono::milliseconds(10));  // the request is seen on the server's thread
    }
    end();
    EXPECT_FALSE(test::runTask(io, mailbox.nextUntil(clock, clock.steadyNow())));
}

}  // namespace
}  // namespace quernlight::host
