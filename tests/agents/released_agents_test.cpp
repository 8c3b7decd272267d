#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>

#include <boost/json.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agents/released_agents_fixture.hpp"

namespace quernlight {
namespace json = boost::json;
namespace {

using test::AgentRecords;
using test::ModelLog;
using test::ReleaseReport;
using test::StoredAttempt;
using testing::AllOf;
using testing::AnyOf;
using testing::AnyOfArray;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::Matcher;
using testing::SizeIs;

constexpr std::size_t mostInterrupted = 10;

std::size_t numberOfBugs() {
    const char* text = std::getenv("BUGS");
    return text ? std::stoul(text) : 30;
}

/// Others may go first.
std::chrono::minutes longestWayToTheMiddle(std::size_t bugs) {
    return std::chrono::minutes(5 + bugs / 10);
}

std::chrono::minutes longestRun(std::size_t bugs) {
    return std::chrono::minutes(10 + bugs / 2);
}

ReleaseReport& begun(const std::string& release, std::size_t bugs, std::size_t interrupted) {
    std::vector<ReleaseReport>& reports = test::reports();
    reports.push_back(
        {.release = release, .bugs = static_cast<int>(bugs), .interrupted = static_cast<int>(interrupted)});
    return reports.back();
}

/// The usual road with two waits in its middle, one for each time that it is interrupted. What follows comes
/// at once, before a new goal can be typed, or late, while one is being worked on.
json::array waitingSteps(bool late) {
    json::array steps = json::parse(R"([
      {"do": "tool", "tool": "update_bug_status", "arguments": {"bug_id": "{bug_id}", "status": "investigate"}},
      {"do": "shell", "command": "echo begun >> FIXED"},
      {"do": "wait", "seconds": 3600, "times": 2},
      {"do": "shell", "command": "git add FIXED && git commit --quiet --message 'Fix {bug_id}'"},
      {"do": "tool", "tool": "create_comment", "arguments": {
        "bug_id": "{bug_id}", "body": "It works again.", "status": "in_review",
        "metadata": {"queue_item_id": "{queue_item_id}", "session_id": "{session_id}", "status": "in_review"}}},
      {"do": "complete"},
      {"do": "say", "text": "Bug {bug_id} is in review."}])")
                            .as_array();
    if (late) {
        // Longer than a dispatcher waits for an agent that works to rest; also behind the two that are cut
        // off.
        steps.insert(steps.begin() + 3, json::object{{"do", "wait"}, {"seconds", 75}, {"times", 3}});
    }
    return steps;
}

/// A third of the bugs, at most ten, wait in the middle until they have been interrupted twice.
class ReleasedAgentsTest : public test::ReleasedAgentsFixture {
  protected:
    ReleasedAgentsTest() : ReleasedAgentsFixture(numberOfBugs()) {
        json::object ofBugs;
        for (const std::string& bugID : interrupted) {
            ofBugs[bugID] = waitingSteps(isLate(bugID));
        }
        modelPlays({{"bugs", ofBugs}});
    }

    /// `run` until each of these bugs waits in the middle for the time of that number, ended by the signal.
    void runAndInterrupt(const std::vector<std::string>& waiting, int time, int signal) {
        const Run program = startRun();
        const bool allWait = waitUntil(*program, longestWayToTheMiddle(bugs.size()), [&] {
            const ModelLog log = modelLog();
            return std::all_of(waiting.begin(), waiting.end(),
                               [&](const std::string& bugID) { return log.timesWaited(bugID) >= time; });
        });
        ASSERT_TRUE(allWait) << "the agents did not get into the middle\n"
                             << program->output() << program->errorText();
        program->signal(signal);
        program->exitCode();
        std::cout << release() << ": interrupted " << waiting.size() << " in the middle by "
                  << (signal == SIGINT ? "Ctrl-C" : "kill -9") << std::endl;
    }

    /// `run --once` to its end.
    void runToTheEnd() {
        const Run program = startRun({"--once"});
        const bool ends = waitUntil(*program, longestRun(bugs.size()), [&] { return program->hasEnded(); });
        EXPECT_TRUE(ends) << "the run does not end";
        EXPECT_EQ(program->exitCode(), 0) << program->output() << program->errorText();
    }

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

