#include "host/dispatcher/earlier_run.hpp"

#include <gmock/gmock.h>

#include "host/events/item_history.hpp"
#include "tests/host/services_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class EarlierRunTest : public test::ServicesFixture {
  protected:
    /// A bug on which an agent has worked.
    Uuid workedOn(const std::string& bugID) {
        const Uuid id = enqueue(bugID).id;
        run(manager.setCodexSession(id, randomUuid(), true));
        return id;
    }
    void happens(const Uuid& id, EventKind kind, const std::string& message,
                 std::optional<std::string> metadata = {}) {
        run(appendEvent(
            store.items,
            {.itemID = id, .kind = kind, .message = message, .metadataJSON = std::move(metadata)}));
    }
    Task<bool> remembered(Instant at) {
        co_await rememberUnpause(store, at);
        co_return true;
    }
    /// An agent that was started then.
    void reported(Instant startedAt) {
        const BugQueueItem bug = enqueue("1a2b3c4" + std::to_string(attempts));
        SessionAttemptRecord attempt{.id = randomUuid(),
                                     .queueItemID = bug.id,
                                     .attemptNumber = ++attempts,
                                     .bugID = bug.bugID,
                                     .startedAt = startedAt};
        run(stored(std::move(attempt)));
    }
    Task<bool> stored(SessionAttemptRecord attempt) {
        co_await store.attempts.insert(attempt);
        co_await store.attempts.markCompleted(attempt.id, randomUuid(), attempt.startedAt, attempt.startedAt);
        co_return true;
    }
    std::int64_t attempts = 0;
    EarlierRun found() { return run(earlierRun(store, run(store.items.items(wholeQueue)), now)); }

    const Instant now = std::chrono::floor<std::chrono::seconds>(currentInstant());
};

TEST_F(EarlierRunTest, AQuestionThatNobodyHasAnsweredIsKnown) {
    const Uuid asking = workedOn("3f2a9c1d");
    happens(asking, EventKind::needsPerson, "Trust this folder?");
    happens(workedOn("7b1e0d5c"), EventKind::goalAccepted, "");
    EXPECT_THAT(found().questions, ElementsAre(Pair("3f2a9c1d", "Trust this folder?")));
    happens(asking, EventKind::goalAccepted, "");
    EXPECT_THAT(found().questions, IsEmpty());
}

TEST_F(EarlierRunTest, ALimitOfUseThatIsNotOverPausesAgentsWorkUntilItIs) {
    happens(workedOn("3f2a9c1d"), EventKind::agentBlocked, "Limited, and over.",
            limitMetadata(now - std::chrono::hours(1)));
    EXPECT_EQ(found().limit, std::nullopt);
    const Instant end = now + std::chrono::hours(4);
    happens(workedOn("7b1e0d5c"), EventKind::agentBlocked, "Limited for hours.", limitMetadata(end));
    const EarlierRun run = found();
    ASSERT_TRUE(run.limit);
    const OutsideFailure pause = pauseFor(*run.limit, now);
    EXPECT_EQ(pause.until, end);
    EXPECT_EQ(pause.lasts, std::chrono::hours(4));
    EXPECT_TRUE(pause.stopsWork);
    EXPECT_EQ(pause.cause, "Limited for hours.");
}

TEST_F(EarlierRunTest, ALimitThatAPersonHasEndedStaysEnded) {
    const Uuid limited = workedOn("3f2a9c1d");
    happens(limited, EventKind::agentBlocked, "Limited.", limitMetadata(now + std::chrono::hours(4)));
    ASSERT_TRUE(found().limit);
    run(remembered(currentInstant() + std::chrono::seconds(1)));
    EXPECT_EQ(found().limit, std::nullopt);
    run(remembered(currentInstant() - std::chrono::hours(1)));
    EXPECT_TRUE(found().limit) << "which was told later";
}

TEST_F(EarlierRunTest, ALimitIsOverOnceAnAgentThatWasStartedLaterHasReported) {
    const Uuid limited = workedOn("3f2a9c1d");
    happens(limited, EventKind::agentBlocked, "Limited.", limitMetadata(now + std::chrono::hours(4)));
    reported(currentInstant() - std::chrono::hours(1));
    EXPECT_TRUE(found().limit) << "it worked before";
    reported(currentInstant() + std::chrono::seconds(1));
    EXPECT_EQ(found().limit, std::nullopt);
}

}  // namespace
}  // namespace quernlight::host
