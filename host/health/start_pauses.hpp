#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/health/outside_failure.hpp"

namespace quernlight::host {

/// A pause of starts that holds for a bug.
struct StartPause {
    std::string cause{};
    std::optional<std::chrono::seconds> left{};  ///< absent: nobody tries again

    bool operator==(const StartPause&) const = default;
};

/// A pause of starts that a person has ended.
struct EndedPause {
    std::string repository{};  ///< empty: of all starts
    std::string cause{};
    std::chrono::seconds left{};  ///< for which it would have gone on

    bool operator==(const EndedPause&) const = default;
};

/// Which bugs are not started for a while because one that was could not be, for a cause outside of it. The
/// first pause is as long as the cause lasts where that is known; else each further failure doubles it,
/// within the lengths that fit the cause, until a start succeeds. Pure but for its listener, which is told of
/// each pause and of its end. Used on one executor.
class StartPauses {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// `scope`: the repository whose bugs are held back, or `everything`, or `agentsWork`. An empty sentence
    /// says that it is over.
    using Listener = std::function<void(const std::string& scope, const std::string& sentence)>;

    static inline const std::string everything{};
    static inline const std::string agentsWork{"the agent's work"};

    explicit StartPauses(Listener listener) : listener_(std::move(listener)) {}

    /// A start has failed. While starts pause already it is one that began before, and counts for nothing,
    /// unless its cause is known to last longer.
    void failed(const OutsideFailure& failure, TimePoint now);

    /// The clock says `wall`: pauses until a time of day end when it is reached, however long the machine has
    /// slept and whatever the clock was set to.
    void follow(TimePoint now, Instant wall);

    /// The repository has given a bug its worktree.
    void prepared(const std::string& repository) { end(repository); }

    /// An agent has taken its goal.
    void agentStarted();

    /// An agent that was started at `since` does its work: what stopped that before then is over.
    void agentWorked(TimePoint since);

    /// The agent has not taken the goal of that bug. How many bugs that has happened to since one was taken.
    std::size_t goalRefused(const std::string& bugID);

    /// A person wants a try now: ends all pauses that hold, and says which. The next failure pauses longer
    /// again, as if their time had passed.
    std::vector<EndedPause> tryNow(TimePoint now);

    /// Ends what no queued bug waits for: pauses of other repositories than these and, without any, all but
    /// those until a time of day that is still to come.
    void endUnused(const std::set<std::string>& repositories);

    bool areAny() const { return !pauses_.empty(); }

    /// Why, and for how long, no bug of the repository is to be started; nothing when one may be.
    std::optional<StartPause> pauseOf(const std::string& repository, TimePoint now) const;

    /// Why the last start of a bug of the repository failed; nothing when it succeeded.
    std::optional<std::string> trouble(const std::string& repository) const;

  private:
    struct Pause {
        std::string cause{};
        std::chrono::seconds length{};
        TimePoint end{};
        std::optional<Instant> until{};  // while it is to come
    };

    void end(const std::string& scope);

    Listener listener_;
    std::map<std::string, Pause> pauses_;  // by scope
    std::set<std::string> refused_{};      // bugs
};

}  // namespace quernlight::host