    /// A goal reaches the model as it was to be typed, or not at all: one that was interrupted before.
    void checkGoal(const StoredAttempt& attempt, const ModelLog& log) {
        const auto goals = log.goalsOf(attempt.sessionID);
        EXPECT_LE(attempt.accepted, 1U) << story(attempt.bugID);
        EXPECT_LE(attempt.handedOver, 2U) << story(attempt.bugID);  // Enter may be pressed once more
        EXPECT_LE(attempt.accepted, attempt.handedOver) << story(attempt.bugID);
        for (const auto& goal : goals) {
            EXPECT_EQ(goal.text, attempt.goal) << story(attempt.bugID);
            ++report.goals;
            report.wholeGoals += goal.text == attempt.goal ? 1 : 0;
            report.acceptance.push_back(std::chrono::duration<double>(goal.at - attempt.startedAt).count());
        }
    }

    /// The agent's own records tell how often it took the goal: once, also where its conversation goes on
    /// with another session's; where its owner did not see it take the goal, and so was ended before, at most
    /// once.
    void checkTaken(const StoredAttempt& attempt, const AgentRecords& records) {
        const auto once = attempt.accepted == 1 ? Matcher<std::size_t>(Eq(1U)) : Matcher<std::size_t>(Le(1U));
        EXPECT_THAT(records.timesSubmitted(attempt.goal), once) << story(attempt.bugID);
        EXPECT_THAT(records.timesGiven(attempt.goal), once) << story(attempt.bugID);
        report.takenOnce += attempt.accepted == 1 && records.timesSubmitted(attempt.goal) == 1 &&
                                    records.timesGiven(attempt.goal) == 1
                                ? 1
                                : 0;
        report.accepted += static_cast<int>(attempt.accepted);
    }

    /// Nothing else stands there, nor a part of a goal, whether the model was asked with it or not.
    void checkRecords(const std::vector<StoredAttempt>& attempts, const AgentRecords& records) {
        std::vector<std::string> typed;
        for (const StoredAttempt& attempt : attempts) {
            checkTaken(attempt, records);
            typed.push_back(attempt.goal);
        }
        EXPECT_THAT(records.lastGoals(), AllOf(SizeIs(bugs.size()), Each(AnyOfArray(typed))));
        EXPECT_THAT(records.givenGoals(), Each(AnyOfArray(typed)));
        typed.emplace_back("/exit");
        EXPECT_THAT(records.submittedTexts(), Each(AnyOfArray(typed)));
    }

    /// Nobody but the owner has the token, so that a comment which is there came through the tool server.
    void checkBug(const std::string& bugID, const ModelLog& log) {
        EXPECT_EQ(status(bugID), "completed") << story(bugID);
        EXPECT_THAT(history(bugID), HasSubstr("goalAccepted"));
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

    /// Where the agent, which goes on with its old goal at once, was still at work, it took that of its last
    /// session, too.
    void checkResumed(const std::string& bugID, const std::vector<StoredAttempt>& attempts,
                      const ModelLog& log) {
        std::vector<StoredAttempt> own;
        std::copy_if(attempts.begin(), attempts.end(), std::back_inserter(own),
                     [&](const StoredAttempt& attempt) { return attempt.bugID == bugID; });
        ASSERT_THAT(own, SizeIs(Ge(3U))) << story(bugID);
        EXPECT_EQ(own.front().accepted, 1U) << story(bugID);
        EXPECT_EQ(own.back().accepted, isLate(bugID) ? 1U : 0U) << story(bugID);
        EXPECT_EQ(log.threadsOf(bugID).size(), 1U) << story(bugID);
        report.resumed += log.threadsOf(bugID).size() == 1 ? 1 : 0;
    }

    /// Every other one of those that are interrupted.
    bool isLate(const std::string& bugID) const {
        return (std::find(interrupted.begin(), interrupted.end(), bugID) - interrupted.begin()) % 2 == 1;
    }

    const std::vector<std::string> interrupted{
        bugs.begin(), bugs.begin() + static_cast<long>(std::min(bugs.size() / 3, mostInterrupted))};
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
    checkRecords(stored, agentRecords());
    for (const std::string& bugID : bugs) {
        checkBug(bugID, log);
    }
    for (const std::string& bugID : interrupted) {
        checkResumed(bugID, stored, log);
    }
    EXPECT_THAT(log.strayTexts(), IsEmpty());
    EXPECT_THAT(leaks, IsEmpty());
    EXPECT_THAT(filesHolding(token, everything()), ElementsAre(tokenFile()));
    expectNoProcessLeft();
}

INSTANTIATE_TEST_SUITE_P(Agents, ReleasedAgentsTest, testing::ValuesIn(test::releases()),
                         test::nameOfRelease);

}  // namespace
}  // namespace quernlight
