#include "quernlight/queue/queue_repository.hpp"
#include "tests/queue/queue_fixture.hpp"

namespace quernlight {
namespace {

using test::instant;
using test::runTask;

SQLValue text(const char* value) {
    return SQLValue::text(value);
}

/// What lies in the tables: other programs, and other versions of this one, read it too.
class StoredQueueRowsTest : public test::QueueFixture {
  protected:
    static Uuid uuid(const char* lowerCaseText) { return parseUuid(lowerCaseText).value(); }

    static BugQueueItem settledItem() {
        BugQueueItem item = fullItem();
        item.id = uuid("aaaaaaaa-1111-4222-8333-abcdefabcdef");
        item.bugID = " 3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF ";
        item.appID = uuid("bbbbbbbb-1111-4222-8333-abcdefabcdef");
        item.activeSessionID = uuid("cccccccc-1111-4222-8333-abcdefabcdef");
        item.codexSessionID = uuid("dddddddd-1111-4222-8333-abcdefabcdef");
        return item;
    }

    static Row settledRow() {
        return {{"id", text("AAAAAAAA-1111-4222-8333-ABCDEFABCDEF")},
                {"bug_id", text("3f2a9c10")},
                {"app_id", text("BBBBBBBB-1111-4222-8333-ABCDEFABCDEF")},
                {"app_name", text("Lantern")},
                {"bundle_id", text("example.lantern")},
                {"title", text("Gr\u00FC\u00DFe it's \"broken\"")},
                {"bug_url", text("https://bugs.example/v1/bugs/3f2a9c10")},
                {"queue_position", SQLValue::integer(4)},
                {"queue_mode", text("manual")},
                {"status", text("running")},
                {"goal_flow", text("address_review")},
                {"priority", SQLValue::integer(2)},
                {"active_session_id", text("CCCCCCCC-1111-4222-8333-ABCDEFABCDEF")},
                {"codex_session_id", text("DDDDDDDD-1111-4222-8333-ABCDEFABCDEF")},
                {"error_message", text("waits")},
                {"created_at", text("2026-03-01T00:00:00.001Z")},
                {"added_at", text("2026-03-02T00:00:00.020Z")},
                {"started_at", text("2026-03-03T00:00:00.300Z")},
                {"completed_at", text("2026-03-04T00:00:00.004Z")},
                {"cancelled_at", text("2026-03-05T00:00:00.050Z")}};
    }

    Row onlyRow(const std::string& table) { return rows("SELECT * FROM " + table).at(0); }

    static void expectColumns(const Row& found, const Row& expected) {
        EXPECT_EQ(found.size(), expected.size());
        for (const auto& [column, value] : expected) {
            EXPECT_EQ(found.at(column), value) << column;
        }
    }

    const QueueRepository repository{database};
};

TEST_F(StoredQueueRowsTest, AnItemLiesInItsTwentyColumns) {
    runTask(repository.insert(settledItem()));
    expectColumns(onlyRow("queue_items"), settledRow());
}

TEST_F(StoredQueueRowsTest, AbsentFieldsOfAnItemAreNull) {
    runTask(repository.insert({.bugURL = Url::parse("https://bugs.example/").value()}));
    const Row row = onlyRow("queue_items");
    for (const char* column : {"active_session_id", "codex_session_id", "error_message", "started_at",
                               "completed_at", "cancelled_at"}) {
        EXPECT_EQ(row.at(column), SQLValue::null()) << column;
    }
}

TEST_F(StoredQueueRowsTest, AnUpdateWritesFifteenColumnsAndLeavesFiveAlone) {
    const BugQueueItem inserted = settledItem();
    const Instant later = instant("2030-01-01T00:00:00.5Z");
    runTask(repository.insert({.id = inserted.id,
                               .bugID = "ab1",
                               .bugURL = Url::parse("https://bugs.example/").value(),
                               .createdAt = later,
                               .addedAt = later}));
    runTask(repository.update(inserted));
    Row expected = settledRow();
    expected["bug_id"] = text("ab1");
    expected["app_id"] = text("00000000-0000-0000-0000-000000000000");
    expected["created_at"] = expected["added_at"] = text("2030-01-01T00:00:00.500Z");
    expectColumns(onlyRow("queue_items"), expected);
}

TEST_F(StoredQueueRowsTest, AnUpdateOfAnItemClearsWhatIsAbsent) {
    const BugQueueItem inserted = settledItem();
    runTask(repository.insert(inserted));
    runTask(repository.update({.id = inserted.id, .bugURL = inserted.bugURL}));
    const Row row = onlyRow("queue_items");
    for (const char* column : {"active_session_id", "codex_session_id", "error_message", "started_at",
                               "completed_at", "cancelled_at"}) {
        EXPECT_EQ(row.at(column), SQLValue::null()) << column;
    }
}

TEST_F(StoredQueueRowsTest, AnEventLiesInItsSevenColumns) {
    const BugQueueItem item = settledItem();
    runTask(repository.insert(item));
    runTask(repository.appendEvent(item.id, "started", "It began.", item.activeSessionID, "{ \"pid\" : 7 }",
                                   instant("2026-03-04T05:06:07.89Z")));
    const Row row = onlyRow("queue_events");
    expectColumns(row, {{"id", row.at("id")},
                        {"queue_item_id", text("AAAAAAAA-1111-4222-8333-ABCDEFABCDEF")},
                        {"session_id", text("CCCCCCCC-1111-4222-8333-ABCDEFABCDEF")},
                        {"kind", text("started")},
                        {"message", text("It began.")},
                        {"metadata_json", text("{ \"pid\" : 7 }")},
                        {"created_at", text("2026-03-04T05:06:07.890Z")}});
    const std::string id = *row.at("id").asText();
    EXPECT_EQ(upperCaseText(parseUuid(id).value()), id);
}

TEST_F(StoredQueueRowsTest, AnEventWithoutSessionAndMetadataHasNulls) {
    const BugQueueItem item = settledItem();
    runTask(repository.insert(item));
    runTask(repository.appendEvent(item.id, "k", "m", std::nullopt, std::nullopt, Instant{}));
    EXPECT_EQ(onlyRow("queue_events").at("session_id"), SQLValue::null());
    EXPECT_EQ(onlyRow("queue_events").at("metadata_json"), SQLValue::null());
}

}  // namespace
}  // namespace quernlight
