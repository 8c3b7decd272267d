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
    EarlierRun found() { return run(earlierRun(store, run(store.items.items(wholeQueue)), now)); }

    const Instant now = parseInstant("2026-03-04T12:00:00Z").value();
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
    happens(workedOn("3f2a9c1d"), EventKind::agentBlocked, "Limited until 11:00.",
            limitMetadata(now - std::chrono::hours(1)));
    EXPECT_EQ(found().limit, std::nullopt);
    const Instant end = now + std::chrono::hours(4);
    happens(workedOn("7b1e0d5c"), EventKind::agentBlocked, "Limited until 16:00.", limitMetadata(end));
    const EarlierRun run = found();
    ASSERT_TRUE(run.limit);
    const OutsideFailure pause = pauseFor(*run.limit, now);
    EXPECT_EQ(pause.until, end);
    EXPECT_EQ(pause.lasts, std::chrono::hours(4));
    EXPECT_TRUE(pause.stopsWork);
    EXPECT_EQ(pause.cause, "Limited until 16:00.");
}

}  // namespace
}  // namespace quernlight::host
