#include "host/agent/goal_records.hpp"

#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

constexpr auto goal = "Fix bug 3f2a9c1d.\n\nIts \"session\" is 0A00.";

class GoalRecordsTest : public testing::Test {
  protected:
    void keep(const std::string& file, const std::string& objective) {
        Connection database(directory / file);
        database.executeOneShot("CREATE TABLE IF NOT EXISTS thread_goals (objective TEXT)");
        if (!objective.empty()) {
            database.execute("INSERT INTO thread_goals VALUES (?)", {SQLValue::text(objective)});
        }
    }
    GoalRecord found() const { return findGoalRecord({{"CODEX_HOME", directory.path().string()}}, goal); }

    test::TemporaryDirectory directory;
};

TEST_F(GoalRecordsTest, WithoutADatabaseOfGoalsNothingIsKnown) {
    EXPECT_EQ(found(), GoalRecord::unknown);
    test::writeFile(directory / "goals_1.sqlite", "no database");
    Connection(directory / "state_5.sqlite").executeOneShot("CREATE TABLE threads (id TEXT)");
    EXPECT_EQ(found(), GoalRecord::unknown);
}

TEST_F(GoalRecordsTest, AGoalIsThereWholeInPartOrNotAtAll) {
    keep("goals_1.sqlite", "");
    EXPECT_EQ(found(), GoalRecord::absent);
    keep("goals_1.sqlite", "Fix bug 77777777.");
    EXPECT_EQ(found(), GoalRecord::absent);
    keep("goals_1.sqlite", "Fix bug 3f2a9c1d.");
    EXPECT_EQ(found(), GoalRecord::part);
    keep("goals_1.sqlite", goal);
    EXPECT_EQ(found(), GoalRecord::whole);
}

TEST_F(GoalRecordsTest, OlderAgentsKeepGoalsWithTheirState) {
    keep("state_4.sqlite", goal);
    EXPECT_EQ(found(), GoalRecord::whole);
}

TEST_F(GoalRecordsTest, ADatabaseOfGoalsCountsAboveThatOfTheState) {
    keep("state_5.sqlite", goal);
    keep("goals_1.sqlite", "");
    EXPECT_EQ(found(), GoalRecord::absent);
}

}  // namespace
}  // namespace quernlight::host
