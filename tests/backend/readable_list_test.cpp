
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_client.hpp"
#include "quernlight/backend/quernlight_decoder.hpp"
#include "tests/backend/sample_answers.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

/// What is wrong with one record of a list, and how that is told.
struct BadBug {
    const char* key;
    const char* value;  ///< JSON; empty when the key is missing
    const char* problem;
};

TEST(ReadableListTest, ABugThatCannotBeReadIsLeftOutWithItsIdAndItsFieldAndTheOthersAreRead) {
    const BadBug rows[] = {
        {"pr_url", "\"\"", "is not an absolute URL"},
        {"created_at", "\"yesterday\"", "Invalid ISO-8601 date: yesterday"},
        {"updated_at", "null", "is not a text"},
        {"title", "null", "is not a text"},
        {"title", "7", "is not a text"},
        {"status", "", "is missing"},
        {"metadata", "", "is missing"},
        {"app_id", "\"7\"", "is not a UUID"},
        {"comment_count", "\"3\"", "is not an integer"},
        {"attachment_count", "2.5", "is not an integer"},
        {"app_name", "[]", "is not a text"},
    };
    for (const BadBug& row : rows) {
        SCOPED_TRACE(row.key);
        json::object bad = bugJSON("11111111");
        bad.erase(row.key);
        if (*row.value != '\0') {
            bad[row.key] = json::parse(row.value);
        }
        const auto list =
            QuernlightDecoder::make().decodeReadableBugs(bugListJSON({bugJSON("22222222"), bad, bugJSON()}));
        ASSERT_EQ(list.records.size(), 2U);
        EXPECT_EQ(list.records.back().id, "3f2a9c1d");
        ASSERT_EQ(list.unreadable.size(), 1U);
        EXPECT_EQ(list.unreadable.front().id, "11111111");
        EXPECT_EQ(list.unreadable.front().field, row.key);
        EXPECT_THAT(list.unreadable.front().problem, HasSubstr(row.problem));
        EXPECT_THAT(list.unreadable.front().problem, Not(HasSubstr("bugs[1]")));  // another one tomorrow
    }
}

TEST(ReadableListTest, AnElementWithoutAnIdIsCountedAndHasNone) {
    json::object nameless = bugJSON();
    nameless["id"] = nullptr;
    const auto list = QuernlightDecoder::make().decodeReadableBugs(bugListJSON({nameless, "no bug"}));
    EXPECT_EQ(list.size(), 2U);
    EXPECT_THAT(list.records, IsEmpty());
    EXPECT_EQ(list.unreadable.front().id, std::nullopt);
    EXPECT_EQ(list.unreadable.front().field, "id");
    EXPECT_EQ(list.unreadable.back().field, "");
}

TEST(ReadableListTest, AnAnswerWithoutTheListIsStillAnError) {
    const auto decoder = QuernlightDecoder::make();
    for (const char* answer : {"no json", "{}", R"({"bugs":{}})", R"({"comments":null})", "[]"}) {
        EXPECT_THROW(decoder.decodeReadableBugs(answer), DecodingError) << answer;
        EXPECT_THROW(decoder.decodeReadableComments(answer), DecodingError) << answer;
    }
}

TEST(ReadableListTest, ACommentIsLeftOutForWhatItsAttachmentsHold) {
    json::object attachment = attachmentJSON();
    attachment["size_bytes"] = "large";
    json::object bad = commentJSON();
    bad["attachments"] = json::array{attachmentJSON(), attachment};
    const auto list = QuernlightDecoder::make().decodeReadableComments(
        wrapped("comments", json::array{bad, commentJSON("Read me.")}));
    ASSERT_EQ(list.records.size(), 1U);
    EXPECT_EQ(list.records.front().body, "Read me.");
    EXPECT_EQ(list.unreadable.front().field, "attachments[1].size_bytes");
}

TEST(ReadableListTest, TheClientAsksAsForTheStrictLists) {
    RecordingServer server;
    const QuernlightClient client(*Url::parse(server.address()), "token", std::make_shared<HttpSession>());
    server.answer({.body = bugListJSON({bugJSON()})});
    server.answer({.body = wrapped("comments", json::array{commentJSON()})});
    EXPECT_EQ(runTask(client.fetchReadableBugs("open", 7)).size(), 1U);
    EXPECT_EQ(runTask(client.fetchReadableComments("3F2A9C1D-0000")).size(), 1U);
    EXPECT_THAT(server.lines(),
                ElementsAre("GET /v1/bugs?status=open&limit=7", "GET /v1/bugs/3f2a9c1d/comments"));
}

TEST(ReadableListTest, ABugsPullRequestIsFoundWhateverElseOfItCannotBeRead) {
    RecordingServer server;
    const QuernlightClient client(*Url::parse(server.address()), "token", std::make_shared<HttpSession>());
    server.answer({.body = R"({"bug":{"pr_url":"https://git.example/a/b/pull/1","created_at":7}})"});
    server.answer({.body = R"({"bug":{"pr_url":null}})"});
    server.answer({.body = R"({"bug":{"pr_url":""}})"});
    EXPECT_EQ(runTask(client.fetchPullRequestURL("3f2a9c1d")), Url::parse("https://git.example/a/b/pull/1"));
    EXPECT_EQ(runTask(client.fetchPullRequestURL("3f2a9c1d")), std::nullopt);
    EXPECT_THROW(runTask(client.fetchPullRequestURL("3f2a9c1d")), DecodingError);
}

}  // namespace
}  // namespace quernlight
