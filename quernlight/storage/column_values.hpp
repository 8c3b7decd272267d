#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "quernlight/platform/identifiers.hpp"
#include "quernlight/platform/instant.hpp"
#include "quernlight/storage/database_error.hpp"
#include "quernlight/storage/sql_value.hpp"

namespace quernlight {

// How the repositories write fields as columns and read them back; pure functions. Instants are ISO 8601 text
// in UTC with milliseconds, UUIDs canonical upper-case text, an absent field NULL. A required reader throws
// DatabaseError (missingColumn with the column's name) when the column is absent, of the wrong kind, or does
// not parse.

/// One column of a row, which the row outlives.
struct Column {
    std::string_view name;
    SQLValueView value{};
};

/// Null for a column that the row lacks.
Column columnOf(const Row& row, std::string_view name);

SQLValue columnValue(const Uuid& uuid);
SQLValue columnValue(Instant instant);
SQLValue columnValue(std::string_view text);
SQLValue columnValue(std::int64_t integer);

/// Null when there is nothing to write.
template <class Field>
SQLValue columnValue(const std::optional<Field>& field) {
    return field ? columnValue(*field) : SQLValue::null();
}

std::string requiredText(const Column& column);
std::int64_t requiredInteger(const Column& column);
Uuid requiredUuid(const Column& column);
/// A text that is no instant reads as the Unix epoch.
Instant requiredInstant(const Column& column);

std::optional<std::string> optionalText(const Column& column);
/// Nothing for a text that is no UUID either.
std::optional<Uuid> optionalUuid(const Column& column);
/// Nothing for a number that does not fit either.
std::optional<std::int32_t> optionalInteger32(const Column& column);
/// Nothing only when NULL or missing; what is no instant reads as the Unix epoch.
std::optional<Instant> optionalInstant(const Column& column);

std::string requiredText(const Row& row, std::string_view column);
std::int64_t requiredInteger(const Row& row, std::string_view column);
Uuid requiredUuid(const Row& row, std::string_view column);
Instant requiredInstant(const Row& row, std::string_view column);
std::optional<std::string> optionalText(const Row& row, std::string_view column);
std::optional<Uuid> optionalUuid(const Row& row, std::string_view column);
std::optional<std::int32_t> optionalInteger32(const Row& row, std::string_view column);
std::optional<Instant> optionalInstant(const Row& row, std::string_view column);

/// `value`, or missingColumn with the column's name where there is none.
template <class Value>
Value requiredColumn(std::optional<Value> value, std::string_view column) {
    if (!value) {
        throw DatabaseError(DatabaseError::Kind::missingColumn, std::string(column));
    }
    return *std::move(value);
}

}  // namespace quernlight
