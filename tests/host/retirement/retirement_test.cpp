#include "host/retirement/retirement.hpp"

#include <csignal>
#include <set>

#include <sys/wait.h>
#include <gmock/gmock.h>

#include "host/events/item_history.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::readFile;
using quernlight::test::writeFile;
using testing::_;
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
        for (const char* number : {"1", "2", "3"}) {
            hosted.git({"push", "--quiet", "origin", std::string("main:refs/pull/") + number + "/head"});
        }
        addWorktree(root / "Shop-3f2a9c1d", "Shop-3f2a9c1d");
        addWorktree(root / "Shop-3f2a9c1d-2", "another-bugs");
        addWorktree(outside, "somebodys-own");
    }
    void addWorktree(const std::filesystem::path& path, const std::string& branch) {
        hosted.git({"worktree", "add", "--quiet", "-b", branch, path, "main"});
        writeFile(path / "notes.txt", "not yet committed\n");
    }
    /// A bug whose work is done, and which the backend says nothing of.
    Uuid finished(const std::string& bugID) {
        const Uuid item = enqueue(bugID).id;
        run(store.mappings.upsert({.bundleID = "com.acme.shop",
                                   .appName = "Shop",
                                   .repoPath = repository,
                                   .worktreeRootPath = root.string()}));
        run(manager.markCompleted(item, randomUuid()));
        return item;
    }
    Uuid merged(const std::string& bugID, int pullRequest = 1) {
        const Uuid item = finished(bugID);
        backendNames(pullRequest);
        return item;
    }
    static QLBugSummaryDTO listedBug(const std::string& bugID, const std::optional<Url>& prURL) {
        QLBugSummaryDTO bug;
        bug.id = bugID;
        bug.prURL = prURL;
        return bug;
    }
    void backendNames(int pullRequest) {
        server.answer(
            {.body = R"({"bug":{"id":"3f2a9c1d","title":"Crash","metadata":{},"status":"in_review",)"
                     R"("pr_url":"https://git.example/acme/shop/pull/)" +
                     std::to_string(pullRequest) +
                     R"(",)"
                     R"("occurred_at":"2026-03-04T05:06:07Z","created_at":"2026-03-04T05:06:07Z",)"
                     R"("updated_at":"2026-03-04T05:06:07Z","bundle_id":"com.acme.shop",)"
                     R"("app_id":"0A000000-0000-4000-8000-00000000000A","app_name":"Shop"},)"
                     R"("attachments":[],"comments":[]})"});
    }
    /// From now on every connection to the remote leaves a line in a file.
    void countConnections() {
        const auto script = hosted.scratch("counting-transport");
        writeFile(script, "#!/bin/sh\necho asked >> \"$0.log\"\nexec " STANDIN_GIT_TRANSPORT_PATH " '" +
                              hosted.scratch("served").string() + "' \"$@\"\n");
        std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        hosted.git({"config", "core.sshCommand", script});
    }
    std::ptrdiff_t connections() {
        const std::string log = readFile(hosted.scratch("counting-transport.log"));
        return std::count(log.begin(), log.end(), '\n');
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
    ListedBugs listed;
    Retirement retirement{services, listed, [](const Uuid&) { return false; }};
};

TEST_F(RetirementTest, AMergedBugsOwnWorktreeGoesAndNoOther) {
    const Uuid item = merged("3f2a9c1d");
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(item))) << testing::PrintToString(published.notices);
    EXPECT_FALSE(std::filesystem::exists(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(preservedReferences(), "refs/quernlight/preserved/Shop-3f2a9c1d");
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d-2"));
    EXPECT_TRUE(isUntouched(outside));
    EXPECT_THAT(published.notices, IsEmpty());
}

/// Git knows the worktree by the path behind the link.
TEST_F(RetirementTest, WhatAnEarlierRoundHasKeptIsRememberedBesideWhatThisOneKeeps) {
    const Uuid item = merged("3f2a9c1d");
    run(appendEvent(store.items, {.itemID = item,
                                  .kind = EventKind::workPreserved,
                                  .message = "Kept.",
                                  .metadataJSON = R"({"ref":"refs/quernlight/preserved/earlier"})"}));
    run(retirement.retireMerged());
    EXPECT_EQ(run(store.retired.bug("3f2a9c1d")).value().preservedReference,
              "refs/quernlight/preserved/Shop-3f2a9c1d, refs/quernlight/preserved/earlier");
}

TEST_F(RetirementTest, BehindASymbolicLinkAWorktreeGoesWithGitsMemoryOfIt) {
    const auto link = hosted.scratch("link");
    std::filesystem::create_directory_symlink(root, link);
    const Uuid item = merged("3f2a9c1d");
    run(store.mappings.upsert({.bundleID = "com.acme.shop",
                               .appName = "Shop",
                               .repoPath = repository,
                               .worktreeRootPath = link.string()}));
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(item))) << testing::PrintToString(published.notices);
    EXPECT_FALSE(std::filesystem::exists(root / "Shop-3f2a9c1d"));
    EXPECT_THAT(hosted.git({"worktree", "list", "--porcelain"}),
                testing::Not(HasSubstr((root / "Shop-3f2a9c1d").string() + "\n")));
}

