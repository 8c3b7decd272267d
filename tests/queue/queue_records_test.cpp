#include <functional>
#include <type_traits>

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/mapping_repository.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

/// A field of a record by name, and a change of it alone.
template <class Record>
struct FieldChange {
    const char* field;
    std::function<void(Record&)> change;
};

template <class Record>
void expectEveryFieldCounts(const std::vector<FieldChange<Record>>& changes) {
    const Record record;
    EXPECT_EQ(record, Record(record));
    for (const auto& [field, change] : changes) {
        Record changed = record;
        change(changed);
        EXPECT_NE(changed, record) << field;
    }
}

TEST(BugQueueItemTest, IsEqualOnlyWhenEveryFieldIs) {
    using Item = BugQueueItem;
    expectEveryFieldCounts<Item>({
        {"id", [](Item& item) { item.id = randomUuid(); }},
        {"bugID", [](Item& item) { item.bugID = "x"; }},
        {"appID", [](Item& item) { item.appID = randomUuid(); }},
        {"appName", [](Item& item) { item.appName = "x"; }},
        {"bundleID", [](Item& item) { item.bundleID = "x"; }},
        {"title", [](Item& item) { item.title = "x"; }},
        {"bugURL", [](Item& item) { item.bugURL = Url::parse("https://x.example/").value(); }},
        {"queuePosition", [](Item& item) { item.queuePosition = 1; }},
        {"queueMode", [](Item& item) { item.queueMode = QueueMode::manual; }},
        {"status", [](Item& item) { item.status = QueueItemStatus::failed; }},
        {"goalFlow", [](Item& item) { item.goalFlow = QueueItemGoalFlow::addressReview; }},
        {"priority", [](Item& item) { item.priority = 1; }},
        {"activeSessionID", [](Item& item) { item.activeSessionID = Uuid{}; }},
        {"codexSessionID", [](Item& item) { item.codexSessionID = Uuid{}; }},
        {"errorMessage", [](Item& item) { item.errorMessage = ""; }},
        {"createdAt", [](Item& item) { ++item.createdAt; }},
        {"addedAt", [](Item& item) { ++item.addedAt; }},
        {"startedAt", [](Item& item) { item.startedAt = Instant{}; }},
        {"completedAt", [](Item& item) { item.completedAt = Instant{}; }},
        {"cancelledAt", [](Item& item) { item.cancelledAt = Instant{}; }},
    });
}

TEST(BugQueueItemTest, IsOfTheAutoQueueAndToBeFixedWithAllElseAbsentUnlessSaid) {
    const BugQueueItem item;
    EXPECT_EQ(item.queueMode, QueueMode::automatic);
    EXPECT_EQ(item.goalFlow, QueueItemGoalFlow::fixBug);
    EXPECT_EQ(item.priority, 0);
    EXPECT_FALSE(item.activeSessionID || item.codexSessionID || item.errorMessage);
    EXPECT_FALSE(item.startedAt || item.completedAt || item.cancelledAt);
}

TEST(BugQueueItemTest, CountsPositionsAndPrioritiesInSixtyFourBits) {
    EXPECT_TRUE((std::is_same_v<decltype(BugQueueItem::queuePosition), std::int64_t>));
    EXPECT_TRUE((std::is_same_v<decltype(BugQueueItem::priority), std::int64_t>));
}

TEST(SessionAttemptRecordTest, CountsAttemptsInSixtyFourBitsAndKeepsProcessNumbersInThirtyTwo) {
    EXPECT_TRUE((std::is_same_v<decltype(SessionAttemptRecord::attemptNumber), std::int64_t>));
    EXPECT_TRUE((std::is_same_v<decltype(SessionAttemptRecord::pid), std::optional<std::int32_t>>));
    EXPECT_TRUE((std::is_same_v<decltype(SessionAttemptRecord::exitCode), std::optional<std::int32_t>>));
}

TEST(AppMappingRecordTest, IsEqualOnlyWhenEveryFieldIs) {
    using Mapping = AppMapping;
    expectEveryFieldCounts<Mapping>({
        {"bundleID", [](Mapping& mapping) { mapping.bundleID = "x"; }},
        {"appID", [](Mapping& mapping) { mapping.appID = Uuid{}; }},
        {"appName", [](Mapping& mapping) { mapping.appName = "x"; }},
        {"repoPath", [](Mapping& mapping) { mapping.repoPath = "x"; }},
        {"worktreeRootPath", [](Mapping& mapping) { mapping.worktreeRootPath = ""; }},
        {"baseBranch", [](Mapping& mapping) { mapping.baseBranch = "x"; }},
        {"codexProfile", [](Mapping& mapping) { mapping.codexProfile = "x"; }},
    });
}

TEST(QueueEventTest, IsEqualOnlyWhenEveryFieldIs) {
    using Event = QueueEvent;
    expectEveryFieldCounts<Event>({
        {"id", [](Event& event) { event.id = randomUuid(); }},
        {"queueItemID", [](Event& event) { event.queueItemID = randomUuid(); }},
        {"sessionID", [](Event& event) { event.sessionID = Uuid{}; }},
        {"kind", [](Event& event) { event.kind = "x"; }},
        {"message", [](Event& event) { event.message = "x"; }},
        {"metadataJSON", [](Event& event) { event.metadataJSON = ""; }},
        {"createdAt", [](Event& event) { ++event.createdAt; }},
    });
}

TEST(SessionAttemptRecordTest, IsEqualOnlyWhenEveryFieldIs) {
    using Attempt = SessionAttemptRecord;
    expectEveryFieldCounts<Attempt>({
        {"id", [](Attempt& attempt) { attempt.id = randomUuid(); }},
        {"queueItemID", [](Attempt& attempt) { attempt.queueItemID = Uuid{}; }},
        {"attemptNumber", [](Attempt& attempt) { ++attempt.attemptNumber; }},
        {"bugID", [](Attempt& attempt) { attempt.bugID = "x"; }},
        {"repoPath", [](Attempt& attempt) { attempt.repoPath = "x"; }},
        {"agentWorkspacePath", [](Attempt& attempt) { attempt.agentWorkspacePath = ""; }},
        {"transcriptANSIPath", [](Attempt& attempt) { attempt.transcriptANSIPath = "x"; }},
        {"transcriptTextPath", [](Attempt& attempt) { attempt.transcriptTextPath = "x"; }},
        {"goalText", [](Attempt& attempt) { attempt.goalText = "x"; }},
        {"completionMarker", [](Attempt& attempt) { attempt.completionMarker = "x"; }},
        {"codexSessionID", [](Attempt& attempt) { attempt.codexSessionID = Uuid{}; }},
        {"pid", [](Attempt& attempt) { attempt.pid = 0; }},
        {"state", [](Attempt& attempt) { attempt.state = SessionAttemptState::exited; }},
        {"exitCode", [](Attempt& attempt) { attempt.exitCode = 0; }},
        {"startedAt", [](Attempt& attempt) { ++attempt.startedAt; }},
        {"lastOutputAt", [](Attempt& attempt) { attempt.lastOutputAt = Instant{}; }},
        {"endedAt", [](Attempt& attempt) { attempt.endedAt = Instant{}; }},
        {"completionCommentID", [](Attempt& attempt) { attempt.completionCommentID = Uuid{}; }},
        {"completionCommentCreatedAt",
         [](Attempt& attempt) { attempt.completionCommentCreatedAt = Instant{}; }},
        {"failureReason", [](Attempt& attempt) { attempt.failureReason = ""; }},
    });
}

}  // namespace
}  // namespace quernlight
