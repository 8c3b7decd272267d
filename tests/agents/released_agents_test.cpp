#include <csignal>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agents/released_agents_fixture.hpp"

namespace quernlight {
namespace {

using test::ModelLog;
using test::ReleaseReport;
using test::StoredAttempt;
using testing::AnyOf;
using testing::AnyOfArray;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> releases() {
    const char* text = std::getenv("RELEASES");
    std::istringstream words(text ? text : "0.169.0 0.145.0");
    std::vector<std::string> all;
    for (std::string word; words >> word;) {
        all.push_back(word);
    }
    return all;
}

/// Of the releases tried so far, for the table at the end.
std::vector<ReleaseReport>& reports() {
    static std::vector<ReleaseReport> all;
    return all;
}

ReleaseReport& begun(const std::string& release, std::size_t bugs, std::size_t interrupted) {
    reports().push_back(
        {.release = release, .bugs = static_cast<int>(bugs), .interrupted = static_cast<int>(interrupted)});
    return reports().back();
}

class ReleasedAgentsTest : public test::ReleasedAgentsFixture {
  protected:
    /// Interrupts the bugs that wait, as many at a time as work at once: first a person does, then a crash.
    void interruptSome() {
        for (std::size_t first = 0; first < interrupted.size(); first += 3) {
            const std::vector<std::string> waiting(
                interrupted.begin() + static_cast<long>(first),
                interrupted.begin() + static_cast<long>(std::min(first + 3, interrupted.size())));
            ASSERT_NO_FATAL_FAILURE(runAndInterrupt(waiting, 1, SIGINT));
            ASSERT_NO_FATAL_FAILURE(runAndInterrupt(waiting, 2, SIGKILL));
        }
    }

    /// A goal reaches the model as it was to be typed, and once, or not at all: one that was interrupted
    /// before.
    void checkGoal(const StoredAttempt& attempt, const ModelLog& log) {
        const auto goals = log.goalsOf(attempt.sessionID);
        EXPECT_LE(goals.size(), 1U) << story(attempt.bugID);
        for (const auto& goal : goals) {
            EXPECT_EQ(goal.text, attempt.goal) << story(attempt.bugID);
            ++report.goals;
            report.wholeGoals += goal.text == attempt.goal ? 1 : 0;
            report.acceptance.push_back(std::chrono::duration<double>(goal.at - attempt.startedAt).count());
        }
    }

    /// What stands in the agent's own records is whole, whether the model was asked with it or not.
    void checkRecords(const std::vector<StoredAttempt>& attempts) {
        std::vector<std::string> typed;
        for (const StoredAttempt& attempt : attempts) {
            typed.push_back(attempt.goal);
        }
        EXPECT_THAT(recordedGoals(), Each(AnyOfArray(typed)));
    }

    /// Nobody but the owner has the token, so that a comment which is there came through the tool server.
    void checkBug(const std::string& bugID, const ModelLog& log) {
        EXPECT_EQ(status(bugID), "completed") << story(bugID);
        EXPECT_EQ(reportedSessions(bugID).size(), 1U) << story(bugID);
        EXPECT_TRUE(log.hasGoal(bugID)) << story(bugID);
        EXPECT_TRUE(log.hasCalled(bugID, "create_comment")) << story(bugID);
        EXPECT_EQ(subjectOfBranch(bugID), "Fix " + bugID) << story(bugID);
        report.reported += status(bugID) == "completed" ? 1 : 0;
    }

    /// By its own will, unless its owner was killed, who then does not know; never by a signal.
    void checkEnding(const StoredAttempt& attempt) {
        EXPECT_THAT(attempt.exitCode, AnyOf("0", "")) << story(attempt.bugID);
    }

    void checkResumed(const std::string& bugID, const std::vector<StoredAttempt>& attempts,
                      const ModelLog& log) {
        const auto sessions =
            std::count_if(attempts.begin(), attempts.end(),
                          [&](const StoredAttempt& attempt) { return attempt.bugID == bugID; });
        EXPECT_GE(sessions, 3) << story(bugID);
        EXPECT_EQ(log.threadsOf(bugID).size(), 1U) << story(bugID);
        report.resumed += sessions >= 3 && log.threadsOf(bugID).size() == 1 ? 1 : 0;
    }

    ReleaseReport& report = begun(release(), bugs.size(), interrupted.size());
};

TEST_P(ReleasedAgentsTest, EveryBugGoesDownTheWholeRoadHoweverOftenItIsInterrupted) {
    ASSERT_NO_FATAL_FAILURE(mapAndConfigure());
    ASSERT_NO_FATAL_FAILURE(interruptSome());
    runToTheEnd();
    const ModelLog log = modelLog();
    const auto stored = attempts();
    for (const StoredAttempt& attempt : stored) {
        checkGoal(attempt, log);
        checkEnding(attempt);
    }
    checkRecords(stored);
    for (const std::string& bugID : bugs) {
        checkBug(bugID, log);
    }
    for (const std::string& bugID : interrupted) {
        checkResumed(bugID, stored, log);
    }
    EXPECT_THAT(log.strayTexts(), IsEmpty());
    EXPECT_THAT(leaks, IsEmpty());
    EXPECT_THAT(filesHolding(token, everything()), ElementsAre(tokenFile()));
    EXPECT_THAT(test::processesWithEnvironment("CODEX_HOME=" + environment.at("CODEX_HOME")), IsEmpty());
    EXPECT_THAT(test::processesWorkingIn(everything()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Agents, ReleasedAgentsTest, testing::ValuesIn(releases()), [](const auto& row) {
    std::string name = row.param;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
});

}  // namespace
}  // namespace quernlight

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    std::cout << '\n' << quernlight::test::table(quernlight::reports()) << std::flush;
    return result;
}
