#pragma once

#include <optional>
#include <set>
#include <string>

#include "host/events/dispatch_event.hpp"

namespace quernlight::host {

/// What became of the bugs that a run has worked on, counted from its events. Used on one executor.
class RunTally {
  public:
    void handle(const DispatchEvent& event);

    /// How many of them have failed and are not worked on again, in one sentence; nothing when none has.
    std::optional<std::string> failureSentence() const;

  private:
    std::set<std::string> worked_;  // bugs
    std::set<std::string> failed_;
};

}  // namespace quernlight::host
