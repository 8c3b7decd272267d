#pragma once

#include <filesystem>
#include <memory>
#include <string>

struct sqlite3;

namespace quernlight::standin::codex {

/// The agent's own record of its conversations, state_5.sqlite in its home, shared by every agent of that
/// home. Kept open for the whole session, as the agent does. Failures are std::runtime_error with a sentence.
class StateDatabase {
  public:
    /// Creates what is missing, the home included.
    explicit StateDatabase(const std::filesystem::path& home);

    /// Creates the records of goals, where they are missing.
    void keepGoals();

    /// Notes a conversation that begins now in `directory`; `source` is what leads it.
    void insertThread(const std::string& id, const std::string& directory, const std::string& source);

    bool hasThread(const std::string& id);

    /// Marks the conversation as used now.
    void touchThread(const std::string& id);

    /// The conversation's goal, where it has one that is neither complete nor this one.
    bool hasOtherGoal(const std::string& id, const std::string& objective);

    /// Its goal from now on, active.
    void setGoal(const std::string& id, const std::string& objective);
    /// Whether the conversation has a goal that is not complete.
    bool hasOpenGoal(const std::string& id) { return hasOtherGoal(id, ""); }
    void pauseGoal(const std::string& id);
    /// Completes it where it is still active.
    void completeGoal(const std::string& id);
    void limitGoal(const std::string& id);

    void setTitle(const std::string& id, const std::string& title);

  private:
    struct Close {
        void operator()(sqlite3* database) const;
    };

    std::unique_ptr<sqlite3, Close> database_;
};

}  // namespace quernlight::standin::codex
