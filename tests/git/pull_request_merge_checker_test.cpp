#include "quernlight/git/pull_request_merge_checker.hpp"

#include <csignal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/git/merge_outcome.hpp"
#include "tests/support/process_state.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight {
namespace {

using test::outcomeOf;

const char* const prURL = "https://www.Git.Example/Acme/Shop.git/pull/7/files";

/// A clone of git@git.example:acme/shop.git with pull request 7, whose head changes one file; the remote's
/// base branch is changed by tests behind the clone's back.
class MergeCheckerTest : public testing::Test {
  protected:
    MergeCheckerTest() {
        const std::string transport = STANDIN_GIT_TRANSPORT_PATH " " + repository.scratch("served").string();
        repository.git({"config", "core.sshCommand", transport});
        repository.git({"config", "ssh.variant", "simple"});
        repository.git(elsewhere, {"clone", "--quiet", repository.bare(), "."});
        inBase({"checkout", "--quiet", "-b", "fix"});
        change("button.txt", "green\n", "Make the button green");
        inBase({"push", "--quiet", "origin", "fix:refs/pull/7/head"});
        inBase({"checkout", "--quiet", "main"});
    }
    /// Git in somebody else's clone.
    std::string inBase(const std::vector<std::string>& arguments) {
        return repository.git(elsewhere, arguments);
    }
    void change(const std::string& file, const std::string& text, const std::string& message) {
        test::writeFile(elsewhere / file, text);
        inBase({"add", "--all"});
        inBase({"commit", "--quiet", "-m", message});
    }
    void pushBase() { inBase({"push", "--quiet", "origin", "main"}); }
    void emptyCommits(int count) {
        const std::string tree = inBase({"rev-parse", "HEAD^{tree}"});
        std::string head = inBase({"rev-parse", "HEAD"});
        for (int index = 0; index < count; ++index) {
            head = inBase({"commit-tree", tree, "-p", head, "-m", "Other work"});
        }
        inBase({"reset", "--quiet", "--hard", head});
    }
    std::string mergeState(const std::string& url = prURL) {
        return outcomeOf(test::runTask(checker.mergeState(*Url::parse(url), repository.directory(), "main")));
    }
    std::string conflictState(const std::string& url = prURL) {
        return outcomeOf(
            test::runTask(checker.conflictState(*Url::parse(url), repository.directory(), "main")));
    }

