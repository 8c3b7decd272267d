#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/service/service_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using enum ServiceErrorCode;

class DirectServiceTest : public test::ServiceFixture {
  protected:
    BugQueueItem change(QueueAction action, const BugQueueItem& item, Consent consent = {}) {
        return run(service->change({.action = action, .bugID = item.bugID, .consent = consent})).item;
    }
    std::vector<std::string> queuedIDs() {
        std::vector<std::string> ids;
        const QueueList queue = run(service->queue());
        for (const QueueEntry& entry : queue.entries) {
            ids.push_back(entry.item.bugID);
        }
        return ids;
    }
    /// Of each but the two that make a home.
    std::vector<ServiceError> errorsOfEveryOperation() {
        return {errorOf(service->queue()),
                errorOf(service->queueItem("11111111")),
                errorOf(service->change({.action = QueueAction::next, .bugID = "11111111"})),
                errorOf(service->mappings()),
                errorOf(service->settings()),
                errorOf(service->setting("sessions.max")),
                errorOf(service->sessions()),
                errorOf(service->bug("11111111")),
                errorOf(service->review()),
                errorOf(service->health())};
    }
    void setVersion(int version) {
        run(store().database->execute("PRAGMA user_version = " + std::to_string(version)));
    }
    SQLValue version() {
        return run(store().database->query("PRAGMA user_version")).at(0).at("user_version");
    }
    std::string lastKind(const BugQueueItem& item) {
        return run(service->queueItem(item.bugID)).history.back().kind;
    }
};

// The queue

TEST_F(DirectServiceTest, TheQueueIsListedWithWhatHasLeftIt) {
    enqueue("11111111");
    enqueueAs("22222222", QueueItemStatus::completed);
    enqueue("33333333", QueueMode::manual);
    EXPECT_THAT(queuedIDs(), ElementsAre("11111111", "22222222", "33333333"));
}

TEST_F(DirectServiceTest, AnItemIsShownWithItsHistoryAndEveryAttempt) {
    const BugQueueItem item = enqueue("11111111");
    addAttempt(item, 2);
    addAttempt(item, 1, SessionAttemptState::failed);
    const QueueItemDetails details = run(service->queueItem("11111111-0000-4000-8000-000000000000"));
    EXPECT_EQ(details.item, stored(item));
    ASSERT_EQ(details.history.size(), 1U);
    EXPECT_EQ(details.history[0].kind, "enqueued");
    ASSERT_EQ(details.attempts.size(), 2U);
    EXPECT_EQ(details.attempts[0].attemptNumber, 1);
    EXPECT_EQ(details.attempts[1].attemptNumber, 2);
}

TEST_F(DirectServiceTest, NextPutsAnItemAtTheHead) {
    enqueue("11111111");
    const BugQueueItem second = enqueue("22222222");
    EXPECT_EQ(change(QueueAction::next, second).queuePosition, 0);
    EXPECT_THAT(queuedIDs(), ElementsAre("22222222", "11111111"));
}

TEST_F(DirectServiceTest, CancelTakesAnItemOutAndRetryBringsItBackAtTheEnd) {
    const BugQueueItem item = enqueue("11111111");
    enqueue("22222222");
    EXPECT_EQ(change(QueueAction::cancel, item).status, QueueItemStatus::cancelled);
    const BugQueueItem retried = change(QueueAction::retry, item);
    EXPECT_EQ(retried.status, QueueItemStatus::waitingForMapping);
    EXPECT_EQ(retried.queuePosition, 1);
    EXPECT_EQ(retried, stored(item));
}

TEST_F(DirectServiceTest, AnItemMovesBetweenTheQueuesAndIsStartedFromTheManualOne) {
    const BugQueueItem item = enqueue("11111111");
    mapApp();
    EXPECT_EQ(change(QueueAction::moveToManual, item).queueMode, QueueMode::manual);
    EXPECT_EQ(change(QueueAction::start, item), stored(item));
    EXPECT_EQ(lastKind(item), "startRequested");
    EXPECT_EQ(change(QueueAction::moveToAuto, item).queueMode, QueueMode::automatic);
}

TEST_F(DirectServiceTest, HoldingAManualItemTakesBackThatItsStartWasAskedFor) {
    const BugQueueItem item = enqueue("11111111", QueueMode::manual);
    mapApp();
    change(QueueAction::start, item);
    EXPECT_EQ(run(service->change({.action = QueueAction::moveToManual, .bugID = "11111111"})).stage,
              SessionStage::needsStart);
    EXPECT_EQ(run(service->queue()).entries.at(0).stage, SessionStage::needsStart);
    EXPECT_EQ(lastKind(item), "queueModeChanged");
    const std::size_t told = run(service->queueItem("11111111")).history.size();
    change(QueueAction::moveToManual, item);
    EXPECT_EQ(run(service->queueItem("11111111")).history.size(), told) << "it is held already";
}

