#include "quernlight/backend/records.hpp"

#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_decoder.hpp"

namespace quernlight {
namespace {

template <class Record>
Record decode(const std::string& json) {
    return QuernlightDecoder::make().decode<Record>(json);
}

Instant at(const char* text) {
    return parseInstant(text).value();
}

Uuid uuid(char last) {
    return parseUuid(std::string("00000000-0000-4000-8000-00000000000") + last).value();
}

/// The keys that the bug of a list and the full bug share, each with a value of its own.
const std::string bugMembers = R"("id": "3F2A9C1D-0000", "title": "T", "description": "D", "reporter": "R",
    "app_version": "1.2", "os_version": "18.1", "device_model": "iPhone15,2", "device_name": "Lab phone",
    "metadata": {"a": [1, null]}, "status": "in_review", "pr_url": "https://Git.Example/Owner/Repo/pull/1",
    "occurred_at": "2026-03-01T00:00:00Z", "created_at": "2026-03-02T00:00:00Z",
    "updated_at": "2026-03-03T00:00:00Z", "duplicate_of": "ABCDEF12",
    "app_id": "00000000-0000-4000-8000-000000000001", "bundle_id": "com.example.notes", "app_name": "Notes")";

const JSONValue bugMetadata =
    JSONValue::object({{"a", JSONValue::array({JSONValue::number(1), JSONValue::null()})}});

const std::string attachment = R"({"id": "00000000-0000-4000-8000-00000000000a", "bug_id": "3f2a9c1d",
    "comment_id": "00000000-0000-4000-8000-00000000000c", "filename": "Screen.png",
    "content_type": "image/png", "size_bytes": 9223372036854775807, "kind": "screenshot",
    "created_at": "2026-03-04T00:00:00Z", "download_url": "https://files.example/A%20b.png?x=Y"})";

const std::string comment = R"({"id": "00000000-0000-4000-8000-00000000000c", "bug_id": "3f2a9c1d",
    "body": "Done.", "created_at": "2026-03-05T00:00:00Z", "updated_at": "2026-03-06T00:00:00Z",
    "attachments": [)" + attachment +
                            R"(], "author_type": "agent", "metadata": {"status": "in_review"}})";

QLAttachmentDTO expectedAttachment() {
    return {.id = uuid('a'),
            .bugID = "3f2a9c1d",
            .commentID = uuid('c'),
            .filename = "Screen.png",
            .contentType = "image/png",
            .sizeBytes = 9223372036854775807,
            .kind = "screenshot",
            .createdAt = at("2026-03-04T00:00:00Z"),
            .downloadURL = Url::parse("https://files.example/A%20b.png?x=Y")};
}

QLCommentDTO expectedComment() {
    return {.id = uuid('c'),
            .bugID = "3f2a9c1d",
            .body = "Done.",
            .createdAt = at("2026-03-05T00:00:00Z"),
            .updatedAt = at("2026-03-06T00:00:00Z"),
            .attachments = {expectedAttachment()},
            .authorType = "agent",
            .metadata = JSONValue::object({{"status", JSONValue::string("in_review")}})};
}

QLBugDetailDTO expectedFullBug() {
    return {.id = "3F2A9C1D-0000",
            .appID = uuid('1'),
            .title = "T",
            .description = "D",
            .reporter = "R",
            .appVersion = "1.2",
            .osVersion = "18.1",
            .deviceModel = "iPhone15,2",
            .deviceName = "Lab phone",
            .metadata = bugMetadata,
            .logS3Key = "logs/1.zip",
            .status = "in_review",
            .prURL = Url::parse("https://Git.Example/Owner/Repo/pull/1"),
            .occurredAt = at("2026-03-01T00:00:00Z"),
            .createdAt = at("2026-03-02T00:00:00Z"),
            .updatedAt = at("2026-03-03T00:00:00Z"),
            .duplicateOf = "ABCDEF12",
            .bundleID = "com.example.notes",
            .appName = "Notes"};
}

TEST(RecordsTest, EveryFieldOfAnAppComesFromItsKey) {
    const QLAppDTO expected{
        .id = uuid('1'), .bundleID = "com.example.notes", .name = "Notes", .openCount = 4};
    const std::string app = R"({"id": "00000000-0000-4000-8000-000000000001",
        "bundle_id": "com.example.notes", "name": "Notes", "open_count": 4})";
    EXPECT_EQ(decode<QLAppDTO>(app), expected);
    EXPECT_EQ(decode<QLAppListResponse>("{\"apps\": [" + app + "]}"), QLAppListResponse{{expected}});
}

