#include "quernlight/platform/file_descriptor.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace quernlight {
namespace {

TEST(PipeTest, WhatIsWrittenCanBeReadAndNeitherEndSurvivesAnExec) {
    Pipe pipe = openPipe();
    char byte = 'x';
    ASSERT_EQ(write(pipe.writing.get(), &byte, 1), 1);
    pipe.writing.close();
    EXPECT_EQ(read(pipe.reading.get(), &byte, 1), 1);
    EXPECT_EQ(read(pipe.reading.get(), &byte, 1), 0) << "the end comes when the writing end is closed";
    EXPECT_NE(fcntl(pipe.reading.get(), F_GETFD) & FD_CLOEXEC, 0);
}

}  // namespace
}  // namespace quernlight
