#include "quernlight/platform/process_table.hpp"

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "quernlight/platform/exit_watcher.hpp"
#include "quernlight/platform/file_descriptor.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight {
namespace {

/// Waits until the child has ended, without reaping it.
void awaitEnd(pid_t child) {
    const FileDescriptor watcher = watchExit(child);
    pollfd exited{watcher.get(), POLLIN, 0};
    do {
        ASSERT_EQ(poll(&exited, 1, 60000), 1);
    } while (!canBeReaped(watcher.get(), child));
}

/// A child that runs until the end of the test, unless something else ends it.
class Child {
  public:
    explicit Child(const std::string& script, const std::string& program = "/bin/sh")
        : pid_(spawnProcess({.executable = program,
                             .arguments = {program, "-c", script},
                             .environment = {"NAME=value", "OTHER=1"}})) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        ::kill(-pid_, SIGKILL);  // it leads a group of its own, and the shell's children are in it
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }

    pid_t pid() const { return pid_; }
    ProcessEntry entry() const { return processEntry(pid_); }

  private:
    pid_t pid_;
};

const std::string sleeping = "while :; do sleep 1000; done";

std::vector<pid_t> listedPids() {
    std::vector<pid_t> pids;
    for (const ProcessEntry& entry : processTable()) {
        pids.push_back(entry.pid);
    }
    return pids;
}

TEST(ProcessTableTest, ListsThisProcessAsItsOwnEntryDescribesIt) {
    const auto table = processTable();
    const auto self = std::find_if(table.begin(), table.end(),
                                   [](const ProcessEntry& entry) { return entry.pid == getpid(); });
    ASSERT_NE(self, table.end());
    EXPECT_EQ(*self, processEntry(getpid()));
    EXPECT_EQ(self->parent, getppid());
    EXPECT_EQ(self->session, getsid(0));
    EXPECT_FALSE(self->isZombie);
}

TEST(ProcessTableTest, IsOrderedByPidAndHoldsEveryPidOnce) {
    const auto pids = listedPids();
    EXPECT_EQ(std::adjacent_find(pids.begin(), pids.end(), std::greater_equal<>()), pids.end());
}

TEST(ProcessTableTest, AChildThatLeadsASessionIsListedWithItsParentAndSession) {
    const Child child(sleeping);
    EXPECT_EQ(child.entry().pid, child.pid());
    EXPECT_EQ(child.entry().parent, getpid());
    EXPECT_EQ(child.entry().session, child.pid());
}

TEST(ProcessTableTest, AProgramNameWithBlanksAndParenthesesDoesNotConfuseTheFields) {
    test::TemporaryDirectory directory;
    std::filesystem::create_symlink("/bin/sh", directory / "a) R 1 (2");
    const Child child(sleeping, directory / "a) R 1 (2");
    EXPECT_EQ(child.entry().parent, getpid());
    EXPECT_EQ(child.entry().session, child.pid());
    EXPECT_FALSE(child.entry().isZombie);
}

TEST(ProcessTableTest, APidThatNoProcessHasHasNoEntry) {
    pid_t ended = -1;
    {
        const Child child("exit 0");
        ended = child.pid();
    }
    for (const pid_t pid : {ended, pid_t{-1}, pid_t{0}}) {
        EXPECT_EQ(processEntry(pid), ProcessEntry{}) << pid;
        EXPECT_FALSE(startedWith(pid, "NAME=value")) << pid;
    }
}

TEST(ProcessTableTest, AChildThatHasEndedIsAZombieUntilItIsReaped) {
    const Child child("exit 0");
    awaitEnd(child.pid());
    EXPECT_TRUE(child.entry().isZombie);
    EXPECT_FALSE(startedWith(child.pid(), "NAME=value"));
    reapChild(child.pid());
    EXPECT_EQ(child.entry().pid, -1);
    const auto pids = listedPids();
    EXPECT_EQ(std::count(pids.begin(), pids.end(), child.pid()), 0);
}

TEST(ProcessTableTest, ReapingTakesNeitherARunningChildNorAnother) {
    const Child running(sleeping);
    const Child other("exit 0");
    awaitEnd(other.pid());
    reapChild(running.pid());
    reapChild(1);
    EXPECT_EQ(running.entry().pid, running.pid());
    EXPECT_TRUE(other.entry().isZombie);
}

TEST(ProcessTableTest, OnlyTheSameProcessHasTheSamePidAndBirth) {
    const Child first(sleeping);
    const Child second(sleeping);
    ProcessEntry laterOfThatPid = first.entry();
    laterOfThatPid.startTime += "0";
    EXPECT_TRUE(isSameProcess(first.entry(), first.entry()));
    EXPECT_FALSE(isSameProcess(first.entry(), second.entry()));
    EXPECT_FALSE(isSameProcess(first.entry(), laterOfThatPid));
    EXPECT_NE(first.entry().startTime, "");
    EXPECT_TRUE(test::eventually([&] { return first.entry().name == "sh"; }));  // execve(2) sets it late
}