    standin::test::HostedRepository repository;
    const std::filesystem::path elsewhere = [this] {
        const auto directory = repository.scratch("elsewhere");
        std::filesystem::create_directories(directory);
        return directory;
    }();
    const PullRequestMergeChecker checker;
};

TEST_F(MergeCheckerTest, AnOpenRequestIsNotMergedAndMergesCleanly) {
    EXPECT_EQ(mergeState(), "not merged");
    EXPECT_EQ(conflictState(), "clean");
}

TEST_F(MergeCheckerTest, WhereExitStatusesAreLostNothingIsKnown) {
    const test::IgnoredSignal ignored(SIGCHLD);
    EXPECT_THAT(mergeState(), testing::StartsWith("unknown: The exit status of /usr/bin/git is lost"));
    EXPECT_THAT(conflictState(), testing::StartsWith("unknown: The exit status of /usr/bin/git is lost"));
}

TEST_F(MergeCheckerTest, AHeadThatTheBaseContainsIsMergedAndClean) {
    inBase({"merge", "--quiet", "--ff-only", "fix"});
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
    EXPECT_EQ(conflictState(), "clean");
}

TEST_F(MergeCheckerTest, AMergeCommitIsMerged) {
    change("other.txt", "other\n", "Other work");
    inBase({"merge", "--quiet", "--no-ff", "-m", "Merge pull request #7 from acme/fix", "fix"});
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, ASquashMergeThatNamesTheRequestIsMergedThoughItIsNoAncestor) {
    change("button.txt", "green\n", "Make the button green (#7)");
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, ARebaseMergeIsMergedOnlyWhereItsCommitsNameTheRequest) {
    change("other.txt", "other\n", "Other work");
    inBase({"cherry-pick", "fix"});
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
    inBase({"commit", "--quiet", "--amend", "-m", "Make the button green (#7)"});
    inBase({"push", "--quiet", "--force", "origin", "main"});
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, AMessageThatNamesTheRequestInItsBodyAndInAnyCaseCounts) {
    change("button.txt", "green\n", "Make the button green\n\nThis is PULL REQUEST #7 by hand.");
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, TheNumberOfALongerOneCountsInWordsAndNotInParentheses) {
    change("other.txt", "other\n", "Other work (#70)");
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
    change("other.txt", "more\n", "Merge pull request #70 from acme/other");
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, AMentionWithinTheNewest250CommitsCountsAndAnOlderOneDoesNot) {
    change("button.txt", "green\n", "Make the button green (#7)");
    emptyCommits(249);
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
    emptyCommits(51);
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, AnotherRecentCommitDoesNotMakeAnOldMentionRecent) {
    change("button.txt", "green\n", "Make the button green (#7)");
    emptyCommits(300);
    change("other.txt", "other\n", "Mention #7 without being its merge (#70)");
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, AMessageThatIsNoTextHidesNeitherHowOldAMentionIsNorHowNew) {
    change("button.txt", "green\n", "Make the button green (#7)");
    emptyCommits(300);
    change("other.txt", "other\n", "caf\xE9");
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
    change("other.txt", "others\n", "Do it again (#7)");
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCheckerTest, AMentionThatOnlyFoldingPutsOnOneLineIsNone) {
    change("button.txt", "green\n", "Make the button green (#7)");
    emptyCommits(300);
    change("other.txt", "other\n", "Answer pull\nrequest #7\n\nbody");
    pushBase();
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, HistoriesWithNothingInCommonAreUnknownInGitsWords) {
    inBase({"checkout", "--quiet", "--orphan", "alien"});
    change("alien.txt", "alien\n", "Begin elsewhere");
    inBase({"push", "--quiet", "--force", "origin", "alien:refs/pull/7/head"});
    EXPECT_EQ(conflictState(), "unknown: fatal: refusing to merge unrelated histories");
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, AHeadThatContradictsTheBaseConflictsAndTouchesNeitherIndexNorFiles) {
    change("button.txt", "red\n", "Make the button red");
    pushBase();
    EXPECT_EQ(conflictState(), "conflicts");
    EXPECT_EQ(repository.git({"status", "--porcelain"}), "");
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, OfTwoRemotesTheOneThatIsTheRequestsRepositoryIsFetched) {
    repository.git({"remote", "rename", "origin", "upstream"});
    repository.git({"remote", "add", "origin", "git@git.example:somebody/fork.git"});
    EXPECT_EQ(mergeState(), "not merged");
    EXPECT_NE(repository.git({"rev-parse", "refs/remotes/upstream/pull/7/head"}), "");
}

TEST_F(MergeCheckerTest, ARewrittenBaseIsFetchedAnew) {
    change("button.txt", "green\n", "Make the button green (#7)");
    pushBase();
    EXPECT_EQ(mergeState(), "merged");
    inBase({"reset", "--quiet", "--hard", "HEAD~1"});
    inBase({"push", "--quiet", "--force", "origin", "main"});
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCheckerTest, ARewrittenHeadIsFetchedAnew) {
    mergeState();
    inBase({"checkout", "--quiet", "-B", "fix", "main"});
    change("button.txt", "blue\n", "Make the button blue");
    inBase({"push", "--quiet", "--force", "origin", "fix:refs/pull/7/head"});
    EXPECT_EQ(mergeState(), "not merged");
    EXPECT_EQ(repository.git({"rev-parse", "refs/remotes/origin/pull/7/head"}), inBase({"rev-parse", "fix"}));
}

TEST_F(MergeCheckerTest, ARepositoryWithoutSuchARemoteIsUnknown) {
    const std::string directory = repository.directory();
    EXPECT_EQ(mergeState("https://git.example/acme/other/pull/7"),
              "unknown: No git remote in " + directory + " matches git.example/acme/other.");
    EXPECT_EQ(conflictState("https://www.git.example/ACME/Other.git/pull/7"),
              "unknown: No git remote in " + directory + " matches git.example/acme/other.");
}

TEST_F(MergeCheckerTest, ARequestThatTheRemoteDoesNotHaveIsUnknownInGitsWords) {
    const std::string url = "https://git.example/acme/shop/pull/8";
    const auto isGits = testing::AllOf(testing::StartsWith("unknown: fatal: "),
                                       testing::HasSubstr("couldn't find remote ref refs/pull/8/head"));
    EXPECT_THAT(mergeState(url), isGits);
    EXPECT_THAT(conflictState(url), isGits);
}

}  // namespace
}  // namespace quernlight
