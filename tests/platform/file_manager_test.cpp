#include "quernlight/platform/file_manager.hpp"

#include <gtest/gtest.h>

#include "tests/support/closed_directory.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using test::writeFile;

class FileManagerTest : public testing::Test {
  protected:
    test::TemporaryDirectory directory_;
    const FileManager& files_ = defaultFileManager();
};

TEST_F(FileManagerTest, CreatesADirectoryWithItsParentsAndAcceptsOneThatIsThere) {
    files_.createDirectories(directory_ / "a/b/c");
    files_.createDirectories(directory_ / "a/b/c");
    EXPECT_TRUE(files_.isDirectory(directory_ / "a/b/c"));
}

TEST_F(FileManagerTest, AFileInTheWayIsAnError) {
    writeFile(directory_ / "file", "");
    EXPECT_THROW(files_.createDirectories(directory_ / "file"), std::filesystem::filesystem_error);
    EXPECT_THROW(files_.createDirectories(directory_ / "file/below"), std::filesystem::filesystem_error);
}

TEST_F(FileManagerTest, ADanglingLinkExistsButIsNoDirectory) {
    std::filesystem::create_symlink("nowhere", directory_ / "link");
    EXPECT_TRUE(files_.exists(directory_ / "link"));
    EXPECT_FALSE(files_.isDirectory(directory_ / "link"));
}

TEST_F(FileManagerTest, WhatMayNotBeLookedAtIsNotTakenForAbsent) {
    std::filesystem::create_directory(directory_ / "closed");
    const test::ClosedDirectory closed(directory_ / "closed");
    ASSERT_TRUE(closed.isClosed());
    EXPECT_TRUE(files_.exists(directory_ / "closed/below"));
}

TEST_F(FileManagerTest, RemovingDoesNotFollowLinks) {
    writeFile(directory_ / "kept/file", "x");
    std::filesystem::create_directory(directory_ / "gone");
    std::filesystem::create_directory_symlink(directory_ / "kept", directory_ / "gone/link");
    files_.removeAll(directory_ / "gone");
    EXPECT_FALSE(files_.exists(directory_ / "gone"));
    EXPECT_TRUE(files_.exists(directory_ / "kept/file"));
}

TEST_F(FileManagerTest, APathWithANullCharacterIsNotTheShorterOneBeforeIt) {
    writeFile(directory_ / "shorter/file", "x");
    const std::filesystem::path path = (directory_ / "shorter").string() + std::string("\0/x", 3);
    EXPECT_FALSE(files_.exists(path));
    EXPECT_FALSE(files_.isDirectory(path));
    EXPECT_THROW(files_.createDirectories(path), std::filesystem::filesystem_error);
    EXPECT_THROW(files_.removeAll(path), std::filesystem::filesystem_error);
    EXPECT_THROW(files_.visibleEntries(path), std::filesystem::filesystem_error);
    EXPECT_TRUE(files_.exists(directory_ / "shorter/file"));
}

TEST_F(FileManagerTest, ListsWhatIsNotHiddenWithItsModificationDate) {
    writeFile(directory_ / "seen", "");
    writeFile(directory_ / ".hidden", "");
    const auto entries = files_.visibleEntries(directory_.path());
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].path.filename(), "seen");
    EXPECT_TRUE(entries[0].modified);
}

}  // namespace
}  // namespace quernlight