/// It waits for no person any more, unless its mapping is gone.
TEST_F(DirectServiceTest, AManualItemWhoseStartWasAskedForIsQueuedInEveryAnswer) {
    const BugQueueItem item = enqueue("11111111", QueueMode::manual);
    mapApp();
    EXPECT_EQ(run(service->queue()).entries.at(0).stage, SessionStage::needsStart);
    EXPECT_EQ(run(service->change({.action = QueueAction::start, .bugID = "11111111"})).stage,
              SessionStage::queued);
    EXPECT_EQ(run(service->queue()).entries.at(0).stage, SessionStage::queued);
    EXPECT_EQ(run(service->queueItem("11111111")).stage, SessionStage::queued);
    EXPECT_THAT(run(service->health()).needPerson, IsEmpty());
    run(store().database->execute("DELETE FROM app_mappings"));
    EXPECT_EQ(run(service->queue()).entries.at(0).stage, SessionStage::needsMapping);
    const auto needPerson = run(service->health()).needPerson;
    ASSERT_EQ(needPerson.size(), 1U);
    EXPECT_EQ(needPerson[0].item, item);
    EXPECT_EQ(needPerson[0].stage, SessionStage::needsMapping);
}

TEST_F(DirectServiceTest, NothingIsStartedThatHasNoMappingAndThenNothingIsStored) {
    const BugQueueItem item = enqueue("11111111", QueueMode::manual);
    EXPECT_EQ(codeOf(service->change({.action = QueueAction::start, .bugID = "11111111"})), refused);
    EXPECT_EQ(lastKind(item), "enqueued");
}

TEST_F(DirectServiceTest, WhatTheItemsStateForbidsIsRefusedAndChangesNothing) {
    const BugQueueItem failed = enqueueAs("11111111", QueueItemStatus::failed);
    const auto refusal = errorOf(service->change({.action = QueueAction::next, .bugID = "11111111"}));
    EXPECT_EQ(refusal.code(), refused);
    EXPECT_STREQ(refusal.what(),
                 "Bug 11111111 (failed): it has left its queue; queue it again with: quernlight-dispatch "
                 "queue retry 11111111");
    EXPECT_EQ(stored(failed), failed);
}

TEST_F(DirectServiceTest, ASessionThatIsNotSettledKeepsItsItem) {
    const BugQueueItem item = enqueueAs("11111111", QueueItemStatus::awaitingUserInput);
    addAttempt(item, 1);
    run(store().database->execute("UPDATE session_attempts SET completion_marker = '" +
                                  upperCaseText(randomUuid()) + "'"));
    EXPECT_EQ(codeOf(service->change({.action = QueueAction::retry, .bugID = "11111111"})), refused);
    EXPECT_EQ(stored(item), item);
}

TEST_F(DirectServiceTest, FinishedWorkIsDoneAgainOnceAPersonHasConfirmedIt) {
    const BugQueueItem item = enqueueAs("11111111", QueueItemStatus::completed);
    EXPECT_EQ(codeOf(service->change({QueueAction::retry, "11111111", {.again = true}})), needsConfirmation);
    EXPECT_EQ(stored(item), item);
    EXPECT_EQ(change(QueueAction::retry, item, {.again = true, .confirmed = true}).status,
              QueueItemStatus::waitingForMapping);
}

TEST_F(DirectServiceTest, ABugThatIsNotThereIsNotFoundByAnyOperation) {
    enqueue("11111111");
    const std::string sentence = "Bug 99999999 is not in the queue; see: quernlight-dispatch queue list";
    for (const QueueAction action : allQueueActions) {
        const auto error = errorOf(service->change({.action = action, .bugID = "99999999"}));
        EXPECT_EQ(error.code(), notFound);
        EXPECT_EQ(error.what(), sentence);
    }
    EXPECT_EQ(errorOf(service->queueItem("99999999")).what(), sentence);
    EXPECT_EQ(codeOf(service->bug("99999999")), notFound);
}

TEST_F(DirectServiceTest, OfABugWhoseWorkWasMergedTheSentenceTellsSo) {
    const BugQueueItem item = enqueue("11111111");
    run(store().retired.remember(item, {.preservedReference = "refs/kept"},
                                 *parseInstant("2026-03-01T10:00:00Z")));
    run(store().items.remove(item.id));
    const auto error = errorOf(service->queueItem("11111111"));
    EXPECT_EQ(error.code(), notFound);
    EXPECT_THAT(error.what(), HasSubstr("Bug 11111111 (Crash) left the queue at 2026-03-01T10:00:00"));
    EXPECT_THAT(error.what(), HasSubstr(": it is merged; work kept at refs/kept."));
}

