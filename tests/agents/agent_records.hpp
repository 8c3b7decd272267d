#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace quernlight::test {

/// What the agents of one home have written down there by themselves, as it stood when this was read: what
/// was submitted in their composers, and the goals that their conversations were given.
class AgentRecords {
  public:
    explicit AgentRecords(const std::filesystem::path& home);

    /// How often Enter has sent this text off as a goal, whatever became of it.
    std::size_t timesSubmitted(const std::string& goal) const;
    /// How often a conversation has begun to work for a goal of this text: the same one again counts again.
    std::size_t timesGiven(const std::string& goal) const;

    /// All that was submitted, "/goal" taken off and white space around it, and which goals were given.
    std::set<std::string> submittedTexts() const;
    std::set<std::string> givenGoals() const;
    /// The goal that each conversation has at the end.
    const std::vector<std::string>& lastGoals() const { return lastGoals_; }

  private:
    using Begin = std::pair<std::string, std::int64_t>;  // conversation and second

    void readHistory(const std::filesystem::path& file);
    void readConversation(const std::filesystem::path& file);
    void readGoals(const std::filesystem::path& database);

    std::multiset<std::string> submitted_;
    std::map<std::string, std::set<Begin>> given_;
    std::vector<std::string> lastGoals_;
};

}  // namespace quernlight::test
