#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "standin/codex/backend.hpp"
#include "standin/codex/behaviour.hpp"
#include "standin/codex/bug_report.hpp"
#include "standin/codex/goal.hpp"
#include "standin/codex/settings.hpp"
#include "standin/codex/terminal.hpp"

namespace quernlight::standin::codex {

/// Does one goal from its first step to its comment, and shows how it gets on. Failures are
/// std::runtime_error with a sentence.
class GoalWorker {
  public:
    GoalWorker(const Goal& goal, Behaviour behaviour, const Settings& settings,
               std::unique_ptr<BugAccess> access, Terminal& terminal);

    /// Returns once the comment is posted; with a behaviour that posts none, does not return or returns
    /// early.
    void run();

  private:
    void investigate();
    void askForInformation();
    void change();
    void report(const Report& report);
    void misbehave();
    void flood();
    void step(std::string_view text);

    const Goal& goal_;
    Behaviour behaviour_;
    const Settings& settings_;
    const std::unique_ptr<BugAccess> access_;
    Terminal& terminal_;
    BugReport bug_;
};

}  // namespace quernlight::standin::codex