// The settings

TEST_F(DirectServiceTest, ASettingIsReadSetAndPutBackToItsDefault) {
    store();
    const SettingValue before = run(service->setting("sessions.max"));
    EXPECT_EQ(before.text, "2");
    EXPECT_FALSE(before.isSet);
    const SettingValue set = run(service->setSetting("sessions.max", " 4 "));
    EXPECT_EQ(set.text, "4");
    EXPECT_TRUE(set.isSet);
    EXPECT_EQ(set.allowed, "a whole number from 1 to 64");
    EXPECT_EQ(run(service->unsetSetting("sessions.max")).text, "2");
}

TEST_F(DirectServiceTest, TheListHasEverySettingAndWhatIsStoredInVain) {
    store();
    run(service->setSetting("sessions.max", "4"));
    run(store().database->execute("UPDATE settings SET value = 'many' WHERE key = 'sessions.max'"));
    const SettingList list = run(service->settings());
    EXPECT_EQ(list.values.size(), settingDescriptions().size());
    EXPECT_THAT(list.troubles, ElementsAre(HasSubstr("\"many\" is not.")));
}

TEST_F(DirectServiceTest, ASettingThatIsNotThereOrATextThatIsNotAllowedIsAnError) {
    store();
    for (auto operation : {&DispatchService::setting, &DispatchService::unsetSetting}) {
        EXPECT_EQ(codeOf((service.get()->*operation)("intake.daily")), notFound);
    }
    EXPECT_EQ(codeOf(service->setSetting("intake.daily", "3")), notFound);
    const auto error = errorOf(service->setSetting("sessions.max", "lots"));
    EXPECT_EQ(error.code(), invalid);
    EXPECT_STREQ(error.what(), "sessions.max must be a whole number from 1 to 64; \"lots\" is not.");
    EXPECT_FALSE(run(service->setting("sessions.max")).isSet);
}

// How the home is opened

TEST_F(DirectServiceTest, BesideAnOwnerEverythingIsReadAndSettingsMayChange) {
    enqueue("11111111");
    const HomeLock owner(home);
    EXPECT_THAT(queuedIDs(), ElementsAre("11111111"));
    EXPECT_EQ(run(service->queueItem("11111111")).item.bugID, "11111111");
    EXPECT_THAT(run(service->mappings()), IsEmpty());
    EXPECT_THAT(run(service->sessions()), IsEmpty());
    EXPECT_EQ(run(service->setSetting("sessions.max", "4")).text, "4");
}

TEST_F(DirectServiceTest, BesideAnOwnerTheQueueDoesNotChange) {
    const BugQueueItem item = enqueue("11111111");
    const HomeLock owner(home);
    const auto error = errorOf(service->change({.action = QueueAction::cancel, .bugID = "11111111"}));
    EXPECT_EQ(error.code(), busy);
    EXPECT_THAT(error.what(), HasSubstr("belongs to process "));
    EXPECT_EQ(stored(item), item);
}

TEST_F(DirectServiceTest, WhoHasBegunToChangeTheQueueOwnsTheHomeUntilItLeaves) {
    enqueueAs("11111111", QueueItemStatus::completed);
    EXPECT_EQ(codeOf(service->change({QueueAction::retry, "11111111", {.again = true}})), needsConfirmation);
    EXPECT_THROW(HomeLock{home}, HomeOwnedError);
    service.reset();
    EXPECT_NO_THROW(HomeLock{home});
}

TEST_F(DirectServiceTest, AHomeThatIsNotThereIsToldByEveryOperationAndNotMade) {
    auto errors = errorsOfEveryOperation();
    errors.push_back(errorOf(service->unsetSetting("sessions.max")));
    for (const ServiceError& error : errors) {
        EXPECT_EQ(error.code(), unavailable);
        EXPECT_EQ(error.what(), "There is no dispatch home at " + home.string() +
                                    " yet. Map an app to make it (quernlight-dispatch map set --help), or "
                                    "name another with --home.");
    }
    EXPECT_EQ(codeOf(service->setSetting("sessions.max", "lots")), invalid);
    EXPECT_FALSE(std::filesystem::exists(home));
    EXPECT_EQ(run(service->setSetting("sessions.max", "4")).text, "4");
}

