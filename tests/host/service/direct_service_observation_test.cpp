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
    run(store().retired.remember(item, {.preservedReference = "refs/kept"},
                                 *parseInstant("2026-03-01T10:00:00Z")));
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
    EXPECT_EQ(report.needPerson[0].item.status, QueueItemStatus::waitingForMapping);
    EXPECT_EQ(report.needPerson[1].item.status, QueueItemStatus::failed);
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

/// What sessions are doing is not in the store.
class DirectServiceLiveTest : public DirectServiceObservationTest {
  protected:
    DirectServiceLiveTest() {
        connect({.progress = [this] { return progress; },
                 .agent = [this](const std::string& bugID) { return agents[bugID]; },
                 .workOn = [this](const Uuid& itemID) { return works[itemID]; },
                 .claim =
                     [this](const Uuid&) {
                         told.push_back("claimed");
                         return ItemClaim(this, [this](const void*) { told.push_back("released"); });
                     },
                 .reconcile = [this](const BugQueueItem& item) { told.push_back(item.bugID + " reconcile"); },
                 .waits = [this](const Uuid&) { return waits; },
                 .stopSession = [this](const Uuid& itemID) { return stopped(itemID); },
                 .changed =
                     [this](const std::optional<QueueEntry>& entry) {
                         told.push_back(entry ? entry->item.bugID + " " + std::string(stageText(entry->stage))
                                              : "a mapping");
                     },
                 .removed = [this](const std::string& bugID) { told.push_back(bugID + " removed"); }});
    }
    BugQueueItem worksOn(const std::string& bugID, SessionStage stage) {
        const BugQueueItem item = enqueueAs(bugID, QueueItemStatus::running);
        progress[bugID] = {.bugID = bugID, .appName = "Shop", .title = "Crash", .stage = stage};
        works[item.id] = ItemWork::session;
        return item;
    }
    Task<bool> stopped(Uuid itemID) { co_return works[itemID] == ItemWork::session; }
    QueueEntry does(QueueAction action, const std::string& bugID) {
        return run(service->change({.action = action, .bugID = bugID}));
    }

    std::map<std::string, BugProgress> progress;
    std::map<std::string, std::optional<SeenAgent>> agents;
    std::map<Uuid, ItemWork> works;
    std::optional<WaitReason> waits;
    std::vector<std::string> told;
};

TEST_F(DirectServiceLiveTest, WhatASessionDoesCountsAboveWhatIsStored) {
    worksOn("11111111", SessionStage::needsPerson);
    EXPECT_EQ(run(service->queue()).entries.at(0).stage, SessionStage::needsPerson);
    EXPECT_EQ(run(service->queueItem("11111111")).stage, SessionStage::needsPerson);
    EXPECT_EQ(run(service->sessions()).at(0).stage, SessionStage::needsPerson);
    connect({.health = [] { return HealthReport{}; }, .progress = [this] { return progress; }});
    EXPECT_EQ(run(service->health()).needPerson.at(0).item.bugID, "11111111");
}

TEST_F(DirectServiceLiveTest, ASessionThatIsBeingPreparedIsShownThoughNothingOfItIsStored) {
    enqueue("11111111");
    progress["11111111"] = {.bugID = "11111111", .title = "Crash", .stage = SessionStage::preparingWorktree};
    agents["11111111"] = SeenAgent{.attemptNumber = 2, .state = "idle"};
    const auto sessions = run(service->sessions());
    ASSERT_EQ(sessions.size(), 1U);
    EXPECT_EQ(sessions[0].stage, SessionStage::preparingWorktree);
    EXPECT_EQ(sessions[0].title, "Crash");
    EXPECT_EQ(sessions[0].agent.value().state, "idle");
}

TEST_F(DirectServiceLiveTest, ABugThatIsWorkedOnIsCancelledAndNothingElseIsDoneToIt) {
    const BugQueueItem item = worksOn("11111111", SessionStage::working);
    for (const QueueAction action : {QueueAction::next, QueueAction::moveToManual, QueueAction::remove}) {
        const QueueChange change{.action = action, .bugID = "11111111"};
        EXPECT_THAT(errorOf(service->change(change)).what(), HasSubstr("sessions stop 11111111"));
    }
    does(QueueAction::cancel, "11111111");
    EXPECT_EQ(stored(item).status, QueueItemStatus::cancelled);
    EXPECT_THAT(told, testing::Contains("11111111 working"));
    works[item.id] = ItemWork::retirement;
    EXPECT_THAT(errorOf(service->change({.action = QueueAction::retry, .bugID = "11111111"})).what(),
                HasSubstr("its session is just being ended"));
}

