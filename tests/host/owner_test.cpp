#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json/parse.hpp>

#include "host/process/home_lock.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using test::eventually;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// The owner of a home over longer times: what it resumes, takes up again, waits for and clears away.
class OwnerTest : public test::DispatchFixture {
  protected:
    void mapAndStartBackend(const std::string& bugID) {
        reportClearBug(bugID);
        mapApp();
        startBackend();
    }
    /// The agent works on bug 3f2a9c1d for ever; then the run is interrupted.
    void interruptWork() {
        agentDoes("3f2a9c1d", "idle");
        mapAndStartBackend("3f2a9c1d");
        const auto program = start(runWith());
        ASSERT_TRUE(program->says("3f2a9c1d  codexSessionStored: ") && program->says("3f2a9c1d  typed: "))
            << program->output();
        program->signal(SIGINT);
        EXPECT_EQ(program->exitCode(), 130);
        agentDoesAsToldAgain();
    }
    test::Outcome command(std::vector<std::string> words) {
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    std::string attempts(const std::string& column) {
        Connection database(queueFile(), Connection::Access::readOnly);
        std::string texts;
        for (const Row& row :
             database.query("SELECT CAST(" + column +
                            " AS TEXT) AS cell FROM session_attempts ORDER BY attempt_number")) {
            const std::string* text = row.at("cell").asText();
            texts += (texts.empty() ? "" : " ") + (text ? *text : "-");
        }
        return texts;
    }
    void forgetConversations() {
        for (const auto& entry : std::filesystem::directory_iterator(repository.scratch("codex-home"))) {
            if (entry.path().extension() == ".sqlite") {
                Connection(entry.path(), Connection::Access::readWrite).execute("DELETE FROM threads", {});
            }
        }
    }
    std::filesystem::path worktree() const { return repository.scratch("shop-worktrees/Shop-3f2a9c1d"); }
    /// The pull request of the bug's branch is merged at the remote.
    void mergeBranch() {
        repository.git(repository.bare(), {"update-ref", "refs/heads/main", "refs/heads/Shop-3f2a9c1d"});
    }
};

TEST_F(OwnerTest, AnInterruptedBugGoesOnInTheAgentsOwnConversation) {
    interruptWork();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    EXPECT_EQ(attempts("attempt_number"), "1 2");
    EXPECT_EQ(attempts("state"), "failed completed");
    const std::string conversation = item("3f2a9c1d", "codex_session_id");
    EXPECT_EQ(attempts("codex_session_id"), conversation + " " + conversation);
    EXPECT_THAT(test::readFile(attempt("3f2a9c1d", "transcript_text_path")), HasSubstr("Resumed session "));
}

TEST_F(OwnerTest, AnAgentThatNoLongerKnowsItsConversationIsGivenAFreshOneOnce) {
    interruptWork();
    const std::string forgotten = item("3f2a9c1d", "codex_session_id");
    forgetConversations();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    EXPECT_EQ(attempts("state"), "failed failed completed");
    EXPECT_THAT(outcome.output, HasSubstr("3f2a9c1d  conversationUnknown: The agent does not know its "
                                          "conversation "));
    EXPECT_THAT(attempt("3f2a9c1d", "codex_session_id"), AllOf(Not(IsEmpty()), Not(forgotten)));
    EXPECT_THAT(history("3f2a9c1d"), HasSubstr("goalNotTyped conversationUnknown resumable"));
}

TEST_F(OwnerTest, WhatTheAgentLeavesBehindIsEndedWithIt) {
    const auto script = repository.scratch("agent.sh");
    test::writeFile(script, "setsid sleep 6000 & exec codex \"$@\"\n");
    ASSERT_EQ(command({"config", "set", "agent.command", "sh " + script.string()}).exitCode, 0);
    reportClearBug("3f2a9c1d");
    const auto outcome = workAll();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    EXPECT_THAT(outcome.output, HasSubstr("agentLeftovers: The agent left processes behind; killed: "));
    EXPECT_TRUE(test::processesWithEnvironment("QUERNLIGHT_DISPATCH_SESSION=" +
                                               attempt("3f2a9c1d", "completion_marker"))
                    .empty());
}

TEST_F(OwnerTest, AnOrphanThatHasDroppedEverythingButItsWorktreeIsEndedWithItsSession) {
    const auto script = repository.scratch("agent.sh");
    test::writeFile(script, "(env -i setsid sleep 6000 &)\nexec codex \"$@\"\n");
    ASSERT_EQ(command({"config", "set", "agent.command", "sh " + script.string()}).exitCode, 0);
    reportClearBug("3f2a9c1d");
    const auto outcome = workAll();
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    EXPECT_THAT(outcome.output, HasSubstr("agentLeftovers: The agent left processes behind; killed: "));
    EXPECT_THAT(test::processesWorkingIn(worktree()), IsEmpty());
}

TEST_F(OwnerTest, AnOrphanThatWorksNowhereNearABugIsToldOfOnceAndLeftAlone) {
    const auto hook = repository.directory() / ".git/hooks/post-checkout";
    test::writeFile(
        hook, "#!/bin/sh\ncd " + temporary().string() + "\n(env -i setsid sleep 6000 > /dev/null 2>&1 &)\n");
    std::filesystem::permissions(hook, std::filesystem::perms::owner_all);
    agentDoes("3f2a9c1d", "idle");
    mapAndStartBackend("3f2a9c1d");
    const auto program = start(runWith());
    EXPECT_TRUE(program->says("(sleep) was left behind and works in no worktree")) << program->output();
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
    const auto orphans = test::processesWorkingIn(temporary());
    EXPECT_EQ(orphans.size(), 1U);
    std::ranges::for_each(orphans, [](pid_t orphan) { kill(orphan, SIGKILL); });
}

bool hasOpen(pid_t process, const std::filesystem::path& file) {
    std::error_code error;
    const auto descriptors = "/proc/" + std::to_string(process) + "/fd";
    const std::filesystem::directory_iterator entries(descriptors, error);
    return std::any_of(begin(entries), end(entries), [&](const auto& entry) {
        return std::filesystem::read_symlink(entry.path(), error) == file;
    });
}

TEST_F(OwnerTest, ItWaitsForACommandThatHoldsTheHomeForAMoment) {
    startBackend();
    mapApp();
    std::optional<host::HomeLock> held(std::in_place, home());
    const auto program = start(runWith());
    ASSERT_TRUE(test::eventually([&] { return hasOpen(program->pid(), home() / "owner.lock"); }));
    held.reset();
    EXPECT_TRUE(test::eventually([&] {
        return dispatch({"sessions", "list", "--home", home()}).exitCode == 0;
    })) << program->errorText();
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0) << program->errorText();
}

