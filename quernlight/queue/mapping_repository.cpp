#include "quernlight/queue/mapping_repository.hpp"

#include "quernlight/platform/text.hpp"
#include "quernlight/platform/user_directories.hpp"
#include "quernlight/storage/column_values.hpp"

namespace quernlight {
namespace {

constexpr const char* upsertMapping =
    "INSERT INTO app_mappings\n"
    "  (bundle_id, app_id, app_name, repo_path, worktree_root_path, base_branch, codex_profile, created_at, "
    "updated_at)\n"
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)\n"
    "ON CONFLICT(bundle_id) DO UPDATE SET\n"
    "  app_id = excluded.app_id,\n"
    "  app_name = excluded.app_name,\n"
    "  repo_path = excluded.repo_path,\n"
    "  worktree_root_path = excluded.worktree_root_path,\n"
    "  base_branch = excluded.base_branch,\n"
    "  codex_profile = excluded.codex_profile,\n"
    "  updated_at = excluded.updated_at";

AppMapping mappingOfRow(const Row& row) {
    return {
        .bundleID = requiredText(row, "bundle_id"),
        .appID = optionalUuid(row, "app_id"),
        .appName = requiredText(row, "app_name"),
        .repoPath = requiredText(row, "repo_path"),
        .worktreeRootPath = optionalText(row, "worktree_root_path"),
        .baseBranch = requiredText(row, "base_branch"),
        .codexProfile = requiredText(row, "codex_profile"),
    };
}

}  // namespace

std::string AppMapping::resolvedWorktreeRootPath() const {
    if (worktreeRootPath && !trimmed(*worktreeRootPath).empty()) {
        return standardizedPath(*worktreeRootPath);
    }
    return repoPath;
}

Task<void> MappingRepository::upsert(const AppMapping& mapping, Instant now) const {
    const SQLValue time = columnValue(now);
    return database_->execute(
        upsertMapping,
        {columnValue(mapping.bundleID), columnValue(mapping.appID), columnValue(mapping.appName),
         columnValue(mapping.repoPath), columnValue(mapping.worktreeRootPath),
         columnValue(mapping.baseBranch), columnValue(mapping.codexProfile), time, time});
}

Task<std::optional<AppMapping>> MappingRepository::mapping(std::string bundleID) const {
    SQLValues values(1, columnValue(bundleID));
    const std::vector<Row> rows = co_await database_->query(
        "SELECT * FROM app_mappings WHERE bundle_id = ? LIMIT 1", std::move(values));
    if (rows.empty()) {
        co_return std::nullopt;
    }
    co_return mappingOfRow(rows.front());
}

Task<std::vector<AppMapping>> MappingRepository::allMappings() const {
    const std::vector<Row> rows =
        co_await database_->query("SELECT * FROM app_mappings ORDER BY app_name ASC");
    std::vector<AppMapping> mappings;
    mappings.reserve(rows.size());
    for (const Row& row : rows) {
        mappings.push_back(mappingOfRow(row));
    }
    co_return mappings;
}

Task<void> MappingRepository::remove(std::string_view bundleID) const {
    return database_->execute("DELETE FROM app_mappings WHERE bundle_id = ?", {columnValue(bundleID)});
}

}  // namespace quernlight
