#include "host/view/background_writer.hpp"

#include <array>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/full_pipe.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

/// A writer into a pipe that takes nothing before it is read.
class BackgroundWriterTest : public testing::Test {
  protected:
    static std::string lossNotice(std::size_t lost) { return "lost " + std::to_string(lost) + "\n"; }

    void writeLines(int count) {
        for (int number = 0; number < count; ++number) {
            writer_->write("line " + std::to_string(number) + "\n");
        }
    }

    test::FullPipe pipe_;
    std::unique_ptr<BackgroundWriter> writer_ =
        std::make_unique<BackgroundWriter>(pipe_.writingEnd(), lossNotice, 1000);
};

TEST_F(BackgroundWriterTest, AReaderWhoTakesNothingHoldsNobodyUp) {
    writeLines(100'000);
    EXPECT_FALSE(writer_->isIdle());
    EXPECT_FALSE(writer_->waitUntilIdle(std::chrono::milliseconds(1)));
    writer_.reset();
}

TEST_F(BackgroundWriterTest, LinesAreWrittenInOrderAndWhole) {
    writeLines(3);
    EXPECT_EQ(pipe_.readUpTo("line 2"), "line 0\nline 1\nline 2\n");
    EXPECT_TRUE(writer_->waitUntilIdle(test::generousBound));
}

TEST_F(BackgroundWriterTest, WhatHadNoRoomIsCountedAndSaidOnceThereIsSome) {
    writeLines(1000);
    std::istringstream lines(pipe_.readUpTo("lost 877"));
    std::string line;
    for (int number = 0; number < 123; ++number) {  // 10 of 7 bytes, 90 of 8, 23 of 9
        std::getline(lines, line);
        EXPECT_EQ(line, "line " + std::to_string(number));
    }
}

TEST_F(BackgroundWriterTest, ALossIsSaidOnce) {
    writeLines(1000);
    pipe_.readUpTo("lost 877");
    writer_->write("after\n");
    EXPECT_EQ(pipe_.readUpTo("after"), "after\n");
}

TEST_F(BackgroundWriterTest, ATextLargerThanTheBoundIsWrittenWhenNothingElseWaits) {
    writer_->write(std::string(5000, 'x') + "\n");
    EXPECT_THAT(pipe_.readUpTo("x"), testing::SizeIs(5001));
}

TEST_F(BackgroundWriterTest, AReaderWhoHasGoneTakesEverything) {
    writeLines(3);
    pipe_.closeReadingEnd();
    EXPECT_TRUE(writer_->waitUntilIdle(test::generousBound));
    writeLines(3);
    EXPECT_TRUE(writer_->waitUntilIdle(test::generousBound));
}

TEST(BackgroundWriterEndTest, WhatWaitsIsWrittenBeforeItIsDestroyed) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const FileDescriptor reading(ends[0]);
    const FileDescriptor writing(ends[1]);
    BackgroundWriter(writing.get(), [](std::size_t) { return ""; }).write("all");
    std::array<char, 8> bytes{};
    EXPECT_EQ(read(reading.get(), bytes.data(), bytes.size()), 3);
}

}  // namespace
}  // namespace quernlight::host
