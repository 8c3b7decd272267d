#include <gtest/gtest.h>

#include "quernlight/runner/runner_error.hpp"
#include "quernlight/runner/termination_mode.hpp"

namespace quernlight {
namespace {

TEST(PTYProcessErrorTest, EachCaseHasItsSentence) {
    using Case = PTYProcessError::Case;
    const std::pair<PTYProcessError, std::pair<Case, std::string>> rows[] = {
        {PTYProcessError::openPTYFailed("Too many open files"),
         {Case::openPTYFailed, "Unable to allocate PTY: Too many open files"}},
        {PTYProcessError::processLaunchFailed("No such file or directory"),
         {Case::processLaunchFailed, "Unable to launch Codex: No such file or directory"}},
        {PTYProcessError::emptyLaunchCommand(), {Case::emptyLaunchCommand, "Codex launch command is empty."}},
        {PTYProcessError::sessionNotRunning(), {Case::sessionNotRunning, "Session is not running."}},
    };
    for (const auto& [error, expected] : rows) {
        EXPECT_EQ(error.kind(), expected.first);
        EXPECT_EQ(error.what(), expected.second);
    }
}

TEST(RunnerErrorTest, AMissingSessionIsNamedInUpperCase) {
    const Uuid sessionID = *parseUuid("0a1b2c3d-0000-4000-8000-00000000000f");
    const RunnerError error = RunnerError::missingSession(sessionID);
    EXPECT_STREQ(error.what(), "No active runner session for 0A1B2C3D-0000-4000-8000-00000000000F.");
    EXPECT_EQ(error.kind(), RunnerError::Case::missingSession);
    EXPECT_EQ(error.sessionID(), sessionID);
}

TEST(TerminationModeTest, HasFourCasesInOrderEachWithItsNameAsRawValue) {
    const std::string_view names[] = {"requestExitCommand", "interrupt", "terminate", "kill"};
    for (int index = 0; index < 4; ++index) {
        const auto mode = static_cast<TerminationMode>(index);
        EXPECT_EQ(rawValue(mode), names[index]);
        EXPECT_EQ(terminationModeOf(names[index]), mode);
    }
    EXPECT_EQ(TerminationMode::requestExitCommand, static_cast<TerminationMode>(0));
    EXPECT_EQ(TerminationMode::kill, static_cast<TerminationMode>(3));
}

TEST(TerminationModeTest, AnyOtherTextIsNoMode) {
    for (const auto* text : {"", "Kill", "KILL", "request_exit_command", "kill "}) {
        EXPECT_EQ(terminationModeOf(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace quernlight
