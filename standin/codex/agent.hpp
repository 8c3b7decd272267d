#pragma once

#include <memory>
#include <string>

#include "standin/codex/backend.hpp"
#include "standin/codex/composer.hpp"
#include "standin/codex/goal.hpp"
#include "standin/codex/screen.hpp"
#include "standin/codex/settings.hpp"
#include "standin/codex/state_database.hpp"
#include "standin/codex/terminal.hpp"

namespace quernlight::standin::codex {

/// One conversation on a terminal: start-up, the prompt, and a goal whenever one is submitted.
class Agent {
  public:
    /// A conversation that the state database knows.
    struct Thread {
        std::string id;
        bool isResumed = false;
    };

    /// `conduct` counts until there is a goal.
    Agent(Settings settings, Conduct conduct, StateDatabase& database, Thread thread);

    /// Returns the exit status, at "/exit" or when the behaviour wants it. Throws TerminalClosed.
    int run();

  private:
    enum class Next { promptAgain, leave };

    /// Whether there is a prompt at its end.
    bool startUp();
    bool asksBeforeComposer();
    bool isTrusted();
    void resume();
    bool hasGoals() const;
    void drawPrompt();
    std::size_t choose(const Question& question);
    bool isAllowed(const Conduct& conduct);
    void showFullScreen();
    void showUsageLimit(const Conduct& conduct);
    int exitStatus() const { return conduct_.number.value_or(0); }
    bool takesGoal(const std::string& command);
    Next handle(const std::string& submitted);
    Next workOn(const std::string& command);
    Next work(const Goal& goal);
    std::unique_ptr<BugAccess> bugAccess(const BackendAccess& access) const;

    Settings settings_;
    Conduct conduct_;  ///< until there is a goal
    StateDatabase& database_;
    Thread thread_;
    bool silent_ = false;  ///< nothing is drawn any more
    bool deaf_ = false;    ///< "/exit" has no effect
    Terminal terminal_;
    Composer composer_;
    std::size_t composerRows_ = 1;  ///< as it is drawn
};

}  // namespace quernlight::standin::codex
