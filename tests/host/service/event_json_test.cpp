#include "host/service/event_json.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/service/event_record.hpp"
#include "host/service/json_fields.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;
using testing::HasSubstr;
using testing::StartsWith;

struct EventRow {
    const char* name;
    DispatchEvent event;
    const char* text;
};

BugProgress progress() {
    return {.bugID = "11111111",
            .appName = "Shop",
            .title = "Crash",
            .stage = SessionStage::agentExited,
            .detail = "Bye",
            .exitCode = 139};
}

class EventJsonTest : public testing::TestWithParam<EventRow> {};

TEST_P(EventJsonTest, AnEventIsToldWithAllThatItHolds) {
    EXPECT_EQ(json::serialize(jsonOf(GetParam().event)), GetParam().text);
}

TEST_P(EventJsonTest, AnEventThatWasToldIsReadBack) {
    const DispatchEvent read = readEvent(json::parse(GetParam().text));
    EXPECT_EQ(read.index(), GetParam().event.index());
    EXPECT_EQ(json::serialize(jsonOf(read)), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Table, EventJsonTest,
    testing::Values(
        EventRow{"ItemChanged", ItemChanged{"11111111", {.kind = "failed", .message = "It failed."}},
                 R"({"type":"item_changed","bug":"11111111","event":{)"
                 R"("id":"00000000-0000-0000-0000-000000000000",)"
                 R"("item":"00000000-0000-0000-0000-000000000000","session":null,"kind":"failed",)"
                 R"("message":"It failed.","metadata":null,"time":"1970-01-01T00:00:00.000Z"}})"},
        EventRow{"ItemRemoved", ItemRemoved{"11111111"}, R"({"type":"item_removed","bug":"11111111"})"},
        EventRow{"StageChanged", StageChanged{progress()},
                 R"({"type":"stage_changed","bug":"11111111","app":"Shop","title":"Crash",)"
                 R"("stage":"agent_exited","stage_text":"ended by SIGSEGV","detail":"Bye","exit_code":139})"},
        EventRow{"DetailChanged", DetailChanged{{.bugID = "11111111", .stage = SessionStage::working}},
                 R"({"type":"detail_changed","bug":"11111111","app":"","title":"",)"
                 R"("stage":"working","stage_text":"working","detail":"","exit_code":null})"},
        EventRow{"AlertRaised", AlertRaised{{AlertTopic::orphanedGits}, "Look."},
                 R"({"type":"alert_raised","topic":"orphaned_gits","subject":"","sentence":"Look."})"},
        EventRow{"AlertCleared", AlertCleared{{AlertTopic::intake, "11111111"}},
                 R"({"type":"alert_cleared","topic":"intake","subject":"11111111"})"},
        EventRow{"SettingChanged", SettingChanged{"sessions.max is 3 now."},
                 R"({"type":"setting_changed","sentence":"sessions.max is 3 now."})"},
        EventRow{"Notice", Notice{"Bytes \xff"},
                 "{\"type\":\"notice\",\"sentence\":\"Bytes \xef\xbf\xbd\"}"}),
    [](const auto& row) { return row.param.name; });

TEST(ReadEventTest, WhatIsNoEventIsNotRead) {
    for (const char* text : {"7", "{}", R"({"type":"of tomorrow"})", R"({"type":"notice"})",
                             R"({"type":"item_removed","bug":7})",
                             R"({"type":"alert_cleared","topic":"of tomorrow","subject":""})"}) {
        EXPECT_THROW(readEvent(json::parse(text)), Misread) << text;
    }
}

class EventRecordTest : public testing::Test {
  protected:
    void happens(EventRecord& record, const std::string& sentence) { record.add(Notice{sentence}, start); }

    const Instant start = parseInstant("2026-03-01T10:00:00Z").value();
};

TEST_F(EventRecordTest, NumbersGrowFromTheTimeOfTheStart) {
    EventRecord record(start);
    const std::uint64_t first = record.last();
    EXPECT_TRUE(record.holdsAllAfter(first));
    happens(record, "One");
    EXPECT_EQ(record.last(), first + 1);
    EXPECT_THAT(*record.after(first),
                StartsWith("{\"number\":" + std::to_string(first + 1) +
                           R"(,"time":"2026-03-01T10:00:00.000Z","type":"notice","sentence":"One")"));
    const EventRecord later(start + std::chrono::milliseconds(1));
    EXPECT_GT(later.last(), record.last());
    EXPECT_FALSE(later.holdsAllAfter(record.last()));
}

TEST_F(EventRecordTest, WhatIsRecordedIsReadBackWithItsNumber) {
    EventRecord record(start);
    happens(record, "One");
    const RecordedEvent read = readRecordedEvent(*record.after(record.last() - 1));
    EXPECT_EQ(read.number, record.last());
    EXPECT_EQ(std::get<Notice>(read.event.value()).sentence, "One");
    const RecordedEvent reset = readRecordedEvent(resetText(17));
    EXPECT_EQ(reset.number, 17U);
    EXPECT_FALSE(reset.event);
    EXPECT_THROW(readRecordedEvent("no JSON"), Misread);
    EXPECT_THROW(readRecordedEvent(R"({"type":"reset"})"), Misread);
}

TEST_F(EventRecordTest, WhatIsTooOldOrNotYetIsNotHeld) {
    EventRecord record(start, {.events = 2});
    const std::uint64_t first = record.last();
    for (const char* sentence : {"One", "Two", "Three"}) {
        happens(record, sentence);
    }
    EXPECT_FALSE(record.holdsAllAfter(first));
    EXPECT_FALSE(record.holdsAllAfter(0));
    EXPECT_FALSE(record.holdsAllAfter(record.last() + 1));
    EXPECT_TRUE(record.holdsAllAfter(first + 1));
    EXPECT_THAT(*record.after(first + 1), HasSubstr("Two"));
    EXPECT_THAT(*record.after(first + 2), HasSubstr("Three"));
}

TEST_F(EventRecordTest, ItHoldsNoMoreBytesThanItMay) {
    EventRecord record(start, {.bytes = 1000});
    for (int count = 0; count < 100; ++count) {
        happens(record, std::string(300, 'x'));
    }
    EXPECT_TRUE(record.holdsAllAfter(record.last() - 2));
    EXPECT_FALSE(record.holdsAllAfter(record.last() - 3));
    happens(record, std::string(2000, 'x'));
    EXPECT_FALSE(record.holdsAllAfter(record.last() - 1));
    EXPECT_TRUE(record.holdsAllAfter(record.last()));
}

}  // namespace
}  // namespace quernlight::host
