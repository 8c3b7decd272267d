#pragma once

#include <string>

#include "host/live/live_picture.hpp"

namespace quernlight::host::test {

inline const Instant aMoment = *parseInstant("2026-03-04T14:02:10Z");

inline LiveBug bug(const std::string& id, SessionStage stage, const std::string& title = "Title",
                   const std::string& detail = "") {
    return {.bugID = id,
            .appName = "Notes",
            .title = title,
            .stage = stage,
            .detail = detail,
            .since = aMoment - std::chrono::minutes(4),
            .isFollowed = isRunning(stage)};
}

inline OwnerReport owner() {
    return {.pid = 7,
            .version = "1.0",
            .since = aMoment,
            .backend = "https://bugs.example",
            .sessions = 2,
            .maxSessions = 2,
            .memoryMiB = 6246,
            .nextPollAt = aMoment + std::chrono::seconds(40)};
}

inline LiveFrame frame(int columns, int rows, bool isColoured = false) {
    return {.size = {.columns = columns, .rows = rows}, .isColoured = isColoured, .turn = 2, .now = aMoment};
}

/// A day as it goes.
inline LiveSnapshot busyDay() {
    LiveSnapshot day{.isKnown = true, .owner = owner(), .takenInToday = 20, .mappings = 2};
    day.bugs = {bug("b05d83f7", SessionStage::needsReply, "It does not work", "Which steps show it?"),
                bug("36f675cc", SessionStage::failed, "Crash on paste", "exit 139 (SIGSEGV)"),
                bug("7c41e0ab", SessionStage::working, "Saving an empty note crashes", "Ran git push"),
                bug("2e9b6d14", SessionStage::working, "Search misses accented words", "make test"),
                bug("907a70c3", SessionStage::queued, "Paste loses formatting"),
                bug("51d0c2aa", SessionStage::queued, "Dark mode forgets the font"),
                bug("7f150524", SessionStage::inReview, "Undo twice quits")};
    day.bugs[1].since -= std::chrono::minutes(5);
    day.bugs[2].since = aMoment - std::chrono::seconds(723);
    day.bugs[3].since = aMoment - std::chrono::seconds(220);
    return day;
}

}  // namespace quernlight::host::test
