#include "quernlight/backend/quernlight_client.hpp"

#include <chrono>
#include <future>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/backend/decoding_error.hpp"
#include "tests/backend/sample_answers.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using namespace test;
using Fault = ScriptedAnswer::Fault;
using Lines = std::vector<std::string>;

constexpr const char* longID = "  3F2A9C1D-0000-4000-8000-000000000000\n";

class QuernlightClientTest : public testing::Test {
  protected:
    template <class Result>
    static Result run(Task<Result> task) {
        return runTask(std::move(task));
    }

    /// The error of the backend that the operation throws; fails the test when it throws none.
    template <class Result>
    static BackendError failure(Task<Result> task) {
        try {
            runTask(std::move(task));
        } catch (const BackendError& error) {
            return error;
        }
        ADD_FAILURE() << "the operation succeeded";
        return BackendError::invalidResponse();
    }

    json::value bodyOf(std::size_t index) const { return json::parse(server.requests().at(index).body); }

    static Lines ids(const std::vector<QLBugSummaryDTO>& bugs) {
        Lines ids;
        for (const auto& bug : bugs) {
            ids.push_back(bug.id);
        }
        return ids;
    }

    const std::string comment = wrapped("comment", commentJSON("Done."));
    const QLAppDTO app{.id = {}, .bundleID = "com.example.notes", .name = "Notes"};
    const CreateBugRequest bug{.title = "T", .description = "D", .reporter = "R"};

    RecordingServer server;
    QuernlightClient client{Url::parse(server.address()).value(), "secret-token",
                            std::make_shared<HttpSession>()};
};

TEST_F(QuernlightClientTest, ACopyTalksToTheSameBackendWithTheSameToken) {
    const QuernlightClient copy = client;
    EXPECT_EQ(copy.baseURL().text(), server.address());
    EXPECT_EQ(copy.adminToken(), "secret-token");
    EXPECT_EQ(copy.session(), client.session());
}

TEST_F(QuernlightClientTest, AppsAreFetchedWithTheToken) {
    server.answer({.body = wrapped("apps", json::array{appJSON()})});
    EXPECT_EQ(run(client.fetchApps()).at(0).name, "Notes");
    EXPECT_EQ(server.lines(), Lines{"GET /v1/apps"});
    EXPECT_EQ(server.requests().at(0).header("Authorization"), "Bearer secret-token");
}

TEST_F(QuernlightClientTest, DispatchBugsAreThreeRequestsInOrderEachWithTheLimit) {
    for (int status = 0; status < 3; ++status) {
        server.answer({.body = bugListJSON({})});
    }
    EXPECT_TRUE(run(client.fetchDispatchBugs(50)).empty());
    EXPECT_EQ(server.lines(),
              (Lines{"GET /v1/bugs?status=open&limit=50", "GET /v1/bugs?status=investigate&limit=50",
                     "GET /v1/bugs?status=in_review&limit=50"}));
}

TEST_F(QuernlightClientTest, ABugReturnedForTwoStatusesAppearsOnceAndTheNewestComesFirst) {
    server.answer({.body = bugListJSON({bugJSON("old", "2026-01-01T00:00:00Z"), bugJSON("3F2A9C1D-1")})});
    server.answer({.body = bugListJSON({bugJSON("3f2a9c1d-2", "2027-01-01T00:00:00Z")})});
    server.answer({.body = bugListJSON({bugJSON("new", "2026-12-01T00:00:00Z")})});
    EXPECT_EQ(ids(run(client.fetchDispatchBugs(50))), (Lines{"new", "3F2A9C1D-1", "old"}));
}

TEST_F(QuernlightClientTest, OpenBugsAreOneRequest) {
    server.answer({.body = bugListJSON({bugJSON()})});
    EXPECT_EQ(ids(run(client.fetchOpenBugs(7))), Lines{"3f2a9c1d"});
    EXPECT_EQ(server.lines(), Lines{"GET /v1/bugs?status=open&limit=7"});
}

