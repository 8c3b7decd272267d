#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/queue/bug_queue_item_json.hpp"
#include "quernlight/storage/database.hpp"
#include "quernlight/storage/migrations.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {

inline constexpr auto automatic = QueueMode::automatic;
inline constexpr auto manual = QueueMode::manual;

/// Readable in a failed expectation; reads as one line of the history.
inline void PrintTo(const ItemEvent& event, std::ostream* out) {
    *out << event.kind << ": " << event.message << " session "
         << (event.sessionID ? upperCaseText(*event.sessionID) : "none") << " metadata "
         << event.metadataJSON.value_or("none");
}

inline void PrintTo(const BugQueueItem& item, std::ostream* out) {
    *out << boost::json::value_from(item);
}

inline ItemEvent event(const std::string& kind, const std::string& message) {
    return {.kind = kind, .message = message};
}

/// For tables of operations whose results differ.
template <class Result>
Task<void> withoutResult(Task<Result> task) {
    co_await std::move(task);
}

/// The agent's conversation that `leaveBehind` binds bugs to.
inline const Uuid agentConversation = *parseUuid("C0DE0000-0000-0000-0000-000000000001");

/// Stands for a time that an operation took from the clock.
inline constexpr Instant justNow = Instant::max();

/// A queue manager over a real database. Bugs are named by their short ids; their app is "com.acme.shop".
class QueueManagerFixture : public testing::Test {
  protected:
    QueueManagerFixture() { run(Migrations(database_).run()); }

    template <class Result>
    Result run(Task<Result> task) {
        return test::runTask(io_, std::move(task));
    }

    static QLBugSummaryDTO bug(const std::string& id) {
        QLBugSummaryDTO summary;
        summary.id = id;
        summary.title = "Crash on launch";
        summary.status = "open";
        summary.createdAt = *parseInstant("2026-03-04T05:06:07.890Z");
        summary.appID = *parseUuid("0A000000-0000-0000-0000-00000000000A");
        summary.bundleID = "com.acme.shop";
        summary.appName = "Shop";
        return summary;
    }

    /// Saves a repository mapping for the bugs' app.
    void mapApp() { run(mappings_.upsert({.bundleID = "com.acme.shop", .appName = "Shop"})); }

    BugQueueItem enqueue(const std::string& bugID, QueueMode mode = automatic) {
        return run(manager_.enqueue(bug(bugID), mode));
    }

    /// Enqueues bugs behind each other.
    void enqueueAll(const std::vector<std::string>& bugIDs, QueueMode mode = automatic) {
        for (const std::string& bugID : bugIDs) {
            enqueue(bugID, mode);
        }
    }

    std::optional<BugQueueItem> find(const std::string& bugID) { return run(queue_.item(bugID)); }
    BugQueueItem item(const std::string& bugID) { return find(bugID).value(); }
    Uuid id(const std::string& bugID) { return item(bugID).id; }
    QueueItemStatus status(const std::string& bugID) { return item(bugID).status; }

    /// Stores the item as if it had come this far.
    void setStatus(const std::string& bugID, QueueItemStatus status) {
        BugQueueItem changed = item(bugID);
        changed.status = status;
        store(changed);
    }

    /// Stores a bug that a session has left in `status`, bound to the agent's conversation.
    void leaveBehind(const std::string& bugID, QueueItemStatus status) {
        BugQueueItem left = enqueue(bugID);
        left.status = status;
        left.activeSessionID = randomUuid();
        left.codexSessionID = agentConversation;
        left.errorMessage = "It broke.";
        left.startedAt = left.completedAt = left.cancelledAt = longAgo;
        store(left);
        forgetEvents();
    }

