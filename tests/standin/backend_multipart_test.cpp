#include "standin/backend/multipart.hpp"

#include <gtest/gtest.h>

#include "standin/backend/object_reader.hpp"

namespace quernlight::standin {
namespace {

TEST(BackendMultipartTest, TheBoundaryIsReadFromTheContentType) {
    EXPECT_EQ(multipartBoundary("multipart/form-data; boundary=Boundary-1"), "Boundary-1");
    EXPECT_EQ(multipartBoundary("Multipart/Form-Data; charset=x; Boundary=\"a b\""), "a b");
    EXPECT_EQ(multipartBoundary("application/json"), std::nullopt);
    EXPECT_THROW(multipartBoundary("multipart/form-data"), InvalidInput);
}

TEST(BackendMultipartTest, AFileNamesEscapesAreUndone) {
    const auto parts = parseMultipart(
        "--B\r\n"
        "Content-Disposition: form-data; name=\"attachments\"; "
        "filename=\"a\\\"b\\\\c;d.txt\"\r\n"
        "Content-Type: text/plain\r\n\r\nx\r\n--B--\r\n",
        "B");
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(parts[0].name, "attachments");
    EXPECT_EQ(parts[0].filename, "a\"b\\c;d.txt");
    EXPECT_EQ(parts[0].contentType, "text/plain");
}

TEST(BackendMultipartTest, ContentMayBeAnyBytesButTheBoundary) {
    const std::string content("\r\n--\r\n--A\0--\r\n", 13);
    const auto parts = parseMultipart(
        "--B\r\nContent-Disposition: form-data; name=\"body\"\r\n\r\n" + content + "\r\n--B--\r\n", "B");
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(parts[0].content, content);
    EXPECT_EQ(parts[0].filename, std::nullopt);
}

TEST(BackendMultipartTest, ALooselyWrittenBodyIsRefused) {
    const std::string header = "Content-Disposition: form-data; name=\"body\"";
    const std::vector<std::string> bodies{std::string(),
                                          "--B\n" + header + "\n\nx\n--B--\n",
                                          "--B\r\n" + header + "\r\n\r\nx\r\n",
                                          "--B\r\n" + header + "\r\n\r\nx\r\n--B\r\n",
                                          "--B\r\n" + header + "\r\n\r\nx\r\n--B--\r\nmore",
                                          "--B\r\n\r\nx\r\n--B--\r\n",
                                          "--B\r\n" + header + "; filename=\"a\r\n\r\nx\r\n--B--\r\n",
                                          "--B\r\nno colon\r\n\r\nx\r\n--B--\r\n"};
    for (const std::string& body : bodies) {
        EXPECT_THROW(parseMultipart(body, "B"), InvalidInput) << body;
    }
}

}  // namespace
}  // namespace quernlight::standin
