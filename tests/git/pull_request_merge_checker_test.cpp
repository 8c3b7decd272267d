#include "quernlight/git/pull_request_merge_checker.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/git/fake_git.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight {
namespace {

using test::Arguments;
using testing::ElementsAre;
using testing::HasSubstr;

const char* const prURL = "https://www.Git.Example/Acme/Shop.git/pull/7/files";

std::string outcomeOf(const PullRequestMergeState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        return "unknown: " + unknown->reason;
    }
    return std::holds_alternative<PullRequestMerged>(state) ? "merged" : "not merged";
}

std::string outcomeOf(const PullRequestConflictState& state) {
    if (const auto* unknown = std::get_if<PullRequestStateUnknown>(&state)) {
        return "unknown: " + unknown->reason;
    }
    return std::holds_alternative<PullRequestMergesCleanly>(state) ? "clean" : "conflicts";
}

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
    std::string conflictState() {
        return outcomeOf(
            test::runTask(checker.conflictState(*Url::parse(prURL), repository.directory(), "main")));
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
}

TEST_F(MergeCheckerTest, ARequestThatTheRemoteDoesNotHaveIsUnknownInGitsWords) {
    EXPECT_THAT(mergeState("https://git.example/acme/shop/pull/8"), HasSubstr("unknown: fatal: "));
}

TEST_F(MergeCheckerTest, AnAddressThatIsNoPullRequestIsUnknownWithoutAskingGit) {
    EXPECT_EQ(mergeState("https://git.example/acme/shop/issues/7?x=Y"),
              "unknown: Unsupported pull request URL: https://git.example/acme/shop/issues/7?x=Y");
}

/// A git that records what it is asked.
class MergeCommandsTest : public testing::Test {
  protected:
    MergeCommandsTest() {
        git.answer("remote -v", {0,
                                 "up\tgit@git.example:acme/shop.git (fetch)\n"
                                 "up\tgit@git.example:acme/shop.git (push)"});
    }
    std::string mergeState() {
        return outcomeOf(test::runTask(checker.mergeState(*Url::parse(prURL), "/src/shop", "main")));
    }
    std::string conflictState() {
        return outcomeOf(test::runTask(checker.conflictState(*Url::parse(prURL), "/src/shop", "main")));
    }

    const Arguments remotes{"-C", "/src/shop", "remote", "-v"};
    const Arguments fetch{"-C",
                          "/src/shop",
                          "fetch",
                          "--quiet",
                          "up",
                          "+refs/heads/main:refs/remotes/up/main",
                          "+refs/pull/7/head:refs/remotes/up/pull/7/head"};
    const Arguments ancestor{"-C",
                             "/src/shop",
                             "merge-base",
                             "--is-ancestor",
                             "refs/remotes/up/pull/7/head",
                             "refs/remotes/up/main"};
    const Arguments log{"-C",
                        "/src/shop",
                        "log",
                        "--max-count=250",
                        "--regexp-ignore-case",
                        "--format=%s%n%b",
                        "--grep=(#7)",
                        "--grep=pull request #7",
                        "refs/remotes/up/main"};
    const Arguments newest{
        "-C", "/src/shop", "log", "--max-count=250", "--format=%s%n%b", "refs/remotes/up/main"};
    const Arguments quietMerge{"-C",
                               "/src/shop",
                               "merge-tree",
                               "--write-tree",
                               "--quiet",
                               "refs/remotes/up/main",
                               "refs/remotes/up/pull/7/head"};
    const Arguments loudMerge{"-C",
                              "/src/shop",
                              "merge-tree",
                              "--write-tree",
                              "refs/remotes/up/main",
                              "refs/remotes/up/pull/7/head"};
    test::FakeGit git;
    const PullRequestMergeChecker checker{git.runner()};
};

TEST_F(MergeCommandsTest, AnAncestorIsMergedWithoutALookAtTheHistory) {
    EXPECT_EQ(mergeState(), "merged");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, ancestor));
}

TEST_F(MergeCommandsTest, AnEmptyHistoryOfMentionsIsNotMerged) {
    git.answer("merge-base", {1, ""});
    EXPECT_EQ(mergeState(), "not merged");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, ancestor, log));
}

TEST_F(MergeCommandsTest, AMentionIsConfirmedByOneMoreCommand) {
    git.answer("merge-base", {1, ""});
    git.answer("log --max-count=250", {0, "Fix it (#7)"});
    EXPECT_EQ(mergeState(), "merged");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, ancestor, log, newest));
}

TEST_F(MergeCommandsTest, ATrialMergeIsQuietAndItsStatusIsTheAnswer) {
    EXPECT_EQ(conflictState(), "clean");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, quietMerge));
    git.answer("merge-tree", {1, ""});
    EXPECT_EQ(conflictState(), "conflicts");
}

TEST_F(MergeCommandsTest, AGitThatDoesNotKnowQuietIsAskedOnceMoreWithoutIt) {
    git.answer("merge-tree", {129, "error: unknown option `quiet'"});
    EXPECT_EQ(conflictState(), "unknown: error: unknown option `quiet'");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, quietMerge, loudMerge));
}

struct FailureCase {
    const char* command;
    int status;
    const char* mergeReason;     ///< null: not asked
    const char* conflictReason;  ///< null: not asked
};

class MergeFailureTest : public MergeCommandsTest, public testing::WithParamInterface<FailureCase> {};

TEST_P(MergeFailureTest, IsUnknownInGitsWordsOrInOnesOfOurOwn) {
    const FailureCase& failure = GetParam();
    for (const std::string words : {"", "fatal: broken"}) {
        if (std::string(failure.command) == "log") {
            git.answer("merge-base", {1, ""});
        }
        git.answer(failure.command, {failure.status, words});
        const auto expected = [&](const char* reason) {
            return "unknown: " + (words.empty() ? reason : words);
        };
        if (failure.mergeReason) {
            EXPECT_EQ(mergeState(), expected(failure.mergeReason));
        }
        if (failure.conflictReason) {
            EXPECT_EQ(conflictState(), expected(failure.conflictReason));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Table, MergeFailureTest,
    testing::Values(FailureCase{"remote -v", 128, "No git remote in /src/shop matches git.example/acme/shop.",
                                "No git remote in /src/shop matches git.example/acme/shop."},
                    FailureCase{"fetch", 1, "Unable to fetch PR 7.", "Unable to fetch PR 7."},
                    FailureCase{"merge-base", 128, "Unable to compare PR 7 with main.", nullptr},
                    FailureCase{"log", 128, "Unable to inspect main history for PR 7.", nullptr},
                    FailureCase{"merge-tree", 2, nullptr, "Unable to check PR 7 for conflicts."}));

}  // namespace
}  // namespace quernlight
