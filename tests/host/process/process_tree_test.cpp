#include "host/process/process_tree.hpp"

#include <algorithm>
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/process/process_metadata.hpp"
#include "quernlight/platform/spawn.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

ProcessEntry process(pid_t pid, pid_t parent, pid_t session) {
    return {.pid = pid, .parent = parent, .session = session, .startTime = "b" + std::to_string(pid)};
}

bool nobody(const ProcessEntry&) {
    return false;
}

std::vector<pid_t> pids(const std::vector<ProcessEntry>& processes) {
    std::vector<pid_t> list;
    for (const ProcessEntry& each : processes) {
        list.push_back(each.pid);
    }
    return list;
}

TEST(SessionMembersTest, TheLeaderItsSessionAndAllDescendantsBelongAndOthersDoNot) {
    const std::vector<ProcessEntry> table{process(1, 0, 1),    process(10, 1, 10), process(11, 10, 10),
                                          process(12, 11, 12), process(13, 1, 10), process(20, 1, 20),
                                          process(21, 20, 20)};
    EXPECT_THAT(pids(sessionMembers(table, {process(10, 1, 10)}, nobody, 99)), ElementsAre(10, 11, 12, 13));
}

TEST(SessionMembersTest, TheMarkIsEnoughWhereParentAndSessionHaveChanged) {
    const std::vector<ProcessEntry> table{process(30, 1, 30), process(31, 30, 30), process(40, 1, 40)};
    const auto marked = [](const ProcessEntry& each) { return each.pid == 30; };
    EXPECT_THAT(pids(sessionMembers(table, {}, marked, 99)), ElementsAre(30, 31));
}

TEST(SessionMembersTest, ADescendantThatWasSeenBeforeIsKnownWithoutItsParent) {
    const std::vector<ProcessEntry> table{process(50, 1, 50)};
    EXPECT_THAT(pids(sessionMembers(table, {process(50, 10, 50)}, nobody, 99)), ElementsAre(50));
}

TEST(SessionMembersTest, APidThatIsInUseAgainIsAnotherProcess) {
    std::vector<ProcessEntry> table{process(50, 1, 1)};
    table.front().startTime = "later";
    EXPECT_THAT(sessionMembers(table, {process(50, 10, 50)}, nobody, 99), IsEmpty());
}

TEST(SessionMembersTest, ASessionOfALeaderWithTheSamePidIsAnotherSession) {
    std::vector<ProcessEntry> table{process(50, 1, 50), process(51, 50, 50)};
    table.front().startTime = "later";
    EXPECT_THAT(sessionMembers(table, {process(50, 10, 50)}, nobody, 99), IsEmpty());
}

TEST(SessionMembersTest, APidThatWasNoLeadersTellsNothingOfASession) {
    const std::vector<ProcessEntry> table{process(51, 1, 50)};
    EXPECT_THAT(sessionMembers(table, {process(50, 10, 10)}, nobody, 99), IsEmpty());
}

TEST(SessionMembersTest, ZombiesAndTheProgramItselfAreLeftOut) {
    std::vector<ProcessEntry> table{process(10, 1, 10), process(11, 10, 10), process(12, 10, 10)};
    table[1].isZombie = true;
    EXPECT_THAT(pids(sessionMembers(table, {process(10, 1, 10)}, nobody, 12)), ElementsAre(10));
}

