#include <cstddef>
#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "tests/dispatch/codex_threads_fixture.hpp"
#include "tests/storage/database_fixture.hpp"
#include "tests/support/process_state.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;

/// Locks the file for itself while the next connection that is opened prepares its first statement. At most
/// one at a time.
class LockDuringPreparation {
  public:
    explicit LockDuringPreparation(const fs::path& path) : locker_(path) {
        current_ = this;
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&watch));
    }
    LockDuringPreparation(const LockDuringPreparation&) = delete;
    LockDuringPreparation& operator=(const LockDuringPreparation&) = delete;
    ~LockDuringPreparation() {
        sqlite3_cancel_auto_extension(reinterpret_cast<void (*)()>(&watch));
        current_ = nullptr;
    }

  private:
    static int watch(sqlite3* connection, char**, const void*) {
        return sqlite3_set_authorizer(connection, &preparing, current_);
    }

    /// Columns are read once the schema has been; by then the preparation needs the file no more.
    static int preparing(void* self, int action, const char*, const char*, const char*, const char*) {
        auto& lock = *static_cast<LockDuringPreparation*>(self);
        if (action == SQLITE_READ && !lock.isLocked_) {
            lock.isLocked_ = true;
            lock.locker_.execute("BEGIN EXCLUSIVE");
        }
        return SQLITE_OK;
    }

    inline static LockDuringPreparation* current_ = nullptr;

    Connection locker_;
    bool isLocked_ = false;
};

using CodexSessionResolverFailureTest = CodexThreadsFixture;

TEST_F(CodexSessionResolverFailureTest, AMissingDatabaseCannotBeOpenedAndIsNotCreated) {
    EXPECT_EQ(failure(),
              DatabaseError(DatabaseError::Kind::openFailed, "Unable to open Codex state database."));
    EXPECT_FALSE(fs::exists(path_));
}

TEST_F(CodexSessionResolverFailureTest, APipeOrADeviceInItsPlaceCannotBeOpenedAndKeepsNobodyWaiting) {
    const DatabaseError cannotOpen(DatabaseError::Kind::openFailed, "Unable to open Codex state database.");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(failure(), cannotOpen);
    fs::remove(path_);
    fs::create_symlink("/dev/zero", path_);
    EXPECT_EQ(failure(), cannotOpen);
}

TEST_F(CodexSessionResolverFailureTest, TablesThatTheAgentHasChangedCannotBeRead) {
    connection().execute("CREATE TABLE conversations (id TEXT)");
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::prepareFailed, "no such table: threads"));
    connection().execute("CREATE TABLE threads (id TEXT, cwd TEXT, title TEXT, created_at, updated_at)");
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::prepareFailed, "no such column: source"));
}

TEST_F(CodexSessionResolverFailureTest, AFileThatIsNoDatabaseCannotBePrepared) {
    test::writeFile(path_, std::string(4096, 'x'));
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::prepareFailed, "file is not a database"));
}

TEST_F(CodexSessionResolverFailureTest, APathThatCannotBeReadCannotBeOpened) {
    const DatabaseError cannotOpen(DatabaseError::Kind::openFailed, "Unable to open Codex state database.");
    test::writeFile(directory_ / "file", "");
    path_ = directory_ / "file" / "state_5.sqlite";
    EXPECT_EQ(failure(), cannotOpen);
    path_ = directory_ / "loop";
    fs::create_symlink("loop", path_);
    EXPECT_EQ(failure(), cannotOpen);
}

TEST_F(CodexSessionResolverFailureTest, ADatabaseThatIsBusyFromTheBeginningCannotBePrepared) {
    createTable();
    Connection writer = connection();
    writer.execute("BEGIN EXCLUSIVE");
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::prepareFailed, "database is locked"));
}

TEST_F(CodexSessionResolverFailureTest, ADatabaseThatGetsBusyAfterThePreparationFailsInTheStep) {
    createTable();
    add({});
    LockDuringPreparation lock(path_);
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::stepFailed, "database is locked"));
}

TEST_F(CodexSessionResolverFailureTest, ADamagedDatabaseFailsInTheStep) {
    createTable();
    add({});
    constexpr std::size_t pageSize = 4096;  // the first page holds the schema, the second the threads
    test::writeFile(path_, test::readFile(path_).substr(0, pageSize) + std::string(pageSize, '\xFF'));
    EXPECT_EQ(failure(), DatabaseError(DatabaseError::Kind::stepFailed, "database disk image is malformed"));
}

TEST_F(CodexSessionResolverFailureTest, APathIsNeverTakenForAUriOrASpecialName) {
    path_ = directory_ / "state%41?mode=memory#x.sqlite";
    createTable();
    add({});
    EXPECT_EQ(latestID(), threadID(1));
    for (const auto* name : {":memory:", "file::memory:?cache=shared", ""}) {
        path_ = name;
        EXPECT_EQ(failure().kind(), DatabaseError::Kind::openFailed) << name;
    }
}

TEST_F(CodexSessionResolverFailureTest, TheDatabaseIsClosedOnEveryPath) {
    const std::size_t before = test::openDescriptorCount();
    failure();  // cannot be opened
    connection().execute("CREATE TABLE other (id TEXT)");
    failure();  // cannot be prepared
    createTable();
    latest();  // no row
    add({.id = "no uuid"});
    latest();  // no record
    add({.id = threadID(2), .createdAt = 2});
    EXPECT_EQ(latestID(), threadID(2));
    test::writeFile(path_, test::readFile(path_).substr(0, 8192) + std::string(4096, '\xFF'));
    failure();  // fails in the step
    EXPECT_EQ(test::openDescriptorCount(), before);
}

}  // namespace
}  // namespace quernlight
