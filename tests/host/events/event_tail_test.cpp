#include "host/events/event_tail.hpp"

#include <gmock/gmock.h>

#include "host/events/item_event.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Keeps the events that it was shown, as "BUG KIND SESSION".
class EventBoard final : public ProgressBoard {
  public:
    void show(const BugProgress&) override {}
    void note(const std::string&) override {}
    void event(const LoggedEvent& logged) override {
        const auto& session = logged.event.sessionID;
        lines.push_back(logged.bugID + " " + logged.event.kind +
                        (session ? " " + upperCaseText(*session) : ""));
    }

    std::vector<std::string> lines;
};

class EventTailTest : public test::ServicesFixture {
  protected:
    std::vector<std::string> shown() {
        board.lines.clear();
        run(tail.showNew());
        return board.lines;
    }
    void begin() { run(tail.begin()); }

    EventBoard board;
    EventTail tail{store, board};
};

TEST_F(EventTailTest, WhatWasStoredBeforeIsNotShownAndWhatComesIsShownOnce) {
    const Uuid item = enqueue("3f2a9c1d").id;
    begin();
    run(manager.queueNext(item));
    EXPECT_THAT(shown(), ElementsAre("3f2a9c1d queuedNext"));
    EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(EventTailTest, EventsOfAnItemThatIsGoneAreShownAndNewOnesAreNotMissedAfterwards) {
    begin();
    const Uuid item = enqueue("3f2a9c1d").id;
    run(tell(store, {.itemID = item, .kind = event_kind::retired}));
    run(manager.remove(item));
    enqueue("77777777");
    EXPECT_THAT(shown(), ElementsAre("3f2a9c1d enqueued", "3f2a9c1d retired", "77777777 enqueued"));
}

TEST_F(EventTailTest, TheEndOfASessionIsShownWithTheSessionsId) {
    begin();
    const Uuid item = enqueue("3f2a9c1d").id;
    const Uuid session = randomUuid();
    const std::string id = upperCaseText(session);
    run(manager.markStarting(item, session));
    run(manager.markFailed(item, "It broke."));
    run(manager.retry(item, QueueItemGoalFlow::fixBug));
    run(manager.markFailed(item, "No worktree."));
    EXPECT_THAT(shown(), ElementsAre("3f2a9c1d enqueued", "3f2a9c1d startingCodex " + id,
                                     "3f2a9c1d failed " + id, "3f2a9c1d retried", "3f2a9c1d failed"));
}

}  // namespace
}  // namespace quernlight::host
