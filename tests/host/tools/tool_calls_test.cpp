#include "host/tools/tool_calls.hpp"

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/dispatch/completion_detector.hpp"
#include "tests/host/tools/tools_fixture.hpp"

namespace quernlight::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

class ToolCallsTest : public test::ToolsFixture {};

TEST_F(ToolCallsTest, AnAgentReadsItsAppsBugsAndNoOthers) {
    const auto agent = begin("3f2a9c1d");
    EXPECT_THAT(call(*agent, "get_bug").text,
                AllOf(HasSubstr("\"title\":\"Crash\""), HasSubstr("\"comments\":[]")));
    EXPECT_THAT(call(*agent, "get_bug", R"({"bug_id":"3f2a9c1e"})").text, HasSubstr("\"title\":\"Hang\""));
    EXPECT_THAT(call(*agent, "list_comments", R"({"bug_id":"3f2a9c1e"})").text, "{\"comments\":[]}");
    EXPECT_THAT(call(*agent, "list_bugs").text,
                AllOf(HasSubstr("Crash"), HasSubstr("Hang"), Not(HasSubstr("Theft"))));
    EXPECT_THAT(call(*agent, "list_bugs", R"({"status":"in_review"})").text, "{\"bugs\":[]}");
    EXPECT_THAT(call(*agent, "get_bug", R"({"bug_id":"0badbad0"})").text, "The backend knows no such bug.");
}

TEST_F(ToolCallsTest, WhatIsRefusedIsToldToTheAgentAndInTheItemsHistory) {
    const auto agent = begin("3f2a9c1d");
    quernlight::test::writeFile(home / "secret", "secret");
    std::filesystem::create_symlink(home / "secret", agent->worktree / "link");
    const struct {
        const char* tool;
        const char* arguments;
        const char* sentence;
    } rows[] = {
        {"get_bug", R"({"bug_id":"5a5a5a5a"})", "belongs to another app"},
        {"list_comments", R"({"bug_id":"5a5a5a5a"})", "belongs to another app"},
        {"update_bug_status", R"({"bug_id":"3f2a9c1e","status":"open"})", "is not that of this session"},
        {"create_comment", R"({"bug_id":"3f2a9c1e","body":"Done."})", "is not that of this session"},
        {"create_comment", R"({"body":"Done.","attachments":["../home/secret"]})", "lies outside"},
        {"create_comment", R"({"body":"Done.","attachments":["link"]})", "lies outside"},
        {"create_comment", R"({"body":"Done.","session_id":"00000000-0000-4000-8000-000000000000"})",
         "is of no session of this bug"},
    };
    std::size_t told = 0;
    for (const auto& row : rows) {
        const ToolAnswer answer = call(*agent, row.tool, row.arguments);
        EXPECT_TRUE(answer.isError);
        EXPECT_THAT(answer.text, HasSubstr(row.sentence)) << row.arguments;
        ASSERT_THAT(refusals("3f2a9c1d"), SizeIs(++told)) << row.arguments;
        EXPECT_THAT(refusals("3f2a9c1d").back(), AllOf(HasSubstr(row.tool), HasSubstr(row.sentence)));
    }
    EXPECT_THAT(comments("3f2a9c1d"), IsEmpty());
    EXPECT_THAT(comments("3f2a9c1e"), IsEmpty());
}

TEST_F(ToolCallsTest, ASecretOpensItsOwnLivingSessionOnly) {
    const auto agent = begin("3f2a9c1d");
    auto other = begin("3f2a9c1e");
    const auto right = other->secretFile;
    other->secretFile = agent->secretFile;
    EXPECT_THAT(call(*other, "get_bug").text, HasSubstr("The secret is not that of this session"));
    EXPECT_THAT(refusals("3f2a9c1e"), SizeIs(1));
    other->secretFile = right;
    EXPECT_FALSE(call(*other, "get_bug").isError);
    test::ToolsFixture::Agent stranger{.sessionID = randomUuid(), .secretFile = right};
    EXPECT_THAT(call(stranger, "get_bug").text, HasSubstr("This session has ended"));
    quernlight::test::writeFile(stranger.secretFile = home / "kept", quernlight::test::readFile(right));
    access.revoke(other->sessionID);
    EXPECT_FALSE(std::filesystem::exists(right));
    other->secretFile = stranger.secretFile;
    EXPECT_THAT(call(*other, "create_comment", R"({"body":"Late."})").text,
                HasSubstr("This session has ended"));
    EXPECT_THAT(refusals("3f2a9c1e"), SizeIs(2));
    EXPECT_THAT(comments("3f2a9c1e"), IsEmpty());
}

