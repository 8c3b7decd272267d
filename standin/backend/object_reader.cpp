#include "standin/backend/object_reader.hpp"

#include <algorithm>
#include <utility>

namespace quernlight::standin {

ObjectReader::ObjectReader(const boost::json::value& value, std::string name)
    : object_(value.if_object()), name_(std::move(name)) {
    if (!object_) {
        throw InvalidInput(name_ + " must be a JSON object.");
    }
}

bool ObjectReader::has(std::string_view key) const {
    return object_->contains(key);
}

std::string ObjectReader::text(std::string_view key) const {
    auto text = optionalText(key);
    if (!text || text->empty()) {
        refuse(key, "is missing or empty");
    }
    return std::move(*text);
}

std::optional<std::string> ObjectReader::optionalText(std::string_view key) const {
    const auto* value = member(key);
    if (!value) {
        return std::nullopt;
    }
    if (!value->is_string()) {
        refuse(key, "must be a text");
    }
    return std::string(std::string_view(value->get_string()));
}

std::optional<Url> ObjectReader::optionalUrl(std::string_view key) const {
    const auto text = optionalText(key);
    auto url = text ? Url::parse(*text) : std::nullopt;
    if (text && !url) {
        refuse(key, "must be an absolute URL");
    }
    return url;
}

std::optional<Instant> ObjectReader::optionalInstant(std::string_view key) const {
    const auto text = optionalText(key);
    const auto instant = text ? parseInstant(*text) : std::nullopt;
    if (text && !instant) {
        refuse(key, "must be an ISO 8601 date-time");
    }
    return instant;
}

std::optional<Uuid> ObjectReader::optionalUuid(std::string_view key) const {
    const auto text = optionalText(key);
    const auto uuid = text ? parseUuid(*text) : std::nullopt;
    if (text && !uuid) {
        refuse(key, "must be a UUID");
    }
    return uuid;
}

std::optional<std::int64_t> ObjectReader::optionalInteger(std::string_view key, std::int64_t least,
                                                          std::int64_t most) const {
    const auto* value = member(key);
    if (!value) {
        return std::nullopt;
    }
    boost::json::error_code error;
    const auto number = value->to_number<std::int64_t>(error);
    if (error || number < least || number > most) {
        refuse(key, "must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

std::optional<boost::json::object> ObjectReader::optionalObject(std::string_view key) const {
    const auto* value = member(key);
    if (!value) {
        return std::nullopt;
    }
    if (!value->is_object()) {
        refuse(key, "must be an object");
    }
    return value->get_object();
}

bool ObjectReader::flag(std::string_view key) const {
    const auto* value = member(key);
    if (value && !value->is_bool()) {
        refuse(key, "must be true or false");
    }
    return value && value->get_bool();
}

const boost::json::array& ObjectReader::array(std::string_view key) const {
    static const boost::json::array none;
    const auto* value = member(key);
    if (value && !value->is_array()) {
        refuse(key, "must be an array");
    }
    return value ? value->get_array() : none;
}

void ObjectReader::refuseOthersThan(std::initializer_list<std::string_view> keys) const {
    for (const auto& entry : *object_) {
        if (std::find(keys.begin(), keys.end(), std::string_view(entry.key())) == keys.end()) {
            refuse(std::string_view(entry.key()), "is not known here");
        }
    }
}

const boost::json::value* ObjectReader::member(std::string_view key) const {
    const auto* value = object_->if_contains(key);
    return value && !value->is_null() ? value : nullptr;
}

void ObjectReader::refuse(std::string_view key, std::string_view demand) const {
    throw InvalidInput(name_ + ": \"" + std::string(key) + "\" " + std::string(demand) + ".");
}

}  // namespace quernlight::standin
