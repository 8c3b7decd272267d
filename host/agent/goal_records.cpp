#include "host/agent/goal_records.hpp"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "quernlight/dispatch/codex_session_resolver.hpp"
#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight::host {
namespace fs = std::filesystem;
namespace {

/// Of a goal the session's own id is part, so that no other text of an agent's can be a piece of it but one
/// that was typed for it.
constexpr auto query =
    "SELECT max(CASE WHEN objective = ?1 THEN 2 ELSE 1 END) FROM thread_goals "
    "WHERE length(objective) > 0 AND instr(?1, objective) > 0";

std::vector<fs::path> databasesNamed(const fs::path& home, std::string_view prefix) {
    std::vector<std::pair<fs::file_time_type, fs::path>> found;
    std::error_code error;
    for (fs::directory_iterator entry(home, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        std::error_code unreadable;
        if (name.starts_with(prefix) && name.ends_with(".sqlite") && entry->is_regular_file(unreadable)) {
            found.emplace_back(entry->last_write_time(unreadable), entry->path());
        }
    }
    std::ranges::sort(found, std::ranges::greater());
    std::vector<fs::path> paths;
    std::ranges::transform(found, std::back_inserter(paths), [](const auto& entry) { return entry.second; });
    return paths;
}

/// Nothing when the database has no goals.
std::optional<GoalRecord> recordIn(const fs::path& database, const std::string& objective) {
    try {
        Connection connection(database, Connection::Access::readOnly);
        Statement statement = connection.prepare(query);
        statement.bind({SQLValue::text(objective)});
        if (statement.step() != Statement::StepResult::row) {
            return GoalRecord::unknown;  // busy, say: the next look tells
        }
        const auto best = statement.integerColumn(0);
        return best == 2 ? GoalRecord::whole : best == 1 ? GoalRecord::part : GoalRecord::absent;
    } catch (const DatabaseError&) {
        return std::nullopt;
    }
}

}  // namespace

GoalRecord findGoalRecord(const EnvironmentMap& environment, const std::string& objective) {
    const fs::path home = CodexSessionResolver::stateDatabaseURL(environment).parent_path();
    for (const std::string_view prefix : {"goals_", "state_"}) {
        for (const fs::path& database : databasesNamed(home, prefix)) {
            if (const auto record = recordIn(database, objective)) {
                return *record;
            }
        }
    }
    return GoalRecord::unknown;
}

}  // namespace quernlight::host
