#include "standin/backend/router.hpp"

#include <chrono>

#include <gtest/gtest.h>

#include "standin/backend/json_text.hpp"
#include "standin/backend/seed.hpp"

namespace quernlight::standin {
namespace {

using testing::HasSubstr;

constexpr const char* seedText = R"({
  "apps": [{"id": "11111111-1111-4111-8111-111111111111", "bundle_id": "com.example.notes", "name": "Notes"}],
  "bugs": [
    {"id": "3F2A9C1D-0000-4000-8000-000000000000", "title": "Old", "description": "It crashes"},
    {"id": "aaaaaaaa-0000-4000-8000-000000000000", "title": "New"},
    {"id": "bbbbbbbb-0000-4000-8000-000000000000", "title": "Reviewed", "status": "in_review",
     "pr_url": "https://git.example/o/r/pull/7"}],
  "comments": [{"id": "22222222-2222-4222-8222-22222222ABCD", "bug_id": "3f2a9c1d", "body": "Seen here"}]})";

/// A client that talks to the router in values.
class BackendRouterTest : public testing::Test {
  protected:
    Response send(const std::string& method, const std::string& target, const std::string& body = "") {
        Headers headers{{"authorization", "Bearer secret"}};
        if (!body.empty()) {
            headers.emplace_back("content-type", "application/json");
        }
        return respond({method, target, headers, body});
    }
    Response respond(const Request& request) {
        now += std::chrono::seconds(1);
        return router.respond(request, now);
    }
    Response file(const std::string& body,
                  Headers headers = {{"x-bundle-id", "com.example.paint"}, {"x-app-name", "Paint"}}) {
        headers.emplace_back("Content-Type", "application/json; charset=utf-8");
        return respond({"POST", "/v1/bugs", headers, body});
    }
    Response setFaults(const std::string& list) {
        return send("POST", "/standin/faults", R"({"set": [)" + list + "]}");
    }
    boost::json::value get(const std::string& target) { return bodyOf(send("GET", target)); }
    std::string statusOf(const std::string& bug) {
        return get("/v1/bugs/" + bug).at("bug").at("status").as_string().c_str();
    }
    static boost::json::value bodyOf(const Response& response) { return boost::json::parse(response.body); }
    static std::string textOf(const boost::json::value& value) { return value.as_string().c_str(); }

    Instant now = *parseInstant("2026-03-01T10:20:30.123Z");
    BugStore store = storeFromSeed(seedText, now);
    Faults faults;
    Router router{store, faults, "secret"};
};

TEST_F(BackendRouterTest, AppsAreListedWithTheNumberOfTheirOpenBugs) {
    const auto apps = get("/v1/apps").at("apps").as_array();
    ASSERT_EQ(apps.size(), 1U);
    EXPECT_EQ(serialize(apps[0]), R"({"id":"11111111-1111-4111-8111-111111111111",)"
                                  R"("bundle_id":"com.example.notes","name":"Notes","open_count":2})");
}

TEST_F(BackendRouterTest, BugsOfOneStatusAreListedNewestFirstUpToTheLimit) {
    const auto open = get("/v1/bugs?status=open&limit=50").at("bugs").as_array();
    ASSERT_EQ(open.size(), 2U);
    EXPECT_EQ(textOf(open[0].at("title")), "New");
    EXPECT_EQ(textOf(open[1].at("title")), "Old");
    EXPECT_EQ(get("/v1/bugs?status=open&limit=1").at("bugs").as_array().size(), 1U);
    EXPECT_EQ(get("/v1/bugs").at("bugs").as_array().size(), 3U);
}

TEST_F(BackendRouterTest, AListedBugHasEveryKeyOfASummary) {
    const auto bug = get("/v1/bugs?status=in_review&limit=5").at("bugs").at(0).as_object();
    for (const char* key : {"id", "title", "status", "occurred_at", "created_at", "updated_at", "app_id",
                            "bundle_id", "app_name", "pr_url"}) {
        EXPECT_TRUE(bug.at(key).is_string()) << key;
    }
    EXPECT_EQ(textOf(bug.at("created_at")), "2026-03-01T10:20:29.123Z");
    EXPECT_TRUE(bug.at("metadata").is_object());
    EXPECT_EQ(bug.at("attachment_count").to_number<int>(), 0);
    EXPECT_EQ(bug.at("comment_count").to_number<int>(), 0);
}

