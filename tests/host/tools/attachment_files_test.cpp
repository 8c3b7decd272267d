#include "host/tools/attachment_files.hpp"

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

/// A worktree and an attempt's directory next to things that are nobody's business.
class AttachmentFilesTest : public testing::Test {
  protected:
    AttachmentFilesTest() {
        test::writeFile(worktree / "shot.png", "picture");
        test::writeFile(worktree / "logs/app.log", "line");
        test::writeFile(attempt / "notes.txt", "notes");
        test::writeFile(attempt / "tool-secret", "secret");
        test::writeFile(outside / "token", "token");
        test::writeFile(directory / "worktree-other/file", "other");
        fs::create_symlink("shot.png", worktree / "inner");
        fs::create_symlink(outside / "token", worktree / "link");
        fs::create_directory_symlink(outside, worktree / "folder");
        fs::create_symlink(attempt / "tool-secret", worktree / "secret");
        fs::create_hard_link(outside / "token", worktree / "hard");
        mkfifo((worktree / "fifo").c_str(), 0600);
    }

    std::vector<Attachment> read(const std::vector<std::string>& paths, std::size_t limit = 1000) {
        return readAttachments({worktree, attempt}, paths, limit);
    }
    /// Why a path is refused; its content when it is not.
    std::string outcome(const std::string& path) {
        try {
            return read({path}).at(0).bytes;
        } catch (const AttachmentRefused& refusal) {
            return refusal.what();
        }
    }

    test::TemporaryDirectory directory;
    const fs::path worktree = directory / "worktree";
    const fs::path attempt = directory / "attempt";
    const fs::path outside = directory / "outside";
};

TEST_F(AttachmentFilesTest, OnlyRegularFilesOfTheTwoPlacesAreRead) {
    const struct {
        std::string path;
        const char* outcome;
    } rows[] = {
        {"shot.png", "picture"},
        {"logs/../shot.png", "picture"},
        {worktree / "logs/app.log", "line"},
        {attempt / "notes.txt", "notes"},
        {"inner", "picture"},
        {"link", "lies outside of the worktree"},
        {"folder/token", "lies outside of the worktree"},
        {"secret", "lies outside of the worktree"},
        {attempt / "tool-secret", "lies outside of the worktree"},
        {"../outside/token", "lies outside of the worktree"},
        {"../worktree-other/file", "lies outside of the worktree"},
        {"/etc/hostname", "lies outside of the worktree"},
        {"hard", "has another name somewhere else"},
        {"fifo", "is no regular file"},
        {"logs", "is no regular file"},
        {".", "lies outside of the worktree"},
        {"missing.png", "cannot be read (No such file"},
        {std::string("shot.png\0/x", 11), "cannot be read"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(outcome(row.path), HasSubstr(row.outcome)) << row.path;
    }
}

TEST_F(AttachmentFilesTest, AllTogetherAreBounded) {
    EXPECT_EQ(read({"shot.png", "logs/app.log"}, 11).size(), 2U);
    EXPECT_THROW(read({"shot.png", "logs/app.log"}, 10), AttachmentRefused);
    EXPECT_THROW(read(std::vector<std::string>(mostAttachments + 1, "shot.png")), AttachmentRefused);
}

TEST_F(AttachmentFilesTest, TheyAreNamedAndTypedByTheirNames) {
    const Attachment picture = read({"shot.png"}).at(0);
    EXPECT_EQ(picture.filename, "shot.png");
    EXPECT_EQ(picture.contentType, "image/png");
}

}  // namespace
}  // namespace quernlight::host
