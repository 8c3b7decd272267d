#include <csignal>
#include <fstream>

#include <sys/mount.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

using testing::HasSubstr;

/// The home is a small file system of its own, which only root can mount.
class FullDiskTest : public test::DispatchFixture {
  protected:
    void SetUp() override {
        std::filesystem::create_directories(home());
        if (mount("tmpfs", home().c_str(), "tmpfs", 0, "size=2m") != 0) {
            GTEST_SKIP() << "mounting a small file system needs root";
        }
    }
    ~FullDiskTest() override { umount2(home().c_str(), MNT_DETACH); }

    void fill() {
        std::ofstream file(ballast(), std::ios::binary);
        const std::string block(4096, 'x');
        while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
        }
    }
    void free() { std::filesystem::remove(ballast()); }
    std::filesystem::path ballast() const { return home() / "ballast"; }
    static int timesSaid(const test::DispatchProcess& program, const std::string& text) {
        const std::string output = program.output();
        int times = 0;
        for (auto at = output.find(text); at != std::string::npos; at = output.find(text, at + 1)) {
            ++times;
        }
        return times;
    }
    void set(const std::string& key, const std::string& value) {
        ASSERT_EQ(dispatch({"config", "set", key, value, "--home", home()}).exitCode, 0);
    }
    /// The agent's first start fills the disk and ends; from the second on it works.
    void agentFillsTheDiskOnce() {
        const auto once = repository.scratch("filled");
        const auto script = repository.scratch("agent.sh");
        test::writeFile(script, "[ -e " + once.string() + " ] && exec codex \"$@\"\n: > " + once.string() +
                                    "\ncat /dev/zero > " + ballast().string() + "\nexit 3\n");
        set("agent.command", "sh " + script.string());
        set("sessions.post_exit_grace_seconds", "1");
    }

    /// The agent writes to its terminal.
    static void prints(pid_t agent, const std::string& words) {
        test::writeFile("/proc/" + std::to_string(agent) + "/fd/1", words);
    }

    void endsCompleted(test::DispatchProcess& program) {
        EXPECT_TRUE(program.says("3f2a9c1d  completed: ")) << program.output() << program.errorText();
        program.signal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 0);
        EXPECT_EQ(status("3f2a9c1d"), "completed");
        Connection database(queueFile(), Connection::Access::readOnly);
        const Row answer = database.query("PRAGMA integrity_check", {}).at(0);
        EXPECT_EQ(*answer.begin()->second.asText(), "ok");
    }

    static constexpr const char* trouble =
        "The queue cannot be read or written at the moment (database or disk is full)";
};

TEST_F(FullDiskTest, NothingIsTakenInUntilThereIsRoomAndThenWorkGoesOn) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend({"--fault", R"({"kind": "status", "status": 503})"});
    set("poll.bugs_seconds", "0.2");
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("cannot be asked"));
    fill();
    backendFaults("[]");
    EXPECT_TRUE(program->says(trouble)) << program->output();
    free();
    endsCompleted(*program);
}

TEST_F(FullDiskTest, AReportThatCouldNotBeStoredIsFoundAgainOnceThereIsRoom) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: ")) << program->output();
    fill();
    EXPECT_TRUE(program->says("disk is full")) << program->output();
    EXPECT_TRUE(test::eventually([&] { return backendStatus("3f2a9c1d") == "in_review"; }));
    free();
    endsCompleted(*program);
}

TEST_F(FullDiskTest, AStopWhileTheDiskIsFullEndsTheAgentAndTheNextStartReconcilesItsBug) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "idle");
    mapApp();
    startBackend();
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: ")) << program->output();
    fill();
    program->signal(SIGTERM);
    EXPECT_NE(program->exitCode(), 0);
    EXPECT_FALSE(test::isAlive(agent("3f2a9c1d")));
    free();
    agentDoesAsToldAgain();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
    EXPECT_EQ(attempt("3f2a9c1d", "attempt_number"), "2");
}

TEST_F(FullDiskTest, ARunOnceWhoseQueueCannotBeOpenedSaysSoAndEnds) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    fill();
    const auto outcome = runOnce();
    EXPECT_EQ(outcome.exitCode, 1) << outcome.output;
    EXPECT_THAT(outcome.error, HasSubstr("its disk is not full"));
    free();
    EXPECT_EQ(runOnce().exitCode, 0);
    EXPECT_EQ(status("3f2a9c1d"), "completed");
}

TEST_F(FullDiskTest, EachTimeTheDiskIsFullIsToldAndSoIsItsEnd) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    set("poll.bugs_seconds", "0.2");
    set("sessions.max", "1");
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  completed: ")) << program->output();
    for (int time = 1; time <= 2; ++time) {
        fill();
        const std::string bugID = reportClearBugNow();
        EXPECT_TRUE(test::eventually([&] { return timesSaid(*program, trouble) == time; }))
            << program->output();
        free();
        EXPECT_TRUE(program->says(bugID + "  completed: ")) << program->output();
        EXPECT_EQ(timesSaid(*program, "The dispatch home can be written again."), time);
    }
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
}

TEST_F(FullDiskTest, TroubleThatOnlyASilentAgentsSessionHasReportedIsOverOnceThereIsRoom) {
    reportClearBug("3f2a9c1d");
    agentDoes("3f2a9c1d", "idle");
    mapApp();
    startBackend();
    set("poll.bugs_seconds", "3600");
    const auto program = start(runWith());
    ASSERT_TRUE(program->says("3f2a9c1d  typed: ")) << program->output();
    const pid_t worker = agent("3f2a9c1d");
    fill();
    EXPECT_TRUE(test::eventually([&] {
        prints(worker, "Working.\n");
        return timesSaid(*program, trouble) == 1;
    })) << program->output();
    free();
    EXPECT_TRUE(program->says("The dispatch home can be written again.")) << program->output();
    EXPECT_EQ(status("3f2a9c1d"), "running");
    program->signal(SIGTERM);
    EXPECT_EQ(program->exitCode(), 0);
}

TEST_F(FullDiskTest, ASessionThatCouldNotBeRecordedSaysSoAndItsBugIsWorkedOnOnceThereIsRoom) {
    reportClearBug("3f2a9c1d");
    mapApp();
    startBackend();
    agentFillsTheDiskOnce();
    const auto program = start(runWith());
    const std::string reason =
        "The session was ended, since it could not be recorded: database or disk is full";
    EXPECT_TRUE(program->says("Bug 3f2a9c1d: " + reason)) << program->output();
    free();
    endsCompleted(*program);
    Connection database(queueFile(), Connection::Access::readOnly);
    const auto attempts =
        database.query("SELECT failure_reason FROM session_attempts ORDER BY attempt_number", {});
    ASSERT_EQ(attempts.size(), 2U);
    EXPECT_EQ(*attempts[0].at("failure_reason").asText(), reason);
    EXPECT_FALSE(attempts[1].at("failure_reason").asText());
}

}  // namespace
}  // namespace quernlight
