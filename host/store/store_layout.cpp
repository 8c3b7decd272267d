#include "host/store/store_layout.hpp"

#include "quernlight/storage/migrations.hpp"

namespace quernlight::host {

Task<StoreLayout> layoutOf(std::shared_ptr<Database> database) {
    const auto rows = co_await database->query(
        "SELECT (SELECT user_version FROM pragma_user_version) AS version,"
        " EXISTS (SELECT 1 FROM sqlite_master WHERE name = 'session_attempts_legacy_notnull') AS unfinished,"
        " EXISTS (SELECT 1 FROM pragma_table_info('retired_bugs') WHERE name = 'ended_at') AS complete");
    const Row& row = rows.at(0);
    const auto version = row.at("version").asInteger().value_or(0);
    if (version > Migrations::version) {
        co_return StoreLayout::newer;
    }
    const bool isCurrent = version == Migrations::version && row.at("unfinished") == SQLValue::integer(0) &&
                           row.at("complete") == SQLValue::integer(1);
    co_return isCurrent ? StoreLayout::current : StoreLayout::older;
}

}  // namespace quernlight::host
