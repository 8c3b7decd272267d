#include "quernlight/storage/column_values.hpp"

#include <limits>

namespace quernlight {
namespace {

std::optional<std::string_view> textOf(const Column& column) {
    return column.value.kind == SQLValue::Kind::text ? std::optional(column.value.text) : std::nullopt;
}

std::optional<std::int64_t> integerOf(const Column& column) {
    return column.value.kind == SQLValue::Kind::integer ? std::optional(column.value.integer) : std::nullopt;
}

SQLValueView viewOf(const SQLValue& value) {
    const std::string* text = value.asText();
    return {.kind = value.kind(),
            .text = text ? std::string_view(*text) : std::string_view(),
            .integer = value.asInteger().value_or(0)};
}

Instant instantOrEpoch(std::string_view text) {
    return parseInstant(text).value_or(Instant{});
}

}  // namespace

SQLValue columnValue(const Uuid& uuid) {
    return SQLValue::text(upperCaseText(uuid));
}

SQLValue columnValue(Instant instant) {
    return SQLValue::text(formatInstant(instant));
}

SQLValue columnValue(std::string_view text) {
    return SQLValue::text(text);
}

SQLValue columnValue(std::int64_t integer) {
    return SQLValue::integer(integer);
}

Column columnOf(const Row& row, std::string_view name) {
    const auto found = row.find(name);
    return {.name = name, .value = found == row.end() ? SQLValueView() : viewOf(found->second)};
}

std::string requiredText(const Column& column) {
    return std::string(requiredColumn(textOf(column), column.name));
}

std::int64_t requiredInteger(const Column& column) {
    return requiredColumn(integerOf(column), column.name);
}

Uuid requiredUuid(const Column& column) {
    return requiredColumn(optionalUuid(column), column.name);
}

Instant requiredInstant(const Column& column) {
    return instantOrEpoch(requiredColumn(textOf(column), column.name));
}

std::optional<std::string> optionalText(const Column& column) {
    const auto text = textOf(column);
    return text ? std::optional(std::string(*text)) : std::nullopt;
}

std::optional<Uuid> optionalUuid(const Column& column) {
    const auto text = textOf(column);
    return text ? parseUuid(*text) : std::nullopt;
}

std::optional<std::int32_t> optionalInteger32(const Column& column) {
    using Limits = std::numeric_limits<std::int32_t>;
    const std::optional<std::int64_t> integer = integerOf(column);
    if (!integer || *integer < Limits::min() || *integer > Limits::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*integer);
}

std::optional<Instant> optionalInstant(const Column& column) {
    if (column.value.kind == SQLValue::Kind::null) {
        return std::nullopt;
    }
    const auto text = textOf(column);
    return text ? instantOrEpoch(*text) : Instant{};
}

std::string requiredText(const Row& row, std::string_view column) {
    return requiredText(columnOf(row, column));
}

std::int64_t requiredInteger(const Row& row, std::string_view column) {
    return requiredInteger(columnOf(row, column));
}

Uuid requiredUuid(const Row& row, std::string_view column) {
    return requiredUuid(columnOf(row, column));
}

Instant requiredInstant(const Row& row, std::string_view column) {
    return requiredInstant(columnOf(row, column));
}

std::optional<std::string> optionalText(const Row& row, std::string_view column) {
    return optionalText(columnOf(row, column));
}

std::optional<Uuid> optionalUuid(const Row& row, std::string_view column) {
    return optionalUuid(columnOf(row, column));
}

std::optional<std::int32_t> optionalInteger32(const Row& row, std::string_view column) {
    return optionalInteger32(columnOf(row, column));
}

std::optional<Instant> optionalInstant(const Row& row, std::string_view column) {
    return optionalInstant(columnOf(row, column));
}

}  // namespace quernlight
