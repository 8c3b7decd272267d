#include <array>
#include <csignal>

#include <gmock/gmock.h>

#include "host/events/history_look.hpp"
#include "quernlight/platform/identifiers.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// Bugs 11111111, 22222222 and 33333333, which cannot be started for a cause that is none of theirs.
class OutsideCausesTest : public test::DispatchFixture {
  protected:
    OutsideCausesTest() {
        for (const char* bugID : bugs) {
            reportClearBug(bugID);
        }
        mapApp();
        startBackend();
    }
    void set(const std::string& setting, const std::string& value) {
        const auto outcome = dispatch({"config", "set", setting, value, "--home", home()});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.error;
    }
    void breakAgent() {
        const auto agent = repository.scratch("broken/codex");
        test::writeFile(agent, "#!/no/such/interpreter\n");
        std::filesystem::permissions(agent, std::filesystem::perms::owner_all);
        environment["PATH"] = agent.parent_path().string() + ":/usr/bin:/bin";
    }
    /// By an agent that has worked on the first bug.
    void limitIsStored() {
        Connection queue(queueFile(), Connection::Access::readWrite, std::chrono::seconds(5));
        const Instant now = currentInstant();
        queue.execute("UPDATE queue_items SET codex_session_id = ? WHERE bug_id = '11111111'",
                      {SQLValue::text(upperCaseText(randomUuid()))});
        queue.execute(
            "INSERT INTO queue_events (id, queue_item_id, kind, message, metadata_json, created_at)"
            " SELECT ?, id, 'agentBlocked', 'Limited for hours.', ?, ? FROM queue_items"
            " WHERE bug_id = '11111111'",
            {SQLValue::text(upperCaseText(randomUuid())),
             SQLValue::text(host::limitMetadata(now + std::chrono::hours(4))),
             SQLValue::text(formatInstant(now))});
    }
    void takeRemoteAway() { std::filesystem::rename(repository.bare(), repository.scratch("away")); }
    void bringRemoteBack() { std::filesystem::rename(repository.scratch("away"), repository.bare()); }
    void areAll(const std::string& expected) {
        for (const char* bugID : bugs) {
            EXPECT_EQ(status(bugID), expected) << bugID << " " << item(bugID, "error_message");
        }
    }
    static constexpr std::array bugs{"11111111", "22222222", "33333333"};
};

TEST_F(OutsideCausesTest, ARemoteThatCannotBeReachedFailsNoBugAndOnceEndsWithTheCause) {
    takeRemoteAway();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("3 bugs could not be started: git fetch fails in "));
    areAll("queued");
    EXPECT_EQ(attempt("11111111", "attempt_number"), "no such row");
}

TEST_F(OutsideCausesTest, BugsAreWorkedOnOnceTheirRemoteIsBack) {
    takeRemoteAway();
    const auto program = start(runWith());
    const std::string alert = "No bug of " + repository.directory().string() + " is started for the next 5 s";
    ASSERT_TRUE(program->says(alert)) << program->output();
    bringRemoteBack();
    EXPECT_TRUE(program->says("Bugs can be started again.")) << program->output();
    for (const char* bugID : bugs) {
        EXPECT_TRUE(program->says(std::string(bugID) + "  completed: ")) << program->output();
    }
    EXPECT_THAT(program->output(), Not(HasSubstr("  failed: ")));
}

/// The mapping still has the path that leads through a link now.
TEST_F(OutsideCausesTest, OneIsTriedOnceThoughItsRepositoryWasMovedAndLinkedTo) {
    std::filesystem::rename(repository.directory(), repository.scratch("moved"));
    std::filesystem::create_directory_symlink(repository.scratch("moved"), repository.directory());
    takeRemoteAway();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("3 bugs could not be started: git fetch fails in "));
    areAll("queued");
}

TEST_F(OutsideCausesTest, AnAlertEndsWithTheLastBugThatWaitedForIt) {
    takeRemoteAway();
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("is started for the next 5 s")) << program->output();
    Connection queue(queueFile(), Connection::Access::readWrite, std::chrono::seconds(5));
    queue.execute("UPDATE queue_items SET status = 'cancelled'");
    EXPECT_TRUE(program->says("Bugs can be started again.")) << program->output();
}

TEST_F(OutsideCausesTest, ARepositoryThatIsGoneFailsNoBug) {
    std::filesystem::rename(repository.directory(), repository.scratch("moved"));
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, AllOf(HasSubstr("3 bugs could not be started: The repository "),
                                     HasSubstr("cannot be used (No such file or directory)")));
    areAll("queued");
}

TEST_F(OutsideCausesTest, AnAgentThatCannotBeStartedFailsNoBug) {
    const auto script = repository.scratch("agent.sh");
    test::writeFile(script, "#!/no/such/interpreter\n");
    std::filesystem::permissions(script, std::filesystem::perms::owner_all);
    set("agent.command", script.string());
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("Unable to launch Codex: No such file or directory; check"));
    areAll("queued");
}

/// It is found on PATH, but its interpreter is not.
TEST_F(OutsideCausesTest, AnAgentThatIsOnThePathAndCannotBeRunFailsNoBug) {
    breakAgent();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error,
                HasSubstr("3 bugs could not be started: The agent codex cannot be started (it ended with "
                          "code 127 before it asked for anything: /usr/bin/env: "));
    areAll("queued");
}

TEST_F(OutsideCausesTest, AnAgentThatStillCannotBeRunIsTriedAfterALongerPause) {
    breakAgent();
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("No bug is started for the next 5 s")) << program->output();
    EXPECT_TRUE(program->says("No bug is started for the next 10 s")) << program->output();
    EXPECT_THAT(program->output(), Not(HasSubstr("Bugs can be started again.")));
    EXPECT_THAT(program->output(), Not(HasSubstr("  failed: ")));
}

/// Without the remote no bug is worked on, so that nothing but the person's word ends the limit.
TEST_F(OutsideCausesTest, ALimitThatAnEarlierRunHasMetHoldsUntilAPersonSaysOtherwise) {
    takeRemoteAway();
    runOnce();
    limitIsStored();
    auto program = start(runWith());
    ASSERT_TRUE(program->says("unpause): Limited for hours.")) << program->output();
    EXPECT_EQ(dispatch({"unpause", "--home", home()}).exitCode, 0);
    EXPECT_TRUE(program->says("is started for the next 5 s")) << program->output();
    program->signal(SIGINT);
    program->exitCode();
    program = start(runWith());
    EXPECT_TRUE(program->says("is started for the next 5 s")) << program->output();
    EXPECT_THAT(program->output(), Not(HasSubstr("Limited")));
}

TEST_F(OutsideCausesTest, AQueuedBugWhoseMappingIsGoneWaitsForANewOne) {
    takeRemoteAway();
    runOnce();
    bringRemoteBack();
    Connection(queueFile()).execute("DELETE FROM app_mappings");
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 0) << outcome.error;
    EXPECT_THAT(outcome.output, HasSubstr("Bug 11111111 (Shop) waits for a repository: "));
    areAll("waitingForMapping");
    mapApp();
    EXPECT_EQ(runOnce().exitCode, 0);
    areAll("completed");
}

}  // namespace
}  // namespace quernlight
