#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/process/clock.hpp"
#include "host/tools/tool_result.hpp"
#include "quernlight/platform/async_signal.hpp"
#include "quernlight/platform/task.hpp"

namespace quernlight::host {

/// What became of a session's calls that change something, so that none is made twice: the same call again
/// gets the first one's result, also while that one is under way. A call that certainly changed nothing is
/// forgotten. Used on one executor.
class CallMemory {
  public:
    struct Answer {
        ToolResult result{};
        bool isRepeated = false;  ///< of a call that was made before
    };

    /// Makes the call, unless `key` names one that was made already. What the call throws goes on; whether it
    /// has changed anything is then unknown.
    Task<Answer> once(std::string key, Task<ToolResult> call);

    /// The result of a call that has been made is known better now.
    void correct(const std::string& key, ToolResult result);

    /// The same call will be made anew; one that is under way stays so.
    void forget(const std::string& key) { calls_.erase(key); }

    std::size_t size() const { return calls_.size(); }
    bool knows(const std::string& key) const { return calls_.contains(key); }

    bool isAnyUnderWay() const { return !underWay_.empty(); }

    /// Returns once no call is under way, at `deadline` at the latest.
    Task<void> untilNoneIsUnderWay(Clock& clock, Clock::TimePoint deadline);

  private:
    struct Call {
        ToolResult result{};
        bool hasEnded = false;
        std::vector<AsyncSignal> waiting{};
    };

    void end(const std::string& key, Call& call, ToolResult result);

    std::map<std::string, std::shared_ptr<Call>> calls_;
    std::vector<std::shared_ptr<Call>> underWay_;  // those that are forgotten, too
};

}  // namespace quernlight::host
