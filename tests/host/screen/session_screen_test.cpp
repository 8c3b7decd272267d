#include "host/screen/session_screen.hpp"

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;

class SessionScreenTest : public testing::Test {
  protected:
    SessionScreenTest() {
        boost::asio::co_spawn(io_, screen_.run(),
                              boost::asio::bind_cancellation_slot(stop_.slot(), [](std::exception_ptr) {}));
    }

    ~SessionScreenTest() override {
        stop_.emit(boost::asio::cancellation_type::terminal);
        io_.restart();
        io_.run();
    }

    /// The picture once all that was fed is on it.
    ScreenPicture settled() {
        const auto deadline = std::chrono::steady_clock::now() + test::generousBound;
        io_.restart();
        while (drawnBytes_ < screen_.fedBytes() && std::chrono::steady_clock::now() < deadline) {
            io_.run_one_until(deadline);
        }
        return *screen_.picture();
    }

    boost::asio::io_context io_;
    boost::asio::cancellation_signal stop_;
    std::string answers_;
    std::uint64_t drawnBytes_ = 0;
    BackgroundExecutor thread_;
    SessionScreen screen_{thread_,
                          {.columns = 20, .rows = 3},
                          {.answers = [this](std::string answer) { answers_ += answer; },
                           .drawn = [this] { drawnBytes_ = screen_.picture()->bytes; }}};
};

TEST_F(SessionScreenTest, ShowsWhatItIsFed) {
    screen_.feed("one\r\nt");
    screen_.feed("wo");
    EXPECT_THAT(settled().lines, ElementsAre("one", "two", ""));
}

TEST_F(SessionScreenTest, AnswersAreHandedOverOnce) {
    screen_.feed("\x1b[6");
    settled();
    EXPECT_EQ(answers_, "");
    screen_.feed("n");
    screen_.feed("more");
    settled();
    EXPECT_EQ(answers_, "\x1b[1;1R");
}

TEST_F(SessionScreenTest, FollowsTheSizeOfTheTerminal) {
    screen_.resize({.columns = 100, .rows = 30});
    screen_.feed("a");
    const ScreenPicture picture = settled();
    EXPECT_EQ(picture.columns, 100);
    EXPECT_EQ(picture.rows, 30);
}

TEST_F(SessionScreenTest, LinesThatScrolledOffAreKept) {
    screen_.feed("1\r\n2\r\n3\r\n4\r\n5");
    settled();
    EXPECT_THAT(test::runTask(io_, screen_.scrollBack()), ElementsAre("1", "2"));
}

TEST_F(SessionScreenTest, InAFloodTheNewestPictureIsRightAndTheRestIsCounted) {
    const std::string chunk = [] {
        std::string lines;
        while (lines.size() < (1U << 20U)) {
            lines += "\x1b[31mflood\x1b[m of lines\r\n";
        }
        return lines;
    }();
    for (int fed = 0; fed < 200; ++fed) {  // 200 MiB, faster than anything draws them
        screen_.feed(chunk);
    }
    screen_.feed("last\r\nof\r\nall");
    const ScreenPicture picture = settled();
    EXPECT_THAT(picture.lines, ElementsAre("last", "of", "all"));
    EXPECT_EQ(picture.bytes, screen_.fedBytes());
    EXPECT_GT(picture.skipped, 190U << 20U);
}

TEST_F(SessionScreenTest, WhatIsLeftOutCountsUntilTheScreenIsErasedOrDrawnAnew) {
    const std::string flood(SessionScreen::mostBacklog + 1, '.');
    screen_.feed(flood + "\r\nlast");
    EXPECT_TRUE(settled().lacksOutput);
    EXPECT_FALSE(screen_.pictureOfAll());
    screen_.feed("\x1b[H\x1b[J");
    EXPECT_FALSE(settled().lacksOutput);
    EXPECT_TRUE(screen_.pictureOfAll());
    screen_.feed(flood);
    screen_.noteRedraw(settled().skipped, true);
    EXPECT_TRUE(screen_.pictureOfAll());
    EXPECT_FALSE(screen_.lacksOutput());
}

TEST_F(SessionScreenTest, ARedrawIsNotAwaitedFromAnAgentThatMakesNone) {
    screen_.feed(std::string(SessionScreen::mostBacklog + 1, '.'));
    const std::uint64_t skipped = settled().skipped;
    EXPECT_TRUE(screen_.awaitsRedraw());
    screen_.noteRedraw(skipped, false);
    EXPECT_FALSE(screen_.awaitsRedraw());
    EXPECT_FALSE(screen_.pictureOfAll());
}

TEST(ReadableSizeTest, IsWithinWhatAnAgentNeedsAndAScreenCanShow) {
    EXPECT_EQ(readableSize({.columns = 40, .rows = 50}), (TerminalSize{.columns = 80, .rows = 50}));
    EXPECT_EQ(readableSize({.columns = 200, .rows = 5}), (TerminalSize{.columns = 200, .rows = 24}));
    EXPECT_EQ(readableSize({.columns = 1001, .rows = 65535}), (TerminalSize{.columns = 1000, .rows = 500}));
}

}  // namespace
}  // namespace quernlight::host
