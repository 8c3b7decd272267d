#include "host/terminal/transcript.hpp"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/control/control_server.hpp"
#include "host/process/user_error.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST(HarmlessTextTest, NothingActsOnATerminal) {
    HarmlessText text;
    EXPECT_EQ(text.pass("a\x1b[31mb\tc\r\n\x07"
                        "d\xe2\x80\xae"
                        "e\xe6"),
              "a[31mb\tc\nde");
    EXPECT_EQ(text.pass("\xbc\xa2\xc2\x9b"
                        "f"),
              "\xe6\xbc\xa2"
              "f");
}

TEST(PauseTest, ALongPauseIsShortened) {
    EXPECT_EQ(pauseOf(seconds(2), 1), seconds(2));
    EXPECT_EQ(pauseOf(seconds(2), 4), milliseconds(500));
    EXPECT_EQ(pauseOf(std::chrono::hours(2), 2), seconds(3));
    EXPECT_EQ(pauseOf(std::chrono::hours(24'000), 0.01), seconds(3));
}

class TranscriptTest : public testing::Test {
  protected:
    TranscriptTest() { add("one\n"); }

    void add(const std::string& text) { std::ofstream(file, std::ios::app) << text; }
    std::string printed(PrintedTranscript transcript) {
        transcript.file = file;
        std::ostringstream out;
        test::runTask(printTranscript(std::move(transcript), clock, out));
        return out.str();
    }

    test::TemporaryDirectory directory;
    const std::filesystem::path file = directory.path() / "transcript.txt";
    SystemClock clock;
};

TEST_F(TranscriptTest, IsPrintedUpToItsEnd) {
    add("\x1b[2Jtwo\n");
    EXPECT_EQ(printed({}), "one\n[2Jtwo\n");
    EXPECT_EQ(printed({.isHarmless = false}), "one\n\x1b[2Jtwo\n");
}

/// An owner that tells the transcript in parts, one for each connection.
class FollowedTranscriptTest : public TranscriptTest {
  protected:
    FollowedTranscriptTest() {
        router.add("GET", "/v1/transcript", Audience::people,
                   [this](ControlRequest request) { return told(std::move(request)); });
    }
    Task<ControlResponse> told(ControlRequest request) {
        asked.push_back(request.target.substr(request.target.find("after")));
        ControlResponse response;
        response.takeOver = [this](ControlChannel& channel) { return tell(channel); };
        co_return response;
    }
    Task<void> tell(ControlChannel& channel) {
        const bool isLast = asked.size() == 2;
        ControlFrame part{.isText = false, .bytes = isLast ? "two\n" : "one\n"};
        co_await channel.send(std::move(part));
        if (isLast) {
            ControlFrame end{.bytes = "{}"};
            co_await channel.send(std::move(end));
        }
    }
    std::string followed() {
        std::ostringstream out;
        FollowedTranscript transcript{
            .home = directory.path(), .target = "/v1/transcript?format=plain", .stored = {.file = file}};
        test::runTask(io, followTranscript(std::move(transcript), clock, out));
        return out.str();
    }

    boost::asio::io_context io;
    ControlRouter router;
    std::vector<std::string> asked;
};

TEST_F(FollowedTranscriptTest, GoesOnBehindWhatWasToldAndEndsWithWhatIsStored) {
    add("two\nthree\n");
    ControlServer owner(io.get_executor(), directory.path(), router, clock);
    EXPECT_EQ(followed(), "one\ntwo\nthree\n");
    EXPECT_THAT(asked, ElementsAre("after=0", "after=4"));
    test::runTask(io, owner.end());
}

TEST_F(FollowedTranscriptTest, IsWhatIsStoredWhereNoOwnerRuns) {
    EXPECT_EQ(followed(), "one\n");
}

TEST_F(TranscriptTest, OneThatIsNotThereIsNamed) {
    EXPECT_THAT(
        [] { TranscriptFile("/nowhere/transcript.txt"); },
        testing::ThrowsMessage<UserError>(HasSubstr("/nowhere/transcript.txt cannot be read: No such")));
}

TEST_F(TranscriptTest, IsPlayedAndTheTerminalPutBack) {
    add("\x1b[6n\x1b[?1000htwo\n");
    std::ostringstream out;
    const Recording recording{
        .transcript = file,
        .moments = {{.after = milliseconds(0), .bytes = 4}, {.after = milliseconds(20), .bytes = 20}},
        .speed = 10};
    test::runTask(play(recording, clock, out));
    EXPECT_THAT(out.str(), StartsWith("one\n\x1b[?1000htwo\n\x1b\\"));
    EXPECT_THAT(out.str(), HasSubstr("\x1b[?1000l"));
    EXPECT_THAT(out.str(), EndsWith("\r\n"));
}

}  // namespace
}  // namespace quernlight::host
