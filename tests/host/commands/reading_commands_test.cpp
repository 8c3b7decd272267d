#include <optional>

#include <sys/mount.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

/// The commands that only read, on homes that they cannot or must not change.
class ReadingCommandsTest : public test::DispatchFixture {
  protected:
    Words onHome(Words words) const {
        words.insert(words.end(), {"--home", home()});
        return words;
    }
    test::Outcome command(Words words) { return dispatch(onHome(std::move(words))); }
    void queueOneBug() {
        reportClearBug("3f2a9c1d");
        startBackend();
        ASSERT_EQ(runOnce().exitCode, 0);
    }
    static bool hasOpen(pid_t process, const std::filesystem::path& file) {
        std::error_code gone;
        std::filesystem::directory_iterator entry("/proc/" + std::to_string(process) + "/fd", gone);
        for (; !gone && entry != std::filesystem::directory_iterator(); entry.increment(gone)) {
            std::error_code closed;
            if (std::filesystem::read_symlink(entry->path(), closed) == file) {
                return true;
            }
        }
        return false;
    }
    void setVersion(int version) {
        Connection(queueFile()).execute("PRAGMA user_version = " + std::to_string(version));
    }
    SQLValue version() {
        return Connection(queueFile(), Connection::Access::readOnly)
            .query("PRAGMA user_version")
            .at(0)
            .at("user_version");
    }
};

TEST_F(ReadingCommandsTest, ManyAtOnceAllRead) {
    mapApp();
    for (int round = 0; round < 5; ++round) {
        std::vector<std::unique_ptr<test::DispatchProcess>> programs;
        for (const Words& words : {Words{"queue", "list"},
                                   {"map", "list"},
                                   {"config", "list"},
                                   {"config", "set", "sessions.max", std::to_string(round + 1)}}) {
            programs.push_back(start(onHome(words)));
            programs.push_back(start(onHome(words)));
        }
        for (const auto& program : programs) {
            EXPECT_EQ(program->exitCode(), 0) << program->errorText();
        }
    }
}

TEST_F(ReadingCommandsTest, TheLockThatAnotherProgramHoldsForAMomentIsWaitedFor) {
    mapApp();
    for (const Words& words : {Words{"queue", "list"}, {"config", "set", "sessions.max", "3"}}) {
        std::optional<Connection> other(queueFile());
        other->executeOneShot("PRAGMA locking_mode = EXCLUSIVE; BEGIN IMMEDIATE; COMMIT");
        const auto program = start(onHome(words));
        EXPECT_TRUE(
            test::eventually([&] { return hasOpen(program->pid(), queueFile()) || program->hasEnded(); }));
        other.reset();
        EXPECT_EQ(program->exitCode(), 0) << program->errorText();
    }
}

TEST_F(ReadingCommandsTest, ANewerVersionsQueueIsRefusedByTheDispatcherAndLeftAsItIs) {
    queueOneBug();
    setVersion(8);
    EXPECT_THAT(runOnce().error, HasSubstr("was written by a newer version of this program"));
    EXPECT_THAT(runOnce({"--dry-run"}).error, HasSubstr("was written by a newer version of this program"));
    EXPECT_THAT(command({"queue", "list"}).error,
                HasSubstr("was written by a newer version of this program"));
    EXPECT_EQ(version(), SQLValue::integer(8));
}

/// No file that a command opens may take the place of what its caller has closed.
TEST_F(ReadingCommandsTest, OutputThatCannotBeWrittenIsAnErrorOfEveryCommand) {
    queueOneBug();
    for (const char* output : {"/dev/full", "&-"}) {
        startedBy = {"/bin/bash", "-c", "exec \"$@\" >" + std::string(output), "bash"};
        for (const Words& words : {onHome({"queue", "list"}), onHome({"queue", "show", "3f2a9c1d"}),
                                   onHome({"config", "get", "sessions.max"}), Words{"config", "reference"},
                                   onHome({"map", "list"}), runWith({"--dry-run"}), Words{"--help"}}) {
            const auto outcome = dispatch(words);
            EXPECT_EQ(outcome.exitCode, 1) << words[0] << " " << output;
            EXPECT_THAT(outcome.error, StartsWith("quernlight-dispatch: Standard output cannot be written ("))
                << words[0] << " " << output;
        }
    }
}