TEST(OrphanInTest, IsFoundWithWhoeverAdoptsOrphansAndOnlyThere) {
    const quernlight::test::TemporaryDirectory directory;
    const pid_t child = spawnProcess(
        {.executable = "/bin/sleep", .arguments = {"sleep", "600"}, .workingDirectory = directory.path()});
    ProcessEntry entry = process(child, 500, child);
    const ProcessEntry parent = process(500, 1, 500);
    const auto found = [&](const std::string& parentsName, pid_t self) {
        ProcessEntry named = parent;
        named.name = parentsName;
        return orphanIn(directory.path(), {named, entry}, self).has_value();
    };
    EXPECT_FALSE(found("bash", 7));
    EXPECT_TRUE(found("bash", 500));
    EXPECT_TRUE(found("systemd", 7));
    entry.parent = 1;
    EXPECT_TRUE(found("bash", 7));
    EXPECT_FALSE(orphanIn(directory / "elsewhere", {entry}, 7));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(ProcessMetadataTest, IsReadBackAndNothingElseIs) {
    const auto read = parseProcessMetadata(processMetadata(42, "boot:17")).value();
    EXPECT_EQ(read.pid, 42);
    EXPECT_EQ(read.startTime, "boot:17");
    for (const char* text : {"", "{}", "[]", R"({"pid":"42","startTime":"x"})", R"({"pid":42})", "{"}) {
        EXPECT_FALSE(parseProcessMetadata(text)) << text;
    }
}

/// A shell that stands for an agent, in a session of its own and with its mark.
class ProcessTreeTest : public testing::Test {
  protected:
    void startAgent(const std::string& script) {
        agent = spawnProcess({.executable = "/bin/sh",
                              .arguments = {"sh", "-c", script},
                              .environment = {"PATH=/usr/bin:/bin", "OUT=" + (directory / "out").string(),
                                              markOf(session).assignment()}});
        tree.remember(processEntry(agent));
    }
    ~ProcessTreeTest() override {
        kill(agent, SIGKILL);
        waitpid(agent, nullptr, 0);
    }
    bool becomes(std::size_t members) {
        return quernlight::test::eventually([&] { return tree.alive().size() == members; });
    }
    std::vector<ProcessEntry> end(int graceMilliseconds = 0) {
        return quernlight::test::runTask(
            tree.end(std::chrono::milliseconds(graceMilliseconds), quernlight::test::generousBound));
    }

    quernlight::test::TemporaryDirectory directory;
    const Uuid session = randomUuid();
    ProcessTree tree{session};
    pid_t agent = -1;
};

TEST_F(ProcessTreeTest, WhatWasThereBeforeTheFirstTreeIsOlderThanAnyAgent) {
    startAgent("sleep 600");
    EXPECT_TRUE(isOlderThanAgents(processEntry(getpid())));
    EXPECT_FALSE(isOlderThanAgents(processEntry(agent)));
}

TEST_F(ProcessTreeTest, ChildrenInOtherGroupsAndSessionsAreEndedToo) {
    startAgent("sleep 600 & setsid sleep 600 & setsid sh -c 'sleep 600 & sleep 600' & sleep 600");
    ASSERT_TRUE(becomes(7));
    EXPECT_THAT(end(), IsEmpty());
    EXPECT_THAT(tree.alive(), IsEmpty());
}

TEST_F(ProcessTreeTest, WhatHasDroppedItsEnvironmentIsKnownFromALookBeforeItsParentLeft) {
    startAgent("env -i setsid sleep 600 & exec sleep 600");
    const auto hasLeft = [this](const ProcessEntry& each) {
        return each.session == each.pid && each.pid != agent &&
               !startedWith(each.pid, markOf(session).assignment());
    };
    ASSERT_TRUE(quernlight::test::eventually([&] {
        const auto alive = tree.alive();
        return std::any_of(alive.begin(), alive.end(), hasLeft);
    }));
    tree.look();
    kill(agent, SIGKILL);
    ASSERT_TRUE(quernlight::test::eventually([&] { return processEntry(agent).isZombie; }));
    EXPECT_EQ(tree.alive().size(), 1U);
    EXPECT_THAT(end(), IsEmpty());
}

TEST_F(ProcessTreeTest, WithGraceAProcessMayEndInItsOwnWay) {
    startAgent("trap 'echo ended > \"$OUT\"; exit' TERM; while :; do sleep 0.05; done");
    ASSERT_TRUE(quernlight::test::eventually([&] { return tree.alive().size() == 2; }));
    EXPECT_THAT(end(60000), IsEmpty());
    EXPECT_EQ(quernlight::test::readFile(directory / "out"), "ended\n");
}

TEST_F(ProcessTreeTest, WhatIgnoresTheRequestIsKilled) {
    startAgent("trap '' TERM; while :; do sleep 0.05; done");
    ASSERT_TRUE(quernlight::test::eventually([&] { return tree.alive().size() == 2; }));
    EXPECT_THAT(end(50), IsEmpty());
}

}  // namespace
}  // namespace quernlight::host
