#include "host/dispatcher/dispatcher.hpp"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/use_future.hpp>
#include <gmock/gmock.h>

#include "host/health/failure_policy.hpp"
#include "host/process/user_error.hpp"
#include "tests/host/dispatcher/dispatcher_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using DispatcherTest = test::DispatcherFixture;

std::exception_ptr fullDisk() {
    return std::make_exception_ptr(
        DatabaseError(DatabaseError::Kind::stepFailed, "database or disk is full"));
}

TEST_F(DispatcherTest, BugsStartInListOrderAndNoMoreAtATimeThanMay) {
    settings.maxSessions = 2;
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        enqueue(bugID);
    }
    begin();
    ASSERT_TRUE(untilStarted({"11111111", "22222222"}));
    ends("22222222");
    EXPECT_TRUE(untilStarted({"11111111", "22222222", "33333333"}));
    EXPECT_EQ(script.mostRunning, 2);
}

TEST_F(DispatcherTest, ABugThatHasASessionIsNotStartedAgain) {
    enqueue("11111111");
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    run(manager.markResumable(run(store.items.item(std::string_view("11111111"))).value().id));
    pass(std::chrono::seconds(5));
    EXPECT_THAT(script.started, ElementsAre("11111111"));
}

TEST_F(DispatcherTest, AHigherMaximumCountsAtOnce) {
    settings.maxSessions = 1;
    enqueue("11111111");
    enqueue("22222222");
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    settings.maxSessions = 2;
    EXPECT_TRUE(untilStarted({"11111111", "22222222"}));
}

TEST_F(DispatcherTest, AWishToStopReachesEverySessionAndWaitsForAllToEnd) {
    enqueue("11111111");
    enqueue("22222222");
    enqueue("33333333");
    begin();
    ASSERT_TRUE(untilStarted({"11111111", "22222222"}));
    stop.raise(StopLevel::stop);
    stop.raise(StopLevel::kill);
    EXPECT_THAT(script.told,
                UnorderedElementsAre("11111111 stop", "22222222 stop", "11111111 kill", "22222222 kill"));
    ends("11111111");
    ASSERT_TRUE(until([&] { return script.running == 1; }));
    pass(std::chrono::seconds(2));
    EXPECT_FALSE(hasEnded());
    ends("22222222");
    EXPECT_TRUE(until([&] { return hasEnded(); }));
    EXPECT_EQ(failureText(), "");
    EXPECT_EQ(script.started.size(), 2U);
}

TEST_F(DispatcherTest, ABugWhoseSessionCouldNotBeStoredIsReconciledAndStartsAgainAfterARest) {
    const Uuid item = enqueue("11111111").id;
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    const auto ended = clock.steadyNow();
    ends("11111111", fullDisk());
    ASSERT_TRUE(untilStarted({"11111111", "11111111"}));
    EXPECT_GE(clock.steadyNow() - ended, std::chrono::seconds(5));
    EXPECT_THAT(history(item), HasSubstr("startingCodex resumable recovered"));
    EXPECT_THAT(diskChanges, ElementsAre(HasSubstr("database or disk is full"), ""));
}

TEST_F(DispatcherTest, AStopIsStoredBeforeTheSessionIsToldOfIt) {
    const Uuid item = enqueue("11111111").id;
    begin();
    ASSERT_TRUE(until([&] { return history(item) == "enqueued startingCodex"; }));
    run(
        store.database->execute("CREATE TRIGGER full BEFORE INSERT ON queue_events BEGIN"
                                " SELECT RAISE(ABORT, 'full'); END"));
    EXPECT_THROW(run(dispatcher->stopSession(item)), DatabaseError);
    EXPECT_THAT(script.told, IsEmpty());
    run(store.database->execute("DROP TRIGGER full"));
    EXPECT_TRUE(run(dispatcher->stopSession(item)));
    EXPECT_THAT(script.told, ElementsAre("11111111 stop"));
    EXPECT_THAT(history(item), testing::EndsWith(" holdRequested"));
    EXPECT_FALSE(run(dispatcher->stopSession(randomUuid())));
}

TEST_F(DispatcherTest, ABugWhoseLastEndIsNotKnownIsNotWorkedOnBeforeTheBackendHasToldIt) {
    const Uuid item = enqueue("11111111").id;
    run(store.attempts.insert({.id = randomUuid(),
                               .queueItemID = item,
                               .attemptNumber = 1,
                               .bugID = "11111111",
                               .completionMarker = upperCaseText(randomUuid()),
                               .state = SessionAttemptState::running,
                               .startedAt = clock.now()}));
    begin();
    const AlertKey subject{AlertTopic::reconciling, "11111111"};
    ASSERT_TRUE(until([&] { return published.alerts.contains(subject); }));
    EXPECT_THAT(published.alerts.at(subject), HasSubstr("The backend cannot be asked whether"));
    EXPECT_THAT(script.started, IsEmpty());
}

