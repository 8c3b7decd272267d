#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/standin/model_request.hpp"
#include "tests/support/standin/backend_process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::standin {
namespace {

using quernlight::test::BackendProcess;
using quernlight::test::readFile;
using quernlight::test::writeFile;
using test::ModelRequest;
using test::objectiveFor;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// The real program with a plan and a log.
class StandinModelTest : public testing::Test {
  protected:
    StandinModelTest() { writeFile(plan(), R"({"default": [{"do": "say", "text": "First."}]})"); }

    std::filesystem::path plan() const { return directory_ / "plan.json"; }
    std::string log() const { return readFile(directory_ / "log"); }

    std::string post(const std::string& body, const std::string& target = "/v1/responses") {
        return model_.exchange("POST " + target +
                               " HTTP/1.1\r\nHost: a\r\nConnection: close\r\nthread-id: t-1\r\n" +
                               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    }
    std::string ask(const std::string& objective) {
        return post(ModelRequest().goalObjective(objective).request().body);
    }

  private:
    quernlight::test::TemporaryDirectory directory_;
    BackendProcess model_{
        {"--plan", directory_ / "plan.json", "--log", directory_ / "log", "--exit-with-stdin"},
        STANDIN_MODEL_PATH};
};

TEST_F(StandinModelTest, AnAnswerIsAStreamOfEvents) {
    const std::string answer = ask(objectiveFor({}));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer, HasSubstr("Content-Type: text/event-stream\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\n\r\nevent: response.created\ndata: {"));
    EXPECT_THAT(answer, HasSubstr("\n\nevent: response.output_item.done\ndata: {"));
    EXPECT_THAT(answer, HasSubstr("First."));
    EXPECT_THAT(answer, HasSubstr("\n\nevent: response.completed\ndata: {"));
}

TEST_F(StandinModelTest, ThePlanMayBeChangedWhileItRuns) {
    writeFile(plan(), R"({"default": [{"do": "refuse", "status": 401}]})");
    EXPECT_THAT(ask(objectiveFor({})), StartsWith("HTTP/1.1 401 Unauthorized\r\n"));
    writeFile(plan(), "{");
    EXPECT_THAT(ask(objectiveFor({})), HasSubstr("The plan is not valid JSON"));
}

TEST_F(StandinModelTest, TheLogHoldsEachGoalOnceAndEveryAnswer) {
    ask(objectiveFor({}));
    ask(objectiveFor({}));
    EXPECT_THAT(log(),
                MatchesRegex(".*\"event\":\"goal\".*\n.*\"event\":\"step\".*\n.*\"event\":\"step\".*\n"));
    const auto goal = boost::json::parse(log().substr(0, log().find('\n')));
    EXPECT_EQ(goal.at("text").as_string(), objectiveFor({}));
    EXPECT_EQ(goal.at("bug"), "3f2a9c1d");
    EXPECT_EQ(goal.at("thread"), "t-1");
}

TEST_F(StandinModelTest, WhatAPersonTypedIsInTheLog) {
    post(ModelRequest().userSays("half a goal").request().body);
    EXPECT_THAT(log(), HasSubstr(R"("text":"half a goal","event":"user")"));
}

TEST_F(StandinModelTest, OtherRequestsAreRefusedAndLogged) {
    EXPECT_THAT(post("{}", "/v1/models"), StartsWith("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_THAT(log(), HasSubstr(R"("text":"POST /v1/models","event":"other")"));
    EXPECT_THAT(post("{"), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
}

}  // namespace
}  // namespace quernlight::standin