TEST_F(ToolCallsTest, ASecretIsFreshLongAndForItsUserAlone) {
    const auto one = begin("3f2a9c1d");
    const auto other = begin("3f2a9c1d");
    const std::string secret = quernlight::test::readFile(one->secretFile);
    EXPECT_EQ(secret.size(), 65U);
    EXPECT_NE(secret, quernlight::test::readFile(other->secretFile));
    struct stat found {};
    ASSERT_EQ(stat(one->secretFile.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777U, 0600U);
    for (const std::string& word : toolServerCommand("/bin/x", home, one->sessionID, one->secretFile)) {
        EXPECT_THAT(word, Not(HasSubstr(secret.substr(0, 64))));
    }
}

TEST_F(ToolCallsTest, ACommentIsFilledInPostedAndToldToItsSessionAtOnce) {
    const auto agent = begin("3f2a9c1d");
    quernlight::test::writeFile(agent->worktree / "shot.png", "picture");
    const ToolAnswer answer =
        call(*agent, "create_comment",
             R"({"bug_id":"3F2A9C1D-0000-4000-8000-000000000000","body":"Done.","status":"in_review",
                 "pr_url":"https://h/o/r/pull/1","attachments":["shot.png"]})");
    EXPECT_FALSE(answer.isError) << answer.text;
    ASSERT_THAT(comments("3f2a9c1d"), SizeIs(1));
    EXPECT_THAT(agent->reported, ElementsAre(comments("3f2a9c1d").at(0)));
    EXPECT_EQ(agent->reported.at(0).attachments.at(0).filename, "shot.png");
    const CompletionPollState state{.sessionID = agent->sessionID,
                                    .queueItemID = run(store.items.item(std::string_view("3f2a9c1d")))->id,
                                    .bugID = "3f2a9c1d"};
    EXPECT_TRUE(CompletionDetector::detectCompletion(agent->reported, state));
}

TEST_F(ToolCallsTest, AResumedAgentMayNameTheSessionThatItRemembers) {
    const auto before = begin("3f2a9c1d");
    access.revoke(before->sessionID);
    const auto agent = begin("3f2a9c1d");
    const ToolAnswer answer = call(*agent, "create_comment",
                                   R"({"body":"Done.","metadata":{"status":"in_review","session_id":")" +
                                       lowerCaseText(before->sessionID) + "\"}}");
    EXPECT_THAT(answer.text, HasSubstr(lowerCaseText(agent->sessionID)));
    EXPECT_THAT(agent->reported, SizeIs(1));
}

TEST_F(ToolCallsTest, TheSameCallAgainIsAnsweredWithTheFirstResult) {
    const auto agent = begin("3f2a9c1d");
    const ToolAnswer first = call(*agent, "create_comment", R"({"body":"Done.","status":"in_review"})");
    const ToolAnswer again =
        call(*agent, "create_comment", R"({"metadata":{"status":"in_review"},"body":"Done."})");
    EXPECT_EQ(again.text, first.text);
    EXPECT_THAT(comments("3f2a9c1d"), SizeIs(1));
    EXPECT_THAT(agent->reported, SizeIs(1));
    call(*agent, "create_comment", R"({"body":"Something else."})");
    EXPECT_THAT(comments("3f2a9c1d"), SizeIs(2));
}

Task<void> callInto(ToolCaller caller, std::vector<ToolAnswer>& answers) {
    ToolAnswer answer =
        co_await caller("create_comment", boost::json::parse(R"({"body":"Done."})").as_object());
    answers.push_back(std::move(answer));
}