TEST(ProcessTableTest, AProcessWasStartedWithExactlyTheAssignmentsOfItsEnvironment) {
    const Child child(sleeping + "; : ARGUMENT=1");
    const std::vector<std::pair<std::string, bool>> rows = {
        {"NAME=value", true}, {"OTHER=1", true}, {"NAME=val", false},   {"NAME=values", false},
        {"AME=value", false}, {"NAME", false},   {"ARGUMENT=1", false}, {"", false}};
    for (const auto& [assignment, expected] : rows) {
        EXPECT_EQ(startedWith(child.pid(), assignment), expected) << assignment;
    }
}

TEST(ProcessTableTest, AProcessWorksWhereItWentAndAnEndedOneNowhere) {
    const test::TemporaryDirectory directory;
    const auto place = std::filesystem::canonical(directory.path());
    {
        const Child child("cd '" + place.string() + "'; " + sleeping);
        EXPECT_TRUE(test::eventually([&] { return workingDirectoryOf(child.pid()) == place; }));
    }
    const Child ended("exit 0");
    awaitEnd(ended.pid());
    EXPECT_EQ(workingDirectoryOf(ended.pid()), "");
    EXPECT_EQ(workingDirectoryOf(-1), "");
}

TEST(ProcessTableTest, FilesThatAProcessHasOpenForWritingAreSeen) {
    const test::TemporaryDirectory directory;
    const std::filesystem::path place = std::filesystem::canonical(directory.path());
    const std::string in = place.string() + "/";
    const Child child("cd /; echo read >" + in + "read; exec 3>" + in + "written 4<" + in + "read 5>>" + in +
                      "appended; exec sleep 60");
    EXPECT_TRUE(test::eventually([&] {
        auto files = filesOpenForWriting(child.pid());
        std::erase_if(files, [&](const auto& file) { return file.parent_path() != place; });
        std::ranges::sort(files);
        return files == std::vector<std::filesystem::path>{place / "appended", place / "written"};
    }));
    EXPECT_TRUE(filesOpenForWriting(-1).empty());
}

TEST(ProcessTableTest, ASignalReachesThatProcess) {
    const Child child(sleeping);
    EXPECT_TRUE(signalProcess(child.entry(), SIGTERM));
    int status = 0;
    EXPECT_EQ(waitpid(child.pid(), &status, 0), child.pid());
    EXPECT_EQ(exitCodeOfWaitStatus(status), 128 + SIGTERM);
}

TEST(ProcessTableTest, ASignalForAnEarlierProcessOfThePidReachesNobody) {
    const Child child(sleeping);
    ProcessEntry earlier = child.entry();
    earlier.startTime += "0";
    EXPECT_FALSE(signalProcess(earlier, SIGKILL));
    EXPECT_FALSE(child.entry().isZombie);
}

TEST(ProcessTableTest, ASignalForAProcessThatIsGoneIsFalse) {
    ProcessEntry gone;
    {
        const Child child("exit 0");
        gone = child.entry();
    }
    EXPECT_FALSE(signalProcess(gone, SIGKILL));
}

/// Whether an orphaned grandchild becomes a child of this process. Run in a process of its own, because what
/// it asks the system for stays.
bool orphansAreAdopted() {
    Pipe said = openPipe();
    const bool promised = adoptOrphans();
    const pid_t child = spawnProcess({.executable = "/bin/sh",
                                      .arguments = {"/bin/sh", "-c", "sleep 1000 & echo $!"},
                                      .environment = {"PATH=/usr/bin:/bin"},
                                      .streams = DescriptorStreams{.output = said.writing.get()}});
    char text[16] = {};
    const bool heard = ::read(said.reading.get(), text, sizeof(text) - 1) > 0;
    ::waitpid(child, nullptr, 0);
    const pid_t orphan = std::atoi(text);
    const bool adopted = heard && processEntry(orphan).parent == getpid();
    ::kill(orphan, SIGKILL);
    return heard && promised == adopted;
}

TEST(ProcessTableDeathTest, OrphansAreAdoptedWhereTheSystemPromisesIt) {
    EXPECT_EXIT(std::_Exit(orphansAreAdopted() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(ProcessTableTest, ProcessesThatEndWhileTheyAreLookedAtAreNoTrouble) {
    const Child one("while kill -0 $PPID; do /bin/true; done");
    const Child another("while kill -0 $PPID; do /bin/true; done");
    int seen = 0;
    for (int look = 0; look < 300; ++look) {
        for (const ProcessEntry& entry : processTable()) {
            const bool isOneOfThem = entry.parent == one.pid() || entry.parent == another.pid();
            if (isOneOfThem) {
                ++seen;
                startedWith(entry.pid, "NAME=value");
                workingDirectoryOf(entry.pid);
            }
        }
    }
    EXPECT_GT(seen, 0);
}

}  // namespace
}  // namespace quernlight
