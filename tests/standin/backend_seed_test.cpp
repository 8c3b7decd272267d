#include "standin/backend/seed.hpp"

#include <gtest/gtest.h>

#include "standin/backend/json_forms.hpp"
#include "standin/backend/json_text.hpp"
#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

const Instant now = *parseInstant("2026-03-01T10:20:30.123Z");

std::string complaintAbout(const std::string& seed) {
    try {
        storeFromSeed(seed, now);
    } catch (const InvalidInput& error) {
        return error.what();
    }
    return "";
}

TEST(BackendSeedTest, TheEssentialsAreEnough) {
    const BugStore store = storeFromSeed(
        R"({"apps": [{"bundle_id": "b", "name": "N"}], "bugs": [{"title": "One"}, {"title": "Two"}]})", now);
    ASSERT_EQ(store.bugs().size(), 2U);
    EXPECT_EQ(store.bugs()[0].status, "open");
    EXPECT_EQ(store.appOf(store.bugs()[1]).name, "N");
    EXPECT_LT(store.bugs()[0].createdAt, store.bugs()[1].createdAt);
    EXPECT_LT(store.bugs()[1].createdAt, now);
}

TEST(BackendSeedTest, ABugOfAnUnknownBundleMakesItsApp) {
    const BugStore store =
        storeFromSeed(R"({"bugs": [{"title": "One", "bundle_id": "b", "app_name": "N"}]})", now);
    EXPECT_EQ(store.findApp("b")->name, "N");
}

TEST(BackendSeedTest, AStateFileIsASeedThatGivesTheSameState) {
    const BugStore store = storeFromSeed(
        R"({"apps": [{"bundle_id": "b", "name": "N"}],
            "bugs": [{"title": "One", "id": "AAAAAAAA-1", "device_model": "iPhone17,1", "logs": "l",
                      "metadata": {"deep": [1, {"x": null}]}, "pr_url": "https://x.example/1",
                      "attachments": [{"filename": "f", "size_bytes": 3}]}],
            "comments": [{"bug_id": "aaaaaaaa", "body": "c", "author_type": "agent", "metadata": {"k": "v"}}]})",
        now);
    const std::string state = prettyJson(stateForm(store));
    EXPECT_EQ(prettyJson(stateForm(storeFromSeed(state, now + std::chrono::hours(1)))), state);
}

TEST(BackendSeedTest, AComplaintNamesTheEntryAtFault) {
    EXPECT_EQ(complaintAbout(R"({"apps": [{"name": "N"}]})"), "apps[0]: \"bundle_id\" is missing or empty.");
    EXPECT_EQ(complaintAbout(R"({"bugs": [{"title": 3, "bundle_id": "b"}]})"),
              "bugs[0]: \"title\" must be a text.");
    EXPECT_EQ(complaintAbout(R"({"bugs": [{"title": "t", "bundle_id": "b", "created_at": "today"}]})"),
              "bugs[0]: \"created_at\" must be an ISO 8601 date-time.");
    EXPECT_EQ(complaintAbout(R"({"comments": [{"body": "b", "bug_id": "12345678"}]})"),
              "comments[0] belongs to a bug that is not in the seed: 12345678.");
    EXPECT_EQ(complaintAbout(R"({"bug": []})"), "The seed: \"bug\" is not known here.");
    EXPECT_EQ(complaintAbout("[]"), "The seed must be a JSON object.");
}

TEST(BackendSeedTest, TwoBugsMustNotShareTheirFirstEightCharacters) {
    EXPECT_EQ(complaintAbout(R"({"bugs": [{"title": "t", "bundle_id": "b", "id": "AAAAAAAA-1"},
                                          {"title": "t", "bundle_id": "b", "id": "aaaaaaaa-2"}]})"),
              "bugs[1] has the same first 8 characters of its id as a bug before it.");
}

TEST(BackendJsonTextTest, Base64IsPaddedToGroupsOfFour) {
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foo"), "Zm9v");
    EXPECT_EQ(base64("\xFF\xFE\xFD\xFC"), "//79/A==");
}

TEST(BackendJsonTextTest, PrettyJsonKeepsTheOrderAndWritesEmptyListsOnOneLine) {
    EXPECT_EQ(
        prettyJson(parseJson(R"({"b":[1,{"c":"x\n"}],"a":[],"o":{}})", "It")),
        "{\n  \"b\": [\n    1,\n    {\n      \"c\": \"x\\n\"\n    }\n  ],\n  \"a\": [],\n  \"o\": {}\n}\n");
}

}  // namespace
}  // namespace quernlight::standin
