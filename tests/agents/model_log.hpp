#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "quernlight/platform/instant.hpp"

namespace quernlight::test {

/// A line of the model's log; members that its kind does not have are empty.
struct ModelRecord {
    std::string event{};  ///< "goal", "user", "step" or "other"
    std::string thread{};
    std::string bugID{};
    std::string sessionID{};
    std::string text{};
    std::string step{};
    std::string after{};  ///< what the call before it came to
    long wait = 0;        ///< in seconds
    Instant at{};
};

/// What the agents asked the model for, as its log told it when this was read.
class ModelLog {
  public:
    explicit ModelLog(const std::filesystem::path& file);

    /// The goals of one session, as the model was told them.
    std::vector<ModelRecord> goalsOf(const std::string& sessionID) const;
    /// Whether the model was told a goal for the bug.
    bool hasGoal(const std::string& bugID) const;
    /// The conversations in which a bug was worked on.
    std::set<std::string> threadsOf(const std::string& bugID) const;
    /// How often the model has been made to wait while it worked on the bug.
    int timesWaited(const std::string& bugID) const;
    /// Whether the model has made such a call for the bug.
    bool hasCalled(const std::string& bugID, const std::string& tool) const;
    /// Whether one of its calls for the bug has come back with this text.
    bool hasHeard(const std::string& bugID, const std::string& text) const;
    /// What agents took for the words of a person, and goals that are none of the dispatcher's: a goal that
    /// was not taken as one, or not whole.
    std::vector<std::string> strayTexts() const;

  private:
    std::vector<ModelRecord> records_;
};

}  // namespace quernlight::test
