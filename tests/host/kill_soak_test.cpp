#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include <boost/json/parse.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/git_marks.hpp"
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

using Random = std::mt19937;
using std::chrono::milliseconds;

constexpr int manyFiles = 6000;

/// What is done to the dispatcher in one round, besides ending it.
enum class Way { kill, killGit, terminate, halt };

/// Six bugs at a time, in a repository of many files, whose owner is killed at random moments and started
/// again until all are finished; then six more.
class KillSoakTest : public test::DispatchFixture {
  protected:
    KillSoakTest() {
        for (int number = 0; number < manyFiles; ++number) {
            test::writeFile(repository.directory() / ("files/" + std::to_string(number)),
                            "Number " + std::to_string(number) + ".\n");
        }
        repository.git({"add", "--all"});
        repository.git({"commit", "--quiet", "-m", "Add many files"});
        repository.git({"push", "--quiet", "origin", "main"});
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

    /// Runs for a while and is ended in this way. Any moment may be the moment, so this is the one place that
    /// sleeps.
    void runAndEnd(Way way, Random& random) {
        const auto time = [&] { return milliseconds(std::uniform_int_distribution(20, 4500)(random)); };
        const auto program = start(runWith({"--max-sessions", "3"}));
        std::this_thread::sleep_for(time());
        if (way == Way::killGit) {
            killACheckout();
            std::this_thread::sleep_for(time());
        } else if (way == Way::halt) {
            program->signal(SIGSTOP);
            std::this_thread::sleep_for(time());
            program->signal(SIGCONT);
            std::this_thread::sleep_for(time());
        }
        program->signal(way == Way::terminate ? SIGTERM : SIGKILL);
        const int status = program->exitCode();
        if (way == Way::terminate) {  // which may come before the program listens
            EXPECT_THAT(status, AnyOf(0, 128 + SIGTERM)) << program->errorText();
        }
    }

    /// One that writes a worktree's files, or the git that waits for it; none when there is none.
    void killACheckout() {
        const std::string mark = host::gitMarkOf(home()).assignment();
        for (const pid_t pid : test::processesWithEnvironment(mark)) {
            const std::string file = "/proc/" + std::to_string(pid) + "/cmdline";
            std::ostringstream command;
            command << std::ifstream(file, std::ios::binary).rdbuf();
            const std::string words = command.str();
            if (words.find("--hard") != std::string::npos || words.find("add") != std::string::npos) {
                kill(pid, SIGKILL);
                ++gitsKilled;
                return;
            }
        }
    }

    /// Every file is on the bug's branch, and in its worktree, which then makes room for others.
    void checkFinished(const std::string& bugID) {
        EXPECT_EQ(status(bugID), "completed") << bugID << ": " << item(bugID, "error_message");
        const std::string branch = "Shop-" + bugID;
        const auto worktree = repository.scratch("shop-worktrees") / branch;
        EXPECT_EQ(repository.git({"diff", "--diff-filter=D", "--name-only", "main", branch}), "");
        EXPECT_EQ(repository.git(worktree, {"status", "--porcelain"}), "");
        EXPECT_EQ(repository.git(repository.bare(), {"rev-parse", branch}),
                  repository.git(worktree, {"rev-parse", "HEAD"}));
        repository.git({"worktree", "remove", worktree});
    }

    void checkFinishedBugs() {
        for (; checked < bugs.size(); ++checked) {
            checkFinished(bugs[checked]);
        }
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
    std::size_t checked = 0;  // of them
    int gitsKilled = 0;
};

TEST_F(KillSoakTest, NoBugIsLostNoneIsFinishedTwiceAndNoGoalIsTypedTwiceForOneAttempt) {
    const unsigned seed = numberFrom("SOAK_SEED", std::random_device{}());
    const unsigned rounds = numberFrom("SOAK_ROUNDS", 40);
    const int ways = numberFrom("SOAK_EVERY_WAY", 0) == 1 ? 4 : 1;
    std::cout << "seed " << seed << ", " << rounds << " rounds (SOAK_SEED, SOAK_ROUNDS, SOAK_EVERY_WAY)"
              << std::endl;
    Random random(seed);
    for (unsigned round = 0; round < rounds;) {
        runAndEnd(static_cast<Way>(std::uniform_int_distribution(0, ways - 1)(random)), random);
        if (someAreUnfinished()) {
            ++round;  // the others hit a dispatcher that had nothing to do
        } else {
            checkFinishedBugs();
            reportSixBugs();
        }
    }
    const auto last = runOnce({"--max-sessions", "3"});
    EXPECT_EQ(last.exitCode, 0) << last.output << last.error;
    checkFinishedBugs();
    std::cout << bugs.size() << " bugs, " << gitsKilled << " gits killed" << std::endl;
    EXPECT_TRUE(gitsKilled > 0 || ways == 1);

    EXPECT_EQ(cell("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(cell("SELECT COUNT(*) FROM queue_items"), std::to_string(bugs.size()));
    EXPECT_EQ(cell("SELECT COUNT(*) FROM (SELECT 1 FROM queue_events WHERE kind = 'typing'"
                   " GROUP BY session_id HAVING COUNT(*) > 1)"),
              "0");
    EXPECT_THAT(goalsTakenUpAgain(), IsEmpty());
    EXPECT_GE(goalsTakenUp().size(), bugs.size());  // every bug's report was some session's work
    EXPECT_EQ(cell("SELECT COUNT(*) FROM session_attempts WHERE state NOT IN ('completed', 'failed')"), "0");
    for (const std::string& bugID : bugs) {
        EXPECT_THAT(history(bugID), AnyOf(EndsWith(" completed"), EndsWith(" recovered"))) << bugID;
        EXPECT_THAT(history(bugID), Not(ContainsRegex(" completed .*completed"))) << bugID;
        EXPECT_EQ(reportsOf(bugID), 1) << bugID;
    }
    EXPECT_THAT(test::processesWithEnvironment(host::gitMarkOf(home()).assignment()), IsEmpty());
    EXPECT_THAT(test::processesWithEnvironment("CODEX_HOME=" + environment.at("CODEX_HOME")), IsEmpty());
}

}  // namespace
}  // namespace quernlight
