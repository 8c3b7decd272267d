#include "quernlight/storage/file_locations.hpp"

#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {
namespace fs = std::filesystem;

class FileLocationsTest : public testing::Test {
  protected:
    fs::path resumeDirectory(std::string_view bugID) {
        return FileLocations::resumeSessionAttemptDirectory(home, bugID, 1);
    }

    std::string attemptName(std::int64_t number) {
        return FileLocations::sessionAttemptDirectory(home, item, number).filename().string();
    }

    test::TemporaryDirectory directory;
    const fs::path home = directory / "home";
    const Uuid item = *parseUuid("3f2a9c10-aaaa-bbbb-cccc-ddddeeeeffff");
};

TEST_F(FileLocationsTest, TheOverrideIsTheHomeAndIsCreatedWithItsParents) {
    const fs::path wanted = directory / "deep" / "home";
    EXPECT_EQ(FileLocations::dispatchHome({{"QUERNLIGHT_DISPATCH_HOME", wanted.string()}}), wanted);
    EXPECT_TRUE(fs::is_directory(wanted));
}

TEST_F(FileLocationsTest, AHomeThatExistsIsNoError) {
    const EnvironmentMap environment{{"QUERNLIGHT_DISPATCH_HOME", home.string()}};
    EXPECT_EQ(FileLocations::dispatchHome(environment), FileLocations::dispatchHome(environment));
}

TEST_F(FileLocationsTest, AnEmptyOverrideCountsAsNone) {
    EnvironmentMap environment{{"HOME", directory.path().string()}};
    environment["XDG_DATA_HOME"] = (directory / "data").string();
    const fs::path byDefault = FileLocations::dispatchHome(environment);
    environment["QUERNLIGHT_DISPATCH_HOME"] = "";
    EXPECT_EQ(FileLocations::dispatchHome(environment), byDefault);
    EXPECT_EQ(byDefault, userApplicationDataDirectory(environment) / "QuernlightDispatch");
    EXPECT_TRUE(fs::is_directory(byDefault));
}

TEST_F(FileLocationsTest, ARelativeOverrideIsTakenFromTheCurrentDirectory) {
    const fs::path relative = fs::relative(home, fs::current_path());
    ASSERT_TRUE(relative.is_relative());
    const fs::path found = FileLocations::dispatchHome({{"QUERNLIGHT_DISPATCH_HOME", relative.string()}});
    EXPECT_EQ(found, fs::current_path() / relative);
    EXPECT_TRUE(fs::equivalent(found, home));
}

TEST_F(FileLocationsTest, ATildeInTheOverrideIsAnOrdinaryCharacter) {
    const fs::path wanted = directory / "~" / "home ";
    EXPECT_EQ(FileLocations::dispatchHome({{"QUERNLIGHT_DISPATCH_HOME", wanted.string()}}), wanted);
    EXPECT_TRUE(fs::is_directory(wanted));
}

TEST_F(FileLocationsTest, ALeadingTildeInTheOverrideIsNotTheUsersHome) {
    const EnvironmentMap environment{{"HOME", "/h"}, {"QUERNLIGHT_DISPATCH_HOME", "~/home"}};
    EXPECT_EQ(FileLocations::dispatchHomePath(environment), fs::current_path() / "~/home");
}

TEST_F(FileLocationsTest, AFileInTheWayThrowsTheErrorOfTheFileSystem) {
    test::writeFile(home, "in the way");
    EXPECT_THROW(FileLocations::dispatchHome({{"QUERNLIGHT_DISPATCH_HOME", home.string()}}),
                 fs::filesystem_error);
    EXPECT_THROW(FileLocations::sessionAttemptDirectory(home, item, 1), fs::filesystem_error);
    EXPECT_THROW(resumeDirectory("3f2a9c10"), fs::filesystem_error);
}

TEST_F(FileLocationsTest, DirectoriesHaveTheAttributesOfAnyOther) {
    fs::create_directory(directory / "other");
    const fs::path attempt = FileLocations::sessionAttemptDirectory(home, item, 1);
    for (const fs::path& created : {home, home / "sessions", attempt}) {
        EXPECT_EQ(fs::status(created).permissions(), fs::status(directory / "other").permissions());
    }
}

TEST_F(FileLocationsTest, TheDatabaseLiesInTheHomeAndIsNotCreated) {
    EXPECT_EQ(FileLocations::databaseURL(home), home / "queue.sqlite");
    EXPECT_FALSE(fs::exists(home));
}

TEST_F(FileLocationsTest, AnAttemptDirectoryIsNamedByItsItemAndNumber) {
    const fs::path found = FileLocations::sessionAttemptDirectory(home, item, 1);
    EXPECT_EQ(found, home / "sessions" / "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF" / "attempts" / "001");
    EXPECT_TRUE(fs::is_directory(found));
}

TEST_F(FileLocationsTest, AttemptNumbersHaveAtLeastThreeDigits) {
    EXPECT_EQ(attemptName(12), "012");
    EXPECT_EQ(attemptName(999), "999");
    EXPECT_EQ(attemptName(1234), "1234");
}

TEST_F(FileLocationsTest, AskingTwiceForOneAttemptGivesTheSameDirectory) {
    const fs::path first = FileLocations::sessionAttemptDirectory(home, item, 3);
    test::writeFile(first / "transcript.txt", "kept");
    EXPECT_EQ(FileLocations::sessionAttemptDirectory(home, item, 3), first);
    EXPECT_EQ(test::readFile(first / "transcript.txt"), "kept");
}

TEST_F(FileLocationsTest, AResumeDirectoryIsNamedByTheShortFormOfTheBugID) {
    const fs::path found = resumeDirectory("  3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF \n");
    EXPECT_EQ(found, home / "sessions" / "resume" / "3f2a9c10" / "attempts" / "001");
    EXPECT_TRUE(fs::is_directory(found));
}

TEST_F(FileLocationsTest, ResumeAttemptsAreNumberedInDirectoriesOfTheirOwn) {
    const fs::path found = FileLocations::resumeSessionAttemptDirectory(home, "3f2a9c10", 1234);
    EXPECT_EQ(found, home / "sessions" / "resume" / "3f2a9c10" / "attempts" / "1234");
    EXPECT_NE(resumeDirectory("3f2a9c10"), FileLocations::sessionAttemptDirectory(home, item, 1));
}

TEST_F(FileLocationsTest, AskingTwiceForOneResumeAttemptGivesTheSameDirectory) {
    const fs::path first = resumeDirectory("3f2a9c10");
    EXPECT_EQ(resumeDirectory("3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF"), first);
}

TEST_F(FileLocationsTest, ABugIDThatWouldLeadOutOfTheHomeIsRefused) {
    for (const char* bugID :
         {"", "  ", ".", "..", "../../x", "a/b", "a\x01", "a\nb", "a\u0085b", "a\u009Fb"}) {
        EXPECT_THROW(resumeDirectory(bugID), UnsafeBugIDError) << bugID;
    }
    EXPECT_FALSE(fs::exists(home));
}

TEST_F(FileLocationsTest, TheRefusalCarriesTheShortFormAndOneSentence) {
    try {
        resumeDirectory(" A/B ");
        FAIL() << "not refused";
    } catch (const UnsafeBugIDError& error) {
        EXPECT_EQ(error.bugID(), "a/b");
        EXPECT_STREQ(error.what(),
                     "A bug id that is empty, \".\" or \"..\", or that holds a \"/\" or a control character, "
                     "cannot name a directory.");
    }
}

}  // namespace
}  // namespace quernlight
