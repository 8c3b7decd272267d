#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/service/observation_operations.hpp"

namespace quernlight::host {

/// One bug as the live view has it.
struct LiveBug {
    std::string bugID{};
    std::string appName{};
    std::string title{};
    SessionStage stage = SessionStage::queued;
    std::optional<int> exitCode{};  ///< of its agent, once that has gone
    std::string detail{};           ///< the agent's last line, why it failed, or what it asks; may be empty
    Instant since{};                ///< that it is in this state, as far as is known
    bool isFollowed = false;        ///< a dispatcher that runs works on it
    bool isManual = false;          ///< it is in the manual queue
};

enum class LiveSection : std::uint8_t { needsYou, running, queued, review };

inline constexpr std::array allLiveSections{LiveSection::needsYou, LiveSection::running, LiveSection::queued,
                                            LiveSection::review};

/// Nothing for a bug that is not shown.
std::optional<LiveSection> sectionOf(const LiveBug& bug);

/// What the service was asked.
struct LiveAnswers {
    HealthReport health{};
    std::vector<QueueEntry> queue{};
    std::vector<RunningSession> sessions{};
    std::map<std::string, std::string> questions{};  ///< that wait for a reply, by bug
    std::size_t mappings = 0;
};

/// How all stands, at one moment, as far as the live view shows it.
struct LiveSnapshot {
    bool isKnown = false;  ///< nothing has been found out yet otherwise
    std::optional<OwnerReport> owner{};
    std::string backendTrouble{};
    std::vector<std::string> alerts{};
    std::vector<LiveBug> bugs{};  ///< in the order of the queues
    std::size_t takenInToday = 0;
    std::size_t mappings = 0;
    std::string trouble{};  ///< why it is not known how things stand now; may be empty
};

/// `offset`: how far the person's clock is ahead of UTC.
LiveSnapshot liveSnapshot(const LiveAnswers& answers, Instant now, std::chrono::seconds offset);

/// The bugs of each section, of those that hold the filter's text in id, title or app.
using BugsBySection = std::map<LiveSection, std::vector<const LiveBug*>>;
BugsBySection listedBugs(const LiveSnapshot& snapshot, const std::string& filter);

/// The same as one list, from top to bottom.
std::vector<const LiveBug*> inOrder(const BugsBySection& listed);

/// What a view without a bug waits for: one sentence a line.
std::vector<std::string> waitsFor(const LiveSnapshot& snapshot, Instant now, std::chrono::seconds offset);

}  // namespace quernlight::host
