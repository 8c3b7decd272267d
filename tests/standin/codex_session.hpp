#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/standin/agent_terminal.hpp"
#include "tests/standin/goal_samples.hpp"
#include "tests/standin/recording_backend.hpp"
#include "tests/support/standin/hosted_repository.hpp"

namespace quernlight::standin::test {

/// A repository with a host, a backend that records, and the scripted agent in a terminal, started in the
/// bug's worktree as a dispatcher starts it.
class CodexSession : public testing::Test {
  protected:
    /// Starts the agent; `variables` are "KEY=value" entries besides what every start has.
    AgentTerminal& start(const std::vector<std::string>& variables = {},
                         const std::vector<std::string>& arguments = {});

    /// Starts it with these arguments alone, without those that a dispatcher always gives it.
    AgentTerminal& startWith(const std::vector<std::string>& arguments,
                             const std::vector<std::string>& variables = {});

    /// Starts it elsewhere than in the repository.
    AgentTerminal& startIn(const std::filesystem::path& directory,
                           const std::vector<std::string>& variables = {},
                           const std::vector<std::string>& arguments = {});

    /// Starts it and waits for its prompt.
    AgentTerminal& startAtPrompt(const std::vector<std::string>& variables = {},
                                 const std::vector<std::string>& arguments = {});

    /// Pastes a text in brackets, its line ends as the carriage returns that a terminal gets.
    void paste(std::string text);

    /// Pastes a goal, waits until the agent shows the paste, and presses Enter.
    void submit(const std::string& goal);

    /// Types "/exit" and, once it is shown, Enter.
    void leave();

    /// Submits and waits for the prompt that follows the work.
    void workOn(const std::string& goal);

    /// Makes the worktree that the goal names, on its branch.
    void addWorktree();

    /// Replaces standin.json; `members` follow the backend's address and token.
    void configure(const std::string& members = "");

    GoalNames names() const;
    std::vector<std::string> comments() const;
    std::string branchHead() const {
        return repository.git(repository.bare(), {"rev-parse", names().branch});
    }

    /// One text from the agent's state database, once the query gives a row; waits for it.
    std::string awaitState(const std::string& query) const;

    std::filesystem::path home() const { return repository.scratch("codex-home"); }

    HostedRepository repository;
    RecordingBackend backend;
    std::optional<AgentTerminal> terminal;

  private:
    AgentTerminal& launch(const std::filesystem::path& directory, const std::vector<std::string>& variables,
                          const std::vector<std::string>& arguments);
};

}  // namespace quernlight::standin::test
