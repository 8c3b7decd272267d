#include <array>
#include <memory>
#include <stdexcept>
#include <string>

#include "bench/awaited.hpp"
#include "bench/comparison.hpp"
#include "bench/reference/queue_rows.h"
#include "bench/temporary_directory.hpp"
#include "quernlight/dispatch/queue_manager.hpp"
#include "quernlight/storage/migrations.hpp"

namespace quernlight::bench {
namespace {

constexpr const char* selectActive =
    "SELECT * FROM queue_items WHERE status NOT IN ('completed', 'failed', 'cancelled', 'awaitingUserInput') "
    "ORDER BY queue_mode ASC, queue_position ASC, added_at ASC";

constexpr const char* insertMany =
    "WITH RECURSIVE numbers(number) AS (SELECT 0 UNION ALL SELECT number + 1 FROM numbers LIMIT ?) "
    "INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position, "
    "queue_mode, status, goal_flow, priority, created_at, added_at) "
    "SELECT printf('%08X-0000-4000-8000-000000000000', number), printf('%08x', number), "
    "'11111111-2222-4333-8444-555555555555', 'Ledger', 'app.ledger', "
    "'The total at the foot of the list is that of the page before', "
    "'https://bugs.example/v1/bugs/view/' || printf('%08x', number), number, 'auto', 'queued', 'fix_bug', 0, "
    "'2026-03-04T05:06:07.000Z', '2026-03-04T05:06:08.000Z' FROM numbers";

Uuid idOfItem(std::int64_t number) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%08X-0000-4000-8000-000000000000",
                  static_cast<unsigned>(number));
    return parseUuid(text.data()).value();
}

/// A queue in a file of its own, with so many items that wait.
struct StoredQueue {
    explicit StoredQueue(std::int64_t items) {
        awaited(Migrations(database).run());
        if (items > 0) {
            awaited(database->execute(insertMany, {SQLValue::integer(items)}));
        }
    }

    TemporaryDirectory directory{};
    std::string path = (directory.path() / "queue.sqlite").string();
    std::shared_ptr<Database> database = std::make_shared<Database>(path);
    QueueRepository queue{database};
    QueueManager manager{queue, MappingRepository(database), *Url::parse("https://bugs.example")};
};

struct ConnectionCloser {
    void operator()(sqlite3* connection) const { reference_close(connection); }
};

using ReferenceConnection = std::unique_ptr<sqlite3, ConnectionCloser>;

void check(bool good) {
    if (!good) {
        throw std::runtime_error("SQLite refused a statement of the reference.");
    }
}

Benchmark referenceList(std::int64_t items) {
    return [items](benchmark::State& state) {
        const StoredQueue stored(items);
        const ReferenceConnection connection(reference_open(stored.path.c_str()));
        for ([[maybe_unused]] auto round : state) {
            check(reference_list(connection.get(), selectActive) == items);
        }
    };
}

Benchmark list(std::int64_t items) {
    return [items](benchmark::State& state) {
        const StoredQueue stored(items);
        for ([[maybe_unused]] auto round : state) {
            check(awaited(stored.queue.items()).size() == static_cast<std::size_t>(items));
        }
    };
}

constexpr const char* insertOne =
    "INSERT INTO queue_items\n"
    "  (id, bug_id, app_id, app_name, bundle_id, title, bug_url, queue_position, queue_mode, status, "
    "goal_flow, priority, active_session_id, codex_session_id, error_message, created_at, added_at, "
    "started_at, completed_at, cancelled_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";

constexpr const char* updateOne =
    "UPDATE queue_items SET\n"
    "  app_name = ?, bundle_id = ?, title = ?, bug_url = ?, queue_position = ?, queue_mode = ?, status = ?, "
    "goal_flow = ?, priority = ?, active_session_id = ?, codex_session_id = ?, error_message = ?, "
    "started_at = ?, completed_at = ?, cancelled_at = ?\n"
    " WHERE id = ?";

constexpr const char* title = "The total at the foot of the list is that of the page before";
constexpr const char* place = "https://bugs.example/v1/bugs/view/00000000";

void referenceInsert(benchmark::State& state) {
    const StoredQueue stored(0);
    const ReferenceConnection connection(reference_open(stored.path.c_str()));
    std::int64_t number = 0;
    for ([[maybe_unused]] auto round : state) {
        const std::string id = upperCaseText(idOfItem(++number));
        const std::string bugID = id.substr(0, 8);
        const char* const none = nullptr;
        const std::array texts{id.c_str(),
                               bugID.c_str(),
                               "11111111-2222-4333-8444-555555555555",
                               "Ledger",
                               "app.ledger",
                               title,
                               place,
                               "0",
                               "auto",
                               "queued",
                               "fix_bug",
                               "0",
                               none,
                               none,
                               none,
                               "2026-03-04T05:06:07.000Z",
                               "2026-03-04T05:06:08.000Z",
                               none,
                               none,
                               none};
        check(reference_write(connection.get(), insertOne, texts.data(), static_cast<int>(texts.size())) ==
              1);
    }
}

