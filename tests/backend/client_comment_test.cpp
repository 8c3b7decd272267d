#include <cstdint>
#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

#include "quernlight/backend/quernlight_client.hpp"
#include "tests/backend/sample_answers.hpp"
#include "tests/support/recording_server.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

using namespace test;

/// Comments with files, as they arrive.
class ClientCommentTest : public testing::Test {
  protected:
    std::filesystem::path file(const char* name, const std::string& bytes) const {
        writeFile(directory / name, bytes);
        return directory / name;
    }

    /// A file of so many bytes that takes no room on the disk.
    std::filesystem::path largeFile(const char* name, std::uintmax_t size) const {
        const auto path = file(name, "");
        std::filesystem::resize_file(path, size);
        return path;
    }

    QLCommentDTO comment(CreateCommentRequest request, std::vector<std::filesystem::path> files) {
        server.answer({.body = wrapped("comment", commentJSON("Done."))});
        return runTask(client.createComment("3F2A9C1D-0000", std::move(request), std::move(files)));
    }

    std::errc refusal(std::vector<std::filesystem::path> files) {
        try {
            comment({.body = "B"}, std::move(files));
        } catch (const std::system_error& error) {
            EXPECT_TRUE(server.requests().empty());
            return static_cast<std::errc>(error.code().value());
        }
        ADD_FAILURE() << "the comment was sent";
        return {};
    }

    /// The form that was sent, its boundary replaced by "BOUNDARY".
    std::string form() const {
        const RecordedRequest sent = server.requests().at(0);
        const std::string start = "multipart/form-data; boundary=";
        const std::string type = sent.header("Content-Type").value();
        EXPECT_TRUE(type.starts_with(start)) << type;
        const std::string boundary = type.substr(start.size());
        EXPECT_TRUE(boundary.starts_with("Boundary-") && parseUuid(boundary.substr(9))) << boundary;
        std::string form = sent.body;
        for (auto at = form.find(boundary); at != std::string::npos; at = form.find(boundary, at)) {
            form.replace(at, boundary.size(), "BOUNDARY");
        }
        return form;
    }

    TemporaryDirectory directory;
    RecordingServer server;
    QuernlightClient client{Url::parse(server.address()).value(), "secret-token",
                            std::make_shared<HttpSession>()};
};

TEST_F(ClientCommentTest, EveryPartArrivesByteForByteInOrder) {
    const CreateCommentRequest request{.body = "Two\nlines, \"quoted\" é",
                                       .authorType = "agent",
                                       .metadata = {{{"b", "2"}, {"a", "1"}}},
                                       .prURL = Url::parse("https://Git.Example/Owner/Repo/pull/1?X=Y")};
    comment(request, {file("z.txt", "last\r\n--Boundary-"), file("A.PNG", std::string("\x89\0PNG", 5))});
    using namespace std::string_literals;
    EXPECT_EQ(form(),
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"body\"\r\n\r\n"
              "Two\nlines, \"quoted\" é\r\n"
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"author_type\"\r\n\r\nagent\r\n"
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"metadata\"\r\n\r\n"
              "{\"a\":\"1\",\"b\":\"2\"}\r\n"
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"pr_url\"\r\n\r\n"
              "https://Git.Example/Owner/Repo/pull/1?X=Y\r\n"
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"attachments\"; filename=\"z.txt\"\r\n"
              "Content-Type: text/plain\r\n\r\nlast\r\n--Boundary-\r\n"
              "--BOUNDARY\r\nContent-Disposition: form-data; name=\"attachments\"; filename=\"A.PNG\"\r\n"
              "Content-Type: image/png\r\n\r\n\x89\0PNG\r\n"
              "--BOUNDARY--\r\n"s);
    EXPECT_EQ(server.lines(), std::vector<std::string>{"POST /v1/bugs/3f2a9c1d/comments"});
    EXPECT_EQ(server.requests().at(0).header("Authorization"), "Bearer secret-token");
}

TEST_F(ClientCommentTest, TheCommentOfTheAnswerIsReturned) {
    EXPECT_EQ(comment({.body = "B"}, {file("a.txt", "")}).body, "Done.");
}

TEST_F(ClientCommentTest, OneUnreadableFileAmongReadableOnesKeepsEverythingFromBeingSent) {
    EXPECT_EQ(refusal({file("a.txt", "x"), directory / "missing.txt"}), std::errc::no_such_file_or_directory);
    EXPECT_EQ(refusal({directory.path()}), std::errc::is_a_directory);
}

TEST_F(ClientCommentTest, FilesOfMoreThan64MiBTogetherAreRefusedBeforeSending) {
    constexpr std::uintmax_t half = 32 * 1024 * 1024;
    EXPECT_EQ(refusal({largeFile("a", 2 * half + 1)}), std::errc::file_too_large);
    EXPECT_EQ(refusal({largeFile("b", half), largeFile("c", half + 1)}), std::errc::file_too_large);
}

TEST_F(ClientCommentTest, AFormOfMoreThan64MiBIsRefusedBeforeSending) {
    EXPECT_THROW(comment({.body = "B"}, {largeFile("a", 64 * 1024 * 1024)}), TransportError);
    EXPECT_TRUE(server.requests().empty());
}

}  // namespace
}  // namespace quernlight