/// Intake takes no such id in, but others may write to the queue as well.
TEST_F(RetirementTest, AWorktreeOutsideTheConfiguredRootIsLeftAlone) {
    const Uuid item = merged("/../../y");
    run(retirement.retireMerged());
    EXPECT_THAT(published.notices,
                ElementsAre("Bug /../../y is merged, but " + (root / "Shop-/../../y").string() +
                            " is not inside the worktrees' directory, so it is left alone."));
    EXPECT_TRUE(isUntouched(outside));
    EXPECT_EQ(preservedReferences(), "");
    EXPECT_EQ(history(item), "enqueued completed");
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RetirementTest, TheRootItselfIsNoBugsWorktree) {
    const Uuid item = merged("/..");
    run(retirement.retireMerged());
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr(" is not inside the worktrees' directory,")));
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RetirementTest, OnceRetiringIsTurnedOffNothingIsTriedAndWhatKeptAWorktreeIsNoLongerShown) {
    const Uuid item = merged("3f2a9c1d");
    hosted.git({"worktree", "lock", root / "Shop-3f2a9c1d"});
    run(retirement.retireMerged());
    EXPECT_THAT(published.alerts, ElementsAre(Pair(AlertKey{AlertTopic::retiring, "3f2a9c1d"},
                                                   HasSubstr("its worktree stays. "))));
    const std::size_t asked = server.requests().size();
    hosted.git({"worktree", "unlock", root / "Shop-3f2a9c1d"});
    settings.retireEnabled = false;
    run(retirement.retireMerged());
    EXPECT_THAT(published.alerts, IsEmpty());
    EXPECT_EQ(server.requests().size(), asked);
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    EXPECT_TRUE(std::filesystem::exists(root / "Shop-3f2a9c1d/.git"));
}

TEST_F(RetirementTest, OneFetchServesAllPullRequestsOfARepository) {
    countConnections();
    const std::vector<Uuid> items{merged("3f2a9c1d", 1), merged("77777777", 2), merged("88888888", 3)};
    run(retirement.retireMerged());
    for (const Uuid& item : items) {
        EXPECT_FALSE(run(store.items.item(item))) << testing::PrintToString(published.notices);
    }
    EXPECT_EQ(connections(), 1);
}

TEST_F(RetirementTest, APullRequestThatTheRemoteDoesNotHaveHoldsUpNoOther) {
    countConnections();
    const Uuid stays = merged("11111111", 4);
    const Uuid goes = merged("3f2a9c1d", 1);
    const Uuid staysToo = merged("88888888", 5);
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(goes))) << testing::PrintToString(published.notices);
    EXPECT_EQ(status(stays), QueueItemStatus::completed);
    EXPECT_EQ(status(staysToo), QueueItemStatus::completed);
    EXPECT_THAT(published.notices, ElementsAre(HasSubstr("remote ref refs/pull/4/head"),
                                               HasSubstr("remote ref refs/pull/5/head")));
    EXPECT_EQ(connections(), 3);  // all, which are there, those
}

/// A reference of the repository stands where that pull request's would.
TEST_F(RetirementTest, APullRequestThatTheRepositoryCannotTakeInHoldsUpNoOther) {
    hosted.git({"update-ref", "refs/remotes/origin/pull/1/head/x", "HEAD"});
    const Uuid stays = merged("3f2a9c1d", 1);
    const std::vector<Uuid> items{merged("77777777", 2), merged("88888888", 3)};
    run(retirement.retireMerged());
    for (const Uuid& item : items) {
        EXPECT_FALSE(run(store.items.item(item))) << testing::PrintToString(published.notices);
    }
    EXPECT_EQ(status(stays), QueueItemStatus::completed);
}

