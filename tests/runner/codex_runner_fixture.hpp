#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "quernlight/runner/local_pty_codex_runner.hpp"
#include "quernlight/runner/runner_error.hpp"
#include "tests/runner/event_log.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quernlight::test {

/// A runner, and one session at a time in a real terminal.
class CodexRunnerFixture : public testing::Test {
  protected:
    CodexRunnerFixture() {
        request.sessionID = sessionID;
        request.repoPath = directory.path();
        request.environment = {{"PATH", "/usr/bin:/bin"}};
        request.transcriptANSIPath = directory / "terminal.ansi";
        request.transcriptTextPath = directory / "terminal.txt";
    }

    StartSessionResponse shell(const std::string& script) {
        request.launchCommand = {"/bin/sh", "-c", script};
        return awaitResult(runner->startSession(request));
    }

    EventLog listen() { return EventLog(runner->events(sessionID)); }
    void send(const std::string& data) { awaitResult(runner->sendInput(data, sessionID)); }
    void terminate(TerminationMode mode) { awaitResult(runner->terminate(sessionID, mode)); }
    std::vector<RunnerSessionSnapshot> active() { return awaitResult(runner->activeSessions()); }

    /// A child that shows the agent's prompt and then takes every byte as it is typed.
    static std::string prompt(const std::string& script) {
        return "stty raw -echo; printf '\\342\\200\\272 '; " + script;
    }

    std::string missing() const { return "No active runner session for " + upperCaseText(sessionID) + "."; }

    void expectMissing(const std::function<void()>& operation) {
        try {
            operation();
            ADD_FAILURE() << "nothing was thrown";
        } catch (const RunnerError& error) {
            EXPECT_EQ(error.what(), missing());
            EXPECT_EQ(error.kind(), RunnerError::Case::missingSession);
            EXPECT_EQ(error.sessionID(), sessionID);
        }
    }

    TemporaryDirectory directory;
    Uuid sessionID = randomUuid();
    StartSessionRequest request;
    std::unique_ptr<LocalPTYCodexRunner> runner = std::make_unique<LocalPTYCodexRunner>();
};

}  // namespace quernlight::test