TEST_F(DirectServiceLiveTest, EachChangeIsTold) {
    enqueue("11111111");
    does(QueueAction::cancel, "11111111");
    does(QueueAction::remove, "11111111");
    EXPECT_THAT(told, ElementsAre("claimed", "released", "11111111 cancelled", "claimed", "released",
                                  "11111111 removed"));
}

/// A session that begins while a change looks at its item would be worked on by both.
TEST_F(DirectServiceLiveTest, AnItemIsLookedAtOnlyOnceNoSessionCanBegin) {
    const BugQueueItem item = enqueue("11111111");
    bool isClaimed = false;
    connect({.workOn =
                 [&](const Uuid&) {
                     EXPECT_TRUE(isClaimed);
                     return ItemWork::none;
                 },
             .claim =
                 [&](const Uuid& itemID) {
                     EXPECT_EQ(itemID, item.id);
                     isClaimed = true;
                     return ItemClaim(this, [&](const void*) { isClaimed = false; });
                 }});
    does(QueueAction::remove, "11111111");
    EXPECT_FALSE(isClaimed);
    EXPECT_TRUE(run(service->queue()).entries.empty());
}

TEST_F(DirectServiceLiveTest, WhatIsWishedOfABugThatIsBeingReconciledIsStored) {
    const BugQueueItem item = worksOn("11111111", SessionStage::toReconcile);
    works[item.id] = ItemWork::reconciliation;
    EXPECT_EQ(does(QueueAction::cancel, "11111111").item.status, QueueItemStatus::running);
    EXPECT_EQ(run(service->queueItem("11111111")).history.back().kind, "cancelRequested");
    EXPECT_THAT(told, testing::Contains("11111111 reconcile"));
    run(service->stopSession("11111111"));
    EXPECT_EQ(run(service->queueItem("11111111")).history.back().kind, "holdRequested");
    EXPECT_THAT(errorOf(service->change({.action = QueueAction::retry, .bugID = "11111111"})).what(),
                HasSubstr("is being found out; try again"));
}

TEST_F(DirectServiceLiveTest, AMappingStaysWhileABugOfItsAppIsBeingPrepared) {
    mapApp();
    const BugQueueItem item = enqueue("11111111");
    works[item.id] = ItemWork::session;
    EXPECT_THAT(errorOf(service->removeMapping("com.acme.shop")).what(),
                HasSubstr("is being worked on; stop that first with: quernlight-dispatch sessions stop"));
    works[item.id] = ItemWork::none;
    EXPECT_EQ(run(service->removeMapping("com.acme.shop")).appName, "Shop");
}

TEST_F(DirectServiceLiveTest, TheOwnersReasonToWaitCounts) {
    enqueue("11111111");
    waits = WaitReason{.cause = WaitCause::startsPaused, .about = "No network."};
    EXPECT_EQ(run(service->queueItem("11111111")).waits, waits);
}

TEST_F(DirectServiceLiveTest, OnlyASessionCanBeStopped) {
    worksOn("11111111", SessionStage::working);
    enqueue("22222222");
    EXPECT_EQ(run(service->stopSession("11111111")).stage, SessionStage::working);
    EXPECT_EQ(errorOf(service->stopSession("22222222")).code(), ServiceErrorCode::refused);
}

/// Who counts how often it is told to look anew, and of events.
class DirectSubscriptionTest : public DirectServiceObservationTest {
  protected:
    EventSubscription subscribe() {
        return service->subscribe(io.get_executor(), {.happened = [this](const DispatchEvent&) { ++events; },
                                                      .lookAnew = [this] { ++looks; }});
    }

    int events = 0, looks = 0;
};

TEST_F(DirectSubscriptionTest, WithoutADispatcherThereIsOnlySomethingToLookAt) {
    EXPECT_EQ(subscribe(), nullptr);
    EXPECT_EQ(looks, 1);
}

TEST_F(DirectSubscriptionTest, WhoSubscribesIsToldByTheDispatcherThatRuns) {
    EventPublisher publisher;
    connect({.subscribe = [&](EventPublisher::Handler handler) {
        return publisher.subscribe(std::move(handler));
    }});
    EventSubscription subscription = subscribe();
    EXPECT_EQ(looks, 1);
    publisher.notice("One");
    EXPECT_EQ(events, 1);
    subscription.reset();
    publisher.notice("Two");
    EXPECT_EQ(events, 1);
}

}  // namespace
}  // namespace quernlight::host
