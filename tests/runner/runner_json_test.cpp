#include "quernlight/runner/runner_json.hpp"

#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "quernlight/runner/base64.hpp"

namespace quernlight {
namespace {

namespace json = boost::json;

const std::string sessionText = "0A1B2C3D-0000-4000-8000-00000000000F";
const Uuid sessionID = *parseUuid(sessionText);
const Instant date = *parseInstant("2026-03-04T05:06:07.890Z");

template <class Record>
void expectForm(const Record& record, std::string_view text) {
    const json::value form = json::value_from(record);
    EXPECT_EQ(form, json::parse(text));
    EXPECT_EQ(json::value_to<Record>(form), record);
}

template <class Record>
bool isRefused(std::string_view text) {
    try {
        json::value_to<Record>(json::parse(text));
        return false;
    } catch (const std::exception&) {
        return true;
    }
}

const std::string session = R"("sessionID":")" + sessionText + R"(","date":"2026-03-04T05:06:07.890Z")";

TEST(RunnerJSONTest, AnEventIsAnObjectWithItsCaseAsTheOnlyKey) {
    expectForm(RunnerEvent(RunnerEvent::Started{sessionID, 42, date}),
               R"({"started":{"pid":42,)" + session + "}}");
    expectForm(RunnerEvent(RunnerEvent::Output{sessionID, std::string("\x1B[m\0\xFF", 5), date}),
               R"({"output":{"bytes":"G1ttAP8=",)" + session + "}}");
    expectForm(RunnerEvent(RunnerEvent::Exited{sessionID, 137, date}),
               R"({"exited":{"exitCode":137,)" + session + "}}");
    expectForm(RunnerEvent(RunnerEvent::Failed{sessionID, "why", date}),
               R"({"failed":{"message":"why",)" + session + "}}");
}

TEST(RunnerJSONTest, ObjectsThatAreNoEventAreRefused) {
    EXPECT_TRUE(isRefused<RunnerEvent>("{}"));
    EXPECT_TRUE(isRefused<RunnerEvent>(R"({"stopped":{)" + session + "}}"));
    EXPECT_TRUE(isRefused<RunnerEvent>(R"({"started":{)" + session + "}}"));
    EXPECT_TRUE(isRefused<RunnerEvent>(R"({"started":{"pid":1}})"));
    EXPECT_TRUE(isRefused<RunnerEvent>(R"({"started":{"pid":1,)" + session + R"(},"exited":{}})"));
    EXPECT_TRUE(isRefused<RunnerEvent>("[]"));
}

TEST(RunnerJSONTest, ARequestHasItsFieldsUnderTheirNames) {
    const StartSessionRequest request{.sessionID = sessionID,
                                      .queueItemID = sessionID,
                                      .repoPath = "/repo",
                                      .launchCommand = {"codex", "--flag"},
                                      .environment = {{"PATH", "/bin"}},
                                      .initialInput = "go",
                                      .transcriptANSIPath = "/a.ansi",
                                      .transcriptTextPath = "/a.txt",
                                      .columns = 120,
                                      .rows = 40};
    expectForm(request, R"({"sessionID":")" + sessionText + R"(","queueItemID":")" + sessionText +
                            R"(","repoPath":"/repo","launchCommand":["codex","--flag"],
                               "environment":{"PATH":"/bin"},"initialInput":"go","transcriptANSIPath":"/a.ansi",
                               "transcriptTextPath":"/a.txt","columns":120,"rows":40})");
}

TEST(RunnerJSONTest, ARequestWithoutAQueueItemLeavesItOut) {
    const json::value form = json::value_from(StartSessionRequest{});
    EXPECT_FALSE(form.as_object().contains("queueItemID"));
    EXPECT_EQ(json::value_to<StartSessionRequest>(form), StartSessionRequest{});
}

TEST(RunnerJSONTest, ResponsesAndSnapshotsHaveTheSameFields) {
    const std::string form =
        R"({"sessionID":")" + sessionText + R"(","pid":42,"startedAt":"2026-03-04T05:06:07.890Z"})";
    expectForm(StartSessionResponse{sessionID, 42, date}, form);
    expectForm(RunnerSessionSnapshot{sessionID, 42, date}, form);
}

TEST(RunnerJSONTest, ATerminationModeIsItsName) {
    expectForm(TerminationMode::requestExitCommand, R"("requestExitCommand")");
    expectForm(TerminationMode::interrupt, R"("interrupt")");
    expectForm(TerminationMode::terminate, R"("terminate")");
    expectForm(TerminationMode::kill, R"("kill")");
    EXPECT_TRUE(isRefused<TerminationMode>(R"("stop")"));
}

TEST(Base64Test, EveryLengthComesBack) {
    EXPECT_EQ(base64Encoded(""), "");
    EXPECT_EQ(base64Encoded("f"), "Zg==");
    EXPECT_EQ(base64Encoded("fo"), "Zm8=");
    EXPECT_EQ(base64Encoded("foo"), "Zm9v");
    EXPECT_EQ(base64Encoded("foobar"), "Zm9vYmFy");
    for (const std::string bytes : {"", "f", "fo", "foo", "\xFF\xFE\xFD\xFC"}) {
        EXPECT_EQ(base64Decoded(base64Encoded(bytes)), bytes);
    }
}

TEST(Base64Test, OtherTextIsRefused) {
    for (const std::string text : {"Z", "Zg", "Zg=", "Zh==", "Zm9v=", "Zm 9v", "Zg==Zg=="}) {
        EXPECT_FALSE(base64Decoded(text)) << text;
    }
}

}  // namespace
}  // namespace quernlight
