#include <functional>
#include <optional>
#include <ostream>

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include "quernlight/backend/decoding_error.hpp"
#include "quernlight/backend/quernlight_client.hpp"
#include "tests/backend/sample_answers.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;
using namespace test;
using Fault = ScriptedAnswer::Fault;

constexpr const char* longID = "  3F2A9C1D-0000-4000-8000-000000000000\n";

enum class Identity { adminToken, app };

/// One operation that is one request.
struct Operation {
    const char* name;
    std::function<void(const QuernlightClient&)> call;
    const char* line;                      // method, path and query
    std::optional<const char*> body = {};  // JSON
    std::string answer = {};               // empty when the operation returns nothing
    Identity identity = Identity::adminToken;
};

void PrintTo(const Operation& operation, std::ostream* out) {
    *out << operation.name;
}

const QLAppDTO app{.id = {}, .bundleID = "com.example.notes", .name = "Notes"};
const Uuid commentID = parseUuid("abcdef00-0000-4000-8000-00000000000a").value();

std::vector<Operation> operations() {
    const std::string noBugs = bugListJSON({});
    const std::string comment = wrapped("comment", commentJSON());
    return {
        {"fetchApps",
         [](const auto& client) { runTask(client.fetchApps()); },
         "GET /v1/apps",
         {},
         wrapped("apps", json::array())},
        {"fetchBugs",
         [](const auto& client) { runTask(client.fetchBugs({"closed"}, 12)); },
         "GET /v1/bugs?status=closed&limit=12",
         {},
         noBugs},
        {"fetchOpenBugs",
         [](const auto& client) { runTask(client.fetchOpenBugs(7)); },
         "GET /v1/bugs?status=open&limit=7",
         {},
         noBugs},
        {"fetchBugDetail",
         [](const auto& client) { runTask(client.fetchBugDetail(longID)); },
         "GET /v1/bugs/3f2a9c1d",
         {},
         bugDetailJSON()},
        {"fetchComments",
         [](const auto& client) { runTask(client.fetchComments(longID)); },
         "GET /v1/bugs/3f2a9c1d/comments",
         {},
         wrapped("comments", json::array())},
        {"createBug",
         [](const auto& client) {
             runTask(client.createBug(app, {"T", "D"}));
         },
         "POST /v1/bugs", R"({"title": "T", "description": "D"})", createdBugJSON(), Identity::app},
        {"createComment", [](const auto& client) { runTask(client.createComment(longID, {"B"})); },
         "POST /v1/bugs/3f2a9c1d/comments", R"({"body": "B"})", comment},
        {"updateBugStatus", [](const auto& client) { runTask(client.updateBugStatus(longID, "closed")); },
         "PATCH /v1/bugs/3f2a9c1d", R"({"status": "closed"})"},
        {"updateBugPRURL", [](const auto& client) { runTask(client.updateBugPRURL(longID, {})); },
         "PATCH /v1/bugs/3f2a9c1d", R"({"pr_url": null})"},
        {"deleteBug", [](const auto& client) { runTask(client.deleteBug(longID)); },
         "DELETE /v1/bugs/3f2a9c1d"},
        {"deleteComment", [](const auto& client) { runTask(client.deleteComment(longID, commentID)); },
         "DELETE /v1/bugs/3f2a9c1d/comments/ABCDEF00-0000-4000-8000-00000000000A"},
    };
}

class ClientOperationTest : public testing::TestWithParam<Operation> {
  protected:
    void call() const { operation.call(client); }

    template <class Error>
    std::optional<Error> errorOf(const QuernlightClient& with) const {
        try {
            operation.call(with);
        } catch (const Error& error) {
            return error;
        }
        return std::nullopt;
    }

    RecordedRequest sent() const { return server.requests().at(0); }

    const Operation operation = GetParam();
    RecordingServer server;
    QuernlightClient client{Url::parse(server.address()).value(), "secret-token",
                            std::make_shared<HttpSession>()};
};

TEST_P(ClientOperationTest, SendsItsOneRequestWithItsIdentityAndItsBody) {
    server.answer({.body = operation.answer});
    call();
    EXPECT_EQ(server.lines(), std::vector<std::string>{operation.line});
    const bool byToken = operation.identity == Identity::adminToken;
    const auto only = [](bool condition, const char* value) {
        return condition ? std::optional<std::string>(value) : std::nullopt;
    };
    EXPECT_EQ(sent().header("Authorization"), only(byToken, "Bearer secret-token"));
    EXPECT_EQ(sent().header("x-bundle-id"), only(!byToken, "com.example.notes"));
    EXPECT_EQ(sent().header("x-app-name"), only(!byToken, "Notes"));
    EXPECT_EQ(sent().header("Content-Type"), only(operation.body.has_value(), "application/json"));
    EXPECT_EQ(sent().body.empty(), !operation.body);
    if (operation.body) {
        EXPECT_EQ(json::parse(sent().body), json::parse(*operation.body));
    }
    for (const char* header : {"Cache-Control", "Pragma", "If-None-Match", "If-Modified-Since"}) {
        EXPECT_EQ(sent().header(header), std::nullopt) << header;
    }
}

TEST_P(ClientOperationTest, DecodesItsAnswerOrDoesNotReadIt) {
    server.answer({.body = "<html>"});
    EXPECT_EQ(errorOf<DecodingError>(client).has_value(), !operation.answer.empty());
}

TEST_P(ClientOperationTest, FailsWithTheStatusAndBodyOfARefusalAndIsNotTriedAgain) {
    server.answer({.status = 500, .body = "broken"});
    EXPECT_EQ(errorOf<BackendError>(client), BackendError::server(500, "broken"));
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_P(ClientOperationTest, FailsWithTheTransportsErrorAndIsNotTriedAgain) {
    server.answer({.fault = Fault::noAnswer});
    EXPECT_EQ(errorOf<TransportError>(client).value().reason(), TransportError::Reason::failed);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_P(ClientOperationTest, FailsWithATimeoutAndIsNotTriedAgain) {
    const HttpSession::Options options{.timeout = std::chrono::milliseconds(50)};
    const QuernlightClient impatient(client.baseURL(), "t", std::make_shared<HttpSession>(options));
    server.answer({.fault = Fault::silence});
    EXPECT_EQ(errorOf<TransportError>(impatient).value().reason(), TransportError::Reason::timedOut);
    EXPECT_LE(server.requests().size(), 1U);
}

TEST_P(ClientOperationTest, FailsOnAnAnswerThatIsNotHTTP) {
    server.answer({.body = "SSH-2.0-server\r\n", .fault = Fault::notHTTP});
    EXPECT_EQ(errorOf<BackendError>(client), BackendError::invalidResponse());
}

TEST_P(ClientOperationTest, FailsWithoutSendingWhenNoURLCanBeFormed) {
    const QuernlightClient astray(Url::parse("mailto:bugs@backend.example").value(), "t", client.session());
    EXPECT_EQ(errorOf<BackendError>(astray), BackendError::invalidURL());
}

INSTANTIATE_TEST_SUITE_P(Client, ClientOperationTest, testing::ValuesIn(operations()));

}  // namespace
}  // namespace quernlight