    /// Whether the bug waits for an agent with nothing left of an earlier run but the agent's conversation.
    void expectReadyForANewRun(const std::string& bugID) {
        const BugQueueItem found = item(bugID);
        EXPECT_FALSE(isTerminal(found.status));
        EXPECT_EQ(found.activeSessionID, std::nullopt);
        EXPECT_EQ(found.errorMessage, std::nullopt);
        EXPECT_EQ(found.startedAt, std::nullopt);
        EXPECT_EQ(found.completedAt, std::nullopt);
        EXPECT_EQ(found.cancelledAt, std::nullopt);
        EXPECT_EQ(found.codexSessionID, agentConversation);
    }

    void store(const BugQueueItem& item) { run(queue_.update(item)); }

    /// The item with `justNow` in place of each time of a run that came after `longAgo`.
    BugQueueItem itemWithoutClock(const std::string& bugID) {
        BugQueueItem found = item(bugID);
        for (auto* time : {&found.startedAt, &found.completedAt, &found.cancelledAt}) {
            if (*time > longAgo) {
                *time = justNow;
            }
        }
        return found;
    }

    /// The active bugs of a queue in listing order. Fails when they are not numbered 0, 1, 2, ...
    std::vector<std::string> order(QueueMode mode = automatic) {
        std::vector<std::string> bugIDs;
        for (const BugQueueItem& listed : run(queue_.items({.queueMode = mode}))) {
            EXPECT_EQ(listed.queuePosition, static_cast<std::int64_t>(bugIDs.size())) << listed.bugID;
            bugIDs.push_back(listed.bugID);
        }
        return bugIDs;
    }

    /// What was written to the item's history since the last `forgetEvents`.
    std::vector<ItemEvent> events(const std::string& bugID) {
        std::vector<ItemEvent> events;
        for (const QueueEvent& event : run(queue_.events(id(bugID)))) {
            events.push_back({.kind = event.kind,
                              .message = event.message,
                              .sessionID = event.sessionID,
                              .metadataJSON = event.metadataJSON});
        }
        return events;
    }

    /// From now on `writes` tells what is written to the tables: "insert BUG POSITION STATUS", "update BUG
    /// POSITION STATUS", "delete BUG" and "event KIND".
    void recordWrites() {
        const std::string row = "NEW.bug_id || ' ' || NEW.queue_position || ' ' || NEW.status";
        execute("CREATE TABLE written (line TEXT)");
        recordEach("item_added", "INSERT ON queue_items", "'insert ' || " + row);
        recordEach("item_changed", "UPDATE ON queue_items", "'update ' || " + row);
        recordEach("item_deleted", "DELETE ON queue_items", "'delete ' || OLD.bug_id");
        recordEach("event_added", "INSERT ON queue_events", "'event ' || NEW.kind");
    }

    /// What was written since the last call, in the order of the writes.
    std::vector<std::string> writes() {
        std::vector<std::string> lines;
        for (const Row& row : run(database_->query("SELECT line FROM written ORDER BY rowid"))) {
            lines.push_back(*row.at("line").asText());
        }
        execute("DELETE FROM written");
        return lines;
    }

    void forgetEvents() { execute("DELETE FROM queue_events"); }
    std::size_t eventCount() { return run(database_->query("SELECT id FROM queue_events")).size(); }
    /// From now on a write to an item fails.
    void refuseUpdates() {
        execute(
            "CREATE TRIGGER still BEFORE UPDATE ON queue_items BEGIN SELECT RAISE(ABORT, 'written'); END");
    }
    void execute(const std::string& sql) { run(database_->execute(sql)); }

    void recordEach(const std::string& trigger, const std::string& change, const std::string& line) {
        execute("CREATE TRIGGER " + trigger + " AFTER " + change + " BEGIN INSERT INTO written VALUES (" +
                line + "); END");
    }

    static constexpr Instant longAgo{std::chrono::hours(1)};

    test::TemporaryDirectory directory_;
    boost::asio::io_context io_;
    std::shared_ptr<Database> database_ = std::make_shared<Database>(directory_ / "queue.sqlite");
    QueueRepository queue_{database_};
    MappingRepository mappings_{database_};
    QueueManager manager_{queue_, mappings_, *Url::parse("https://bugs.acme.example/base")};
};

}  // namespace quernlight
