#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include "host/control/control_client.hpp"
#include "quernlight/platform/child_process.hpp"
#include "quernlight/platform/text.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;

/// A dispatcher with a bug that is worked on, one in review, one that failed and one that waits, asked for
/// all that it offers.
class ApiDocumentTest : public test::DispatchFixture {
  protected:
    ApiDocumentTest() {
        for (const char* bugID : {"11111111", "22222222", "33333333"}) {
            reportClearBug(bugID);
        }
        agentDoes("22222222", "crash");
        agentDoes("33333333", "idle");
        mapApp();
        startBackend();
        owner = start(runWith({"--exit-grace", "1"}));
    }

    /// `target` is the path, which `route` describes.
    host::ControlResponse ask(const std::string& method, const std::string& route, const std::string& target,
                              const std::string& body = "") {
        host::ControlRequest request{.method = method, .target = target, .body = body};
        const auto response = test::runTask(host::askOwner(home(), std::move(request)));
        answers.push_back(json::object{{"method", method},
                                       {"path", route},
                                       {"status", response.status},
                                       {"type", response.contentType},
                                       {"body", bodyOf(response)}});
        return response;
    }
    void get(const std::string& route, const std::string& target) {
        EXPECT_EQ(ask("GET", route, target).status, 200U) << target;
    }

    static json::value bodyOf(const host::ControlResponse& response) {
        const bool isJson = response.contentType.ends_with("json");
        return isJson ? json::parse(response.body) : json::value(validUtf8(response.body));
    }

    std::unique_ptr<test::DispatchProcess> owner;
    json::array answers;
};

