#include "quernlight/backend/multipart_form.hpp"

#include <gtest/gtest.h>

#include "quernlight/platform/uuid.hpp"

namespace quernlight {
namespace {

using namespace std::string_literals;

TEST(MultipartFormTest, EveryPartIsWrittenByteForByteInOrder) {
    const CreateCommentRequest comment{.body = "Two\nlines",
                                       .authorType = "agent",
                                       .metadata = {{{"k", "v"}}},
                                       .prURL = Url::parse("https://git.example/pull/1")};
    const std::string form = multipartForm(
        comment, {{"a.txt", "text/plain", "bytes\0\r\n"s}, {"b.png", "image/png", "\x89PNG"}}, "Boundary-X");
    EXPECT_EQ(form,
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"body\"\r\n\r\nTwo\nlines\r\n"
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"author_type\"\r\n\r\nagent\r\n"
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"metadata\"\r\n\r\n{\"k\":\"v\"}\r\n"
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"pr_url\"\r\n\r\n"
              "https://git.example/pull/1\r\n"
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"attachments\"; filename=\"a.txt\"\r\n"
              "Content-Type: text/plain\r\n\r\nbytes\0\r\n\r\n"
              "--Boundary-X\r\nContent-Disposition: form-data; name=\"attachments\"; filename=\"b.png\"\r\n"
              "Content-Type: image/png\r\n\r\n\x89PNG\r\n"
              "--Boundary-X--\r\n"s);
}

TEST(MultipartFormTest, OnlyTheBodyIsAlwaysThere) {
    EXPECT_EQ(multipartForm({.body = ""}, {}, "B"),
              "--B\r\nContent-Disposition: form-data; name=\"body\"\r\n\r\n\r\n--B--\r\n");
}

TEST(MultipartFormTest, QuotesAndBackslashesOfAFileNameAreEscaped) {
    EXPECT_EQ(escapedFilename("a\"b\\c.txt"), "a\\\"b\\\\c.txt");
    EXPECT_NE(
        multipartForm({}, {{"a\"b\\c.txt", "text/plain", ""}}, "B").find("filename=\"a\\\"b\\\\c.txt\"\r\n"),
        std::string::npos);
}

TEST(MultipartFormTest, LineBreaksOfAFileNameAreLeftOut) {
    EXPECT_EQ(escapedFilename("a\r\nX: y\n.txt"), "aX: y.txt");
}

TEST(MultipartFormTest, ABoundaryIsAFreshUpperCaseUUID) {
    const std::string boundary = freshBoundary();
    ASSERT_TRUE(boundary.starts_with("Boundary-"));
    const std::string uuid = boundary.substr(9);
    EXPECT_EQ(upperCaseText(parseUuid(uuid).value()), uuid);
    EXPECT_NE(freshBoundary(), boundary);
}

}  // namespace
}  // namespace quernlight
