#include <csignal>
#include <cstdlib>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::AnyOf;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;

unsigned numberFrom(const char* variable, unsigned otherwise) {
    const char* text = std::getenv(variable);
    return text ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

/// Six bugs at a time, whose owner is killed at random moments and started again until all are finished; then
/// six more.
class KillSoakTest : public test::DispatchFixture {
  protected:
    KillSoakTest() {
        mapApp();
        startBackend();
        dispatch({"config", "set", "intake.per_day", "100000", "--home", home()});
        reportSixBugs();
    }

    void reportSixBugs() {
        for (int number = 0; number < 6; ++number) {
            bugs.push_back(reportClearBugNow());
        }
    }

    bool someAreUnfinished() {
        const std::string finished = cell(
            "SELECT COUNT(*) FROM queue_items WHERE status IN ('completed', 'failed', 'awaitingUserInput')");
        return finished != std::to_string(bugs.size());
    }

    /// Runs for a while and is killed. Any moment may be the moment, so this is the one place that sleeps.
    void runAndKill(std::chrono::milliseconds time) {
        const auto program = start(runWith({"--max-sessions", "3"}));
        std::this_thread::sleep_for(time);
        program->signal(SIGKILL);
        program->exitCode();
    }

    std::string cell(const std::string& sql) {
        Connection database(queueFile(), Connection::Access::readOnly);
        const Row row = database.query(sql, {}).at(0);
        const SQLValue& value = row.begin()->second;
        return value.asText() ? *value.asText() : std::to_string(value.asInteger().value_or(-1));
    }

    int reportsOf(const std::string& bugID) {
        int reports = 0;
        const auto state = boost::json::parse(test::readFile(repository.scratch("state.json")));
        for (const auto& comment : state.at("comments").as_array()) {
            reports += std::string_view(comment.at("bug_id").as_string()).starts_with(bugID) ? 1 : 0;
        }
        return reports;
    }

    /// What the agents themselves logged, a line for each goal that one of them took up: the session, which
    /// is one attempt's, and the item.
    std::vector<std::string> goalsTakenUp() {
        std::istringstream log(test::readFile(repository.scratch("codex-home/goals.log")));
        std::vector<std::string> goals;
        for (std::string line; std::getline(log, line);) {
            goals.push_back(line);
        }
        return goals;
    }

    /// Those whose session had taken up a goal before.
    std::vector<std::string> goalsTakenUpAgain() {
        std::set<std::string> sessions;
        std::vector<std::string> again;
        for (const std::string& goal : goalsTakenUp()) {
            if (!sessions.insert(goal.substr(0, goal.find(' '))).second) {
                again.push_back(goal);
            }
        }
        return again;
    }

    std::vector<std::string> bugs;
};

TEST_F(KillSoakTest, NoBugIsLostNoneIsFinishedTwiceAndNoGoalIsTypedTwiceForOneAttempt) {
    const unsigned seed = numberFrom("SOAK_SEED", std::random_device{}());
    const unsigned kills = numberFrom("SOAK_KILLS", 40);
    std::cout << "seed " << seed << ", " << kills << " kills (SOAK_SEED, SOAK_KILLS)" << std::endl;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> milliseconds(20, 4500);
    for (unsigned kill = 0; kill < kills;) {
        runAndKill(std::chrono::milliseconds(milliseconds(random)));
        if (someAreUnfinished()) {
            ++kill;  // the others hit a dispatcher that had nothing to do
        } else {
            reportSixBugs();
        }
    }
    const auto last = runOnce({"--max-sessions", "3"});
    EXPECT_EQ(last.exitCode, 0) << last.output << last.error;

    EXPECT_EQ(cell("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(cell("SELECT COUNT(*) FROM queue_items"), std::to_string(bugs.size()));
    EXPECT_EQ(cell("SELECT COUNT(*) FROM (SELECT 1 FROM queue_events WHERE kind = 'typing'"
                   " GROUP BY session_id HAVING COUNT(*) > 1)"),
              "0");
    EXPECT_THAT(goalsTakenUpAgain(), IsEmpty());
    EXPECT_GE(goalsTakenUp().size(), bugs.size());  // every bug's report was some session's work
    EXPECT_EQ(cell("SELECT COUNT(*) FROM session_attempts WHERE state NOT IN ('completed', 'failed')"), "0");
    for (const std::string& bugID : bugs) {
        EXPECT_EQ(status(bugID), "completed") << bugID;
        EXPECT_THAT(history(bugID), AnyOf(EndsWith(" completed"), EndsWith(" recovered"))) << bugID;
        EXPECT_THAT(history(bugID), Not(ContainsRegex(" completed .*completed"))) << bugID;
        EXPECT_EQ(reportsOf(bugID), 1) << bugID;
        const auto worktree = repository.scratch("shop-worktrees/Shop-" + bugID);
        EXPECT_EQ(repository.git(repository.bare(), {"rev-parse", "Shop-" + bugID}),
                  repository.git(worktree, {"rev-parse", "HEAD"}));
    }
    EXPECT_THAT(test::processesWithEnvironment("CODEX_HOME=" + environment.at("CODEX_HOME")), IsEmpty());
}

}  // namespace
}  // namespace quernlight
