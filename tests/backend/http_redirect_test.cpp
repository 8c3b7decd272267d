#include <optional>
#include <ostream>

#include <gtest/gtest.h>

#include "quernlight/backend/http_session.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using namespace test;
using Body = std::optional<std::string>;

HttpRequest request(const std::string& url, const std::string& method, Body body = {}) {
    HttpRequest request{.method = method, .url = Url::parse(url).value()};
    request.headers = {{"Authorization", "Bearer secret-token"}};
    request.body = std::move(body);
    return request;
}

ScriptedAnswer redirectTo(const std::string& location, int status = 302) {
    return {.status = status, .body = "it has moved", .headers = {{"Location", location}}};
}

struct Redirect {
    int status = 0;
    const char* method = "";
    Body body = {};
    const char* followedBy = "";
    Body followedWith = {};
};

void PrintTo(const Redirect& redirect, std::ostream* out) {
    *out << redirect.method << " answered with " << redirect.status;
}

class RedirectTest : public testing::TestWithParam<Redirect> {
  protected:
    RecordingServer server;
    HttpSession session;
};

TEST_P(RedirectTest, IsFollowedWithTheMethodAndBodyThatItsStatusAsksFor) {
    const auto& [status, method, body, followedBy, followedWith] = GetParam();
    server.answer(redirectTo("/new", status));
    server.answer({.body = "the answer"});
    const HttpResponse answer = runTask(session.send(request(server.address() + "/old", method, body)));
    EXPECT_EQ(answer, (HttpResponse{200, "the answer"}));
    EXPECT_EQ(server.lines(),
              (std::vector<std::string>{std::string(method) + " /old", std::string(followedBy) + " /new"}));
    EXPECT_EQ(server.requests().at(1).body, followedWith.value_or(""));
    EXPECT_EQ(server.requests().at(1).header("Authorization"), "Bearer secret-token");
}

const Redirect redirects[] = {
    {301, "GET", {}, "GET"},
    {302, "GET", {}, "GET"},
    {303, "GET", {}, "GET"},
    {307, "GET", {}, "GET"},
    {308, "GET", {}, "GET"},
    {301, "POST", "{}", "GET"},
    {302, "POST", "{}", "GET"},
    {303, "POST", "{}", "GET"},
    {307, "POST", "{}", "POST", "{}"},
    {308, "POST", "{}", "POST", "{}"},
    {301, "PATCH", "{}", "PATCH", "{}"},
    {302, "PATCH", "{}", "PATCH", "{}"},
    {303, "PATCH", "{}", "GET"},
    {307, "PATCH", "{}", "PATCH", "{}"},
    {308, "PATCH", "{}", "PATCH", "{}"},
    {301, "DELETE", {}, "DELETE"},
    {302, "DELETE", {}, "DELETE"},
    {303, "DELETE", {}, "GET"},
    {307, "DELETE", {}, "DELETE"},
    {308, "DELETE", {}, "DELETE"},
};

INSTANTIATE_TEST_SUITE_P(Methods, RedirectTest, testing::ValuesIn(redirects));

class RedirectTargetTest : public testing::Test {
  protected:
    HttpResponse get(const std::string& path) {
        return runTask(session.send(request(server.address() + path, "GET")));
    }

    RecordingServer server;
    HttpSession session;
};

TEST_F(RedirectTargetTest, AnotherHostDoesNotGetTheToken) {
    server.answer(redirectTo("http://localhost:" + std::to_string(server.port()) + "/new"));
    server.answer({});
    get("/old");
    EXPECT_EQ(server.requests().at(1).line(), "GET /new");
    EXPECT_EQ(server.requests().at(1).header("Authorization"), std::nullopt);
}

TEST_F(RedirectTargetTest, AnotherPortOfTheSameHostDoesNotGetTheToken) {
    RecordingServer other;
    server.answer(redirectTo(other.address() + "/new"));
    other.answer({});
    get("/old");
    EXPECT_EQ(other.requests().at(0).line(), "GET /new");
    EXPECT_EQ(other.requests().at(0).header("Authorization"), std::nullopt);
}

TEST_F(RedirectTargetTest, AnotherHostDoesNotGetTheTokenOfAChangeEither) {
    for (const char* method : {"PATCH", "DELETE", "POST"}) {
        RecordingServer other;
        server.answer(redirectTo(other.address() + "/new", 307));
        other.answer({});
        runTask(session.send(request(server.address() + "/old", method)));
        EXPECT_EQ(other.requests().at(0).header("Authorization"), std::nullopt) << method;
    }
}

TEST_F(RedirectTargetTest, ALaterHostDoesNotGetTheTokenOverAStopOnTheFirst) {
    RecordingServer other;
    server.answer(redirectTo("/second"));
    server.answer(redirectTo(other.address() + "/third"));
    other.answer({.body = "arrived"});
    EXPECT_EQ(get("/first").body, "arrived");
    EXPECT_EQ(server.requests().at(1).header("Authorization"), "Bearer secret-token");
    EXPECT_EQ(other.requests().at(0).header("Authorization"), std::nullopt);
}

// libcurl repeats a request on its own when a connection that it uses again turns out to be dead.
TEST_F(RedirectTargetTest, AChangeIsNotSentTwiceBehindARedirectEither) {
    server.answer(redirectTo("/new", 307));
    server.answer({.fault = ScriptedAnswer::Fault::noAnswer});
    EXPECT_THROW(runTask(session.send(request(server.address() + "/old", "PATCH", "{}"))), TransportError);
    EXPECT_EQ(server.lines(), (std::vector<std::string>{"PATCH /old", "PATCH /new"}));
}

TEST_F(RedirectTargetTest, SixteenRedirectsAreFollowedAndNoMore) {
    for (int redirect = 0; redirect < 16; ++redirect) {
        server.answer(redirectTo("/"));
    }
    server.answer({.body = "arrived"});
    EXPECT_EQ(get("/").body, "arrived");
    for (int redirect = 0; redirect < 17; ++redirect) {
        server.answer(redirectTo("/"));
    }
    EXPECT_THROW(get("/"), TransportError);
    EXPECT_EQ(server.requests().size(), 17U + 17U);
}

TEST_F(RedirectTargetTest, ARedirectThatLeadsNowhereIsTheAnswer) {
    server.answer({.status = 302, .body = "lost"});
    EXPECT_EQ(get("/"), (HttpResponse{302, "lost"}));
}

}  // namespace
}  // namespace quernlight
