#pragma once

#include <boost/json/object.hpp>

#include "host/service/configuration_operations.hpp"

namespace quernlight::host {

// Mappings and settings as other programs are shown them, and read back. Reading throws Misread.

/// "bundle", "app", "app_id", "repository", "base_branch", "worktrees": null where none were named,
/// and "profile".
boost::json::object jsonOf(const AppMapping& mapping);
AppMapping readMapping(const boost::json::value& value);

/// The mapping, and "warnings".
boost::json::object jsonOf(const StoredMapping& stored);
StoredMapping readStoredMapping(const boost::json::value& value);

/// The mapping, and "trouble": null when bugs can be worked on there.
boost::json::object jsonOf(const MappingCheck& check);
MappingCheck readMappingCheck(const boost::json::value& value);

/// "app", "repository", "base_branch" ("main" where it is missing) and "worktrees"; the bundle is in the
/// path.
boost::json::object jsonOf(const MappingRequest& request);
MappingRequest readMappingRequest(std::string bundleID, const boost::json::value& value);

/// "key", "text", "is_set", "unit", "help", "allowed" and "takes_effect".
boost::json::object jsonOf(const SettingValue& setting);
SettingValue readSettingValue(const boost::json::value& value);

/// "settings" and "troubles".
boost::json::object jsonOf(const SettingList& settings);
SettingList readSettingList(const boost::json::value& value);

/// "settings": an object of texts by key, null for what goes back to its default.
boost::json::object jsonOf(const std::vector<SettingChange>& changes);
std::vector<SettingChange> readSettingChanges(const boost::json::value& value);

}  // namespace quernlight::host
