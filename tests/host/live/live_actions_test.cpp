#include "host/live/live_actions.hpp"

#include <gtest/gtest.h>

namespace quernlight::host {
namespace {

QueueEntry entry(const std::string& bugID, SessionStage stage, QueueMode mode = QueueMode::automatic) {
    QueueEntry entry{.stage = stage};
    entry.item.bugID = bugID;
    entry.item.queueMode = mode;
    return entry;
}

TEST(LivePlaceTest, ABugGoesPastItsNeighbourOrStaysWhereItIs) {
    using enum SessionStage;
    const std::vector<QueueEntry> queue{
        entry("works", working),      entry("one", queued),
        entry("two", queuedToResume), entry("held", queued, QueueMode::manual),
        entry("asks", needsReply),    entry("three", queued)};
    struct Row {
        const char* name;
        LiveAction action;
        const char *bug, *past;
        std::optional<std::string> place;
    };
    const Row rows[] = {
        {"up", LiveAction::moveUp, "two", "one", "one"},
        {"down", LiveAction::moveDown, "one", "two", "three"},
        {"down to the end", LiveAction::moveDown, "two", "three", ""},
        {"up past what stands in the other queue", LiveAction::moveUp, "three", "two", "two"},
        {"past one that is not above it any more", LiveAction::moveUp, "three", "one", {}},
        {"past one that is not below it any more", LiveAction::moveDown, "one", "three", {}},
        {"past one that works by now", LiveAction::moveUp, "one", "works", {}},
        {"past one that has gone", LiveAction::moveDown, "three", "four", {}},
        {"it works by now", LiveAction::moveDown, "works", "one", {}},
        {"it has gone", LiveAction::moveUp, "four", "three", {}},
    };
    for (const Row& row : rows) {
        const LiveWish move{.action = row.action, .bugID = row.bug, .text = row.past};
        EXPECT_EQ(placeOf(move, queue), row.place) << row.name;
    }
}

}  // namespace
}  // namespace quernlight::host
