#include <csignal>

#include <boost/json.hpp>
#include <gmock/gmock.h>

#include "tests/standin/codex_session.hpp"

namespace quernlight::standin::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StandinCodexWorkTest : public CodexSession {
  protected:
    boost::json::object onlyComment() const {
        const auto bodies = comments();
        EXPECT_EQ(bodies.size(), 1U);
        return bodies.empty() ? boost::json::object() : boost::json::parse(bodies.front()).as_object();
    }

    std::string reportedStatus() const {
        return std::string(onlyComment().at("metadata").at("status").as_string());
    }

    std::string pullRequestHead(int number) const {
        return repository.git(repository.bare(),
                              {"rev-parse", "refs/pull/" + std::to_string(number) + "/head"});
    }
};

TEST_F(StandinCodexWorkTest, AFixIsCommittedOnTheBranchPushedAndReported) {
    addWorktree();
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_THAT(backend.requestLines(), ElementsAre("PATCH /v1/bugs/3f2a9c1d", "GET /v1/bugs/3f2a9c1d",
                                                    "POST /v1/bugs/3f2a9c1d/comments"));
    EXPECT_EQ(branchHead(), repository.git(names().worktree(), {"rev-parse", "HEAD"}));
    EXPECT_EQ(pullRequestHead(1), branchHead());
    EXPECT_NE(branchHead(), repository.git({"rev-parse", "main"}));
    EXPECT_EQ(onlyComment().at("pr_url"), "https://git.example/acme/shop/pull/1");
    EXPECT_EQ(onlyComment().at("author_type"), "agent");
    const boost::json::value metadata{
        {"queue_item_id", names().queueItemID}, {"session_id", names().sessionID}, {"status", "in_review"}};
    EXPECT_EQ(onlyComment().at("metadata"), metadata);
}

TEST_F(StandinCodexWorkTest, TheBackendIsEnteredWithTheAgentsOwnToken) {
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(backend.requests().at(0).authorization, "Bearer agent-token");
    EXPECT_EQ(backend.requests().at(0).body, R"({"status":"investigate"})");
}

TEST_F(StandinCodexWorkTest, AToolServerThatItIsGivenTakesThePlaceOfTheBackend) {
    const auto script = repository.scratch("tools.sh");
    const auto log = repository.scratch("tools.log");
    quernlight::test::writeFile(script, R"(while read -r line; do
        printf '%s\n' "$line" >> "$1"
        id=$(printf '%s' "$line" | sed -n 's/^.*"id":\([0-9]*\),.*$/\1/p')
        [ -z "$id" ] || printf '{"jsonrpc":"2.0","id":%s,"result":{"content":[{"type":"text","text":%s}]}}\n' "$id" \
            '"{\"bug\":{\"title\":\"Crash\",\"description\":\"Tap.\"}}"'
    done)");
    startAtPrompt({}, {"-c", "mcp_servers.quernlight.command=\"/bin/sh\"", "-c",
                       "mcp_servers.quernlight.args=['" + script.string() + "', '" + log.string() + "']"});
    workOn(fixGoal(names()));
    const std::string calls = quernlight::test::readFile(log);
    EXPECT_THAT(backend.requestLines(), IsEmpty());
    EXPECT_THAT(
        calls,
        HasSubstr(R"("name":"update_bug_status","arguments":{"status":"investigate","bug_id":"3f2a9c1d"})"));
    EXPECT_THAT(calls, HasSubstr(R"("name":"get_bug","arguments":{"bug_id":"3f2a9c1d"})"));
    EXPECT_THAT(calls, HasSubstr(R"("name":"create_comment")"));
    EXPECT_THAT(calls, HasSubstr("\"session_id\":\"" + names().sessionID + "\""));
}

TEST_F(StandinCodexWorkTest, AWorktreeThatIsMissingIsMadeOffTheLatestBase) {
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(repository.git(names().worktree(), {"rev-parse", "--abbrev-ref", "HEAD"}), names().branch);
    EXPECT_EQ(repository.git(names().worktree(), {"rev-parse", "HEAD~1"}),
              repository.git({"rev-parse", "main"}));
    EXPECT_EQ(reportedStatus(), "in_review");
}

TEST_F(StandinCodexWorkTest, ANewPullRequestTakesTheNextFreeNumber) {
    repository.git({"push", "--quiet", "origin", "HEAD:refs/pull/6/head"});
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(onlyComment().at("pr_url"), "https://git.example/acme/shop/pull/7");
    EXPECT_EQ(pullRequestHead(7), branchHead());
}

TEST_F(StandinCodexWorkTest, AFollowupAddsToTheExistingPullRequest) {
    startAtPrompt();
    workOn(fixGoal(names()));
    const std::string first = branchHead();
    workOn(followupGoal(names(), "https://git.example/Acme/Shop/pull/1"));
    EXPECT_EQ(repository.git(names().worktree(), {"rev-parse", "HEAD~1"}), first);
    EXPECT_EQ(pullRequestHead(1), branchHead());
    ASSERT_EQ(comments().size(), 2U);
    EXPECT_EQ(boost::json::parse(comments()[1]).at("pr_url"), "https://git.example/Acme/Shop/pull/1");
}

