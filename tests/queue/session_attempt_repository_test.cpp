#include "quernlight/queue/session_attempt_repository.hpp"

#include "quernlight/queue/queue_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::databaseErrorOf;
using test::instant;
using test::runTask;

constexpr const char* bug = "3f2a9c10";

class SessionAttemptRepositoryTest : public test::QueueFixture {
  protected:
    void SetUp() override {
        QueueFixture::SetUp();
        const QueueRepository queue(database);
        runTask(queue.insert(item));
    }

    SessionAttemptRecord fullAttempt() const {
        return {.id = randomUuid(),
                .queueItemID = item.id,
                .attemptNumber = 1,
                .bugID = bug,
                .repoPath = "/code/lantern",
                .agentWorkspacePath = "/trees/lantern/3f2a9c10",
                .transcriptANSIPath = "/home/t.ansi",
                .transcriptTextPath = "/home/t.txt",
                .goalText = "/goal fix\nit",
                .completionMarker = "marker",
                .codexSessionID = randomUuid(),
                .pid = 4711,
                .state = SessionAttemptState::failed,
                .exitCode = -2,
                .startedAt = instant("2026-03-01T00:00:00.001Z"),
                .lastOutputAt = instant("2026-03-02T00:00:00.020Z"),
                .endedAt = instant("2026-03-03T00:00:00.300Z"),
                .completionCommentID = randomUuid(),
                .completionCommentCreatedAt = instant("2026-03-04T00:00:00.004Z"),
                .failureReason = "went quiet"};
    }

    /// Adds an attempt of the item, or of no item, that knows the conversation `codex` (or none).
    SessionAttemptRecord add(std::int64_t number, std::optional<Uuid> queueItemID = std::nullopt,
                             std::optional<Uuid> codex = std::nullopt,
                             const std::string& startedAt = "2026-03-01T00:00:00Z") {
        SessionAttemptRecord attempt = fullAttempt();
        attempt.attemptNumber = number;
        attempt.queueItemID = queueItemID;
        attempt.codexSessionID = codex;
        attempt.startedAt = instant(startedAt);
        runTask(repository.insert(attempt));
        return attempt;
    }

    SessionAttemptRecord latest() { return runTask(repository.latestAttempt(item.id)).value(); }

    const BugQueueItem item = fullItem();
    const SessionAttemptRepository repository{database};
};

TEST_F(SessionAttemptRepositoryTest, AnAttemptIsReadAsItWasInserted) {
    const SessionAttemptRecord attempt = fullAttempt();
    runTask(repository.insert(attempt));
    EXPECT_EQ(latest(), attempt);
}

TEST_F(SessionAttemptRepositoryTest, AnAttemptWithoutOptionalFieldsIsReadAsItWasInserted) {
    const SessionAttemptRecord attempt{.id = randomUuid(), .queueItemID = item.id, .bugID = bug};
    runTask(repository.insert(attempt));
    EXPECT_EQ(latest(), attempt);
}

TEST_F(SessionAttemptRepositoryTest, AttemptsOfAnItemAreCountedFromOne) {
    EXPECT_EQ(runTask(repository.nextAttemptNumber(item.id)), 1);
    add(1, item.id);
    add(2, item.id);
    EXPECT_EQ(runTask(repository.nextAttemptNumber(item.id)), 3);
}

TEST_F(SessionAttemptRepositoryTest, ResumeAttemptsAreCountedApartFromThoseOfTheItem) {
    add(1, item.id);
    add(2, item.id);
    add(3, item.id);
    EXPECT_EQ(runTask(repository.nextResumeAttemptNumber(bug)), 1);
    add(1);
    EXPECT_EQ(runTask(repository.nextResumeAttemptNumber(" 3F2A9C10-AAAA")), 2);
    EXPECT_EQ(runTask(repository.nextAttemptNumber(item.id)), 4);
}

TEST_F(SessionAttemptRepositoryTest, AnItemAndNumberAreUsedOnce) {
    add(1, item.id);
    const auto error = databaseErrorOf([&] { add(1, item.id); });
    EXPECT_EQ(error, DatabaseError(DatabaseError::Kind::stepFailed,
                                   "UNIQUE constraint failed: session_attempts.queue_item_id, "
                                   "session_attempts.attempt_number"));
}

TEST_F(SessionAttemptRepositoryTest, ResumeAttemptsOfOneNumberDoNotConflict) {
    add(1);
    EXPECT_NO_THROW(add(1));
}

TEST_F(SessionAttemptRepositoryTest, AnItemsAttemptsAreListedByTheirNumbers) {
    EXPECT_TRUE(runTask(repository.attempts(item.id)).empty());
    const auto tenth = add(10, item.id);
    const auto ninth = add(9, item.id);
    add(11);
    EXPECT_EQ(runTask(repository.attempts(item.id)), (std::vector{ninth, tenth}));
}

