#include "host/autostart/service_manager.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

using enum ServiceSystem;

TEST(ServiceCommandsTest, StartNowAndAtEveryLogin) {
    EXPECT_EQ(shellLine(startCommands(systemd, "/f", 501)),
              "systemctl --user daemon-reload && systemctl --user enable quernlight-dispatch.service && "
              "systemctl --user restart quernlight-dispatch.service");
    EXPECT_EQ(shellLine(startCommands(launchd, "/Users/e v/f.plist", 501)),
              "launchctl bootout gui/501/quernlight-dispatch; launchctl bootstrap gui/501 '/Users/e "
              "v/f.plist'");
}

TEST(ServiceCommandsTest, StopAndForget) {
    EXPECT_EQ(shellLine(stopCommands(systemd, 501)),
              "systemctl --user disable --now quernlight-dispatch.service");
    EXPECT_EQ(shellLine(forgetCommands(systemd)), "systemctl --user daemon-reload");
    EXPECT_EQ(shellLine(stopCommands(launchd, 501)), "launchctl bootout gui/501/quernlight-dispatch");
    EXPECT_EQ(shellLine(forgetCommands(launchd)), "");
}

struct StateRow {
    const char* name;
    ServiceSystem system;
    int exitCode;
    const char* output;
    ServiceState state;
};

class ServiceStateTest : public testing::TestWithParam<StateRow> {};

TEST_P(ServiceStateTest, IsReadFromWhatTheManagerPrints) {
    EXPECT_EQ(stateIn(GetParam().system, GetParam().exitCode, GetParam().output), GetParam().state);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ServiceStateTest,
    testing::Values(
        StateRow{
            "Running",
            systemd,
            0,
            "MainPID=4711\nResult=success\nExecMainStatus=0\nActiveState=active\nUnitFileState=enabled\n",
            {.isEnabled = true, .isRunning = true, .process = 4711}},
        StateRow{"Ended",
                 systemd,
                 0,
                 "MainPID=0\nResult=exit-code\nExecMainStatus=1\nActiveState=failed\nUnitFileState=enabled\n",
                 {.isEnabled = true, .lastEnd = "exit status 1"}},
        StateRow{"Crashing",
                 systemd,
                 0,
                 "MainPID=0\nResult=core-dump\nExecMainStatus=6\nActiveState=activating\n"
                 "UnitFileState=disabled\n",
                 {.lastEnd = "core-dump"}},
        StateRow{"Unknown",
                 systemd,
                 0,
                 "MainPID=0\nResult=success\nExecMainStatus=0\nActiveState=inactive\nUnitFileState=\n",
                 {}},
        StateRow{"NoManager",
                 systemd,
                 1,
                 "Failed to connect to bus: No medium found\nmore\n",
                 {.noManager = "Failed to connect to bus: No medium found"}},
        StateRow{"RunningAgent",
                 launchd,
                 0,
                 "gui/501/quernlight-dispatch = {\n\tstate = running\n\tpid = 4711\n\tspawn = {\n"
                 "\t\tstate = waiting\n\t}\n\tlast exit code = (never exited)\n}\n",
                 {.isEnabled = true, .isRunning = true, .process = 4711}},
        StateRow{"EndedAgent",
                 launchd,
                 0,
                 "\tstate = not running\n\tlast exit code = 1\n",
                 {.isEnabled = true, .lastEnd = "exit status 1"}},
        StateRow{
            "StoppedAgent", launchd, 0, "\tstate = not running\n\tlast exit code = 0\n", {.isEnabled = true}},
        StateRow{"NoAgent", launchd, 113, "Could not find service \"quernlight-dispatch\"\n", {}}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace quernlight::host
