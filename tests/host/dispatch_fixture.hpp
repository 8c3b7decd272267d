#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <gtest/gtest.h>

#include "quernlight/storage/sql_value.hpp"
#include "tests/host/dispatch_process.hpp"
#include "tests/host/process_table.hpp"
#include "tests/support/run_task.hpp"
#include "tests/support/standin/backend_process.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::test {

/// What one run of the program came to.
struct Outcome {
    int exitCode = 0;
    std::string output{};
    std::string error{};
};

/// The real program between a real backend process, a repository with a host and the scripted agent, all in
/// one temporary directory. The backend's app is "Shop" (com.acme.shop) unless told otherwise; bugs are named
/// by their short ids.
class DispatchFixture : public testing::Test {
  protected:
    DispatchFixture();

    /// A bug for the backend to hold at its start; without a description the agent asks for one.
    void report(const std::string& bugID, const std::string& title, const std::string& description = "");
    void reportClearBug(const std::string& bugID) {
        report(bugID, "Crash on launch", "Open it. It crashes.");
    }

    /// The agent behaves so on this bug, or on its next run as it should again.
    void agentDoes(const std::string& bugID, const std::string& behaviour);
    void agentDoesAsToldAgain();

    /// Starts the backend, `arguments` added to its command line.
    void startBackend(const std::vector<std::string>& arguments = {});
    void stopBackend() { backend_.reset(); }
    const std::string& address() const { return address_; }

    /// The program with these arguments, to its end.
    Outcome dispatch(const std::vector<std::string>& arguments);
    std::unique_ptr<DispatchProcess> start(const std::vector<std::string>& arguments);

    /// `run` against the backend on the home, with further arguments.
    std::vector<std::string> runWith(const std::vector<std::string>& more = {});
    Outcome runOnce(const std::vector<std::string>& more = {});
    /// Maps the app, starts the backend and runs it all once.
    Outcome workAll(const std::vector<std::string>& more = {});

    std::vector<std::string> mapWith(const std::vector<std::string>& more = {});
    void mapApp();

    // What the home's database holds. While a program runs, only once it has said that it got there.
    std::string status(const std::string& bugID) { return item(bugID, "status"); }
    std::string item(const std::string& bugID, const std::string& column);
    /// Of the latest attempt.
    std::string attempt(const std::string& bugID, const std::string& column);
    std::string events(const std::string& bugID);   ///< the manager's kinds, a blank between two
    std::string history(const std::string& bugID);  ///< all kinds, a blank between two
    pid_t agent(const std::string& bugID) { return static_cast<pid_t>(std::stol(attempt(bugID, "pid"))); }

    /// A bug that comes to the backend while it runs; its short id.
    std::string reportClearBugNow();

    /// A person comments on the bug at the backend.
    void userComments(const std::string& bugID, const std::string& body);

    /// The agent's report on its current session, as if it came from the agent.
    void agentReports(const std::string& bugID, const std::string& reportedStatus);

    /// The backend has these faults from now on, and no others: "[]" for none.
    void backendFaults(const std::string& json);

    /// What the backend says of a bug.
    std::string backendStatus(const std::string& bugID);

    /// Files below a directory whose bytes hold the text.
    std::vector<std::string> filesHolding(const std::string& text, const std::filesystem::path& directory);

    std::filesystem::path home() const { return repository.scratch("dispatch"); }
    std::filesystem::path tokenFile() const { return repository.scratch("token"); }
    std::filesystem::path temporary() const { return repository.scratch("tmp"); }
    std::string queueFile() const { return (home() / "queue.sqlite").string(); }

    static constexpr const char* token = "the-administrators-secret";

    standin::test::HostedRepository repository;
    std::filesystem::path executable = QUERNLIGHT_DISPATCH_PATH;
    EnvironmentMap environment;          // of every program that the fixture starts
    std::vector<std::string> startedBy;  // a command that starts it; empty: nothing
    std::string appName = "Shop";        // as the backend has it

  private:
    void writeAgentFile();
    std::string cell(const std::string& query, const std::string& bugID);

    boost::json::array bugs_;
    boost::json::object behaviours_;
    std::optional<BackendProcess> backend_;
    std::string address_ = "http://127.0.0.1:9";  // nobody listens there before the backend has started
    int launches_ = 0;
};

}  // namespace quernlight::test
