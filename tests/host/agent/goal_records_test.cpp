#include "host/agent/goal_records.hpp"

#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

constexpr auto goal = "Fix bug 3f2a9c1d.\n\nIts \"session\" is 0A00.";
constexpr auto piece = "Fix bug 3f2a9c1d.";

class GoalRecordsTest : public testing::Test {
  protected:
    void keep(const std::string& file, const std::string& objective, const std::string& status = "active") {
        Connection database(directory / file);
        database.executeOneShot("CREATE TABLE IF NOT EXISTS thread_goals (objective TEXT, status TEXT)");
        if (!objective.empty()) {
            database.execute("INSERT INTO thread_goals VALUES (?, ?)",
                             {SQLValue::text(objective), SQLValue::text(status)});
        }
    }
    void execute(const std::string& file, const std::string& sql) {
        Connection(directory / file).executeOneShot(sql);
    }
    GoalRecord found() const { return findGoalRecord({{"CODEX_HOME", directory.path().string()}}, goal); }

    test::TemporaryDirectory directory;
};

TEST_F(GoalRecordsTest, WithoutADatabaseOfGoalsNothingIsKnown) {
    EXPECT_EQ(found(), GoalRecord{});
    execute("state_5.sqlite", "CREATE TABLE threads (id TEXT)");
    EXPECT_EQ(found(), GoalRecord{});
    EXPECT_EQ(findGoalRecord({{"CODEX_HOME", directory / "missing"}}, goal), GoalRecord{});
}

TEST_F(GoalRecordsTest, AGoalIsThereWholeInPartOrNotAtAll) {
    keep("goals_1.sqlite", "");
    EXPECT_EQ(found().match, GoalMatch::absent);
    keep("goals_1.sqlite", "Fix bug 77777777.");
    EXPECT_EQ(found().match, GoalMatch::absent);
    keep("goals_1.sqlite", piece);
    EXPECT_EQ(found().match, GoalMatch::part);
    keep("goals_1.sqlite", goal);
    EXPECT_EQ(found().match, GoalMatch::whole);
}

TEST_F(GoalRecordsTest, WhiteSpaceThatAReleaseWritesOtherwiseMakesNoOtherGoal) {
    std::string spread = goal;
    for (std::size_t at = spread.find(' '); at != spread.npos; at = spread.find(' ', at + 2)) {
        spread.replace(at, 1, "\r\n");
    }
    ASSERT_NE(spread, goal);
    keep("goals_1.sqlite", spread);
    EXPECT_EQ(found().match, GoalMatch::whole);
}

TEST_F(GoalRecordsTest, TheBestAnswerOfAllDatabasesCounts) {
    keep("state_4.sqlite", goal);
    EXPECT_EQ(found().match, GoalMatch::whole);
    keep("state_5.sqlite", "");
    keep("goals_1.sqlite", piece);
    EXPECT_EQ(found().match, GoalMatch::whole);
    keep("goals_2.sqlite", "");
    EXPECT_EQ(found(), (GoalRecord{.match = GoalMatch::whole, .status = GoalStatus::active}));
}

TEST_F(GoalRecordsTest, APartCountsAboveNoneWhicheverDatabaseIsNewer) {
    keep("goals_1.sqlite", piece);
    keep("goals_2.sqlite", "");
    EXPECT_EQ(found().match, GoalMatch::part);
}

TEST_F(GoalRecordsTest, ADatabaseThatCannotBeReadIsNotOneWithoutGoals) {
    keep("goals_1.sqlite", "");
    test::writeFile(directory / "goals_2.sqlite", "this is no database, however long one looks at it");
    EXPECT_EQ(found(), (GoalRecord{.match = GoalMatch::absent, .allRead = false}));
    keep("goals_1.sqlite", goal);
    EXPECT_EQ(found().match, GoalMatch::whole);
}

TEST_F(GoalRecordsTest, ABusyDatabaseIsAskedAgain) {
    keep("goals_1.sqlite", goal);
    Connection writer(directory / "goals_1.sqlite");
    writer.executeOneShot("BEGIN EXCLUSIVE");
    EXPECT_EQ(found(), GoalRecord{.allRead = false});
    writer.executeOneShot("COMMIT");
    EXPECT_EQ(found().match, GoalMatch::whole);
}

TEST_F(GoalRecordsTest, TheStatusOfAWholeGoalIsKnown) {
    keep("goals_1.sqlite", piece, "paused");
    EXPECT_EQ(found().status, std::nullopt);
    keep("goals_1.sqlite", goal, "usage_limited");
    EXPECT_EQ(found().status, GoalStatus::usageLimited);
}

TEST_F(GoalRecordsTest, ARecordWithoutAStatusIsOneAllTheSame) {
    execute("goals_1.sqlite", "CREATE TABLE thread_goals (objective TEXT)");
    Connection(directory / "goals_1.sqlite")
        .execute("INSERT INTO thread_goals VALUES (?)", {SQLValue::text(goal)});
    EXPECT_EQ(found(), GoalRecord{.match = GoalMatch::whole});
}

/// A status as an agent records it.
struct Recorded {
    std::string text;
    std::optional<GoalStatus> status;
};

class GoalStatusTest : public testing::TestWithParam<Recorded> {};

TEST_P(GoalStatusTest, IsReadAsTheAgentWritesIt) {
    EXPECT_EQ(parseGoalStatus(GetParam().text), GetParam().status);
}

INSTANTIATE_TEST_SUITE_P(Rows, GoalStatusTest,
                         testing::Values(Recorded{"active", GoalStatus::active},
                                         Recorded{"paused", GoalStatus::paused},
                                         Recorded{"blocked", GoalStatus::blocked},
                                         Recorded{"usage_limited", GoalStatus::usageLimited},
                                         Recorded{"budget_limited", GoalStatus::budgetLimited},
                                         Recorded{"complete", GoalStatus::complete},
                                         Recorded{"Blocked", std::nullopt}, Recorded{"", std::nullopt}));

}  // namespace
}  // namespace quernlight::host
