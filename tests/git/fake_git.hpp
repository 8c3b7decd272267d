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

    /// The answer to every command that begins with these words, such as "fetch" or "worktree add", behind
    /// "-C" and the path. Of several that fit, the longest.
    void answer(const std::string& command, GitCommandResult result) {
        answers_[command] = std::move(result);
    }

    /// Every command in order, with all its arguments.
    const std::vector<Arguments>& commands() const { return commands_; }

  private:
    Task<GitCommandResult> run(Arguments arguments) {
        commands_.push_back(std::move(arguments));
        co_return answerTo(commands_.back());
    }

    GitCommandResult answerTo(const Arguments& command) const {
        std::string words;
        GitCommandResult answer;
        for (std::size_t index = 2; index < command.size(); ++index) {
            words += (index > 2 ? " " : "") + command[index];
            if (const auto found = answers_.find(words); found != answers_.end()) {
                answer = found->second;
            }
        }
        return answer;
    }

    std::map<std::string, GitCommandResult> answers_;
    std::vector<Arguments> commands_;
};

}  // namespace quernlight::test
