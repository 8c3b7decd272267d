#pragma once

#include <string>

#include "quernlight/queue/bug_queue_item.hpp"
#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"

namespace quernlight::test {

inline Instant instant(const std::string& text) {
    return parseInstant(text).value();
}

/// The migrated database, and queue items to put into it.
class QueueFixture : public DatabaseFixture {
  protected:
    void SetUp() override { runTask(Migrations(database).run()); }

    /// An item whose every field differs from its default; each has an id of its own.
    static BugQueueItem fullItem() {
        return {
            .id = randomUuid(),
            .bugID = "3f2a9c10",
            .appID = randomUuid(),
            .appName = "Lantern",
            .bundleID = "example.lantern",
            .title = "Gr\u00FC\u00DFe it's \"broken\"",
            .bugURL = Url::parse("https://bugs.example/v1/bugs/3f2a9c10").value(),
            .queuePosition = 4,
            .queueMode = QueueMode::manual,
            .status = QueueItemStatus::running,
            .goalFlow = QueueItemGoalFlow::addressReview,
            .priority = 2,
            .activeSessionID = randomUuid(),
            .codexSessionID = randomUuid(),
            .errorMessage = "waits",
            .createdAt = instant("2026-03-01T00:00:00.001Z"),
            .addedAt = instant("2026-03-02T00:00:00.020Z"),
            .startedAt = instant("2026-03-03T00:00:00.300Z"),
            .completedAt = instant("2026-03-04T00:00:00.004Z"),
            .cancelledAt = instant("2026-03-05T00:00:00.050Z"),
        };
    }
};

}  // namespace quernlight::test
