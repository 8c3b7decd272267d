#include "host/service/event_json.hpp"

#include <array>
#include <utility>

#include "host/service/json_fields.hpp"
#include "host/service/queue_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

/// In the order of the variant.
constexpr std::array<std::string_view, std::variant_size_v<DispatchEvent>> typeNames{
    "item_changed", "item_removed",  "stage_changed",   "detail_changed",
    "alert_raised", "alert_cleared", "setting_changed", "notice"};

/// In the order of the enumeration.
constexpr std::array<std::string_view, 11> topicNames{"backend",     "comments",      "disk",   "home",
                                                      "memory",      "orphaned_gits", "starts", "starting",
                                                      "reconciling", "retiring",      "intake"};
static_assert(topicNames.size() == static_cast<std::size_t>(AlertTopic::intake) + 1);

json::object toldOf(const ItemChanged& changed) {
    return {{"bug", jsonText(changed.bugID)}, {"event", jsonOf(changed.event)}};
}

json::object toldOf(const ItemRemoved& removed) {
    return {{"bug", jsonText(removed.bugID)}};
}

json::object toldOf(const BugProgress& progress) {
    return {{"bug", jsonText(progress.bugID)},          {"app", jsonText(progress.appName)},
            {"title", jsonText(progress.title)},        {"stage", stageName(progress.stage)},
            {"stage_text", stageText(progress)},        {"detail", jsonText(progress.detail)},
            {"exit_code", jsonIfAny(progress.exitCode)}};
}

json::object toldOf(const StageChanged& changed) {
    return toldOf(changed.progress);
}

json::object toldOf(const DetailChanged& changed) {
    return toldOf(changed.progress);
}

json::object toldOf(const AlertKey& key) {
    return {{"topic", topicNames.at(static_cast<std::size_t>(key.topic))},
            {"subject", jsonText(key.subject)}};
}

json::object toldOf(const AlertRaised& raised) {
    json::object object = toldOf(raised.key);
    object["sentence"] = jsonText(raised.sentence);
    return object;
}

json::object toldOf(const AlertCleared& cleared) {
    return toldOf(cleared.key);
}

json::object toldOf(const SettingChanged& changed) {
    return {{"sentence", jsonText(changed.sentence)}};
}

json::object toldOf(const Notice& notice) {
    return {{"sentence", jsonText(notice.sentence)}};
}

}  // namespace

std::string_view typeName(const DispatchEvent& event) {
    return typeNames.at(event.index());
}

json::object jsonOf(const DispatchEvent& event) {
    json::object object{{"type", typeName(event)}};
    for (auto& [name, value] : std::visit([](const auto& one) { return toldOf(one); }, event)) {
        object[name] = std::move(value);
    }
    return object;
}

}  // namespace quernlight::host
