#include "quernlight/backend/json_value.hpp"

#include <cmath>

namespace quernlight {
namespace {

/// Nothing when `number` has a fractional part or 64 bits cannot hold it.
std::optional<std::int64_t> wholeNumber(double number) {
    constexpr double limit = 9223372036854775808.0;  // two to the 63rd, the first number that does not fit
    const bool fits = number >= -limit && number < limit;
    if (!fits || std::trunc(number) != number) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(number);
}

}  // namespace

std::optional<std::string_view> JSONValue::stringValue() const {
    const auto* text = std::get_if<std::string>(&storage_);
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

std::optional<bool> JSONValue::boolValue() const {
    const auto* truth = std::get_if<bool>(&storage_);
    return truth ? std::optional(*truth) : std::nullopt;
}

std::optional<std::int64_t> JSONValue::intValue() const {
    const auto* number = std::get_if<double>(&storage_);
    return number ? wholeNumber(*number) : std::nullopt;
}

}  // namespace quernlight
