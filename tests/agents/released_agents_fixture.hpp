#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/object.hpp>
#include <gtest/gtest.h>

#include "tests/agents/agent_records.hpp"
#include "tests/agents/file_watch.hpp"
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
    std::size_t handedOver = 0;  ///< how often Enter was pressed on its goal
    std::size_t accepted = 0;    ///< how often the agent was seen to have taken it
};

/// The releases to try, from RELEASES, and the names of their tests.
std::vector<std::string> releases();
std::string nameOfRelease(const testing::TestParamInfo<std::string>& release);

/// The processes that name this directory in their arguments or their environment, and there have the text,
/// too; each as "PID NAME".
std::vector<std::string> processesThatHold(const std::string& text, const std::filesystem::path& directory);

/// The real program with a released agent, whose model is played: nothing of the agent is set up but its
/// model.
class ReleasedAgentsFixture : public DispatchFixture, public testing::WithParamInterface<std::string> {
  protected:
    explicit ReleasedAgentsFixture(std::size_t numberOfBugs);
    ~ReleasedAgentsFixture() override;

    /// Nothing more is begun once this process is to end.
    void SetUp() override;

    void mapAndConfigure();

    /// What the model does from its next answer on; an empty plan is the usual road.
    void modelPlays(const boost::json::object& plan);
    /// Nobody listens on the model's port any more; requests that it has not answered are cut off.
    void stopModel() { model_.reset(); }
    /// It listens on the same port again.
    void startModel();

    /// A run of the program; whatever becomes of the test, it is told to end, and awaited.
    struct EndInOrder {
        void operator()(DispatchProcess* program) const;
    };
    using Run = std::unique_ptr<DispatchProcess, EndInOrder>;
    Run startRun(const std::vector<std::string>& more = {});
    /// Waits, looking for the token meanwhile; false when the program ends before, or this process is to.
    bool waitUntil(DispatchProcess& program, std::chrono::minutes atMost, const std::function<bool()>& holds);

    std::vector<StoredAttempt> attempts();
    /// What its agents have written down by themselves.
    AgentRecords agentRecords() const { return AgentRecords(repository.scratch("codex-home")); }
    /// The metadata of the bug's reports: comments with a session's id.
    std::vector<std::string> reportedSessions(const std::string& bugID);
    std::string subjectOfBranch(const std::string& bugID);
    /// What the database says of the bug, for the message of a failure.
    std::string story(const std::string& bugID);

    /// The directory in which all of this happens.
    std::filesystem::path everything() const { return tokenFile().parent_path(); }
    ModelLog modelLog() const { return ModelLog(repository.scratch("model.log")); }
    const std::string& release() const { return GetParam(); }

    /// Processes of the dispatcher, of agents or of what they have started.
    void expectNoProcessLeft();

    std::vector<std::string> bugs;
    std::vector<std::string> leaks;  // where the token was seen while the program ran

  private:
    void writeAgentConfiguration();
    void keepForALook();
    void endWhatIsLeft();
    void lookForToken();

    unsigned port_ = 0;  // the model's
    FileWatch tokenInFiles_{token, everything()};
    std::chrono::steady_clock::time_point filesSeen_{};
    std::optional<BackendProcess> model_;
};

}  // namespace quernlight::test