TEST_F(DirectServiceTest, AHomeThatCannotBeLookedIntoIsNoHomeThatIsNotThere) {
    const std::string sentence = "The dispatch home " + home.string() + " cannot be read (";
    quernlight::test::writeFile(home, "a file in the way");
    EXPECT_EQ(errorOf(service->queue()).what(),
              sentence + "Not a directory); choose another with --home or check its permissions.");
    std::filesystem::remove(home);
    std::filesystem::create_symlink(home, home);
    for (const ServiceError& error : errorsOfEveryOperation()) {
        EXPECT_EQ(error.code(), unavailable);
        EXPECT_THAT(error.what(), HasSubstr(sentence + "Too many levels of symbolic links); "));
    }
}

TEST_F(DirectServiceTest, AnIdThatIsNoTextIsInvalid) {
    enqueue("11111111");
    EXPECT_EQ(codeOf(service->queueItem("\xff")), invalid);
}

TEST_F(DirectServiceTest, ANewerVersionsQueueIsToldByEveryOperationAndLeftAsItIs) {
    setVersion(8);
    auto errors = errorsOfEveryOperation();
    errors.push_back(errorOf(service->setSetting("sessions.max", "4")));
    for (const ServiceError& error : errors) {
        EXPECT_EQ(error.code(), unavailable);
        EXPECT_THAT(error.what(), HasSubstr("was written by a newer version of this program"));
    }
    EXPECT_EQ(version(), SQLValue::integer(8));
}

TEST_F(DirectServiceTest, AnOlderLayoutIsNotReadAndLeftAsItIs) {
    setVersion(6);
    const auto error = errorOf(service->queue());
    EXPECT_EQ(error.code(), unavailable);
    EXPECT_THAT(error.what(), HasSubstr(" has the layout of an older version, which reading does not change; "
                                        "start the dispatcher once"));
    EXPECT_EQ(version(), SQLValue::integer(6));
}

TEST_F(DirectServiceTest, ASettingThatIsSetBringsAnOlderLayoutUpToDateAlsoWithoutADispatcher) {
    setVersion(6);
    EXPECT_EQ(run(service->setSetting("sessions.max", "3")).text, "3");
    EXPECT_EQ(run(service->setting("sessions.max")).text, "3");
}

TEST_F(DirectServiceTest, AQueueThatCannotBeReadIsUnavailable) {
    store();
    run(store().database->execute("DROP TABLE queue_items"));
    const auto error = errorOf(service->queue());
    EXPECT_EQ(error.code(), unavailable);
    EXPECT_THAT(error.what(), HasSubstr("no such table: queue_items"));
}

/// Another program may have written it.
TEST_F(DirectServiceTest, ARowThatCannotBeReadIsLeftAloneAndHoldsUpNoOther) {
    const BugQueueItem other = enqueue("11111111");
    enqueue("22222222");
    run(store().database->execute("UPDATE queue_items SET status = 'Running' WHERE bug_id = '22222222'"));
    EXPECT_THAT(queuedIDs(), ElementsAre("11111111"));
    const std::string sentence =
        "Bug 22222222 of the queue cannot be read (Missing SQLite column status.), so it is left as it is";
    EXPECT_THAT(run(service->health()).alerts, ElementsAre(HasSubstr(sentence)));
    const auto unreadable = run(service->queue()).unreadable;
    ASSERT_EQ(unreadable.size(), 1U);
    EXPECT_EQ(unreadable.front().bugID, "22222222");
    EXPECT_THAT(unreadable.front().sentence, HasSubstr(sentence));
    EXPECT_THAT(errorOf(service->queueItem("2222")).what(), HasSubstr(sentence));
    for (const QueueAction action : allQueueActions) {
        const auto error = errorOf(service->change({action, "22222222", {.confirmed = true}}));
        EXPECT_EQ(error.code(), refused);
        EXPECT_THAT(error.what(), HasSubstr(sentence));
    }
    EXPECT_EQ(change(QueueAction::cancel, other).status, QueueItemStatus::cancelled);
    EXPECT_EQ(
        run(store().database->query("SELECT status FROM queue_items ORDER BY bug_id")).at(1).at("status"),
        SQLValue::text("Running"));
}

TEST_F(DirectServiceTest, TheOwnerItselfWorksOnTheStoreThatItHasOpen) {
    const BugQueueItem item = enqueue("11111111");
    const HomeLock owner(home);
    service = std::make_unique<DirectService>(std::make_unique<OwnerAccess>(home, store(), *manager));
    EXPECT_EQ(change(QueueAction::cancel, item).status, QueueItemStatus::cancelled);
    EXPECT_EQ(run(service->setSetting("sessions.max", "4")).text, "4");
    EXPECT_THAT(queuedIDs(), ElementsAre("11111111"));
    EXPECT_EQ(codeOf(service->setMapping({.bundleID = "com.acme.shop"})), invalid);
}

}  // namespace
}  // namespace quernlight::host