TEST_F(ToolCallsTest, TheSameCallTwiceAtOnceIsMadeOnce) {
    const auto agent = begin("3f2a9c1d");
    faults(R"([{"kind":"delay","delay_ms":200,"method":"POST"}])");
    std::vector<ToolAnswer> answers;
    for (int round = 0; round < 3; ++round) {
        spawnLogged(io.get_executor(), "a call", callInto(toolServerOf(*agent), answers));
    }
    while (answers.size() < 3) {
        io.restart();
        ASSERT_GT(io.run_one_for(quernlight::test::generousBound), 0U);
    }
    EXPECT_EQ(answers.at(1).text, answers.at(0).text);
    EXPECT_EQ(answers.at(2).text, answers.at(0).text);
    EXPECT_THAT(comments("3f2a9c1d"), SizeIs(1));
}

TEST_F(ToolCallsTest, ACallThatIsUnderWayWhenItsSessionEndsIsAwaitedAndItsCommentKnown) {
    const auto agent = begin("3f2a9c1d");
    faults(R"([{"kind":"delay","delay_ms":200,"method":"POST"}])");
    std::vector<ToolAnswer> answers;
    spawnLogged(io.get_executor(), "a call", callInto(toolServerOf(*agent), answers));
    CallMemory& memory = access.session(agent->sessionID)->calls;
    while (memory.size() == 0) {
        io.restart();
        ASSERT_GT(io.run_one_for(quernlight::test::generousBound), 0U);
    }
    access.close(agent->sessionID);
    SystemClock time;
    quernlight::test::runTask(
        io, memory.untilNoneIsUnderWay(time, time.steadyNow() + quernlight::test::generousBound));
    EXPECT_THAT(agent->reported, SizeIs(1));
    EXPECT_TRUE(call(*agent, "create_comment", R"({"body":"Another."})").isError);
}