TEST_F(BackendRouterTest, ALimitThatIsNoNumberAboveZeroIsRefused) {
    for (const char* limit : {"0", "-1", "ten", "5x", ""}) {
        EXPECT_EQ(send("GET", std::string("/v1/bugs?limit=") + limit).status, 400U) << limit;
    }
}

TEST_F(BackendRouterTest, ABugIsFoundByItsShortIdInLowerCaseOnly) {
    EXPECT_EQ(textOf(get("/v1/bugs/3f2a9c1d").at("bug").at("title")), "Old");
    EXPECT_EQ(send("GET", "/v1/bugs/3F2A9C1D").status, 404U);
    EXPECT_EQ(send("GET", "/v1/bugs/3f2a9c1d-0000-4000-8000-000000000000").status, 404U);
    EXPECT_EQ(send("GET", "/v1/bugs/").status, 404U);
}

TEST_F(BackendRouterTest, TheDetailHasTheBugItsAttachmentsAndItsComments) {
    const auto detail = get("/v1/bugs/3f2a9c1d").as_object();
    EXPECT_TRUE(detail.at("attachments").is_array());
    EXPECT_EQ(detail.at("comments").as_array().size(), 1U);
    EXPECT_TRUE(detail.at("bug").as_object().contains("log_s3_key"));
    EXPECT_FALSE(detail.at("bug").as_object().contains("comment_count"));
}

TEST_F(BackendRouterTest, ARequestWithoutTheTokenIsRefusedEvenForAPathThatIsNotThere) {
    for (const char* target : {"/v1/apps", "/v1/bugs", "/v1/bugs/3f2a9c1d", "/nowhere", "/standin/faults"}) {
        EXPECT_EQ(respond({"GET", target, {}, ""}).status, 401U) << target;
        EXPECT_EQ(respond({"GET", target, {{"Authorization", "Bearer secreT"}}, ""}).status, 401U) << target;
    }
}

TEST_F(BackendRouterTest, AnUnknownPathIsNotFoundAndAnUnknownMethodIsNotAllowed) {
    EXPECT_EQ(send("GET", "/v1/nothing").status, 404U);
    EXPECT_EQ(send("GET", "/v1/bugs/3f2a9c1d/comments/x/y").status, 404U);
    const auto response = send("PUT", "/v1/bugs/3f2a9c1d");
    EXPECT_EQ(response.status, 405U);
    EXPECT_THAT(response.headers, testing::Contains(testing::Pair("Allow", "GET, PATCH, DELETE")));
    EXPECT_TRUE(bodyOf(response).at("error").is_string());
}

TEST_F(BackendRouterTest, FilingABugNeedsNoTokenAndCreatesAnUnknownApp) {
    const auto response = file(R"({"title": "T", "description": "D", "metadata": {"os": "15"}})");
    ASSERT_EQ(response.status, 201U);
    const auto filed = bodyOf(response);
    EXPECT_EQ(filed.at("attachments_count").to_number<int>(), 0);
    EXPECT_EQ(textOf(filed.at("bundle_id")), "com.example.paint");
    const auto bug = get("/v1/bugs/" + shortID(textOf(filed.at("id")))).at("bug");
    EXPECT_EQ(textOf(bug.at("app_name")), "Paint");
    EXPECT_EQ(textOf(bug.at("status")), "open");
    EXPECT_EQ(textOf(bug.at("metadata").at("os")), "15");
    EXPECT_EQ(bug.at("app_id"), filed.at("app_id"));
}

TEST_F(BackendRouterTest, FilingForAKnownAppKeepsThatApp) {
    const auto filed = bodyOf(file(R"({"title": "T", "description": ""})",
                                   {{"x-bundle-id", "com.example.notes"}, {"x-app-name", "Other name"}}));
    EXPECT_EQ(textOf(filed.at("app_id")), "11111111-1111-4111-8111-111111111111");
    EXPECT_EQ(get("/v1/apps").at("apps").as_array().size(), 1U);
}

TEST_F(BackendRouterTest, FilingWithoutTheAppsHeadersOrATitleIsRefused) {
    EXPECT_EQ(file(R"({"title": "T"})", {{"x-bundle-id", "com.example.notes"}}).status, 400U);
    EXPECT_EQ(file(R"({"title": "T"})", {{"x-app-name", "Notes"}}).status, 400U);
    EXPECT_EQ(file(R"({"description": "D"})").status, 400U);
    EXPECT_EQ(file("{").status, 400U);
    EXPECT_EQ(store.bugs().size(), 3U);
}