TEST_F(RetirementTest, AMergedBugsWorktreeStaysWhileAProcessWorksInItAndThatIsSaid) {
    const Uuid item = merged("3f2a9c1d");
    const pid_t pid = spawnProcess({.executable = "/bin/sleep",
                                    .arguments = {"sleep", "6000"},
                                    .workingDirectory = root / "Shop-3f2a9c1d"});
    run(retirement.retireMerged());
    EXPECT_THAT(published.alerts,
                ElementsAre(Pair(AlertKey{AlertTopic::retiring, "3f2a9c1d"},
                                 HasSubstr("process " + std::to_string(pid) + " (sleep)"))));
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    backendNames(1);
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(item)));
    EXPECT_THAT(published.alerts, IsEmpty());
}

TEST_F(RetirementTest, AProcessElsewhereThatHasAFileOpenForWritingInTheWorktreeKeepsIt) {
    const Uuid item = merged("3f2a9c1d");
    const std::filesystem::path file = root / "Shop-3f2a9c1d/written";
    const pid_t pid =
        spawnProcess({.executable = "/bin/sh",
                      .arguments = {"sh", "-c", "exec 3>'" + file.string() + "'; exec sleep 6000"},
                      .workingDirectory = "/"});
    ASSERT_TRUE(quernlight::test::eventually([&] { return std::filesystem::exists(file); }));
    run(retirement.retireMerged());
    EXPECT_THAT(published.alerts, ElementsAre(Pair(_, HasSubstr("process " + std::to_string(pid) + " ("))));
    EXPECT_EQ(status(item), QueueItemStatus::completed);
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

TEST_F(RetirementTest, NothingIsReapedWhileTheHomeIsNotInItsPlace) {
    const Uuid item = merged("3f2a9c1d");
    RetirementServices moved = retirementServices(services);
    moved.homeIsInPlace = [] { return false; };
    Retirement elsewhere(moved, listed, [](const Uuid&) { return false; });
    const auto reaped = run(elsewhere.reap());
    EXPECT_THAT(reaped.at(0).sentence, HasSubstr("the dispatch home was moved, removed or replaced."));
    EXPECT_TRUE(isUntouched(root / "Shop-3f2a9c1d"));
    EXPECT_EQ(status(item), QueueItemStatus::completed);
}

TEST_F(RetirementTest, OnlyThePartOfTheStatesThatIsAskedForIsLookedAt) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        finished(bugID);
    }
    server.answer({.status = 404});
    const ReviewStates page = run(retirement.states({.offset = 1, .limit = 1}));
    EXPECT_EQ(page.total, 3U);
    ASSERT_EQ(page.states.size(), 1U);
    EXPECT_EQ(page.states[0].item.bugID, "22222222");
    EXPECT_EQ(server.lines().size(), 1U);
}

TEST_F(RetirementTest, WhatTheBackendHasListedItIsNotAskedFor) {
    const Uuid goes = finished("3f2a9c1d");
    const Uuid stays = finished("77777777");
    listed.replace({listedBug("3F2A9C1D-0000", Url::parse("https://git.example/acme/shop/pull/1")),
                    listedBug("77777777-0000", std::nullopt)});
    run(retirement.retireMerged());
    EXPECT_FALSE(run(store.items.item(goes))) << testing::PrintToString(published.notices);
    EXPECT_EQ(status(stays), QueueItemStatus::completed);
    EXPECT_THAT(server.lines(), IsEmpty());
}

TEST_F(RetirementTest, ABackendThatDoesNotAnswerIsAskedOnceARound) {
    for (const char* bugID : {"11111111", "22222222", "33333333"}) {
        finished(bugID);
    }
    server.answer({.status = 503});
    run(retirement.retireMerged());
    EXPECT_EQ(server.lines().size(), 1U);
    EXPECT_THAT(healthChanges, ElementsAre(HasSubstr("503")));
}

TEST_F(RetirementTest, BugsThatTheBackendDoesNotListAreAskedForAFewARoundInTurn) {
    for (int number = 0; number < 30; ++number) {
        finished(std::to_string(10000000 + number));
    }
    for (int answer = 0; answer < 60; ++answer) {
        server.answer({.status = 404});
    }
    run(retirement.retireMerged());
    EXPECT_EQ(server.requests().size(), 20U);
    run(retirement.retireMerged());
    const auto lines = server.lines();
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 30U);
}

TEST_F(RetirementTest, TheTurnGoesOnThoughTheBugThatWasAskedForLastIsListedAgain) {
    for (int number = 0; number < 30; ++number) {
        finished(std::to_string(10000000 + number));
    }
    for (int answer = 0; answer < 60; ++answer) {
        server.answer({.status = 404});
    }
    run(retirement.retireMerged());
    const std::string last = server.lines().back();
    listed.replace({listedBug(last.substr(last.rfind('/') + 1), std::nullopt)});
    run(retirement.retireMerged());
    const auto lines = server.lines();
    EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 30U);
}

}  // namespace
}  // namespace quernlight::host
