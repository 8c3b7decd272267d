#pragma once

#include <memory>
#include <string>

#include "standin/codex/backend.hpp"
#include "standin/codex/composer.hpp"
#include "standin/codex/goal.hpp"
#include "standin/codex/settings.hpp"
#include "standin/codex/state_database.hpp"
#include "standin/codex/terminal.hpp"

namespace quernlight::standin::codex {

/// One conversation on a terminal: start-up, the prompt, and a goal whenever one is submitted.
class Agent {
  public:
    /// `threadID` is known to the state database; `resumed` tells that it is an earlier conversation.
    Agent(Settings settings, StateDatabase& database, std::string threadID, bool resumed);

    /// Returns at "/exit", or when the behaviour wants it. Throws TerminalClosed.
    void run();

  private:
    enum class Next { promptAgain, leave };

    void startUp();
    void drawPrompt();
    bool mayReplaceGoal();
    bool takesGoal(const std::string& command);
    Next handle(const std::string& submitted);
    Next workOn(const std::string& command);
    Next work(const Goal& goal);
    std::unique_ptr<BugAccess> bugAccess(const BackendAccess& access) const;
    Behaviour behaviourFor(const Goal& goal, const BackendAccess& access) const;

    Settings settings_;
    StateDatabase& database_;
    std::string threadID_;
    bool resumed_;
    bool silent_ = false;  ///< nothing is drawn any more
    bool deaf_ = false;    ///< "/exit" has no effect
    Terminal terminal_;
    Composer composer_;
    std::size_t composerRows_ = 1;  ///< as it is drawn
};

}  // namespace quernlight::standin::codex