TEST(RecordsTest, EveryFieldOfABugInAListComesFromItsKey) {
    const QLBugSummaryDTO expected{.id = "3F2A9C1D-0000",
                                   .title = "T",
                                   .description = "D",
                                   .reporter = "R",
                                   .appVersion = "1.2",
                                   .osVersion = "18.1",
                                   .deviceModel = "iPhone15,2",
                                   .deviceName = "Lab phone",
                                   .metadata = bugMetadata,
                                   .status = "in_review",
                                   .prURL = Url::parse("https://Git.Example/Owner/Repo/pull/1"),
                                   .occurredAt = at("2026-03-01T00:00:00Z"),
                                   .createdAt = at("2026-03-02T00:00:00Z"),
                                   .updatedAt = at("2026-03-03T00:00:00Z"),
                                   .duplicateOf = "ABCDEF12",
                                   .attachmentCount = 5,
                                   .commentCount = 6,
                                   .appID = uuid('1'),
                                   .bundleID = "com.example.notes",
                                   .appName = "Notes"};
    const std::string bug = "{" + bugMembers + R"(, "attachment_count": 5, "comment_count": 6})";
    EXPECT_EQ(decode<QLBugSummaryDTO>(bug), expected);
    EXPECT_EQ(decode<QLBugListResponse>("{\"bugs\": [" + bug + "]}"), QLBugListResponse{{expected}});
}

TEST(RecordsTest, EveryFieldOfAFullBugComesFromItsKey) {
    EXPECT_EQ(decode<QLBugDetailDTO>("{" + bugMembers + R"(, "log_s3_key": "logs/1.zip"})"),
              expectedFullBug());
}

TEST(RecordsTest, EveryFieldOfAnAttachmentComesFromItsKey) {
    EXPECT_EQ(decode<QLAttachmentDTO>(attachment), expectedAttachment());
}

TEST(RecordsTest, EveryFieldOfACommentComesFromItsKey) {
    EXPECT_EQ(decode<QLCommentDTO>(comment), expectedComment());
    EXPECT_EQ(decode<QLCommentsResponse>("{\"comments\": [" + comment + "]}"),
              QLCommentsResponse{{expectedComment()}});
    EXPECT_EQ(decode<QLCreateCommentResponse>("{\"comment\": " + comment + "}"),
              QLCreateCommentResponse{expectedComment()});
}

TEST(RecordsTest, EveryFieldOfABugWithItsCommentsComesFromItsKey) {
    const QLBugDetailResponse expected{.bug = expectedFullBug(),
                                       .attachments = {expectedAttachment()},
                                       .comments = {expectedComment()},
                                       .logURL = Url::parse("https://logs.example/1.zip")};
    EXPECT_EQ(decode<QLBugDetailResponse>("{\"bug\": {" + bugMembers +
                                          R"(, "log_s3_key": "logs/1.zip"}, "attachments": [)" + attachment +
                                          "], \"comments\": [" + comment +
                                          R"(], "log_url": "https://logs.example/1.zip"})"),
              expected);
}

TEST(RecordsTest, EveryFieldOfTheAnswerToFilingABugComesFromItsKey) {
    const QLCreateBugResponse expected{.id = "3F2A9C1D",
                                       .createdAt = at("2026-03-01T00:00:00Z"),
                                       .appID = uuid('1'),
                                       .bundleID = "com.example.notes",
                                       .attachmentsCount = 3};
    EXPECT_EQ(decode<QLCreateBugResponse>(R"({"id": "3F2A9C1D", "created_at": "2026-03-01T00:00:00Z",
        "app_id": "00000000-0000-4000-8000-000000000001", "bundle_id": "com.example.notes",
        "attachments_count": 3})"),
              expected);
}

TEST(RecordsTest, TheCountOfTheListIsNotTheCountOfAFiledBug) {
    EXPECT_THROW(decode<QLCreateBugResponse>(R"({"id": "3F2A9C1D", "created_at": "2026-03-01T00:00:00Z",
        "app_id": "00000000-0000-4000-8000-000000000001", "bundle_id": "com.example.notes",
        "attachment_count": 3})"),
                 DecodingError);
}

TEST(RecordsTest, ADeviceIsShownByTheRuleOfDeviceNamesInListAndDetail) {
    QLBugSummaryDTO listed;
    QLBugDetailDTO full;
    EXPECT_EQ(listed.displayDeviceModel(), std::nullopt);
    EXPECT_EQ(full.displayDeviceModel(), std::nullopt);
    listed.deviceModel = full.deviceModel = "iPhone15,2";
    EXPECT_EQ(listed.displayDeviceModel(), "iPhone 14 Pro (iPhone15,2)");
    EXPECT_EQ(full.displayDeviceModel(), "iPhone 14 Pro (iPhone15,2)");
    listed.deviceName = full.deviceName = "Lab phone";
    EXPECT_EQ(listed.displayDeviceModel(), "Lab phone (iPhone15,2)");
    EXPECT_EQ(full.displayDeviceModel(), "Lab phone (iPhone15,2)");
}

}  // namespace
}  // namespace quernlight
