#include "host/terminal/transcript.hpp"

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
    std::string printed(FollowedTranscript transcript) {
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

TEST_F(TranscriptTest, IsFollowedUntilItHasEnded) {
    int asked = 0;
    const auto hasEnded = [&]() -> Task<bool> {
        add(++asked == 3 ? "last words\n" : std::to_string(asked) + "\n");
        return [](bool is) -> Task<bool> { co_return is; }(asked == 3);
    };
    EXPECT_EQ(printed({.hasEnded = hasEnded}), "one\n1\n2\nlast words\n");
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