/// The same when the session has ended in this run.
TEST_F(DispatcherTest, ABugThatGoesBackWithoutAnAnswerOfTheBackendIsReconciledFirst) {
    const Uuid item = enqueue("11111111").id;
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    run(store.attempts.insert({.id = randomUuid(),
                               .queueItemID = item,
                               .attemptNumber = 1,
                               .bugID = "11111111",
                               .completionMarker = upperCaseText(*this->item(item).activeSessionID),
                               .state = SessionAttemptState::running,
                               .startedAt = clock.now()}));
    ends("11111111", std::make_exception_ptr(ReportUnknown("The model is away.", WithoutReport::goesBack)));
    const AlertKey subject{AlertTopic::reconciling, "11111111"};
    ASSERT_TRUE(until([&] { return published.alerts.contains(subject); }));
    pass(std::chrono::seconds(10));
    EXPECT_EQ(script.started.size(), 1U);
    EXPECT_EQ(status(item), QueueItemStatus::startingCodex);
}

TEST_F(DispatcherTest, ARowThatCannotBeReadHoldsUpNoOtherBug) {
    enqueue("11111111");
    enqueue("22222222");
    run(store.database->execute("UPDATE queue_items SET status = 'Running' WHERE bug_id = '11111111'"));
    begin();
    EXPECT_TRUE(untilStarted({"22222222"}));
}

TEST_F(DispatcherTest, NoSessionBeginsOfAnItemThatIsBeingChanged) {
    const Uuid item = enqueue("11111111").id;
    begin();
    auto claim = dispatcher->claim(item);
    pass(std::chrono::seconds(2));
    EXPECT_THAT(script.started, IsEmpty());
    claim.reset();
    EXPECT_TRUE(untilStarted({"11111111"}));
}

TEST_F(DispatcherTest, NoSessionBeginsWhileEveryItemIsClaimed) {
    enqueue("11111111");
    begin();
    auto claim = dispatcher->claim(everyItem);
    enqueue("22222222");
    pass(std::chrono::seconds(2));
    EXPECT_THAT(script.started, IsEmpty());
    claim.reset();
    EXPECT_TRUE(untilStarted({"11111111", "22222222"}));
}

/// A mapping that is removed at any moment of a start, of which each row is a later one.
class RemovedMappingTest : public DispatcherTest, public testing::WithParamInterface<int> {};

TEST_P(RemovedMappingTest, NoSessionBeginsOfAnAppWithoutAMapping) {
    enqueue("11111111");
    begin();
    for (int handler = 0; handler < GetParam(); ++handler) {
        io.restart();
        io.run_one_for(std::chrono::milliseconds(20));
    }
    auto claim = dispatcher->claim(everyItem);
    const auto before = script.started;
    run(store.mappings.remove("com.acme.shop"));
    claim.reset();
    pass(std::chrono::seconds(2));
    EXPECT_EQ(script.started, before);
}

INSTANTIATE_TEST_SUITE_P(Moments, RemovedMappingTest, testing::Range(0, 60, 2));

TEST_F(DispatcherTest, AStopThatIsStoredWhileItsSessionEndsHoldsTheBugAllTheSame) {
    const Uuid item = enqueue("11111111").id;
    begin();
    ASSERT_TRUE(until([&] { return history(item) == "enqueued startingCodex"; }));
    auto stopping = boost::asio::co_spawn(io, dispatcher->stopSession(item), boost::asio::use_future);
    ends("11111111", fullDisk());
    ASSERT_TRUE(until([&] { return this->item(item).queueMode == QueueMode::manual; })) << history(item);
    EXPECT_TRUE(stopping.get());
    pass(std::chrono::seconds(10));
    EXPECT_THAT(script.started, ElementsAre("11111111"));
    EXPECT_THAT(script.told, IsEmpty()) << "no session was there to be told";
}

/// Its session may have ended while the wish was being stored.
TEST_F(DispatcherTest, AWishThatNoSessionHasSeenIsGrantedByTheLoop) {
    const Uuid item = enqueue("11111111").id;
    begin();
    const auto claim = dispatcher->claim(item);
    run(appendEvent(store.items, {.itemID = item, .kind = EventKind::holdRequested, .message = "Asked."}));
    dispatcher->reconcile(this->item(item));
    ASSERT_TRUE(until([&] { return dispatcher->workOn(item) == ItemWork::none; }));
    EXPECT_EQ(this->item(item).queueMode, QueueMode::manual);
    EXPECT_THAT(script.started, IsEmpty());
}

