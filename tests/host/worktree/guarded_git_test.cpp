#include "host/worktree/guarded_git.hpp"

#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/worktree/git_marks.hpp"
#include "host/worktree/git_time_limit.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;

struct Filter {
    const char* name;
    const char* settings;
    bool isLeftOut;  // filter "x"
};

void PrintTo(const Filter& row, std::ostream* out) {
    *out << row.name;
}

class GuardOptionsTest : public testing::TestWithParam<Filter> {};

TEST_P(GuardOptionsTest, LeaveOutWhatMayRunAFileOfTheWorktrees) {
    const auto options = guardOptions(GetParam().settings);
    for (const char* option :
         {"filter.x.clean=", "filter.x.smudge=", "filter.x.process=", "filter.x.required=false"}) {
        EXPECT_EQ(testing::Value(options, Contains(option)), GetParam().isLeftOut) << option;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, GuardOptionsTest,
    testing::Values(
        Filter{"a file of the worktree's", "filter.x.clean ./clean.sh %f", true},
        Filter{"an interpreter and a file", "filter.x.smudge node tools/smudge.js", true},
        Filter{"a file without a path", "filter.x.clean python clean.py", true},
        Filter{"another of the same name", "filter.x.clean git-lfs clean -- %f\nfilter.x.smudge ./s", true},
        Filter{"a known one", "filter.x.process git-lfs filter-process", false},
        Filter{"a known one as git's command", "filter.x.clean git lfs clean -- %f", false},
        Filter{"a known one in quotes", "filter.x.clean \"git-crypt\" clean", false},
        Filter{"a known one and a file", "filter.x.clean git-lfs clean; ./run", true},
        Filter{"a command of two lines", "filter.x.clean git-lfs clean\n./run", true},
        Filter{"a name with dots and blanks in a command", "filter.y.z.clean ./run filter.x.clean", false},
        Filter{"none", "", false}));

TEST(GuardOptionsTest, LeaveOutHooksAndTheMonitorAlways) {
    EXPECT_THAT(guardOptions(""), ElementsAre("-c", "core.hooksPath=/dev/null", "-c", "core.fsmonitor=false",
                                              "-c", "log.showSignature=false"));
}

TEST(GuardOptionsTest, LeaveOutEveryMergeDriver) {
    EXPECT_THAT(
        guardOptions("", "merge.ours.driver ./run %A\nsecond line\nmerge.a.b.driver true\nmerge..driver x"),
        IsSupersetOf({"merge.ours.driver=false", "merge.a.b.driver=false"}));
}

/// A repository in which an agent has worked.
class GuardedLaterTest : public testing::Test {
  protected:
    GuardedLaterTest() {
        program("hook");
        repository.git({"config", "core.hooksPath", (directory() / "hooks").string()});
        std::filesystem::create_directories(directory() / "hooks");
        std::filesystem::copy_file(directory() / "hook", directory() / "hooks/reference-transaction");
        program("driver");
        repository.git({"config", "merge.mine.driver", (directory() / "driver").string()});
        quernlight::test::writeFile(directory() / ".git/info/attributes", "* merge=mine\n");
    }
    std::filesystem::path directory() const { return repository.directory(); }

    void program(const std::string& name) {
        quernlight::test::writeFile(directory() / name, "#!/bin/sh\necho >> '" + ran.string() + "'\n");
        std::filesystem::permissions(directory() / name, std::filesystem::perms::owner_all);
    }
    void commitOn(const std::string& branch, const std::string& content) {
        repository.git({"-c", "core.hooksPath=/dev/null", "checkout", "--quiet", "-B", branch, "main"});
        quernlight::test::writeFile(directory() / "README", content);
        repository.git({"-c", "core.hooksPath=/dev/null", "commit", "--quiet", "--all", "-m", branch});
    }
    GitCommandResult ask(std::vector<std::string> words) {
        words.insert(words.begin(), {"-C", directory().string()});
        return quernlight::test::runTask(git(std::move(words)));
    }

    quernlight::standin::test::HostedRepository repository;
    const std::filesystem::path ran = repository.scratch("ran");
    const GitRunner git = guardedLater(limitedGit(newGitRunMark(), GitOutput::answer), directory().string());
};

TEST_F(GuardedLaterTest, NoMergeDriverIsRunAndWhatItWouldMergeConflicts) {
    commitOn("one", "One.\n");
    commitOn("two", "Two.\n");
    EXPECT_EQ(ask({"merge-tree", "--write-tree", "one", "two"}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(ran));
}

TEST_F(GuardedLaterTest, NoHookIsRunByAFetch) {
    EXPECT_TRUE(ask({"update-ref", "refs/quernlight/test", "main"}).succeeded());
    EXPECT_FALSE(std::filesystem::exists(ran));
}

}  // namespace
}  // namespace quernlight::host