TEST_F(OwnerTest, AManualBugWaitsUntilAPersonStartsIt) {
    reportClearBug("3f2a9c1d");
    startBackend();
    runOnce();
    EXPECT_EQ(command({"queue", "hold", "3f2a9c1d"}).exitCode, 0);
    mapApp();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "queued");
    EXPECT_EQ(command({"queue", "start", "3F2A9C1D-0000"}).exitCode, 0);
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    const auto again = command({"queue", "start", "3f2a9c1d"});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_THAT(again.error, HasSubstr("Bug 3f2a9c1d (in review): its work is done; "));
}

TEST_F(OwnerTest, MemoryThatIsShortHoldsSessionsBackUntilTheSettingOrTheMemoryAllowsThem) {
    ASSERT_EQ(command({"config", "set", "sessions.memory_floor_mib", "1048576"}).exitCode, 0);
    mapAndStartBackend("3f2a9c1d");
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("No session is started while less than 1048576 MiB of memory are available."));
    EXPECT_EQ(command({"config", "set", "sessions.memory_floor_mib", "0"}).output,
              "sessions.memory_floor_mib is now 0 MiB; that takes effect at once.\n");
    EXPECT_TRUE(program->says("Setting sessions.memory_floor_mib is now 0; that takes effect at once."));
    EXPECT_TRUE(program->says("3f2a9c1d  completed: "));
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
}

TEST_F(OwnerTest, ABugInReviewIsFollowedUpOnceAUserHasCommented) {
    reportClearBug("3f2a9c1d");
    workAll();
    EXPECT_EQ(runOnce().output, "");
    userComments("3f2a9c1d", "The button is still red.");
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.output << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("followUpWanted: A user has commented on the work in review."));
    EXPECT_EQ(status("3f2a9c1d"), "completed") << history("3f2a9c1d") << item("3f2a9c1d", "error_message");
    EXPECT_EQ(item("3f2a9c1d", "goal_flow"), "address_review");
    EXPECT_EQ(attempts("state"), "completed completed");
    EXPECT_EQ(runOnce().output, "");
}

TEST_F(OwnerTest, ABugWhoseAgentAskedIsTakenUpAgainOnceTheUserHasAnswered) {
    report("77777777", "It does not work");
    workAll();
    EXPECT_EQ(status("77777777"), "awaitingUserInput");
    userComments("77777777", "It crashes when I press the button.");
    const auto outcome = runOnce();
    EXPECT_THAT(outcome.output, HasSubstr("followUpWanted: A user has answered the agent."));
    EXPECT_EQ(attempt("77777777", "attempt_number"), "2");
}

