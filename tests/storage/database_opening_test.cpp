#include <sqlite3.h>

#include "tests/storage/database_fixture.hpp"
#include "tests/storage/statement_recorder.hpp"
#include "tests/storage/statement_refusal.hpp"
#include "tests/support/process_state.hpp"

namespace quernlight {
namespace {

using Kind = DatabaseError::Kind;
using test::databaseErrorOf;
using test::runTask;
using testing::ElementsAre;

constexpr const char* foreignKeys = "PRAGMA foreign_keys = ON";
constexpr const char* journal = "PRAGMA journal_mode = WAL";
constexpr const char* synchronous = "PRAGMA synchronous = NORMAL";

/// Lets SQLite allocate nothing more.
class NoMemory {
  public:
    NoMemory() { sqlite3_hard_heap_limit64(1); }
    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
    ~NoMemory() {
        sqlite3_hard_heap_limit64(0);
        sqlite3_soft_heap_limit64(0);
    }
};

class DatabaseOpeningTest : public testing::Test {
  protected:
    std::optional<DatabaseError> openingError() {
        return databaseErrorOf([&] { Database{path}; });
    }

    test::StatementRecorder recorder;
    const test::TemporaryDirectory directory;
    const std::filesystem::path path = directory / "queue.sqlite";
};

TEST_F(DatabaseOpeningTest, CreatesAFileThatIsMissing) {
    { Database{path}; }
    EXPECT_TRUE(std::filesystem::is_regular_file(path));
}

TEST_F(DatabaseOpeningTest, TakesEveryRelativePathForTheNameOfAFile) {
    const test::ScopedWorkingDirectory inside(directory.path());
    for (const char* name : {"queue.sqlite", "file:notes.sqlite", ":memory:"}) {
        { Database{name}; }
        EXPECT_TRUE(std::filesystem::is_regular_file(directory / name)) << name;
    }
    EXPECT_EQ(databaseErrorOf([] { Database{""}; })->kind(), Kind::openFailed);
}

TEST_F(DatabaseOpeningTest, KeepsWhatAFileHolds) {
    Connection(path).execute("CREATE TABLE notes (body)");
    Database database(path);
    EXPECT_TRUE(runTask(database.query("SELECT * FROM notes")).empty());
}

TEST_F(DatabaseOpeningTest, InADirectoryThatDoesNotExistThrowsTheMessageOfSQLite) {
    const auto error = databaseErrorOf([&] { Database(directory / "missing" / "queue.sqlite"); });
    EXPECT_EQ(error, DatabaseError(Kind::openFailed, "unable to open database file"));
}

TEST_F(DatabaseOpeningTest, WithoutAHandleToAskThrowsAFixedText) {
    ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
    const NoMemory noMemory;
    EXPECT_EQ(openingError(), DatabaseError(Kind::openFailed, "Unable to open SQLite database."));
}

TEST_F(DatabaseOpeningTest, AppliesItsSettingsInOrder) {
    { Database{path}; }
    EXPECT_THAT(recorder.take(), ElementsAre(foreignKeys, journal, synchronous));
}

TEST_F(DatabaseOpeningTest, OfAFileThatIsNoDatabaseStopsAtTheSettingThatIsRefused) {
    test::writeFile(path, std::string(4096, 'x'));
    EXPECT_EQ(openingError(), DatabaseError(Kind::stepFailed, "file is not a database"));
    EXPECT_THAT(recorder.take(), testing::Not(testing::Contains(synchronous)));
}

TEST_F(DatabaseOpeningTest, ASettingThatFailsWithoutAMessageTellsThatOfTheConnection) {
    Connection connection(path);
    const NoMemory noMemory;
    EXPECT_EQ(databaseErrorOf([&] { connection.executeOneShot("SELECT absent"); }),
              DatabaseError(Kind::stepFailed, "out of memory"));
}

/// A setting that SQLite refuses, and the settings before it.
struct RefusedSetting {
    std::string name{};
    std::vector<std::string> before{};
};

void PrintTo(const RefusedSetting& setting, std::ostream* out) {
    *out << setting.name;
}

class RefusedSettingTest : public testing::TestWithParam<RefusedSetting> {};

TEST_P(RefusedSettingTest, IsToldAndNoLaterOneIsApplied) {
    const test::TemporaryDirectory directory;
    test::StatementRecorder recorder;
    test::StatementRefusal refusal;
    refusal.refuse(SQLITE_PRAGMA, GetParam().name);
    const auto error = databaseErrorOf([&] { Database{directory / "queue.sqlite"}; });
    EXPECT_EQ(error, DatabaseError(Kind::stepFailed, "not authorized"));
    EXPECT_EQ(recorder.take(), GetParam().before);
}

INSTANTIATE_TEST_SUITE_P(Settings, RefusedSettingTest,
                         testing::Values(RefusedSetting{"foreign_keys"},
                                         RefusedSetting{"journal_mode", {foreignKeys}},
                                         RefusedSetting{"synchronous", {foreignKeys, journal}}),
                         [](const auto& setting) { return setting.param.name; });

}  // namespace
}  // namespace quernlight
