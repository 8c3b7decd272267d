#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace quernlight::test {

/// A database file as an older version left it, with a row or two in each table. What a version did not have
/// yet is switched off; everything else is as it is today.
struct OlderLayout {
    std::string name{};
    bool mappingsHaveWorktreeRoot = true;
    bool itemsHaveQueueMode = true;
    bool itemsHaveConversation = true;
    bool itemsHaveGoalFlow = true;
    bool hasAttempts = true;
    bool attemptsHaveConversation = true;
    bool attemptsRequireAnItem = false;
    bool attemptsHaveFailureReason = true;  ///< no version lacked it; a file that does cannot be rebuilt
    bool hasEventsAndSettings = true;
    bool hasIndexes = true;
    std::string firstBugID = "3f2a9c10";  ///< the first item's; early versions stored whole UUIDs
    std::string secondBugID = "ab1";
};

/// Whole ids, of which the first and the third have the short form 3f2a9c10 and the second has abcdef12.
inline constexpr const char* longBugID = "3F2A9C10-AAAA-BBBB-CCCC-DDDDEEEEFFFF";
inline constexpr const char* otherLongBugID = "ABCDEF12-AAAA-BBBB-CCCC-DDDDEEEEFFFF";
inline constexpr const char* collidingBugID = "3F2A9C10-1111-2222-3333-444455556666";

/// How a failing test shows a layout.
inline void PrintTo(const OlderLayout& layout, std::ostream* out) {
    *out << layout.name;
}

/// The statements that make a file of the layout, its rows included, out of an empty one.
std::vector<std::string> statementsOf(const OlderLayout& layout);

/// Every layout that an older version can have left.
std::vector<OlderLayout> allOlderLayouts();

}  // namespace quernlight::test
