#include "quernlight/storage/column_values.hpp"

#include <limits>

namespace quernlight {
namespace {

/// Null for a column that the row lacks.
const SQLValue& columnOf(const Row& row, std::string_view column) {
    static const SQLValue null;
    const auto found = row.find(column);
    return found == row.end() ? null : found->second;
}

std::optional<std::string> textOf(const SQLValue& value) {
    const std::string* text = value.asText();
    return text ? std::optional(*text) : std::nullopt;
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

std::string requiredText(const Row& row, std::string_view column) {
    return requiredColumn(textOf(columnOf(row, column)), column);
}

std::int64_t requiredInteger(const Row& row, std::string_view column) {
    return requiredColumn(columnOf(row, column).asInteger(), column);
}

Uuid requiredUuid(const Row& row, std::string_view column) {
    return requiredColumn(optionalUuid(row, column), column);
}

Instant requiredInstant(const Row& row, std::string_view column) {
    return instantOrEpoch(requiredText(row, column));
}

std::optional<std::string> optionalText(const Row& row, std::string_view column) {
    return textOf(columnOf(row, column));
}

std::optional<Uuid> optionalUuid(const Row& row, std::string_view column) {
    const std::string* text = columnOf(row, column).asText();
    return text ? parseUuid(*text) : std::nullopt;
}

std::optional<std::int32_t> optionalInteger32(const Row& row, std::string_view column) {
    using Limits = std::numeric_limits<std::int32_t>;
    const std::optional<std::int64_t> integer = columnOf(row, column).asInteger();
    if (!integer || *integer < Limits::min() || *integer > Limits::max()) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(*integer);
}

std::optional<Instant> optionalInstant(const Row& row, std::string_view column) {
    const SQLValue& value = columnOf(row, column);
    if (value.isNull()) {
        return std::nullopt;
    }
    const std::string* text = value.asText();
    return text ? instantOrEpoch(*text) : Instant{};
}

}  // namespace quernlight
