#include <boost/json.hpp>
#include <gtest/gtest.h>

#include "standin/codex/bug_report.hpp"
#include "standin/codex/command_line.hpp"
#include "standin/codex/pull_request.hpp"

namespace quernlight::standin::codex {
namespace {

bool lacks(const std::string& description) {
    return lacksInformation({.title = "Crash", .description = description, .prURL = "", .answer = ""});
}

TEST(StandinCodexReportTest, ABugIsReadWithOrWithoutItsOptionalMembers) {
    EXPECT_EQ(parseBugReport(R"({"bug":{"title":"T","description":"D","pr_url":"https://h/o/r/pull/1"}})"),
              (BugReport{.title = "T", .description = "D", .prURL = "https://h/o/r/pull/1", .answer = ""}));
    EXPECT_EQ(parseBugReport(R"({"bug":{"title":"T","pr_url":null}})"),
              (BugReport{.title = "T", .description = "", .prURL = "", .answer = ""}));
    EXPECT_EQ(parseBugReport("{\"bugs\":[]}"), std::nullopt);
    EXPECT_EQ(parseBugReport("<html>"), std::nullopt);
}

TEST(StandinCodexReportTest, TheLastCommentOfAUserIsTheAnswer) {
    const auto bug = parseBugReport(R"({"bug":{"title":"T"},"comments":[
        {"author_type":"user","body":"Once."},{"author_type":"user","body":"Twice."},
        {"author_type":"agent","body":"Which button?"},{"author_type":null,"body":"B"}]})");
    ASSERT_TRUE(bug);
    EXPECT_EQ(bug->answer, "Twice.");
}

TEST(StandinCodexReportTest, ABugWithoutWordsOrThatSaysSoLacksInformation) {
    EXPECT_TRUE(lacks(""));
    EXPECT_TRUE(lacks(" \n"));
    EXPECT_TRUE(lacks("There is No Information about the steps."));
    EXPECT_TRUE(lacks("lacks information"));
    EXPECT_FALSE(lacks("Tap Save twice."));
    EXPECT_FALSE(lacksInformation({.title = "Crash", .description = "", .prURL = "", .answer = "Twice."}));
}

TEST(StandinCodexReportTest, TheCommentCarriesTheGoalsIdentifiersAndItsStatus) {
    Goal goal;
    goal.queueItemID = "q";
    goal.sessionID = "s";
    const auto comment = boost::json::parse(
        commentBody(goal, {.body = "Done.", .status = "in_review", .prURL = "https://h/o/r/pull/1"}));
    EXPECT_EQ(comment, boost::json::parse(R"({"body":"Done.","author_type":"agent",
        "metadata":{"queue_item_id":"q","session_id":"s","status":"in_review"},
        "pr_url":"https://h/o/r/pull/1"})"));
}

TEST(StandinCodexReportTest, AQuestionHasNoPullRequest) {
    const auto comment =
        boost::json::parse(commentBody({}, {.body = "How?", .status = "investigate", .prURL = ""}));
    EXPECT_FALSE(comment.as_object().contains("pr_url"));
}

TEST(StandinCodexReportTest, ARemotesAddressNamesHostOwnerAndRepository) {
    const HostedRepository expected{.host = "git.example", .owner = "acme", .name = "shop"};
    EXPECT_EQ(parseRemoteAddress("git@git.example:acme/shop.git"), expected);
    EXPECT_EQ(parseRemoteAddress("ssh://git@git.example/acme/shop.git"), expected);
    EXPECT_EQ(parseRemoteAddress("https://git.example/acme/shop"), expected);
    EXPECT_EQ(parseRemoteAddress("/srv/shop.git"), std::nullopt);
    EXPECT_EQ(pullRequestURL(expected, 7), "https://git.example/acme/shop/pull/7");
}

TEST(StandinCodexReportTest, TheNextPullRequestFollowsTheHighestOfTheRemote) {
    EXPECT_EQ(nextPullRequestNumber(""), 1);
    EXPECT_EQ(nextPullRequestNumber("a1\trefs/pull/9/head\nb2\trefs/pull/10/head\nc3\trefs/pull/2/head"), 11);
}

TEST(StandinCodexReportTest, APullRequestsNumberIsReadFromItsUrl) {
    EXPECT_EQ(pullRequestNumber("https://git.example/acme/shop/pull/12/files"), 12);
    EXPECT_EQ(pullRequestNumber("https://git.example/acme/shop/issues/12"), std::nullopt);
    EXPECT_EQ(pullRequestNumber(""), std::nullopt);
}

TEST(StandinCodexReportTest, ResumeTakesTheFirstWordBehindItAndUnknownOptionsAreIgnored) {
    EXPECT_EQ(parseCommandLine({"--yolo"}), CommandLine{});
    EXPECT_EQ(parseCommandLine({"--yolo", "resume", "--all", "abc"}),
              (CommandLine{.showVersion = false, .resume = true, .resumeID = "abc"}));
    EXPECT_TRUE(parseCommandLine({"--version"}).showVersion);
    EXPECT_TRUE(parseCommandLine({"-c", "a=b", "features", "list"}).listFeatures);
    EXPECT_TRUE(parseCommandLine({"login", "status"}).showLogin);
    EXPECT_FALSE(parseCommandLine({"--no-alt-screen"}).alternateScreen);
}

TEST(StandinCodexReportTest, AToolServerIsTakenFromTheConfigurationOnTheCommandLine) {
    const CommandLine given =
        parseCommandLine({"-c", "mcp_servers.quernlight.command=\"/opt/a b\"", "-c",
                          R"(mcp_servers.quernlight.args=["mcp", '--home', "/h\\\"\u00e9"])", "-c",
                          "features.goals=true", "resume", "-c", "resume=1", "abc"});
    EXPECT_EQ(given.toolServer, (std::vector<std::string>{"/opt/a b", "mcp", "--home", "/h\\\"\u00e9"}));
    EXPECT_EQ(given.resumeID, "abc");
    EXPECT_TRUE(parseCommandLine({"-c", "mcp_servers.other.command=\"x\""}).toolServer.empty());
}

TEST(StandinCodexCommandLineTest, AFolderIsTrustedWhereATableOfProjectsSaysSo) {
    const std::string projects = R"({"/a"={trust_level="trusted"}, '/b'={trust_level='untrusted'}})";
    EXPECT_TRUE(trusts(projects, "/a"));
    EXPECT_FALSE(trusts(projects, "/b"));
    EXPECT_FALSE(trusts(projects, "/"));
    EXPECT_FALSE(trusts("", "/a"));
}

TEST(StandinCodexReportTest, WhatIsNoTomlTextIsToldApart) {
    EXPECT_EQ(parseTomlText(R"( 'a\b' )"), "a\\b");
    EXPECT_EQ(parseTomlTexts("[ ]"), std::vector<std::string>{});
    EXPECT_EQ(parseTomlTexts(R"(["a",])"), std::vector<std::string>{"a"});
    for (const char* text : {"", "a", "\"a", "\"\\x\"", "'a' b", "\"\\u12\""}) {
        EXPECT_EQ(parseTomlText(text), std::nullopt) << text;
    }
    for (const char* text : {"[", "[a]", "['a' 'b']", "['a'", "['a'] x", "\"a\""}) {
        EXPECT_EQ(parseTomlTexts(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace quernlight::standin::codex
