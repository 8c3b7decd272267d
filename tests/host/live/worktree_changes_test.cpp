#include "host/live/worktree_changes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/user_error.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/hosted_repository.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// A worktree beside a real repository.
class WorktreeChangesTest : public testing::Test {
  protected:
    WorktreeChangesTest() { repository_.git({"worktree", "add", "-q", "-b", "Shop-1", worktree(), "HEAD"}); }

    std::string worktree() const { return repository_.scratch("worktree"); }
    void write(const std::string& name, const std::string& text) const {
        quernlight::test::writeFile(std::filesystem::path(worktree()) / name, text);
    }
    std::string git(const std::vector<std::string>& arguments) const {
        return repository_.git(worktree(), arguments);
    }
    std::vector<std::string> changes() {
        return quernlight::test::runTask(
            changesIn(repository_.scratch("home"),
                      {.worktree = worktree(), .repository = repository_.directory(), .baseBranch = "main"}));
    }

    standin::test::HostedRepository repository_;
};

TEST_F(WorktreeChangesTest, NothingHasChangedAtFirst) {
    EXPECT_THAT(changes(), ElementsAre("Nothing has changed."));
}

TEST_F(WorktreeChangesTest, CommittedAndUncommittedChangesAreShownAsOne) {
    write("first.txt", "one\n");
    git({"add", "first.txt"});
    git({"-c", "user.name=A", "-c", "user.email=a@b", "commit", "-q", "-m", "first"});
    write("first.txt", "one\ntwo\n");
    write("new.txt", "new\n");
    const auto lines = changes();
    EXPECT_THAT(lines, Contains(HasSubstr("first.txt | 2 ++")));
    EXPECT_THAT(lines, Contains(" new.txt (new)"));
    EXPECT_THAT(lines, Contains("+two"));
}

TEST_F(WorktreeChangesTest, SoManyThatNobodyReadsThemAreCounted) {
    std::string text;
    for (int line = 0; line < 30'000; ++line) {
        text += "line\n";
    }
    write("long.txt", text);
    git({"add", "long.txt"});
    EXPECT_THAT(changes(), Contains("30000 lines have changed, too many to be shown here."));
    EXPECT_THAT(changes(), Not(Contains("+line")));
}

/// An agent may have written what a configuration names.
TEST_F(WorktreeChangesTest, NoProgramOfTheWorktreeIsRun) {
    const std::string proof = repository_.scratch("proof");
    write(".gitattributes", "* filter=x diff=x\n");
    write("run", "#!/bin/sh\ntouch " + proof + "\n");
    git({"add", "."});
    std::filesystem::permissions(std::filesystem::path(worktree()) / "run",
                                 std::filesystem::perms::owner_all);
    for (const char* setting : {"filter.x.clean", "diff.x.command", "diff.x.textconv", "core.fsmonitor"}) {
        git({"config", setting, worktree() + "/run"});
    }
    write("run2", "changed");
    changes();
    EXPECT_FALSE(std::filesystem::exists(proof));
}

TEST_F(WorktreeChangesTest, AWorktreeThatHasGoneIsSaid) {
    std::filesystem::remove_all(worktree());
    EXPECT_THROW(changes(), UserError);
}

}  // namespace
}  // namespace quernlight::host
