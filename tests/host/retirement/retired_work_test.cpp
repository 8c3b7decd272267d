#include <algorithm>
#include <filesystem>
#include <functional>

#include <sys/stat.h>
#include <gmock/gmock.h>

#include "host/retirement/retirement.hpp"
#include "tests/host/services_fixture.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::host {
namespace {

using quernlight::test::readFile;
using quernlight::test::writeFile;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace fs = std::filesystem;

/// What somebody has left in a bug's worktree. The bug is merged; all that is committed at first is pushed.
class Worktree {
  public:
    Worktree(const standin::test::HostedRepository& hosted, fs::path path, std::string branch)
        : hosted_(hosted), path_(std::move(path)), branch_(std::move(branch)) {
        hosted_.git({"worktree", "add", "--quiet", "-b", branch_, path_, "main"});
        write("fix.txt", "fixed\n");
        write(".gitignore", "build/\n");
        commit("Fix it");
        git({"push", "--quiet", "origin", branch_});
    }

    std::string git(const std::vector<std::string>& arguments) const { return hosted_.git(path_, arguments); }
    std::string gitIn(const std::string& directory, const std::vector<std::string>& arguments) const {
        return hosted_.git(path_ / directory, arguments);
    }
    /// Git that fails, as one that finds a conflict does.
    void tryGit(const std::vector<std::string>& arguments) const { EXPECT_ANY_THROW(git(arguments)); }
    void write(const std::string& name, const std::string& content) const {
        writeFile(path_ / name, content);
    }
    std::string commit(const std::string& message) const {
        git({"add", "--all"});
        git({"commit", "--quiet", "--allow-empty", "-m", message});
        return git({"rev-parse", "HEAD"});
    }
    /// A commit that only the log of HEAD knows.
    std::string commitAndReset(const std::string& message) const {
        write("aside.txt", message + "\n");
        const std::string made = commit(message);
        git({"reset", "--quiet", "--hard", "HEAD~1"});
        return made;
    }
    /// Another branch's commit that changes the same line; the branch is gone.
    std::string otherSide() const {
        git({"checkout", "--quiet", "--detach"});
        write("fix.txt", "theirs\n");
        const std::string theirs = commit("Theirs");
        git({"checkout", "--quiet", branch_});
        write("fix.txt", "ours\n");
        commit("Ours");
        git({"push", "--quiet", "origin", branch_});
        return theirs;
    }
    void makeRepository(const std::string& directory) const { makeRepositoryAt(path_ / directory); }
    void makeRepositoryAt(const fs::path& place) const {
        writeFile(place / "inner.txt", "inner\n");
        gitAt(place, {"init", "--quiet"});
        gitAt(place, {"add", "--all"});
        gitAt(place, {"-c", "user.name=A", "-c", "user.email=a@example.org", "commit", "--quiet", "-m", "I"});
    }
    /// With the worktree's commit on a branch.
    void makeBare(const std::string& directory) const {
        git({"init", "--quiet", "--bare", path_ / directory});
        pushTo(directory);
    }
    void pushTo(const std::string& directory) const {
        git({"push", "--quiet", path_ / directory, "HEAD:refs/heads/kept"});
    }
    std::string gitAt(const fs::path& place, const std::vector<std::string>& arguments) const {
        return hosted_.git(place, arguments);
    }
    /// The name of a content, which a reference has to reach.
    std::string blob(const std::string& content) const {
        writeFile(path_.parent_path() / "content", content);
        return git({"hash-object", path_.parent_path() / "content"});
    }
    /// What git keeps for it alone.
    fs::path own() const { return git({"rev-parse", "--absolute-git-dir"}); }
    const fs::path& path() const { return path_; }