TEST_F(OwnerTest, ADaysShareOfNewBugsIsTheOldestAndTheRestIsCounted) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        reportClearBug(bugID);
    }
    ASSERT_EQ(command({"config", "set", "intake.per_day", "2"}).exitCode, 0);
    startBackend();
    const auto outcome = runOnce();
    EXPECT_THAT(outcome.output, HasSubstr("1 new bug is left for another day: at most 2 are taken in a day "
                                          "(setting intake.per_day)."));
    EXPECT_EQ(status("11111111"), "waitingForMapping");
    EXPECT_EQ(status("33333333"), "no such row");
}

TEST_F(OwnerTest, AMergedBugLosesItsItemAndItsWorktreeAndNoWorkThatWasInIt) {
    reportClearBug("3f2a9c1d");
    workAll();
    test::writeFile(worktree() / "notes.txt", "not yet committed\n");
    mergeBranch();
    ASSERT_EQ(command({"config", "set", "poll.merge_seconds", "0.2"}).exitCode, 0);
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("Merged: the bug leaves the queue, and its worktree is gone."))
        << program->output();
    program->signal(SIGTERM);
    program->exitCode();
    EXPECT_EQ(status("3f2a9c1d"), "no such row");
    EXPECT_FALSE(std::filesystem::exists(worktree()));
    EXPECT_THAT(program->output(),
                HasSubstr("workPreserved: Work that no remote has is kept at refs/quernlight/preserved/"));
    EXPECT_THAT(command({"queue", "show", "3f2a9c1d"}).error,
                HasSubstr("work kept at refs/quernlight/preserved/Shop-3f2a9c1d."));
    EXPECT_EQ(repository.git({"show", "refs/quernlight/preserved/Shop-3f2a9c1d:notes.txt"}),
              "not yet committed");
    EXPECT_EQ(repository.git({"status", "--porcelain"}), "");
}

TEST_F(OwnerTest, AMergedBugWhoseMappingMovedKeepsItsItemAndItsWorktree) {
    reportClearBug("3f2a9c1d");
    workAll();
    mergeBranch();
    ASSERT_EQ(command({"config", "set", "poll.merge_seconds", "0.2"}).exitCode, 0);
    const auto moved =
        dispatch(mapWith({"--repo", repository.directory(), "--worktrees", repository.scratch("elsewhere")}));
    ASSERT_EQ(moved.exitCode, 0) << moved.error;
    const auto hindered = start(runWith());
    EXPECT_TRUE(hindered->says("Bug 3f2a9c1d is merged, but its worktree at " + worktree().string() +
                               " is not where its mapping has worktrees now, so it is left alone;"))
        << hindered->output();
    hindered->signal(SIGTERM);
    hindered->exitCode();
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_TRUE(std::filesystem::exists(worktree() / ".git"));
    mapApp();
    const auto program = start(runWith());
    EXPECT_TRUE(program->says("3f2a9c1d  retired: Merged: ")) << program->output();
    program->signal(SIGTERM);
    program->exitCode();
    EXPECT_FALSE(std::filesystem::exists(worktree()));
}

TEST_F(OwnerTest, AWorktreeThatIsLockedStaysAndItsWorkIsNamedOnceTheBugIsRetired) {
    reportClearBug("3f2a9c1d");
    workAll();
    test::writeFile(worktree() / "notes.txt", "not yet committed\n");
    repository.git({"worktree", "lock", worktree()});
    mergeBranch();
    command({"config", "set", "poll.merge_seconds", "0.2"});
    const auto hindered = start(runWith());
    ASSERT_TRUE(hindered->says("Bug 3f2a9c1d is merged, but its worktree stays. ")) << hindered->output();
    hindered->signal(SIGTERM);
    hindered->exitCode();
    EXPECT_TRUE(std::filesystem::exists(worktree() / "notes.txt"));
    repository.git({"worktree", "unlock", worktree()});
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  retired: Merged: ")) << program->output();
    program->signal(SIGTERM);
    program->exitCode();
    EXPECT_THAT(command({"queue", "show", "3f2a9c1d"}).error,
                HasSubstr("work kept at refs/quernlight/preserved/Shop-3f2a9c1d."));
}

TEST_F(OwnerTest, ARetiredBugIsNeverTakenInAgain) {
    reportClearBug("3f2a9c1d");
    workAll();
    mergeBranch();
    command({"config", "set", "poll.merge_seconds", "0.2"});
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  retired: Merged: "));
    program->signal(SIGTERM);
    program->exitCode();
    stopBackend();
    startBackend();  // where the bug is open again
    EXPECT_EQ(runOnce().output, "");
    EXPECT_EQ(status("3f2a9c1d"), "no such row");
}

