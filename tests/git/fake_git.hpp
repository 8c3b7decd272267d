#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "quernlight/git/git_runner.hpp"

namespace quernlight::test {

using Arguments = std::vector<std::string>;

/// A git that does nothing: it records what it is asked and answers as the test says. What a test says
/// nothing about succeeds without output. Outlives the runners it lends.
class FakeGit {
  public:
    GitRunner runner() {
        return [this](Arguments arguments) { return run(std::move(arguments)); };
    }

    /// The answer to every command that begins with this word or these two, such as "fetch" or "worktree
    /// add", behind "-C" and the path.
    void answer(const std::string& command, GitCommandResult result) {
        answers_[command] = std::move(result);
    }

    /// Every command in order, with all its arguments.
    const std::vector<Arguments>& commands() const { return commands_; }

  private:
    Task<GitCommandResult> run(Arguments arguments) {
        commands_.push_back(std::move(arguments));
        const Arguments& command = commands_.back();
        const std::string two = command.at(2) + (command.size() > 3 ? " " + command.at(3) : "");
        const auto exact = answers_.find(two);
        const auto found = exact != answers_.end() ? exact : answers_.find(command.at(2));
        co_return found != answers_.end() ? found->second : GitCommandResult{};
    }

    std::map<std::string, GitCommandResult> answers_;
    std::vector<Arguments> commands_;
};

}  // namespace quernlight::test
