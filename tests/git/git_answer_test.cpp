#include "quernlight/git/git_command_result.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quernlight {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(GitAnswerTest, LinesByWhichGitWarnsAreNoAnswer) {
    const std::string_view output = "warning: old\norigin\nhint: new\nhint:\nerror: odd\nup stream";
    EXPECT_THAT(answerLines(output), ElementsAre("origin", "up stream"));
    EXPECT_EQ(answerText(output), "origin\nup stream");
}

TEST(GitAnswerTest, OnlyTheBeginningOfALineMakesItANotice) {
    EXPECT_EQ(answerText("/src/warning: here\nwarning:none\nerrors: 1"),
              "/src/warning: here\nwarning:none\nerrors: 1");
}

TEST(GitAnswerTest, NothingButNoticesIsNoAnswer) {
    EXPECT_THAT(answerLines("warning: old"), IsEmpty());
    EXPECT_EQ(answerText("warning: old"), "");
    EXPECT_EQ(answerText(""), "");
}

}  // namespace
}  // namespace quernlight
