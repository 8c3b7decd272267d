#include "host/retire/retirement.hpp"

#include <gmock/gmock.h>

#include "tests/host/services_fixture.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::readFile;
using quernlight::test::writeFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

/// Bugs in review whose pull request has been merged, of a repository with worktrees in its root for them and
/// one elsewhere, all with work that nobody has saved.
class RetirementTest : public test::ServicesFixture {
  protected:
    RetirementTest() {
        repository = hosted.directory();
        const std::string transport = STANDIN_GIT_TRANSPORT_PATH " " + hosted.scratch("served").string();
        hosted.git({"config", "core.sshCommand", transport});
        hosted.git({"config", "ssh.variant", "simple"});
        hosted.git({"push", "--quiet", "origin", "main:refs/pull/1/head"});
        addWorktree(root / "Shop-3f2a9c1d", "Shop-3f2a9c1d");
        addWorktree(root / "Shop-3f2a9c1d-2", "another-bugs");
        addWorktree(outside, "somebodys-own");
    }
    void addWorktree(const std::filesystem::path& path, const std::string& branch) {
        hosted.git({"worktree", "add", "--quiet", "-b", branch, path, "main"});
        writeFile(path / "notes.txt", "not yet committed\n");
    }
    Uuid merged(const std::string& bugID) {
        const Uuid item = enqueue(bugID).id;
        run(store.mappings.upsert({.bundleID = "com.acme.shop",
                                   .appName = "Shop",
                                   .repoPath = repository,
                                   .worktreeRootPath = root.string()}));
        run(manager.markCompleted(item, randomUuid()));
        server.answer({.body =
                           R"({"bug":{"id":"3f2a9c1d","title":"Crash","metadata":{},"status":"in_review",)"
                           R"("pr_url":"https://git.example/acme/shop/pull/1",)"
                           R"("occurred_at":"2026-03-04T05:06:07Z","created_at":"2026-03-04T05:06:07Z",)"
                           R"("updated_at":"2026-03-04T05:06:07Z","bundle_id":"com.acme.shop",)"
                           R"("app_id":"0A000000-0000-4000-8000-00000000000A","app_name":"Shop"},)"
                           R"("attachments":[],"comments":[]})"});
        return item;
    }
    /// Not even its index has changed.
    bool isUntouched(const std::filesystem::path& worktree) {
        return readFile(worktree / "notes.txt") == "not yet committed\n" &&
               hosted.git(worktree, {"status", "--porcelain"}) == "?? notes.txt";
    }
    std::string preservedReferences() {
        return hosted.git({"for-each-ref", "--format=%(refname)", "refs/quernlight"});
    }

    standin::test::HostedRepository hosted;
    const std::filesystem::path root = hosted.scratch("worktrees");
    const std::filesystem::path outside = hosted.scratch("y");
    Retirement retirement{services, [](const Uuid&) { return false; }};
};

TEST_F(RetirementTest, AMergedBugsOwnWorktreeGoesAndNoOther) {
    const Uuid item = merged("3f2a9c1d");
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(item))) << testing::PrintToString(board.notes);
    EXPECT_FALSE(std::filesystem::exists(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(preservedReferences(), "refs/quernlight/preserved/Shop-3f2a9c1d");
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d-2"));
    EXPECT_TRUE(isUntouched(outside));
    EXPECT_THAT(board.notes, IsEmpty());
}

/// Intake takes no such id in, but others may write to the queue as well.
TEST_F(RetirementTest, AWorktreeOutsideTheConfiguredRootIsLeftAlone) {
    const Uuid item = merged("/../../y");
    run(retirement.retireMerged());
    EXPECT_THAT(board.notes, ElementsAre("Bug /../../y is merged, but " + (root / "Shop-/../../y").string() +
                                         " is not inside the worktrees' directory, so it is left alone."));
    EXPECT_TRUE(isUntouched(outside));
    EXPECT_EQ(preservedReferences(), "");
    EXPECT_EQ(history(item), "enqueued completed");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RetirementTest, TheRootItselfIsNoBugsWorktree) {
    const Uuid item = merged("/..");
    run(retirement.retireMerged());
    EXPECT_THAT(board.notes, ElementsAre(HasSubstr(" is not inside the worktrees' directory,")));
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RetirementTest, OnceRetiringIsTurnedOffNothingIsTriedAndWhatKeptAWorktreeIsNoLongerShown) {
    const Uuid item = merged("3f2a9c1d");
    hosted.git({"worktree", "lock", root / "Shop-3f2a9c1d"});
    run(retirement.retireMerged());
    EXPECT_THAT(board.conditions, ElementsAre(Pair("retiring 3f2a9c1d", HasSubstr("its worktree stays: "))));
    const std::size_t asked = server.requests().size();
    hosted.git({"worktree", "unlock", root / "Shop-3f2a9c1d"});
    settings.retireEnabled = false;
    run(retirement.retireMerged());
    EXPECT_THAT(board.conditions, IsEmpty());
    EXPECT_EQ(server.requests().size(), asked);
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_TRUE(std::filesystem::exists(root / "Shop-3f2a9c1d/.git"));
}

}  // namespace
}  // namespace quernlight::host