TEST_F(DispatcherTest, SessionsThatCannotBeStoredAtTheEndAreCounted) {
    enqueue("11111111");
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    stop.raise(StopLevel::stop);
    ends("11111111", fullDisk());
    ASSERT_TRUE(until([&] { return hasEnded(); }));
    EXPECT_THAT(failureText(), HasSubstr("the next start reconciles what became of 1 of them."));
}

TEST_F(DispatcherTest, WhatNothingMendsStopsTheOtherSessionsAndIsThrownAfterTheirEnd) {
    enqueue("11111111");
    enqueue("22222222");
    begin();
    ASSERT_TRUE(untilStarted({"11111111", "22222222"}));
    ends("11111111", std::make_exception_ptr(std::logic_error("out of order")));
    ASSERT_TRUE(until([&] { return !script.told.empty(); }));
    EXPECT_THAT(script.told, Contains("22222222 stop"));
    EXPECT_FALSE(hasEnded());
    ends("22222222");
    ASSERT_TRUE(until([&] { return hasEnded(); }));
    EXPECT_EQ(failureText(), "out of order");
}

TEST_F(DispatcherTest, AMissingAgentHoldsAllBugsBackAndIsNamedUntilItIsThere) {
    settings.agentCommand = {"/no/such/agent"};
    enqueue("11111111");
    begin();
    ASSERT_TRUE(until([&] { return published.alerts.contains({AlertTopic::starts}); }));
    EXPECT_THAT(published.alerts.at({AlertTopic::starts}), HasSubstr("There is no program /no/such/agent"));
    EXPECT_THAT(script.started, IsEmpty());
    settings.agentCommand = {"/bin/sh"};
    EXPECT_TRUE(untilStarted({"11111111"}));
}

TEST_F(DispatcherTest, ShortMemoryIsAnAlertUntilThereIsEnough) {
    settings.memoryFloorMiB = 1 << 30;
    enqueue("11111111");
    begin();
    ASSERT_TRUE(until([&] { return published.alerts.contains({AlertTopic::memory}); }));
    EXPECT_EQ(published.alerts.at({AlertTopic::memory}),
              "No session is started while less than 1073741824 MiB of memory are available.");
    settings.memoryFloorMiB = 0;
    EXPECT_TRUE(untilStarted({"11111111"}));
    EXPECT_FALSE(published.alerts.contains({AlertTopic::memory}));
}

TEST_F(DispatcherTest, APauseForWhichABugMayStillWaitGoesOnUntilThatIsCancelled) {
    const Uuid running = enqueue("11111111").id;
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    startPauses.failed({.repository = repository, .cause = "git fetch fails."}, clock.steadyNow());
    pass(std::chrono::seconds(3));
    EXPECT_TRUE(startPauses.areAny());
    ends("11111111");
    ASSERT_TRUE(until([&] { return status(running) == QueueItemStatus::failed; }));
    EXPECT_TRUE(until([&] { return !startPauses.areAny(); }));
}

TEST_F(DispatcherTest, ABugStartsOnceThePauseOfItsRepositoryIsOver) {
    enqueue("11111111");
    const auto paused = clock.steadyNow();
    startPauses.failed({.repository = repository, .cause = "git fetch fails."}, paused);
    begin();
    ASSERT_TRUE(untilStarted({"11111111"}));
    EXPECT_GE(clock.steadyNow() - paused, PauseLengths{}.first);
}

TEST_F(DispatcherTest, WhatAPersonWantsTriedIsTriedBeforeAnyTimePasses) {
    enqueue("11111111");
    startPauses.failed({.cause = "The agent's use is limited.", .lasts = std::chrono::hours(1)},
                       clock.steadyNow());
    begin();
    pass(std::chrono::seconds(20));
    EXPECT_TRUE(script.started.empty());
    startPauses.tryNow(clock.steadyNow());
    dispatcher->lookNow();
    const auto deadline = std::chrono::steady_clock::now() + quernlight::test::generousBound;
    while (script.started.empty() && std::chrono::steady_clock::now() < deadline) {
        step(std::chrono::nanoseconds(0));
    }
    EXPECT_FALSE(script.started.empty());
}

TEST_F(DispatcherTest, ABugWhoseMappingIsGoneWaitsForANewOneAlsoWithoutAnAgent) {
    settings.agentCommand = {"/no/such/agent"};
    const Uuid item = enqueue("11111111").id;
    run(store.database->execute("DELETE FROM app_mappings"));
    begin();
    ASSERT_TRUE(until([&] { return status(item) == QueueItemStatus::waitingForMapping; }));
    EXPECT_THAT(history(item), HasSubstr("mappingGone"));
    EXPECT_THAT(published.alerts, IsEmpty());
}

