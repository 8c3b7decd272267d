#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight {
namespace {

using testing::ElementsAre;

template <class Cases>
std::vector<std::string_view> rawValues(const Cases& cases) {
    std::vector<std::string_view> texts;
    for (const auto each : cases) {
        texts.push_back(rawValue(each));
    }
    return texts;
}

template <class Predicate>
std::vector<std::string_view> statusesThat(Predicate predicate) {
    std::vector<std::string_view> texts;
    for (const QueueItemStatus status : allQueueItemStatuses) {
        if (predicate(status)) {
            texts.push_back(rawValue(status));
        }
    }
    return texts;
}

TEST(QueueEnumerationsTest, RawValuesAreListedInOrder) {
    EXPECT_THAT(rawValues(allQueueItemStatuses),
                ElementsAre("queued", "waitingForMapping", "waitingForCapacity", "startingCodex", "running",
                            "awaitingUserInput", "codexCompleted", "completed", "failed", "cancelled"));
    EXPECT_THAT(rawValues(allQueueModes), ElementsAre("auto", "manual"));
    EXPECT_THAT(rawValues(allQueueItemGoalFlows), ElementsAre("fix_bug", "address_review"));
    EXPECT_THAT(rawValues(allSessionAttemptStates),
                ElementsAre("created", "running", "completed", "failed", "exited"));
}

TEST(QueueEnumerationsTest, EveryRawValueReadsAsItsCase) {
    for (const QueueItemStatus status : allQueueItemStatuses) {
        EXPECT_EQ(queueItemStatusFromRawValue(rawValue(status)), status);
    }
    EXPECT_EQ(queueModeFromRawValue("manual"), QueueMode::manual);
    EXPECT_EQ(queueItemGoalFlowFromRawValue("address_review"), QueueItemGoalFlow::addressReview);
    EXPECT_EQ(sessionAttemptStateFromRawValue("exited"), SessionAttemptState::exited);
}

TEST(QueueEnumerationsTest, RawValuesMatchExactlyByCase) {
    EXPECT_EQ(queueItemStatusFromRawValue("Running"), std::nullopt);
    EXPECT_EQ(queueItemStatusFromRawValue("running "), std::nullopt);
    EXPECT_EQ(queueItemStatusFromRawValue(""), std::nullopt);
    EXPECT_EQ(queueModeFromRawValue("Auto"), std::nullopt);
    EXPECT_EQ(queueItemGoalFlowFromRawValue("fixBug"), std::nullopt);
}

TEST(QueueEnumerationsTest, AnItemThatWaitsForAPersonIsTerminalAndACompletedAgentIsNot) {
    EXPECT_THAT(statusesThat(isTerminal),
                ElementsAre("awaitingUserInput", "completed", "failed", "cancelled"));
}

TEST(QueueEnumerationsTest, ItemsWhoseSessionIsStartingOrLiveAreLocked) {
    EXPECT_THAT(statusesThat(isReorderLocked), ElementsAre("startingCodex", "running", "codexCompleted"));
}

TEST(QueueEnumerationsTest, AModeHasAnIDAndATitle) {
    EXPECT_EQ(id(QueueMode::automatic), "auto");
    EXPECT_EQ(title(QueueMode::automatic), "Auto");
    EXPECT_EQ(id(QueueMode::manual), "manual");
    EXPECT_EQ(title(QueueMode::manual), "Manual");
}

TEST(BugQueueItemTest, IsOfTheAutoQueueAndToBeFixedWithAllElseAbsentUnlessSaid) {
    const BugQueueItem item;
    EXPECT_EQ(item.queueMode, QueueMode::automatic);
    EXPECT_EQ(item.goalFlow, QueueItemGoalFlow::fixBug);
    EXPECT_EQ(item.priority, 0);
    EXPECT_FALSE(item.activeSessionID || item.codexSessionID || item.errorMessage);
    EXPECT_FALSE(item.startedAt || item.completedAt || item.cancelledAt);
}

}  // namespace
}  // namespace quernlight
