#include "host/service/event_json.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include "host/service/json_fields.hpp"
#include "host/service/queue_json.hpp"

namespace quernlight::host {
namespace {

namespace json = boost::json;

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

ItemChanged readItemChanged(const JsonFields& fields) {
    return {.bugID = fields.text("bug"), .event = readQueueEvent(fields.value("event"))};
}

ItemRemoved readItemRemoved(const JsonFields& fields) {
    return {.bugID = fields.text("bug")};
}

BugProgress readProgress(const JsonFields& fields) {
    const auto exitCode = fields.optionalInteger("exit_code");
    return {.bugID = fields.text("bug"),
            .appName = fields.text("app"),
            .title = fields.text("title"),
            .stage = fields.parsed("stage", parseStageName),
            .detail = fields.text("detail"),
            .exitCode = exitCode ? std::optional(static_cast<int>(*exitCode)) : std::nullopt};
}

StageChanged readStageChanged(const JsonFields& fields) {
    return {.progress = readProgress(fields)};
}

DetailChanged readDetailChanged(const JsonFields& fields) {
    return {.progress = readProgress(fields)};
}

std::optional<AlertTopic> parseTopic(std::string_view name) {
    const auto* found = std::ranges::find(topicNames, name);
    return found == topicNames.end() ? std::nullopt
                                     : std::optional(static_cast<AlertTopic>(found - topicNames.begin()));
}

AlertKey readKey(const JsonFields& fields) {
    return {.topic = fields.parsed("topic", parseTopic), .subject = fields.text("subject")};
}

AlertRaised readAlertRaised(const JsonFields& fields) {
    return {.key = readKey(fields), .sentence = fields.text("sentence")};
}

AlertCleared readAlertCleared(const JsonFields& fields) {
    return {.key = readKey(fields)};
}

SettingChanged readSettingChanged(const JsonFields& fields) {
    return {.sentence = fields.text("sentence")};
}

Notice readNotice(const JsonFields& fields) {
    return {.sentence = fields.text("sentence")};
}

template <auto read>
DispatchEvent readAs(const JsonFields& fields) {
    return read(fields);
}

struct EventType {
    std::string_view name;
    DispatchEvent (*read)(const JsonFields& fields);
};

/// In the order of the variant.
constexpr std::array<EventType, std::variant_size_v<DispatchEvent>> eventTypes{{
    {"item_changed", readAs<readItemChanged>},
    {"item_removed", readAs<readItemRemoved>},
    {"stage_changed", readAs<readStageChanged>},
    {"detail_changed", readAs<readDetailChanged>},
    {"alert_raised", readAs<readAlertRaised>},
    {"alert_cleared", readAs<readAlertCleared>},
    {"setting_changed", readAs<readSettingChanged>},
    {"notice", readAs<readNotice>},
}};

std::optional<EventType> parseType(std::string_view name) {
    const auto* found = std::ranges::find(eventTypes, name, &EventType::name);
    return found == eventTypes.end() ? std::nullopt : std::optional(*found);
}

}  // namespace

std::string_view typeName(const DispatchEvent& event) {
    return eventTypes.at(event.index()).name;
}

json::object jsonOf(const DispatchEvent& event) {
    json::object object{{"type", typeName(event)}};
    for (auto& [name, value] : std::visit([](const auto& one) { return toldOf(one); }, event)) {
        object[name] = std::move(value);
    }
    return object;
}

DispatchEvent readEvent(const json::value& value) {
    const JsonFields fields(value);
    return fields.parsed("type", parseType).read(fields);
}

}  // namespace quernlight::host
