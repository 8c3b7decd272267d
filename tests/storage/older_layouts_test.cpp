#include <algorithm>
#include <map>

#include "quernlight/storage/migrations.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/storage/older_layout.hpp"

namespace quernlight {
namespace {

using test::OlderLayout;
using test::runTask;

constexpr const char* everyColumn =
    "SELECT m.name AS of_table, c.name, c.type, c.\"notnull\", c.dflt_value, c.pk FROM sqlite_master m "
    "JOIN pragma_table_info(m.name) c WHERE m.type = 'table' ORDER BY m.name, c.name";

constexpr const char* everyIndex =
    "SELECT m.name AS of_table, l.name, l.\"unique\", l.origin, l.partial, i.seqno, i.name AS column_name "
    "FROM sqlite_master m JOIN pragma_index_list(m.name) l JOIN pragma_index_info(l.name) i "
    "WHERE m.type = 'table' ORDER BY m.name, l.name, i.seqno";

constexpr const char* everyForeignKey =
    "SELECT m.name AS of_table, f.* FROM sqlite_master m JOIN pragma_foreign_key_list(m.name) f "
    "WHERE m.type = 'table' ORDER BY m.name";

class OlderLayoutTest : public test::DatabaseFixture, public testing::WithParamInterface<OlderLayout> {
  protected:
    using Tables = std::map<std::string, std::vector<Row>>;

    void SetUp() override {
        for (const std::string& statement : test::statementsOf(GetParam())) {
            execute(statement);
        }
    }

    void migrate() { runTask(Migrations(database).run()); }

    /// The same query on a file that never had another layout.
    std::vector<Row> rowsOfANewFile(const std::string& sql) {
        const auto fresh = std::make_shared<Database>(directory / "fresh.sqlite");
        runTask(Migrations(fresh).run());
        return runTask(fresh->query(sql));
    }

    Tables content() {
        Tables tables;
        for (const Row& table : rows("SELECT name FROM sqlite_master WHERE type = 'table'")) {
            const std::string& name = *table.at("name").asText();
            tables[name] = rows("SELECT * FROM " + name + " ORDER BY 1");
        }
        return tables;
    }

    /// What a column holds in the rows of a file that did not have it.
    static SQLValue gained(const std::string& column) {
        if (column == "queue_mode") {
            return SQLValue::text("auto");
        }
        return column == "goal_flow" ? SQLValue::text("fix_bug") : SQLValue::null();
    }

    /// What a text becomes: every whole bug id is shortened, but for that of an item whose short form the
    /// item before it has taken.
    static SQLValue shortened(const std::string& table, const std::string& column, const SQLValue& old) {
        const bool isTaken = table == "queue_items" && old == SQLValue::text(test::collidingBugID);
        if ((column != "bug_id" && column != "bug_url") || isTaken) {
            return old;
        }
        std::string text = *old.asText();
        const std::map<std::string, std::string> shortForms{{test::longBugID, "3f2a9c10"},
                                                            {test::otherLongBugID, "abcdef12"},
                                                            {test::collidingBugID, "3f2a9c10"}};
        for (const auto& [whole, shortForm] : shortForms) {
            if (const auto at = text.find(whole); at != std::string::npos) {
                text.replace(at, whole.size(), shortForm);
            }
        }
        return SQLValue::text(text);
    }

    static void expectKept(const std::string& table, const Row& before, const Row& after) {
        for (const auto& [column, value] : after) {
            const auto old = before.find(column);
            EXPECT_EQ(value, old == before.end() ? gained(column) : shortened(table, column, old->second))
                << table << "." << column;
        }
    }
};

TEST_P(OlderLayoutTest, EndsWithTheColumnsIndexesAndForeignKeysOfANewFile) {
    migrate();
    for (const char* query : {everyColumn, everyIndex, everyForeignKey}) {
        EXPECT_EQ(rows(query), rowsOfANewFile(query));
    }
    EXPECT_EQ(rows("PRAGMA user_version").at(0).at("user_version"), SQLValue::integer(7));
    EXPECT_EQ(rows("PRAGMA foreign_keys").at(0).at("foreign_keys"), SQLValue::integer(1));
}

TEST_P(OlderLayoutTest, KeepsEveryRowGainsTheDefaultsAndShortensBugIDs) {
    const Tables before = content();
    migrate();
    Tables after = content();
    for (const auto& [table, kept] : before) {
        ASSERT_EQ(after[table].size(), kept.size()) << table;
        for (std::size_t index = 0; index < kept.size(); ++index) {
            expectKept(table, kept[index], after[table][index]);
        }
    }
}

TEST_P(OlderLayoutTest, ASecondRunChangesNothing) {
    migrate();
    const Tables once = content();
    const auto layout = rows("SELECT * FROM sqlite_master");
    const auto changes = rows("SELECT total_changes()");
    migrate();
    EXPECT_EQ(content(), once);
    EXPECT_EQ(rows("SELECT * FROM sqlite_master"), layout);
    if (GetParam().secondBugID != test::collidingBugID) {  // whose URL is written again, as it stands
        EXPECT_EQ(rows("SELECT total_changes()"), changes);
    }
}

TEST_P(OlderLayoutTest, AnAttemptWithoutAnItemCanBeAddedAfterwards) {
    migrate();
    EXPECT_NO_THROW(
        execute("INSERT INTO session_attempts (id, queue_item_id, attempt_number, bug_id, repo_path, "
                "transcript_ansi_path, transcript_text_path, goal_text, completion_marker, state, "
                "started_at) VALUES ('R', NULL, 1, 'ab1', '/r', '/a', '/t', 'g', 'm', 'created', 's')"));
}

INSTANTIATE_TEST_SUITE_P(Layouts, OlderLayoutTest, testing::ValuesIn(test::allOlderLayouts()),
                         [](const auto& layout) { return layout.param.name; });

}  // namespace
}  // namespace quernlight