TEST_F(QuernlightClientTest, NoStatusesAreNoRequestsAndNoBugs) {
    EXPECT_TRUE(run(client.fetchBugs({}, 50)).empty());
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(QuernlightClientTest, TheMergedListIsNotCutToTheLimitOfOneStatus) {
    server.answer({.body = bugListJSON({bugJSON("a")})});
    server.answer({.body = bugListJSON({bugJSON("b")})});
    EXPECT_EQ(ids(run(client.fetchBugs({"open", "closed"}, 1))), (Lines{"a", "b"}));
}

TEST_F(QuernlightClientTest, AFailingStatusEndsTheFetch) {
    server.answer({.body = bugListJSON({bugJSON()})});
    server.answer({.status = 500, .body = "broken"});
    EXPECT_EQ(failure(client.fetchDispatchBugs(50)), BackendError::server(500, "broken"));
    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(QuernlightClientTest, ABugIsLoadedUnderItsShortId) {
    server.answer({.body = bugDetailJSON()});
    EXPECT_EQ(run(client.fetchBugDetail(longID)).bug.title, "Crash on launch");
    EXPECT_EQ(server.lines(), Lines{"GET /v1/bugs/3f2a9c1d"});
}

TEST_F(QuernlightClientTest, CommentsAreFetched) {
    server.answer({.body = wrapped("comments", json::array{commentJSON("Seen.")})});
    EXPECT_EQ(run(client.fetchComments(longID)).at(0).body, "Seen.");
    EXPECT_EQ(server.lines(), Lines{"GET /v1/bugs/3f2a9c1d/comments"});
}

TEST_F(QuernlightClientTest, ABugAndItsServerCommentsAreFetchedAtOnce) {
    // Neither answer comes before both requests are there.
    server.answerTo("GET /v1/bugs/3f2a9c1d",
                    {.body = bugDetailJSON({commentJSON("stale")}), .afterRequests = 2});
    server.answerTo("GET /v1/bugs/3f2a9c1d/comments",
                    {.body = wrapped("comments", json::array{commentJSON("fresh")}), .afterRequests = 2});
    const auto detail = run(client.fetchBugDetailWithServerComments(longID));
    EXPECT_EQ(detail.comments.at(0).body, "fresh");
    EXPECT_EQ(detail.attachments.size(), 1U);
    EXPECT_TRUE(detail.logURL);
}

TEST_F(QuernlightClientTest, ABugWithServerCommentsFailsWithTheErrorOfTheFailingRequest) {
    server.answerTo("GET /v1/bugs/3f2a9c1d", {.body = bugDetailJSON()});
    server.answerTo("GET /v1/bugs/3f2a9c1d/comments", {.status = 500, .body = "no comments"});
    EXPECT_EQ(failure(client.fetchBugDetailWithServerComments(longID)),
              BackendError::server(500, "no comments"));
    server.answerTo("GET /v1/bugs/3f2a9c1d", {.status = 404, .body = "no bug"});
    server.answerTo("GET /v1/bugs/3f2a9c1d/comments", {.body = wrapped("comments", json::array())});
    EXPECT_EQ(failure(client.fetchBugDetailWithServerComments(longID)), BackendError::server(404, "no bug"));
}

TEST_F(QuernlightClientTest, ABugThatFailsIsReportedWithoutWaitingForItsComments) {
    server.answerTo("GET /v1/bugs/3f2a9c1d", {.status = 404, .body = "no bug", .afterRequests = 2});
    server.answerTo("GET /v1/bugs/3f2a9c1d/comments", {.fault = Fault::silence});
    EXPECT_EQ(failure(client.fetchBugDetailWithServerComments(longID)), BackendError::server(404, "no bug"));
}

TEST_F(QuernlightClientTest, CommentsThatFailAreReportedWithoutWaitingForTheBug) {
    server.answerTo("GET /v1/bugs/3f2a9c1d", {.fault = Fault::silence});
    server.answerTo("GET /v1/bugs/3f2a9c1d/comments", {.status = 500, .body = "broken", .afterRequests = 2});
    EXPECT_EQ(failure(client.fetchBugDetailWithServerComments(longID)), BackendError::server(500, "broken"));
}

TEST_F(QuernlightClientTest, ManyTasksMayUseOneClientAtOnce) {
    constexpr int count = 20;
    boost::asio::thread_pool pool(4);
    std::vector<std::future<std::vector<QLAppDTO>>> answers;
    for (int task = 0; task < count; ++task) {
        server.answer({.body = wrapped("apps", json::array{appJSON()})});
        answers.push_back(boost::asio::co_spawn(pool, client.fetchApps(), boost::asio::use_future));
    }
    for (auto& answer : answers) {
        EXPECT_EQ(answer.get().size(), 1U);
    }
    pool.join();
}

TEST_F(QuernlightClientTest, FilingABugNeedsNoTokenAndSendsNoLogs) {
    server.answer({.status = 201, .body = createdBugJSON()});
    CreateBugRequest withLogs = bug;
    withLogs.logs = "ignored";
    EXPECT_EQ(run(client.createBug(app, withLogs)).id, "3f2a9c1d");
    const RecordedRequest sent = server.requests().at(0);
    EXPECT_EQ(sent.line(), "POST /v1/bugs");
    EXPECT_EQ(sent.header("Authorization"), std::nullopt);
    EXPECT_EQ(sent.header("x-bundle-id"), "com.example.notes");
    EXPECT_EQ(sent.header("x-app-name"), "Notes");
    EXPECT_EQ(sent.header("Content-Type"), "application/json");
    EXPECT_EQ(bodyOf(0), json::parse(R"({"title": "T", "description": "D", "reporter": "R"})"));
}

TEST_F(QuernlightClientTest, ACommentWithoutFilesIsJSON) {
    server.answer({.body = comment});
    const CreateCommentRequest request{.body = "Done.", .authorType = "human"};
    EXPECT_EQ(run(client.createComment(longID, request)).body, "Done.");
    EXPECT_EQ(server.lines(), Lines{"POST /v1/bugs/3f2a9c1d/comments"});
    EXPECT_EQ(server.requests().at(0).header("Content-Type"), "application/json");
    EXPECT_EQ(bodyOf(0), json::parse(R"({"body": "Done.", "author_type": "human"})"));
}

TEST_F(QuernlightClientTest, AStatusIsPatched) {
    server.answer({.status = 204});
    run(client.updateBugStatus(longID, "in_review"));
    EXPECT_EQ(server.lines(), Lines{"PATCH /v1/bugs/3f2a9c1d"});
    EXPECT_EQ(bodyOf(0), json::parse(R"({"status": "in_review"})"));
}

TEST_F(QuernlightClientTest, ALinkIsSetAndCleared) {
    server.answer({.status = 200});
    server.answer({.status = 200});
    run(client.updateBugPRURL(longID, Url::parse("https://git.example/pull/1")));
    run(client.updateBugPRURL(longID, std::nullopt));
    EXPECT_EQ(server.lines(), (Lines{"PATCH /v1/bugs/3f2a9c1d", "PATCH /v1/bugs/3f2a9c1d"}));
    EXPECT_EQ(bodyOf(0), json::parse(R"({"pr_url": "https://git.example/pull/1"})"));
    EXPECT_EQ(bodyOf(1), json::parse(R"({"pr_url": null})"));
}

TEST_F(QuernlightClientTest, BugsAndCommentsAreDeleted) {
    server.answer({.status = 204});
    server.answer({.status = 204});
    run(client.deleteBug(longID));
    run(client.deleteComment(longID, parseUuid("abcdef00-0000-4000-8000-00000000000a").value()));
    EXPECT_EQ(server.lines(),
              (Lines{"DELETE /v1/bugs/3f2a9c1d",
                     "DELETE /v1/bugs/3f2a9c1d/comments/ABCDEF00-0000-4000-8000-00000000000A"}));
}

TEST_F(QuernlightClientTest, StatusesFrom200To299AreAccepted) {
    server.answer({.status = 299});
    EXPECT_NO_THROW(run(client.deleteBug(longID)));
    server.answer({.status = 300, .body = "choose"});
    EXPECT_EQ(failure(client.deleteBug(longID)), BackendError::server(300, "choose"));
}

TEST_F(QuernlightClientTest, AnErrorBodyThatIsNotUTF8IsReadAllTheSame) {
    server.answer({.status = 500, .body = "a\xFFz"});
    EXPECT_EQ(failure(client.fetchApps()).body(), "a\xEF\xBF\xBDz");
}

TEST_F(QuernlightClientTest, AnAnswerThatIsNotTheRecordIsADecodingError) {
    server.answer({.body = "<html>"});
    EXPECT_THROW(run(client.fetchApps()), DecodingError);
}

TEST_F(QuernlightClientTest, AnAnswerThatIsNotHTTPIsAnInvalidResponse) {
    server.answer({.body = "SSH-2.0-server\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(failure(client.fetchApps()), BackendError::invalidResponse());
}

TEST_F(QuernlightClientTest, ACutBodyIsTheTransportsError) {
    server.answer({.body = wrapped("apps", json::array{appJSON()}), .fault = Fault::cutBody});
    EXPECT_THROW(run(client.fetchApps()), TransportError);
}

TEST_F(QuernlightClientTest, AnAppNameWithALineBreakIsRefusedBeforeSending) {
    QLAppDTO hostile = app;
    hostile.name = "Notes\r\nAuthorization: Bearer x";
    EXPECT_THROW(run(client.createBug(hostile, bug)), TransportError);
    EXPECT_TRUE(server.requests().empty());
}

TEST_F(QuernlightClientTest, ABugIdThatIsEmptyWhenTrimmedIsAnInvalidURL) {
    EXPECT_EQ(failure(client.deleteBug(" \n")), BackendError::invalidURL());
    EXPECT_EQ(failure(client.fetchBugDetailWithServerComments("")), BackendError::invalidURL());
    EXPECT_EQ(failure(client.updateBugStatus("..", "open")), BackendError::invalidURL());
    EXPECT_TRUE(server.requests().empty());
}

}  // namespace
}  // namespace quernlight
