#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "tests/dispatch/queue_manager_fixture.hpp"
#include "tests/dispatch/queue_model.hpp"

namespace quernlight {
namespace {

std::uint64_t numberFromEnvironment(const char* name, std::uint64_t fallback) {
    const char* text = std::getenv(name);
    return text ? std::strtoull(text, nullptr, 10) : fallback;
}

/// Does the same to a queue manager and to the model, one random operation after the other. Another seed or
/// number of operations is given by QUERNLIGHT_TEST_SEED and QUERNLIGHT_TEST_OPERATIONS.
class QueueManagerRandomTest : public QueueManagerFixture {
  protected:
    using Item = std::optional<BugQueueItem>;

    QueueManagerRandomTest() { std::cout << "QUERNLIGHT_TEST_SEED=" << seed_ << std::endl; }

    /// One random operation; compares what it returned.
    void operate() {
        static const std::vector<std::pair<const char*, void (QueueManagerRandomTest::*)()>> operations{
            {"enqueue", &QueueManagerRandomTest::enqueueBug},
            {"enqueue", &QueueManagerRandomTest::enqueueBug},
            {"enqueue", &QueueManagerRandomTest::enqueueBug},
            {"enqueue", &QueueManagerRandomTest::enqueueBug},
            {"enqueue", &QueueManagerRandomTest::enqueueBug},
            {"mapping", &QueueManagerRandomTest::changeMapping},
            {"release", &QueueManagerRandomTest::release},
            {"reorder", &QueueManagerRandomTest::reorder},
            {"queueNext", &QueueManagerRandomTest::queueNext},
            {"cancel", &QueueManagerRandomTest::cancel},
            {"remove", &QueueManagerRandomTest::remove},
            {"removeImplementedReviewItem", &QueueManagerRandomTest::removeImplementedReviewItem},
            {"retry", &QueueManagerRandomTest::retry},
            {"move", &QueueManagerRandomTest::move},
            {"markStarting", &QueueManagerRandomTest::markStarting},
            {"markRunning", &QueueManagerRandomTest::markRunning},
            {"markCodexCompleted", &QueueManagerRandomTest::markCodexCompleted},
            {"markCompleted", &QueueManagerRandomTest::markCompleted},
            {"markAwaitingUserInput", &QueueManagerRandomTest::markAwaitingUserInput},
            {"markFailed", &QueueManagerRandomTest::markFailed},
            {"markResumable", &QueueManagerRandomTest::markResumable},
            {"setCodexSession", &QueueManagerRandomTest::setCodexSession},
            {"waitForCapacity", &QueueManagerRandomTest::waitForCapacity},
        };
        const auto& [name, operation] = operations[below(operations.size())];
        operation_ = name;
        target_ = anyItem();
        returned_ = expected_ = std::nullopt;
        const Instant before = currentInstant();
        (this->*operation)();
        compare(before);
    }

    std::uint64_t seed_ = numberFromEnvironment("QUERNLIGHT_TEST_SEED", std::random_device{}());
    std::string operation_;

  private:
    std::size_t below(std::size_t end) { return random_() % end; }
    bool chance() { return below(2) == 0; }

    /// Mostly an item that is there, more often than not one that is active.
    Uuid anyItem() {
        auto items = model_.items();
        if (chance()) {
            std::erase_if(items, [](const BugQueueItem& item) { return isTerminal(item.status); });
        }
        return items.empty() || below(20) == 0 ? randomUuid() : items[below(items.size())].id;
    }

    QueueMode anyMode() { return chance() ? automatic : manual; }
    QueueItemGoalFlow anyFlow() {
        return chance() ? QueueItemGoalFlow::fixBug : QueueItemGoalFlow::addressReview;
    }
    std::string anyBugID() { return "bug" + std::to_string(below(20)); }
    std::string anyBundle() { return chance() ? "com.acme.shop" : "com.acme.mail"; }

    /// One of few, so that the same one comes again.
    Uuid anyConversation() {
        return *parseUuid("C0DE0000-0000-0000-0000-00000000000" + std::to_string(below(3)));
    }

    QLBugSummaryDTO anyBug() {
        QLBugSummaryDTO summary = bug(anyBugID());
        summary.bundleID = summary.id.size() % 2 == 0 ? "com.acme.shop" : "com.acme.mail";
        summary.status = chance() ? "open" : "in_review";
        return summary;
    }

    void enqueueBug() {
        const QLBugSummaryDTO summary = anyBug();
        const QueueMode mode = anyMode();
        returned_ = run(manager_.enqueue(summary, mode));
        expected_ = model_.enqueue(summary, mode, returned_->id);
        target_ = returned_->id;
    }

    void changeMapping() {
        const std::string bundle = anyBundle();
        const bool mapped = chance();
        run(mappings_.remove(bundle));
        if (mapped) {
            run(mappings_.upsert({.bundleID = bundle}));
        }
        model_.setMapped(bundle, mapped);
    }

    void release() {
        const std::string bundle = anyBundle();
        run(manager_.releaseWaitingItems(bundle));
        model_.release(bundle);
    }

    void reorder() {
        const auto before = chance() ? std::optional(anyItem()) : std::nullopt;
        run(manager_.reorder(target_, before));
        model_.reorder(target_, before);
    }

    void queueNext() {
        run(manager_.queueNext(target_));
        model_.queueNext(target_);
    }

