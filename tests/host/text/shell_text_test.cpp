#include "host/text/shell_text.hpp"

#include <gtest/gtest.h>

#include "quernlight/platform/child_process.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight::host {
namespace {

/// What a shell makes of a command line.
std::string printedBy(const std::string& shell, const std::string& line) {
    ChildProcessRequest request{
        .executable = shell, .arguments = {"-c", line}, .environment = {}, .workingDirectory = {}};
    return test::runTask(runChildProcess(std::move(request))).output;
}

class ShellQuotedTest : public testing::TestWithParam<const char*> {};

TEST_P(ShellQuotedTest, AWordIsOneArgumentOfItsOwnLetters) {
    const std::string word = GetParam();
    EXPECT_EQ(printedBy("/bin/bash", "printf '[%s]' " + shellQuoted(word)), "[" + word + "]");
}

INSTANTIATE_TEST_SUITE_P(Words, ShellQuotedTest,
                         testing::Values("Shop", "", "My App", "$(echo x)", "`echo x`", "\"; echo x; \"",
                                         "it's", "a\\", "'", "~", "*", "a\nb", "\r\t'\\", "\x1b[201~\x03",
                                         "\u202e1\u2028", "日本", "\u009b1", "!!", "#", "=ls"));

TEST(ShellTextTest, InEveryShellQuotesHoldWhatWouldRun) {
    EXPECT_EQ(shellQuoted("$(id)"), "'$(id)'");
    EXPECT_EQ(printedBy("/bin/sh", "printf '[%s]' " + shellQuoted("$(id) `id` it's \\")),
              "[$(id) `id` it's \\]");
}

TEST(ShellTextTest, PlainWordsStandAsTheyAre) {
    EXPECT_EQ(shellQuoted("com.acme.shop"), "com.acme.shop");
}

TEST(ShellTextTest, WhatActsOnATerminalIsNotInTheQuotedWord) {
    EXPECT_EQ(shellQuoted("\x1b[2J\u202e\n"), R"($'\033[2J\342\200\256\012')");
}

TEST(ShellTextTest, AWordThatLooksLikeAnOptionIsNotTakenForOne) {
    EXPECT_EQ(shellOption("--app", "Shop"), "--app Shop");
    EXPECT_EQ(shellOption("--app", "--repo x"), "--app='--repo x'");
}

}  // namespace
}  // namespace quernlight::host
