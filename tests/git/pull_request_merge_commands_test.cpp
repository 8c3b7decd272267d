#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/git/pull_request_merge_checker.hpp"
#include "tests/git/fake_git.hpp"
#include "tests/git/merge_outcome.hpp"
#include "tests/support/run_task.hpp"

namespace quernlight {
namespace {

using test::Arguments;
using test::outcomeOf;
using testing::ElementsAre;

const char* const prURL = "https://www.Git.Example/Acme/Shop.git/pull/7/files";

/// A git that records what it is asked.
class MergeCommandsTest : public testing::Test {
  protected:
    MergeCommandsTest() {
        git.answer("remote -v", {0,
                                 "up\tgit@git.example:acme/shop.git (fetch)\n"
                                 "up\tgit@git.example:acme/shop.git (push)"});
    }
    std::string mergeState(const std::string& url = prURL) {
        return outcomeOf(test::runTask(checker.mergeState(*Url::parse(url), repoPath, baseBranch)));
    }
    std::string conflictState(const std::string& url = prURL) {
        return outcomeOf(test::runTask(checker.conflictState(*Url::parse(url), repoPath, baseBranch)));
    }
    /// The base does not contain the head, and this is what git prints of the mentions in its history.
    void answerMentions(const std::string& printed) {
        git.answer("merge-base", {1, ""});
        git.answer("log --max-count=250 --regexp-ignore-case", {0, printed});
    }
    void answerNewest(GitCommandResult result) {
        git.answer("log --max-count=250 --format=%B", std::move(result));
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
    const Arguments newest{"-C",          "/src/shop",           "log", "--max-count=250",
                           "--format=%B", "refs/remotes/up/main"};
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
    std::string repoPath = "/src/shop";
    std::string baseBranch = "main";
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
    answerMentions("Fix it (#7)");
    answerNewest({0, "Other work\n\nFix it (#7)"});
    EXPECT_EQ(mergeState(), "merged");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, ancestor, log, newest));
}

TEST_F(MergeCommandsTest, AMentionThatTheNewestCommitsDoNotHoldIsTooOld) {
    answerMentions("Fix it (#7)");
    answerNewest({0, "Other work (#70)\nFix #7 one day\npull request#7"});
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCommandsTest, WhereAMentionCannotBeConfirmedTheFirstAnswerStands) {
    answerMentions("Fix it (#7)");
    answerNewest({128, "fatal: broken"});
    EXPECT_EQ(mergeState(), "merged");
    answerNewest({0, ""});  // what the commits say is not readable, nor what their ids are
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCommandsTest, WhereMessagesAreNotReadableTheMentionsCommitIsLookedForAmongTheNewest) {
    answerMentions("Fix it (#7)");
    answerNewest({0, ""});
    git.answer("log --max-count=1", {0, "2222"});
    git.answer("log --max-count=250 --format=%H", {0, "1111\n2222\n3333"});
    EXPECT_EQ(mergeState(), "merged");
    git.answer("log --max-count=250 --format=%H", {0, "1111\n3333"});
    EXPECT_EQ(mergeState(), "not merged");
    git.answer("log --max-count=250 --format=%H", {128, "fatal: broken"});
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCommandsTest, ANoticeAroundTheMentionsCommitDoesNotHideIt) {
    answerMentions("Fix it (#7)");
    answerNewest({0, ""});
    git.answer("log --max-count=250 --format=%H", {0, "hint: old\n1111\n2222"});
    for (const char* mention : {"hint: old\n2222", "2222\nwarning: late"}) {
        git.answer("log --max-count=1", {0, mention});
        EXPECT_EQ(mergeState(), "merged") << mention;
    }
}

TEST_F(MergeCommandsTest, ANoticeAloneIsNoMention) {
    answerMentions("hint: old");
    answerNewest({0, ""});
    git.answer("log --max-count=1", {0, "hint: old"});
    git.answer("log --max-count=250 --format=%H", {0, "hint: old\n1111"});
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCommandsTest, AWarningIsNoMentionThatStandsUnconfirmed) {
    answerMentions("warning: ignoring what is unheard of\nerror: and this");
    answerNewest({128, "fatal: broken"});
    EXPECT_EQ(mergeState(), "not merged");
}

TEST_F(MergeCommandsTest, ASubjectThatReadsLikeAWarningIsAMention) {
    answerMentions("error: say why the button is red (#7)");
    answerNewest({0, "error: say why the button is red (#7)"});
    EXPECT_EQ(mergeState(), "merged");
}

TEST_F(MergeCommandsTest, AnEmptyRepositoryPathIsRefused) {
    repoPath.clear();
    EXPECT_EQ(mergeState(), "unknown: The path of the repository is empty; name one.");
    EXPECT_EQ(conflictState(), "unknown: The path of the repository is empty; name one.");
    EXPECT_THAT(git.commands(), testing::IsEmpty());
}

struct MentionCase {
    const char* newest;
    const char* outcome;
};

TEST_F(MergeCommandsTest, AMentionIsReadAsGitsOwnSearchReadsIt) {
    const MentionCase rows[] = {
        {"Fix it (#7)", "merged"},
        {"Fix it (#7) at last", "merged"},
        {"Merge pull request #7 from acme/fix", "merged"},
        {"merge PULL Request #7", "merged"},
        {"Merge pull reque\u017Ft #7", "merged"},
        {"Merge pull request #70", "merged"},
        {"Fix it (#70)", "not merged"},
        {"Fix #7", "not merged"},
        {"Merge pull\nrequest #7", "not merged"},
    };
    for (const MentionCase& row : rows) {
        SCOPED_TRACE(row.newest);
        answerMentions("whatever matched");
        answerNewest({0, row.newest});
        EXPECT_EQ(mergeState(), row.outcome);
    }
}

TEST_F(MergeCommandsTest, ALargeNumberIsWrittenWhole) {
    EXPECT_EQ(mergeState("https://git.example/acme/shop/pull/+4294967297"), "merged");
    EXPECT_EQ(git.commands().at(1).back(), "+refs/pull/4294967297/head:refs/remotes/up/pull/4294967297/head");
}

TEST_F(MergeCommandsTest, OfTwoRemotesTheSecondIsFetchedWhereOnlyItIsTheRequestsRepository) {
    git.answer("remote -v", {0,
                             "origin\tgit@git.example:somebody/shop.git (fetch)\n"
                             "origin\tgit@git.example:acme/shop.git (push)\n"
                             "up\tssh://git@www.git.example/Acme/Shop (fetch)\n"
                             "up\tgit@git.example:acme/shop.git (push)"});
    EXPECT_EQ(conflictState(), "clean");
    EXPECT_THAT(git.commands(), ElementsAre(remotes, fetch, quietMerge));
}

TEST_F(MergeCommandsTest, TheRepositoryPathReachesGitAsGiven) {
    repoPath = "/src/./shop/";
    answerMentions("Fix it (#7)");
    EXPECT_EQ(mergeState(), "merged");
    EXPECT_EQ(conflictState(), "clean");
    EXPECT_EQ(git.commands().size(), 10U);
    for (const Arguments& command : git.commands()) {
        EXPECT_EQ(command.at(0), "-C");
        EXPECT_EQ(command.at(1), "/src/./shop/");
    }
    git.answer("remote -v", {0, ""});
    EXPECT_EQ(mergeState(), "unknown: No git remote in /src/./shop/ matches git.example/acme/shop.");
}

TEST_F(MergeCommandsTest, ABaseBranchWithASlashIsFetchedByItsWholeName) {
    baseBranch = "release/1.0";
    git.answer("merge-base", {128, ""});
    EXPECT_EQ(mergeState(), "unknown: Unable to compare PR 7 with release/1.0.");
    EXPECT_EQ(git.commands().at(1).at(5), "+refs/heads/release/1.0:refs/remotes/up/release/1.0");
    EXPECT_EQ(git.commands().at(2).at(2), "merge-base");
    EXPECT_EQ(git.commands().at(2).back(), "refs/remotes/up/release/1.0");
    git.answer("merge-base", {1, ""});
    git.answer("log", {128, ""});
    EXPECT_EQ(mergeState(), "unknown: Unable to inspect release/1.0 history for PR 7.");
}

TEST_F(MergeCommandsTest, AnUnsupportedUrlIsUnknownByItsWholeTextWithoutAskingGit) {
    const char* const rows[] = {"https://Git.Example/acme/shop/issues/7?x=Y#z",
                                "https://git.example/acme/shop/pulls/7",
                                "https://git.example/acme/shop/pull/0",
                                "https://git.example/acme/shop/pull/-7",
                                "https://git.example/acme/shop/pull/seven",
                                "https://git.example/acme/pull/7",
                                "file:///acme/shop/pull/7",
                                "mailto:acme@git.example"};
    for (const char* row : rows) {
        SCOPED_TRACE(row);
        const std::string url = row;
        EXPECT_EQ(mergeState(url), "unknown: Unsupported pull request URL: " + url);
        EXPECT_EQ(conflictState(url), "unknown: Unsupported pull request URL: " + url);
        EXPECT_THAT(git.commands(), testing::IsEmpty());
    }
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

struct LoudMergeCase {
    GitCommandResult answer;
    const char* outcome;
};

TEST_F(MergeCommandsTest, ALoudMergeGivesTheAnswerWhereTheQuietOneIsNotKnown) {
    const LoudMergeCase rows[] = {
        {{0, "0f1e2d"}, "clean"},
        {{1, "CONFLICT"}, "conflicts"},
        {{2, ""}, "unknown: Unable to check PR 7 for conflicts."},
        {{128, "fatal: broken"}, "unknown: fatal: broken"},
    };
    for (const LoudMergeCase& row : rows) {
        SCOPED_TRACE(row.outcome);
        git.answer("merge-tree --write-tree", row.answer);
        git.answer("merge-tree --write-tree --quiet", {129, "error: unknown option `quiet'"});
        EXPECT_EQ(conflictState(), row.outcome);
    }
}

struct FailureCase {
    const char* command;
    int status;
    const char* mergeReason;     ///< null: not asked
    const char* conflictReason;  ///< null: not asked
};

void PrintTo(const FailureCase& row, std::ostream* out) {
    *out << row.command << " " << row.status;
}

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
