#include "host/service/configuration_json.hpp"

#include <algorithm>
#include <array>

#include "host/service/json_fields.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

std::optional<TakesEffect> parseTakesEffect(std::string_view text) {
    constexpr std::array all{TakesEffect::atOnce, TakesEffect::withTheNextSession,
                             TakesEffect::atTheNextStart};
    const auto* found = std::ranges::find_if(all, [&](TakesEffect known) { return describe(known) == text; });
    return found == all.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

json::object jsonOf(const AppMapping& mapping) {
    return {{"bundle", jsonText(mapping.bundleID)},        {"app", jsonText(mapping.appName)},
            {"app_id", jsonIfAny(mapping.appID)},          {"repository", jsonText(mapping.repoPath)},
            {"base_branch", jsonText(mapping.baseBranch)}, {"worktrees", jsonIfAny(mapping.worktreeRootPath)},
            {"profile", jsonText(mapping.codexProfile)}};
}

AppMapping readMapping(const json::value& value) {
    const JsonFields fields(value);
    return {.bundleID = fields.text("bundle"),
            .appID = fields.optionalUuid("app_id"),
            .appName = fields.text("app"),
            .repoPath = fields.text("repository"),
            .worktreeRootPath = fields.optionalText("worktrees"),
            .baseBranch = fields.text("base_branch"),
            .codexProfile = fields.text("profile")};
}

json::object jsonOf(const StoredMapping& stored) {
    json::object object = jsonOf(stored.mapping);
    object["warnings"] = jsonArray(stored.warnings, jsonText);
    return object;
}

StoredMapping readStoredMapping(const json::value& value) {
    return {.mapping = readMapping(value), .warnings = JsonFields(value).texts("warnings")};
}

json::object jsonOf(const MappingCheck& check) {
    json::object object = jsonOf(check.mapping);
    object["trouble"] = check.trouble.empty() ? json::value(nullptr) : jsonText(check.trouble);
    return object;
}

MappingCheck readMappingCheck(const json::value& value) {
    return {.mapping = readMapping(value), .trouble = JsonFields(value).optionalText("trouble").value_or("")};
}

json::object jsonOf(const MappingRequest& request) {
    return {{"app", jsonText(request.appName)},
            {"repository", jsonText(request.repository)},
            {"base_branch", jsonText(request.baseBranch)},
            {"worktrees", jsonIfAny(request.worktrees)}};
}

MappingRequest readMappingRequest(std::string bundleID, const json::value& value) {
    const JsonFields fields(value);
    return {.bundleID = std::move(bundleID),
            .appName = fields.text("app"),
            .repository = fields.text("repository"),
            .baseBranch = fields.optionalText("base_branch").value_or(MappingRequest().baseBranch),
            .worktrees = fields.optionalText("worktrees")};
}

json::object jsonOf(const SettingValue& setting) {
    return {{"key", setting.key},
            {"text", jsonText(setting.text)},
            {"is_set", setting.isSet},
            {"unit", setting.unit},
            {"help", setting.help},
            {"allowed", setting.allowed},
            {"takes_effect", describe(setting.takesEffect)}};
}

SettingValue readSettingValue(const json::value& value) {
    const JsonFields fields(value);
    return {.key = fields.text("key"),
            .text = fields.text("text"),
            .isSet = fields.flag("is_set"),
            .unit = fields.text("unit"),
            .help = fields.text("help"),
            .allowed = fields.text("allowed"),
            .takesEffect = fields.parsed("takes_effect", parseTakesEffect)};
}

json::object jsonOf(const SettingList& settings) {
    return {{"settings", jsonArray(settings.values, [](const SettingValue& value) { return jsonOf(value); })},
            {"troubles", jsonArray(settings.troubles, jsonText)}};
}

json::object jsonOf(const std::vector<SettingChange>& changes) {
    json::object texts;
    for (const SettingChange& change : changes) {
        texts[change.key] = jsonIfAny(change.text);
    }
    return {{"settings", std::move(texts)}};
}

std::vector<SettingChange> readSettingChanges(const json::value& value) {
    const JsonFields fields(value);
    const json::value& texts = fields.value("settings");
    const JsonFields known(texts);
    std::vector<SettingChange> changes;
    for (const auto& [key, text] : texts.get_object()) {
        changes.push_back({.key = std::string(key), .text = known.optionalText(key)});
    }
    return changes;
}

SettingList readSettingList(const json::value& value) {
    const JsonFields fields(value);
    return {.values = readEach(fields.list("settings"), readSettingValue),
            .troubles = fields.texts("troubles")};
}

}  // namespace quernlight::host
