#include <functional>
#include <utility>

#include <gmock/gmock.h>

#include "host/events/item_history.hpp"
#include "tests/host/service/service_fixture.hpp"
#include "tests/support/recording_server.hpp"

namespace quernlight::host {
namespace {

using testing::HasSubstr;

/// A bug whose dispatcher was killed while its agent worked, and no dispatcher runs.
class InterruptedItemTest : public test::ServiceFixture {
  protected:
    InterruptedItemTest() {
        mapApp();
        item = enqueueAs("11111111", QueueItemStatus::running);
        item.bugURL = *Url::parse(server.address() + "/v1/bugs/view/11111111");
        item.activeSessionID = randomUuid();
        run(store().items.update(item));
        SessionAttemptRecord attempt = addAttempt(item, 1);
        run(store().database->execute("UPDATE session_attempts SET completion_marker = '" +
                                      upperCaseText(*item.activeSessionID) + "'"));
        service = std::make_unique<DirectService>(access(), LiveSources{}, [this] { return reached(); });
    }
    Task<std::shared_ptr<const QuernlightClient>> reached() {
        if (meanwhile) {
            const auto once = std::exchange(meanwhile, nullptr);
            co_await once();
        }
        co_return std::make_shared<const QuernlightClient>(*Url::parse(server.address()), "token",
                                                           std::make_shared<HttpSession>());
    }
    /// While one command waits for the backend.
    Task<void> anotherOwnsTheHome() {
        const HomeLock other(home);
        wasFree = true;
        co_return;
    }
    Task<void> anotherCancelsIt() {
        DirectService other(access());  // which cannot ask the backend
        QueueChange cancel{.action = QueueAction::cancel, .bugID = "11111111"};
        co_await other.change(std::move(cancel));
    }
    Task<void> anotherReconcilesIt() {
        DirectService other(access(), LiveSources{}, [this] { return reached(); });
        QueueChange hold{.action = QueueAction::moveToManual, .bugID = "11111111"};
        co_await other.change(std::move(hold));
    }
    void backendHasNoReport() { server.answer({.body = R"({"comments":[]})"}); }
    void backendIsAway() { server.answer({.status = 503, .body = "no"}); }
    QueueEntry change(QueueAction action, Consent consent = {}) {
        return run(service->change({.action = action, .bugID = "11111111", .consent = consent}));
    }
    std::string lastKind() { return run(service->queueItem("11111111")).history.back().kind; }
    bool isOpen() { return !run(store().attempts.latestAttempt(item.id)).value().endedAt.has_value(); }

