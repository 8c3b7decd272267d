#include "quernlight/backend/backend_requests.hpp"

#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "quernlight/backend/backend_error.hpp"

namespace quernlight {
namespace {

class BackendRequestsTest : public testing::Test {
  protected:
    static BackendRequests at(const char* baseURL) { return {Url::parse(baseURL).value(), "secret-token"}; }

    /// "GET https://..."
    static std::string line(const HttpRequest& request) { return request.method + " " + request.url.text(); }

    static std::optional<std::string> header(const HttpRequest& request, const std::string& name) {
        for (const HttpHeader& each : request.headers) {
            if (each.name == name) {
                return each.value;
            }
        }
        return std::nullopt;
    }

    static void expectJSON(const HttpRequest& request, const char* text) {
        EXPECT_EQ(header(request, "Content-Type"), "application/json");
        EXPECT_EQ(boost::json::parse(request.body.value()), boost::json::parse(text));
    }

    static void expectInvalidURL(const BackendRequests& requests, const std::string& bugID) {
        try {
            requests.bugDetail(bugID);
            ADD_FAILURE() << "made a request for the bug \"" << bugID << "\"";
        } catch (const BackendError& error) {
            EXPECT_EQ(error, BackendError::invalidURL());
        }
    }

    const BackendRequests requests = at("https://backend.example");
    const Uuid commentID = parseUuid("abcdef00-0000-4000-8000-00000000000a").value();
    const QLAppDTO app{.id = {}, .bundleID = "com.example.notes", .name = "Notes", .openCount = {}};
};

TEST_F(BackendRequestsTest, ListsCarryTheTokenAndNoBody) {
    const HttpRequest apps = requests.apps();
    EXPECT_EQ(line(apps), "GET https://backend.example/v1/apps");
    EXPECT_EQ(header(apps, "Authorization"), "Bearer secret-token");
    EXPECT_EQ(apps.body, std::nullopt);
    EXPECT_EQ(line(requests.bugs("in_review", 50)),
              "GET https://backend.example/v1/bugs?status=in_review&limit=50");
}

TEST_F(BackendRequestsTest, PathsAreAppendedToTheBasePathWithoutTheBasesQuery) {
    for (const char* base :
         {"https://h.example/api", "https://h.example/api/", "https://h.example/api?key=1#top"}) {
        const BackendRequests based = at(base);
        EXPECT_EQ(line(based.apps()), "GET https://h.example/api/v1/apps");
        EXPECT_EQ(line(based.bugs("open", 5)), "GET https://h.example/api/v1/bugs?status=open&limit=5");
        EXPECT_EQ(line(based.deleteBug("AB")), "DELETE https://h.example/api/v1/bugs/ab");
    }
    EXPECT_EQ(line(at("http://127.0.0.1:8080/?x=1#y").apps()), "GET http://127.0.0.1:8080/v1/apps");
}

TEST_F(BackendRequestsTest, AStatusStaysOneQueryValueWhateverItHolds) {
    const std::string bugs = "GET https://backend.example/v1/bugs?status=";
    EXPECT_EQ(line(requests.bugs("a&b #%", 1)), bugs + "a%26b%20%23%25&limit=1");
    EXPECT_EQ(line(requests.bugs("a+b c", 1)), bugs + "a%2Bb%20c&limit=1");
}

TEST_F(BackendRequestsTest, ABugIdIsTrimmedLowerCasedAndCutToEightInEveryPath) {
    const std::string id = "  3F2A9C1D-0000-4000-8000-000000000000\n";
    const std::string bug = "https://backend.example/v1/bugs/3f2a9c1d";
    EXPECT_EQ(line(requests.bugDetail(id)), "GET " + bug);
    EXPECT_EQ(line(requests.comments(id)), "GET " + bug + "/comments");
    EXPECT_EQ(line(requests.createComment(id, {})), "POST " + bug + "/comments");
    EXPECT_EQ(line(requests.createComment(id, {}, {Attachment()}, "b")), "POST " + bug + "/comments");
    EXPECT_EQ(line(requests.patchStatus(id, "open")), "PATCH " + bug);
    EXPECT_EQ(line(requests.postStatus(id, "open")), "POST " + bug + "/status");
    EXPECT_EQ(line(requests.patchPRURL(id, {})), "PATCH " + bug);
    EXPECT_EQ(line(requests.deleteBug(id)), "DELETE " + bug);
    EXPECT_EQ(line(requests.deleteComment(id, commentID)),
              "DELETE " + bug + "/comments/ABCDEF00-0000-4000-8000-00000000000A");
}

TEST_F(BackendRequestsTest, ABugIdStaysInsideItsPathSegment) {
    EXPECT_EQ(line(requests.bugDetail("AB12c")), "GET https://backend.example/v1/bugs/ab12c");
    EXPECT_EQ(line(requests.bugDetail("../apps")), "GET https://backend.example/v1/bugs/..%2Fapps");
    EXPECT_EQ(line(requests.bugDetail("a?b#c%d")), "GET https://backend.example/v1/bugs/a%3Fb%23c%25d");
    EXPECT_EQ(line(requests.bugDetail("a\nb\x01 c")), "GET https://backend.example/v1/bugs/a%0Ab%01%20c");
}

TEST_F(BackendRequestsTest, ABugIdThatNoPathCanCarryIsAnInvalidURL) {
    expectInvalidURL(requests, "");
    expectInvalidURL(requests, " \n\t");
    expectInvalidURL(requests, ".");
    expectInvalidURL(requests, " .. ");
}

TEST_F(BackendRequestsTest, ABaseURLThatIsNoHTTPAddressIsAnInvalidURL) {
    expectInvalidURL(at("ftp://backend.example"), "3f2a9c1d");
    expectInvalidURL(at("file:///etc"), "3f2a9c1d");
    expectInvalidURL(at("mailto:someone@backend.example"), "3f2a9c1d");
    expectInvalidURL(at("https:///nowhere"), "3f2a9c1d");
    expectInvalidURL(BackendRequests(Url(), "secret-token"), "3f2a9c1d");
}

TEST_F(BackendRequestsTest, FilingABugNamesTheAppByTwoHeadersAndCarriesNoToken) {
    const HttpRequest request = requests.createBug(app, {.title = "T", .description = "D"});
    EXPECT_EQ(line(request), "POST https://backend.example/v1/bugs");
    EXPECT_EQ(header(request, "x-bundle-id"), "com.example.notes");
    EXPECT_EQ(header(request, "x-app-name"), "Notes");
    EXPECT_EQ(header(request, "Authorization"), std::nullopt);
    expectJSON(request, R"({"title": "T", "description": "D"})");
}

TEST_F(BackendRequestsTest, FilingABugSendsWhatIsGiven) {
    const CreateBugRequest bug{
        .title = "T", .description = "D", .reporter = "R", .metadata = {{{"k", "v"}}}, .logs = "L"};
    expectJSON(requests.createBug(app, bug),
               R"({"title": "T", "description": "D", "reporter": "R", "metadata": {"k": "v"}, "logs": "L"})");
}

TEST_F(BackendRequestsTest, ACommentWithoutALinkOmitsTheKey) {
    const HttpRequest request = requests.createComment("3f2a9c1d", {.body = "Done.\n\"é\""});
    EXPECT_EQ(header(request, "Authorization"), "Bearer secret-token");
    expectJSON(request, R"({"body": "Done.\n\"é\""})");
}

TEST_F(BackendRequestsTest, ACommentSendsWhatIsGiven) {
    const CreateCommentRequest comment{.body = "B",
                                       .authorType = "agent",
                                       .metadata = {{{"status", "in_review"}}},
                                       .prURL = Url::parse("https://git.example/pull/1")};
    expectJSON(requests.createComment("3f2a9c1d", comment),
               R"({"body": "B", "author_type": "agent", "metadata": {"status": "in_review"},
                   "pr_url": "https://git.example/pull/1"})");
}

