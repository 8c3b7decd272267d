#include "host/view/bounded_log.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <gtest/gtest.h>

#include "host/view/event_log.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::readFile;
using quernlight::test::writeFile;

/// A log of at most ten bytes, opened as a service manager opens it.
class BoundedLogTest : public testing::Test {
  protected:
    FileDescriptor opened(int flags = O_APPEND) const {
        return FileDescriptor(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600));
    }
    void append(const std::string& text) {
        EXPECT_EQ(write(log.get(), text.data(), text.size()), std::ssize(text));
        bounded.look(log.get());
    }
    bool hasOlder() const { return std::filesystem::exists(older); }

    quernlight::test::TemporaryDirectory directory;
    std::filesystem::path file = directory / "service.log", older = directory / "service.log.1";
    FileDescriptor log = opened();
    BoundedLog bounded{file, 10};
};

TEST_F(BoundedLogTest, WhatStoodInItIsKeptInOneOlderFile) {
    append("1234567890");
    EXPECT_FALSE(hasOlder());
    append("X");
    EXPECT_EQ(readFile(older), "1234567890X");
    EXPECT_EQ(readFile(file), "");
    append("second one,");
    EXPECT_EQ(readFile(older), "second one,");
    append("last");
    EXPECT_EQ(readFile(file), "last");
    EXPECT_EQ(std::filesystem::status(older).permissions(), std::filesystem::perms(0600));
}

TEST_F(BoundedLogTest, OthersWhoAppendToItGoOn) {
    const FileDescriptor other = opened();
    append("12345678901");
    EXPECT_EQ(write(other.get(), "other", 5), 5);
    append(" and this");
    EXPECT_EQ(readFile(older), "other and this");
}

TEST_F(BoundedLogTest, OnlyThatFileIsTouchedAndOnlyWhereItIsAppendedTo) {
    append("123");
    writeFile(directory / "else", "123456789012345");
    const FileDescriptor elsewhere(open((directory / "else").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    bounded.look(elsewhere.get());
    EXPECT_EQ(readFile(directory / "else"), "123456789012345");
    log = opened(0);
    append("12345678901");
    EXPECT_FALSE(hasOlder());
}

TEST_F(BoundedLogTest, WhatCannotBeKeptStaysAndIsTriedAgainLater) {
    std::filesystem::create_directories(older / "in the way");
    append("12345678901");
    EXPECT_EQ(readFile(file), "12345678901");
    std::filesystem::remove_all(older);
    append("2");
    EXPECT_FALSE(hasOlder()) << "it is not tried with every line";
    append("3");
    EXPECT_EQ(readFile(older), "1234567890123");
    EXPECT_EQ(readFile(file), "");
}

}  // namespace
}  // namespace quernlight::host
