#pragma once

#include <string_view>

#include "standin/backend/bug_store.hpp"

namespace quernlight::standin {

/// What the store holds at the start, read from JSON:
///
///     {"apps": [{"bundle_id": "com.example.app", "name": "Example"}],
///      "bugs": [{"title": "It crashes", "bundle_id": "com.example.app"}],
///      "comments": [{"bug_id": "3f2a9c1d", "body": "Seen here too."}]}
///
/// shows every member that must be there ("apps", "bugs" and "comments" may each be left out). Others have
/// defaults:
///   apps      id (a random UUID)
///   bugs      id (a random UUID; the first 8 characters must differ from every other bug's), bundle_id (may
///   be
///             left out when there is exactly one app; an unknown one makes a new app), app_name (the name of
///             such a new app; its bundle id), status ("open"), metadata ({}), created_at (one second apart,
///             the first listed is the oldest and the last one second old), occurred_at and updated_at
///             (created_at), attachments ([]), and null: description, reporter, app_version, os_version,
///             device_model, device_name, pr_url, duplicate_of, log_s3_key, logs
///   comments  id (a random UUID), author_type (null), metadata (null), created_at (the bug's), updated_at
///             (created_at), attachments ([])
///   an attachment has filename and may have id, content_type ("application/octet-stream"), size_bytes (0)
///   and
///             created_at (its owner's)
/// A state file is a seed too; only the bytes of attachments are not taken over.
///
/// Throws InvalidInput with a sentence that names the entry at fault.
BugStore storeFromSeed(std::string_view text, Instant now);

}  // namespace quernlight::standin
