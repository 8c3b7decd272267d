#include "host/tools/comment_draft.hpp"

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

const Uuid item = *parseUuid("11111111-0000-4000-8000-000000000000");
const Uuid current = *parseUuid("22222222-0000-4000-8000-000000000000");
const Uuid earlier = *parseUuid("33333333-0000-4000-8000-000000000000");

std::variant<CommentDraft, ToolResult> drafted(const std::string& arguments) {
    return draftComment(boost::json::parse(arguments).as_object(),
                        {.queueItemID = item, .sessionID = current, .earlierSessions = {earlier}});
}

TEST(CommentDraftTest, IdentifiersAndAuthorAreFilledIn) {
    const auto draft = std::get<CommentDraft>(drafted(
        R"({"body":"Done.","status":"In Review ","pr_url":"https://h/o/r/pull/1","author_type":"user",
            "metadata":{"note":"x"},"attachments":["a.png"]})"));
    EXPECT_EQ(draft.comment.authorType, "agent");
    EXPECT_EQ(draft.comment.prURL->text(), "https://h/o/r/pull/1");
    EXPECT_THAT(draft.attachments, ElementsAre("a.png"));
    EXPECT_THAT(
        *draft.comment.metadata,
        ElementsAre(Pair("note", "x"), Pair("queue_item_id", "11111111-0000-4000-8000-000000000000"),
                    Pair("session_id", "22222222-0000-4000-8000-000000000000"), Pair("status", "in_review")));
}

TEST(CommentDraftTest, WhatTheAgentGivesIsTakenReplacedOrRefused) {
    const struct {
        const char* story;
        const char* members;
        ToolOutcome outcome;
        const char* sentence;
    } rows[] = {
        {"its own ids, in capitals",
         R"("session_id":"22222222-0000-4000-8000-000000000000","metadata":{"queue_item_id":"11111111-0000-4000-8000-000000000000"})",
         ToolOutcome::done, ""},
        {"the session of an earlier attempt", R"("session_id":"33333333-0000-4000-8000-000000000000")",
         ToolOutcome::done, ""},
        {"a foreign session", R"("metadata":{"session_id":"44444444-0000-4000-8000-000000000000"})",
         ToolOutcome::refused, "is of no session of this bug"},
        {"a session that is none", R"("session_id":"mine")", ToolOutcome::refused, "is of no session"},
        {"a foreign item", R"("queue_item_id":"22222222-0000-4000-8000-000000000000")", ToolOutcome::refused,
         "is not that of this session's bug"},
        {"no status", R"("pr_url":null)", ToolOutcome::done, ""},
        {"a status in the metadata", R"("metadata":{"status":"investigate"})", ToolOutcome::done, ""},
        {"two statuses", R"("status":"in_review","metadata":{"status":"investigate"})",
         ToolOutcome::badArguments, "\"status\" is given twice"},
        {"another status", R"("status":"fixed")", ToolOutcome::badArguments, "it was \"fixed\""},
        {"an address that is none", R"("pr_url":"pull/1")", ToolOutcome::badArguments, "is no address"},
        {"an address of a file", R"("pr_url":"file:///etc/passwd")", ToolOutcome::badArguments,
         "is no address"},
    };
    for (const auto& row : rows) {
        const auto result = drafted(R"({"body":"Done.",)" + std::string(row.members) + "}");
        const auto* trouble = std::get_if<ToolResult>(&result);
        EXPECT_EQ(trouble ? trouble->outcome : ToolOutcome::done, row.outcome) << row.story;
        EXPECT_THAT(trouble ? trouble->text : "", HasSubstr(row.sentence)) << row.story;
        if (!trouble) {
            EXPECT_EQ(std::get<CommentDraft>(result).comment.metadata->at("session_id"),
                      lowerCaseText(current));
        }
    }
    EXPECT_EQ(std::get<ToolResult>(drafted(R"({"body":" \n"})")).outcome, ToolOutcome::badArguments);
}

TEST(CommentDraftTest, TheSameCommentHasOneFingerprintHoweverItIsAskedFor) {
    const auto of = [](const std::string& text) {
        return fingerprint(std::get<CommentDraft>(drafted(text)));
    };
    const std::string one = of(R"({"body":"Done.","status":"in_review"})");
    EXPECT_EQ(of(R"({"metadata":{"status":"in review"},"body":"Done."})"), one);
    EXPECT_EQ(
        of(R"({"body":"Done.","status":"in_review","session_id":"33333333-0000-4000-8000-000000000000"})"),
        one);
    EXPECT_NE(of(R"({"body":"Done!","status":"in_review"})"), one);
    EXPECT_NE(of(R"({"body":"Done.","status":"in_review","attachments":["a"]})"), one);
}

}  // namespace
}  // namespace quernlight::host
