#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/runner/open_terminal.hpp"
#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/// Bugs 11111111 and 22222222 in the queue, and no owner.
class QueueCommandTest : public test::DispatchFixture {
  protected:
    QueueCommandTest() {
        for (const char* bugID : {"11111111", "22222222"}) {
            reportClearBug(bugID);
        }
        startBackend();
        runOnce();
    }
    test::Outcome queue(const std::string& command, const std::string& bugID = "") {
        std::vector<std::string> words{"queue", command};
        if (!bugID.empty()) {
            words.push_back(bugID);
        }
        words.insert(words.end(), {"--home", home()});
        return dispatch(words);
    }
    /// The bug is as a session has left it.
    void ends(const std::string& bugID, const std::string& status) {
        Connection database(queueFile(), Connection::Access::readWrite);
        database.execute("UPDATE queue_items SET status = ? WHERE bug_id = ?",
                         {SQLValue::text(status), SQLValue::text(bugID)});
    }
    /// `retry --again` on a terminal, where a person answers so; the exit status.
    int retryAgainAnswering(const std::string& bugID, const std::string& answer) {
        const OpenTerminal terminal = openTerminal(windowSize(80, 24));
        test::DispatchProcess program({.arguments = {"queue", "retry", bugID, "--again", "--home", home()},
                                       .environment = environment,
                                       .output = repository.scratch("asked"),
                                       .terminal = terminal.device});
        const std::string line = answer + "\n";
        EXPECT_EQ(write(terminal.master.get(), line.data(), line.size()), std::ssize(line));
        return program.exitCode();
    }
    std::string positions() {
        return item("11111111", "queue_position") + " " + item("22222222", "queue_position");
    }
};

TEST_F(QueueCommandTest, ListNamesThoseThatNeedAPersonFirst) {
    ends("11111111", "running");
    EXPECT_THAT(queue("list").output, MatchesRegex("BUG       APP   STATE          ADDED +TITLE\n"
                                                   "22222222  Shop  needs mapping  [^\n]+\n"
                                                   "11111111  Shop  running        [^\n]+\n"));
}

TEST_F(QueueCommandTest, EveryCommandDoesItsActionAndPrintsTheBugAsItIsThen) {
    EXPECT_EQ(queue("cancel", "11111111").output, "11111111  Crash on launch: cancelled\n");
    EXPECT_THAT(queue("retry", "11111111").output, EndsWith(": needs mapping\n"));
    EXPECT_EQ(positions(), "1 0");
    EXPECT_EQ(queue("next", "11111111").exitCode, 0);
    EXPECT_EQ(positions(), "0 1");
    EXPECT_THAT(queue("hold", "11111111").output, EndsWith(": needs start\n"));
    EXPECT_THAT(queue("start", "11111111").error,
                HasSubstr("its app has no repository; name one first with: "));
    mapApp();
    EXPECT_THAT(queue("start", "11111111").output, EndsWith(": queued (manual)\n"));
    EXPECT_THAT(history("11111111"), EndsWith("startRequested"));
    EXPECT_EQ(queue("release", "11111111").exitCode, 0);
    EXPECT_EQ(item("11111111", "queue_mode"), "auto");
}

TEST_F(QueueCommandTest, FinishedWorkIsRetriedOnlyWithTheWordAgain) {
    ends("11111111", "completed");
    const auto refused = queue("retry", "11111111");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.error, HasSubstr("Bug 11111111 (in review): its work is done; "));
    EXPECT_THAT(refused.error, HasSubstr("quernlight-dispatch queue retry 11111111 --again\n"));
    EXPECT_EQ(status("11111111"), "completed");
}

TEST_F(QueueCommandTest, WithoutATerminalFinishedWorkIsRetriedOnlyWithAYes) {
    ends("11111111", "completed");
    const auto refused = dispatch({"queue", "retry", "11111111", "--again", "--home", home()});
    EXPECT_THAT(refused.error, HasSubstr("there is no terminal to ask on; add --yes"));
    EXPECT_EQ(status("11111111"), "completed");
    EXPECT_EQ(dispatch({"queue", "retry", "11111111", "--again", "--yes", "--home", home()}).exitCode, 0);
    EXPECT_EQ(status("11111111"), "waitingForMapping");
}

TEST_F(QueueCommandTest, OnATerminalAPersonIsAskedBeforeFinishedWorkIsRetried) {
    ends("11111111", "completed");
    EXPECT_EQ(retryAgainAnswering("11111111", ""), 1);
    EXPECT_EQ(status("11111111"), "completed");
    EXPECT_EQ(retryAgainAnswering("11111111", "y"), 0);
    EXPECT_EQ(status("11111111"), "waitingForMapping");
}

TEST_F(QueueCommandTest, ShowTellsABugsHistory) {
    const auto shown = queue("show", "11111111-0000-4000-8000-000000000000");
    EXPECT_EQ(shown.exitCode, 0) << shown.error;
    EXPECT_THAT(shown.output, StartsWith("bug:          11111111  Crash on launch\napp:          Shop "));
    EXPECT_THAT(shown.output, HasSubstr("enqueued"));
    EXPECT_THAT(shown.output, HasSubstr("\nwaits:        no mapping for "));
}

}  // namespace
}  // namespace quernlight