TEST_F(ReadingCommandsTest, ADryRunRefusesAHomeThatIsAFileAndALogFileThatCannotBeWritten) {
    startBackend();
    EXPECT_THAT(dispatch(runWith({"--dry-run", "--log-file", repository.scratch("none/log")})).error,
                HasSubstr("none/log cannot be written (No such file or directory); choose another with "));
    EXPECT_FALSE(std::filesystem::exists(repository.scratch("none")));
    test::writeFile(home(), "a file in the way");
    EXPECT_THAT(dispatch(runWith({"--dry-run"})).error, HasSubstr(" cannot be read (Not a directory); "));
}

/// The home lies on a file system that cannot be written; as root, for whom permissions do not count, by a
/// mount.
class ReadOnlyHomeTest : public ReadingCommandsTest {
  protected:
    /// Whether that is allowed here.
    bool makeReadOnly() {
        namespace fs = std::filesystem;
        fs::permissions(home(), fs::perms::owner_read | fs::perms::owner_exec);
        return geteuid() != 0 ||
               (mount(home().c_str(), home().c_str(), nullptr, MS_BIND, nullptr) == 0 &&
                mount(nullptr, home().c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0);
    }
    ~ReadOnlyHomeTest() override {
        umount2(home().c_str(), MNT_DETACH);
        std::error_code gone;
        std::filesystem::permissions(home(), std::filesystem::perms::owner_all, gone);
    }
};

TEST_F(ReadOnlyHomeTest, IsReadAllTheSame) {
    queueOneBug();
    if (!makeReadOnly()) {
        GTEST_SKIP() << "mounting the home for reading only is not allowed here";
    }
    EXPECT_THAT(command({"queue", "list"}).output, HasSubstr("3f2a9c1d"));
    EXPECT_THAT(command({"queue", "show", "3f2a9c1d"}).output, HasSubstr("enqueued"));
    EXPECT_EQ(command({"config", "get", "sessions.max"}).output, "2\n");
    EXPECT_EQ(command({"map", "list"}).exitCode, 0);
}

TEST_F(ReadOnlyHomeTest, IsNamedByCommandsThatWouldWrite) {
    queueOneBug();
    if (!makeReadOnly()) {
        GTEST_SKIP() << "mounting the home for reading only is not allowed here";
    }
    for (const Words& words :
         {Words{"config", "set", "sessions.max", "3"},
          {"config", "unset", "sessions.max"},
          {"queue", "cancel", "3f2a9c1d"},
          {"map", "set", "--bundle", "a", "--app", "A", "--repo", repository.directory()}}) {
        const auto outcome = command(words);
        EXPECT_EQ(outcome.exitCode, 1) << words[0] << " " << words[1];
        EXPECT_THAT(outcome.error,
                    testing::AllOf(HasSubstr("The dispatch home " + home().string() + " cannot be written ("),
                                   HasSubstr("; choose another with --home or check its permissions.\n")))
            << words[0] << " " << words[1];
    }
}

TEST_F(ReadOnlyHomeTest, IsReadWithWhatACrashLeftInTheLog) {
    queueOneBug();
    const auto aside = repository.scratch("aside");
    std::filesystem::create_directories(aside);
    Connection writer(queueFile());
    writer.execute("UPDATE queue_items SET title = 'Written last'");
    writer.execute("UPDATE queue_items SET error_message = NULL");
    std::filesystem::copy(home(), aside, std::filesystem::copy_options::recursive);
    std::filesystem::remove(aside / "queue.sqlite-shm");
    std::filesystem::rename(home(), repository.scratch("original"));
    std::filesystem::rename(aside, home());
    if (!makeReadOnly()) {
        GTEST_SKIP() << "mounting the home for reading only is not allowed here";
    }
    EXPECT_THAT(command({"queue", "list"}).output, HasSubstr("Written last"));
}

}  // namespace
}  // namespace quernlight
