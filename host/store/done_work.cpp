#include "host/store/done_work.hpp"

#include <algorithm>

namespace quernlight::host {
namespace {

Instant lastSeen(const SessionAttemptRecord& attempt, const WorkPeriod& period, bool isLast) {
    if (attempt.endedAt) {
        return *attempt.endedAt;
    }
    return period.isWorkedOn && isLast ? period.until : attempt.lastOutputAt.value_or(attempt.startedAt);
}

}  // namespace

std::vector<WorkSpan> workSpans(const std::vector<SessionAttemptRecord>& attempts, const WorkPeriod& period) {
    std::vector<WorkSpan> spans;
    for (const SessionAttemptRecord& attempt : attempts) {
        spans.push_back({.startedAt = attempt.startedAt,
                         .seenUntil = lastSeen(attempt, period, &attempt == &attempts.back()),
                         .isEnded = attempt.endedAt.has_value()});
    }
    return spans;
}

DoneWork doneWork(const std::vector<WorkSpan>& spans, const WorkPeriod& period) {
    DoneWork work;
    std::chrono::milliseconds worked{0};
    for (const WorkSpan& span : spans) {
        if (span.seenUntil < period.since || span.startedAt > period.until) {
            continue;
        }
        ++work.attempts;
        worked += std::max(std::min(span.seenUntil, period.until) - std::max(span.startedAt, period.since),
                           std::chrono::milliseconds::zero());
        work.startedAt = work.startedAt.value_or(span.startedAt);
        work.endedAt = span.isEnded ? std::optional(span.seenUntil) : std::nullopt;
    }
    work.worked = std::chrono::floor<std::chrono::seconds>(worked);
    return work;
}

DoneWork doneWork(const std::vector<SessionAttemptRecord>& attempts, const WorkPeriod& period) {
    return doneWork(workSpans(attempts, period), period);
}

DoneWork within(DoneWork work, const WorkPeriod& period) {
    const Instant start = std::max(work.startedAt.value_or(period.since), period.since);
    const Instant end = std::min(work.endedAt.value_or(period.until), period.until);
    if (end < start) {
        return {};
    }
    work.worked = std::min(work.worked, std::chrono::ceil<std::chrono::seconds>(end - start));
    return work;
}

std::string textOf(const std::vector<WorkSpan>& spans) {
    std::string text;
    for (const WorkSpan& span : spans) {
        text += (text.empty() ? "" : " ") + formatInstant(span.startedAt) + "/" +
                formatInstant(span.seenUntil) + (span.isEnded ? "" : "?");
    }
    return text;
}

std::vector<WorkSpan> readWorkSpans(std::string_view text) {
    std::vector<WorkSpan> spans;
    while (!text.empty()) {
        const std::size_t length = std::min(text.find(' '), text.size());
        std::string_view word = text.substr(0, length);
        text.remove_prefix(std::min(length + 1, text.size()));
        const bool isEnded = !word.ends_with('?');
        word.remove_suffix(isEnded ? 0 : 1);
        const std::size_t slash = std::min(word.find('/'), word.size());
        const auto start = parseInstant(word.substr(0, slash));
        const auto end = parseInstant(word.substr(std::min(slash + 1, word.size())));
        if (start && end) {
            spans.push_back({.startedAt = *start, .seenUntil = *end, .isEnded = isEnded});
        }
    }
    return spans;
}

}  // namespace quernlight::host