TEST_F(SessionAttemptRepositoryTest, TheLatestAttemptOfAnItemHasTheHighestNumber) {
    EXPECT_EQ(runTask(repository.latestAttempt(item.id)), std::nullopt);
    add(10, item.id);
    add(9, item.id);
    EXPECT_EQ(latest().attemptNumber, 10);
}

TEST_F(SessionAttemptRepositoryTest, TheLatestAttemptOfABugIsTheNewestThatKnowsItsConversation) {
    add(1, std::nullopt, randomUuid(), "2026-03-01T00:00:00Z");
    const auto newest = add(2, std::nullopt, randomUuid(), "2026-03-02T00:00:00Z");
    add(3, std::nullopt, std::nullopt, "2026-03-03T00:00:00Z");
    EXPECT_EQ(runTask(repository.latestAttempt("3F2A9C10-AAAA")), newest);
    EXPECT_EQ(runTask(repository.latestAttempt("other")), std::nullopt);
}

TEST_F(SessionAttemptRepositoryTest, OfAttemptsStartedAtOnceTheHigherNumberIsTheLatest) {
    const auto second = add(2, std::nullopt, randomUuid());
    add(1, std::nullopt, randomUuid());
    EXPECT_EQ(runTask(repository.latestAttempt(bug)), second);
}

TEST_F(SessionAttemptRepositoryTest, TheCanonicalConversationStaysTheFirstOne) {
    const Uuid first = randomUuid();
    add(1, std::nullopt, std::nullopt, "2026-03-01T00:00:00Z");
    add(2, std::nullopt, first, "2026-03-02T00:00:00Z");
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), first);
    add(3, std::nullopt, randomUuid(), "2026-03-03T00:00:00Z");
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), first);
}

TEST_F(SessionAttemptRepositoryTest, OfAttemptsStartedAtOnceTheLowerNumberIsCanonical) {
    const Uuid first = randomUuid();
    add(2, std::nullopt, randomUuid());
    add(1, std::nullopt, first);
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(" 3F2A9C10-AAAA")), first);
}

TEST_F(SessionAttemptRepositoryTest, AnEarlierStartComesBeforeALowerNumber) {
    const auto late = add(1, std::nullopt, randomUuid(), "2026-03-02T00:00:00Z");
    const auto early = add(2, std::nullopt, randomUuid(), "2026-03-01T00:00:00Z");
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), early.codexSessionID);
    EXPECT_EQ(runTask(repository.latestAttempt(bug)), late);
}

TEST_F(SessionAttemptRepositoryTest, AttemptsOfTheItemAndAttemptsToResumeShareTheConversationsOfTheBug) {
    const auto queued = add(1, item.id, randomUuid(), "2026-03-01T00:00:00Z");
    const auto resumed = add(1, std::nullopt, randomUuid(), "2026-03-02T00:00:00Z");
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), queued.codexSessionID);
    EXPECT_EQ(runTask(repository.latestAttempt(bug)), resumed);
    EXPECT_EQ(latest(), queued);
}

TEST_F(SessionAttemptRepositoryTest, AGapInTheNumbersIsNotFilled) {
    add(1, item.id);
    add(7, item.id);
    EXPECT_EQ(runTask(repository.nextAttemptNumber(item.id)), 8);
    EXPECT_EQ(runTask(repository.nextAttemptNumber(randomUuid())), 1);
}

TEST_F(SessionAttemptRepositoryTest, ABugWithoutAUsableConversationHasNoCanonicalOne) {
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), std::nullopt);
    add(1, std::nullopt, randomUuid());
    execute("UPDATE session_attempts SET codex_session_id = 'no uuid'");
    EXPECT_EQ(runTask(repository.canonicalCodexSessionID(bug)), std::nullopt);
}

TEST_F(SessionAttemptRepositoryTest, CompletionAfterAFailureClearsTheReason) {
    SessionAttemptRecord expected = add(1, item.id);
    runTask(repository.markFailed(expected.id, "went quiet", instant("2026-04-01T00:00:00Z")));
    EXPECT_EQ(latest().failureReason, "went quiet");
    expected.state = SessionAttemptState::completed;
    expected.completionCommentID = randomUuid();
    expected.completionCommentCreatedAt = instant("2026-04-02T00:00:00Z");
    expected.endedAt = instant("2026-04-03T00:00:00Z");
    expected.failureReason = std::nullopt;
    runTask(repository.markCompleted(expected.id, *expected.completionCommentID,
                                     *expected.completionCommentCreatedAt, *expected.endedAt));
    EXPECT_EQ(latest(), expected);
}

}  // namespace
}  // namespace quernlight