TEST_F(StandinCodexWorkTest, AFollowupLeavesTheBugsStatusAlone) {
    startAtPrompt();
    workOn(followupGoal(names(), "the bug's `pr_url` or the PR link in existing comments"));
    EXPECT_THAT(backend.requestLines(),
                ElementsAre("GET /v1/bugs/3f2a9c1d", "POST /v1/bugs/3f2a9c1d/comments"));
    EXPECT_EQ(onlyComment().at("pr_url"), "https://git.example/acme/shop/pull/1");
}

TEST_F(StandinCodexWorkTest, AFollowupInAFreshWorktreeTakesInThePullRequestFirst) {
    repository.git({"checkout", "--quiet", "-b", "elsewhere"});
    repository.git({"commit", "--quiet", "--allow-empty", "-m", "Reviewed work"});
    repository.git({"push", "--quiet", "origin", "HEAD:refs/pull/4/head"});
    const std::string reviewed = repository.git({"rev-parse", "HEAD"});
    addWorktree();
    startAtPrompt();
    workOn(followupGoal(names(), "https://git.example/acme/shop/pull/4"));
    EXPECT_EQ(repository.git(names().worktree(), {"rev-parse", "HEAD~1"}), reviewed);
    EXPECT_EQ(pullRequestHead(4), branchHead());
}

TEST_F(StandinCodexWorkTest, ABugWithoutInformationGetsAQuestionAndNoCommit) {
    backend.holdBug(R"({"title":"Broken","description":""})");
    addWorktree();
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(reportedStatus(), "investigate");
    EXPECT_THAT(std::string(onlyComment().at("body").as_string()), HasSubstr("?"));
    EXPECT_FALSE(onlyComment().contains("pr_url"));
    EXPECT_EQ(repository.git({"ls-remote", "origin", "refs/heads/" + names().branch}), "");
    EXPECT_EQ(repository.git(names().worktree(), {"rev-parse", "HEAD"}),
              repository.git({"rev-parse", "main"}));
}

TEST_F(StandinCodexWorkTest, WhoMayNotChangeTheBugSetsItsStatusByTheOtherAddress) {
    backend.forbidPatches();
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(backend.requestLines().at(1), "POST /v1/bugs/3f2a9c1d/status");
    EXPECT_EQ(reportedStatus(), "in_review");
}

TEST_F(StandinCodexWorkTest, AFailureIsShownAndTheAgentWaitsAtItsPrompt) {
    repository.git({"remote", "set-url", "origin", "git@git.example:acme/gone.git"});
    startAtPrompt();
    submit(fixGoal(names()));
    EXPECT_TRUE(terminal->sees("there is no repository 'acme/gone.git'"));
    EXPECT_TRUE(terminal->sees("›"));
    EXPECT_THAT(comments(), IsEmpty());
}

TEST_F(StandinCodexWorkTest, AGoalAndItsEnterThatWaitedForTheWorkToEndAreTakenUpNext) {
    auto held = backend.holdAnswers();
    startAtPrompt({"STANDIN_CODEX_DELAY_MS=100"});
    submit(fixGoal(names()));
    awaitState("SELECT title FROM threads WHERE title = 'Bug 3f2a9c1d'");
    paste(followupGoal(names(), "https://git.example/acme/shop/pull/1"));
    terminal->type("\r");
    held.unlock();
    EXPECT_TRUE(terminal->sees("Posted the completion comment\r\n"));
    EXPECT_TRUE(terminal->sees("Posted the completion comment\r\n"));
    EXPECT_EQ(comments().size(), 2U);
}

TEST_F(StandinCodexWorkTest, TheThreadIsNamedAfterTheBug) {
    startAtPrompt();
    workOn(fixGoal(names()));
    EXPECT_EQ(awaitState("SELECT title FROM threads"), "Bug 3f2a9c1d");
}

TEST_F(StandinCodexWorkTest, EveryGoalThatIsTakenUpIsLogged) {
    GoalNames later = names();
    later.sessionID = "0F0F0F0F-7777-4888-9999-AAAAAAAAAAAA";
    startAtPrompt();
    workOn(fixGoal(names()));
    workOn(followupGoal(later, "https://git.example/acme/shop/pull/1"));
    EXPECT_EQ(quernlight::test::readFile(home() / "goals.log"),
              names().sessionID + " " + names().queueItemID + "\n" + later.sessionID + " " +
                  later.queueItemID + "\n");
}

TEST_F(StandinCodexWorkTest, AGoalWithoutAnOrderChangesNothing) {
    startAtPrompt();
    submit("/goal M3 runner verification only.\nApp: My App\n");
    EXPECT_TRUE(terminal->sees("There is nothing to change for this goal."));
    EXPECT_THAT(backend.requestLines(), IsEmpty());
}

}  // namespace
}  // namespace quernlight::standin::test
