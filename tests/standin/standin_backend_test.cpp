#include <csignal>

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"
#include "tests/support/standin/backend_process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using test::BackendProcess;
using test::eventually;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

/// The real program, with a seed of one bug and a state file.
class StandinBackendTest : public testing::Test {
  protected:
    std::vector<std::string> arguments(const std::vector<std::string>& more = {}) {
        test::writeFile(directory / "seed.json",
                        R"({"bugs": [{"id": "3F2A9C1D-1", "title": "One", "bundle_id": "b"}]})");
        test::writeFile(directory / "token", "secret\n");
        std::vector<std::string> all{"--port",       "0",
                                     "--seed",       (directory / "seed.json").string(),
                                     "--state",      (directory / "state.json").string(),
                                     "--token-file", (directory / "token").string()};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    static std::string request(const std::string& line, const std::string& body = "",
                               const std::string& headers = "") {
        return line +
               " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nAuthorization: Bearer secret\r\n" +
               (body.empty() ? "" : "Content-Type: application/json\r\n") + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    boost::json::value state() { return boost::json::parse(test::readFile(directory / "state.json")); }

    test::TemporaryDirectory directory;
};

TEST_F(StandinBackendTest, ItAnswersOverHttpAndKeepsItsStateFileUpToDate) {
    BackendProcess backend(arguments());
    EXPECT_THAT(backend.exchange(request("GET /v1/bugs?status=open&limit=5")),
                StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(state().at("comments").as_array().empty());
    EXPECT_THAT(backend.exchange(request("POST /v1/bugs/3f2a9c1d/comments", R"({"body": "Hello"})")),
                StartsWith("HTTP/1.1 201 Created\r\n"));
    EXPECT_EQ(state().at("comments").at(0).at("body"), "Hello");
    EXPECT_THAT(backend.exchange(request("DELETE /v1/bugs/3f2a9c1d")),
                StartsWith("HTTP/1.1 204 No Content\r\n"));
    EXPECT_TRUE(state().at("bugs").as_array().empty());
}

TEST_F(StandinBackendTest, AWrongTokenIsRefused) {
    BackendProcess backend(arguments());
    EXPECT_THAT(backend.exchange("GET /v1/apps HTTP/1.1\r\nHost: h\r\nConnection: close\r\n\r\n"),
                StartsWith("HTTP/1.1 401 Unauthorized\r\n"));
}

TEST_F(StandinBackendTest, OneConnectionCarriesSeveralRequests) {
    BackendProcess backend(arguments());
    const std::string first = "GET /v1/apps HTTP/1.1\r\nHost: h\r\nAuthorization: Bearer secret\r\n\r\n";
    const std::string answers = backend.exchange(first + request("GET /v1/bugs/3f2a9c1d"));
    EXPECT_THAT(answers, HasSubstr(R"({"apps":[)"));
    EXPECT_THAT(answers, HasSubstr(R"({"bug":{)"));
}

TEST_F(StandinBackendTest, AClientThatAsksFirstIsToldToGoOn) {
    BackendProcess backend(arguments());
    const std::string answer = backend.exchange(
        request("PATCH /v1/bugs/3f2a9c1d", R"({"status": "closed"})", "Expect: 100-continue\r\n"));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\n"));
}

TEST_F(StandinBackendTest, ABodyThatIsTooLargeIsRefused) {
    BackendProcess backend(arguments({"--max-body", "10"}));
    EXPECT_THAT(backend.exchange(request("POST /v1/bugs/3f2a9c1d/status", R"({"status": "closed"})")),
                StartsWith("HTTP/1.1 413 Payload Too Large\r\n"));
    EXPECT_EQ(state().at("bugs").at(0).at("status"), "open");
}

TEST_F(StandinBackendTest, WhatIsNotHttpGetsAnErrorAndTheNextClientAnAnswer) {
    BackendProcess backend(arguments());
    EXPECT_THAT(backend.exchange("\x01\x02\r\n\r\n"), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    EXPECT_THAT(backend.exchange(request("GET /v1/apps")), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(StandinBackendTest, ACutConnectionEndsInTheMiddleOfTheBody) {
    BackendProcess backend(arguments({"--fault", R"({"kind": "cut_connection", "times": 1})"}));
    const std::string cut = backend.exchange(request("GET /v1/apps"));
    EXPECT_THAT(cut, HasSubstr("\r\n\r\n{\"apps\""));
    EXPECT_THAT(cut, Not(EndsWith("}")));
    EXPECT_THAT(backend.exchange(request("GET /v1/apps")), EndsWith("}"));
}

TEST_F(StandinBackendTest, FaultsCanBeSetWhileItRuns) {
    BackendProcess backend(arguments());
    const std::string faults =
        R"({"set": [{"kind": "status", "status": 503}, {"kind": "delay", "delay_ms": 1}]})";
    EXPECT_THAT(backend.exchange(request("POST /standin/faults", faults)), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(backend.exchange(request("GET /v1/apps")),
                StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
}

TEST_F(StandinBackendTest, AStateFileThatCannotBeWrittenAnyMoreIsAServerError) {
    BackendProcess backend(arguments());
    backend.port();
    std::filesystem::remove(directory / "state.json");
    std::filesystem::create_directory(directory / "state.json");
    EXPECT_THAT(backend.exchange(request("POST /v1/bugs/3f2a9c1d/status", R"({"status": "closed"})")),
                StartsWith("HTTP/1.1 500 Internal Server Error\r\n"));
}

TEST_F(StandinBackendTest, TheStateFileIsThereOnceItListensAndNothingBesideIt) {
    BackendProcess backend(arguments());
    backend.port();
    EXPECT_EQ(state().at("bugs").at(0).at("title"), "One");
    EXPECT_FALSE(std::filesystem::exists(directory / "state.json.new"));
}

TEST_F(StandinBackendTest, ASignalEndsItAtOnceWithSuccess) {
    for (const int signal : {SIGTERM, SIGINT}) {
        BackendProcess backend(arguments());
        backend.port();
        ::kill(backend.pid(), signal);
        EXPECT_EQ(backend.exitCode(), 0);
        EXPECT_EQ(backend.errorText(), "");
    }
}

TEST_F(StandinBackendTest, ASignalEndsItWhileAnAnswerIsDelayed) {
    BackendProcess backend(arguments({"--fault", R"({"kind": "delay", "delay_ms": 600000})"}));
    const auto connection = backend.send(request("POST /v1/bugs/3f2a9c1d/status", R"({"status": "x"})"));
    EXPECT_TRUE(eventually([&] { return state().at("bugs").at(0).at("status") == "x"; }));
    ::kill(backend.pid(), SIGTERM);
    EXPECT_EQ(backend.exitCode(), 0);
}

TEST_F(StandinBackendTest, ItEndsWithItsStandardInputWhenAskedTo) {
    BackendProcess backend(arguments({"--exit-with-stdin"}));
    backend.port();
    backend.closeInput();
    EXPECT_EQ(backend.exitCode(), 0);
}

TEST_F(StandinBackendTest, OtherwiseTheEndOfItsStandardInputDoesNotMatter) {
    BackendProcess backend(arguments());
    backend.closeInput();
    EXPECT_THAT(backend.exchange(request("GET /v1/apps")), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST_F(StandinBackendTest, APortInUseIsOneClearSentence) {
    BackendProcess first(arguments());
    const std::string port = std::to_string(first.port());
    BackendProcess second({"--port", port, "--token", "t"});
    EXPECT_EQ(second.exitCode(), 1);
    EXPECT_THAT(second.errorText(), MatchesRegex("standin-backend: The port " + port +
                                                 " on 127\\.0\\.0\\.1 cannot be used: [^\n]*\\.\n"));
}

TEST_F(StandinBackendTest, BadOptionsAndFilesAreOneClearSentence) {
    const std::string missing = (directory / "missing").string();
    test::writeFile(directory / "bad.json", "{");
    const std::vector<std::vector<std::string>> commandLines{
        {},
        {"--token", "t", "--unknown"},
        {"--token", "t", "--port", "70000"},
        {"--token", "t", "--token-file", missing},
        {"--token-file", missing},
        {"--token", "t", "--seed", missing},
        {"--token", "t", "--seed", (directory / "bad.json").string()},
        {"--token", "t", "--state", (directory / "missing" / "state.json").string()},
        {"--token", "t", "--fault", R"({"kind": "flood"})"},
    };
    for (const auto& commandLine : commandLines) {
        BackendProcess backend(commandLine);
        EXPECT_EQ(backend.exitCode(), 1);
        EXPECT_THAT(backend.errorText(), MatchesRegex("standin-backend: [A-Z][^\n]*\n"));
    }
}

}  // namespace
}  // namespace quernlight
