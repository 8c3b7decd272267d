#include "quernlight/queue/bug_queue_item_json.hpp"

#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace quernlight {
namespace json = boost::json;
namespace {

std::string encoded(const std::string& text) {
    return text;
}

std::string encoded(const Uuid& uuid) {
    return upperCaseText(uuid);
}

std::string encoded(Instant instant) {
    return formatInstant(instant);
}

template <class Field>
void putIfPresent(json::object& object, std::string_view key, const std::optional<Field>& field) {
    if (field) {
        object[key] = encoded(*field);
    }
}

std::string descriptionOf(const std::string& field) {
    return field.empty() ? "A queue item must be a JSON object."
                         : "The queue item's field \"" + field + "\" is missing or unusable.";
}

/// The fields of one object by key, each read in the form that its type is written in.
class Fields {
  public:
    explicit Fields(const json::object& object) : object_(object) {}

    template <class Field>
    Field required(std::string_view key) const {
        const json::value* value = object_.if_contains(key);
        if (!value) {
            throw BugQueueItemDecodingError(std::string(key));
        }
        return decoded<Field>(*value, key);
    }

    template <class Field>
    std::optional<Field> optional(std::string_view key) const {
        const json::value* value = object_.if_contains(key);
        return value && !value->is_null() ? std::optional(decoded<Field>(*value, key)) : std::nullopt;
    }

    template <class Enumeration>
    Enumeration required(std::string_view key,
                         std::optional<Enumeration> (*caseOf)(std::string_view text)) const {
        return usable(caseOf(required<std::string>(key)), key);
    }

  private:
    template <class Field>
    static Field usable(std::optional<Field> field, std::string_view key) {
        if (!field) {
            throw BugQueueItemDecodingError(std::string(key));
        }
        return *std::move(field);
    }

    template <class Field>
    static Field decoded(const json::value& value, std::string_view key) {
        if constexpr (std::is_same_v<Field, std::int64_t>) {
            const std::int64_t* integer = value.if_int64();
            return usable(integer ? std::optional(*integer) : std::nullopt, key);
        } else {
            const json::string* string = value.if_string();
            return usable(string ? parsed<Field>(std::string(*string)) : std::nullopt, key);
        }
    }

    template <class Field>
    static std::optional<Field> parsed(const std::string& text) {
        if constexpr (std::is_same_v<Field, Uuid>) {
            return parseUuid(text);
        } else if constexpr (std::is_same_v<Field, Instant>) {
            return parseInstant(text);
        } else if constexpr (std::is_same_v<Field, Url>) {
            return Url::parse(text);
        } else {
            return text;
        }
    }

    const json::object& object_;
};

BugQueueItem itemOf(const Fields& fields) {
    return {
        .id = fields.required<Uuid>("id"),
        .bugID = fields.required<std::string>("bugID"),
        .appID = fields.required<Uuid>("appID"),
        .appName = fields.required<std::string>("appName"),
        .bundleID = fields.required<std::string>("bundleID"),
        .title = fields.required<std::string>("title"),
        .bugURL = fields.required<Url>("bugURL"),
        .queuePosition = fields.required<std::int64_t>("queuePosition"),
        .queueMode = fields.required("queueMode", queueModeFromRawValue),
        .status = fields.required("status", queueItemStatusFromRawValue),
        .goalFlow = fields.required("goalFlow", queueItemGoalFlowFromRawValue),
        .priority = fields.required<std::int64_t>("priority"),
        .activeSessionID = fields.optional<Uuid>("activeSessionID"),
        .codexSessionID = fields.optional<Uuid>("codexSessionID"),
        .errorMessage = fields.optional<std::string>("errorMessage"),
        .createdAt = fields.required<Instant>("createdAt"),
        .addedAt = fields.required<Instant>("addedAt"),
        .startedAt = fields.optional<Instant>("startedAt"),
        .completedAt = fields.optional<Instant>("completedAt"),
        .cancelledAt = fields.optional<Instant>("cancelledAt"),
    };
}

}  // namespace

BugQueueItemDecodingError::BugQueueItemDecodingError(std::string field)
    : std::runtime_error(descriptionOf(field)), field_(std::move(field)) {}

void tag_invoke(json::value_from_tag, json::value& value, const BugQueueItem& item) {
    json::object& object = value.emplace_object();
    object["id"] = encoded(item.id);
    object["bugID"] = item.bugID;
    object["appID"] = encoded(item.appID);
    object["appName"] = item.appName;
    object["bundleID"] = item.bundleID;
    object["title"] = item.title;
    object["bugURL"] = item.bugURL.text();
    object["queuePosition"] = item.queuePosition;
    object["queueMode"] = rawValue(item.queueMode);
    object["status"] = rawValue(item.status);
    object["goalFlow"] = rawValue(item.goalFlow);
    object["priority"] = item.priority;
    putIfPresent(object, "activeSessionID", item.activeSessionID);
    putIfPresent(object, "codexSessionID", item.codexSessionID);
    putIfPresent(object, "errorMessage", item.errorMessage);
    object["createdAt"] = encoded(item.createdAt);
    object["addedAt"] = encoded(item.addedAt);
    putIfPresent(object, "startedAt", item.startedAt);
    putIfPresent(object, "completedAt", item.completedAt);
    putIfPresent(object, "cancelledAt", item.cancelledAt);
}

BugQueueItem tag_invoke(json::value_to_tag<BugQueueItem>, const json::value& value) {
    const json::object* object = value.if_object();
    if (!object) {
        throw BugQueueItemDecodingError("");
    }
    return itemOf(Fields(*object));
}

}  // namespace quernlight
