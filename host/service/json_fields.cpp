#include "host/service/json_fields.hpp"

#include "quernlight/platform/text.hpp"

namespace quernlight::host {

namespace json = boost::json;

JsonFields::JsonFields(const json::value& value)
    : object_(value.is_object() ? value.get_object() : throw Misread("a JSON object is expected")) {}

Misread JsonFields::misread(std::string_view name) {
    return Misread("the member \"" + std::string(name) + "\" is missing, or not as expected");
}

void JsonFields::require(std::string_view name) const {
    if (!object_.contains(name)) {
        throw misread(name);
    }
}

const json::value& JsonFields::value(std::string_view name) const {
    static const json::value null;
    const json::value* found = object_.if_contains(name);
    return found ? *found : null;
}

std::string JsonFields::text(std::string_view name) const {
    const auto known = optionalText(name);
    return known ? *known : throw misread(name);
}

std::optional<std::string> JsonFields::optionalText(std::string_view name) const {
    const json::value& member = value(name);
    if (member.is_null()) {
        return std::nullopt;
    }
    return member.is_string() ? std::optional(std::string(member.get_string())) : throw misread(name);
}

std::int64_t JsonFields::integer(std::string_view name) const {
    const auto known = optionalInteger(name);
    return known ? *known : throw misread(name);
}

std::optional<std::int64_t> JsonFields::optionalInteger(std::string_view name) const {
    const json::value& member = value(name);
    if (member.is_null()) {
        return std::nullopt;
    }
    return member.is_int64() ? std::optional(member.get_int64()) : throw misread(name);
}

bool JsonFields::flag(std::string_view name) const {
    const json::value& member = value(name);
    return member.is_bool() ? member.get_bool() : throw misread(name);
}

bool JsonFields::flag(std::string_view name, bool otherwise) const {
    return value(name).is_null() ? otherwise : flag(name);
}

template <class Parse>
auto JsonFields::parsedIfAny(std::string_view name, Parse parse) const {
    const auto known = optionalText(name);
    auto result = known ? parse(*known) : decltype(parse(*known)){};
    if (known && !result) {
        throw misread(name);
    }
    return result;
}

Instant JsonFields::instant(std::string_view name) const {
    return parsed(name, parseInstant);
}

std::optional<Instant> JsonFields::optionalInstant(std::string_view name) const {
    return parsedIfAny(name, parseInstant);
}

Uuid JsonFields::uuid(std::string_view name) const {
    return parsed(name, parseUuid);
}

std::optional<Uuid> JsonFields::optionalUuid(std::string_view name) const {
    return parsedIfAny(name, parseUuid);
}

std::optional<Url> JsonFields::optionalUrl(std::string_view name) const {
    return parsedIfAny(name, Url::parse);
}

const json::array& JsonFields::list(std::string_view name) const {
    const json::value& member = value(name);
    return member.is_array() ? member.get_array() : throw misread(name);
}

std::vector<std::string> JsonFields::texts(std::string_view name) const {
    return readEach(list(name), [name](const json::value& element) {
        return element.is_string() ? std::string(element.get_string()) : throw misread(name);
    });
}

json::value jsonText(std::string_view text) {
    return json::string(validUtf8(text));
}

json::value jsonIfAny(const std::optional<std::string>& text) {
    return text ? jsonText(*text) : json::value(nullptr);
}

json::value jsonIfAny(const std::optional<Uuid>& uuid) {
    return uuid ? json::value(upperCaseText(*uuid)) : json::value(nullptr);
}

json::value jsonIfAny(const std::optional<Instant>& instant) {
    return instant ? json::value(formatInstant(*instant)) : json::value(nullptr);
}

json::value jsonIfAny(const std::optional<Url>& url) {
    return url ? jsonText(url->text()) : json::value(nullptr);
}

json::value jsonIfAny(const std::optional<std::int32_t>& number) {
    return number ? json::value(*number) : json::value(nullptr);
}

}  // namespace quernlight::host
