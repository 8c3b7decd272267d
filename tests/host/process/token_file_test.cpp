#include "host/process/token_file.hpp"

#include <sys/stat.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

class TokenFileTest : public testing::Test {
  protected:
    void write(const std::string& content, fs::perms permissions = fs::perms::owner_read) const {
        test::writeFile(file, content);
        fs::permissions(file, permissions);
    }
    /// "The token file FILE" and this is why the file is refused.
    std::string refusal() const {
        try {
            return "not refused: " + readToken(file);
        } catch (const UserError& error) {
            const std::string beginning = "The token file " + file.string() + " ";
            const std::string sentence = error.what();
            return sentence.starts_with(beginning) ? sentence.substr(beginning.size()) : sentence;
        }
    }

    test::TemporaryDirectory directory;
    fs::path file = directory / "token";
};

TEST_F(TokenFileTest, WhiteSpaceAroundTheTokenIsNoPartOfIt) {
    write("  se cret \r\n\n");
    EXPECT_EQ(readToken(file), "se cret");
}

TEST_F(TokenFileTest, AMissingFileIsRefused) {
    EXPECT_EQ(refusal(), "cannot be read; write the administrator token into it.");
}

TEST_F(TokenFileTest, ADirectoryIsRefused) {
    fs::create_directories(file);
    fs::permissions(file, fs::perms::owner_all);
    EXPECT_EQ(refusal(), "is no regular file; write the administrator token into one.");
}

TEST_F(TokenFileTest, APipeThatNobodyWritesToIsRefusedWithoutWaiting) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(refusal(), "is no regular file; write the administrator token into one.");
}

TEST_F(TokenFileTest, ADeviceIsRefused) {
    file = "/dev/zero";
    EXPECT_EQ(refusal(), "is no regular file; write the administrator token into one.");
}

TEST_F(TokenFileTest, MoreThanOneLineIsToldOfTheFile) {
    for (const char* content : {"first\nsecond\n", "first\r\nsecond"}) {
        fs::remove(file);
        write(content);
        EXPECT_EQ(refusal(),
                  "holds more than one line; write the administrator token, and nothing else, into it.");
    }
}

TEST_F(TokenFileTest, WhatCannotBeATokenIsRefused) {
    write("se\x1b[31mcret");
    EXPECT_THAT(refusal(), testing::StartsWith("holds a control character;"));
    fs::remove(file);
    write(std::string(1 << 20, 'x'));
    EXPECT_THAT(refusal(), testing::StartsWith("holds far more than a token;"));
}

TEST_F(TokenFileTest, AFileWithoutATokenIsRefused) {
    write("");
    EXPECT_EQ(refusal(), "is empty; write the administrator token into it.");
    fs::remove(file);
    write(" \n");
    EXPECT_EQ(refusal(), "is empty; write the administrator token into it.");
}

TEST_F(TokenFileTest, AFileThatOthersMayReadIsRefusedWithTheCommandThatProtectsIt) {
    for (const fs::perms others : {fs::perms::group_read, fs::perms::others_read}) {
        write("secret", fs::perms::owner_read | fs::perms::owner_write | others);
        EXPECT_EQ(refusal(), "may be read by other users; protect it first: chmod 600 " + file.string());
    }
}

}  // namespace
}  // namespace quernlight::host
