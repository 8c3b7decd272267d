#include "quernlight/backend/quernlight_client.hpp"

#include <chrono>
#include <future>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_future.hpp>
#include <boost/json/array.hpp>
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

    static Lines ids(const std::vector<QLBugSummaryDTO>& bugs) {
        Lines ids;
        for (const auto& bug : bugs) {
            ids.push_back(bug.id);
        }
        return ids;
    }

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

TEST_F(QuernlightClientTest, WhatTheBackendAnswersIsReturned) {
    server.answer({.body = wrapped("apps", json::array{appJSON()})});
    EXPECT_EQ(run(client.fetchApps()).at(0).name, "Notes");
    server.answer({.body = bugListJSON({bugJSON()})});
    EXPECT_EQ(ids(run(client.fetchOpenBugs(7))), Lines{"3f2a9c1d"});
    server.answer({.body = bugDetailJSON()});
    EXPECT_EQ(run(client.fetchBugDetail(longID)).bug.title, "Crash on launch");
    server.answer({.body = wrapped("comments", json::array{commentJSON("Seen.")})});
    EXPECT_EQ(run(client.fetchComments(longID)).at(0).body, "Seen.");
    server.answer({.body = wrapped("comment", commentJSON("Done."))});
    EXPECT_EQ(run(client.createComment(longID, {.body = "Done."})).body, "Done.");
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
