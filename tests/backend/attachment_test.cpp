#include "quernlight/backend/attachment.hpp"

#include <system_error>

#include <sys/stat.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using namespace std::string_literals;

class AttachmentTest : public testing::Test {
  protected:
    std::errc readingError(const std::filesystem::path& file) {
        try {
            readAttachment(file);
        } catch (const std::system_error& error) {
            EXPECT_NE(std::string(error.what()).find(file.string()), std::string::npos);
            return static_cast<std::errc>(error.code().value());
        }
        ADD_FAILURE() << "read " << file;
        return {};
    }

    test::TemporaryDirectory directory;
};

TEST_F(AttachmentTest, AFileIsReadWholeWithItsNameAndType) {
    const std::string bytes = std::string(200'000, 'x') + "\0\xFF"s;
    test::writeFile(directory / "screen.png", bytes);
    EXPECT_EQ(readAttachment(directory / "screen.png"), (Attachment{"screen.png", "image/png", bytes}));
}

TEST_F(AttachmentTest, AFileThatCannotBeReadIsNamedInTheError) {
    EXPECT_EQ(readingError(directory / "missing.txt"), std::errc::no_such_file_or_directory);
    EXPECT_EQ(readingError(directory.path()), std::errc::is_a_directory);
}

TEST_F(AttachmentTest, ANamedPipeIsRefusedWithoutWaitingForItsWriter) {
    ASSERT_EQ(::mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(readingError(directory / "pipe"), std::errc::invalid_argument);
}

TEST_F(AttachmentTest, AFileWithoutANameIsCalledAttachment) {
    EXPECT_EQ(attachmentName("/tmp/a b.txt"), "a b.txt");
    EXPECT_EQ(attachmentName("/"), "attachment");
    EXPECT_EQ(attachmentName(""), "attachment");
}

TEST_F(AttachmentTest, AFileOfMoreThanTheLimitIsRefusedAndOneOfTheLimitIsNot) {
    test::writeFile(directory / "ten.txt", "0123456789");
    EXPECT_EQ(readAttachment(directory / "ten.txt", 10).bytes, "0123456789");
    try {
        readAttachment(directory / "ten.txt", 9);
        ADD_FAILURE() << "read ten bytes";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::file_too_large);
    }
}

TEST_F(AttachmentTest, TheDefaultLimitIs64MiB) {
    EXPECT_EQ(largestAttachment, 67'108'864U);
}

TEST_F(AttachmentTest, AnEmptyFileIsReadAsNoBytes) {
    test::writeFile(directory / "empty.json", "");
    EXPECT_EQ(readAttachment(directory / "empty.json"), (Attachment{"empty.json", "application/json", ""}));
}

struct NamedFile {
    const char* name;
    const char* type;
};

TEST(AttachmentTypeTest, ComesFromTheLastExtensionOfTheName) {
    const NamedFile rows[] = {
        {"a.txt", "text/plain"},
        {"a.b.png", "image/png"},
        {"a.tar.gz", "application/gzip"},
        {"SCREEN.JPG", "image/jpeg"},
        {"README", "application/octet-stream"},
        {".txt", "application/octet-stream"},
        {"a.", "application/octet-stream"},
        {"a.quernlight", "application/octet-stream"},
    };
    for (const NamedFile& row : rows) {
        SCOPED_TRACE(row.name);
        const test::TemporaryDirectory directory;
        test::writeFile(directory / row.name, "<html>");
        EXPECT_EQ(readAttachment(directory / row.name).contentType, row.type);
    }
}

TEST(MimeTypeTest, CommonExtensionsHaveTheirType) {
    EXPECT_EQ(mimeTypeForExtension("txt"), "text/plain");
    EXPECT_EQ(mimeTypeForExtension("png"), "image/png");
    EXPECT_EQ(mimeTypeForExtension("PNG"), "image/png");
    EXPECT_EQ(mimeTypeForExtension("mov"), "video/quicktime");
    EXPECT_EQ(mimeTypeForExtension("mp4"), "video/mp4");
    EXPECT_EQ(mimeTypeForExtension("json"), "application/json");
    EXPECT_EQ(mimeTypeForExtension("zip"), "application/zip");
}

TEST(MimeTypeTest, AnUnknownOrMissingExtensionIsJustBytes) {
    EXPECT_EQ(mimeTypeForExtension("quernlight-unknown"), "application/octet-stream");
    EXPECT_EQ(mimeTypeForExtension(""), "application/octet-stream");
}

}  // namespace
}  // namespace quernlight
