#include "quernlight/backend/multipart_form.hpp"

#include <gtest/gtest.h>

#include "quernlight/platform/identifiers.hpp"

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

struct FileName {
    const char* given;
    const char* escaped;
};

TEST(MultipartFormTest, AFileNameIsEscapedForItsQuotes) {
    const FileName rows[] = {
        {"", ""},
        {"plain.txt", "plain.txt"},
        {R"(a\b)", R"(a\\b)"},
        {R"(a"b)", R"(a\"b)"},
        {R"(a\"b)", R"(a\\\"b)"},
        {R"(\\)", R"(\\\\)"},
        {"a\rb", "ab"},
        {"a\nb", "ab"},
        {"a\\\nb", "a\\\\b"},
        {"\r\n", ""},
        {"ünïcödé 'x';.txt", "ünïcödé 'x';.txt"},
    };
    for (const FileName& row : rows) {
        SCOPED_TRACE(row.escaped);
        EXPECT_EQ(escapedFilename(row.given), row.escaped);
    }
}

/// The names of the parts between which a comment with one file is divided.
std::vector<std::string> partNames(const CreateCommentRequest& comment) {
    std::vector<std::string> names;
    const std::string form = multipartForm(comment, {{"a.txt", "text/plain", ""}}, "B");
    const std::string start = "Content-Disposition: form-data; name=\"";
    for (auto at = form.find(start); at != std::string::npos; at = form.find(start, at + 1)) {
        const auto name = at + start.size();
        names.push_back(form.substr(name, form.find('"', name) - name));
    }
    return names;
}

TEST(MultipartFormTest, APartStandsThereOnlyWhenItsFieldIsGiven) {
    using Names = std::vector<std::string>;
    EXPECT_EQ(partNames({.body = "B"}), (Names{"body", "attachments"}));
    EXPECT_EQ(partNames({.body = "B", .authorType = "agent"}), (Names{"body", "author_type", "attachments"}));
    EXPECT_EQ(partNames({.body = "B", .metadata = {{}}}), (Names{"body", "metadata", "attachments"}));
    EXPECT_EQ(partNames({.body = "B", .prURL = Url::parse("https://a.example")}),
              (Names{"body", "pr_url", "attachments"}));
}

TEST(MultipartFormTest, EmptyMetadataIsAnEmptyObject) {
    const CreateCommentRequest comment{.body = "B", .metadata = std::map<std::string, std::string>()};
    EXPECT_NE(multipartForm(comment, {}, "B").find("name=\"metadata\"\r\n\r\n{}\r\n"), std::string::npos);
}

TEST(MultipartFormTest, ALinkKeepsItsLetterCase) {
    const CreateCommentRequest comment{.body = "B",
                                       .prURL = Url::parse("https://Git.Example/Owner/Repo/pull/1")};
    EXPECT_NE(multipartForm(comment, {}, "B").find("\r\n\r\nhttps://Git.Example/Owner/Repo/pull/1\r\n"),
              std::string::npos);
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