    void cancel() {
        run(manager_.cancel(target_));
        model_.cancel(target_);
    }

    void remove() {
        returned_ = run(manager_.remove(target_));
        expected_ = model_.remove(target_);
    }

    void removeImplementedReviewItem() {
        const std::string bugID = anyBugID();
        returned_ = run(manager_.removeImplementedReviewItem(bugID));
        expected_ = model_.removeImplementedReviewItem(bugID);
    }

    void retry() {
        const auto mode = chance() ? std::optional(anyMode()) : std::nullopt;
        const QueueItemGoalFlow flow = anyFlow();
        returned_ = run(manager_.retry(target_, flow, mode));
        expected_ = model_.retry(target_, flow, mode);
    }

    void move() {
        const auto flow = chance() ? std::optional(anyFlow()) : std::nullopt;
        const QueueMode mode = anyMode();
        returned_ = run(manager_.move(target_, mode, flow));
        expected_ = model_.move(target_, mode, flow);
    }

    void markStarting() {
        const Uuid session = randomUuid();
        run(manager_.markStarting(target_, session));
        model_.markStarting(target_, session);
    }

    void markRunning() {
        const Uuid session = randomUuid();
        run(manager_.markRunning(target_, session));
        model_.markRunning(target_, session);
    }

    void markCodexCompleted() {
        const Uuid comment = randomUuid();
        run(manager_.markCodexCompleted(target_, comment));
        model_.markCodexCompleted(target_, comment);
    }

    void markCompleted() {
        const Uuid comment = randomUuid();
        run(manager_.markCompleted(target_, comment));
        model_.markCompleted(target_, comment);
    }

    void markAwaitingUserInput() {
        const Uuid comment = randomUuid();
        run(manager_.markAwaitingUserInput(target_, comment));
        model_.markAwaitingUserInput(target_, comment);
    }

    void markFailed() {
        const std::string reason = "Reason " + std::to_string(below(1000)) + ".";
        run(manager_.markFailed(target_, reason));
        model_.markFailed(target_, reason);
    }

    void markResumable() {
        run(manager_.markResumable(target_));
        model_.markResumable(target_);
    }

    void setCodexSession() {
        const Uuid conversation = anyConversation();
        const bool overwrite = chance();
        run(manager_.setCodexSession(target_, conversation, overwrite));
        model_.setCodexSession(target_, conversation, overwrite);
    }

    void waitForCapacity() {
        auto item = run(queue_.item(target_));
        if (item && !isTerminal(item->status) && !isReorderLocked(item->status)) {
            item->status = QueueItemStatus::waitingForCapacity;
            store(*item);
        }
        model_.waitForCapacity(target_);
    }

    /// Compares all rows, the target's history and the number of all events with the model.
    void compare(Instant before) {
        std::vector<BugQueueItem> stored = run(queue_.items({.includeTerminal = true}));
        if (const auto target = run(queue_.item(target_))) {
            expectNow(*target, before);
            model_.adoptTimes(*target);
        }
        if (expected_ && model_.item(expected_->id)) {
            expected_ = model_.item(expected_->id);
        }
        EXPECT_EQ(returned_, expected_);
        std::vector<BugQueueItem> expected = model_.items();
        const auto byID = [](const auto& left, const auto& right) { return left.id < right.id; };
        std::sort(stored.begin(), stored.end(), byID);
        std::sort(expected.begin(), expected.end(), byID);
        EXPECT_EQ(stored, expected);
        EXPECT_EQ(historyOf(target_), model_.events(target_));
        EXPECT_EQ(eventCount(), model_.eventCount());
    }

    /// Whether the times that the operation had to take from the clock are those of the operation.
    void expectNow(const BugQueueItem& stored, Instant before) {
        const Item expected = model_.item(stored.id);
        const auto check = [&](const std::optional<Instant>& wanted, const std::optional<Instant>& time) {
            if (wanted == test::QueueModel::justNow) {
                EXPECT_TRUE(time >= before && time <= currentInstant());
            }
        };
        if (expected) {
            check(expected->addedAt, stored.addedAt);
            check(expected->startedAt, stored.startedAt);
            check(expected->completedAt, stored.completedAt);
            check(expected->cancelledAt, stored.cancelledAt);
        }
    }

    std::vector<ItemEvent> historyOf(const Uuid& id) {
        std::vector<ItemEvent> events;
        for (const QueueEvent& event : run(queue_.events(id))) {
            events.push_back({.kind = event.kind,
                              .message = event.message,
                              .sessionID = event.sessionID,
                              .metadataJSON = event.metadataJSON});
        }
        return events;
    }

    std::mt19937_64 random_{seed_};
    test::QueueModel model_;
    Uuid target_{};
    Item returned_;
    Item expected_;
};

TEST_F(QueueManagerRandomTest, RowsAndHistoriesAgreeWithTheModelAfterEveryOperation) {
    const std::uint64_t count = numberFromEnvironment("QUERNLIGHT_TEST_OPERATIONS", 1000);
    for (std::uint64_t number = 1; number <= count && !HasFailure(); ++number) {
        operate();
        ASSERT_FALSE(HasFailure()) << "operation " << number << ", " << operation_ << ", of seed " << seed_;
    }
}

}  // namespace
}  // namespace quernlight
