#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/storage/older_layout.hpp"

namespace quernlight {
namespace {

using test::collidingBugID;
using test::longBugID;
using test::runTask;
using testing::ElementsAre;

/// Whole ids in a file that has today's tables otherwise.
class LongBugIDsTest : public test::DatabaseFixture {
  protected:
    void SetUp() override { migrate(); }

    void migrate() { runTask(Migrations(database).run()); }

    void addItem(const std::string& id, const std::string& bugID, const std::string& bugURL) {
        execute(
            "INSERT INTO queue_items (id, bug_id, app_id, app_name, bundle_id, title, bug_url, "
            "queue_position, status, created_at, added_at) VALUES (?, ?, 'A', 'App', 'b', 'T', ?, 0, "
            "'queued', 'c', 'a')",
            {SQLValue::text(id), SQLValue::text(bugID), SQLValue::text(bugURL)});
    }

    void addItem(const std::string& id, const std::string& bugID) {
        addItem(id, bugID, "https://bugs.example/" + bugID);
    }

    void addAttempt(const std::string& id, const std::string& bugID) {
        execute(
            "INSERT INTO session_attempts (id, attempt_number, bug_id, repo_path, transcript_ansi_path, "
            "transcript_text_path, goal_text, completion_marker, state, started_at) "
            "VALUES (?, 1, ?, '/r', '/a', '/t', 'goal', 'marker', 'created', 's')",
            {SQLValue::text(id), SQLValue::text(bugID)});
    }

    /// One text column of a table, in the order in which its rows were added.
    std::vector<std::string> column(const std::string& table, const std::string& name) {
        std::vector<std::string> texts;
        for (const Row& row : rows("SELECT " + name + " AS value FROM " + table + " ORDER BY rowid")) {
            texts.push_back(*row.at("value").asText());
        }
        return texts;
    }

    std::vector<std::string> bugIDs() { return column("queue_items", "bug_id"); }
    std::vector<std::string> bugURLs() { return column("queue_items", "bug_url"); }
};

TEST_F(LongBugIDsTest, AreShortenedInTheItemItsURLAndItsAttempts) {
    addItem("I", longBugID);
    addAttempt("T", longBugID);
    migrate();
    EXPECT_THAT(bugIDs(), ElementsAre("3f2a9c10"));
    EXPECT_THAT(bugURLs(), ElementsAre("https://bugs.example/3f2a9c10"));
    EXPECT_THAT(column("session_attempts", "bug_id"), ElementsAre("3f2a9c10"));
}

TEST_F(LongBugIDsTest, AreFoundInAURLByTheirExactLetters) {
    addItem("I", longBugID, std::string("https://bugs.example/") + longBugID + "?again=" + longBugID);
    addItem("J", "ABCDEF12-AAAA-BBBB-CCCC-DDDDEEEEFFFF",
            "https://bugs.example/abcdef12-aaaa-bbbb-cccc-ddddeeeeffff");
    addItem("K", "00000000-AAAA-BBBB-CCCC-DDDDEEEEFFFF", "https://bugs.example/");
    migrate();
    EXPECT_THAT(bugURLs(), ElementsAre("https://bugs.example/3f2a9c10?again=3f2a9c10",
                                       "https://bugs.example/abcdef12-aaaa-bbbb-cccc-ddddeeeeffff",
                                       "https://bugs.example/"));
}

TEST_F(LongBugIDsTest, OfTwoWithOneShortFormTheSecondStaysLongButForItsURL) {
    addItem("I", longBugID);
    addItem("J", collidingBugID);
    migrate();
    EXPECT_THAT(bugIDs(), ElementsAre("3f2a9c10", collidingBugID));
    EXPECT_THAT(bugURLs(), ElementsAre("https://bugs.example/3f2a9c10", "https://bugs.example/3f2a9c10"));
}

TEST_F(LongBugIDsTest, WhoseShortFormIsTakenStayLong) {
    addItem("I", longBugID);
    addItem("J", "3f2a9c10");
    migrate();
    EXPECT_THAT(bugIDs(), ElementsAre(longBugID, "3f2a9c10"));
}

TEST_F(LongBugIDsTest, OfAttemptsAreShortenedEvenWhereTheItemKeepsItsOwn) {
    addItem("I", longBugID);
    addItem("J", collidingBugID);
    addAttempt("T", longBugID);
    addAttempt("U", collidingBugID);
    migrate();
    EXPECT_THAT(column("session_attempts", "bug_id"), ElementsAre("3f2a9c10", "3f2a9c10"));
}

TEST_F(LongBugIDsTest, ThatCollideAreLeftAsTheyAreByASecondRun) {
    addItem("I", longBugID);
    addItem("J", collidingBugID);
    migrate();
    const auto once = rows("SELECT * FROM queue_items");
    migrate();
    EXPECT_EQ(rows("SELECT * FROM queue_items"), once);
}

TEST_F(LongBugIDsTest, AreOnlyTextsOfThirtySixCharactersWithADashAsTheNinth) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF", "3f2a9c10"},
        {"abcdef12-aaaa-bbbb-cccc-ddddeeeeffff", "abcdef12"},
        {"NO-UUID!-BUT-AS-LONG-AND-WITH-A-DASH", "no-uuid!"},
        {"00000001xAAAA-BBBB-CCCC-DDDDEEEEFFFF", "00000001xAAAA-BBBB-CCCC-DDDDEEEEFFFF"},
        {"00000002-AAAA-BBBB-CCCC-DDDDEEEEFFF", "00000002-AAAA-BBBB-CCCC-DDDDEEEEFFF"},
        {"00000003-AAAA-BBBB-CCCC-DDDDEEEEFFFFF", "00000003-AAAA-BBBB-CCCC-DDDDEEEEFFFFF"},
        {"ABCDEF34", "ABCDEF34"},
        {"", ""},
    };
    std::vector<std::string> expected;
    std::vector<std::string> expectedURLs;
    for (const auto& [stored, shortened] : cases) {
        addItem("I" + stored, stored);
        addAttempt("T" + stored, stored);
        expected.push_back(shortened);
        expectedURLs.push_back("https://bugs.example/" + shortened);
    }
    migrate();
    EXPECT_EQ(bugIDs(), expected);
    EXPECT_EQ(bugURLs(), expectedURLs);
    EXPECT_EQ(column("session_attempts", "bug_id"), expected);
}

}  // namespace
}  // namespace quernlight