TEST_F(DispatcherTest, AStartedBugOfTheManualQueueWhoseMappingIsGoneWaitsForANewOneAndIsNamed) {
    const Uuid item = enqueue("11111111").id;
    run(manager.move(item, QueueMode::manual, std::nullopt));
    run(appendEvent(store.items, {.itemID = item, .kind = EventKind::startRequested, .message = "Asked."}));
    run(store.database->execute("DELETE FROM app_mappings"));
    begin();
    const AlertKey subject{AlertTopic::starting, "11111111"};
    ASSERT_TRUE(until([&] { return published.alerts.contains(subject); }));
    EXPECT_THAT(published.alerts.at(subject),
                HasSubstr("Bug 11111111 waits: no mapping for com.acme.shop; "));
    EXPECT_EQ(status(item), QueueItemStatus::queued);
    run(store.mappings.upsert({.bundleID = "com.acme.shop", .appName = "Shop", .repoPath = repository}));
    EXPECT_TRUE(untilStarted({"11111111"}));
    EXPECT_FALSE(published.alerts.contains(subject));
}

TEST_F(DispatcherTest, ARepositoryThatIsGoneHoldsItsBugsBackUntilItIsThere) {
    enqueue("11111111");
    std::filesystem::remove(repository);
    begin();
    const AlertKey subject{AlertTopic::starts, repository};
    ASSERT_TRUE(until([&] { return published.alerts.contains(subject); }));
    EXPECT_THAT(published.alerts.at(subject), HasSubstr("cannot be used (No such file or directory); "));
    EXPECT_THAT(script.started, IsEmpty());
    std::filesystem::create_directories(repository);
    EXPECT_TRUE(untilStarted({"11111111"}));
}

/// A run that ends when nothing is left; the backend has no bugs.
class DispatcherOnceTest : public test::DispatcherFixture {
  protected:
    void beginOnce() {
        for (int status = 0; status < 3; ++status) {
            server.answer({.body = R"({"bugs":[]})"});
        }
        begin({.once = true});
    }
    bool untilEnd() {
        return until([&] { return hasEnded(); });
    }
};

TEST_F(DispatcherOnceTest, ItEndsOnceEverySessionHasEnded) {
    settings.maxSessions = 1;
    enqueue("11111111");
    enqueue("22222222");
    beginOnce();
    ASSERT_TRUE(untilStarted({"11111111"}));
    ends("11111111");
    ASSERT_TRUE(untilStarted({"11111111", "22222222"}));
    ends("22222222");
    EXPECT_TRUE(untilEnd());
    EXPECT_EQ(failureText(), "");
}

TEST_F(DispatcherOnceTest, ItDoesNotWaitForWhatOnlyAPersonStarts) {
    const Uuid item = enqueue("11111111").id;
    run(manager.move(item, QueueMode::manual, std::nullopt));
    beginOnce();
    EXPECT_TRUE(untilEnd());
    EXPECT_EQ(failureText(), "");
    EXPECT_THAT(script.started, IsEmpty());
}

TEST_F(DispatcherOnceTest, ItTriesNothingTwiceAndSaysWhatWasNotStarted) {
    enqueue("11111111");
    enqueue("22222222");
    startPauses.failed({.repository = repository, .cause = "git fetch fails."}, clock.steadyNow());
    beginOnce();
    EXPECT_TRUE(untilEnd());
    EXPECT_EQ(failureText(), "2 bugs could not be started: git fetch fails.");
}

TEST_F(DispatcherOnceTest, AStartedBugWithoutAMappingIsNamedAtTheEndWithWhatToType) {
    const Uuid item = enqueue("11111111").id;
    run(manager.move(item, QueueMode::manual, std::nullopt));
    run(appendEvent(store.items, {.itemID = item, .kind = EventKind::startRequested, .message = "Asked."}));
    run(store.database->execute("DELETE FROM app_mappings"));
    beginOnce();
    EXPECT_TRUE(untilEnd());
    EXPECT_THAT(published.notices,
                Contains(HasSubstr("quernlight-dispatch map set --bundle com.acme.shop ")));
}

TEST_F(DispatcherOnceTest, ARepositoryThatIsGoneIsItsEndAndNamesTheNextStep) {
    enqueue("11111111");
    std::filesystem::remove(repository);
    beginOnce();
    EXPECT_TRUE(untilEnd());
    EXPECT_EQ(failureText(), "1 bug could not be started: The repository " + repository +
                                 " cannot be used (No such file or directory); bring it back, or map its app "
                                 "to another one with: quernlight-dispatch map set");
}

TEST_F(DispatcherOnceTest, ABackendThatGivesNoListEndsIt) {
    begin({.once = true});
    EXPECT_TRUE(untilEnd());
    EXPECT_THAT(failureText(), HasSubstr("501"));
}

}  // namespace
}  // namespace quernlight::host