TEST_F(ApiDocumentTest, DescribesAllThatIsOfferedAndEachAnswerIsAsItSays) {
    ASSERT_TRUE(owner->says("11111111  completed: ") && owner->says("22222222  failed: ") &&
                owner->says("33333333  goalAccepted: "))
        << owner->output();
    get("/v1", "/v1");
    for (const char* route : {"/v1/queue", "/v1/mappings", "/v1/mapping-checks", "/v1/settings",
                              "/v1/sessions", "/v1/review", "/v1/health"}) {
        get(route, route);
    }
    for (const std::string bugID : {"11111111", "22222222", "33333333"}) {
        get("/v1/queue/*", "/v1/queue/" + bugID);
        get("/v1/bugs/*/state", "/v1/bugs/" + bugID + "/state");
    }
    get("/metrics", "/metrics");
    get("/v1/events", "/v1/events?after=1");
    const auto reset = json::parse(ask("GET", "/v1/events", "/v1/events").body);
    const auto began = reset.at("last").to_number<std::uint64_t>() - 20;
    get("/v1/events", "/v1/events?after=" + std::to_string(began));
    get("/v1/queue/*/attempts", "/v1/queue/11111111/attempts");
    for (const char* format : {"plain", "ansi", "timing"}) {
        get("/v1/queue/*/attempts/*/transcript",
            std::string("/v1/queue/11111111/attempts/1/transcript?format=") + format);
    }
    get("/v1/bugs", "/v1/bugs?status=open&status=in_review&limit=5");
    get("/v1/bugs/*", "/v1/bugs/11111111");
    EXPECT_EQ(ask("GET", "/v1/bugs/*", "/v1/bugs/99999999").status, 404U);
    EXPECT_EQ(ask("POST", "/v1/bugs/*/comments", "/v1/bugs/22222222/comments", R"({"body":"Again."})").status,
              200U);
    EXPECT_EQ(ask("PUT", "/v1/bugs/*/status", "/v1/bugs/22222222/status", R"({"status":"open"})").status,
              200U);
    EXPECT_EQ(ask("PUT", "/v1/bugs/*/pull-request", "/v1/bugs/22222222/pull-request", "{}").status, 400U);
    EXPECT_EQ(
        ask("PUT", "/v1/bugs/*/pull-request", "/v1/bugs/22222222/pull-request", R"({"pull_request":null})")
            .status,
        200U);
    const std::string filed = R"({"bundle":"com.acme.shop","title":"New","description":"Text."})";
    EXPECT_EQ(ask("POST", "/v1/bugs", "/v1/bugs", filed).status, 200U);
    EXPECT_EQ(ask("POST", "/v1/queue", "/v1/queue", R"({"bug":"22222222","queue":"auto"})").status, 409U);
    get("/v1/sessions/*/screen", "/v1/sessions/33333333/screen");
    get("/v1/settings/*", "/v1/settings/sessions.max");
    get("/v1/report", "/v1/report?since=2026-01-01T00:00:00Z");
    EXPECT_EQ(ask("GET", "/v1/report", "/v1/report?since=yesterday").status, 400U);
    repository.git({"update-ref", "refs/quernlight/preserved/Shop-11111111", "main"});
    get("/v1/preserved", "/v1/preserved");
    get("/v1/preserved", "/v1/preserved?offset=1&limit=1");
    get("/v1/report", "/v1/report?since=2026-01-01T00:00:00Z&offset=1&limit=1");
    get("/v1/review/states", "/v1/review/states?offset=1&limit=1");
    get("/v1/preserved/*", "/v1/preserved/Shop-11111111");
    EXPECT_EQ(ask("GET", "/v1/preserved/*", "/v1/preserved/99999999").status, 404U);
    EXPECT_EQ(ask("POST", "/v1/preserved/*/restore", "/v1/preserved/11111111/restore", R"({"branch":"kept"})")
                  .status,
              200U);
    EXPECT_EQ(ask("POST", "/v1/preserved/*/restore", "/v1/preserved/11111111/restore", "{}").status, 422U);
    get("/v1/review/states", "/v1/review/states");
    EXPECT_EQ(ask("POST", "/v1/review/reap", "/v1/review/reap", R"({"dry_run":true})").status, 200U);
    EXPECT_EQ(ask("PATCH", "/v1/settings", "/v1/settings", R"({"settings":{"sessions.max":"3"}})").status,
              200U);
    EXPECT_EQ(ask("PATCH", "/v1/settings", "/v1/settings", R"({"settings":{"sessions.mix":"3"}})").status,
              404U);
    EXPECT_EQ(ask("GET", "/v1/queue/*", "/v1/queue/99999999").status, 404U);
    EXPECT_EQ(ask("PUT", "/v1/settings/*", "/v1/settings/sessions.max", R"({"text":"3"})").status, 200U);
    EXPECT_EQ(ask("PUT", "/v1/settings/*", "/v1/settings/sessions.max", R"({"text":"-3"})").status, 422U);
    EXPECT_EQ(ask("DELETE", "/v1/settings/*", "/v1/settings/sessions.max").status, 200U);
    EXPECT_EQ(ask("POST", "/v1/starts/unpause", "/v1/starts/unpause").status, 200U);
    EXPECT_EQ(ask("POST", "/v1/queue/*/hold", "/v1/queue/33333333/hold", "{}").status, 409U);
    EXPECT_EQ(ask("POST", "/v1/queue/*/remove", "/v1/queue/11111111/remove", "{}").status, 428U);
    EXPECT_EQ(ask("POST", "/v1/queue/*/retry", "/v1/queue/22222222/retry", "[]").status, 400U);
    EXPECT_EQ(ask("POST", "/v1/sessions/*/stop", "/v1/sessions/33333333/stop").status, 200U);
    EXPECT_EQ(ask("POST", "/v1/queue/*/cancel", "/v1/queue/33333333/cancel").status, 200U);
    EXPECT_EQ(ask("DELETE", "/v1/mappings/*", "/v1/mappings/com.example.none").status, 404U);

    const std::string file = repository.scratch("answers.json");
    test::writeFile(file, json::serialize(answers));
    ChildProcessRequest check;
    check.executable = "/usr/bin/python3";
    check.arguments = {CHECK_API_DOCUMENT, API_DOCUMENT, file};
    const auto checked = test::runTask(runChildProcess(std::move(check)));
    EXPECT_EQ(checked.exitCode, 0) << checked.output;
}

}  // namespace
}  // namespace quernlight