    quernlight::test::RecordingServer server;
    BugQueueItem item;
    std::function<Task<void>()> meanwhile{};
    bool wasFree = false;
};

TEST_F(InterruptedItemTest, KeepsNobodyFromTheHomeWhileTheBackendIsAsked) {
    backendHasNoReport();
    meanwhile = [this] { return anotherOwnsTheHome(); };
    EXPECT_EQ(change(QueueAction::moveToManual).item.queueMode, QueueMode::manual);
    EXPECT_TRUE(wasFree);
}

TEST_F(InterruptedItemTest, GrantsTheWishThatAnotherCommandHasStoredMeanwhile) {
    backendHasNoReport();
    meanwhile = [this] { return anotherCancelsIt(); };
    EXPECT_EQ(change(QueueAction::moveToManual).item.status, QueueItemStatus::cancelled);
    EXPECT_FALSE(isOpen());
}

TEST_F(InterruptedItemTest, IsLookedAtAnewOnceAnotherCommandHasReconciledItMeanwhile) {
    backendHasNoReport();
    backendHasNoReport();
    meanwhile = [this] { return anotherReconcilesIt(); };
    EXPECT_EQ(codeOf(service->change({.action = QueueAction::cancel, .bugID = "11111111"})),
              ServiceErrorCode::busy);
    EXPECT_EQ(stored(item).queueMode, QueueMode::manual);
    EXPECT_EQ(change(QueueAction::cancel).item.status, QueueItemStatus::cancelled);
}

TEST_F(InterruptedItemTest, IsHeldWithoutADispatcherOnceTheBackendKnowsOfNoReport) {
    backendHasNoReport();
    const QueueEntry held = change(QueueAction::moveToManual);
    EXPECT_EQ(held.item.queueMode, QueueMode::manual);
    EXPECT_EQ(held.stage, SessionStage::needsStart);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(run(service->removeMapping("com.acme.shop")).appName, "Shop");
}

TEST_F(InterruptedItemTest, IsHeldByAStopToo) {
    backendHasNoReport();
    EXPECT_EQ(run(service->stopSession("11111111")).item.queueMode, QueueMode::manual);
    EXPECT_EQ(lastKind(), "sessionStopped");
}

TEST_F(InterruptedItemTest, IsCancelledWithoutADispatcher) {
    backendHasNoReport();
    EXPECT_EQ(change(QueueAction::cancel).item.status, QueueItemStatus::cancelled);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(change(QueueAction::retry).item.status, QueueItemStatus::queued);
}

TEST_F(InterruptedItemTest, IsRemovedOnceItsEndIsKnown) {
    backendHasNoReport();
    change(QueueAction::remove, {.confirmed = true});
    EXPECT_TRUE(run(service->queue()).entries.empty());
}

TEST_F(InterruptedItemTest, KeepsTheWishWhileTheBackendDoesNotAnswer) {
    backendIsAway();
    const QueueEntry entry = change(QueueAction::cancel);
    EXPECT_EQ(entry.stage, SessionStage::toReconcile);
    EXPECT_EQ(lastKind(), "cancelRequested");
    EXPECT_TRUE(isOpen());
    backendHasNoReport();
    EXPECT_EQ(change(QueueAction::cancel).item.status, QueueItemStatus::cancelled);
}

TEST_F(InterruptedItemTest, NamesACommandThatWorksWhereItsEndCannotBeKnown) {
    backendIsAway();
    const auto error = errorOf(service->change({.action = QueueAction::retry, .bugID = "11111111"}));
    EXPECT_THAT(error.what(), HasSubstr("The backend cannot be asked whether"));
    EXPECT_THAT(error.what(), HasSubstr("quernlight-dispatch queue hold 11111111"));
    EXPECT_THAT(errorOf(service->removeMapping("com.acme.shop")).what(),
                HasSubstr("quernlight-dispatch queue hold 11111111"));
    EXPECT_THAT(errorOf(service->change({.action = QueueAction::start, .bugID = "11111111"})).what(),
                HasSubstr("quernlight-dispatch queue hold 11111111"));
    EXPECT_EQ(stored(item), item);
}

TEST_F(InterruptedItemTest, IsNotDeletedAtTheBackendWhileItIsWorkedOn) {
    EXPECT_THAT(errorOf(service->deleteBug("11111111")).what(),
                HasSubstr("is being worked on; cancel that first with: quernlight-dispatch queue cancel"));
    EXPECT_TRUE(server.lines().empty());
    backendHasNoReport();
    change(QueueAction::cancel);
    server.answer({.body = "{}"});
    run(service->deleteBug("11111111"));
    EXPECT_THAT(server.lines().back(), HasSubstr("11111111"));
}

/// A backend that does not know the bug has no comment of it, which tells nothing.
TEST_F(InterruptedItemTest, AsksNoBackendButItsOwn) {
    item.bugURL = *Url::parse("https://bugs.example/v1/bugs/view/11111111");
    run(store().items.update(item));
    EXPECT_EQ(change(QueueAction::moveToManual).stage, SessionStage::toReconcile);
    EXPECT_TRUE(server.lines().empty());
    EXPECT_THAT(errorOf(service->change({.action = QueueAction::retry, .bugID = "11111111"})).what(),
                HasSubstr("comes from another backend (https://bugs.example/"));
}

}  // namespace
}  // namespace quernlight::host