  private:
    const standin::test::HostedRepository& hosted_;
    fs::path path_;
    std::string branch_;
};

struct Row {
    const char* name;
    /// Leaves work, and names the objects that a reference must reach when the worktree has gone.
    std::function<std::vector<std::string>(const Worktree&)> leave;
    const char* plan;  ///< a part of what the plan says is kept or, where the worktree stays, of why
    bool goes = true;
};

using Objects = std::vector<std::string>;

const std::vector<Row>& goingRows() {
    static const std::vector<Row> rows{
        {"nothing", [](const Worktree&) { return Objects(); }, ""},
        {"a changed file",
         [](const Worktree& tree) {
             tree.write("fix.txt", "better\n");
             return Objects{tree.blob("better\n")};
         },
         "1 changed file"},
        {"a new file and a commit that is not pushed",
         [](const Worktree& tree) {
             tree.write("more.txt", "more\n");
             const std::string commit = tree.commit("More");
             tree.write("new.txt", "new\n");
             return Objects{commit, tree.blob("new\n")};
         },
         "1 changed file and 1 commit that no remote has"},
        {"a file that git was told to overlook",
         [](const Worktree& tree) {
             tree.git({"update-index", "--skip-worktree", "fix.txt"});
             tree.write("fix.txt", "here only\n");
             return Objects{tree.blob("here only\n")};
         },
         "1 changed file"},
        {"staged, then changed in the file",
         [](const Worktree& tree) {
             tree.write("fix.txt", "staged\n");
             tree.git({"add", "fix.txt"});
             tree.write("fix.txt", "later\n");
             return Objects{tree.blob("staged\n"), tree.blob("later\n")};
         },
         "1 changed file and content that is staged only"},
        {"staged, then removed",
         [](const Worktree& tree) {
             tree.write("only.txt", "staged only\n");
             tree.git({"add", "only.txt"});
             fs::remove(tree.path() / "only.txt");
             return Objects{tree.blob("staged only\n")};
         },
         "content that is staged only"},
        {"staged, and the same in the file",
         [](const Worktree& tree) {
             tree.write("fix.txt", "both\n");
             tree.git({"add", "fix.txt"});
             return Objects{tree.blob("both\n")};
         },
         "1 changed file"},
        {"a conflict whose file was overwritten",
         [](const Worktree& tree) {
             const std::string theirs = tree.otherSide();
             tree.tryGit({"merge", "--quiet", theirs});
             tree.write("fix.txt", "neither\n");
             return Objects{theirs, tree.blob("theirs\n"), tree.blob("neither\n")};
         },
         "the sides of a conflict"},
        {"an interrupted rebase with what it has put aside",
         [](const Worktree& tree) {
             const std::string theirs = tree.otherSide();
             tree.write(".gitignore", "build/\nput aside\n");
             tree.tryGit({"rebase", "--quiet", "--autostash", theirs});
             return Objects{theirs, tree.blob("build/\nput aside\n")};
         },
         "commits that no branch has"},
        {"an amended commit",
         [](const Worktree& tree) {
             tree.write("more.txt", "first\n");
             const std::string amended = tree.commit("More");
             tree.write("more.txt", "second\n");
             tree.git({"add", "--all"});
             tree.git({"commit", "--quiet", "--amend", "-m", "More"});
             return Objects{amended, tree.git({"rev-parse", "HEAD"})};
         },
         "1 commit that no remote has and 1 line of commits that no branch has"},
        {"several commits that were reset away",
         [](const Worktree& tree) {
             return Objects{tree.commitAndReset("One"), tree.commitAndReset("Two"),
                            tree.commitAndReset("Three")};
         },
         "3 lines of commits that no branch has"},
        {"a detached HEAD that was left behind",
         [](const Worktree& tree) {
             tree.git({"checkout", "--quiet", "--detach"});
             const std::string first = tree.commit("First");
             const std::string second = tree.commit("Second");
             tree.git({"checkout", "--quiet", "-"});
             return Objects{first, second};
         },
         "1 line of commits that no branch has"},
        {"a reference of its own",
         [](const Worktree& tree) {
             tree.git({"update-ref", "refs/worktree/kept", tree.commitAndReset("Kept")});
             fs::remove_all(tree.own() / "logs");
             return Objects{tree.git({"rev-parse", "refs/worktree/kept"})};
         },
         "1 line of commits that no branch has"},
        {"a bisection",
         [](const Worktree& tree) {
             const std::string bad = tree.commitAndReset("Bad");
             tree.git({"bisect", "start", bad, "HEAD~1"});
             fs::remove_all(tree.own() / "logs");
             return Objects{bad};
         },
         "commits that no branch has"},
        {"a stash, which all worktrees share",
         [](const Worktree& tree) {
             tree.write("fix.txt", "stashed\n");
             tree.git({"stash", "--quiet"});
             return Objects{tree.blob("stashed\n")};
         },
         ""},
        {"a clone that is ignored, which has its commits from elsewhere",
         [](const Worktree& tree) {
             tree.git({"clone", "--quiet", tree.own() / "../..", tree.path() / "build/clone"});
             return Objects();
         },
         ""},
        {"a bare clone that is ignored",
         [](const Worktree& tree) {
             tree.git({"clone", "--quiet", "--bare", tree.own() / "../..", tree.path() / "build/bare.git"});
             return Objects();
         },
         ""},
        {"a clone with a submodule that is ignored",
         [](const Worktree& tree) {
             const fs::path outer = tree.path().parent_path() / "outer";
             tree.makeRepositoryAt(outer);
             tree.gitAt(outer, {"-c", "protocol.file.allow=always", "submodule", "--quiet", "add",
                                "file://" + (tree.own() / "../..").string(), "part"});
             tree.gitAt(outer, {"-c", "user.name=A", "-c", "user.email=a@example.org", "commit", "--quiet",
                                "-m", "With a part"});
             tree.git({"-c", "protocol.file.allow=always", "clone", "--quiet", "--recursive",
                       "file://" + outer.string(), tree.path() / "build/outer"});
             return Objects();
         },
         ""},
        {"a clone of a tag alone that is ignored",
         [](const Worktree& tree) {
             tree.git({"tag", "v1", "HEAD"});
             tree.git({"clone", "--quiet", "--depth=1", "--branch=v1",
                       "file://" + (tree.own() / "../..").string(), tree.path() / "build/tagged"});
             tree.git({"tag", "--delete", "v1"});
             return Objects();
         },
         ""},
        {"files that are ignored, which nobody keeps",
         [](const Worktree& tree) {
             tree.write("build/a.o", "12345");
             tree.write("build/b.o", "1234567");
             return Objects();
         },
         ""},
    };
    return rows;
}

const std::vector<Row>& stayingRows() {
    static const std::vector<Row> rows{
        {"a repository inside it",
         [](const Worktree& tree) {
             tree.makeRepository("inner");
             return Objects();
         },
         "it holds a git repository of its own at inner;", false},
        {"a repository around files that are known",
         [](const Worktree& tree) {
             tree.write("parts/known.txt", "known\n");
             tree.commit("Parts");
             tree.makeRepository("parts");
             return Objects();
         },
         "it holds a git repository of its own at parts;", false},
        {"a repository with commits of its own that is ignored",
         [](const Worktree& tree) {
             tree.makeRepository("build/inner");
             tree.gitIn("build/inner", {"tag", "v1"});
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"one with a tag that it has packed itself",
         [](const Worktree& tree) {
             tree.makeRepository("build/inner");
             tree.gitIn("build/inner", {"-c", "user.name=A", "-c", "user.email=a@example.org", "tag", "-a",
                                        "-m", "1", "v1"});
             tree.gitIn("build/inner", {"gc", "--quiet"});
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"one whose packed branches cannot be read",
         [](const Worktree& tree) {
             tree.makeRepository("build/inner");
             tree.gitIn("build/inner", {"pack-refs", "--all"});
             const fs::path packed = tree.path() / "build/inner/.git/packed-refs";
             fs::remove(packed);
             EXPECT_EQ(mkfifo(packed.c_str(), 0600), 0);
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"a bare one that is ignored",
         [](const Worktree& tree) {
             tree.makeBare("build/bare.git");
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"a bare one that git names as ignored itself",
         [](const Worktree& tree) {
             tree.write(".gitignore", "build/\nkept.git/\n");
             tree.makeBare("kept.git");
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"a bare one all of whose parts are ignored",
         [](const Worktree& tree) {
             tree.write(".gitignore", "build/\nkept.git/*\n");
             tree.makeBare("kept.git");
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"a bare clone into which somebody has pushed",
         [](const Worktree& tree) {
             tree.git({"clone", "--quiet", "--bare", tree.own() / "../..", tree.path() / "build/bare.git"});
             tree.commit("Pushed");
             tree.pushTo("build/bare.git");
             return Objects();
         },
         "git ignores there a repository with commits of its own, ", false},
        {"a submodule's repository that git keeps for it",
         [](const Worktree& tree) {
             fs::create_directories(tree.own() / "modules/library/objects");
             return Objects();
         },
         "git keeps its submodules' repositories at ", false},
        {"altered pointers",
         [](const Worktree& tree) {
             writeFile(tree.own() / "commondir", "/elsewhere\n");
             return Objects();
         },
         "commondir names a place where nothing is;", false},
        {"a lock",
         [](const Worktree& tree) {
             tree.git({"worktree", "lock", tree.path()});
             return Objects();
         },
         "it is locked; unlock it with ", false},
        {"patches that are being applied",
         [](const Worktree& tree) {
             tree.write("fix.txt", "patched\n");
             tree.commit("Patch it");
             tree.git({"format-patch", "--quiet", "-1", "-o", tree.path().parent_path() / "patches"});
             tree.write("fix.txt", "in the way\n");
             tree.commit("Be in the way");
             tree.tryGit({"am", "--quiet", tree.path().parent_path() / "patches/0001-Patch-it.patch"});
             return Objects();
         },
         "patches are being applied in it;", false},
    };
    return rows;
}

/// Each row is a merged bug with a worktree.
class RetiredWorkTest : public test::ServicesFixture {
  protected:
    RetiredWorkTest() {
        repository = hosted.directory();
        hosted.git({"config", "core.sshCommand",
                    STANDIN_GIT_TRANSPORT_PATH " " + hosted.scratch("served").string()});
        hosted.git({"config", "ssh.variant", "simple"});
        hosted.git({"config", "user.name", "Agent"});
        hosted.git({"config", "user.email", "agent@example.org"});
        hosted.git({"push", "--quiet", "origin", "main:refs/pull/1/head"});
        hosted.git({"fetch", "--quiet", "origin"});
    }
    void add(const Row& row) {
        const std::string bugID = std::to_string(10000000 + bugs.size());
        const Uuid item = enqueue(bugID).id;
        run(store.mappings.upsert({.bundleID = "com.acme.shop",
                                   .appName = "Shop",
                                   .repoPath = repository,
                                   .worktreeRootPath = root.string()}));
        run(manager.markCompleted(item, randomUuid()));
        QLBugSummaryDTO bug;
        bug.id = bugID + "-0000";
        bug.prURL = Url::parse("https://git.example/acme/shop/pull/1");
        bugs.push_back(bug);
        worktrees.emplace_back(hosted, root / ("Shop-" + bugID), "Shop-" + bugID);
        objects.push_back(row.leave(worktrees.back()));
    }
    void addAll(const std::vector<Row>& rows) {
        std::ranges::for_each(rows, [&](const Row& row) { add(row); });
        listed.replace(bugs);
    }
    std::string referencesReach() {
        return hosted.git({"rev-list", "--objects", "--no-object-names", "--glob=refs/*"});
    }
    std::string ownState(const Worktree& tree) {
        return readFile(tree.own() / "index") +
               tree.git({"for-each-ref", "refs/heads", "refs/stash", "refs/worktree", "refs/quernlight"}) +
               tree.git({"reflog"});
    }

    standin::test::HostedRepository hosted;
    const fs::path root = hosted.scratch("worktrees");
    ListedBugs listed;
    Retirement retirement{services, listed, [](const Uuid&) { return false; }};
    std::vector<QLBugSummaryDTO> bugs;
    std::vector<Worktree> worktrees;
    std::vector<Objects> objects;
};

TEST_F(RetiredWorkTest, NoWorkGoesWithAWorktreeAndThePlanSaysWhatIsKept) {
    addAll(goingRows());
    const std::vector<ReapedBug> plans = run(retirement.plan());
    const std::vector<ReapedBug> reaped = run(retirement.reap());
    const std::string reachable = referencesReach();
    for (std::size_t index = 0; index < goingRows().size(); ++index) {
        SCOPED_TRACE(goingRows()[index].name);
        EXPECT_TRUE(plans[index].goes) << plans[index].sentence;
        EXPECT_TRUE(reaped[index].goes) << reaped[index].sentence;
        EXPECT_FALSE(fs::exists(worktrees[index].path()));
        EXPECT_THAT(plans[index].preserved, HasSubstr(goingRows()[index].plan));
        EXPECT_EQ(plans[index].preserved.empty(), reaped[index].preserved.empty()) << reaped[index].preserved;
        for (const std::string& object : objects[index]) {
            EXPECT_THAT(reachable, HasSubstr(object));
        }
    }
}

TEST_F(RetiredWorkTest, WhatCannotBeKeptLeavesItsWorktreeAndPlanAndDeedSayTheSame) {
    addAll(stayingRows());
    const std::vector<ReapedBug> plans = run(retirement.plan());
    const std::vector<ReapedBug> reaped = run(retirement.reap());
    for (std::size_t index = 0; index < stayingRows().size(); ++index) {
        SCOPED_TRACE(stayingRows()[index].name);
        EXPECT_FALSE(plans[index].goes);
        EXPECT_THAT(plans[index].sentence, HasSubstr(stayingRows()[index].plan));
        EXPECT_EQ(reaped[index].sentence, plans[index].sentence);
        EXPECT_TRUE(fs::exists(worktrees[index].path() / "fix.txt"));
    }
}

TEST_F(RetiredWorkTest, WhatGitStillHasOfADirectoryThatIsGoneIsKept) {
    addAll({{"a directory that somebody has removed",
             [](const Worktree& tree) {
                 const std::string aside = tree.commitAndReset("Aside");
                 tree.write("only.txt", "staged only\n");
                 tree.git({"add", "only.txt"});
                 const std::string staged = tree.blob("staged only\n");
                 fs::remove_all(tree.path());
                 return Objects{aside, staged};
             },
             ""}});
    EXPECT_EQ(run(retirement.plan()).front().preserved,
              "content that is staged only and 1 line of commits that no branch has");
    EXPECT_TRUE(run(retirement.reap()).front().goes);
    for (const std::string& object : objects.front()) {
        EXPECT_THAT(referencesReach(), HasSubstr(object));
    }
}

TEST_F(RetiredWorkTest, APlanLeavesIndexReferencesAndLogsAsTheyAre) {
    addAll(goingRows());
    std::vector<std::string> before;
    std::ranges::transform(worktrees, std::back_inserter(before), [&](auto& tree) { return ownState(tree); });
    run(retirement.plan());
    for (std::size_t index = 0; index < worktrees.size(); ++index) {
        EXPECT_TRUE(ownState(worktrees[index]) == before[index]) << goingRows()[index].name;
    }
}

TEST_F(RetiredWorkTest, WhatGitIgnoresIsCountedBeforeItGoes) {
    addAll({goingRows().back()});
    const std::string ignored = "with 2 files that git ignores (12 bytes).";
    EXPECT_THAT(run(retirement.plan()).front().sentence, HasSubstr("would go, " + ignored));
    EXPECT_THAT(run(retirement.reap()).front().sentence, HasSubstr("is gone, " + ignored));
}

TEST_F(RetiredWorkTest, TheSavingsOfARetirementThatWasCutOffAreNotMadeTwice) {
    addAll(goingRows());
    for (const Worktree& tree : worktrees) {
        run(preserveWork({.repoPath = repository,
                          .worktreePath = tree.path(),
                          .branch = tree.path().filename().string()}));
    }
    const std::string kept = hosted.git({"for-each-ref", "refs/quernlight"});
    EXPECT_THAT(kept, Not(IsEmpty()));
    run(retirement.reap());
    EXPECT_EQ(hosted.git({"for-each-ref", "refs/quernlight"}), kept);
}

}  // namespace
}  // namespace quernlight::host
