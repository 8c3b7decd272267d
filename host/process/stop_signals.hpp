#pragma once

#include <chrono>
#include <optional>
#include <string_view>

#include "host/process/stop_request.hpp"

namespace quernlight::host {

/// What the signals that end the program come to: how many wishes to stop they are. A pure function of the
/// signals and their times.
class StopSignals {
  public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// How many wishes there are with this signal; nothing when it only repeats an earlier one. timeout(1)
    /// sends SIGTERM to the program and once more to its group, a service manager may add SIGHUP, and a
    /// closed terminal may hang up twice: of the signals that no key sends, those within a second are one.
    std::optional<int> take(int signal, TimePoint now);

    /// The status with which a program ends that was stopped in order: 0 after SIGTERM, which is how a
    /// service manager ends a service that is well, otherwise 130. The first wish decides.
    int exitStatus() const;

  private:
    bool isRepetition(int signal, TimePoint now) const;

    int count_ = 0;
    int first_ = 0;
    bool hungUp_ = false;
    std::optional<TimePoint> lastUnkeyed_;  // when the last wish came that no key has sent
};

/// The first wish ends the sessions in order, a second one kills them.
StopLevel stopLevel(int wishes);

/// What to tell people once the wish has come to this.
std::string_view stopSentence(StopLevel level);

}  // namespace quernlight::host
