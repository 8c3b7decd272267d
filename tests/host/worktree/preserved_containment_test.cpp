#include <functional>

#include <gtest/gtest.h>

#include "host/worktree/preserved_work.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::writeFile;

/// Work of two commits that was kept, and the base branch beside it.
class PreservedContainmentTest : public testing::Test {
  protected:
    PreservedContainmentTest() {
        change("text.txt", "1\n2\n3\n4\n5\n", "Begin");
        hosted.git({"checkout", "--quiet", "-b", "work"});
        change("text.txt", "1\n2\nfirst\n4\n5\n", "First");
        change("text.txt", "1\n2\nsecond\n4\n5\n", "Second");
    }
    void change(const std::string& file, const std::string& content, const std::string& message) {
        writeFile(hosted.directory() / file, content);
        hosted.git({"add", "--all"});
        hosted.git({"commit", "--quiet", "-m", message});
    }
    void stage(const std::string& subject) {
        hosted.git({"-c", "user.email=quernlight-dispatch@localhost", "commit", "--quiet", "--allow-empty",
                    "-m", subject});
    }
    void inBase(const std::vector<std::string>& command) {
        hosted.git({"checkout", "--quiet", "main"});
        hosted.git(command);
    }
    void squash() {
        inBase({"merge", "--quiet", "--squash", "work"});
        hosted.git({"commit", "--quiet", "-m", "All of it (#7)"});
    }
    /// With the base as it was fetched last.
    PreservedWork measuredWork() {
        hosted.git({"update-ref", "refs/remotes/origin/main", "main"});
        hosted.git({"update-ref", "refs/quernlight/preserved/Shop-3f2a9c1d", "work"});
        const GitRunner git = runGitWith({}, GitOutput::answer);
        auto works = quernlight::test::runTask(
            preservedIn({.bundleID = "b", .appName = "Shop", .repoPath = hosted.directory()}, git));
        return quernlight::test::runTask(measured(works.at(0), git));
    }

    standin::test::HostedRepository hosted;
};

TEST_F(PreservedContainmentTest, WorkThatIsNowhereElseIsNotInTheBase) {
    inBase({"commit", "--quiet", "--allow-empty", "-m", "Something else"});
    EXPECT_EQ(measuredWork().contained, Containment::no);
}

TEST_F(PreservedContainmentTest, AMergeHasItAll) {
    inBase({"merge", "--quiet", "--ff-only", "work"});
    EXPECT_EQ(measuredWork().contained, Containment::yes);
}

TEST_F(PreservedContainmentTest, CommitsThatChangeTheSameHaveItAll) {
    inBase({"commit", "--quiet", "--allow-empty", "-m", "Something else"});
    hosted.git({"cherry-pick", "main..work"});
    EXPECT_EQ(measuredWork().contained, Containment::yes);
}

TEST_F(PreservedContainmentTest, OneCommitThatChangesTheSameAsAllOfThemHasItAll) {
    squash();
    EXPECT_EQ(measuredWork().contained, Containment::yes);
    change("text.txt", "1\n2\nthird\n4\n5\n", "Go on");
    EXPECT_EQ(measuredWork().contained, Containment::yes);
}

TEST_F(PreservedContainmentTest, ABaseInWhichAMergeWouldChangeNothingHasItAll) {
    inBase({"commit", "--quiet", "--allow-empty", "-m", "Something else"});
    change("text.txt", "1\n2\nsecond\n4\nfive\n", "The same and more");
    EXPECT_EQ(measuredWork().contained, Containment::yes);
}

TEST_F(PreservedContainmentTest, WhatWasOnlyStagedIsNotInAMergeOfTheFiles) {
    stage("Staged on Shop-3f2a9c1d");
    stage("Work in progress on Shop-3f2a9c1d");
    squash();
    EXPECT_EQ(measuredWork().contained, Containment::no);
}

}  // namespace
}  // namespace quernlight::host
