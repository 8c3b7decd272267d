#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/agents/model_log.hpp"
#include "tests/agents/release_report.hpp"
#include "tests/host/dispatch_fixture.hpp"
#include "tests/support/standin/backend_process.hpp"

namespace quernlight::test {

/// One attempt as the home's database has it.
struct StoredAttempt {
    std::string bugID{};
    std::string sessionID{};
    std::string goal{};  ///< as it was to be typed, without "/goal" and white space around it
    std::string exitCode{};
    Instant startedAt{};
};

/// The real program with a released agent, whose model is played: nothing of the agent is set up but its
/// model. A third of the bugs, at most ten, wait in the middle until they have been interrupted twice.
class ReleasedAgentsFixture : public DispatchFixture, public testing::WithParamInterface<std::string> {
  protected:
    ReleasedAgentsFixture();
    ~ReleasedAgentsFixture() override;

    void mapAndConfigure();

    /// `run` until each of these bugs waits in the middle for the time of that number, ended by the signal.
    void runAndInterrupt(const std::vector<std::string>& waiting, int time, int signal);
    /// `run --once` to its end.
    void runToTheEnd();

    std::vector<StoredAttempt> attempts();
    /// The goals in the agent's own records.
    std::vector<std::string> recordedGoals();
    /// The metadata of the bug's reports: comments with a session's id.
    std::vector<std::string> reportedSessions(const std::string& bugID);
    std::string subjectOfBranch(const std::string& bugID);
    /// What the database says of the bug, for the message of a failure.
    std::string story(const std::string& bugID);

    /// The directory in which all of this happens.
    std::filesystem::path everything() const { return tokenFile().parent_path(); }
    ModelLog modelLog() const { return ModelLog(repository.scratch("model.log")); }
    const std::string& release() const { return GetParam(); }

    std::vector<std::string> bugs;
    std::vector<std::string> interrupted;  // the first of the bugs
    std::vector<std::string> leaks;        // where the token was seen while the program ran

  private:
    void writePlan();
    void writeAgentConfiguration();
    /// Waits, looking for the token meanwhile; false when the program ends before.
    template <class Condition>
    bool waitUntil(DispatchProcess& program, std::chrono::minutes atMost, Condition holds);
    void keepForALook();

    BackendProcess model_;
};

}  // namespace quernlight::test
