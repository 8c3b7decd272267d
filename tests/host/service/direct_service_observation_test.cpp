#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/service/service_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class DirectServiceObservationTest : public test::ServiceFixture {
  protected:
    void connect(LiveSources live) { service = std::make_unique<DirectService>(access(), std::move(live)); }
};

TEST_F(DirectServiceObservationTest, ASessionIsShownWithItsAttemptAndTheLastLineOfItsTranscript) {
    const BugQueueItem item = enqueueAs("11111111", QueueItemStatus::running);
    const SessionAttemptRecord attempt = addAttempt(item, 3);
    quernlight::test::writeFile(attempt.transcriptTextPath,
                                std::string(1 << 16, 'x') + "\n  Running the tests\n\n > \n");
    const auto sessions = run(service->sessions());
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].bugID, "11111111");
    EXPECT_EQ(sessions[0].status, QueueItemStatus::running);
    EXPECT_EQ(sessions[0].attemptNumber, 3);
    EXPECT_EQ(sessions[0].since, attempt.startedAt);
    EXPECT_EQ(sessions[0].transcriptText, attempt.transcriptTextPath);
    EXPECT_EQ(sessions[0].transcriptANSI, attempt.transcriptANSIPath);
    EXPECT_EQ(sessions[0].workspace, *attempt.agentWorkspacePath);
    EXPECT_EQ(sessions[0].lastLine, "Running the tests");
}

TEST_F(DirectServiceObservationTest, ASessionThatIsOnlyBeingPreparedShowsNothingOfTheAttemptBeforeIt) {
    const BugQueueItem item = enqueueAs("11111111", QueueItemStatus::startingCodex);
    addAttempt(item, 1, SessionAttemptState::failed);
    const auto sessions = run(service->sessions());
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].attemptNumber, 0);
    EXPECT_EQ(sessions[0].since, std::nullopt);
    EXPECT_EQ(sessions[0].lastLine, "");
}

TEST_F(DirectServiceObservationTest, ItemsThatWaitOrHaveEndedAreNoSessions) {
    for (const QueueItemStatus status : allQueueItemStatuses) {
        enqueueAs("1111111" + std::to_string(static_cast<int>(status)), status);
    }
    std::vector<QueueItemStatus> running;
    for (const RunningSession& session : run(service->sessions())) {
        running.push_back(session.status);
    }
    EXPECT_THAT(running,
                testing::UnorderedElementsAre(QueueItemStatus::startingCodex, QueueItemStatus::running,
                                              QueueItemStatus::codexCompleted));
}

TEST_F(DirectServiceObservationTest, ABugsStateIsThatOfItsItem) {
    addAttempt(enqueue("11111111"), 1);
    const BugState state = run(service->bug("11111111-0000-4000-8000-000000000000"));
    EXPECT_EQ(state.bugID, "11111111");
    ASSERT_TRUE(state.queued);
    EXPECT_EQ(state.queued->history.size(), 1U);
    EXPECT_EQ(state.queued->attempts.size(), 1U);
    EXPECT_FALSE(state.retired);
}

TEST_F(DirectServiceObservationTest, ABugWhoseWorkWasMergedIsStillKnown) {
    const BugQueueItem item = enqueue("11111111");
    run(store().retired.remember(item, "refs/kept", *parseInstant("2026-03-01T10:00:00Z")));
    run(store().items.remove(item.id));
    const BugState state = run(service->bug("11111111"));
    EXPECT_FALSE(state.queued);
    ASSERT_TRUE(state.retired);
    EXPECT_EQ(state.retired->preservedReference, "refs/kept");
}

TEST_F(DirectServiceObservationTest, WorkInReviewIsListedWithWhereItIs) {
    mapApp();
    enqueue("22222222");
    addAttempt(enqueueAs("11111111", QueueItemStatus::completed), 1, SessionAttemptState::completed);
    const auto review = run(service->review());
    ASSERT_EQ(review.size(), 1U);
    EXPECT_EQ(review[0].item.bugID, "11111111");
    EXPECT_EQ(review[0].branch, "Shop-11111111");
    EXPECT_EQ(review[0].worktree, "/code/shop-worktrees/Shop-11111111");
    EXPECT_EQ(review[0].repository, "/code/shop");
    EXPECT_EQ(review[0].pullRequest, std::nullopt);
}

TEST_F(DirectServiceObservationTest, WhatIsNotKnownOfWorkInReviewIsAbsent) {
    enqueueAs("11111111", QueueItemStatus::completed);
    const auto review = run(service->review());
    ASSERT_EQ(review.size(), 1U);
    EXPECT_EQ(review[0].worktree, std::nullopt);
    EXPECT_EQ(review[0].repository, std::nullopt);
}

TEST_F(DirectServiceObservationTest, ADispatcherThatRunsKnowsThePullRequests) {
    enqueueAs("11111111", QueueItemStatus::completed);
    connect({.pullRequest = [](const std::string& bugID) {
        return Url::parse("https://git.example/acme/shop/pull/" + bugID);
    }});
    EXPECT_EQ(run(service->review()).at(0).pullRequest->text(),
              "https://git.example/acme/shop/pull/11111111");
}

TEST_F(DirectServiceObservationTest, WithoutADispatcherHealthIsWhatTheStoreTells) {
    enqueue("11111111");
    enqueueAs("22222222", QueueItemStatus::failed);
    run(service->setSetting("sessions.max", "4"));
    run(store().database->execute("UPDATE settings SET value = 'many' WHERE key = 'sessions.max'"));
    const HealthReport report = run(service->health());
    EXPECT_EQ(report.backend.state, Condition::State::unknown);
    EXPECT_EQ(report.disk.state, Condition::State::unknown);
    EXPECT_THAT(report.alerts, ElementsAre(HasSubstr("\"many\" is not.")));
    ASSERT_EQ(report.needPerson.size(), 2U);
    EXPECT_EQ(report.needPerson[0].status, QueueItemStatus::waitingForMapping);
    EXPECT_EQ(report.needPerson[1].status, QueueItemStatus::failed);
}

TEST_F(DirectServiceObservationTest, ADispatcherThatRunsAddsWhatItKnows) {
    enqueueAs("11111111", QueueItemStatus::failed);
    connect({.health = [] {
        return HealthReport{.backend = {Condition::State::troubled, "Backend unreachable."},
                            .disk = {.state = Condition::State::well},
                            .alerts = {"Starts pause."}};
    }});
    const HealthReport report = run(service->health());
    EXPECT_EQ(report.backend.trouble, "Backend unreachable.");
    EXPECT_EQ(report.disk.state, Condition::State::well);
    EXPECT_THAT(report.alerts, ElementsAre("Starts pause."));
    EXPECT_EQ(report.needPerson.size(), 1U);
}

TEST_F(DirectServiceObservationTest, WithoutADispatcherNothingIsToldToWhoSubscribes) {
    EXPECT_EQ(service->subscribe([](const DispatchEvent&) {}), nullptr);
}

TEST_F(DirectServiceObservationTest, WhoSubscribesIsToldByTheDispatcherThatRuns) {
    connect({.subscribe = [](EventPublisher::Handler handler) {
        return std::make_shared<const EventPublisher::Handler>(std::move(handler));
    }});
    const EventPublisher::Subscription subscription = service->subscribe([](const DispatchEvent&) {});
    ASSERT_NE(subscription, nullptr);
    EXPECT_TRUE(*subscription);
}

}  // namespace
}  // namespace quernlight::host
