#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quernlight/queue/session_attempt_repository.hpp"

namespace quernlight::host {

/// What agents did for one bug in a period.
struct DoneWork {
    int attempts = 0;                    ///< that were under way in the period
    std::chrono::seconds worked{0};      ///< of their agents, within the period
    std::optional<Instant> startedAt{};  ///< of the first of them, which may lie before the period
    std::optional<Instant> endedAt{};    ///< of the last one; absent while it runs, or its end is not known

    bool operator==(const DoneWork&) const = default;
};

/// One attempt.
struct WorkSpan {
    Instant startedAt{};
    Instant seenUntil{};  ///< its end, or its agent's last output where nobody saw that
    bool isEnded = true;

    bool operator==(const WorkSpan&) const = default;
};

struct WorkPeriod {
    Instant since{};
    Instant until{};
    bool isWorkedOn = false;  ///< at its end: an attempt without an end has gone on until then
};

/// Of the attempts of one bug, the first one first. One without an end, on which nobody works, is taken to
/// have gone on until its agent's last output. Pure.
DoneWork doneWork(const std::vector<SessionAttemptRecord>& attempts, const WorkPeriod& period);

/// The same in two steps, for what outlives the attempts.
std::vector<WorkSpan> workSpans(const std::vector<SessionAttemptRecord>& attempts, const WorkPeriod& period);
DoneWork doneWork(const std::vector<WorkSpan>& spans, const WorkPeriod& period);

/// Of work that is known in sum only no more than fits into the period.
DoneWork within(DoneWork work, const WorkPeriod& period);

/// "STARTED/UNTIL STARTED/UNTIL", with a "?" behind one whose end nobody saw; what cannot be read is left
/// out.
std::string textOf(const std::vector<WorkSpan>& spans);
std::vector<WorkSpan> readWorkSpans(std::string_view text);

}  // namespace quernlight::host
