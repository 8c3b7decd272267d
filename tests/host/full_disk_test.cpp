#include <csignal>
#include <fstream>

#include <sys/mount.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "quernlight/storage/connection.hpp"
#include "tests/host/dispatch_fixture.hpp"

namespace quernlight {
namespace {

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
        std::ofstream file(home() / "ballast", std::ios::binary);
        const std::string block(4096, 'x');
        while (file.write(block.data(), static_cast<std::streamsize>(block.size())).flush()) {
        }
    }
    void free() { std::filesystem::remove(home() / "ballast"); }

    void endsCompleted(test::DispatchProcess& program) {
        EXPECT_TRUE(program.says("3f2a9c1d  completed: ")) << program.output() << program.errorText();
        program.signal(SIGTERM);
        EXPECT_EQ(program.exitCode(), 130);
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
    ASSERT_EQ(dispatch({"config", "set", "poll.bugs_seconds", "0.2", "--home", home()}).exitCode, 0);
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

}  // namespace
}  // namespace quernlight
