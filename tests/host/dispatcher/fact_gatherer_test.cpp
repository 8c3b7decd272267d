#include "host/dispatcher/fact_gatherer.hpp"

#include <gmock/gmock.h>

#include "host/events/item_history.hpp"
#include "host/settings/settings_store.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A real store, and a machine of which the test says what it shows.
class FactGathererTest : public test::ServicesFixture {
  protected:
    /// Stores a session of the item, as one that has ended.
    void attempted(const BugQueueItem& item) {
        run(store.attempts.insert({.id = randomUuid(),
                                   .queueItemID = item.id,
                                   .attemptNumber = 1,
                                   .bugID = item.bugID,
                                   .repoPath = repository,
                                   .completionMarker = upperCaseText(randomUuid())}));
    }

    AdmissionFacts gather() { return run(gatherer().gather()); }

    /// Of each item, in list order, why it waits; "starts" of one that does not.
    std::vector<std::string> outlook() {
        std::vector<std::string> texts;
        for (const AdmissionDecision& decision : admit(gather())) {
            texts.push_back(decision.starts() ? "starts" : sentenceOf(*decision.reason));
        }
        return texts;
    }

    FactGatherer gatherer() {
        return {store,
                settings,
                [this](AdmissionFacts& facts) {
                    if (addOwnersPart) {
                        addOwnersPart(facts);
                    }
                },
                {.availableMemory = [this] { return memory; },
                 .processLeftBy =
                     [this](const SessionAttemptRecord& attempt) {
                         looks.push_back(attempt.bugID);
                         return left;
                     }}};
    }

    std::optional<std::uint64_t> memory;
    std::optional<pid_t> left;
    std::vector<std::string> looks;  // bugs whose worktree was looked into
    FactGatherer::OwnersPart addOwnersPart;
};

TEST_F(FactGathererTest, ItemsStandInListOrderWithTheirRepositories) {
    enqueue("11111111");
    enqueue("22222222");
    const AdmissionFacts facts = gather();
    ASSERT_EQ(facts.items.size(), 2U);
    EXPECT_EQ(facts.items.at(0).item.bugID, "11111111");
    EXPECT_EQ(facts.items.at(1).item.bugID, "22222222");
    EXPECT_EQ(facts.items.at(0).repository, repository);
}

TEST_F(FactGathererTest, TheWorktreeOfAnItemThatWouldStartIsLookedInto) {
    attempted(enqueue("11111111"));
    left = 77;
    EXPECT_THAT(outlook(),
                ElementsAre("process 77 still runs in its worktree; it starts once that has ended."));
}

TEST_F(FactGathererTest, AnItemThatNeverHadASessionHasNothingToLookInto) {
    enqueue("11111111");
    EXPECT_THAT(outlook(), ElementsAre("starts"));
    EXPECT_THAT(looks, IsEmpty());
}

TEST_F(FactGathererTest, NoWorktreeIsLookedIntoOfWhatWaitsForAnotherReason) {
    settings.maxSessions = 1;
    for (const char* bugID : {"11111111", "22222222"}) {
        attempted(enqueue(bugID));
    }
    EXPECT_THAT(outlook(), ElementsAre("starts", "1 of 1 sessions run"));
    EXPECT_THAT(looks, ElementsAre("11111111"));
}

TEST_F(FactGathererTest, TheItemBehindOneWhoseWorktreeIsInUseIsLookedIntoInItsPlace) {
    settings.maxSessions = 1;
    for (const char* bugID : {"11111111", "22222222"}) {
        attempted(enqueue(bugID));
    }
    left = 77;
    outlook();
    EXPECT_THAT(looks, ElementsAre("11111111", "22222222"));
}

TEST_F(FactGathererTest, ARequestedStartIsReadFromTheHistoryOfAManualItem) {
    const BugQueueItem item = enqueue("11111111");
    run(manager.move(item.id, QueueMode::manual, std::nullopt));
    EXPECT_THAT(outlook(), ElementsAre("until: queue start 11111111"));
    run(appendEvent(store.items,
                    {.itemID = item.id, .kind = EventKind::startRequested, .message = "Asked."}));
    EXPECT_THAT(outlook(), ElementsAre("starts"));
}

TEST_F(FactGathererTest, MemoryIsComparedInMebibytes) {
    enqueue("11111111");
    memory = std::uint64_t{1023} * 1024 * 1024;
    EXPECT_THAT(outlook(), ElementsAre("1023 MiB free, 1024 wanted"));
    memory = *memory + 1024 * 1024;
    EXPECT_THAT(outlook(), ElementsAre("starts"));
}

TEST_F(FactGathererTest, WithoutAnOwnerALiveItemTakesAPlace) {
    settings.maxSessions = 1;
    const BugQueueItem live = enqueue("11111111");
    enqueue("22222222");
    run(manager.markStarting(live.id, randomUuid()));
    EXPECT_THAT(outlook(), ElementsAre("its session runs", "1 of 1 sessions run"));
}

TEST_F(FactGathererTest, WhatTheOwnerKnowsCountsBeforeAnyWorktreeIsLookedInto) {
    attempted(enqueue("11111111"));
    addOwnersPart = [](AdmissionFacts& facts) { facts.program.homeIsWritable = false; };
    EXPECT_THAT(outlook(), ElementsAre("the dispatch home cannot be written"));
    EXPECT_THAT(looks, IsEmpty());
}

TEST_F(FactGathererTest, AnybodyMayAskWhyOneItemWaits) {
    const BugQueueItem live = enqueue("11111111");
    const BugQueueItem held = enqueue("22222222");
    run(manager.markStarting(live.id, randomUuid()));
    run(manager.move(held.id, QueueMode::manual, std::nullopt));
    EXPECT_EQ(run(reasonToWait(store, live.id)), std::nullopt);
    EXPECT_EQ(run(reasonToWait(store, held.id)).value().cause, WaitCause::startNotRequested);
}

TEST_F(FactGathererTest, WhoeverAsksHearsOfABrokenRepositoryAndThenOfAMissingAgent) {
    const BugQueueItem item = enqueue("11111111");
    run(SettingsStore(store.database).set("agent.command", "/no/such/agent"));
    const auto sentence = [&] { return sentenceOf(run(reasonToWait(store, item.id)).value()); };
    EXPECT_THAT(sentence(), HasSubstr("The repository " + repository + " cannot be used (No such file"));
    std::filesystem::create_directories(repository);
    EXPECT_THAT(sentence(), HasSubstr("There is no program /no/such/agent that may be run"));
}

TEST_F(FactGathererTest, AnItemThatHasEndedWaitsForNothing) {
    const BugQueueItem item = enqueue("11111111");
    run(manager.cancel(item.id));
    EXPECT_EQ(run(reasonToWait(store, item.id)), std::nullopt);
}

}  // namespace
}  // namespace quernlight::host