TEST_F(BackendRequestsTest, TextThatIsNotUTF8IsSentAsReplacementCharacters) {
    expectJSON(requests.createComment("3f2a9c1d", {.body = "a\xFFz"}), "{\"body\": \"a\\ufffdz\"}");
}

TEST_F(BackendRequestsTest, ALinkKeepsItsLetterCase) {
    const auto link = Url::parse("https://Git.Example/Owner/Repo/pull/1?X=Y");
    const char* sent = R"({"pr_url": "https://Git.Example/Owner/Repo/pull/1?X=Y"})";
    expectJSON(requests.patchPRURL("3f2a9c1d", {link}), sent);
    expectJSON(requests.createComment("3f2a9c1d", {.body = "B", .prURL = link}),
               R"({"body": "B", "pr_url": "https://Git.Example/Owner/Repo/pull/1?X=Y"})");
}

TEST_F(BackendRequestsTest, OptionalFieldsAreOmittedWhenAbsentAndSentWhenEmpty) {
    const std::map<std::string, std::string> none;
    expectJSON(requests.createBug(app, {.title = "", .description = ""}),
               R"({"title": "", "description": ""})");
    expectJSON(requests.createBug(app, {.title = "T", .description = "D", .reporter = "", .metadata = none}),
               R"({"title": "T", "description": "D", "reporter": "", "metadata": {}})");
    expectJSON(requests.createComment("3f2a9c1d", {.body = "", .authorType = "", .metadata = none}),
               R"({"body": "", "author_type": "", "metadata": {}})");
}

TEST_F(BackendRequestsTest, BothStatusRequestsCarryTheSameBody) {
    expectJSON(requests.patchStatus("3f2a9c1d", "in_review"), R"({"status": "in_review"})");
    expectJSON(requests.postStatus("3f2a9c1d", "in_review"), R"({"status": "in_review"})");
}

TEST_F(BackendRequestsTest, AnAbsentLinkIsSentAsNull) {
    expectJSON(requests.patchPRURL("3f2a9c1d", {}), R"({"pr_url": null})");
    expectJSON(requests.patchPRURL("3f2a9c1d", {Url::parse("https://git.example/pull/1")}),
               R"({"pr_url": "https://git.example/pull/1"})");
}

TEST_F(BackendRequestsTest, ACommentWithFilesIsAMultipartForm) {
    const HttpRequest request =
        requests.createComment("3f2a9c1d", {.body = "B"}, {Attachment()}, "Boundary-1");
    EXPECT_EQ(header(request, "Content-Type"), "multipart/form-data; boundary=Boundary-1");
    EXPECT_EQ(header(request, "Authorization"), "Bearer secret-token");
    EXPECT_TRUE(request.body->starts_with("--Boundary-1\r\n"));
}

}  // namespace
}  // namespace quernlight
