#include "host/worktree/git_cause.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

TEST(GitCauseTest, ProgressAndWarningsGoBehindTheCause) {
    EXPECT_EQ(causeFirst("warning: old\nPreparing worktree (new branch 'Shop-3f2a9c1d')\n"
                         "fatal: cannot lock ref\nsee above"),
              "fatal: cannot lock ref\nsee above\nwarning: old\n"
              "Preparing worktree (new branch 'Shop-3f2a9c1d')");
    EXPECT_EQ(causeFirst("Preparing worktree (checking out 'x')\nHEAD is now at 1f2e first\nhook: no"),
              "hook: no\nPreparing worktree (checking out 'x')\nHEAD is now at 1f2e first");
}

TEST(GitCauseTest, WordsThatBeginWithTheCauseStayAsTheyAre) {
    const std::string words = "ssh: no route to host\nfatal: cannot read\n\nPlease make sure";
    EXPECT_EQ(causeFirst(words), words);
    EXPECT_EQ(causeFirst("warning: nothing else"), "warning: nothing else");
    EXPECT_EQ(causeFirst(""), "");
}

}  // namespace
}  // namespace quernlight::host