BugQueueItem itemNumbered(std::int64_t number) {
    const Uuid id = idOfItem(number);
    return {.id = id,
            .bugID = lowerCaseText(id).substr(0, 8),
            .appName = "Ledger",
            .bundleID = "app.ledger",
            .title = title,
            .bugURL = *Url::parse(place)};
}

Task<void> insertEach(benchmark::State& state, const QueueRepository& queue) {
    std::int64_t number = 0;
    for ([[maybe_unused]] auto round : state) {
        const BugQueueItem item = itemNumbered(++number);
        co_await queue.insert(item);
    }
}

void insert(benchmark::State& state) {
    const StoredQueue stored(0);
    awaited(insertEach(state, stored.queue));
}

constexpr std::int64_t updatedItems = 100;

void referenceUpdate(benchmark::State& state) {
    const StoredQueue stored(updatedItems);
    const ReferenceConnection connection(reference_open(stored.path.c_str()));
    std::int64_t number = 0;
    for ([[maybe_unused]] auto round : state) {
        const std::string id = upperCaseText(idOfItem(++number % updatedItems));
        const std::string position = std::to_string(number);
        const char* const none = nullptr;
        const std::array texts{"Ledger",  "app.ledger", title,     place, position.c_str(),
                               "auto",    "queued",     "fix_bug", "0",   none,
                               none,      none,         none,      none,  none,
                               id.c_str()};
        check(reference_write(connection.get(), updateOne, texts.data(), static_cast<int>(texts.size())) ==
              1);
    }
}

Task<void> updateEach(benchmark::State& state, const QueueRepository& queue) {
    std::int64_t number = 0;
    for ([[maybe_unused]] auto round : state) {
        BugQueueItem item = itemNumbered(++number % updatedItems);
        item.queuePosition = number;
        co_await queue.update(item);
    }
}

void update(benchmark::State& state) {
    const StoredQueue stored(updatedItems);
    awaited(updateEach(state, stored.queue));
}

constexpr std::int64_t manyItems = 10'000;

/// What a walk over the queue reads, and what it writes.
void renumber(benchmark::State& state) {
    const StoredQueue stored(manyItems);
    const ReferenceConnection connection(reference_open(stored.path.c_str()));
    const char* const none = nullptr;
    const std::array texts{"Ledger", "app.ledger", title, place, "0",  "auto", "queued", "fix_bug",
                           "0",      none,         none,  none,  none, none,   none,     "id"};
    long turn = 0;
    for ([[maybe_unused]] auto round : state) {
        check(reference_list(connection.get(), selectActive) == manyItems);
        check(reference_renumber(connection.get(), updateOne, texts.data(), static_cast<int>(texts.size()),
                                 manyItems, ++turn) == manyItems);
    }
}

/// The last item to the front, again and again: every row changes its place.
void moveLastToTheFront(benchmark::State& state) {
    StoredQueue stored(manyItems);
    std::int64_t last = manyItems;
    for ([[maybe_unused]] auto round : state) {
        last = last == 0 ? manyItems - 1 : last - 1;
        awaited(stored.manager.queueNext(idOfItem(last)));
    }
}

void cancelFirst(benchmark::State& state) {
    StoredQueue stored(manyItems);
    std::int64_t first = 0;
    for ([[maybe_unused]] auto round : state) {
        awaited(stored.manager.cancel(idOfItem(first++ % manyItems)));
    }
}

}  // namespace

void addQueueRows(Table& table) {
    for (const std::int64_t items : {1'000, 10'000, 100'000}) {
        table.add({.what = "list " + std::to_string(items) + " items",
                   .reference = "C, columns copied",
                   .figure = Figure::work,
                   .bar = 1.5},
                  referenceList(items), list(items));
    }
    table.add({.what = "insert, each awaited",
               .reference = "C, prepared each time",
               .figure = Figure::work,
               .bar = 1},
              referenceInsert, insert);
    table.add({.what = "update, each awaited",
               .reference = "C, prepared each time",
               .figure = Figure::work,
               .bar = 1},
              referenceUpdate, update);
    const std::string walk = "C, list and renumber them";
    table.add({.what = "queueNext at 10000 queued", .reference = walk, .figure = Figure::work, .bar = 2},
              renumber, moveLastToTheFront);
    table.add({.what = "cancel at 10000 queued", .reference = walk, .figure = Figure::work, .bar = 2},
              renumber, cancelFirst);
}

}  // namespace quernlight::bench
