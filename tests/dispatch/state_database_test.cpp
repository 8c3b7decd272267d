#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

/// Which of the agent's databases is read.
class StateDatabaseTest : public testing::Test {
  protected:
    void addFile(const std::string& name, int modifiedSecond) {
        test::writeFile(directory_ / name, "");
        fs::last_write_time(directory_ / name, fs::file_time_type(seconds(modifiedSecond)));
    }

    std::string chosen() const {
        const fs::path path =
            CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", directory_.path().string()}});
        EXPECT_EQ(path.parent_path(), directory_.path());
        return path.filename().string();
    }

    test::TemporaryDirectory directory_;
};

TEST_F(StateDatabaseTest, TheMostRecentlyModifiedVersionIsUsedWhateverItsNumber) {
    addFile("state_4.sqlite", 200);
    addFile("state_5.sqlite", 100);
    EXPECT_EQ(chosen(), "state_4.sqlite");
    addFile("state_12.sqlite", 300);
    EXPECT_EQ(chosen(), "state_12.sqlite");
}

TEST_F(StateDatabaseTest, OtherFilesAreNotTakenForTheDatabase) {
    addFile("state_6.sqlite", 100);
    for (const auto* name : {"state_7.sqlite-wal", "logs_7.sqlite", "State_7.sqlite", ".state_7.sqlite"}) {
        addFile(name, 500);
    }
    EXPECT_EQ(chosen(), "state_6.sqlite");
}

TEST_F(StateDatabaseTest, AnyNameThatBeginsAndEndsAsOneIsTakenAFolderIncluded) {
    addFile("state_5.sqlite", 100);
    addFile("state_.sqlite", 200);
    EXPECT_EQ(chosen(), "state_.sqlite");
    fs::create_directory(directory_ / "state_x y.sqlite");
    fs::last_write_time(directory_ / "state_x y.sqlite", fs::file_time_type(seconds(300)));
    EXPECT_EQ(chosen(), "state_x y.sqlite");
}

TEST_F(StateDatabaseTest, WithoutAnyTheKnownVersionIsNamed) {
    EXPECT_EQ(chosen(), "state_5.sqlite");
}

TEST_F(StateDatabaseTest, AHomeThatCannotBeListedNamesTheKnownVersion) {
    const EnvironmentMap environment{{"CODEX_HOME", (directory_ / "none").string()}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment), directory_ / "none" / "state_5.sqlite");
}

TEST_F(StateDatabaseTest, AHomeThatIsAFileNamesTheKnownVersion) {
    test::writeFile(directory_ / "file", "");
    const EnvironmentMap environment{{"CODEX_HOME", (directory_ / "file").string()}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment), directory_ / "file" / "state_5.sqlite");
}

TEST_F(StateDatabaseTest, ARelativeHomeIsTakenFromTheCurrentDirectory) {
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", "no such/home"}}),
              fs::current_path() / "no such/home/state_5.sqlite");
}

TEST_F(StateDatabaseTest, AHomeIsUsedAsItIsSpelled) {
    const fs::path home = directory_ / "~ $HOME ";
    fs::create_directory(home);
    test::writeFile(home / "state_6.sqlite", "");
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", home.string()}}),
              home / "state_6.sqlite");
}

TEST_F(StateDatabaseTest, ADatabaseInTheUsersHomeIsFound) {
    test::writeFile(directory_ / ".codex" / "state_7.sqlite", "");
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"HOME", directory_.path().string()}}),
              directory_ / ".codex" / "state_7.sqlite");
}

TEST_F(StateDatabaseTest, AnEntryWhoseDateCannotBeReadIsTheOldest) {
    struct Undated : FileManager {
        std::vector<Entry> visibleEntries(const fs::path& home) const override {
            return {{home / "state_9.sqlite", std::nullopt},
                    {home / "state_1.sqlite", fs::file_time_type(seconds(-1000))}};
        }
    };
    const EnvironmentMap environment{{"CODEX_HOME", "/home/agent"}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment, Undated()), "/home/agent/state_1.sqlite");
}

TEST_F(StateDatabaseTest, AnEntryWhoseDateCannotBeReadIsStillTakenWhenItIsTheOnlyOne) {
    struct Undated : FileManager {
        std::vector<Entry> visibleEntries(const fs::path& home) const override {
            return {{home / "state_9.sqlite", std::nullopt}};
        }
    };
    const EnvironmentMap environment{{"CODEX_HOME", "/home/agent"}};
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL(environment, Undated()), "/home/agent/state_9.sqlite");
}

TEST_F(StateDatabaseTest, AnEmptyOrMissingCodexHomeMeansTheUsersHome) {
    const fs::path home = directory_.path();
    const fs::path expected = home / ".codex" / "state_5.sqlite";
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"CODEX_HOME", ""}, {"HOME", home.string()}}),
              expected);
    EXPECT_EQ(CodexSessionResolver::stateDatabaseURL({{"HOME", home.string()}}), expected);
}

}  // namespace
}  // namespace quernlight
