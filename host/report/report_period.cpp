#include "host/report/report_period.hpp"

#include <algorithm>
#include <charconv>
#include <string>

namespace quernlight::host {
namespace {

constexpr std::size_t dateLength = 10;  // "2026-11-21"

std::optional<std::chrono::seconds> unitOf(char letter) {
    switch (letter) {
        case 'm':
            return std::chrono::minutes(1);
        case 'h':
            return std::chrono::hours(1);
        case 'd':
            return std::chrono::days(1);
        case 'w':
            return std::chrono::weeks(1);
        default:
            return std::nullopt;
    }
}

std::optional<std::chrono::seconds> durationOf(std::string_view text) {
    constexpr int most = 100000;  // so that no period overflows
    const auto unit = text.empty() ? std::nullopt : unitOf(text.back());
    if (!unit) {
        return std::nullopt;
    }
    const std::string_view digits = text.substr(0, text.size() - 1);
    int count = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
    return isNumber && count > 0 && count <= most ? std::optional(count * *unit) : std::nullopt;
}

/// "2026-11-21", "2026-11-21T22:00" or "2026-11-21 22:00:30", as if it were UTC.
std::optional<Instant> writtenTime(std::string_view text) {
    std::string whole(text);
    if (whole.size() > dateLength && whole[dateLength] == ' ') {
        whole[dateLength] = 'T';
    }
    for (const char* missing : {"Z", ":00Z", "T00:00:00Z"}) {
        if (const auto instant = parseInstant(whole + missing)) {
            return *instant < Instant() ? std::nullopt : instant;  // far ones are beyond the clock's numbers
        }
    }
    return std::nullopt;
}

/// The offset may be another one then than it is now, where the clock was changed in between.
std::optional<Instant> localInstant(std::string_view text, const ClockOffset& offset) {
    const auto written = writtenTime(text);
    if (!written) {
        return std::nullopt;
    }
    const Instant near = *written - offset(*written);
    return *written - offset(near);
}

std::optional<Instant> instantOf(std::string_view text, Instant now, const ClockOffset& offset) {
    if (const auto duration = durationOf(text)) {
        return now - *duration;
    }
    const auto exact = parseInstant(text);
    return exact ? exact : localInstant(text, offset);
}

}  // namespace

std::optional<Instant> beginningOfPeriod(std::string_view text, Instant now, const ClockOffset& offset) {
    const auto beginning = instantOf(text, now, offset);
    return beginning && *beginning >= Instant() && *beginning <= now ? beginning : std::nullopt;
}

}  // namespace quernlight::host