TEST_F(OwnerTest, ABackendThatIsAwayForAWhileNeitherFailsNorStopsASession) {
    agentDoes("3f2a9c1d", "idle");
    mapAndStartBackend("3f2a9c1d");
    command({"config", "set", "poll.comments_seconds", "0.2"});
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: "));
    backendFaults(R"([{"kind": "status", "status": 503}])");
    EXPECT_TRUE(program->says("cannot be asked (The backend returned HTTP 503"));
    backendFaults("[]");
    EXPECT_TRUE(program->says("The backend answers again."));
    EXPECT_EQ(status("3f2a9c1d"), "running");
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
}

TEST_F(OwnerTest, AnInterruptedBugWaitsUnsettledUntilTheBackendCanBeAsked) {
    agentDoes("3f2a9c1d", "idle");
    mapAndStartBackend("3f2a9c1d");
    auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: "));
    program->signal(SIGKILL);
    program->exitCode();
    agentDoesAsToldAgain();
    backendFaults(R"([{"kind": "status", "status": 503}])");
    program = start(runWith());
    EXPECT_TRUE(program->says("Bug 3f2a9c1d waits: The backend cannot be asked"));
    EXPECT_EQ(status("3f2a9c1d"), "running");
    backendFaults("[]");
    EXPECT_TRUE(program->says("3f2a9c1d  completed: ")) << program->output();
    program->signal(SIGTERM);
    program->exitCode();
    EXPECT_EQ(attempts("state"), "failed completed");
}

TEST_F(OwnerTest, EveryEventIsALineOfJsonWithItsIds) {
    reportClearBug("3f2a9c1d");
    const auto outcome = workAll({"--log-json"});
    std::istringstream lines(outcome.output);
    std::string kinds;
    for (std::string line; std::getline(lines, line);) {
        const auto object = boost::json::parse(line).as_object();
        if (object.contains("kind")) {
            kinds += (kinds.empty() ? "" : " ") + std::string(object.at("kind").as_string());
            EXPECT_EQ(object.at("bug"), "3f2a9c1d");
            EXPECT_EQ(object.at("item").as_string().size(), 36U);
            EXPECT_EQ(object.contains("session"), object.at("kind") != "enqueued") << line;
        }
    }
    EXPECT_EQ(kinds, history("3f2a9c1d"));
}

/// The queue manager's events of a bug on which the agent behaves so. Timing does not change their order: the
/// agent's conversation, written down before its prompt, is looked for every second while the agent is
/// watched, and that goes on for seconds after the goal was typed; once the end begins there is no more look.
std::string eventsOfBehaviour(const std::string& behaviour) {
    const bool fails = behaviour == "crash" || behaviour == "silent-exit" || behaviour == "idle";
    const std::string end = behaviour == "ask" ? "awaitingUserInput"
                            : fails            ? "failed"
                                               : "codexCompleted completed";
    return "enqueued startingCodex running codexSessionStored " + end;
}

TEST_F(OwnerTest, TwelveBugsOfEveryKindEndEachAsItShould) {
    const std::vector<std::pair<std::string, std::string>> kinds{
        {"a0000001", ""},     {"a0000002", "ask"},         {"a0000003", "crash"}, {"a0000004", "silent-exit"},
        {"a0000005", "idle"}, {"a0000006", "ignore-exit"}, {"a0000007", "flood"}, {"a0000008", "slow-start"},
        {"a0000009", ""},     {"a000000a", "ask"},         {"a000000b", "crash"}, {"a000000c", ""}};
    for (const auto& [bugID, behaviour] : kinds) {
        reportClearBug(bugID);
        agentDoes(bugID, behaviour);
    }
    const auto outcome = workAll({"--max-sessions", "4", "--idle-timeout", "12", "--exit-grace", "2"});
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("Of 12 bugs worked on 4 failed; "));
    for (const auto& [bugID, behaviour] : kinds) {
        const std::string expected = eventsOfBehaviour(behaviour);
        EXPECT_EQ(events(bugID), expected) << bugID << " " << behaviour;
        EXPECT_EQ(status(bugID), expected.substr(expected.rfind(' ') + 1)) << bugID << " " << behaviour;
        EXPECT_EQ(attempt(bugID, "attempt_number"), "1") << bugID;
        EXPECT_TRUE(test::processesWithEnvironment("QUERNLIGHT_DISPATCH_SESSION=" +
                                                   attempt(bugID, "completion_marker"))
                        .empty());
    }
}

}  // namespace
}  // namespace quernlight
