#include "quernlight/dispatch/codex_session_resolver.hpp"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "quernlight/storage/connection.hpp"
#include "quernlight/storage/database_error.hpp"

namespace quernlight {
namespace {

namespace fs = std::filesystem;
using std::chrono::seconds;

constexpr seconds recordingTolerance{10};

constexpr auto latestThreadQuery =
    "SELECT id, cwd, title, created_at, updated_at\n"
    "  FROM threads\n"
    " WHERE cwd = ?\n"
    "   AND source = 'cli'\n"
    "   AND created_at >= ?\n"
    " ORDER BY created_at DESC, updated_at DESC\n"
    " LIMIT 1";

fs::path codexHome(const EnvironmentMap& environment) {
    const auto home = environment.find("CODEX_HOME");
    if (home != environment.end() && !home->second.empty()) {
        std::error_code noCurrentDirectory;
        const fs::path absolute = fs::absolute(home->second, noCurrentDirectory);
        return noCurrentDirectory ? fs::path(home->second) : absolute;
    }
    return userHomeDirectory(environment) / ".codex";
}

bool isStateDatabase(const FileManager::Entry& entry) {
    const std::string name = entry.path.filename().string();
    return name.starts_with("state_") && name.ends_with(".sqlite");
}

/// Of files modified at the same time the one whose name sorts last, so that the answer is always the same.
bool isOlder(const FileManager::Entry& left, const FileManager::Entry& right) {
    const auto age = [](const FileManager::Entry& entry) {
        return std::pair(entry.modified.value_or(fs::file_time_type::min()), entry.path.filename());
    };
    return age(left) < age(right);
}

std::vector<FileManager::Entry> stateDatabases(const FileManager& fileManager, const fs::path& home) {
    std::vector<FileManager::Entry> entries;
    try {
        entries = fileManager.visibleEntries(home);
    } catch (const fs::filesystem_error&) {
        return {};  // an agent that has never run here has no home yet
    }
    std::erase_if(entries, [](const auto& entry) { return !isStateDatabase(entry); });
    return entries;
}

/// A pipe in the file's place would keep whoever opens it for as long as nobody writes to it.
Connection openReadOnly(const fs::path& databaseURL) {
    std::error_code unreadable;
    try {
        if (fs::is_regular_file(databaseURL, unreadable)) {
            return Connection(databaseURL, Connection::Access::readOnly);
        }
    } catch (const DatabaseError&) {
    }
    throw DatabaseError(DatabaseError::Kind::openFailed, "Unable to open Codex state database.");
}

/// Seconds since the epoch as an instant; beyond what an instant can hold, the nearest one that it can.
Instant instantOfSeconds(std::int64_t sinceEpoch) {
    constexpr std::int64_t limit = std::chrono::duration_cast<seconds>(Instant::duration::max()).count();
    return Instant(seconds(std::clamp(sinceEpoch, -limit, limit)));
}

std::string textOr(const SQLValue& column, std::string_view fallback) {
    const std::string* text = column.asText();
    return text ? *text : std::string(fallback);
}

std::optional<CodexSessionRecord> recordOf(const Statement& row, const std::string& cwd) {
    const SQLValue idColumn = row.column(0);
    const std::string* idText = idColumn.asText();
    const auto id = idText ? parseUuid(*idText) : std::nullopt;
    if (!id) {
        return std::nullopt;
    }
    return CodexSessionRecord{.id = *id,
                              .cwd = textOr(row.column(1), cwd),
                              .title = textOr(row.column(2), ""),
                              .createdAt = instantOfSeconds(row.integerColumn(3)),
                              .updatedAt = instantOfSeconds(row.integerColumn(4))};
}

}  // namespace

fs::path CodexSessionResolver::stateDatabaseURL(const EnvironmentMap& environment,
                                                const FileManager& fileManager) {
    const fs::path home = codexHome(environment);
    const auto databases = stateDatabases(fileManager, home);
    const auto newest = std::max_element(databases.begin(), databases.end(), isOlder);
    return newest == databases.end() ? home / "state_5.sqlite" : newest->path;
}

std::optional<CodexSessionRecord> CodexSessionResolver::latest(const std::string& cwd, Instant createdAfter,
                                                               const fs::path& databaseURL) {
    const auto earliest =
        std::chrono::duration_cast<seconds>((createdAfter - recordingTolerance).time_since_epoch());
    Connection connection = openReadOnly(databaseURL);
    Statement statement = connection.prepare(latestThreadQuery);
    statement.bind({SQLValue::text(cwd), SQLValue::integer(earliest.count())});
    switch (statement.step()) {
        case Statement::StepResult::row:
            return recordOf(statement, cwd);
        case Statement::StepResult::done:
            return std::nullopt;
        case Statement::StepResult::failed:
            break;
    }
    throw DatabaseError(DatabaseError::Kind::stepFailed, statement.errorMessage());
}

}  // namespace quernlight