TEST_F(ToolCallsTest, AStatusIsSetAnewOnceAnotherWasSet) {
    const auto agent = begin("3f2a9c1d");
    for (const char* status : {"investigate", "in_review", "investigate", "investigate"}) {
        EXPECT_FALSE(
            call(*agent, "update_bug_status", std::string(R"({"status":")") + status + R"("})").isError);
        EXPECT_EQ(backendStatus("3f2a9c1d"), status);
    }
}

TEST_F(ToolCallsTest, AfterAFailureNoCommentIsPostedTwiceAndNoneIsLost) {
    const struct {
        const char* story;
        const char* fault;
        const char* first;   ///< what is said to the first call
        bool isHealed;       ///< by calling again once the backend is well
        std::size_t posted;  ///< in the end
    } rows[] = {
        {"refused", R"([{"kind":"status","status":400,"method":"POST"}])",
         "The backend has not taken the comment", true, 1},
        {"not available, as a proxy may say of what was sent",
         R"([{"kind":"status","status":503,"method":"POST"}])", "Look with list_comments first", false, 0},
        {"posted, but its answer is lost", R"([{"kind":"cut_connection","method":"POST"}])",
         "It is not known whether the backend has taken the comment", true, 1},
        {"posted, but its answer is nonsense", R"([{"kind":"malformed_json","method":"POST"}])",
         "Look with list_comments first", true, 1},
        {"failed without a word of what was done", R"([{"kind":"status","status":500,"method":"POST"}])",
         "Look with list_comments first", false, 0},
    };
    for (const auto& row : rows) {
        const auto agent = begin("3f2a9c1d");
        const std::size_t before = comments("3f2a9c1d").size();
        const std::string arguments =
            R"({"body":"Done: )" + std::string(row.story) + R"(","status":"in_review"})";
        faults(row.fault);
        EXPECT_THAT(call(*agent, "create_comment", arguments).text, HasSubstr(row.first)) << row.story;
        faults("[]");
        EXPECT_EQ(call(*agent, "create_comment", arguments).isError, !row.isHealed) << row.story;
        EXPECT_EQ(call(*agent, "create_comment", arguments).isError, !row.isHealed) << row.story;
        EXPECT_EQ(comments("3f2a9c1d").size() - before, row.posted) << row.story;
        EXPECT_EQ(agent->reported.size(), row.posted) << row.story;
    }
}

TEST_F(ToolCallsTest, AnAgentsProcessIsAnsweredForItsOwnSessionOnly) {
    const auto agent = begin("3f2a9c1d");
    const auto other = begin("3f2a9c1e");
    router.add("GET", "/v1/sessions", Audience::people,
               [](ControlRequest) -> Task<ControlResponse> { co_return ControlResponse{}; });
    const auto ask = [&](const char* method, const std::string& target, const Agent& whose) {
        ControlRequest request{.method = method, .target = target};
        request.secret = quernlight::test::readFile(whose.secretFile).substr(0, 64);
        request.caller.session = agent->sessionID;
        return run(router.respond(std::move(request))).status;
    };
    const auto tool = [](const Agent& whose) {
        return controlTarget({"v1", "sessions", upperCaseText(whose.sessionID), "tools", "list_bugs"});
    };
    EXPECT_EQ(ask("POST", tool(*agent), *agent), 200U);
    EXPECT_EQ(ask("POST", tool(*other), *other), 403U);
    EXPECT_EQ(ask("GET", "/v1/sessions", *agent), 403U);
    EXPECT_THAT(refusals("3f2a9c1d"), ElementsAre(HasSubstr("asked the dispatcher for what is not its")));
    EXPECT_THAT(refusals("3f2a9c1e"), IsEmpty());
}

TEST_F(ToolCallsTest, AThousandCallsAtOnceAreLimitedAndEachIsTold) {
    const auto agent = begin("3f2a9c1d");
    const std::string secret = quernlight::test::readFile(agent->secretFile).substr(0, 64);
    std::size_t limited = 0;
    for (int round = 0; round < 1000; ++round) {
        ToolCalls::Call call{.sessionID = upperCaseText(agent->sessionID),
                             .secret = secret,
                             .tool = "update_bug_status",
                             .arguments = {{"status", "investigate"}}};
        const ToolResult result = run(calls.make(std::move(call)));
        limited += result.outcome == ToolOutcome::tooOften ? 1 : 0;
        ASSERT_THAT(result.text, Not(IsEmpty()));
    }
    EXPECT_GT(limited, 0U);
    EXPECT_LE(limited, 970U);
    EXPECT_THAT(refusals("3f2a9c1d"), ElementsAre(HasSubstr("ten times a second is the most")));
}

TEST_F(ToolCallsTest, WrongSecretsCannotBeTriedAtWill) {
    const auto agent = begin("3f2a9c1d");
    std::size_t limited = 0;
    for (int round = 0; round < 100; ++round) {
        ToolCalls::Call call{
            .sessionID = upperCaseText(agent->sessionID), .secret = "guess", .tool = "get_bug"};
        limited += run(calls.make(std::move(call))).outcome == ToolOutcome::tooOften ? 1 : 0;
    }
    EXPECT_GT(limited, 0U);
    EXPECT_FALSE(call(*agent, "get_bug").isError);
}

TEST(ToolFailureTest, OnlyWhatCertainlyDidNothingMayBeTriedAgain) {
    using Sent = TransportError::Sent;
    const TransportError unconnected(TransportError::Reason::failed, "refused", Sent::no);
    const TransportError cut(TransportError::Reason::failed, "cut");
    const TransportError late(TransportError::Reason::timedOut, "late");
    for (const std::exception* error :
         {static_cast<const std::exception*>(&cut), static_cast<const std::exception*>(&late)}) {
        EXPECT_EQ(outcomeOfFailure(*error), ToolOutcome::unknown);
    }
    EXPECT_EQ(outcomeOfFailure(unconnected), ToolOutcome::failed);
    EXPECT_EQ(outcomeOfFailure(BackendError::server(404, "")), ToolOutcome::failed);
    EXPECT_EQ(outcomeOfFailure(BackendError::server(503, "")), ToolOutcome::unknown);
    EXPECT_EQ(outcomeOfFailure(BackendError::server(503, "", std::chrono::seconds(5))), ToolOutcome::failed);
    EXPECT_EQ(outcomeOfFailure(BackendError::server(502, "")), ToolOutcome::unknown);
    EXPECT_EQ(outcomeOfFailure(BackendError::invalidURL()), ToolOutcome::failed);
    EXPECT_EQ(outcomeOfFailure(std::runtime_error("?")), ToolOutcome::unknown);
}

}  // namespace
}  // namespace quernlight::host
