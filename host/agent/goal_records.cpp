#include "host/agent/goal_records.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <utility>
#include <vector>

#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

/// In the order of the enumeration.
constexpr std::array<std::string_view, 6> texts{"active",        "paused",         "blocked",
                                                "usage_limited", "budget_limited", "complete"};

constexpr auto tableQuery = "SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = 'thread_goals'";

/// Of a goal the session's own id is part, so that no other text of an agent's can be a piece of it but one
/// that was typed for it. All columns, since not every release has those beside the text.
/// Compared without white space, which a release may write otherwise than it was typed.
constexpr auto goalQuery =
    "SELECT goal.*, goal.words = asked.words AS is_whole "
    "FROM (SELECT *, replace(replace(replace(replace(objective, ' ', ''), char(10), ''), char(13), ''), "
    "char(9), '') AS words FROM thread_goals) AS goal, "
    "(SELECT replace(replace(replace(replace(?1, ' ', ''), char(10), ''), char(13), ''), char(9), '') "
    "AS words) AS asked "
    "WHERE length(goal.words) > 0 AND instr(asked.words, goal.words) > 0 ORDER BY is_whole DESC LIMIT 1";

bool isName(const std::string& name) {
    return name.ends_with(".sqlite") && (name.starts_with("goals_") || name.starts_with("state_"));
}

struct Databases {
    std::vector<fs::path> paths{};
    bool areAll = true;
};

Databases databasesIn(const fs::path& home) {
    Databases found;
    std::error_code error;
    for (fs::directory_iterator entry(home, error), end; !error && entry != end; entry.increment(error)) {
        if (isName(entry->path().filename().string())) {
            found.paths.push_back(entry->path());
        }
    }
    found.areAll = !error || error == std::errc::no_such_file_or_directory;
    return found;
}

GoalRecord recordIn(const Row& row) {
    const bool isWhole = row.at("is_whole").asInteger() == 1;
    const auto status = row.find("status");
    const std::string* text = isWhole && status != row.end() ? status->second.asText() : nullptr;
    return {.match = isWhole ? GoalMatch::whole : GoalMatch::part,
            .status = text ? parseGoalStatus(*text) : std::nullopt};
}

GoalRecord recordIn(const fs::path& database, const std::string& objective) {
    try {
        Connection connection(database, Connection::Access::readOnly);
        if (connection.query(tableQuery).empty()) {
            return {};
        }
        const auto rows = connection.query(goalQuery, {SQLValue::text(objective)});
        return rows.empty() ? GoalRecord{.match = GoalMatch::absent} : recordIn(rows.front());
    } catch (const DatabaseError&) {
        return {.allRead = false};  // the next look may tell
    }
}

GoalRecord bestOf(const GoalRecord& left, const GoalRecord& right) {
    GoalRecord best = left.match < right.match ? right : left;
    best.allRead = left.allRead && right.allRead;
    return best;
}

}  // namespace

std::string_view nameOf(GoalStatus status) {
    return texts.at(static_cast<std::size_t>(status));
}

std::optional<GoalStatus> parseGoalStatus(std::string_view recorded) {
    const auto* found = std::ranges::find(texts, recorded);
    return found == texts.end() ? std::nullopt
                                : std::optional(static_cast<GoalStatus>(found - texts.begin()));
}

GoalRecord findGoalRecord(const EnvironmentMap& environment, const std::string& objective) {
    const Databases databases =
        databasesIn(CodexSessionResolver::stateDatabaseURL(environment).parent_path());
    GoalRecord best{.allRead = databases.areAll};
    for (const fs::path& database : databases.paths) {
        best = bestOf(best, recordIn(database, objective));
    }
    return best;
}

}  // namespace quernlight::host
