#include "host/events/item_history.hpp"

#include <gmock/gmock.h>

#include "quernlight/storage/database_error.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class HistoryPublisherTest : public test::ServicesFixture {
  protected:
    QueueRepository items = historyPublisher.publishing(store.items);
    QueueManager publishing{items, store.mappings, Url()};
};

TEST_F(HistoryPublisherTest, AnEventIsPublishedOnceItIsStoredWhoeverStoresIt) {
    const Uuid item = enqueue("3f2a9c1d").id;
    run(publishing.queueNext(item));
    run(appendEvent(items, {.itemID = item, .kind = EventKind::retired, .message = "Merged."}));
    EXPECT_THAT(published.history, ElementsAre("3f2a9c1d queuedNext", "3f2a9c1d retired"));
    EXPECT_EQ(history(item), "enqueued queuedNext retired");
}

TEST_F(HistoryPublisherTest, WhatCannotBeStoredIsNotPublished) {
    EXPECT_THROW(run(appendEvent(items, {.itemID = randomUuid(), .kind = EventKind::retired})),
                 DatabaseError);
    EXPECT_THAT(published.history, IsEmpty());
}

TEST_F(HistoryPublisherTest, TheEndOfASessionIsPublishedWithTheSessionsId) {
    const Uuid item = enqueue("3f2a9c1d").id;
    const Uuid session = randomUuid();
    const std::string id = upperCaseText(session);
    run(publishing.markStarting(item, session));
    run(publishing.markFailed(item, "It broke."));
    run(publishing.retry(item, QueueItemGoalFlow::fixBug));
    run(publishing.markFailed(item, "No worktree."));
    EXPECT_THAT(published.history, ElementsAre("3f2a9c1d startingCodex " + id, "3f2a9c1d failed " + id,
                                               "3f2a9c1d retried", "3f2a9c1d failed"));
}

TEST_F(HistoryPublisherTest, TheEndOfASessionThatAnEarlierOwnerBeganHasItsIdAsWell) {
    const Uuid item = enqueue("3f2a9c1d").id;
    const Uuid session = randomUuid();
    run(manager.markStarting(item, session));
    historyPublisher.resumeSession(item, session);
    run(publishing.markResumable(item));
    EXPECT_THAT(published.history, ElementsAre("3f2a9c1d resumable " + upperCaseText(session)));
}

}  // namespace
}  // namespace quernlight::host