TEST_F(BackendRouterTest, LogsAreKeptAndNamedByTheirKey) {
    const auto filed = bodyOf(file(R"({"title": "T", "description": "D", "logs": "line"})"));
    const Bug* bug = store.findBug(shortID(textOf(filed.at("id"))));
    EXPECT_EQ(bug->logs, "line");
    EXPECT_TRUE(get("/v1/bugs/" + shortID(bug->id)).at("bug").at("log_s3_key").is_string());
}

TEST_F(BackendRouterTest, APostedCommentIsListedLast) {
    const auto response = send("POST", "/v1/bugs/3f2a9c1d/comments", R"({"body": "Second"})");
    ASSERT_EQ(response.status, 201U);
    const auto comment = bodyOf(response).at("comment");
    EXPECT_EQ(get("/v1/bugs/3f2a9c1d/comments").at("comments").at(1), comment);
    EXPECT_EQ(textOf(comment.at("bug_id")), "3F2A9C1D-0000-4000-8000-000000000000");
    EXPECT_EQ(textOf(comment.at("created_at")), "2026-03-01T10:20:31.123Z");
    EXPECT_TRUE(comment.at("attachments").as_array().empty());
    EXPECT_TRUE(parseUuid(textOf(comment.at("id"))));
}

TEST_F(BackendRouterTest, ACommentWithAPullRequestSetsTheBugs) {
    send("POST", "/v1/bugs/3f2a9c1d/comments",
         R"({"body": "b", "pr_url": "https://git.example/o/r/pull/9"})");
    EXPECT_EQ(textOf(get("/v1/bugs/3f2a9c1d").at("bug").at("pr_url")), "https://git.example/o/r/pull/9");
    EXPECT_EQ(statusOf("3f2a9c1d"), "open");
}

TEST_F(BackendRouterTest, AnAgentsCommentMovesTheBugToTheStatusItReports) {
    const std::string path = "/v1/bugs/3f2a9c1d/comments";
    send("POST", path, R"({"body": "b", "author_type": "agent", "metadata": {"status": "investigate"}})");
    EXPECT_EQ(statusOf("3f2a9c1d"), "investigate");
    send("POST", path, R"({"body": "b", "author_type": "agent", "metadata": {"status": "in_review"}})");
    EXPECT_EQ(statusOf("3f2a9c1d"), "in_review");
}

TEST_F(BackendRouterTest, OtherCommentsLeaveTheStatusAlone) {
    const std::string path = "/v1/bugs/3f2a9c1d/comments";
    send("POST", path, R"({"body": "b", "author_type": "user", "metadata": {"status": "in_review"}})");
    send("POST", path, R"({"body": "b", "author_type": "agent", "metadata": {"status": "closed"}})");
    send("POST", path, R"({"body": "b", "metadata": {"status": "in_review"}})");
    EXPECT_EQ(statusOf("3f2a9c1d"), "open");
}

TEST_F(BackendRouterTest, ACommentThatMakesNoSenseIsRefused) {
    const std::string path = "/v1/bugs/3f2a9c1d/comments";
    EXPECT_EQ(send("POST", path, R"({"author_type": "agent"})").status, 400U);
    EXPECT_EQ(send("POST", path, R"({"body": "b", "metadata": "text"})").status, 400U);
    EXPECT_EQ(send("POST", path, R"({"body": "b", "pr_url": "pull/9"})").status, 400U);
    EXPECT_EQ(send("POST", path, "[]").status, 400U);
    EXPECT_EQ(send("POST", "/v1/bugs/cccccccc/comments", R"({"body": "b"})").status, 404U);
    EXPECT_EQ(respond({"POST", path, {{"Authorization", "Bearer secret"}}, R"({"body": "b"})"}).status, 400U)
        << "no content type";
}

TEST_F(BackendRouterTest, AMultipartCommentKeepsItsFieldsAndAttachments) {
    const std::string body =
        "--B\r\nContent-Disposition: form-data; name=\"body\"\r\n\r\nDone\r\n"
        "--B\r\nContent-Disposition: form-data; name=\"author_type\"\r\n\r\nagent\r\n"
        "--B\r\nContent-Disposition: form-data; name=\"metadata\"\r\n\r\n"
        "{\"status\":\"in_review\"}\r\n"
        "--B\r\nContent-Disposition: form-data; name=\"attachments\"; filename=\"a.png\"\r\n"
        "Content-Type: image/png\r\n\r\n\x01\x02\r\n--B--\r\n";
    const auto response =
        respond({"POST",
                 "/v1/bugs/3f2a9c1d/comments",
                 {{"Authorization", "Bearer secret"}, {"Content-Type", "multipart/form-data; boundary=B"}},
                 body});
    ASSERT_EQ(response.status, 201U) << response.body;
    const auto comment = bodyOf(response).at("comment");
    EXPECT_EQ(textOf(comment.at("author_type")), "agent");
    const auto attachment = comment.at("attachments").at(0);
    EXPECT_EQ(textOf(attachment.at("filename")), "a.png");
    EXPECT_EQ(textOf(attachment.at("content_type")), "image/png");
    EXPECT_EQ(textOf(attachment.at("kind")), "image");
    EXPECT_EQ(attachment.at("size_bytes").to_number<int>(), 2);
    EXPECT_EQ(attachment.at("comment_id"), comment.at("id"));
    EXPECT_EQ(store.findBug("3f2a9c1d")->comments.back().attachments.front().content, "\x01\x02");
    EXPECT_EQ(statusOf("3f2a9c1d"), "in_review");
}

TEST_F(BackendRouterTest, APatchSetsTheStatusAndThePullRequest) {
    EXPECT_EQ(send("PATCH", "/v1/bugs/3f2a9c1d", R"({"status": "investigate"})").status, 200U);
    EXPECT_EQ(statusOf("3f2a9c1d"), "investigate");
    send("PATCH", "/v1/bugs/3f2a9c1d", R"({"pr_url": "https://git.example/o/r/pull/1"})");
    EXPECT_EQ(statusOf("3f2a9c1d"), "investigate");
    EXPECT_EQ(textOf(get("/v1/bugs/3f2a9c1d").at("bug").at("pr_url")), "https://git.example/o/r/pull/1");
}

TEST_F(BackendRouterTest, APatchWithANullPullRequestClearsIt) {
    EXPECT_EQ(send("PATCH", "/v1/bugs/bbbbbbbb", R"({"pr_url": null})").status, 200U);
    EXPECT_TRUE(get("/v1/bugs/bbbbbbbb").at("bug").at("pr_url").is_null());
}

TEST_F(BackendRouterTest, APatchThatNamesNothingKnownIsRefused) {
    EXPECT_EQ(send("PATCH", "/v1/bugs/3f2a9c1d", R"({"title": "x"})").status, 400U);
    EXPECT_EQ(send("PATCH", "/v1/bugs/3f2a9c1d", R"({"status": ""})").status, 400U);
    EXPECT_EQ(send("PATCH", "/v1/bugs/3f2a9c1d", R"({"pr_url": "pull"})").status, 400U);
    EXPECT_EQ(send("PATCH", "/v1/bugs/cccccccc", R"({"status": "open"})").status, 404U);
}

TEST_F(BackendRouterTest, TheStatusCanBePostedToo) {
    EXPECT_EQ(send("POST", "/v1/bugs/3f2a9c1d/status", R"({"status": "closed"})").status, 200U);
    EXPECT_EQ(statusOf("3f2a9c1d"), "closed");
    EXPECT_EQ(send("POST", "/v1/bugs/3f2a9c1d/status", R"({})").status, 400U);
    EXPECT_EQ(send("POST", "/v1/bugs/cccccccc/status", R"({"status": "closed"})").status, 404U);
}

TEST_F(BackendRouterTest, ADeletedBugIsGone) {
    const auto response = send("DELETE", "/v1/bugs/3f2a9c1d");
    EXPECT_EQ(response.status, 204U);
    EXPECT_TRUE(response.body.empty());
    EXPECT_EQ(send("DELETE", "/v1/bugs/3f2a9c1d").status, 404U);
}

TEST_F(BackendRouterTest, ACommentIsDeletedByItsUpperCaseId) {
    const std::string comments = "/v1/bugs/3f2a9c1d/comments/";
    EXPECT_EQ(send("DELETE", comments + "22222222-2222-4222-8222-22222222abcd").status, 404U);
    EXPECT_EQ(send("DELETE", comments + "22222222-2222-4222-8222-22222222ABCD").status, 204U);
    EXPECT_TRUE(get("/v1/bugs/3f2a9c1d/comments").at("comments").as_array().empty());
}

TEST_F(BackendRouterTest, OnlyAChangeGrowsTheRevision) {
    const auto before = store.revision();
    get("/v1/bugs");
    send("PATCH", "/v1/bugs/cccccccc", R"({"status": "open"})");
    EXPECT_EQ(store.revision(), before);
    send("PATCH", "/v1/bugs/3f2a9c1d", R"({"status": "closed"})");
    EXPECT_GT(store.revision(), before);
}

TEST_F(BackendRouterTest, AStatusFaultAnswersForItsPathAndMethodWithoutDoingAnything) {
    setFaults(R"({"kind": "status", "status": 403, "method": "PATCH"})");
    EXPECT_EQ(send("PATCH", "/v1/bugs/3f2a9c1d", R"({"status": "closed"})").status, 403U);
    EXPECT_EQ(statusOf("3f2a9c1d"), "open");
    EXPECT_EQ(send("POST", "/v1/bugs/3f2a9c1d/status", R"({"status": "closed"})").status, 200U);
}

TEST_F(BackendRouterTest, AFaultStrikesOnlyItsPathAndOnlySoManyTimes) {
    setFaults(R"({"kind": "status", "status": 503, "body": "busy", "path_prefix": "/v1/bugs", "times": 2})");
    EXPECT_EQ(send("GET", "/v1/apps").status, 200U);
    EXPECT_EQ(send("GET", "/v1/bugs").body, "busy");
    EXPECT_EQ(send("GET", "/v1/bugs/3f2a9c1d").status, 503U);
    EXPECT_EQ(send("GET", "/v1/bugs").status, 200U);
}

TEST_F(BackendRouterTest, WithLogsRequiredABugIsFiledOnlyWithLogs) {
    setFaults(R"({"kind": "logs_required"})");
    const auto refused = file(R"({"title": "T", "description": "D"})");
    EXPECT_EQ(refused.status, 400U);
    EXPECT_THAT(refused.body, HasSubstr("Logs Required"));
    EXPECT_EQ(file(R"({"title": "T", "description": "D", "logs": "x"})").status, 201U);
}

TEST_F(BackendRouterTest, MalformedJsonCutsAndDelaysConcernTheAnswerOnly) {
    setFaults(R"({"kind": "malformed_json"}, {"kind": "cut_connection"}, {"kind": "delay", "delay_ms": 70})");
    const auto response = send("PATCH", "/v1/bugs/3f2a9c1d", R"({"status": "closed"})");
    EXPECT_EQ(response.status, 200U);
    EXPECT_THROW(bodyOf(response), std::exception);
    EXPECT_TRUE(response.cutConnection);
    EXPECT_EQ(response.delay, std::chrono::milliseconds(70));
    EXPECT_EQ(store.findBug("3f2a9c1d")->status, "closed");
}

TEST_F(BackendRouterTest, FaultsAreListedReplacedAndCleared) {
    setFaults(R"({"kind": "delay", "delay_ms": 5})");
    const auto response = setFaults(R"({"kind": "delay", "delay_ms": 6})");
    EXPECT_EQ(response.body, R"({"faults":[{"kind":"delay","path_prefix":"/v1/","delay_ms":6}]})");
    EXPECT_EQ(send("POST", "/standin/faults", R"({"clear": true})").body, R"({"faults":[]})");
    EXPECT_EQ(send("GET", "/v1/apps").delay.count(), 0);
}

TEST_F(BackendRouterTest, AFaultThatMakesNoSenseIsRefusedAndChangesNothing) {
    for (const char* fault :
         {R"({"kind": "flood"})", R"({})", R"({"kind": "delay", "delay_ms": -1})", R"([])",
          R"({"kind": "status", "status": 99})", R"({"kind": "delay", "path_prefix": "v1"})",
          R"({"kind": "delay", "delay": 3})", R"({"kind": "delay", "delay_ms": 3, "times": 0})"}) {
        EXPECT_EQ(setFaults(fault).status, 400U) << fault;
    }
    EXPECT_TRUE(faults.toJson().empty());
}

}  // namespace
}  // namespace quernlight::standin
